// The command table: what people are told of a command, in the shell, in the reference and as JSON.
//
// One file of data/commands describes one family (data/commands/README.md); the shell's help, completion and JSON, and
// the command reference, are all made from it. Nothing here knows Tcl.
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

/// A key of a word that holds keys and values.
struct Key {
  std::string name;
  std::string meaning;
  std::vector<std::string> only;    ///< the commands that have it; empty: all of the entry's
  std::string type;                 ///< of its value, one of kWordTypes; empty: not told
  std::vector<std::string> values;  ///< of a value that is one of a few

  bool is_of(std::string const& command) const;
};

/// One word behind the command's name, or the value of an option.
struct Word {
  std::string name;
  std::string type;  ///< one of kWordTypes
  std::string meaning;
  bool optional = false;
  bool repeated = false;            ///< stands for all that follows
  std::vector<std::string> values;  ///< of a word that is one of a few
  std::vector<Key> keys;            ///< of a dict, of a list of keys and values, and of pairs

  bool is_pairs() const { return type == "pairs"; }
};

/// `type` "flag" for an option without a value.
struct Option {
  Word word;
  bool required = false;
};

/// "pairs" are keys and values, each a word of its own, up to the end of the command.
inline constexpr std::string_view kWordTypes[] = {
    "text", "integer", "number",  "boolean",   "list", "dict",           "pairs",           "file", "command",
    "part", "script",  "channel", "parameter", "core", "core_parameter", "core_identifier", "flag", "chain"};

struct Example {
  std::string setup;  ///< run first, not shown as part of the result
  std::string script;
  std::string result;  ///< a pattern of `string match` if `is_pattern`
  bool is_pattern = false;

  /// The result for people, with dots for what a pattern leaves out.
  std::string shown_result() const;
};

struct CommandError {
  std::string when;
  std::string text;              ///< exact
  std::string then;              ///< what follows the text
  std::string script;            ///< a command that fails so; empty if none can be told in a line
  bool is_before_count = false;  ///< told in place of missing words

  /// The same for people: a line feed at the end of the text is told in words.
  CommandError shown() const;
};

/// How many words a command takes behind its name.
struct WordCount {
  static constexpr std::size_t kAny = std::numeric_limits<std::size_t>::max();

  std::size_t least = 0;
  std::size_t most = 0;  ///< kAny: no bound
  bool in_twos = false;  ///< beyond `least` only by twos

  bool allows(std::size_t words) const {
    return words >= least && words <= most && (!in_twos || (words - least) % 2 == 0);
  }
};

struct Page;
struct Family;

/// One entry: a command, or several that differ in their names alone. In texts that are raised and in scripts, `{name}`
/// stands for a command's name, `{base}` for what the names have in common, and `{call}`, in scripts, for the command
/// with as few words as it takes; example_of and failures_of fill them in.
struct Command {
  Page const* page = nullptr;  ///< never null in a Table
  std::vector<std::string> names;
  std::string base;  ///< of the names; of a single one, itself
  std::string summary;
  std::vector<Word> words;
  std::vector<Option> options;
  bool ignores_surplus = false;  ///< words behind those that are described do nothing
  bool refuses_odd = false;      ///< a name without a value at the end counts as a wrong number of words
  /// By name; in the texts, `{3}` stands for the third word given, and `{words}` for all words of the call as one
  /// element of a list. Empty: what is usual.
  std::map<std::string, std::string> wrong_count;
  std::string result;
  Shape shape;
  Word answer{"answer", "dict", "", false,
              false,    {},     {}};           ///< whose keys are those of the result, where these are told
  Example example;                             ///< without its result
  std::map<std::string, std::string> results;  ///< of the example, by name
  std::vector<CommandError> errors;
  std::vector<std::string> notes;

  /// The words as a person types them: `file ?-kind kind?`.
  std::string usage() const;
  /// Whether it takes words that are not described, and does nothing with them.
  bool has_ignored_words() const;
  /// How many words the command takes without failing for their count. An option with a value counts as two.
  WordCount word_count() const;
  /// What `name`, one of the entry's commands, says exactly when the words `given` are too few or too many. Unless
  /// the entry tells otherwise that is Tcl's own "wrong # args", or "Not enough arguments" where surplus words are
  /// ignored.
  std::string wrong_count_text(std::string const& name, std::vector<std::string> const& given = {}) const;
  Example example_of(std::string const& name) const;
  /// What people are told of the failures of `name`: that of a wrong count, unless it is Tcl's own, and the entry's.
  std::vector<CommandError> failures_of(std::string const& name) const;
};

/// A part of a family that people look at by itself.
struct Page {
  Family const* family = nullptr;  ///< never null in a Table
  std::string name;                ///< `family/page`, or the family's alone if it has one page
  std::string title;
  std::string summary;
  std::vector<std::string> about;
  std::vector<Command> commands;
};

struct Family {
  std::string name;  ///< of its file
  std::string title;
  std::string summary;
  std::string library;  ///< that registers its commands
  std::vector<std::string> about;
  std::string more;         ///< a page of the documentation that tells more, as `docs/...`; empty: none
  std::vector<Page> pages;  ///< of a family of one page, that has the family's title, summary and about
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
  Page const* page(std::string_view name) const;
  Command const* command(std::string_view name) const;
  /// All commands by name, ascending, several names of one entry on their own.
  std::map<std::string, Command const*, std::less<>> const& commands() const { return commands_; }
  /// All entries, in the order of families, pages and files.
  std::vector<Command const*> entries() const;

 private:
  std::vector<std::unique_ptr<Family>> families_;
  std::map<std::string, Command const*, std::less<>> commands_;
};

}  // namespace kdish
