// A line typed at a terminal: editing, history and completion.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "completion.h"

namespace kdish {

/// Lives as long as the process: libedit does not give back all that it takes.
class LineEditor {
 public:
  enum class Ending { line, end_of_input, interrupted };
  using Completer = std::function<Completion(std::string const& line_to_cursor)>;

  /// Reads from standard input and writes to standard output. The history is kept in the file `history_path`; empty:
  /// it is not kept.
  LineEditor(std::string history_path, Completer completer);
  ~LineEditor() = delete;
  LineEditor(LineEditor const&) = delete;
  LineEditor& operator=(LineEditor const&) = delete;

  /// Reads one line, which comes without its line end, in the locale's encoding. Ctrl-C ends as `interrupted`, Ctrl-D
  /// in an empty line as `end_of_input`.
  Ending read(std::string const& prompt, std::string& line);

  /// Adds a command, which may have several lines, to the history. False if its file cannot be written.
  bool remember(std::string const& command);

 private:
  struct state;
  std::unique_ptr<state> state_;
};

}  // namespace kdish
