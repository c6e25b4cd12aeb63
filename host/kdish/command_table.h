// The command table: what people are told of a command, in the shell, in the reference and as JSON.
//
// One file of data/commands describes one family (data/commands/README.md); the shell's help, completion and JSON, and
// docs/commands, are all made from it. Nothing here knows Tcl.
#pragma once

#include <limits>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kdish {

/// What a command's result is made of.
struct Shape {
  enum class Kind { text, integer, number, boolean, list, tuple, dict, either };
  struct Part;

  Kind kind = Kind::text;
  /// Of a list: the one shape of its elements. Of a tuple: the elements, in order. Of a dict: the values by key; `*`
  /// stands for every key without a part of its own. Of an either: the shapes; the first that fits counts.
  std::vector<Part> parts;
};

struct Shape::Part {
  std::string name;       ///< empty for a list's elements and the shapes of an either
  bool optional = false;  ///< a key that may be missing
  Shape shape;
};

/// A key of a word that is a dictionary.
struct Key {
  std::string name;
  std::string meaning;
  std::vector<std::string> only;  ///< the commands that have it; empty: all of the entry's
};

/// One word behind the command's name, or the value of an option.
struct Word {
  std::string name;
  std::string type;  ///< one of kWordTypes
  std::string meaning;
  bool optional = false;
  bool repeated = false;            ///< stands for all that follows
  std::vector<std::string> values;  ///< of a word that is one of a few
  std::vector<Key> keys;            ///< of a dict
};

/// `type` "flag" for an option without a value.
struct Option {
  Word word;
  bool required = false;
};

inline constexpr std::string_view kWordTypes[] = {"text",   "integer", "number",  "boolean", "list",
                                                  "dict",   "file",    "command", "part",    "parameter",
                                                  "script", "channel", "flag"};

struct Example {
  std::string setup;  ///< run first, not shown as part of the result
  std::string script;
  std::string result;  ///< a pattern of `string match` if `is_pattern`
  bool is_pattern = false;

  /// The result for people, with dots for what a pattern leaves out at its end.
  std::string shown_result() const;
};

struct CommandError {
  std::string when;
  std::string text;    ///< exact
  std::string then;    ///< what follows the text
  std::string script;  ///< a command that fails so; empty if none can be told in a line
};

/// How many words a command takes behind its name.
struct WordCount {
  static constexpr std::size_t kAny = std::numeric_limits<std::size_t>::max();

  std::size_t least = 0;
  std::size_t most = 0;  ///< kAny: no bound
};

struct Family;

/// One entry: a command, or several that differ in their namespace alone.
struct Command {
  Family const* family = nullptr;  ///< never null in a Table
  std::vector<std::string> names;
  std::string summary;
  std::vector<Word> words;
  std::vector<Option> options;
  std::string result;
  Shape shape;
  Example example;
  std::vector<CommandError> errors;
  std::vector<std::string> notes;
  bool ignores_surplus = false;            ///< words behind those that are described do nothing
  std::optional<std::string> wrong_count;  ///< in which `{name}` is the command and `{3}` its third word, if it has one

  /// The words as a person types them: `file ?-kind kind?`.
  std::string usage() const;
  /// How many words the command takes without failing for their count. An option with a value counts as two.
  WordCount word_count() const;
  /// What `name`, one of the entry's commands, says exactly when the words `given` are too few or too many. Unless
  /// the entry tells otherwise that is Tcl's own "wrong # args", or "Not enough arguments" where surplus words are
  /// ignored.
  std::string wrong_count_text(std::string const& name, std::vector<std::string> const& given = {}) const;
  /// What people are told of the failures of `name`: that of a wrong count, unless it is Tcl's own, and the entry's.
  std::vector<CommandError> failures(std::string const& name) const;
};

struct Family {
  std::string name;  ///< of its file
  std::string title;
  std::string summary;
  std::string library;  ///< that registers its commands
  std::vector<std::string> about;
  std::vector<Command> commands;
};

class Table {
 public:
  /// Reads `<folder>/*.json` of all `folders`; where two folders have a file of the same name, the first one's counts.
  /// Throws kdi::JsonError or kdi::FileError, with file, line and field, for a file that is not as it should be or a
  /// command that has an entry already.
  explicit Table(std::vector<std::string> const& folders);

  /// Families in byte order of their names.
  std::vector<std::unique_ptr<Family>> const& families() const { return families_; }
  /// By name; null if there is none. A command's name may begin with `::`.
  Family const* family(std::string_view name) const;
  Command const* command(std::string_view name) const;
  /// All commands by name, ascending, several names of one entry on their own.
  std::map<std::string, Command const*, std::less<>> const& commands() const { return commands_; }

 private:
  std::vector<std::unique_ptr<Family>> families_;
  std::map<std::string, Command const*, std::less<>> commands_;
};

}  // namespace kdish
