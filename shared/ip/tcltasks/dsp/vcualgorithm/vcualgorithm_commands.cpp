#include <cstdio>
#include <memory>

#include "kdi/tcl/command.h"
#include "tcltasks/dsp/vcualgorithm/speed_table.h"
#include "tcltasks/dsp/vcualgorithm/vcualgorithm.h"

namespace vcualgorithm_init {
namespace {

// A line of a table is short; a file without line ends, or a device, is not read to the end of memory.
constexpr std::size_t kLongestLine = 1 << 20;

using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

// Null if the file cannot be opened, or `name` is none of a file.
File open_file(Tcl_Obj* name) {
  const auto path = tcl::native_path(name);
  return {path ? std::fopen(path->c_str(), "r") : nullptr, std::fclose};
}

// Reads one line, up to a zero in it; false if there is none, or none of a table's length.
bool read_line(std::FILE* file, std::string& line) {
  std::string read;
  int c = std::getc(file);
  if (c == EOF) return false;
  for (; c != EOF && c != '\n'; c = std::getc(file)) {
    read += static_cast<char>(c);
    if (read.size() == kLongestLine) return false;
  }
  line = read.c_str();
  return std::ferror(file) == 0;
}

}  // namespace

int read_csv_file(ClientData, Tcl_Interp* interp, int objc, Tcl_Obj* const objv[]) {
  const std::string path = Tcl_GetString(objv[1]);
  std::printf("Looks like COUT works (NOTE : Prints in UNIX Terminal) %d\n", objc);
  std::puts("Could not get data from speedsfile.");  // sic: says nothing about the outcome
  std::printf("Able to get file details =%s\n", path.c_str());
  std::printf("Able to get file details1 =%s\n", Tcl_GetString(objv[2]));

  const File file = open_file(objv[1]);
  if (!file) {
    std::puts("Unable to open file");
    std::fflush(stdout);
    return TCL_OK;  // sic: the result stays as it was
  }
  std::printf("Able to open file =%s\n", path.c_str());
  std::string first, second;
  const bool complete = read_line(file.get(), first) && read_line(file.get(), second);
  std::printf("line  - %s\n", first.c_str());
  std::printf("line2  - %s\n", second.c_str());

  const std::vector<std::string> names = split_items(first);
  const std::vector<std::string> values = split_items(second);
  if (!complete || names.empty() || values.size() < names.size()) {
    std::fflush(stdout);
    return tcl::fail(interp, "Invalid speeds file: " + path);
  }
  const std::string joined = join_items(names, values);
  std::printf("size -= %zu\n", names.size());
  std::printf("t= %s\n", joined.c_str());
  std::fflush(stdout);
  return tcl::succeed(interp, tcl::new_list({tcl::new_text(joined)}));
}

constexpr tcl::Row kCommands[] = {
    {"VCUAPI::read_csv", read_csv_file, tcl::at_least(2, tcl::kNotEnough)},
};

void init(Tcl_Interp* interp) { tcl::register_all<kCommands>(interp); }

void uninit() {}

}  // namespace vcualgorithm_init
