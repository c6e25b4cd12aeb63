#include "platform/cores/state/tcl_words.h"

#include "kdi/common/KdiText.h"

namespace kdi::cores {
namespace {

// Takes words off the front of a list.
class Words {
 public:
  explicit Words(std::string_view list) : rest_(list) {}

  bool skip_blanks() {
    const std::size_t first = rest_.find_first_not_of(text::kBlanks);
    rest_.remove_prefix(first == std::string_view::npos ? rest_.size() : first);
    return !rest_.empty();
  }

  std::size_t left() const { return rest_.size(); }

  /// Empty, or how the list is broken here.
  std::string_view take(std::string& word) {
    if (rest_[0] == '{') return take_braced(word);
    const bool is_quoted = rest_[0] == '"';
    if (is_quoted) rest_.remove_prefix(1);
    for (;;) {
      if (rest_.empty()) return is_quoted ? "a quote is not closed" : "";
      if (is_quoted ? rest_[0] == '"' : text::is_blank(rest_[0])) break;
      take_character(word);
    }
    if (is_quoted) rest_.remove_prefix(1);
    return end();
  }

 private:
  std::string_view end() const {
    return rest_.empty() || text::is_blank(rest_[0]) ? "" : "no blank stands behind a closing brace or quote";
  }

  std::string_view take_braced(std::string& word) {
    int depth = 0;
    for (std::size_t i = 0; i < rest_.size(); ++i) {
      if (rest_[i] == '\\') {
        ++i;
        continue;
      }
      depth += rest_[i] == '{' ? 1 : rest_[i] == '}' ? -1 : 0;
      if (depth > 0) continue;
      word = rest_.substr(1, i - 1);
      rest_.remove_prefix(i + 1);
      return end();
    }
    return "a brace is not closed";
  }

  void take_character(std::string& word) {
    if (rest_[0] != '\\' || rest_.size() == 1) {
      word += rest_[0];
      rest_.remove_prefix(1);
      return;
    }
    constexpr std::string_view kLetters = "abfnrtv", kMeanings = "\a\b\f\n\r\t\v";
    const std::size_t known = kLetters.find(rest_[1]);
    word += known == std::string_view::npos ? rest_[1] : kMeanings[known];
    rest_.remove_prefix(2);
  }

  std::string_view rest_;
};

// Whether a word between braces would be read as `text` again.
bool can_be_braced(std::string_view text) {
  int depth = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\\') {
      if (++i == text.size() || text[i] == '\n') return false;
      continue;
    }
    depth += text[i] == '{' ? 1 : text[i] == '}' ? -1 : 0;
    if (depth < 0) return false;
  }
  return depth == 0;
}

}  // namespace

std::optional<std::vector<std::string>> words_of(std::string_view list, ListFault* fault) {
  std::vector<std::string> words;
  for (Words rest(list); rest.skip_blanks();) {
    const std::size_t at = list.size() - rest.left();
    const std::string_view why = rest.take(words.emplace_back());
    if (why.empty()) continue;
    if (fault != nullptr) *fault = {at, why};
    return std::nullopt;
  }
  return words;
}

std::string as_word(std::string_view text) {
  constexpr std::string_view kSpecial = " \t\n\v\f\r{}[]$;\"\\";
  if (!text.empty() && text[0] != '#' && text.find_first_of(kSpecial) == std::string_view::npos)
    return std::string(text);
  if (can_be_braced(text)) return "{" + std::string(text) + "}";
  std::string escaped;
  for (const char c : text) {
    constexpr std::string_view kBlanks = "\t\n\v\f\r", kLetters = "tnvfr";
    const std::size_t blank = kBlanks.find(c);
    if (c == '#' || kSpecial.find(c) != std::string_view::npos) escaped += '\\';
    escaped += blank == std::string_view::npos ? c : kLetters[blank];
  }
  return escaped;
}

}  // namespace kdi::cores
