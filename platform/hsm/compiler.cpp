#include "platform/hsm/compiler.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <thread>
#include <vector>

#include "kdi/common/KdiFile.h"
#include "kdi/common/KdiText.h"

extern char** environ;

namespace kdi::hsm {
namespace {

constexpr std::size_t kMostTold = 4000;

// What the new process has open: nothing to read, and the log to write to.
class FileActions {
 public:
  explicit FileActions(std::string const& log) {
    ::posix_spawn_file_actions_init(&actions_);
    ::posix_spawn_file_actions_addopen(&actions_, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    ::posix_spawn_file_actions_addopen(&actions_, STDOUT_FILENO, log.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    ::posix_spawn_file_actions_adddup2(&actions_, STDOUT_FILENO, STDERR_FILENO);
  }
  FileActions(FileActions const&) = delete;
  FileActions& operator=(FileActions const&) = delete;
  ~FileActions() { ::posix_spawn_file_actions_destroy(&actions_); }
  posix_spawn_file_actions_t const* get() const { return &actions_; }

 private:
  posix_spawn_file_actions_t actions_;
};

// In a group of its own, so that what the compiler starts ends with it; with no signal held back.
class Attributes {
 public:
  Attributes() {
    ::posix_spawnattr_init(&attributes_);
    ::posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    ::posix_spawnattr_setpgroup(&attributes_, 0);
    sigset_t none, pipe;
    ::sigemptyset(&none);
    ::sigemptyset(&pipe);
    ::sigaddset(&pipe, SIGPIPE);
    ::posix_spawnattr_setsigmask(&attributes_, &none);
    ::posix_spawnattr_setsigdefault(&attributes_, &pipe);
  }
  Attributes(Attributes const&) = delete;
  Attributes& operator=(Attributes const&) = delete;
  ~Attributes() { ::posix_spawnattr_destroy(&attributes_); }
  posix_spawnattr_t const* get() const { return &attributes_; }

 private:
  posix_spawnattr_t attributes_;
};

// Whether the process ended well. A host that does not want to hear of its children's ends hears of none: then what the
// compiler left behind has to tell.
bool ends_well(pid_t child, int most_seconds) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(most_seconds);
  for (;;) {
    int status = 0;
    const pid_t ended = ::waitpid(child, &status, WNOHANG);
    if (ended == child) return WIFEXITED(status) && WEXITSTATUS(status) == 0;
    if (ended < 0 && errno != EINTR) return errno == ECHILD;
    if (std::chrono::steady_clock::now() > end) {
      ::kill(-child, SIGKILL);
      ::waitpid(child, &status, 0);
      return false;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
}

}  // namespace

Run run(StrVec const& words, std::string const& log, int most_seconds) {
  std::vector<char*> arguments;
  for (std::string const& word : words) arguments.push_back(const_cast<char*>(word.c_str()));
  arguments.push_back(nullptr);
  const FileActions files(log);
  const Attributes attributes;
  pid_t child = -1;
  const int error = ::posix_spawnp(&child, arguments[0], files.get(), attributes.get(), arguments.data(), environ);
  if (error != 0) throw NoProgram(text::system_reason(error));
  Run run;
  run.is_well = ends_well(child, most_seconds);
  run.told = read_file(log);
  if (run.told.size() > kMostTold) run.told.resize(kMostTold);
  return run;
}

}  // namespace kdi::hsm
