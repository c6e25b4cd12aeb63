#include "message_catalogue.h"

#include <cstdint>
#include <fstream>
#include <iterator>
#include <limits>
#include <nlohmann/json.hpp>
#include <stdexcept>

namespace kdi {
namespace {

using nlohmann::json;

// Walks a text for the parser and knows the line it has come to.
class counting_iterator {
 public:
  using difference_type = std::ptrdiff_t;
  using value_type = char;
  using pointer = char const*;
  using reference = char const&;
  using iterator_category = std::input_iterator_tag;

  counting_iterator(char const* at, int* line) : at_(at), line_(line) {}
  reference operator*() const { return *at_; }
  counting_iterator& operator++() {
    *line_ += *at_ == '\n';
    ++at_;
    return *this;
  }
  bool operator==(counting_iterator const& other) const { return at_ == other.at_; }
  bool operator!=(counting_iterator const& other) const { return at_ != other.at_; }

 private:
  char const* at_;
  int* line_;
};

class entry_reader {
 public:
  entry_reader(json const& entry, std::string place) : entry_(entry), place_(std::move(place)) {}

  int number(char const* field) const {
    json const& value = required(field);
    constexpr auto kLargest = static_cast<std::uint64_t>(std::numeric_limits<int>::max());
    if (!value.is_number_unsigned() || value.get<std::uint64_t>() > kLargest) refuse(field, "is no number from 0");
    return value.get<int>();
  }
  std::string text(char const* field) const {
    json const& value = required(field);
    if (!value.is_string()) refuse(field, "is no text");
    return value.get<std::string>();
  }
  [[noreturn]] void refuse(std::string const& field, std::string const& what) const {
    throw std::runtime_error(place_ + ": field \"" + field + "\" " + what);
  }

 private:
  json const& required(char const* field) const {
    if (!entry_.is_object() || !entry_.contains(field)) refuse(field, "is missing");
    return entry_.at(field);
  }

  json const& entry_;
  std::string place_;
};

}  // namespace

message_catalogue read_message_catalogue(std::string const& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) throw std::runtime_error(path + ": cannot be read");
  const std::string text{std::istreambuf_iterator<char>(file), {}};

  int line = 1;
  std::vector<int> entry_lines;
  const auto note_entries = [&](int depth, json::parse_event_t event, json&) {
    if (depth == 1 && event == json::parse_event_t::object_start) entry_lines.push_back(line);
    return true;
  };
  json entries;
  try {
    entries = json::parse(counting_iterator(text.data(), &line), counting_iterator(text.data() + text.size(), &line),
                          note_entries);
  } catch (json::parse_error const& error) {
    throw std::runtime_error(path + ": line " + std::to_string(line) + ": " + error.what());
  }
  if (!entries.is_array()) throw std::runtime_error(path + ": line 1: a list of messages is expected");

  message_catalogue catalogue;
  std::size_t index = 0;
  for (json const& entry : entries) {
    const int at = entry.is_object() && index < entry_lines.size() ? entry_lines[index++] : line;
    const entry_reader reader(entry, path + ": line " + std::to_string(at));
    const std::pair key{reader.number("group"), reader.number("number")};
    if (!catalogue.emplace(key, reader.text("text")).second)
      reader.refuse("number", "repeats message " + std::to_string(key.first) + "-" + std::to_string(key.second));
  }
  return catalogue;
}

}  // namespace kdi
