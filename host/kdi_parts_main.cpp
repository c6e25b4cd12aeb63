// kdi_parts: the parts that the device files have, and whether a device file is right.
#include <tcl.h>

#include <csignal>
#include <cstdio>
#include <exception>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "host/streams.h"
#include "kdi/common/KdiDataDir.h"
#include "kdi/common/KdiFile.h"
#include "kdi/common/KdiText.h"
#include "kdi/device/host/PartCatalogue.h"

namespace {

constexpr char kHelp[] = R"(NAME
       kdi_parts - the parts of the device files, and what is wrong with one

SYNOPSIS
       kdi_parts list [PATTERN]
       kdi_parts check FILE...

DESCRIPTION
       A device is a file; from the files in the folders devices of the data
       come the parts that all commands know.

COMMANDS
       list [PATTERN]
              prints the names of the parts, one a line, by device; of those
              alone that match the pattern, with *, ? and [...]
       check FILE...
              reads each file as the libraries would and says what it has, or,
              with line and field, what is wrong. Its family is looked for in
              the folder of the file, then in the data.

OPTIONS
       --help, --version

ENVIRONMENT
       KDI_DATA_DIR
              folders of data to look into before the installed ones, with
              colons between them

EXIT STATUS
       0 done; 1 a file is wrong, no part matches, or something cannot be read;
       2 a mistake in the words.

EXAMPLE
       kdi_parts list 'zrv7030*'
       KDI_DATA_DIR=my_data kdi_parts check my_data/devices/mine.json
)";

constexpr int kFailed = 1, kMisused = 2;

class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

void told(std::string const& text) { std::fprintf(stderr, "kdi_parts: %s\n", kdi::text::printable(text).c_str()); }

int printed(std::string_view text) {
  if (std::fwrite(text.data(), 1, text.size(), stdout) == text.size() && std::fflush(stdout) == 0) return 0;
  told("the output cannot be written");
  return kFailed;
}

int list(std::vector<std::string> const& words) {
  if (words.size() > 1) throw UsageError("list takes one pattern");
  auto& catalogue = kdi::device::PartCatalogue::global();
  std::string names;
  bool is_whole = true;
  for (std::string const& device : catalogue.devices()) {
    try {
      for (std::string const& part : catalogue.parts(device))
        if (words.empty() || Tcl_StringMatch(part.c_str(), words[0].c_str()) != 0) names += part + "\n";
    } catch (std::exception const& error) {
      told(error.what());
      is_whole = false;
    }
  }
  if (names.empty()) told(words.empty() ? "the data have no devices" : "no part matches " + kdi::text::shown(words[0]));
  const int status = printed(names);
  return names.empty() || !is_whole ? kFailed : status;
}

void check(std::string const& path, std::vector<std::string> const& folders) {
  const std::vector<kdi::device::Part> parts = kdi::device::read_device_file(path, folders);
  if (parts.empty()) throw std::runtime_error(path + ": no parts");
  std::string const& device = parts.front().device->name;
  const std::string line = path + ": " + device + ", " + std::to_string(parts.size()) + " parts\n";
  if (printed(line) != 0) throw std::runtime_error("the output cannot be written");
}

int check_all(std::vector<std::string> const& paths) {
  if (paths.empty()) throw UsageError("which file is to be checked?");
  const std::vector<std::string> folders = kdi::data_directories("devices");
  int status = 0;
  for (std::string const& path : paths) {
    try {
      check(path, folders);
    } catch (std::exception const& error) {
      told(error.what());
      status = kFailed;
    }
  }
  return status;
}

int run(std::vector<std::string> const& words) {
  if (words.empty()) throw UsageError("which command?");
  if (words[0] == "--help" || words[0] == "-h") return printed(kHelp);
  if (words[0] == "--version") return printed("kdi_parts " IPTASKS_VERSION "\n");
  const std::vector<std::string> rest(words.begin() + 1, words.end());
  if (words[0] == "list") return list(rest);
  if (words[0] == "check") return check_all(rest);
  throw UsageError("no command " + kdi::text::shown(words[0]));
}

}  // namespace

int main(int argc, char** argv) {
  host::fill_standard_streams();
  std::signal(SIGXFSZ, SIG_IGN);
  try {
    return run({argv + 1, argv + argc});
  } catch (UsageError const& error) {
    told(error.what());
    std::fputs("kdi_parts --help tells the words\n", stderr);
    return kMisused;
  } catch (std::exception const& error) {
    told(error.what());
    return kFailed;
  }
}
