#include "kdi/common/KdiJson.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>
#include <nlohmann/json.hpp>
#include <utility>

#include "kdi/common/KdiNumber.h"
#include "kdi/common/KdiText.h"

namespace kdi {

namespace {

using nlohmann::json;

// Consecutive bytes of the text, or consecutive ones of what lists and objects hold. A file is no larger than 32 bits
// count, nor has it more values than bytes.
struct Span {
  std::uint32_t begin = 0;
  std::uint32_t size = 0;
};

// A number behind the largest signed one, which no caller's bounds take in, keeps its value as a double.
enum class Kind : std::uint8_t { null, truth, whole, real, text, list, object };

// Files of a hundred thousand parameters have nearly a million of these, which are as small as they can be: a text
// stays where the file has it, and a list is a part of one that all share.
struct Node {
  union {
    bool truth;
    std::int64_t whole;
    double real;
    Span span{};  // of a text, or of what a list or object holds
  };
  Span name;
  std::uint32_t parent = 0;
  std::uint32_t position = 0;  // among the parent's items
  std::uint32_t line = 0;
  Kind kind = Kind::null;
};
static_assert(sizeof(Node) <= 32, "a value takes more than it has to");

}  // namespace

struct JsonDocument {
  std::string file;
  std::string text;         // in which a text of the file stands as it reads, without escapes
  std::vector<Node> nodes;  // in the order of the file; the first is the root
  // What each list or object holds, in the order of the file. An object with more than a few has its members a second
  // time behind them, in byte order of their names: most differ in length, so that a few are quicker looked through.
  std::vector<std::uint32_t> held;
  static constexpr std::size_t kFew = 12;

  std::string_view at(Span span) const { return {text.data() + span.begin, span.size}; }
  std::string_view name_of(std::uint32_t index) const { return at(nodes[index].name); }
  std::string path_of(std::size_t index) const;
  std::string place_of(std::size_t index) const;
  void append_path(std::size_t index, std::string& path) const;
  std::uint32_t const* lookup(Span members, std::string_view name) const;
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

// How far the parser has read a text.
struct Reading {
  char const* at;       // behind the character that it was given last
  char const* counted;  // up to where lines are
  std::uint32_t line = 1;

  // Of the character before `at`. A line break belongs to the line that it ends, so that a number, which the parser
  // knows complete only by the character behind it, is still on its line.
  std::uint32_t line_here() {
    if (at == counted) return line;
    line += static_cast<std::uint32_t>(std::count(counted, at - 1, '\n'));
    counted = at - 1;
    return line;
  }
};

// Walks a text for the parser.
class ReadingIterator {
 public:
  using difference_type = std::ptrdiff_t;
  using value_type = char;
  using pointer = char const*;
  using reference = char const&;
  using iterator_category = std::input_iterator_tag;

  ReadingIterator(char const* at, Reading& reading) : at_(at), reading_(&reading) {}
  reference operator*() const { return *at_; }
  ReadingIterator& operator++() {
    reading_->at = ++at_;
    return *this;
  }
  bool operator==(ReadingIterator const& other) const { return at_ == other.at_; }
  bool operator!=(ReadingIterator const& other) const { return at_ != other.at_; }

 private:
  char const* at_;
  Reading* reading_;
};

// Takes the parser's events and lays out the document.
class Builder {
 public:
  Builder(JsonDocument& document, Reading& reading) : document_(document), reading_(reading) {}

  bool null() {
    add(Kind::null);
    return true;
  }
  bool boolean(bool value) {
    add(Kind::truth).truth = value;
    return true;
  }
  bool number_integer(json::number_integer_t value) {
    add(Kind::whole).whole = value;
    return true;
  }
  bool number_unsigned(json::number_unsigned_t value) {
    if (value > static_cast<json::number_unsigned_t>(std::numeric_limits<std::int64_t>::max())) {
      add(Kind::real).real = static_cast<double>(value);
      return true;
    }
    return number_integer(static_cast<json::number_integer_t>(value));
  }
  bool number_float(json::number_float_t /*read_by_locale*/, std::string const& digits) {
    std::string plain = digits;
    for (char& c : plain)
      if (std::string_view("+-0123456789eE").find(c) == std::string_view::npos) c = '.';
    add(Kind::real).real = number::whole<double>(plain).value_or(0);
    return true;
  }
  bool string(std::string const& value) {
    Node& added = add(Kind::text);
    added.span = settle(value);
    return true;
  }
  bool binary(json::binary_t& /*not in JSON*/) { return false; }

  bool start_object(std::size_t /*unknown*/) { return open(Kind::object); }
  bool start_array(std::size_t /*unknown*/) { return open(Kind::list); }
  bool key(std::string const& name) {
    reading_.line_here();
    name_ = settle(name);
    return true;
  }
  bool end_object() {
    const Span members = close();
    if (members.size <= JsonDocument::kFew && !has_twins(members)) return true;
    order(members);
    return true;
  }
  bool end_array() {
    close();
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
    throw JsonError(document_.file + ":" + std::to_string(reading_.line_here()) + ": " + path +
                    ": expected JSON, found a " + what);
  }

 private:
  // Where the text that was just read stands: written in front of its closing quote, over the form with escapes, which
  // is never shorter and which the parser is past. Lines are counted up to there before, since what was escaped may
  // hold breaks.
  Span settle(std::string const& text) {
    char* const begin = document_.text.data() + (reading_.at - 1 - document_.text.data()) - text.size();
    std::copy(text.begin(), text.end(), begin);
    return {static_cast<std::uint32_t>(begin - document_.text.data()), static_cast<std::uint32_t>(text.size())};
  }
  Node& add(Kind kind) {
    const auto index = static_cast<std::uint32_t>(document_.nodes.size());
    Node& added = document_.nodes.emplace_back();
    added.kind = kind;
    added.line = reading_.line_here();
    if (open_.empty()) return added;
    added.parent = open_.back().node;
    if (document_.nodes[added.parent].kind == Kind::list)
      added.position = static_cast<std::uint32_t>(held_.size() - open_.back().held);
    else
      added.name = name_;
    held_.push_back(index);
    return added;
  }
  bool open(Kind kind) {
    add(kind);
    open_.push_back({static_cast<std::uint32_t>(document_.nodes.size() - 1), held_.size()});
    return true;
  }
  // For a few, of which most differ in length.
  bool has_twins(Span members) const {
    std::uint32_t const* const first = document_.held.data() + members.begin;
    for (std::uint32_t i = 1; i < members.size; ++i)
      for (std::uint32_t j = 0; j < i; ++j)
        if (text::same_name(document_.name_of(first[i]), document_.name_of(first[j]))) return true;
    return false;
  }
  // Puts the members in the order of their names behind themselves.
  void order(Span members) {
    std::vector<std::uint32_t>& held = document_.held;
    const auto name_of = [this](std::uint32_t index) { return document_.name_of(index); };
    held.resize(held.size() + members.size);
    const auto first = held.begin() + members.begin, ordered = first + members.size;
    std::copy(first, ordered, ordered);
    // of two members with one name the later stands behind
    std::sort(ordered, held.end(), [&](std::uint32_t a, std::uint32_t b) {
      const int order = name_of(a).compare(name_of(b));
      return order != 0 ? order < 0 : a < b;
    });
    const auto twin = std::adjacent_find(ordered, held.end(),
                                         [&](std::uint32_t a, std::uint32_t b) { return name_of(a) == name_of(b); });
    if (twin != held.end())
      throw JsonError(document_.place_of(twin[1]) + ": expected each name once, found it on line " +
                      std::to_string(document_.nodes[*twin].line) + " before");
  }
  // What the innermost list or object holds, which is complete.
  Span close() {
    const auto begin = held_.begin() + static_cast<std::ptrdiff_t>(open_.back().held);
    const Span span{static_cast<std::uint32_t>(document_.held.size()), static_cast<std::uint32_t>(held_.end() - begin)};
    document_.held.insert(document_.held.end(), begin, held_.end());
    held_.erase(begin, held_.end());
    document_.nodes[open_.back().node].span = span;
    open_.pop_back();
    return span;
  }

  struct Open {
    std::uint32_t node;
    std::size_t held;  // where what it holds begins
  };

  JsonDocument& document_;
  Reading& reading_;
  std::vector<Open> open_;           // the lists and objects round the next value, outermost first
  std::vector<std::uint32_t> held_;  // by all of them so far
  Span name_;
};

// About as many values as a text has, or so many that growing with more of them costs little: those of a large file
// would be moved several times.
std::size_t values_in(std::string_view text) {
  constexpr std::size_t kBytesOfAValue = 20, kMost = 1 << 20;
  return std::min(text.size() / kBytesOfAValue + 1, kMost);
}

std::string copied(std::string_view text, std::string const& name) {
  if (text.size() > std::numeric_limits<std::uint32_t>::max()) throw JsonError(name + ": has more than 4 GiB");
  return std::string(text);
}

std::unique_ptr<JsonDocument> parse(std::string text, std::string const& name) {
  auto document = std::make_unique<JsonDocument>();
  document->file = name;
  document->text = std::move(text);
  const std::size_t values = values_in(document->text);
  document->nodes.reserve(values);
  document->held.reserve(values);
  char const* const begin = document->text.data();
  Reading reading{begin, begin};
  Builder events(*document, reading);
  json::sax_parse(ReadingIterator(begin, reading), ReadingIterator(begin + document->text.size(), reading), &events);
  return document;
}

}  // namespace

std::string JsonDocument::place_of(std::size_t index) const {
  std::string place;
  place.reserve(file.size() + kUsualPath);
  append_number(place.append(file).append(":"), nodes[index].line);
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
    if (nodes[at.parent].kind == Kind::list) {
      append_number(path += '[', at.position);
      path += ']';
    } else {
      if (path.size() > begin) path += '.';
      append_printable(path, this->at(at.name));
    }
  }
  if (path.size() - begin > text::kMostShown)
    path.replace(begin, path.npos, text::shortened_in_the_middle(std::string_view(path).substr(begin)));
}

std::uint32_t const* JsonDocument::lookup(Span members, std::string_view name) const {
  std::uint32_t const* const first = held.data() + members.begin;
  std::uint32_t const* const last = first + members.size;
  const auto is_it = [&](std::uint32_t index) { return text::same_name(name_of(index), name); };
  if (members.size <= kFew) {
    std::uint32_t const* const found = std::find_if(first, last, is_it);
    return found == last ? nullptr : found;
  }
  std::uint32_t const* const end = last + members.size;
  std::uint32_t const* const found = std::lower_bound(
      last, end, name, [this](std::uint32_t index, std::string_view key) { return name_of(index) < key; });
  return found != end && is_it(*found) ? found : nullptr;
}

// ---------------------------------------------------------------------------------------------------------- values

namespace {

Node const& node(JsonDocument const* document, std::size_t index) { return document->nodes[index]; }
Kind kind(JsonDocument const* document, std::size_t index) { return node(document, index).kind; }

}  // namespace

bool JsonValue::is_object() const { return kind(document_, index_) == Kind::object; }
bool JsonValue::is_list() const { return kind(document_, index_) == Kind::list; }
bool JsonValue::is_text() const { return kind(document_, index_) == Kind::text; }
bool JsonValue::is_boolean() const { return kind(document_, index_) == Kind::truth; }
bool JsonValue::is_null() const { return kind(document_, index_) == Kind::null; }
bool JsonValue::is_number() const {
  return kind(document_, index_) == Kind::whole || kind(document_, index_) == Kind::real;
}

bool JsonValue::boolean() const {
  if (is_boolean()) return node(document_, index_).truth;
  refuse("true or false");
}

std::int64_t JsonValue::integer(std::int64_t least, std::int64_t most) const {
  using Limits = std::numeric_limits<std::int64_t>;
  Node const& value = node(document_, index_);
  if (value.kind == Kind::whole && value.whole >= least && value.whole <= most) return value.whole;
  refuse(bounded("an integer", least != Limits::min(), std::to_string(least), most != Limits::max(),
                 std::to_string(most)));
}

double JsonValue::number(double least, double most) const {
  using Limits = std::numeric_limits<double>;
  std::optional<double> value;
  Node const& written = node(document_, index_);
  if (written.kind == Kind::whole) value = static_cast<double>(written.whole);
  if (written.kind == Kind::real) value = written.real;
  if (value && *value >= least && *value <= most) return *value;
  refuse(bounded("a number", least != Limits::lowest(), number::shortest(least), most != Limits::max(),
                 number::shortest(most)));
}

std::string_view JsonValue::text() const {
  if (is_text()) return document_->at(node(document_, index_).span);
  refuse("a text");
}

std::size_t JsonValue::choice(std::initializer_list<std::string_view> words) const {
  if (is_text()) {
    const auto at = std::find(words.begin(), words.end(), text());
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
  std::uint32_t const* const index = document_->lookup(node(document_, index_).span, name);
  if (index == nullptr) return std::nullopt;
  return JsonValue(document_, *index);
}

void JsonValue::allow_only(std::initializer_list<std::string_view> names) const {
  for (const JsonValue value : members())
    if (std::find(names.begin(), names.end(), value.name()) == names.end())
      throw JsonError(value.place() + ": expected " + one_of(names) + " as the field's name");
}

JsonRange JsonValue::held() const {
  const Span span = node(document_, index_).span;
  return {document_, document_->held.data() + span.begin, span.size};
}

JsonRange JsonValue::items() const {
  if (is_list()) return held();
  refuse("a list");
}

JsonRange JsonValue::members() const {
  if (is_object()) return held();
  refuse("an object");
}

std::string_view JsonValue::name() const { return document_->at(node(document_, index_).name); }
int JsonValue::line() const { return static_cast<int>(node(document_, index_).line); }
std::string JsonValue::place() const { return document_->place_of(index_); }

std::string JsonValue::found() const {
  Node const& value = node(document_, index_);
  switch (value.kind) {
    case Kind::null:
      return "null";
    case Kind::truth:
      return value.truth ? "true" : "false";
    case Kind::whole:
      return "the number " + std::to_string(value.whole);
    case Kind::real:
      return "the number " + number::shortest(value.real);
    case Kind::text:
      return "the text \"" + printable(text()) + "\"";
    case Kind::list:
      return "a list";
    case Kind::object:
      break;
  }
  return "an object";
}

void JsonValue::refuse(std::string const& expectation) const {
  constexpr std::size_t kMost = 1000;
  throw JsonError(place() + ": expected " + text::shortened(expectation, kMost) + ", found " + found());
}

// ------------------------------------------------------------------------------------------------------------ files

JsonFile::JsonFile(std::string const& path, std::size_t most_bytes)
    : document_(parse(read_file(path, most_bytes), path)) {}
JsonFile::JsonFile(std::string_view text, std::string const& name) : document_(parse(copied(text, name), name)) {}
JsonFile::JsonFile(JsonFile&&) noexcept = default;
JsonFile& JsonFile::operator=(JsonFile&&) noexcept = default;
JsonFile::~JsonFile() = default;

JsonValue JsonFile::root() const { return {document_.get(), 0}; }

}  // namespace kdi
