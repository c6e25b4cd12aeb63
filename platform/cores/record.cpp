#include "kdi/cores/Record.h"

#include <algorithm>

#include "kdi/common/KdiNumber.h"

namespace kdi::cores {
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

}  // namespace

bool is_utf8(std::string_view text) {
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t size = character_size(text, at);
    if (size == 0) return false;
    at += size;
  }
  return true;
}

std::string json_text(std::string_view text) {
  std::string json = "\"";
  for (std::size_t at = 0; at < text.size();) {
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
  return json += '"';
}

Record Record::list(std::vector<std::string> const& texts) {
  Record all(Form::list);
  all.items_.assign(texts.begin(), texts.end());
  return all;
}

Record& Record::add(Record element) {
  items_.push_back(std::move(element));
  return *this;
}

Record& Record::set(std::string key, Record value) {
  keys_.push_back(std::move(key));
  return add(std::move(value));
}

Record const* Record::find(std::string_view key) const {
  const auto found = std::find(keys_.begin(), keys_.end(), key);
  return found == keys_.end() ? nullptr : &items_[static_cast<std::size_t>(found - keys_.begin())];
}

std::string Record::json() const {
  std::string json;
  write(json, 0);
  return json += '\n';
}

void Record::write(std::string& json, std::size_t depth) const {
  if (form_ == Form::text) {
    json += json_text(text_);
    return;
  }
  json += form_ == Form::list ? '[' : '{';
  for (std::size_t i = 0; i < items_.size(); ++i) {
    json += i > 0 ? ",\n" : "\n";
    json.append(2 * depth + 2, ' ');
    if (form_ == Form::dictionary) json += json_text(keys_[i]) + ": ";
    items_[i].write(json, depth + 1);
  }
  if (!items_.empty()) json.append("\n").append(2 * depth, ' ');
  json += form_ == Form::list ? ']' : '}';
}

}  // namespace kdi::cores
