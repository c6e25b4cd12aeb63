#include "platform/corepages/markup.h"

#include "kdi/common/KdiJsonText.h"
#include "kdi/common/KdiNumber.h"
#include "kdi/common/KdiText.h"

namespace kdi::corepages {
namespace {

bool continues_character(char c) { return (static_cast<unsigned char>(c) & 0xC0U) == 0x80U; }

std::string sound(std::string_view text) { return text::printable(text::as_utf8(text)); }

std::string with_entities(std::string_view text) {
  std::string all;
  all.reserve(text.size());
  for (const char c : text) switch (c) {
      case '&':
        all += "&amp;";
        break;
      case '<':
        all += "&lt;";
        break;
      case '>':
        all += "&gt;";
        break;
      case '"':
        all += "&quot;";
        break;
      case '\'':
        all += "&#39;";
        break;
      default:
        all += c;
    }
  return all;
}

bool is_word(char c) { return text::is_letter(c) || text::is_digit(c) || c == '_'; }

}  // namespace

std::string html(std::string_view text) { return with_entities(sound(text)); }

std::size_t characters(std::string_view text) {
  std::size_t count = 0;
  for (const char c : text) count += continues_character(c) ? 0 : 1;
  return count;
}

std::string html_cut(std::string_view text, std::size_t most) {
  const std::string whole = sound(text);
  if (characters(whole) <= most) return with_entities(whole);
  std::size_t end = 0;
  for (std::size_t count = 0; end < whole.size(); ++end)
    if (!continues_character(whole[end]) && count++ == most - 1) break;
  return with_entities(std::string_view(whole).substr(0, end)) + "…";
}

// Of a path, what may not stand in a link is told by its number.
Links::Links(cores::Core const& core, std::string const& path) : core_(core), prefix_("p-") {
  for (const char c : path)
    prefix_ += is_word(c) ? std::string(1, c) : "." + number::hexadecimal(static_cast<unsigned char>(c), 2);
  if (!path.empty()) prefix_ += "-";
}

std::string Links::link(std::string_view parameter) const {
  return "<a href=\"#" + id(parameter) + "\">" + html(parameter) + "</a>";
}

std::string Links::linked(std::string_view text) const {
  std::string all;
  for (std::size_t at = 0; at < text.size();) {
    std::size_t end = at;
    while (end < text.size() && is_word(text[end])) ++end;
    const bool is_name = end > at && core_.find(text.substr(at, end - at));
    if (end == at)
      while (end < text.size() && !is_word(text[end])) ++end;
    all += is_name ? link(text.substr(at, end - at)) : html(text.substr(at, end - at));
    at = end;
  }
  return all;
}

}  // namespace kdi::corepages
