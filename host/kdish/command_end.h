// Whether lines of a script make whole commands, found while they come in.
#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

namespace kdish {

/// Says of each line what Tcl_CommandComplete says of all lines since the last clear, and looks at each character once,
/// where that one begins anew at every line.
class CommandEnd {
 public:
  CommandEnd() { clear(); }

  /// `line` ends in its line feed. Whether what came so far is whole: nothing in it is open. A syntax error, which no
  /// further line mends, is whole as well.
  bool add(std::string_view line);
  void clear();

 private:
  enum class Inside : unsigned char { script, substitution, quotes, braces, index, name };
  enum class At : unsigned char { command, comment, word, in_word, behind_closing, behind_expansion };
  struct Open {
    Inside inside;
    At at = At::command;    // of a script
    std::size_t depth = 1;  // of braces
  };

  std::size_t step(std::string_view rest);
  std::size_t step_in_script(std::string_view rest);
  std::size_t step_in_braces(char c);
  std::size_t begin_word(std::string_view rest);
  std::size_t token(std::string_view rest);
  std::size_t variable(std::string_view rest);
  void end_command(char c);
  bool ends_command(char c) const;

  std::vector<Open> open_;  // the innermost last; the script itself first
  bool goes_on_ = false;    // behind a backslash at the end of a line
  bool is_wrong_ = false;
};

}  // namespace kdish
