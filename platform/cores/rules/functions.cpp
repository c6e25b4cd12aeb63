#include "platform/cores/rules/functions.h"

#include <algorithm>
#include <limits>
#include <stdexcept>

#include "kdi/common/KdiText.h"

namespace kdi::cores {
namespace {

using Types = std::span<Type>;
using Cells = std::span<Cell const>;

constexpr std::size_t kAnyNumber = 200;  // of arguments
constexpr std::size_t kEntryBytes = 64;  // about what a dictionary takes for an entry beside its name

// --------------------------------------------------------------------------------------------------------- signatures

// A fixed row of parameters, the last of which may be missing.
template <Kind Result, Kind... Parameters>
std::optional<Type> plain(Types types) {
  constexpr Kind kParameters[] = {Parameters...};
  for (std::size_t i = 0; i < types.size(); ++i) {
    if (!types[i].fits(kParameters[i])) return std::nullopt;
    types[i] = kParameters[i];
  }
  return Type(Result);
}

// All arguments widened to what they have in common.
std::optional<Type> alike(Types types) {
  Type common = types[0];
  for (const Type type : types) {
    const std::optional<Type> both = Type::common(common, type);
    if (!both) return std::nullopt;
    common = *both;
  }
  std::fill(types.begin(), types.end(), common);
  return common;
}

std::optional<Type> numbers_alike(Types types) {
  const std::optional<Type> common = alike(types);
  return common && common->is_number() ? common : std::nullopt;
}

std::optional<Type> number(Types types) { return types[0].is_number() ? std::optional(types[0]) : std::nullopt; }

std::optional<Type> any_list(Types types) {
  return types[0].kind() == Kind::list ? std::optional(types[0]) : std::nullopt;
}

// A list and one of its elements.
bool match_element(Type& list, Type& element) {
  if (list.kind() != Kind::list) return false;
  const std::optional<Type> common = Type::common(list.element(), element);
  const std::optional<Type> both = common ? Type::list_of(*common) : std::nullopt;
  if (!both) return false;
  list = *both;
  element = *common;
  return true;
}

std::optional<Type> index_types(Types types) {
  return match_element(types[0], types[1]) ? std::optional(Type(Kind::integer)) : std::nullopt;
}

std::optional<Type> dictionary_of_any(Types types) {
  return types[0].kind() == Kind::dictionary ? std::optional(types[0]) : std::nullopt;
}

std::optional<Type> get_types(Types types) {
  if (types[0].kind() != Kind::dictionary || !types[1].fits(Kind::text)) return std::nullopt;
  const std::optional<Type> common = Type::common(types[0].element(), types[2]);
  const std::optional<Type> both = common ? Type::dictionary_of(*common) : std::nullopt;
  if (!both) return std::nullopt;
  types[0] = *both;
  types[2] = *common;
  return common;
}

std::optional<Type> length_types(Types types) {
  const Kind kind = types[0].kind();
  const bool has_length = kind == Kind::text || kind == Kind::list || kind == Kind::dictionary;
  return has_length ? std::optional(Type(Kind::integer)) : std::nullopt;
}

std::optional<Type> texts_of_scalars(Types types) {
  for (const Type type : types)
    if (type.is_container() || type.kind() == Kind::nothing) return std::nullopt;
  return Type(Kind::text);
}

std::optional<Type> split_types(Types types) {
  return plain<Kind::text, Kind::text, Kind::text>(types) ? Type::list_of(Kind::text) : std::nullopt;
}

std::optional<Type> join_types(Types types) {
  if (!types[0].fits(*Type::list_of(Kind::text)) || !types[1].fits(Kind::text)) return std::nullopt;
  return Type(Kind::text);
}

std::optional<Type> numbers_types(Types types) {
  return plain<Kind::integer, Kind::integer, Kind::integer>(types) ? Type::list_of(Kind::integer) : std::nullopt;
}

// ------------------------------------------------------------------------------------------------------------ values

Cell truth(bool value) { return Cell::of(value); }
Cell integer(std::size_t value) { return Cell::of(static_cast<std::int64_t>(value)); }

int places_of(Cells arguments, std::size_t at) {
  const std::int64_t places = at < arguments.size() ? arguments[at].integer() : 0;
  if (places < 0 || places > Decimal::kMostPlaces) throw RuleFault("places are from 0 to 18");
  return static_cast<int>(places);
}

Cell absolute(Workshop&, Cells a) {
  if (a[0].kind() == Kind::decimal)
    return Cell::of(a[0].decimal() < Decimal() ? Decimal() - a[0].decimal() : a[0].decimal());
  if (a[0].integer() == std::numeric_limits<std::int64_t>::min()) throw std::overflow_error("number too large");
  return Cell::of(a[0].integer() < 0 ? -a[0].integer() : a[0].integer());
}

bool is_less(Cell a, Cell b) { return order(a, b) == std::strong_ordering::less; }

Cell least(Workshop&, Cells a) { return *std::min_element(a.begin(), a.end(), is_less); }
Cell greatest(Workshop&, Cells a) { return *std::max_element(a.begin(), a.end(), is_less); }

Cell whole(Workshop&, Cells a) {
  if (!a[0].decimal().is_whole()) throw RuleFault(a[0].decimal().text() + " is no integer");
  return Cell::of(a[0].decimal().mantissa());
}

Cell concatenated(Workshop& workshop, Cells a) {
  std::string text;
  for (const Cell cell : a) text += Value::share(cell).text();
  return workshop.text(std::move(text));
}

Cell number_of(Workshop&, Cells a) {
  const std::optional<Decimal> read = Decimal::read(a[0].text());
  return read ? Cell::of(*read) : a[1];
}

std::size_t size_of(Cell cell) {
  switch (cell.kind()) {
    case Kind::text:
      return cell.text().size();
    case Kind::list:
      return cell.elements().size();
    default:
      return cell.entries().size();
  }
}

Cell part_of(Workshop& workshop, Cells a) {
  const std::int64_t size = static_cast<std::int64_t>(a[0].text().size());
  const std::int64_t first = std::clamp<std::int64_t>(a[1].integer(), 0, size);
  const std::int64_t count = std::clamp<std::int64_t>(a[2].integer(), 0, size - first);
  return workshop.text(a[0].text().substr(static_cast<std::size_t>(first), static_cast<std::size_t>(count)));
}

Cell replaced(Workshop& workshop, Cells a) {
  std::string const &subject = a[0].text(), &search = a[1].text(), &replacement = a[2].text();
  if (search.empty()) return a[0];
  std::string text;
  std::size_t from = 0;
  for (std::size_t at = subject.find(search); at != std::string::npos; at = subject.find(search, from)) {
    text.append(subject, from, at - from).append(replacement);
    if (text.size() > Machine::kLongestText) throw RuleFault("a text grows too long");
    from = at + search.size();
  }
  return workshop.text(text.append(subject, from));
}

Cell split(Workshop& workshop, Cells a) {
  std::string const &text = a[0].text(), &separator = a[1].text();
  if (separator.empty()) throw RuleFault("an empty separator");
  std::vector<Cell> parts;
  for (std::size_t from = 0, at = 0; at != std::string::npos && !text.empty(); from = at + separator.size()) {
    at = text.find(separator, from);
    parts.push_back(workshop.text(text.substr(from, at - from)));
    if (parts.size() > Machine::kLongestList) throw RuleFault("a list grows too long");
  }
  return workshop.list(std::move(parts));
}

Cell joined(Workshop& workshop, Cells a) {
  std::string text;
  std::string_view between;
  for (const Cell part : a[0].elements()) {
    text.append(between).append(part.text());
    between = a[1].text();
    if (text.size() > Machine::kLongestText) throw RuleFault("a text grows too long");
  }
  return workshop.text(std::move(text));
}

Cell numbers(Workshop& workshop, Cells a) {
  std::vector<Cell> list;
  for (std::int64_t i = a[0].integer(); i <= a[1].integer(); ++i) {
    list.push_back(Cell::of(i));
    if (list.size() > Machine::kLongestList) throw RuleFault("a list grows too long");
  }
  return workshop.list(std::move(list));
}

std::vector<Cell> copy_of(Cell list) { return {list.elements().begin(), list.elements().end()}; }

Cell sorted(Workshop& workshop, Cells a) {
  std::vector<Cell> elements = copy_of(a[0]);
  std::stable_sort(elements.begin(), elements.end(), is_less);
  return workshop.list(std::move(elements));
}

// Each once, at its first place.
Cell distinct(Workshop& workshop, Cells a) {
  const auto less = [](Cell left, Cell right) { return is_less(left, right); };
  std::map<Cell, bool, decltype(less)> seen(less);
  std::vector<Cell> elements;
  for (const Cell element : a[0].elements())
    if (seen.emplace(element, true).second) elements.push_back(element);
  return workshop.list(std::move(elements));
}

Cell reversed(Workshop& workshop, Cells a) {
  std::vector<Cell> elements = copy_of(a[0]);
  std::reverse(elements.begin(), elements.end());
  return workshop.list(std::move(elements));
}

Cell index_in(Workshop&, Cells a) {
  const auto elements = a[0].elements();
  const auto found = std::find(elements.begin(), elements.end(), a[1]);
  return Cell::of(found == elements.end() ? std::int64_t{-1} : static_cast<std::int64_t>(found - elements.begin()));
}

Cell keys(Workshop& workshop, Cells a) {
  std::vector<Cell> names;
  for (auto const& [name, value] : a[0].entries()) names.push_back(workshop.text(name));
  return workshop.list(std::move(names));
}

Cell values(Workshop& workshop, Cells a) {
  std::vector<Cell> cells;
  for (auto const& [name, value] : a[0].entries()) cells.push_back(value);
  return workshop.list(std::move(cells));
}

Cell get(Workshop&, Cells a) {
  const auto found = a[0].entries().find(a[1].text());
  return found == a[0].entries().end() ? a[2] : found->second;
}

Cell hexadecimal(Workshop& workshop, Cells a) {
  constexpr std::int64_t kMostDigits = 16;
  const std::int64_t digits = a.size() > 1 ? a[1].integer() : 1;
  if (digits < 1 || digits > kMostDigits || a[0].integer() < 0) throw RuleFault("no such hexadecimal number");
  std::string text;
  for (std::uint64_t rest = static_cast<std::uint64_t>(a[0].integer());
       rest != 0 || text.size() < static_cast<std::size_t>(digits); rest >>= 4)
    text.insert(text.begin(), "0123456789abcdef"[rest & 15]);
  return workshop.text(std::move(text));
}

Cell power_of_two(Workshop&, Cells a) {
  if (a[0].integer() < 0 || a[0].integer() > 62) throw RuleFault("a power of two from 0 to 62");
  return Cell::of(std::int64_t{1} << a[0].integer());
}

constexpr Kind T = Kind::text, I = Kind::integer, D = Kind::decimal, B = Kind::truth;

// By name, for the search.
constexpr Builtin kBuiltins[] = {
    {"abs", "number", 1, 1, number, absolute},
    {"ceil", "number", 1, 1, plain<I, D>, [](Workshop&, Cells a) { return Cell::of(a[0].decimal().ceil()); }},
    {"concatenated", "value, ...", 1, kAnyNumber, texts_of_scalars, concatenated},
    {"contains", "text, part", 2, 2, plain<B, T, T>,
     [](Workshop&, Cells a) { return truth(a[0].text().find(a[1].text()) != std::string::npos); }},
    {"distinct", "list", 1, 1, any_list, distinct},
    {"ends_with", "text, end", 2, 2, plain<B, T, T>,
     [](Workshop&, Cells a) { return truth(a[0].text().ends_with(a[1].text())); }},
    {"floor", "number", 1, 1, plain<I, D>, [](Workshop&, Cells a) { return Cell::of(a[0].decimal().floor()); }},
    {"get", "dictionary, key, default", 3, 3, get_types, get},
    {"hex", "integer, digits?", 1, 2, plain<T, I, I>, hexadecimal},
    {"index_of", "list, value", 2, 2, index_types, index_in},
    {"integer", "number", 1, 1, plain<I, D>, whole},
    {"is_number", "text", 1, 1, plain<B, T>,
     [](Workshop&, Cells a) { return truth(Decimal::read(a[0].text()).has_value()); }},
    {"join", "list, separator", 2, 2, join_types, joined},
    {"keys", "dictionary", 1, 1,
     [](Types types) { return dictionary_of_any(types) ? Type::list_of(Kind::text) : std::nullopt; }, keys},
    {"length", "text, list or dictionary", 1, 1, length_types,
     [](Workshop&, Cells a) { return integer(size_of(a[0])); }},
    {"lower", "text", 1, 1, plain<T, T>,
     [](Workshop& workshop, Cells a) { return workshop.text(text::lowered(a[0].text())); }},
    {"max", "number, ...", 1, kAnyNumber, numbers_alike, greatest},
    {"min", "number, ...", 1, kAnyNumber, numbers_alike, least},
    {"number", "text, default", 2, 2, plain<D, T, D>, number_of},
    {"numbers", "first, last", 2, 2, numbers_types, numbers},
    {"part", "text, first, count", 3, 3, plain<T, T, I, I>, part_of},
    {"power_of_two", "exponent", 1, 1, plain<I, I>, power_of_two},
    {"quotient", "number, divisor, places?", 2, 3, plain<D, D, D, I>,
     [](Workshop&, Cells a) { return Cell::of(Decimal::quotient(a[0].decimal(), a[1].decimal(), places_of(a, 2))); }},
    {"replace", "text, search, replacement", 3, 3, plain<T, T, T, T>, replaced},
    {"reversed", "list", 1, 1, any_list, reversed},
    {"round", "number, places?", 1, 2, plain<D, D, I>,
     [](Workshop&, Cells a) { return Cell::of(a[0].decimal().rounded(places_of(a, 1))); }},
    {"sorted", "list", 1, 1, any_list, sorted},
    {"split", "text, separator", 2, 2, split_types, split},
    {"starts_with", "text, start", 2, 2, plain<B, T, T>,
     [](Workshop&, Cells a) { return truth(a[0].text().starts_with(a[1].text())); }},
    {"text", "value", 1, 1, texts_of_scalars, concatenated},
    {"upper", "text", 1, 1, plain<T, T>,
     [](Workshop& workshop, Cells a) { return workshop.text(text::uppered(a[0].text())); }},
    {"values", "dictionary", 1, 1,
     [](Types types) { return dictionary_of_any(types) ? Type::list_of(types[0].element()) : std::nullopt; }, values},
};

}  // namespace

// So that a node is in the list before anything can throw.
void Workshop::make_room() {
  constexpr std::size_t kFirstRoom = 16;
  if (made_.size() == made_.capacity()) made_.reserve(2 * made_.size() + kFirstRoom);
}

Cell Workshop::add(Kind kind, Node* node, std::size_t bytes) {
  made_.push_back(node);
  bytes_ += bytes + sizeof(Node);
  if (bytes_ > kMostBytes) throw RuleFault("an evaluation takes too much memory");
  return Cell::of(kind, node);
}

Cell Workshop::text(std::string text) {
  if (text.size() > Machine::kLongestText) throw RuleFault("a text grows too long");
  const std::size_t bytes = text.size();
  make_room();
  return add(Kind::text, new Node(std::move(text)), bytes);
}

Cell Workshop::list(std::vector<Cell> elements) {
  if (elements.size() > Machine::kLongestList) throw RuleFault("a list grows too long");
  const std::size_t bytes = elements.size() * sizeof(Cell);
  make_room();
  return add(Kind::list, new Node(std::move(elements)), bytes);
}

Cell Workshop::dictionary(Node::Entries entries) {
  std::size_t bytes = 0;
  for (auto const& [name, value] : entries) bytes += name.size() + kEntryBytes;
  make_room();
  return add(Kind::dictionary, new Node(std::move(entries)), bytes);
}

Cell Workshop::keep(Value const& value) {
  if (value.cell().has_node()) {
    make_room();
    made_.push_back(value.cell().node());
    value.cell().node()->retain();
  }
  return value.cell();
}

std::span<Builtin const> builtins() { return kBuiltins; }

Builtin const* find_builtin(std::string_view name) {
  const auto found =
      std::lower_bound(std::begin(kBuiltins), std::end(kBuiltins), name,
                       [](Builtin const& builtin, std::string_view sought) { return builtin.name < sought; });
  return found != std::end(kBuiltins) && found->name == name ? found : nullptr;
}

}  // namespace kdi::cores
