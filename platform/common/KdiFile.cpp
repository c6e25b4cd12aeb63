#include "kdi/common/KdiFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <filesystem>
#include <new>
#include <optional>
#include <system_error>
#include <utility>

namespace kdi {
namespace {

constexpr mode_t kNewFileMode = 0666;  // less the process's mask

[[noreturn]] void fail(std::string const& path, std::string const& what, int reason) {
  if (reason == ENOMEM) throw std::bad_alloc();  // no fault of the file
  throw FileError(path + ": " + what + ": " + std::generic_category().message(reason));
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
  int close() { return ::close(std::exchange(number_, -1)); }

 private:
  int number_;
};

// What is at the path, behind links; nothing if there is nothing.
std::optional<struct stat> status_of(std::string const& path) {
  struct stat present {};
  if (::stat(path.c_str(), &present) == 0) return present;
  if (errno != ENOENT && errno != ENOTDIR && errno != ENAMETOOLONG) fail(path, "cannot be looked up", errno);
  return std::nullopt;
}

int open_retrying(std::string const& path, int flags) {
  int number = -1;
  do number = ::open(path.c_str(), flags | O_CLOEXEC, kNewFileMode);
  while (number < 0 && errno == EINTR);
  return number;
}

// Writes from the front of `bytes` and takes away what is written.
void write_some(int file, std::string_view& bytes, std::string const& path) {
  const ssize_t count = ::write(file, bytes.data(), bytes.size());
  if (count < 0 && errno == EINTR) return;
  if (count < 0) fail(path, "cannot be written", errno);
  if (count == 0) fail(path, "cannot be written", EIO);  // it would be so for ever
  bytes.remove_prefix(static_cast<std::size_t>(count));
}

void write_all(Descriptor& file, std::string_view bytes, std::string const& path) {
  while (!bytes.empty()) write_some(file.number(), bytes, path);
  // some file systems tell of a full disk only here
  if (file.close() != 0 && errno != EINTR) fail(path, "cannot be written", errno);
}

// A file beside its target that is removed unless it takes the target's place.
class TemporaryFile {
 public:
  TemporaryFile(std::string target, std::string const& shown) : target_(std::move(target)) {
    static std::atomic<unsigned> counter = 0;
    do {
      name_ = target_ + "." + std::to_string(::getpid()) + "-" + std::to_string(counter++) + ".tmp";
      number_ = open_retrying(name_, O_WRONLY | O_CREAT | O_EXCL);
    } while (number_ < 0 && errno == EEXIST);  // left by a process that was killed
    if (number_ < 0) fail(shown, "cannot be created", errno);
  }
  TemporaryFile(TemporaryFile const&) = delete;
  TemporaryFile& operator=(TemporaryFile const&) = delete;
  ~TemporaryFile() {
    if (!replaced_) ::unlink(name_.c_str());
  }
  int number() const { return number_; }
  bool replace_target() {
    replaced_ = ::rename(name_.c_str(), target_.c_str()) == 0;
    return replaced_;
  }

 private:
  std::string target_;
  std::string name_;
  int number_ = -1;
  bool replaced_ = false;
};

void write_through(std::string const& path, std::string_view bytes) {
  Descriptor file(open_retrying(path, O_WRONLY));
  if (file.number() < 0) fail(path, "cannot be opened", errno);
  write_all(file, bytes, path);
}

std::string read_all(int file, std::string const& path, std::size_t most_bytes) {
  std::string bytes;
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
  Descriptor file(open_retrying(path, O_RDONLY | O_NONBLOCK | O_NOCTTY));
  if (file.number() < 0) fail(path, "cannot be opened", errno);
  struct stat status {};
  if (::fstat(file.number(), &status) != 0) fail(path, "cannot be looked up", errno);
  if (S_ISDIR(status.st_mode)) fail(path, "cannot be read", EISDIR);
  if (!S_ISREG(status.st_mode)) throw FileError(path + ": cannot be read: it is no regular file");
  return read_all(file.number(), path, most_bytes);
}

std::string read_input(std::string const& path, std::size_t most_bytes) {
  const Descriptor file(open_retrying(path, O_RDONLY));
  if (file.number() < 0) fail(path, "cannot be opened", errno);
  return read_all(file.number(), path, most_bytes);
}

void write_file(std::string const& path, std::string_view bytes) {
  const std::optional<struct stat> present = status_of(path);
  const bool exists = present.has_value();
  if (exists && S_ISDIR(present->st_mode)) fail(path, "cannot be written", EISDIR);
  if (exists && !S_ISREG(present->st_mode)) return write_through(path, bytes);
  // moving a file over a protected one would succeed
  if (exists && ::faccessat(AT_FDCWD, path.c_str(), W_OK, AT_EACCESS) != 0) fail(path, "cannot be written", errno);

  std::error_code failed;
  std::string target = path;
  if (exists) target = std::filesystem::canonical(path, failed).string();
  TemporaryFile beside(failed ? path : target, path);
  {
    Descriptor file(beside.number());
    if (exists && ::fchmod(file.number(), present->st_mode & 07777) != 0) fail(path, "cannot be created", errno);
    write_all(file, bytes, path);
  }
  if (!beside.replace_target()) fail(path, "cannot be moved to its place", errno);
}

bool is_file(std::string const& path) {
  const auto present = status_of(path);
  return present && S_ISREG(present->st_mode);
}

bool is_directory(std::string const& path) {
  const auto present = status_of(path);
  return present && S_ISDIR(present->st_mode);
}

std::vector<std::string> list_directory(std::string const& path, std::string_view suffix) {
  std::vector<std::string> names;
  std::error_code failed;
  for (std::filesystem::directory_iterator entry(path, failed);
       !failed && entry != std::filesystem::directory_iterator(); entry.increment(failed))
    if (std::string name = entry->path().filename().string(); name.ends_with(suffix)) names.push_back(std::move(name));
  if (failed && failed != std::errc::no_such_file_or_directory && failed != std::errc::not_a_directory)
    fail(path, "cannot be listed", failed.value());
  std::sort(names.begin(), names.end());
  return names;
}

LineFile::LineFile(std::string path)
    : path_(std::move(path)), number_(open_retrying(path_, O_WRONLY | O_CREAT | O_APPEND)) {
  if (number_ < 0) fail(path_, "cannot be opened", errno);
}

LineFile::~LineFile() { ::close(number_); }

void LineFile::add(std::string_view line) {
  const std::lock_guard lock(mutex_);
  // in one call, so that the lines of several processes do not mix
  const std::string text = (within_line_ ? "\n" : "") + std::string(line) + "\n";
  std::string_view rest = text;
  try {
    while (!rest.empty()) write_some(number_, rest, path_);
  } catch (FileError const&) {
    within_line_ = within_line_ ? rest.size() != text.size() - 1 : rest.size() != text.size();
    throw;
  }
  within_line_ = false;
}

}  // namespace kdi
