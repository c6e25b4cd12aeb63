#include "kdi/cores/Record.h"

#include <algorithm>

#include "kdi/common/KdiJsonText.h"
#include "kdi/common/KdiNumber.h"

namespace kdi::cores {
bool is_utf8(std::string_view text) { return text::is_utf8(text); }
std::string json_text(std::string_view text) { return text::json_text(text); }

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
