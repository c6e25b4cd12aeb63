#include "platform/place/remove_directory.h"

#include <dirent.h>
#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <memory>
#include <utility>
#include <vector>

#include "kdi/common/KdiText.h"

namespace kdi::place {
namespace {

[[noreturn]] void refuse(std::string const& path, std::string const& reason) {
  throw "directory " + text::shown(path) + " is not removed: " + reason;
}
[[noreturn]] void fail(std::string const& path, int number) {
  throw "directory " + text::shown(path) + " cannot be removed: " + text::system_reason(number);
}

// A descriptor that is closed.
class Open {
 public:
  explicit Open(int number = -1) : number_(number) {}
  Open(Open&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  Open& operator=(Open&& other) noexcept {
    std::swap(number_, other.number_);
    return *this;
  }
  ~Open() {
    if (number_ >= 0) close(number_);
  }
  explicit operator bool() const { return number_ >= 0; }
  int number() const { return number_; }

 private:
  int number_;
};

Open open_directory(int within, char const* name) {
  return Open(openat(within, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
}

struct Identity {
  dev_t device;
  ino_t number;
  bool operator==(Identity const&) const = default;
};
Identity identity(struct stat const& status) { return {status.st_dev, status.st_ino}; }
Identity identity(Open const& directory, std::string const& path) {
  struct stat status;
  if (fstat(directory.number(), &status) != 0) fail(path, errno);
  return identity(status);
}

struct CloseList {
  void operator()(DIR* list) const { closedir(list); }
};

std::vector<std::string> names_in(Open const& directory, std::string const& path) {
  const int own = openat(directory.number(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);  // the list closes it
  if (own < 0) fail(path, errno);
  const std::unique_ptr<DIR, CloseList> list(fdopendir(own));
  if (!list) {
    const int number = errno;
    close(own);
    fail(path, number);
  }
  std::vector<std::string> names;
  errno = 0;
  while (dirent const* const entry = readdir(list.get())) {
    const std::string name = entry->d_name;
    if (name != "." && name != "..") names.push_back(name);
  }
  if (errno != 0) fail(path, errno);
  return names;
}

// Empties an open directory. However deep it is, two directories are open at a time: the way back up is the entry `..`,
// which has to be where the way down came from.
class Emptying {
 public:
  Emptying(Open const& top, std::string path) : path_(std::move(path)) {
    const Identity id = identity(top, path_);
    here_ = open_directory(top.number(), ".");
    if (!here_) fail(path_, errno);
    levels_.push_back({id, {}, names_in(here_, path_)});
  }

  void run() {
    while (true) {
      if (!levels_.back().names.empty())
        take(levels_.back().names.back());
      else if (levels_.size() > 1)
        leave();
      else
        return;
    }
  }

 private:
  struct Level {
    Identity id;
    std::string name;                ///< in the level above
    std::vector<std::string> names;  ///< still in it
  };

  void take(std::string const& name) {
    struct stat status;
    if (fstatat(here_.number(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) fail(inside(name), errno);
    if (S_ISDIR(status.st_mode)) return enter(name, identity(status));
    if (unlinkat(here_.number(), name.c_str(), 0) != 0) fail(inside(name), errno);
    levels_.back().names.pop_back();
  }

  void enter(std::string const& name, Identity const& id) {
    if (id.device != levels_.front().id.device) refuse(inside(name), "it is another file system");
    Open below = open_directory(here_.number(), name.c_str());
    if (!below) fail(inside(name), errno);
    if (identity(below, inside(name)) != id) refuse(inside(name), "it was exchanged meanwhile");
    std::vector<std::string> names = names_in(below, inside(name));
    here_ = std::move(below);
    levels_.push_back({id, name, std::move(names)});
  }

  void leave() {
    Open above(openat(here_.number(), "..", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    const std::string name = levels_.back().name;
    levels_.pop_back();
    if (!above) fail(inside(name), errno);
    if (identity(above, path_) != levels_.back().id) refuse(inside(name), "it was moved meanwhile");
    here_ = std::move(above);
    if (unlinkat(here_.number(), name.c_str(), AT_REMOVEDIR) != 0) fail(inside(name), errno);
    levels_.back().names.pop_back();
  }

  std::string inside(std::string const& name) const {
    std::string path = path_;
    for (Level const& level : levels_)
      if (!level.name.empty()) path += "/" + level.name;
    return path + "/" + name;
  }

  std::string path_;
  Open here_;
  std::vector<Level> levels_;
};

// ------------------------------------------------------------------------------------------------ what may be removed

std::string path_of(Open const& directory) {
  const std::string link = "/proc/self/fd/" + std::to_string(directory.number());
  std::string path(64, '\0');
  while (true) {
    const ssize_t length = readlink(link.c_str(), path.data(), path.size());
    if (length < 0) return {};
    if (static_cast<std::size_t>(length) < path.size()) return path.substr(0, static_cast<std::size_t>(length));
    path.resize(2 * path.size());
  }
}

bool is_within(std::string const& path, std::string const& root) {
  return path.size() > root.size() && path.starts_with(root) && (root.ends_with('/') || path[root.size()] == '/');
}

// The home of the environment, and the one of the user.
std::vector<std::string> homes() {
  std::vector<std::string> all;
  if (char const* const home = std::getenv("HOME")) all.push_back(real_directory(home));
  std::array<char, 16384> texts;
  passwd entry;
  passwd* found = nullptr;
  if (getpwuid_r(getuid(), &entry, texts.data(), texts.size(), &found) == 0 && found != nullptr)
    all.push_back(real_directory(found->pw_dir));
  return all;
}

// A path as its last name and what leads to it.
struct Split {
  std::string above, name;
};
Split split(std::string path) {
  while (path.size() > 1 && path.ends_with('/')) path.pop_back();
  const std::size_t slash = path.rfind('/');
  if (slash == std::string::npos) return {".", path};
  return {slash == 0 ? "/" : path.substr(0, slash), path.substr(slash + 1)};
}

bool goes_up(std::string const& path) {
  return path == ".." || path.starts_with("../") || path.ends_with("/..") || path.find("/../") != std::string::npos;
}

void check(std::string const& path, Open const& above, Open const& directory, std::set<std::string> const& roots,
           char const* marker) {
  if (identity(above, path).device != identity(directory, path).device) refuse(path, "it is a root of a file system");
  const std::string real = path_of(directory);
  if (real.empty()) refuse(path, "where it is cannot be found out");
  for (std::string const& home : homes())
    if (!home.empty() && (real == home || is_within(home, real))) refuse(path, "it has a user's home in it");
  for (std::string const& root : roots)
    if (is_within(real, root)) return;
  struct stat status;
  if (fstatat(directory.number(), marker, &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISREG(status.st_mode)) return;
  refuse(path, std::string("it is below none of the interface's directories, and has no file ") + marker);
}

}  // namespace

std::string real_directory(std::string const& path) {
  const Open directory(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  return directory ? path_of(directory) : std::string();
}

bool remove_directory(std::string const& path, std::set<std::string> const& roots, char const* marker) {
  if (path.find('\0') != std::string::npos) refuse(path, "no path has a zero in it");
  if (!path.starts_with('/') && goes_up(path)) refuse(path, "it is relative, with .. in it");
  const Split place = split(path);
  if (place.name.empty() || place.name == "." || place.name == "..") refuse(path, "it has no name of its own");
  const Open above(open(place.above.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!above && (errno == ENOENT || errno == ENOTDIR)) return false;
  if (!above) fail(path, errno);
  struct stat status;
  if (fstatat(above.number(), place.name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
    if (errno == ENOENT) return false;
    fail(path, errno);
  }
  if (S_ISLNK(status.st_mode)) refuse(path, "it is a link");
  if (!S_ISDIR(status.st_mode)) refuse(path, "it is no directory");
  const Open directory = open_directory(above.number(), place.name.c_str());
  if (!directory) fail(path, errno);
  check(path, above, directory, roots, marker);
  Emptying(directory, path).run();
  if (unlinkat(above.number(), place.name.c_str(), AT_REMOVEDIR) != 0) fail(path, errno);
  return true;
}

}  // namespace kdi::place
