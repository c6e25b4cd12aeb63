// Settings as a script: words that Tcl reads as they were given.
#include <algorithm>
#include <set>

#include "kdi/common/KdiNumber.h"
#include "kdi/common/KdiText.h"
#include "kdi/cores/Record.h"
#include "kdi/cores/Settings.h"

namespace kdi::cores {
namespace {

constexpr std::string_view kHeading = "# settings of ";

bool is_plain(char c) {
  return text::is_letter_or_digit(c) || std::string_view("_.:/+-*,=@%").find(c) != std::string_view::npos ||
         static_cast<unsigned char>(c) >= 0x80;
}

// Bare where nothing in it means anything to Tcl, in braces where that is enough, else with backslashes.
std::string word(std::string_view text) {
  if (!text.empty() && std::all_of(text.begin(), text.end(), is_plain)) return std::string(text);
  const bool needs_backslashes = std::any_of(
      text.begin(), text.end(), [](char c) { return c == '{' || c == '}' || c == '\\' || text::is_control(c); });
  if (!needs_backslashes) return "{" + std::string(text) + "}";
  std::string word;
  for (const char c : text) {
    if (text::is_control(c))
      word += "\\u" + number::hexadecimal(static_cast<unsigned char>(c), 4);
    else
      (is_plain(c) ? word : word += '\\') += c;
  }
  return word;
}

std::string in_utf8(std::uint32_t code) {
  const auto tail = [&](int shift) { return static_cast<char>(0x80 | (code >> shift & 0x3F)); };
  if (code < 0x80) return {static_cast<char>(code)};
  if (code < 0x800) return {static_cast<char>(0xC0 | code >> 6), tail(0)};
  return {static_cast<char>(0xE0 | code >> 12), tail(6), tail(0)};
}

// Reads commands, each of which begins with the same words.
class ScriptReader {
 public:
  ScriptReader(std::string_view script, std::string const& file, std::string_view command)
      : script_(script), file_(file), command_(command) {}

  Settings whole() {
    if (!is_utf8(script_)) throw SettingsError(file_ + ": it is no UTF-8");
    Settings settings;
    std::set<std::string> names;
    for (; skip_to_command(); end_command()) {
      if (peek() == '#') {
        heading(settings);
        continue;
      }
      const int line = line_;
      const std::vector<std::string> words = this->words();
      if (words.size() != 2 && words.size() != 3)
        fail("expected " + std::string(command_) + " parameter value ?origin?", line);
      if (!names.insert(words[0]).second)
        fail("the parameter " + text::quoted(text::shortened(words[0])) + " is set already", line);
      settings.all.push_back({words[0], words[1], words.size() == 3 ? origin(words[2], line) : Origin::user});
    }
    return settings;
  }

 private:
  [[noreturn]] void fail(std::string const& what, int line) const {
    throw SettingsError(file_ + ":" + std::to_string(line) + ": " + what);
  }
  [[noreturn]] void fail(std::string const& what) const { fail(what, line_); }

  bool is_end() const { return at_ == script_.size(); }
  char peek() const { return is_end() ? '\n' : script_[at_]; }
  char take() {
    if (is_end()) fail("the script ends within a word");
    if (script_[at_] == '\n') ++line_;
    return script_[at_++];
  }
  bool is_break() const { return is_end() || peek() == '\n' || peek() == ';'; }

  bool skip_to_command() {
    while (!is_end() && (text::is_blank(peek()) || peek() == ';')) take();
    return !is_end();
  }
  void end_command() {
    if (!is_end()) take();
  }

  // A comment to the end of the line; the first one may name the core.
  void heading(Settings& settings) {
    const std::string_view line = script_.substr(at_, script_.find('\n', at_) - at_);
    at_ += line.size();
    if (!line.starts_with(kHeading) || !settings.core.empty()) return;
    const std::vector<std::string_view> words = text::words(line.substr(kHeading.size()));
    if (words.size() != 2) fail("expected " + std::string(kHeading) + "core version");
    settings.core = words[0];
    settings.version = words[1];
  }

  static Origin origin_of(std::string_view word, bool& is_known) {
    for (const Origin origin : {Origin::user, Origin::preset, Origin::board})
      if (word == word_of(origin)) return origin;
    is_known = false;
    return Origin::user;
  }
  Origin origin(std::string const& word, int line) const {
    bool is_known = true;
    const Origin origin = origin_of(word, is_known);
    if (!is_known) fail("expected user, preset or board, found " + text::quoted(text::shortened(word)), line);
    return origin;
  }

  std::vector<std::string> words() {
    if (!script_.substr(at_).starts_with(command_)) fail("expected " + std::string(command_));
    at_ += command_.size();
    std::vector<std::string> words;
    for (;;) {
      const std::size_t before = at_;
      skip_blanks();
      if (is_break()) return words;
      if (at_ == before) fail("expected a blank between words");
      words.push_back(peek() == '{' ? braced() : peek() == '"' ? quoted() : bare());
    }
  }

  // A backslash at the end of a line goes on with the next.
  void skip_blanks() {
    while (!is_end()) {
      const bool continues = script_.substr(at_).starts_with("\\\n");
      if (!continues && (peek() == '\n' || !text::is_blank(peek()))) return;
      take();
      if (continues) take();
    }
  }

  std::string braced() {
    std::string word;
    take();
    for (int depth = 1;;) {
      const char c = take();
      if (c == '{') ++depth;
      if (c == '}' && --depth == 0) return word;
      word += c;
      if (c != '\\') continue;
      if (peek() == '\n') fail("a line that goes on within braces");
      word += take();
    }
  }

  std::string quoted() {
    std::string word;
    take();
    while (peek() != '"' || is_end()) add_character(word);
    take();
    return word;
  }

  std::string bare() {
    std::string word;
    while (!is_break() && !text::is_blank(peek())) add_character(word);
    return word;
  }

  void add_character(std::string& word) {
    const char c = take();
    if (c == '$' || c == '[') fail("a value is text alone, without $ and [");
    if (c == '\\')
      word += escaped();
    else
      word += c;
  }

  std::string escaped() {
    const char c = take();
    constexpr std::string_view kNames = "abfnrtv", kMeanings = "\a\b\f\n\r\t\v";
    if (const std::size_t at = kNames.find(c); at != std::string_view::npos) return {kMeanings[at]};
    if (c == '\n') fail("a line that goes on within a word", line_ - 1);
    if (c == 'U') fail("expected at most four digits, as \\u has");
    if (c == 'x') return digits(16, 2, "x");
    if (c == 'u') return digits(16, 4, "u");
    if (c < '0' || c > '7') return {c};
    --at_;
    return digits(8, 3, "");
  }

  std::string digits(unsigned base, std::size_t most, std::string const& otherwise) {
    std::uint32_t code = 0;
    std::size_t count = 0;
    for (; count < most && !is_end(); ++count) {
      const char c = text::to_lower(peek());
      const unsigned digit = text::is_digit(c) ? static_cast<unsigned>(c - '0')
                             : c >= 'a'        ? static_cast<unsigned>(c - 'a') + 10
                                               : base;
      if (digit >= base) break;
      code = code * base + digit;
      take();
    }
    if (count == 0) return otherwise;
    if (code >= 0xD800 && code < 0xE000) fail("half a character");
    return in_utf8(code);
  }

  std::string_view script_;
  std::string const& file_;
  std::string_view command_;
  std::size_t at_ = 0;
  int line_ = 1;
};

// Names the core, in words that the reader takes apart at blanks; a script of no core has none.
std::string heading_of(Settings const& settings) {
  if (settings.core.empty() && settings.version.empty()) return "";
  for (std::string const& word : {settings.core, settings.version})
    if (word.empty() || std::any_of(word.begin(), word.end(), [](char c) { return c == ' ' || text::is_control(c); }))
      throw SettingsError(text::quoted(text::shortened(word)) + " is no name of a core or version");
  return std::string(kHeading) + settings.core + " " + settings.version + "\n";
}

}  // namespace

std::string settings_script(Settings const& settings, std::string_view command) {
  std::string script = heading_of(settings);
  for (Setting const& setting : settings.all) {
    if (!is_utf8(setting.text)) throw SettingsError("the value of " + setting.parameter + " is no UTF-8");
    script.append(command).append(" ").append(word(setting.parameter)).append(" ").append(word(setting.text));
    if (setting.from != Origin::user) script.append(" ").append(word_of(setting.from));
    script += '\n';
  }
  return script;
}

Settings read_settings_script(std::string_view text, std::string const& file, std::string_view command) {
  return ScriptReader(text, file, command).whole();
}

}  // namespace kdi::cores
