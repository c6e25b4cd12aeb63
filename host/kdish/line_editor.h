// A line typed at a terminal: editing, history and completion.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "host/kdish/completion.h"

namespace kdish {

/// Lives as long as the process: libedit does not give back all that it takes.
class LineEditor {
 public:
  enum class Ending { line, end_of_input, interrupted };
  using Completer = std::function<Completion(std::string const& line_to_cursor)>;

  static constexpr std::size_t kMostRemembered = 2000;

  /// Reads from standard input, and writes to standard output or error, whichever is the terminal. `history` are the
  /// commands of earlier sessions, the oldest first.
  LineEditor(std::vector<std::string> const& history, Completer completer);
  ~LineEditor() = delete;
  LineEditor(LineEditor const&) = delete;
  LineEditor& operator=(LineEditor const&) = delete;

  /// Reads one line, which comes without its line end, in the locale's encoding. Ctrl-C ends as `interrupted`, Ctrl-D
  /// in an empty line as `end_of_input`.
  Ending read(std::string const& prompt, std::string& line);

  /// Adds a command, which may have several lines, to the history. False if it is the last one already.
  bool remember(std::string const& command);

 private:
  struct state;
  std::unique_ptr<state> state_;
};

}  // namespace kdish
