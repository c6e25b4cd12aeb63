#include "kdi/common/KdiText.h"

#include <dlfcn.h>

#include <clocale>
#include <cstring>

#include "kdi/common/KdiNumber.h"

namespace kdi::text {
namespace {

bool continues_character(char c) { return (static_cast<unsigned char>(c) & 0xC0U) == 0x80U; }

std::string escape_of(unsigned control) { return "\\u" + number::hexadecimal(control, 4); }

// The control character of two bytes, U+0080 to U+009F, that the text begins with; 0 if it begins with none.
unsigned long_control(std::string_view text) {
  if (text.size() < 2 || text[0] != '\xC2') return 0;
  const auto second = static_cast<unsigned char>(text[1]);
  return second >= 0x80 && second < 0xA0 ? second : 0;
}

std::string_view begin_of(std::string_view text, std::size_t most) {
  while (most > 0 && most < text.size() && continues_character(text[most])) --most;
  return text.substr(0, most);
}

std::string_view end_of(std::string_view text, std::size_t most) {
  std::size_t at = text.size() - std::min(most, text.size());
  while (at < text.size() && continues_character(text[at])) ++at;
  return text.substr(at);
}

}  // namespace

std::string printable(std::string_view text) {
  std::string shown;
  shown.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (is_control(text[i]) && text[i] != '\t' && text[i] != '\n') {
      shown += escape_of(static_cast<unsigned char>(text[i]));
    } else if (const unsigned control = long_control(text.substr(i))) {
      shown += escape_of(control);
      ++i;
    } else {
      shown += text[i];
    }
  }
  return shown;
}

std::string shortened(std::string_view text, std::size_t most) {
  if (text.size() <= most) return std::string(text);
  return std::string(begin_of(text, most)) + "...";
}

std::string shortened_in_the_middle(std::string_view text, std::size_t most) {
  if (text.size() <= most) return std::string(text);
  return std::string(begin_of(text, most / 2)).append("...").append(end_of(text, most / 2));
}

std::string system_reason(int number) {
  char const* const reason = strerrordesc_np(number);
  return reason == nullptr ? "error " + std::to_string(number) : reason;
}

std::string loader_reason() {
  const locale_t english = ::newlocale(LC_ALL_MASK, "C", nullptr), before = ::uselocale(english);
  char const* const reason = ::dlerror();  // stays until the next fault
  ::uselocale(before);
  ::freelocale(english);
  return reason == nullptr ? "" : reason;
}

}  // namespace kdi::text
