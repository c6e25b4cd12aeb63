#include "tcltasks/frame/brace_words.h"

namespace kelvane_config::util {

bool isCombinedParam(std::string const& text) { return text.find('{') != std::string::npos; }

int getClosingBraceIndex(std::string const& text, int start) {
  int depth = 0;
  for (auto i = static_cast<std::size_t>(start); start >= 0 && i < text.size(); ++i) {
    if (text[i] == '{') ++depth;
    if (text[i] == '}') --depth;
    if (depth == 0) return static_cast<int>(i);
  }
  return -1;
}

namespace {

// For each opening brace the index of its closing one, -1 without: one pass, so that a text of unclosed braces does not
// cost a walk to its end for each of them.
std::vector<int> closing_braces(std::string const& text) {
  std::vector<int> closing(text.size(), -1);
  std::vector<std::size_t> open;
  for (std::size_t i = text.find_first_of("{}"); i != std::string::npos; i = text.find_first_of("{}", i + 1)) {
    if (text[i] == '{') {
      open.push_back(i);
    } else if (!open.empty()) {
      closing[open.back()] = static_cast<int>(i);
      open.pop_back();
    }
  }
  return closing;
}

}  // namespace

void parseParamValueDictWithBraces(std::string const& text, std::vector<std::string>& tokens) {
  const std::vector<int> closing = closing_braces(text);
  std::string word;
  const auto end_word = [&] {
    if (!word.empty()) tokens.push_back(word);
    word.clear();
  };
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == ' ' || text[i] == '\n') {
      end_word();
    } else if (text[i] != '{') {
      word += text[i];
    } else if (closing[i] >= 0) {
      const auto end = static_cast<std::size_t>(closing[i]);
      tokens.push_back(text.substr(i, end - i + 1));
      i = end;
    }
  }
  end_word();
}

}  // namespace kelvane_config::util
