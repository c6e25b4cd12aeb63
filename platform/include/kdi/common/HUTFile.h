// Paths, and what lies behind them. Nothing here throws anything but std::bad_alloc: what cannot be found out counts as
// not there. Contents of files are common/KdiFile.h's business.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "kdi/common/KdiDoor.h"

class HUTFileIter;

class KDI_DOOR HUTFile {
 public:
  /// Names a path; touches nothing.
  explicit HUTFile(std::string const& path);

  /// Whether the path is a directory that may be listed.
  bool isDir() const;
  /// Whether there is anything, of whatever kind; a symbolic link to nothing is nothing.
  bool exists() const;

  /// The entries of the directory; at its end at once if the path is none. Never null; the caller deletes it.
  HUTFileIter* createFileIter() const;

  /// Sets `path` to this path made absolute from the working directory, without `.`, `..`, doubled separators and
  /// separator at the end; links are not followed. False, and `path` as it was, for an empty path or when the working
  /// directory is gone.
  bool getFullPath(std::string& path) const;

  /// The path without its last component: `a/b` for `a/b/c` and `a/b/c/`, `/` for `/a` and `/`, `.` for a bare name.
  std::string getParent() const;

  /// Makes the directory `path` and those above it, as far as they are missing. True if it is there afterwards.
  static bool mkDirRecursive(std::string const& path);

  /// "/".
  static std::string const& getDirSeparator();

 private:
  std::string path_;
};

/// The entries of a directory as it was when the iterator was made, in byte order of their names, without `.` and `..`.
class KDI_DOOR HUTFileIter {
 public:
  virtual ~HUTFileIter();

  bool atEnd() const;
  /// Goes to the next entry; no effect at the end.
  void next();
  /// The entry, named with the directory's path in front; the empty path at the end.
  HUTFile current() const;

 private:
  friend class HUTFile;
  explicit HUTFileIter(std::string const& directory);

  std::string directory_;
  std::vector<std::string> names_;
  std::size_t at_ = 0;
};
