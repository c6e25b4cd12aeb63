#include "kdi/common/KdiJson.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>
#include <nlohmann/json.hpp>
#include <unordered_map>
#include <utility>
#include <variant>

#include "kdi/common/KdiNumber.h"
#include "kdi/common/KdiText.h"

namespace kdi {

namespace {

using nlohmann::json;

// A number behind the largest signed one, which no caller's bounds take in, keeps its value as a double.
struct ListNode {
  std::vector<std::size_t> items;
};
struct ObjectNode {
  std::vector<std::size_t> members;  // in the order of the file
};

struct Node {
  std::variant<std::nullptr_t, bool, std::int64_t, double, std::string, ListNode, ObjectNode> value;
  std::string name;
  std::uint32_t parent = 0;
  std::uint32_t position = 0;  // among the parent's items
  int line = 0;
};

}  // namespace

struct JsonDocument {
  std::string file;
  std::vector<Node> nodes;  // in the order of the file; the first is the root
  // Members in byte order of their names, of those objects that have more than a few: most differ in length, so that a
  // few are quicker looked through.
  static constexpr std::size_t kFew = 12;
  std::unordered_map<std::size_t, std::vector<std::size_t>> by_name;

  std::string path_of(std::size_t index) const;
  std::string place_of(std::size_t index) const;
  void append_path(std::size_t index, std::string& path) const;
  std::size_t const* lookup(std::size_t object, std::string_view name) const;
};

namespace {

// --------------------------------------------------------------------------------------------------------- places

constexpr std::size_t kUsualPath = 64;  // bytes, with its line

void append_number(std::string& to, std::uint32_t number) {
  constexpr std::size_t kMostDigits = 10;
  std::array<char, kMostDigits> digits;
  to.append(digits.data(), std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr);
}

// A text of the file as part of an error: one line, whatever it holds.
void append_printable(std::string& to, std::string_view text) {
  constexpr std::size_t kShown = 60;
  const std::size_t begin = to.size();
  if (text.size() <= kShown)
    to += text;
  else
    to += text::shortened(text, kShown);
  std::replace_if(to.begin() + static_cast<std::ptrdiff_t>(begin), to.end(), text::is_control, '?');
}
std::string printable(std::string_view text) {
  std::string shown;
  append_printable(shown, text);
  return shown;
}

// What the parser has read of a value, which may be the rest of the file, stands between quotes in its errors.
void shorten_quoted(std::string& error) {
  const std::size_t begin = error.find('\'');
  const std::size_t end = error.rfind('\'');
  if (begin == end) return;
  error.replace(begin + 1, end - begin - 1, printable(std::string_view(error).substr(begin + 1, end - begin - 1)));
}

std::string bounded(char const* kind, bool bounded_below, std::string const& least, bool bounded_above,
                    std::string const& most) {
  if (bounded_below && bounded_above) return kind + (" from " + least) + " to " + most;
  if (bounded_below) return kind + (" of at least " + least);
  if (bounded_above) return kind + (" of at most " + most);
  return kind;
}

std::string one_of(std::initializer_list<std::string_view> words) { return "one of " + text::joined(words, ", "); }

// -------------------------------------------------------------------------------------------------------- parsing

// Walks a text for the parser and knows the line of the character that it gave last. A line break belongs to the line
// that it ends, so that a number, which the parser knows complete only by the character behind it, is still on its
// line.
class CountingIterator {
 public:
  using difference_type = std::ptrdiff_t;
  using value_type = char;
  using pointer = char const*;
  using reference = char const&;
  using iterator_category = std::input_iterator_tag;

  CountingIterator(char const* at, int* line) : at_(at), line_(line) {}
  reference operator*() const { return *at_; }
  CountingIterator& operator++() {
    if (behind_break_) ++*line_;
    behind_break_ = *at_ == '\n';
    ++at_;
    return *this;
  }
  bool operator==(CountingIterator const& other) const { return at_ == other.at_; }
  bool operator!=(CountingIterator const& other) const { return at_ != other.at_; }

 private:
  char const* at_;
  int* line_;
  bool behind_break_ = false;
};

// Takes the parser's events and lays out the document.
class Builder {
 public:
  Builder(JsonDocument& document, int const& line) : document_(document), line_(line) {}

  bool null() { return add(nullptr); }
  bool boolean(bool value) { return add(value); }
  bool number_integer(json::number_integer_t value) { return add(std::int64_t{value}); }
  bool number_unsigned(json::number_unsigned_t value) {
    if (value > static_cast<json::number_unsigned_t>(std::numeric_limits<std::int64_t>::max()))
      return add(static_cast<double>(value));
    return add(static_cast<std::int64_t>(value));
  }
  bool number_float(json::number_float_t /*read_by_locale*/, std::string const& digits) {
    std::string plain = digits;
    for (char& c : plain)
      if (std::string_view("+-0123456789eE").find(c) == std::string_view::npos) c = '.';
    return add(number::whole<double>(plain).value_or(0));
  }
  // Copied: the parser goes on with the room that it has made, and what is kept takes none to spare.
  bool string(std::string& value) { return add(std::string(value)); }
  bool binary(json::binary_t& /*not in JSON*/) { return false; }

  bool start_object(std::size_t /*unknown*/) { return open(ObjectNode{}); }
  bool start_array(std::size_t /*unknown*/) { return open(ListNode{}); }
  bool key(std::string& name) {
    name_ = name;
    return true;
  }
  bool end_object() {
    const std::size_t node = open_.back().node;
    auto& object = std::get<ObjectNode>(document_.nodes[node].value);
    object.members = close();
    if (object.members.size() <= JsonDocument::kFew && !has_twins(object.members)) return true;
    members_ = object.members;
    const auto name_of = [this](std::size_t index) -> std::string const& { return document_.nodes[index].name; };
    // of two members with one name the later stands behind
    std::sort(members_.begin(), members_.end(), [&](std::size_t a, std::size_t b) {
      const int order = name_of(a).compare(name_of(b));
      return order != 0 ? order < 0 : a < b;
    });
    const auto twin = std::adjacent_find(members_.begin(), members_.end(),
                                         [&](std::size_t a, std::size_t b) { return name_of(a) == name_of(b); });
    if (twin != members_.end())
      throw JsonError(document_.place_of(twin[1]) + ": expected each name once, found it on line " +
                      std::to_string(document_.nodes[*twin].line) + " before");
    if (members_.size() > JsonDocument::kFew) document_.by_name.emplace(node, members_);
    return true;
  }
  bool end_array() {
    auto& list = std::get<ListNode>(document_.nodes[open_.back().node].value);
    list.items = close();
    return true;
  }

  [[noreturn]] bool parse_error(std::size_t /*position*/, std::string const& /*token*/, json::exception const& error) {
    // what the parser says behind its own name for the error and its own count of lines
    std::string what = error.what();
    if (const std::size_t column = what.find(", column "); column != std::string::npos) {
      what.erase(0, what.find(": ", column) + 2);
    } else {
      what.erase(0, what.find("] ") + 2);
    }
    shorten_quoted(what);
    std::replace_if(
        what.begin(), what.end(), [](char c) { return static_cast<unsigned char>(c) >= 0x80U; }, '?');
    const std::string path = open_.empty() ? "top level" : document_.path_of(open_.back().node);
    throw JsonError(document_.file + ":" + std::to_string(line_) + ": " + path + ": expected JSON, found a " + what);
  }

 private:
  template <class Value>
  bool add(Value value) {
    const std::size_t index = document_.nodes.size();
    Node& added = document_.nodes.emplace_back();
    added.line = line_;
    added.value.template emplace<Value>(std::move(value));
    if (open_.empty()) return true;
    added.parent = static_cast<std::uint32_t>(open_.back().node);
    if (std::holds_alternative<ListNode>(document_.nodes[added.parent].value))
      added.position = static_cast<std::uint32_t>(held_.size() - open_.back().held);
    else
      added.name = std::move(name_);
    held_.push_back(index);
    return true;
  }
  template <class Holder>
  bool open(Holder holder) {
    add(std::move(holder));
    open_.push_back({document_.nodes.size() - 1, held_.size()});
    return true;
  }
  // For a few, of which most differ in length.
  bool has_twins(std::vector<std::size_t> const& members) const {
    for (std::size_t i = 1; i < members.size(); ++i)
      for (std::size_t j = 0; j < i; ++j)
        if (document_.nodes[members[i]].name == document_.nodes[members[j]].name) return true;
    return false;
  }
  // What the innermost list or object holds, which is complete.
  std::vector<std::size_t> close() {
    const auto begin = held_.begin() + static_cast<std::ptrdiff_t>(open_.back().held);
    std::vector<std::size_t> held(begin, held_.end());
    held_.erase(begin, held_.end());
    open_.pop_back();
    return held;
  }

  struct Open {
    std::size_t node;
    std::size_t held;  // where what it holds begins
  };

  JsonDocument& document_;
  int const& line_;
  std::vector<Open> open_;            // the lists and objects round the next value, outermost first
  std::vector<std::size_t> held_;     // by all of them so far
  std::vector<std::size_t> members_;  // of an object, in order
  std::string name_;
};

// About as many values as a text has, or so many that growing with more of them costs little: those of a large file
// would be moved several times.
std::size_t values_in(std::string_view text) {
  constexpr std::size_t kBytesOfAValue = 20, kMost = 1 << 20;
  return std::min(text.size() / kBytesOfAValue + 1, kMost);
}

std::unique_ptr<JsonDocument> parse(std::string_view text, std::string const& name) {
  if (text.size() > std::numeric_limits<std::uint32_t>::max()) throw JsonError(name + ": has more than 4 GiB");
  auto document = std::make_unique<JsonDocument>();
  document->file = name;
  document->nodes.reserve(values_in(text));
  int line = 1;
  Builder events(*document, line);
  json::sax_parse(CountingIterator(text.data(), &line), CountingIterator(text.data() + text.size(), &line), &events);
  return document;
}

}  // namespace

std::string JsonDocument::place_of(std::size_t index) const {
  std::string place;
  place.reserve(file.size() + kUsualPath);
  append_number(place.append(file).append(":"), static_cast<std::uint32_t>(nodes[index].line));
  append_path(index, place.append(": "));
  return place;
}

std::string JsonDocument::path_of(std::size_t index) const {
  std::string path;
  append_path(index, path);
  return path;
}

// Of every rule of every core: with as few texts in between as may be.
void JsonDocument::append_path(std::size_t index, std::string& path) const {
  if (index == 0) {
    path += "top level";
    return;
  }
  constexpr std::size_t kUsualSteps = 8;
  std::vector<std::size_t> steps;
  steps.reserve(kUsualSteps);
  for (; index != 0; index = nodes[index].parent) steps.push_back(index);
  const std::size_t begin = path.size();
  for (auto step = steps.rbegin(); step != steps.rend(); ++step) {
    Node const& at = nodes[*step];
    if (std::holds_alternative<ListNode>(nodes[at.parent].value)) {
      append_number(path += '[', at.position);
      path += ']';
    } else {
      if (path.size() > begin) path += '.';
      append_printable(path, at.name);
    }
  }
  if (path.size() - begin > text::kMostShown)
    path.replace(begin, path.npos, text::shortened_in_the_middle(std::string_view(path).substr(begin)));
}

std::size_t const* JsonDocument::lookup(std::size_t object, std::string_view name) const {
  auto const& members = std::get<ObjectNode>(nodes[object].value).members;
  const auto is_it = [&](std::size_t index) {
    std::string const& other = nodes[index].name;
    return other.size() == name.size() && (name.empty() || (other[0] == name[0] && other == name));
  };
  if (members.size() <= kFew) {
    const auto found = std::find_if(members.begin(), members.end(), is_it);
    return found == members.end() ? nullptr : &*found;
  }
  std::vector<std::size_t> const& ordered = by_name.at(object);
  const auto at = std::lower_bound(ordered.begin(), ordered.end(), name,
                                   [this](std::size_t index, std::string_view key) { return nodes[index].name < key; });
  return at != ordered.end() && is_it(*at) ? &*at : nullptr;
}

// ---------------------------------------------------------------------------------------------------------- values

namespace {

template <class Type>
Type const* as(JsonDocument const* document, std::size_t index) {
  return std::get_if<Type>(&document->nodes[index].value);
}

}  // namespace

bool JsonValue::is_object() const { return as<ObjectNode>(document_, index_) != nullptr; }
bool JsonValue::is_list() const { return as<ListNode>(document_, index_) != nullptr; }
bool JsonValue::is_text() const { return as<std::string>(document_, index_) != nullptr; }
bool JsonValue::is_boolean() const { return as<bool>(document_, index_) != nullptr; }
bool JsonValue::is_null() const { return as<std::nullptr_t>(document_, index_) != nullptr; }
bool JsonValue::is_number() const {
  return as<std::int64_t>(document_, index_) != nullptr || as<double>(document_, index_) != nullptr;
}

bool JsonValue::boolean() const {
  if (bool const* value = as<bool>(document_, index_)) return *value;
  refuse("true or false");
}

std::int64_t JsonValue::integer(std::int64_t least, std::int64_t most) const {
  using Limits = std::numeric_limits<std::int64_t>;
  std::int64_t const* const value = as<std::int64_t>(document_, index_);
  if (value != nullptr && *value >= least && *value <= most) return *value;
  refuse(bounded("an integer", least != Limits::min(), std::to_string(least), most != Limits::max(),
                 std::to_string(most)));
}

double JsonValue::number(double least, double most) const {
  using Limits = std::numeric_limits<double>;
  std::optional<double> value;
  if (std::int64_t const* whole = as<std::int64_t>(document_, index_)) value = static_cast<double>(*whole);
  if (double const* real = as<double>(document_, index_)) value = *real;
  if (value && *value >= least && *value <= most) return *value;
  refuse(bounded("a number", least != Limits::lowest(), number::shortest(least), most != Limits::max(),
                 number::shortest(most)));
}

std::string const& JsonValue::text() const {
  if (std::string const* value = as<std::string>(document_, index_)) return *value;
  refuse("a text");
}

std::size_t JsonValue::choice(std::initializer_list<std::string_view> words) const {
  if (std::string const* value = as<std::string>(document_, index_)) {
    const auto at = std::find(words.begin(), words.end(), *value);
    if (at != words.end()) return static_cast<std::size_t>(at - words.begin());
  }
  refuse(one_of(words));
}

JsonValue JsonValue::member(std::string_view name) const {
  if (const auto value = find(name)) return *value;
  throw JsonError(place() + ": expected a field \"" + printable(name) + "\", found none");
}

std::optional<JsonValue> JsonValue::find(std::string_view name) const {
  if (!is_object()) refuse("an object");
  std::size_t const* const index = document_->lookup(index_, name);
  if (index == nullptr) return std::nullopt;
  return JsonValue(document_, *index);
}

void JsonValue::allow_only(std::initializer_list<std::string_view> names) const {
  for (const JsonValue value : members())
    if (std::find(names.begin(), names.end(), value.name()) == names.end())
      throw JsonError(value.place() + ": expected " + one_of(names) + " as the field's name");
}

JsonRange JsonValue::items() const {
  if (ListNode const* list = as<ListNode>(document_, index_)) return {document_, &list->items};
  refuse("a list");
}

JsonRange JsonValue::members() const {
  if (ObjectNode const* object = as<ObjectNode>(document_, index_)) return {document_, &object->members};
  refuse("an object");
}

std::string const& JsonValue::name() const { return document_->nodes[index_].name; }
int JsonValue::line() const { return document_->nodes[index_].line; }
std::string JsonValue::place() const { return document_->place_of(index_); }

std::string JsonValue::found() const {
  if (bool const* truth = as<bool>(document_, index_)) return *truth ? "true" : "false";
  if (std::int64_t const* whole = as<std::int64_t>(document_, index_)) return "the number " + std::to_string(*whole);
  if (double const* real = as<double>(document_, index_)) return "the number " + number::shortest(*real);
  if (std::string const* text = as<std::string>(document_, index_)) return "the text \"" + printable(*text) + "\"";
  if (is_list()) return "a list";
  return is_object() ? "an object" : "null";
}

void JsonValue::refuse(std::string const& expectation) const {
  constexpr std::size_t kMost = 1000;
  throw JsonError(place() + ": expected " + text::shortened(expectation, kMost) + ", found " + found());
}

// ------------------------------------------------------------------------------------------------------------ files

JsonFile::JsonFile(std::string const& path, std::size_t most_bytes)
    : document_(parse(read_file(path, most_bytes), path)) {}
JsonFile::JsonFile(std::string_view text, std::string const& name) : document_(parse(text, name)) {}
JsonFile::JsonFile(JsonFile&&) noexcept = default;
JsonFile& JsonFile::operator=(JsonFile&&) noexcept = default;
JsonFile::~JsonFile() = default;

JsonValue JsonFile::root() const { return {document_.get(), 0}; }

}  // namespace kdi
