#include "kdi/cores/Value.h"

#include <algorithm>
#include <functional>

namespace kdi::cores {
namespace {

constexpr std::string_view kNames[] = {"nothing", "truth", "integer", "decimal", "text"};
constexpr std::string_view kListOf = "list of ";
constexpr std::string_view kDictionaryOf = "dictionary of ";

std::string quoted(std::string_view text) {
  std::string word = "'";
  for (const char c : text) {
    word += c;
    if (c == '\'') word += c;
  }
  return word + '\'';
}

// As a rule would write it.
std::string literal(Cell cell) {
  if (cell.kind() == Kind::text) return quoted(cell.text());
  return Value::share(cell).text();
}

template <class Range, class Word>
std::string enclosed(char open, Range const& range, Word word, char close) {
  std::string text(1, open);
  for (auto const& item : range) text += (text.size() > 1 ? ", " : "") + word(item);
  return text + close;
}

void take_share(Cell cell) {
  if (cell.has_node()) cell.node()->retain();
}
void give_up_share(Cell cell) {
  if (cell.has_node()) cell.node()->release();
}

}  // namespace

std::optional<Type> Type::list_of(Type element) {
  if (element.depth_ == kMostDepth) return std::nullopt;
  ++element.depth_;
  return element;
}

std::optional<Type> Type::dictionary_of(Type element) {
  if (element.depth_ == kMostDepth) return std::nullopt;
  element.dictionaries_ = static_cast<std::uint8_t>(element.dictionaries_ | (1U << element.depth_));
  ++element.depth_;
  return element;
}

std::optional<Type> Type::read(std::string_view text) {
  for (const bool is_list : {true, false}) {
    const std::string_view prefix = is_list ? kListOf : kDictionaryOf;
    if (!text.starts_with(prefix) || text.size() > kMostDepth * kDictionaryOf.size() + 16) continue;
    const std::optional<Type> element = read(text.substr(prefix.size()));
    if (!element) return std::nullopt;
    return is_list ? list_of(*element) : dictionary_of(*element);
  }
  for (std::size_t kind = 1; kind < std::size(kNames); ++kind)
    if (text == kNames[kind]) return Type(static_cast<Kind>(kind));
  return std::nullopt;
}

Kind Type::kind() const {
  if (depth_ == 0) return scalar_;
  return (dictionaries_ >> (depth_ - 1)) & 1 ? Kind::dictionary : Kind::list;
}

Type Type::element() const {
  Type inner = *this;
  --inner.depth_;
  inner.dictionaries_ = static_cast<std::uint8_t>(inner.dictionaries_ & ((1U << inner.depth_) - 1U));
  return inner;
}

std::string Type::text() const {
  switch (kind()) {
    case Kind::list:
      return std::string(kListOf) + element().text();
    case Kind::dictionary:
      return std::string(kDictionaryOf) + element().text();
    default:
      return std::string(kNames[static_cast<std::size_t>(scalar_)]);
  }
}

bool Type::fits(Type wanted) const {
  if (*this == wanted) return true;
  if (depth_ == 0 && scalar_ == Kind::nothing) return true;
  if (is_container() && kind() == wanted.kind()) return element().fits(wanted.element());
  return *this == Type(Kind::integer) && wanted == Type(Kind::decimal);
}

std::optional<Type> Type::common(Type a, Type b) {
  if (a.fits(b)) return b;
  if (b.fits(a)) return a;
  if (!a.is_container() || a.kind() != b.kind()) return std::nullopt;
  const std::optional<Type> inner = common(a.element(), b.element());
  if (!inner) return std::nullopt;
  return a.kind() == Kind::list ? list_of(*inner) : dictionary_of(*inner);
}

bool has_equal_node(Cell a, Cell b) {
  if (a.kind_ == Kind::text && b.kind_ == Kind::text) return a.node_->hash() == b.node_->hash() && a.text() == b.text();
  return order(a, b) == std::strong_ordering::equal;
}

std::strong_ordering order(Cell a, Cell b) {
  switch (a.kind()) {
    case Kind::nothing:
      return std::strong_ordering::equal;
    case Kind::truth:
    case Kind::integer:
      return a.integer() <=> b.integer();
    case Kind::decimal:
      return a.decimal() <=> b.decimal();
    case Kind::text:
      return a.text() <=> b.text();
    case Kind::list:
      return std::lexicographical_compare_three_way(a.elements().begin(), a.elements().end(), b.elements().begin(),
                                                    b.elements().end(), order);
    case Kind::dictionary:
      return std::lexicographical_compare_three_way(
          a.entries().begin(), a.entries().end(), b.entries().begin(), b.entries().end(),
          [](auto const& left, auto const& right) {
            const std::strong_ordering names = left.first <=> right.first;
            return names != std::strong_ordering::equal ? names : order(left.second, right.second);
          });
  }
  return std::strong_ordering::equal;
}

Node::Node(std::string given)
    : content_([&] {
        const std::size_t hash = std::hash<std::string>()(given);
        return Text{std::move(given), hash};
      }()) {}

Node::Node(std::vector<Cell> given) : content_(std::move(given)) {
  for (const Cell element : elements()) take_share(element);
}

Node::Node(Entries given) : content_(std::move(given)) {
  for (auto const& [name, value] : entries()) take_share(value);
}

// Containers are nested at most Type::kMostDepth deep, so this recursion is short.
Node::~Node() {
  if (auto const* const elements = std::get_if<std::vector<Cell>>(&content_))
    for (const Cell element : *elements) give_up_share(element);
  if (auto const* const entries = std::get_if<Entries>(&content_))
    for (auto const& [name, value] : *entries) give_up_share(value);
}

// Piece by piece: of thousands of cells those that were copied first are not at hand any more in the end.
Cells::Cells(Cells const& other) : truths_(other.truths_) {
  constexpr std::size_t kPiece = 1024;
  cells_.reserve(other.cells_.size());
  const std::span<Cell const> all = other.cells_;
  for (std::size_t begin = 0; begin < all.size(); begin += kPiece) {
    const std::span<Cell const> piece = all.subspan(begin, std::min(kPiece, all.size() - begin));
    cells_.insert(cells_.end(), piece.begin(), piece.end());
    for (const Cell cell : piece) take_share(cell);
  }
}

Value::Value(std::string text) : cell_(Cell::of(Kind::text, new Node(std::move(text)))) {}

std::size_t bytes(Cell cell) {
  std::size_t all = sizeof(Cell);
  if (cell.kind() == Kind::text) all += sizeof(Node) + cell.text().size();
  if (cell.kind() == Kind::list) {
    all += sizeof(Node);
    for (const Cell element : cell.elements()) all += bytes(element);
  }
  if (cell.kind() == Kind::dictionary) {
    constexpr std::size_t kOfEntry = 64;
    all += sizeof(Node);
    for (auto const& [key, value] : cell.entries()) all += kOfEntry + key.size() + bytes(value);
  }
  return all;
}

Value Value::list(std::vector<Value> const& elements) {
  std::vector<Cell> cells;
  cells.reserve(elements.size());
  for (Value const& element : elements) cells.push_back(element.cell());
  Value value;
  value.cell_ = Cell::of(Kind::list, new Node(std::move(cells)));
  return value;
}

Value Value::dictionary(std::map<std::string, Value> const& entries) {
  Node::Entries cells;
  for (auto const& [name, entry] : entries) cells.emplace(name, entry.cell());
  Value value;
  value.cell_ = Cell::of(Kind::dictionary, new Node(std::move(cells)));
  return value;
}

Value Value::share(Cell cell) {
  Value value;
  value.cell_ = cell;
  value.retain();
  return value;
}

std::string Value::text() const {
  switch (cell_.kind()) {
    case Kind::nothing:
      return "";
    case Kind::truth:
      return cell_.truth() ? "true" : "false";
    case Kind::integer:
      return std::to_string(cell_.integer());
    case Kind::decimal:
      return cell_.decimal().text();
    case Kind::text:
      return cell_.text();
    case Kind::list:
      return enclosed('[', cell_.elements(), literal, ']');
    case Kind::dictionary:
      return enclosed(
          '{', cell_.entries(), [](auto const& entry) { return quoted(entry.first) + ": " + literal(entry.second); },
          '}');
  }
  return "";
}

}  // namespace kdi::cores
