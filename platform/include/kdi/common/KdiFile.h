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

/// Nothing of the file was read or written, for it could not be opened.
class KDI_DOOR OpenError : public FileError {
 public:
  using FileError::FileError;
};

/// The largest file that read_file takes without being told otherwise, in bytes.
constexpr std::size_t kLargestFile = std::size_t{1} << 28;

/// The bytes of the regular file `path`. Throws OpenError if it cannot be opened (missing, no permission), FileError if
/// it is something else (a pipe would keep its reader waiting for ever), fails while it is read, or has more than
/// `most_bytes`.
KDI_DOOR std::string read_file(std::string const& path, std::size_t most_bytes = kLargestFile);

/// The same for what a person hands to a program to read: a pipe or a device as well, and its end is waited for.
KDI_DOOR std::string read_input(std::string const& path, std::size_t most_bytes = kLargestFile);

/// New content for the file `path`, whose directory has to exist. It is written beside the file and takes its place
/// when it is complete: until then an existing file keeps its content, and after that its permissions and, named by a
/// symbolic link, its place. What is there and no regular file (a device, a pipe) is written to directly, and so is a
/// file in a directory that takes no new one, since there is no other way.
class KDI_DOOR NewFile {
 public:
  /// Throws OpenError if nothing can be written there.
  explicit NewFile(std::string path);
  NewFile(NewFile const&) = delete;
  NewFile& operator=(NewFile const&) = delete;
  /// Without `keep` before, the target is as it was and nothing is left beside it; a file that had to be written
  /// directly is empty.
  ~NewFile();

  /// Both throw FileError if the content cannot be stored to its last byte.
  void write(std::string_view bytes);
  void keep();

 private:
  void open_target(int flags);
  void open_beside();

  std::string path_;    // as it was given, for errors
  std::string target_;  // behind links
  std::string beside_;  // empty where the target is written directly
  int number_ = -1;
  bool is_regular_ = true;
  bool is_kept_ = false;
};

/// Makes `bytes` the content of the file `path`, all at once. Throws OpenError and FileError as NewFile does.
KDI_DOOR void write_file(std::string const& path, std::string_view bytes);

/// Whether the path leads to a regular file, and to a directory. Throws FileError if that cannot be found out, since
/// what is there then must not be passed over for what lies elsewhere.
KDI_DOOR bool is_file(std::string const& path);
KDI_DOOR bool is_directory(std::string const& path);

/// The names in the directory `path` that end in `suffix`, in byte order; none if there is no such directory. Throws
/// FileError if it is there and cannot be listed to its end.
KDI_DOOR std::vector<std::string> list_directory(std::string const& path, std::string_view suffix = {});

/// Makes the directory `path` and those above it, as far as they are not there. Throws FileError if it cannot.
KDI_DOOR void make_directories(std::string const& path);

/// Opens a file, again if a signal came, and closed where the process runs another program. -1, and errno, if it cannot
/// be opened.
KDI_DOOR int open_file(std::string const& path, int flags, unsigned mode = 0666);

/// Writes to an open file, pipe or terminal. How many bytes were written: all, or fewer, and errno tells why.
KDI_DOOR std::size_t write_all(int descriptor, std::string_view bytes);

/// Adds to an open file that nobody else writes to, of a regular file all of `bytes` or nothing. False, and errno, if
/// that fails.
KDI_DOOR bool append_whole(int descriptor, std::string_view bytes);

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
