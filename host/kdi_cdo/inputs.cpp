#include "host/kdi_cdo/inputs.h"

#include <unistd.h>

#include <cerrno>

#include "kdi/cdo/Cdo.h"
#include "kdi/common/KdiFile.h"
#include "kdi/common/KdiText.h"

namespace kdi_cdo {
namespace {

constexpr char kStandard[] = "-";

}  // namespace

std::string named(std::string const& path) { return path == kStandard ? "standard input" : path; }

// A pipe by its name would keep its reader waiting for whoever never comes.
std::string read(std::string const& path) {
  return path == kStandard ? kdi::read_input("/dev/stdin", kdi::cdo::kLargestFile)
                           : kdi::read_file(path, kdi::cdo::kLargestFile);
}

kdi::cdo::Commands read_commands(std::string const& path) { return kdi::cdo::from_any(read(path), named(path)); }

void write(std::string const& path, std::string_view content) {
  if (path != kStandard) return kdi::write_file(path, content);
  if (kdi::write_all(STDOUT_FILENO, content) != content.size())
    throw kdi::FileError("standard output: cannot be written: " + kdi::text::system_reason(errno));
}

}  // namespace kdi_cdo
