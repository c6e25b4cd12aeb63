// What other programs take, as a bench asks it of its own work.
#pragma once

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <stdexcept>
#include <string>
#include <vector>

extern char** environ;

namespace bench {

/// Seconds of the processor that a program takes from its start to its end, the system's share included. Nobody sees
/// what it prints.
/// \throws std::runtime_error if it cannot be started, or says that it failed
inline double processor_seconds_of_program(std::vector<std::string> words) {
  std::vector<char*> arguments;
  for (std::string& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  posix_spawn_file_actions_t quiet;
  ::posix_spawn_file_actions_init(&quiet);
  ::posix_spawn_file_actions_addopen(&quiet, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  ::posix_spawn_file_actions_addopen(&quiet, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
  pid_t child = 0;
  const int failed = ::posix_spawn(&child, arguments[0], &quiet, nullptr, arguments.data(), environ);
  ::posix_spawn_file_actions_destroy(&quiet);
  int status = 0;
  rusage used{};
  if (failed != 0 || ::wait4(child, &status, 0, &used) != child || status != 0)
    throw std::runtime_error(words[0] + " failed");
  const auto seconds = [](timeval const& time) {
    return static_cast<double>(time.tv_sec) + 1e-6 * static_cast<double>(time.tv_usec);
  };
  return seconds(used.ru_utime) + seconds(used.ru_stime);
}

}  // namespace bench
