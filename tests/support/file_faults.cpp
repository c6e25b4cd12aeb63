#include "tests/support/file_faults.h"

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/types.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string_view>

namespace {

using file_faults::Call;

constexpr std::size_t kNoLimit = static_cast<std::size_t>(-1);

struct Watch {
  std::string folder;
  std::optional<file_faults::Plan> plan;
  std::size_t room = kNoLimit;
  std::size_t piece = kNoLimit;
  int counts[std::size(file_faults::kCalls)] = {};
  int failed = 0;
};
// For one thread: tests watch in a process of their own.
Watch* watched = nullptr;

bool is_watched(std::string_view path) {
  return watched != nullptr && path.starts_with(watched->folder) &&
         (path.size() == watched->folder.size() || path[watched->folder.size()] == '/');
}

bool is_watched(int descriptor) {
  if (watched == nullptr) return false;
  char path[PATH_MAX];
  const std::string link = "/proc/self/fd/" + std::to_string(descriptor);
  const ssize_t size = ::readlink(link.c_str(), path, sizeof path);
  return size > 0 && is_watched(std::string_view(path, static_cast<std::size_t>(size)));
}

// Counts the call. Whether it fails, and then errno.
bool fails(Call call) {
  const int number = watched->counts[static_cast<int>(call)]++;
  if (!watched->plan || watched->plan->call != call) return false;
  if (number < watched->plan->nth || (number > watched->plan->nth && !watched->plan->for_ever)) return false;
  ++watched->failed;
  errno = watched->plan->error;
  return true;
}

template <class Function>
Function* next(char const* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

int open_at(int directory, char const* path, int flags, mode_t mode) {
  if ((flags & O_DIRECTORY) == 0 && is_watched(path) && fails(Call::open)) return -1;
  return static_cast<int>(::syscall(SYS_openat, directory, path, flags, mode));
}

mode_t mode_of(int flags, va_list list) { return (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(list, mode_t) : 0; }

template <class Entry>
Entry* read_entry(char const* name, DIR* list) {
  static auto* const systems_own = next<Entry*(DIR*)>(name);
  if (is_watched(::dirfd(list)) && fails(Call::list)) return nullptr;
  return systems_own(list);
}

int descriptor_of(void* cookie) { return static_cast<int>(reinterpret_cast<std::intptr_t>(cookie)); }
ssize_t read_stream(void* cookie, char* bytes, std::size_t size) { return ::read(descriptor_of(cookie), bytes, size); }
ssize_t write_stream(void* cookie, char const* bytes, std::size_t size) {
  std::size_t all = 0;
  while (all < size) {
    const ssize_t written = ::write(descriptor_of(cookie), bytes + all, size - all);
    if (written <= 0) break;  // less than `size` is how it tells of a fault
    all += static_cast<std::size_t>(written);
  }
  return static_cast<ssize_t>(all);
}
int close_stream(void* cookie) { return ::close(descriptor_of(cookie)); }

}  // namespace

// The calls, before the C library's own. Those that the program could not make without are made by number.
extern "C" {

int stat(char const* path, struct stat* found) noexcept {
  static auto* const systems_own = next<int(char const*, struct stat*)>("stat");
  if (is_watched(path) && fails(Call::status)) return -1;
  return systems_own(path, found);
}

int open(char const* path, int flags, ...) {
  va_list list;
  va_start(list, flags);
  const mode_t mode = mode_of(flags, list);
  va_end(list);
  return open_at(AT_FDCWD, path, flags, mode);
}
int open64(char const* path, int flags, ...) {
  va_list list;
  va_start(list, flags);
  const mode_t mode = mode_of(flags, list);
  va_end(list);
  return open_at(AT_FDCWD, path, flags, mode);
}

ssize_t read(int descriptor, void* bytes, std::size_t size) {
  if (is_watched(descriptor)) {
    if (fails(Call::read)) return -1;
    size = std::min(size, watched->piece);
  }
  return ::syscall(SYS_read, descriptor, bytes, size);
}

ssize_t write(int descriptor, void const* bytes, std::size_t size) {
  if (is_watched(descriptor)) {
    if (fails(Call::write)) return -1;
    size = std::min(size, watched->piece);
    if (watched->room != kNoLimit) {
      if (watched->room == 0 && size != 0) {
        ++watched->failed;
        errno = ENOSPC;
        return -1;
      }
      size = std::min(size, watched->room);
      watched->room -= size;
    }
  }
  return ::syscall(SYS_write, descriptor, bytes, size);
}

ssize_t writev(int descriptor, iovec const* parts, int count) {
  if (!is_watched(descriptor)) return ::syscall(SYS_writev, descriptor, parts, count);
  ssize_t all = 0;
  for (int i = 0; i < count; ++i) {
    const ssize_t written = ::write(descriptor, parts[i].iov_base, parts[i].iov_len);
    if (written < 0) return all == 0 ? written : all;
    all += written;
    if (written < static_cast<ssize_t>(parts[i].iov_len)) break;
  }
  return all;
}

int close(int descriptor) {
  // Its number is free afterwards, whatever the call says.
  const bool fault = is_watched(descriptor) && fails(Call::close);
  const int error = errno;
  const auto result = static_cast<int>(::syscall(SYS_close, descriptor));
  if (!fault) return result;
  errno = error;
  return -1;
}

int rename(char const* from, char const* to) noexcept {
  if (is_watched(to) && fails(Call::rename)) return -1;
  return static_cast<int>(::syscall(SYS_renameat2, AT_FDCWD, from, AT_FDCWD, to, 0));
}

// The C library's streams make their calls within it. One of a watched file makes them here.
FILE* fopen(char const* path, char const* mode) {
  static auto* const systems_own = next<FILE*(char const*, char const*)>("fopen");
  if (!is_watched(path)) return systems_own(path, mode);
  const bool updates = std::strchr(mode, '+') != nullptr;
  int flags = updates ? O_RDWR : *mode == 'r' ? O_RDONLY : O_WRONLY;
  if (*mode != 'r') flags |= O_CREAT | (*mode == 'a' ? O_APPEND : O_TRUNC);
  const int descriptor = ::open(path, flags, 0666);
  if (descriptor == -1) return nullptr;
  constexpr cookie_io_functions_t kCalls = {read_stream, write_stream, nullptr, close_stream};
  return ::fopencookie(reinterpret_cast<void*>(static_cast<std::intptr_t>(descriptor)), mode, kCalls);
}
// That of a C++ stream, which reads and writes its descriptor itself.
FILE* fopen64(char const* path, char const* mode) {
  static auto* const systems_own = next<FILE*(char const*, char const*)>("fopen64");
  if (is_watched(path) && fails(Call::open)) return nullptr;
  return systems_own(path, mode);
}
int fclose(FILE* file) {
  static auto* const systems_own = next<int(FILE*)>("fclose");
  const bool fault = is_watched(::fileno(file)) && fails(Call::close);
  const int error = errno;
  const int result = systems_own(file);
  if (!fault) return result;
  errno = error;
  return EOF;
}

DIR* opendir(char const* path) {
  static auto* const systems_own = next<DIR*(char const*)>("opendir");
  if (is_watched(path) && fails(Call::open_list)) return nullptr;
  return systems_own(path);
}
DIR* fdopendir(int descriptor) {
  static auto* const systems_own = next<DIR*(int)>("fdopendir");
  if (is_watched(descriptor) && fails(Call::open_list)) return nullptr;
  return systems_own(descriptor);
}
struct dirent* readdir(DIR* list) {
  return read_entry<struct dirent>("readdir", list);
}
struct dirent64* readdir64(DIR* list) {
  return read_entry<struct dirent64>("readdir64", list);
}

}  // extern "C"

namespace file_faults {

char const* name_of(Call call) {
  constexpr char const* kNames[] = {"status", "open", "read", "write", "close", "rename", "open_list", "list"};
  return kNames[static_cast<int>(call)];
}

void watch(std::string const& folder) {
  stop_watching();
  char path[PATH_MAX];
  auto* const made = new Watch;
  made->folder = ::realpath(folder.c_str(), path) != nullptr ? path : folder;
  watched = made;
}

void watch(std::string const& folder, Plan const& plan) {
  watch(folder);
  watched->plan = plan;
}

void watch_with_room_for(std::string const& folder, std::size_t bytes) {
  watch(folder);
  watched->room = bytes;
}

void watch_in_pieces(std::string const& folder, std::size_t bytes) {
  watch(folder);
  watched->piece = bytes;
}

void stop_watching() {
  delete watched;
  watched = nullptr;
}

int count(Call call) { return watched == nullptr ? 0 : watched->counts[static_cast<int>(call)]; }
int failed() { return watched == nullptr ? 0 : watched->failed; }

}  // namespace file_faults
