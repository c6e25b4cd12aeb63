#include "platform/corepages/markdown.h"

#include <algorithm>

#include "kdi/common/KdiText.h"

namespace kdi::corepages {

std::string plain(std::string_view text) {
  constexpr std::string_view kSigns = "\\`*[]<>#|&";
  const auto is_within_word = [&](std::size_t at) {
    return at > 0 && at + 1 < text.size() && text::is_letter_or_digit(text[at - 1]) && text[at + 1] != ' ';
  };
  std::string all;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    const bool is_sign = kSigns.find(c) != std::string_view::npos || (c == '_' && !is_within_word(i));
    if (is_sign) all += '\\';
    all += c == '\n' ? ' ' : c;
  }
  return all;
}

std::string code(std::string_view text) {
  if (text.empty()) return "(empty)";
  const bool has_tick = text.find('`') != std::string_view::npos;
  return (has_tick ? "`` " : "`") + std::string(text) + (has_tick ? " ``" : "`");
}

std::string anchor(std::string_view heading) {
  std::string name = text::lowered(heading);
  std::replace(name.begin(), name.end(), ' ', '-');
  return name;
}

std::string codes(std::vector<std::string> const& texts) {
  std::string all;
  for (std::string const& one : texts) all += (all.empty() ? "" : ", ") + code(one);
  return all;
}

std::string page_of(cores::Core const& core) { return core.name() + "-" + core.version() + ".md"; }
std::string registers_page_of(cores::Core const& core) { return core.name() + "-" + core.version() + "-registers.md"; }

std::string NameLinks::link(std::string_view name) const {
  const auto home = home_.find(name);
  if (home == home_.end()) return plain(name);
  return "[" + plain(name) + "](" + (home->second == page_ ? "" : home->second) + "#" + anchor(name) + ")";
}

std::string NameLinks::linked(std::string_view words) const {
  std::string all;
  const auto is_word = [](char c) { return text::is_letter_or_digit(c) || c == '_'; };
  for (std::size_t at = 0; at < words.size();) {
    std::size_t end = at;
    while (end < words.size() && is_word(words[end])) ++end;
    const bool is_name = end > at;
    if (!is_name)
      while (end < words.size() && !is_word(words[end])) ++end;
    all += is_name ? link(words.substr(at, end - at)) : plain(words.substr(at, end - at));
    at = end;
  }
  return all;
}

}  // namespace kdi::corepages
