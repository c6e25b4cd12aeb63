#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <optional>
#include <utility>

#include "kdi/common/KdiFile.h"
#include "kdi/tcl/command.h"
#include "tcltasks/dsp/vcualgorithm/speed_table.h"
#include "tcltasks/dsp/vcualgorithm/vcualgorithm.h"

namespace vcualgorithm_init {
namespace {

// A line of a table is short; a file without line ends, or a device, is not read to the end of memory.
constexpr std::size_t kLongestLine = 1 << 20;

// The lines of a file.
class Lines {
 public:
  // Nothing if the file cannot be opened, or `name` is none of a file. Nor is a pipe one: its reader might wait for
  // ever.
  static std::optional<Lines> of(Tcl_Obj* name) {
    const auto path = tcl::native_path(name);
    const int number = path ? kdi::open_file(*path, O_RDONLY | O_NONBLOCK | O_NOCTTY) : -1;
    if (number < 0) return std::nullopt;
    std::optional<Lines> lines = Lines(number);
    struct stat status {};
    if (::fstat(number, &status) != 0 || S_ISFIFO(status.st_mode)) lines.reset();
    return lines;
  }
  Lines(Lines&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  Lines& operator=(Lines&&) = delete;
  ~Lines() {
    if (number_ >= 0) ::close(number_);
  }

  // Reads one line, up to a zero in it; false if there is none, or none of a table's length.
  bool next(std::string& line) {
    std::size_t end = 0;
    while ((end = read_.find('\n')) == std::string::npos && read_.size() < kLongestLine)
      if (!read_more()) break;
    if (is_failed_ || read_.empty() || std::min(end, read_.size()) >= kLongestLine) return false;
    line = read_.substr(0, end).c_str();
    read_.erase(0, end == std::string::npos ? end : end + 1);
    return true;
  }

 private:
  explicit Lines(int number) : number_(number) {}

  bool read_more() {
    char bytes[1 << 14];
    ssize_t count = 0;
    do count = ::read(number_, bytes, sizeof bytes);
    while (count < 0 && errno == EINTR);
    is_failed_ = count < 0;
    if (count > 0) read_.append(bytes, static_cast<std::size_t>(count));
    return count > 0;
  }

  int number_;
  std::string read_;  // and not yet given
  bool is_failed_ = false;
};

}  // namespace

int read_csv_file(ClientData, Tcl_Interp* interp, int objc, Tcl_Obj* const objv[]) {
  const std::string path = Tcl_GetString(objv[1]);
  std::printf("Looks like COUT works (NOTE : Prints in UNIX Terminal) %d\n", objc);
  std::puts("Could not get data from speedsfile.");  // sic: says nothing about the outcome
  std::printf("Able to get file details =%s\n", path.c_str());
  std::printf("Able to get file details1 =%s\n", Tcl_GetString(objv[2]));

  std::optional<Lines> lines = Lines::of(objv[1]);
  if (!lines) {
    std::puts("Unable to open file");
    std::fflush(stdout);
    return TCL_OK;  // sic: the result stays as it was
  }
  std::printf("Able to open file =%s\n", path.c_str());
  std::string first, second;
  const bool complete = lines->next(first) && lines->next(second);
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
