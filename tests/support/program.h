// Runs a program as a shell script would, or as a person does at a terminal.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "tests/support/scratch.h"

using Variables = std::map<std::string, std::string>;

struct Outcome {
  int status = -1;
  std::string out, err;
};

struct Surroundings {
  Variables variables;
  std::string folder;  ///< to run in
  std::string input;   ///< on standard input
  std::string output;  ///< a file or device in the place of standard output; "|" for a pipe that nobody reads
};

namespace program_detail {

inline bool enter(Variables const& variables, std::string const& folder) {
  for (auto const& [name, value] : variables) ::setenv(name.c_str(), value.c_str(), 1);
  return folder.empty() || ::chdir(folder.c_str()) == 0;
}

[[noreturn]] inline void become(std::vector<std::string> const& words) {
  std::vector<char*> arguments;
  for (std::string const& word : words) arguments.push_back(const_cast<char*>(word.c_str()));
  arguments.push_back(nullptr);
  ::execv(arguments[0], arguments.data());
  ::_exit(127);
}

// The exit status, or 128 and the number of the signal that ended it.
inline int status_of(int state) { return WIFEXITED(state) ? WEXITSTATUS(state) : 128 + WTERMSIG(state); }

// A child of this process in its surroundings, which does not come back from `go_on`.
inline Outcome outcome_of(std::function<void()> const& go_on, Surroundings const& around) {
  const Scratch files;
  const std::string input = files.file("input", around.input);
  const std::string out_path = around.output.empty() ? files.path("out") : around.output;
  int unread[2] = {-1, -1};
  if (around.output == "|" && ::pipe2(unread, O_CLOEXEC) != 0) ADD_FAILURE() << "no pipe";
  const pid_t child = ::fork();
  if (child == 0) {
    const int in = ::open(input.c_str(), O_RDONLY | O_CLOEXEC);
    const int out = around.output == "|" ? unread[1] : ::open(out_path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666);
    const int err = ::open(files.path("err").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666);
    if (::dup2(in, 0) < 0 || ::dup2(out, 1) < 0 || ::dup2(err, 2) < 0) ::_exit(127);
    if (unread[0] != -1) ::close(unread[0]);
    if (enter(around.variables, around.folder)) go_on();
    ::_exit(127);
  }
  if (unread[0] != -1) {
    ::close(unread[0]);
    ::close(unread[1]);
  }
  int state = 0;
  ::waitpid(child, &state, 0);
  return {status_of(state), files.content("out"), files.content("err")};
}

}  // namespace program_detail

/// Runs `words` to its end.
inline Outcome run_program(std::vector<std::string> const& words, Surroundings const& around = {}) {
  return program_detail::outcome_of([&] { program_detail::become(words); }, around);
}

/// Runs `body`, whose result is the exit status, in a process that begins as this one is now: with what is loaded
/// already, and none of what the body, or another one before it, changes.
inline Outcome run_apart(std::function<int()> const& body, Surroundings const& around = {}) {
  std::fflush(nullptr);  // or the child would write it a second time
  return program_detail::outcome_of([&] { std::exit(body()); }, around);
}

/// A program at a terminal of its own.
class TerminalSession {
 public:
  TerminalSession(std::vector<std::string> const& words, Variables const& variables, std::string const& folder,
                  unsigned short columns = 100) {
    winsize size{};
    size.ws_row = 40;
    size.ws_col = columns;
    child_ = ::forkpty(&terminal_, nullptr, nullptr, &size);
    if (child_ == 0 && program_detail::enter(variables, folder)) program_detail::become(words);
    if (child_ == 0) ::_exit(127);
    if (child_ == -1) ADD_FAILURE() << "no terminal";
  }
  TerminalSession(TerminalSession const&) = delete;
  TerminalSession& operator=(TerminalSession const&) = delete;
  ~TerminalSession() {
    if (child_ > 0) {
      ::kill(child_, SIGKILL);
      finish();
    }
    ::close(terminal_);
  }

  void type(std::string const& keys) {
    if (::write(terminal_, keys.data(), keys.size()) != static_cast<ssize_t>(keys.size())) ADD_FAILURE() << "not typed";
  }

  /// Waits until `text` is shown behind what was awaited before; false if it does not come.
  bool shows(std::string const& text) {
    const auto end = std::chrono::steady_clock::now() + kPatience;
    for (;;) {
      if (const std::size_t at = screen_.find(text, seen_); at != std::string::npos) {
        passed_ = screen_.substr(seen_, at - seen_);
        seen_ = at + text.size();
        return true;
      }
      if (std::chrono::steady_clock::now() > end || !read_some()) {
        ADD_FAILURE() << "\"" << text << "\" does not come; shown is\n" << screen_.substr(seen_);
        return false;
      }
    }
  }

  /// What was shown before the text that was awaited last.
  std::string const& passed() const { return passed_; }

  /// Waits two seconds for the program's end; false if it still runs.
  bool ends_soon() {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(2);
    for (;;) {
      const auto left =
          std::chrono::duration_cast<std::chrono::milliseconds>(end - std::chrono::steady_clock::now()).count();
      pollfd readable{terminal_, POLLIN, 0};
      if (left <= 0 || ::poll(&readable, 1, static_cast<int>(left)) == 0) return false;
      if (!read_some()) return true;
    }
  }

  /// Waits for the program's end; its status as of run_program.
  int finish() {
    const auto end = std::chrono::steady_clock::now() + kPatience;
    while (read_some() && std::chrono::steady_clock::now() < end) continue;
    if (std::chrono::steady_clock::now() >= end) ::kill(child_, SIGKILL);
    int state = 0;
    ::waitpid(child_, &state, 0);
    child_ = -1;
    return program_detail::status_of(state);
  }
  std::string rest() const { return screen_.substr(seen_); }

 private:
  static constexpr std::chrono::seconds kPatience{60};

  bool read_some() {
    pollfd readable{terminal_, POLLIN, 0};
    if (::poll(&readable, 1, static_cast<int>(std::chrono::milliseconds(kPatience).count())) <= 0) return false;
    char bytes[4096];
    const ssize_t count = ::read(terminal_, bytes, sizeof bytes);
    if (count <= 0) return false;
    screen_.append(bytes, static_cast<std::size_t>(count));
    // what a program tells the terminal of pasted text is nothing that a person sees
    for (char const* const sequence : {"\033[?2004h", "\033[?2004l"})
      for (std::size_t at = screen_.find(sequence, seen_); at != std::string::npos; at = screen_.find(sequence, at))
        screen_.erase(at, std::strlen(sequence));
    return true;
  }

  pid_t child_ = -1;
  int terminal_ = -1;
  std::string screen_, passed_;
  std::size_t seen_ = 0;
};
