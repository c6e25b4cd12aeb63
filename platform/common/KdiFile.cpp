#include "kdi/common/KdiFile.h"

#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <filesystem>
#include <memory>
#include <new>
#include <optional>
#include <system_error>
#include <utility>

#include "kdi/common/KdiText.h"

namespace kdi {
namespace {

template <class Error = FileError>
[[noreturn]] void fail(std::string const& path, std::string const& what, int reason) {
  if (reason == ENOMEM) throw std::bad_alloc();  // no fault of the file
  throw Error(path + ": " + what + ": " + text::system_reason(reason));
}

// An open file, closed by scope.
class Descriptor {
 public:
  explicit Descriptor(int number) : number_(number) {}
  Descriptor(Descriptor const&) = delete;
  Descriptor& operator=(Descriptor const&) = delete;
  ~Descriptor() {
    if (number_ >= 0) ::close(number_);
  }
  int number() const { return number_; }

 private:
  int number_;
};

// What is at the path, behind links; nothing if there is nothing.
std::optional<struct stat> status_of(std::string const& path) {
  struct stat present {};
  if (::stat(path.c_str(), &present) == 0) return present;
  if (errno != ENOENT && errno != ENOTDIR && errno != ENAMETOOLONG) fail<OpenError>(path, "cannot be looked up", errno);
  return std::nullopt;
}

// Where the path leads, through links, also if there is nothing yet.
std::string behind_links(std::string const& path) {
  constexpr int kMostLinks = 40;  // the system's own limit
  std::filesystem::path at = path;
  for (int i = 0; i < kMostLinks; ++i) {
    std::error_code is_no_link;
    const std::filesystem::path next = std::filesystem::read_symlink(at, is_no_link);
    if (is_no_link) break;
    at = at.parent_path() / next;
  }
  return at.string();
}

// A name beside the target for what is to take its place; no longer than names may be.
std::string name_beside(std::string const& target) {
  static std::atomic<unsigned> counter = 0;
  constexpr std::size_t kMostLetters = 200;
  const std::filesystem::path path = target;
  const std::string name = path.filename().string().substr(0, kMostLetters) + "." + std::to_string(::getpid()) + "-" +
                           std::to_string(counter++) + ".tmp";
  return (path.parent_path() / name).string();
}

// The next entry of an open list; null at the end, and errno is 0, or if it cannot be read.
dirent const* next_entry(DIR* list) {
  errno = 0;
  return ::readdir(list);
}

// `size` is what the file seems to have.
std::string read_all(int file, std::string const& path, std::size_t most_bytes, std::size_t size = 0) {
  std::string bytes;
  if (size > 0) bytes.resize(std::min(size, most_bytes) + 1);
  std::size_t filled = 0;
  for (;;) {
    if (filled == bytes.size()) bytes.resize(std::max<std::size_t>(4096, 2 * filled));
    const ssize_t count = ::read(file, bytes.data() + filled, bytes.size() - filled);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) fail(path, "cannot be read", errno);
    if (count == 0) break;
    filled += static_cast<std::size_t>(count);
    if (filled > most_bytes) throw FileError(path + ": has more than " + std::to_string(most_bytes) + " bytes");
  }
  bytes.resize(filled);
  return bytes;
}

}  // namespace

std::string read_file(std::string const& path, std::size_t most_bytes) {
  // so that opening a pipe does not wait for who writes to it; a regular file is read alike
  Descriptor file(open_file(path, O_RDONLY | O_NONBLOCK | O_NOCTTY));
  if (file.number() < 0) fail<OpenError>(path, "cannot be opened", errno);
  struct stat status {};
  if (::fstat(file.number(), &status) != 0) fail(path, "cannot be looked up", errno);
  if (S_ISDIR(status.st_mode)) fail(path, "cannot be read", EISDIR);
  if (!S_ISREG(status.st_mode)) throw FileError(path + ": cannot be read: it is no regular file");
  return read_all(file.number(), path, most_bytes, static_cast<std::size_t>(status.st_size));
}

std::string read_input(std::string const& path, std::size_t most_bytes) {
  const Descriptor file(open_file(path, O_RDONLY));
  if (file.number() < 0) fail<OpenError>(path, "cannot be opened", errno);
  return read_all(file.number(), path, most_bytes);
}

NewFile::NewFile(std::string path) : path_(std::move(path)), target_(path_) {
  const std::optional<struct stat> present = status_of(path_);
  if (present && S_ISDIR(present->st_mode)) fail<OpenError>(path_, "cannot be written", EISDIR);
  if (present && !S_ISREG(present->st_mode)) {
    is_regular_ = false;
    open_target(O_WRONLY);
    return;
  }
  // moving a file over a protected one would succeed
  if (present && ::faccessat(AT_FDCWD, path_.c_str(), W_OK, AT_EACCESS) != 0)
    fail<OpenError>(path_, "cannot be written", errno);
  if (!present && (path_.empty() || errno == ENAMETOOLONG)) fail<OpenError>(path_, "cannot be created", errno);
  target_ = behind_links(path_);
  open_beside();
  if (number_ < 0 && present && (errno == EACCES || errno == EPERM)) {
    beside_.clear();
    open_target(O_WRONLY | O_TRUNC);
    return;
  }
  if (number_ < 0) fail<OpenError>(path_, "cannot be created", errno);
  if (present && ::fchmod(number_, present->st_mode & 07777) != 0) {
    const int reason = errno;
    ::close(number_);
    ::unlink(beside_.c_str());
    fail<OpenError>(path_, "cannot be created", reason);
  }
}

void NewFile::open_target(int flags) {
  number_ = open_file(target_, flags);
  if (number_ < 0) fail<OpenError>(path_, "cannot be opened", errno);
}

void NewFile::open_beside() {
  do {
    beside_ = name_beside(target_);
    number_ = open_file(beside_, O_WRONLY | O_CREAT | O_EXCL);
  } while (number_ < 0 && errno == EEXIST);  // left by a process that was killed
}

NewFile::~NewFile() {
  if (number_ >= 0) ::close(number_);
  if (is_kept_) return;
  if (!beside_.empty())
    ::unlink(beside_.c_str());
  else if (is_regular_ && ::truncate(target_.c_str(), 0) != 0)
    return;  // what is there cannot even be taken back
}

void NewFile::write(std::string_view bytes) {
  if (write_all(number_, bytes) != bytes.size()) fail(path_, "cannot be written", errno);
}

void NewFile::keep() {
  // some file systems tell of a full disk only here
  if (::close(std::exchange(number_, -1)) != 0 && errno != EINTR) fail(path_, "cannot be written", errno);
  if (!beside_.empty() && ::rename(beside_.c_str(), target_.c_str()) != 0)
    fail(path_, "cannot be moved to its place", errno);
  is_kept_ = true;
}

void write_file(std::string const& path, std::string_view bytes) {
  NewFile file(path);
  file.write(bytes);
  file.keep();
}

int open_file(std::string const& path, int flags, unsigned mode) {
  int number = -1;
  do number = ::open(path.c_str(), flags | O_CLOEXEC, mode);
  while (number < 0 && errno == EINTR);
  return number;
}

std::size_t write_all(int descriptor, std::string_view bytes) {
  std::size_t done = 0;
  while (done < bytes.size()) {
    const ssize_t written = ::write(descriptor, bytes.data() + done, bytes.size() - done);
    if (written > 0) {
      done += static_cast<std::size_t>(written);
    } else if (written == 0) {
      errno = EIO;  // it would be so for ever
      break;
    } else if (errno == EAGAIN) {
      pollfd writable{descriptor, POLLOUT, 0};  // whoever shares a terminal has made it non-blocking
      ::poll(&writable, 1, -1);
    } else if (errno != EINTR) {
      break;
    }
  }
  return done;
}

bool append_whole(int descriptor, std::string_view bytes) {
  struct stat before {};
  const bool can_shrink = ::fstat(descriptor, &before) == 0 && S_ISREG(before.st_mode);
  if (write_all(descriptor, bytes) == bytes.size()) return true;
  const int reason = errno;
  if (can_shrink && ::ftruncate(descriptor, before.st_size) != 0) errno = reason;  // a part of it stays
  errno = reason;
  return false;
}

bool is_file(std::string const& path) {
  const auto present = status_of(path);
  return present && S_ISREG(present->st_mode);
}

bool is_directory(std::string const& path) {
  const auto present = status_of(path);
  return present && S_ISDIR(present->st_mode);
}

void make_directories(std::string const& path) {
  std::error_code fault;
  std::filesystem::create_directories(path, fault);
  if (fault) fail(path, "cannot be made a directory", fault.value());
}

std::vector<std::string> list_directory(std::string const& path, std::string_view suffix) {
  // The standard library's iterator ends the process where memory runs out.
  const std::unique_ptr<DIR, int (*)(DIR*)> list(::opendir(path.c_str()), ::closedir);
  std::vector<std::string> names;
  if (list == nullptr) {
    if (errno == ENOENT || errno == ENOTDIR) return names;
    fail(path, "cannot be listed", errno);
  }
  while (dirent const* const entry = next_entry(list.get())) {
    const std::string_view name = entry->d_name;
    if (name != "." && name != ".." && name.ends_with(suffix)) names.emplace_back(name);
  }
  if (errno != 0) fail(path, "cannot be listed", errno);
  std::sort(names.begin(), names.end());
  return names;
}

LineFile::LineFile(std::string path)
    : path_(std::move(path)), number_(open_file(path_, O_WRONLY | O_CREAT | O_APPEND)) {
  if (number_ < 0) fail<OpenError>(path_, "cannot be opened", errno);
}

LineFile::~LineFile() { ::close(number_); }

void LineFile::add(std::string_view line) {
  const std::lock_guard lock(mutex_);
  // in one call, so that the lines of several processes do not mix
  const std::string text = (within_line_ ? "\n" : "") + std::string(line) + "\n";
  const std::size_t written = write_all(number_, text);
  const std::size_t line_begins = within_line_ ? 1 : 0;
  within_line_ = written != text.size() && written != line_begins;
  if (written != text.size()) fail(path_, "cannot be written", errno);
}

}  // namespace kdi
