// Files and directories, read and written so that a fault is always seen.
//
// For the platform's own libraries. A file is read whole or not at all; a file is written beside its place and moved
// there when it is complete, so that no reader, and no later run, takes half a file for a whole one. Every fault is a
// kdi::FileError whose text is "<path>: <what could not be done>: <the system's reason>".
#pragma once

#include <cstddef>
#include <mutex>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "kdi/common/KdiDoor.h"

namespace kdi {

class KDI_DOOR FileError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The largest file that read_file takes without being told otherwise, in bytes.
constexpr std::size_t kLargestFile = std::size_t{1} << 28;

/// The bytes of the regular file `path`. Throws FileError if it cannot be opened (missing, no permission), is something
/// else (a pipe would keep its reader waiting for ever), fails while it is read, or has more than `most_bytes`.
KDI_DOOR std::string read_file(std::string const& path, std::size_t most_bytes = kLargestFile);

/// The same for what a person hands to a program to read: a pipe or a device as well, and its end is waited for.
KDI_DOOR std::string read_input(std::string const& path, std::size_t most_bytes = kLargestFile);

/// Makes `bytes` the content of the file `path`, whose directory has to exist. An existing file keeps its permissions
/// and, named by a symbolic link, its place; until the new content is complete it keeps its content too. What is there
/// and no regular file (a device, a pipe) is written to directly. Throws FileError if the content cannot be stored to
/// its last byte; then the target is as it was and nothing is left beside it.
KDI_DOOR void write_file(std::string const& path, std::string_view bytes);

/// Whether the path leads to a regular file, and to a directory. Throws FileError if that cannot be found out, since
/// what is there then must not be passed over for what lies elsewhere.
KDI_DOOR bool is_file(std::string const& path);
KDI_DOOR bool is_directory(std::string const& path);

/// The names in the directory `path` that end in `suffix`, in byte order; none if there is no such directory. Throws
/// FileError if it is there and cannot be listed to its end.
KDI_DOOR std::vector<std::string> list_directory(std::string const& path, std::string_view suffix = {});

/// A text file that grows by whole lines, whatever else writes to it. For any thread.
class KDI_DOOR LineFile {
 public:
  /// Opens the file `path`, which is created if need be. Throws FileError.
  explicit LineFile(std::string path);
  LineFile(LineFile const&) = delete;
  LineFile& operator=(LineFile const&) = delete;
  ~LineFile();

  /// Adds `line`. Throws FileError if it cannot be stored to its end; what is there of it then stays on a line of its
  /// own.
  void add(std::string_view line);

 private:
  std::string path_;
  int number_;
  std::mutex mutex_;
  bool within_line_ = false;
};

}  // namespace kdi
