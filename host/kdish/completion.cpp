#include "host/kdish/completion.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <optional>

#include "kdi/common/KdiFile.h"
#include "kdi/common/KdiNumber.h"
#include "kdi/common/KdiText.h"

namespace kdish {
namespace {

// The words of one command, or of one list in braces, as far as they are typed.
struct Level {
  char closes = '\0';  // what ends it: ']', '}' or, at the bottom, nothing
  std::vector<std::string> words;
  std::size_t elements = 0;  // words since it began; `words` begins anew with each command
  bool in_word = false;
  bool in_quotes = false;
  bool is_plain = true;  // the word has no substitution in it
  std::size_t word_begin = 0;
};

// Reads the text up to the cursor.
class Scanner {
 public:
  explicit Scanner(std::string_view text) : text_(text) {
    levels_.emplace_back();
    while (at_ < text_.size()) step();
  }

  std::vector<Level> const& levels() const { return levels_; }
  bool in_comment() const { return in_comment_; }

 private:
  void step() {
    const char c = text_[at_];
    if (in_comment_) {
      in_comment_ = c != '\n' || text_[at_ - 1] == '\\';
      ++at_;
      return;
    }
    if (c == '\\' && at_ + 1 < text_.size() && text_[at_ + 1] != '\n') {
      open_word();
      at_ += 2;
    } else if (c == '}' && in_braces()) {
      while (top().closes != '}') levels_.pop_back();
      leave();
    } else if (c == '[') {
      open_word();
      top().is_plain = false;
      enter(']');
    } else if (c == ']' && top().closes == ']' && !top().in_quotes) {
      leave();
    } else if (c == '{' && (!top().in_word || text_[at_ - 1] == '$' || in_braces()) && !top().in_quotes) {
      open_word();
      top().is_plain = false;
      enter('}');
    } else if (c == '"' && (!top().in_word || top().in_quotes)) {
      top().in_quotes = !top().in_quotes;
      open_word();
      ++at_;
    } else if (!top().in_quotes && (c == ' ' || c == '\t' || c == '\n' || c == ';' || c == '\\')) {
      close_word();
      if (c == '\n' || c == ';') top().words.clear();
      at_ += c == '\\' ? 2 : 1;
    } else if (c == '#' && !top().in_word && top().words.empty()) {
      in_comment_ = true;
      ++at_;
    } else {
      open_word();
      ++at_;
    }
    at_ = std::min(at_, text_.size());
  }

  Level& top() { return levels_.back(); }
  bool in_braces() const {
    return std::any_of(levels_.begin(), levels_.end(), [](Level const& one) { return one.closes == '}'; });
  }
  void enter(char closes) {
    levels_.emplace_back().closes = closes;
    ++at_;
  }
  void leave() {
    levels_.pop_back();
    ++at_;
  }
  void open_word() {
    if (top().in_word) return;
    top().in_word = true;
    top().is_plain = true;
    top().word_begin = at_;
  }
  void close_word() {
    if (!top().in_word) return;
    top().words.emplace_back(text_.substr(top().word_begin, at_ - top().word_begin));
    ++top().elements;
    top().in_word = false;
  }

  std::string_view text_;
  std::size_t at_ = 0;
  bool in_comment_ = false;
  std::vector<Level> levels_;
};

// What is asked of the current word.
struct Context {
  std::vector<Level> const& levels;
  Table const& table;
  KnownNames const& names;
  std::string prefix;  // without quotes and escapes
  bool in_quotes = false;
};

std::string without_escapes(std::string_view text) {
  std::string plain;
  for (std::size_t i = 0; i < text.size(); ++i) {
    unsigned code = 0;
    if (text[i] != '\\' || i + 1 == text.size()) {
      plain += text[i];
    } else if (text[++i] == 'n') {
      plain += '\n';
    } else if (text[i] == 'u' &&
               std::from_chars(text.data() + i + 1, text.data() + std::min(i + 5, text.size()), code, 16).ptr ==
                   text.data() + i + 5 &&
               code <= 0x7F) {
      plain += static_cast<char>(code);
      i += 4;
    } else {
      plain += text[i];
    }
  }
  return plain;
}

// As Tcl reads it: a backslash before a line end would be a blank.
std::string control_escape(char c) {
  if (c == '\n') return "\\n";
  return "\\u" + kdi::number::hexadecimal(static_cast<unsigned char>(c), 4);
}

std::string escaped(std::string const& text, bool in_quotes) {
  const std::string_view special = in_quotes ? "\"[]$\\" : " ;\"[]{}$\\";
  std::string result = in_quotes ? "\"" : "";
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (kdi::text::is_control(text[i])) {
      result += control_escape(text[i]);
      continue;
    }
    if (special.find(text[i]) != std::string_view::npos || (text[i] == '#' && i == 0 && !in_quotes)) result += '\\';
    result += text[i];
  }
  return result;
}

// A name as it may be sent to a terminal.
std::string printable(std::string const& name) {
  std::string text;
  for (const char c : name) text += kdi::text::is_control(c) ? control_escape(c) : std::string(1, c);
  return text;
}

void add_names(Completion& to, Context const& where, std::vector<std::string> const& names) {
  for (std::string const& name : names)
    if (name.starts_with(where.prefix))
      to.candidates.push_back({escaped(name, where.in_quotes), printable(name), true});
}

void add_commands(Completion& to, Context const& where) {
  for (std::string const& name : where.names.commands(where.prefix))
    to.candidates.push_back({escaped(name, where.in_quotes), printable(name), !name.ends_with("::")});
}

// The names in a folder that begin so, those of folders with a slash behind them. None if it cannot be read: who types
// hears of that when the command runs.
std::vector<std::string> files_in(std::string const& folder, std::string const& begin) {
  std::vector<std::string> names;
  try {
    for (std::string const& name : kdi::list_directory(folder)) {
      if (!name.starts_with(begin) || (name.starts_with('.') && begin.empty())) continue;
      names.push_back(name + (kdi::is_directory(folder + name) ? "/" : ""));
    }
  } catch (kdi::FileError const&) {
    names.clear();
  }
  return names;
}

void add_files(Completion& to, Context const& where) {
  const std::size_t slash = where.prefix.rfind('/');
  const std::string folder = slash == std::string::npos ? "" : where.prefix.substr(0, slash + 1);
  std::string looked_in = folder.empty() ? "./" : folder;
  char const* const home = std::getenv("HOME");
  if (looked_in.starts_with("~/") && home != nullptr) looked_in.replace(0, 1, home);

  for (std::string const& name : files_in(looked_in, where.prefix.substr(folder.size()))) {
    const std::string here = folder.empty() && name.starts_with('~') ? "./" : "";  // or it would be a person's home
    to.candidates.push_back({escaped(here + folder + name, where.in_quotes), printable(name), !name.ends_with('/')});
  }
}

// Thousands of names that are made of pieces with _ between them are offered piece by piece.
void add_in_pieces(Completion& to, Context const& where, std::vector<std::string> const& names) {
  constexpr char kBetween = '_';
  for (std::string const& name : names) {
    if (!name.starts_with(where.prefix)) continue;
    const std::size_t end = name.find(kBetween, where.prefix.size());
    const std::string begin = name.substr(0, end == std::string::npos ? end : end + 1);
    const std::string text = escaped(begin, where.in_quotes);
    if (to.candidates.empty() || to.candidates.back().text != text)
      to.candidates.push_back({text, printable(begin), end == std::string::npos});
  }
}

// ---------------------------------------------------------------------------------------- cores and their parameters

using Core = KnownNames::Core;

constexpr std::string_view kIdentifier = "core_identifier";

void add_core_parameters(Completion& to, Context const& where, Core const& core) {
  if (where.names.core_parameters) add_names(to, where, where.names.core_parameters(core, where.prefix));
}

void add_core_values(Completion& to, Context const& where, Core const& core, std::string const& parameter) {
  if (where.names.core_values) add_names(to, where, where.names.core_values(core, parameter));
}

// The open core that a command is told of by its first word.
std::optional<Core> open_core(Command const& command, std::vector<std::string> const& typed) {
  if (command.words.empty() || command.words[0].type != "core" || typed.size() < 2) return std::nullopt;
  return Core{typed[1], {}, {}};
}

// The elements of a list as it is typed, braces around them; without what is nested.
std::vector<std::string> elements(std::string_view text) {
  if (text.starts_with('{') && text.ends_with('}')) text = text.substr(1, text.size() - 2);
  std::vector<std::string> all;
  for (std::string_view const word : kdi::text::words(text)) all.emplace_back(word);
  return all;
}

// The core that the context on the line names.
std::optional<Core> core_of_context(std::vector<std::string> const& typed) {
  const auto option = std::find(typed.begin(), typed.end(), "-context");
  if (option == typed.end() || option + 1 == typed.end()) return std::nullopt;
  const std::vector<std::string> pairs = elements(*(option + 1));
  Core core;
  for (std::size_t i = 0; i + 1 < pairs.size(); i += 2) {
    if (pairs[i] == "ps_core_name") core.name = pairs[i + 1];
    if (pairs[i] == "ps_core_ver") core.version = pairs[i + 1];
  }
  return core.name.empty() ? std::nullopt : std::optional(core);
}

// The core that an identifier names as the first word: vendor, library, name and version.
std::optional<Core> core_of_identifier(Command const& command, std::vector<std::string> const& typed) {
  if (command.words.empty() || command.words[0].type != kIdentifier || typed.size() < 2) return std::nullopt;
  const auto pieces = kdi::text::split(typed[1], ':');
  if (pieces.size() != 4) return std::nullopt;
  return Core{{}, std::string(pieces[2]), std::string(pieces[3])};
}

// The core whose parameters a list in braces on this line holds.
std::optional<Core> core_on_line(Table const& table, std::vector<std::string> const& typed) {
  Command const* const command = table.command(typed[0]);
  auto core = core_of_context(typed);
  if (!core && command != nullptr) core = core_of_identifier(*command, typed);
  if (!core && command != nullptr) core = open_core(*command, typed);
  return core;
}

// Whether a list in braces holds parameters of a core: the values of -params and its like.
bool holds_parameters(Word const& word) {
  return word.name == "-params" || word.name == "-userparams" || word.name == "params";
}

// What a word, or the value of a key, of this type may be.
void add_values(Completion& to, Context const& where, std::string_view type, std::vector<std::string> const& values) {
  if (!values.empty()) return add_names(to, where, values);
  if (type == "part") return add_names(to, where, where.names.parts(where.prefix));
  if (type == "parameter") return add_names(to, where, where.names.parameters(where.prefix));
  if (type == kIdentifier && where.names.core_identifiers)
    return add_names(to, where, where.names.core_identifiers(where.prefix));
  if (type == "core" && where.names.cores) return add_names(to, where, where.names.cores(where.prefix));
  if (type == "chain" && where.names.chains) return add_in_pieces(to, where, where.names.chains(where.prefix));
  if (type == "boolean") return add_names(to, where, {"false", "true"});
  if (type == "file") return add_files(to, where);
  if (type != "command") return;
  add_commands(to, where);
  for (auto const& family : where.table.families()) {
    add_names(to, where, {family->name});
    for (Page const& page : family->pages) add_names(to, where, {page.name});  // doubled names fall away
  }
}

// What a command takes at the end of its words so far.
struct Expected {
  Word const* word = nullptr;  // null: no more
  bool is_name = false;        // of pairs, a name and not a value
};

Expected expected_of(Command const& command, std::vector<std::string> const& typed) {
  std::size_t position = 0;
  for (std::size_t i = 1; i < typed.size(); ++i) {
    const auto option = std::find_if(command.options.begin(), command.options.end(),
                                     [&](Option const& one) { return one.word.name == typed[i]; });
    if (option == command.options.end()) {
      ++position;
    } else if (option->word.type != "flag" && ++i == typed.size()) {
      return {&option->word};  // its value comes next
    }
  }
  if (command.words.empty()) return {};
  const std::size_t last = command.words.size() - 1;
  Word const& word = command.words[std::min(position, last)];
  if (word.is_pairs()) return {&word, (position - last) % 2 == 0};
  if (position > last && !word.repeated) return {};
  return {&word};
}

void add_keys(Completion& to, Context const& where, Word const& word, std::string_view command) {
  while (command.starts_with("::")) command.remove_prefix(2);
  for (Key const& key : word.keys)
    if (key.is_of(std::string(command))) add_names(to, where, {key.name});
}

// The value of the key, the last thing that was typed.
void add_key_values(Completion& to, Context const& where, Word const& word, std::string const& typed_key) {
  for (Key const& key : word.keys)
    if (key.name == typed_key) return add_values(to, where, key.type, key.values);
}

// Each but once.
void add_options(Completion& to, Context const& where, Command const& command, std::vector<std::string> const& typed) {
  for (Option const& option : command.options)
    if (std::find(typed.begin(), typed.end(), option.word.name) == typed.end())
      add_names(to, where, {option.word.name});
}

void add_words(Completion& to, Context const& where, std::vector<std::string> const& typed) {
  Command const* const command = where.table.command(typed[0]);
  if (command == nullptr) return add_files(to, where);
  const Expected next = expected_of(*command, typed);
  if (const auto core = next.word == nullptr ? std::nullopt : open_core(*command, typed)) {
    if (next.word->type == "core_parameter" || (next.word->is_pairs() && next.is_name))
      return add_core_parameters(to, where, *core);
    if (next.word->is_pairs()) return add_core_values(to, where, *core, typed.back());
  }
  if (next.word != nullptr && next.is_name) return add_keys(to, where, *next.word, typed[0]);
  if (next.word != nullptr && next.word->is_pairs()) return add_key_values(to, where, *next.word, typed.back());
  // The value of an option comes before anything else; words that may be missing leave room for options.
  const bool is_of_option = next.word != nullptr && next.word->name.starts_with('-');
  if (!is_of_option && (where.prefix.starts_with('-') || next.word == nullptr || next.word->optional))
    add_options(to, where, *command, typed);
  if (next.word != nullptr && (is_of_option || !where.prefix.starts_with('-')))
    add_values(to, where, next.word->type, next.word->values);
}

// The word that the level at `depth` is the inside of, if the table knows it as data; else null.
Word const* data_at(Context const& where, std::size_t depth) {
  if (depth == 0 || where.levels[depth].closes != '}' || where.levels[depth - 1].words.empty()) return nullptr;
  Command const* const command = where.table.command(where.levels[depth - 1].words[0]);
  Word const* const word = command == nullptr ? nullptr : expected_of(*command, where.levels[depth - 1].words).word;
  const bool is_data = word != nullptr && (word->type == "dict" || word->type == "list" || word->is_pairs());
  return is_data ? word : nullptr;
}

void add_candidates(Completion& to, Context const& where) {
  const std::size_t depth = where.levels.size() - 1;
  Level const& current = where.levels[depth];
  if (Word const* const data = data_at(where, depth)) {
    const auto core = holds_parameters(*data) ? core_on_line(where.table, where.levels[depth - 1].words) : std::nullopt;
    if (core && current.elements % 2 == 0) return add_core_parameters(to, where, *core);
    if (core && !current.words.empty()) return add_core_values(to, where, *core, current.words.back());
    if (data->is_pairs()) return;
    if (current.elements % 2 == 0) return add_keys(to, where, *data, where.levels[depth - 1].words[0]);
    if (!current.words.empty()) add_key_values(to, where, *data, current.words.back());
    return;
  }
  for (std::size_t outer = depth; outer > 0 && where.levels[outer].closes == '}'; --outer)
    if (data_at(where, outer) != nullptr) return;  // data inside data
  if (current.words.empty()) return add_commands(to, where);
  add_words(to, where, current.words);
}

}  // namespace

std::string Completion::common() const {
  if (candidates.empty()) return {};
  std::string shared = candidates[0].text;
  for (Candidate const& candidate : candidates) {
    const auto ends = std::mismatch(shared.begin(), shared.end(), candidate.text.begin(), candidate.text.end());
    shared.erase(ends.first, shared.end());
  }
  if (candidates.size() == 1) return shared;
  // neither half of an escape nor half of a character
  const auto backslashes = shared.size() - (shared.find_last_not_of('\\') + 1);
  if (backslashes % 2 == 1) shared.pop_back();
  std::size_t whole = shared.size();
  while (whole > 0 && (static_cast<unsigned char>(candidates[0].text[whole]) & 0xC0U) == 0x80U) --whole;
  shared.resize(whole);
  return shared;
}

Completion complete(std::string_view text, Table const& table, KnownNames const& names) {
  const Scanner read(text);
  Level const& current = read.levels().back();
  Completion completion;
  completion.begin = current.in_word ? current.word_begin : text.size();
  if (read.in_comment() || !current.is_plain) {
    if (current.in_word || read.in_comment()) return completion;
  }
  std::string_view typed = text.substr(completion.begin);

  // the last $ of the word begins a variable's name, if all behind it may be one
  const std::size_t dollar = typed.rfind('$');
  if (dollar != std::string_view::npos && (dollar == 0 || typed[dollar - 1] != '\\')) {
    const std::string name(typed.substr(dollar + 1));
    completion.begin += dollar;
    for (std::string const& one : names.variables(name)) completion.candidates.push_back({"$" + one, one, false});
  } else {
    const bool in_quotes = typed.starts_with('"');
    if (in_quotes) typed.remove_prefix(1);
    add_candidates(completion, {read.levels(), table, names, without_escapes(typed), in_quotes});
  }
  std::sort(completion.candidates.begin(), completion.candidates.end(),
            [](Candidate const& left, Candidate const& right) { return left.text < right.text; });
  const auto doubled =
      std::unique(completion.candidates.begin(), completion.candidates.end(),
                  [](Candidate const& left, Candidate const& right) { return left.text == right.text; });
  completion.candidates.erase(doubled, completion.candidates.end());
  return completion;
}

}  // namespace kdish
