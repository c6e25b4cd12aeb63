#include "kdi/common/HUTFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "kdi/common/ComMsgMgr.h"
#include "kdi/common/KdiFile.h"

namespace fs = std::filesystem;

HUTFile::HUTFile(std::string const& path) : path_(path) {}

bool HUTFile::isDir() const {
  std::error_code ignored;
  return fs::is_directory(path_, ignored) && ::faccessat(AT_FDCWD, path_.c_str(), R_OK, AT_EACCESS) == 0;
}

bool HUTFile::exists() const {
  std::error_code ignored;
  return fs::exists(path_, ignored);
}

HUTFileIter* HUTFile::createFileIter() const { return new HUTFileIter(path_); }

bool HUTFile::getFullPath(std::string& path) const {
  if (path_.empty()) return false;
  std::error_code failed;
  const fs::path absolute = fs::absolute(path_, failed);
  if (failed) return false;
  path = absolute.lexically_normal().string();
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  return true;
}

std::string HUTFile::getParent() const {
  const auto without_separators = [](std::string text) {
    while (text.size() > 1 && text.back() == '/') text.pop_back();
    return text;
  };
  const std::string path = without_separators(path_);
  const std::size_t last = path.rfind('/');
  return last == std::string::npos ? "." : without_separators(path.substr(0, std::max<std::size_t>(last, 1)));
}

bool HUTFile::mkDirRecursive(std::string const& path) {
  std::error_code ignored;  // the question below is the answer
  fs::create_directories(path, ignored);
  return fs::is_directory(path, ignored);
}

std::string const& HUTFile::getDirSeparator() {
  static std::string const& separator = *new std::string("/");
  return separator;
}

HUTFileIter::HUTFileIter(std::string const& directory) : directory_(directory) {
  try {
    names_ = kdi::list_directory(directory);
  } catch (kdi::FileError const& error) {
    ComMsgMgr::sendMsg::eval(1, __FILE__, __LINE__, "files", ComMsgMgr::MSG_WARNING, "%s", error.what());
  }
  if (!directory_.empty() && directory_.back() != '/') directory_ += '/';
}

HUTFileIter::~HUTFileIter() = default;

bool HUTFileIter::atEnd() const { return at_ == names_.size(); }

void HUTFileIter::next() {
  if (!atEnd()) ++at_;
}

HUTFile HUTFileIter::current() const { return HUTFile(atEnd() ? std::string() : directory_ + names_[at_]); }
