#include "kdi/common/KdiJsonText.h"

#include <algorithm>

#include "kdi/common/KdiNumber.h"

namespace kdi::text {
namespace {

// The bytes of the character of UTF-8 that begins at `at` (RFC 3629); 0 if none does.
std::size_t character_size(std::string_view text, std::size_t at) {
  const auto byte = [&](std::size_t i) {
    return at + i < text.size() ? static_cast<unsigned char>(text[at + i]) : 0x100U;
  };
  const unsigned first = byte(0);
  if (first < 0x80) return 1;
  const std::size_t size = first >= 0xC2 && first < 0xE0   ? 2
                           : first >= 0xE0 && first < 0xF0 ? 3
                           : first >= 0xF0 && first < 0xF5 ? 4
                                                           : 0;
  // Behind some first bytes the second one is bound further: no form too long, no half of a pair, nothing beyond.
  const unsigned least = first == 0xE0 ? 0xA0 : first == 0xF0 ? 0x90 : 0x80;
  const unsigned most = first == 0xED ? 0x9F : first == 0xF4 ? 0x8F : 0xBF;
  if (size == 0 || byte(1) < least || byte(1) > most) return 0;
  for (std::size_t i = 2; i < size; ++i)
    if (byte(i) < 0x80 || byte(i) > 0xBF) return 0;
  return size;
}

// One that stands for itself between quotes.
bool is_plain(char c) { return c >= ' ' && c <= '~' && c != '"' && c != '\\'; }

}  // namespace

bool is_utf8(std::string_view text) {
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t size = character_size(text, at);
    if (size == 0) return false;
    at += size;
  }
  return true;
}

std::string as_utf8(std::string_view text) {
  std::string sound;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t size = character_size(text, at);
    sound += size == 0 ? std::string_view("\xEF\xBF\xBD") : text.substr(at, size);
    at += std::max<std::size_t>(size, 1);
  }
  return sound;
}

std::string json_text(std::string_view text) {
  std::string json;
  json.reserve(text.size() + 2);
  append_json_text(json, text);
  return json;
}

void append_json_text(std::string& json, std::string_view text) {
  json += '"';
  std::size_t at = static_cast<std::size_t>(std::find_if_not(text.begin(), text.end(), is_plain) - text.begin());
  json += text.substr(0, at);
  while (at < text.size()) {
    const std::size_t size = character_size(text, at);
    const char c = text[at];
    if (size == 0)
      json += "\\ufffd";
    else if (c == '"' || c == '\\')
      (json += '\\') += c;
    else if (c == '\n')
      json += "\\n";
    else if (size == 1 && (static_cast<unsigned char>(c) < 0x20 || c == 0x7F))
      json += "\\u" + number::hexadecimal(static_cast<unsigned char>(c), 4);
    else
      json += text.substr(at, size);
    at += std::max<std::size_t>(size, 1);
  }
  json += '"';
}

}  // namespace kdi::text
