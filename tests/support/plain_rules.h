// A second reading of rules, from the parsed tree alone: slow, plain, with numbers of any size, and nothing compiled.
// What it does not share with the library is everything behind the parser.
#pragma once

#include <algorithm>
#include <boost/multiprecision/cpp_int.hpp>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <variant>
#include <vector>

#include "platform/cores/rules/syntax.h"

namespace plain_rules {

using Integer = boost::multiprecision::cpp_int;
using Fraction = boost::multiprecision::cpp_rational;

struct Fault : std::runtime_error {
  using std::runtime_error::runtime_error;
};

struct Item;
using List = std::vector<Item>;
using Map = std::map<std::string, Item>;
// `decimal` numbers are fractions, `integer` ones whole numbers.
struct Item : std::variant<bool, Integer, Fraction, std::string, std::shared_ptr<List>, std::shared_ptr<Map>> {
  using variant::variant;
};

inline bool is_number(Item const& item) { return item.index() == 1 || item.index() == 2; }
inline Fraction fraction(Item const& item) {
  return item.index() == 1 ? Fraction(std::get<Integer>(item)) : std::get<Fraction>(item);
}

inline Item integer(Integer value) {
  static const Integer kMost("9223372036854775807"), kLeast("-9223372036854775808");
  if (value > kMost || value < kLeast) throw Fault("integer");
  return Item(value);
}

// What 64 bits and 18 places hold.
inline Item decimal(Fraction value) {
  Integer numerator = boost::multiprecision::numerator(value), denominator = boost::multiprecision::denominator(value);
  for (int places = 0; places <= 18; ++places, numerator *= 10)
    if (numerator % denominator == 0) return integer(numerator / denominator), Item(value);
  throw Fault("decimal");
}

// Fractions by their numerators over a common denominator; most numbers are whole, and stay so.
inline int compared_numbers(Item const& a, Item const& b) {
  if (a.index() == 1 && b.index() == 1) return std::get<Integer>(a).compare(std::get<Integer>(b));
  const Fraction left = fraction(a), right = fraction(b);
  return Integer(numerator(left) * denominator(right)).compare(Integer(numerator(right) * denominator(left)));
}

inline int compared(Item const& a, Item const& b) {
  if (is_number(a)) return compared_numbers(a, b);
  if (a.index() == 0) return std::get<bool>(a) - std::get<bool>(b);
  if (a.index() == 3) return std::get<std::string>(a).compare(std::get<std::string>(b));
  if (a.index() == 4) {
    List const &left = *std::get<4>(a), &right = *std::get<4>(b);
    for (std::size_t i = 0; i < left.size() && i < right.size(); ++i)
      if (const int order = compared(left[i], right[i]); order != 0) return order;
    return static_cast<int>(left.size()) - static_cast<int>(right.size());
  }
  auto left = std::get<5>(a)->begin(), right = std::get<5>(b)->begin();
  for (; left != std::get<5>(a)->end() && right != std::get<5>(b)->end(); ++left, ++right) {
    if (const int names = left->first.compare(right->first); names != 0) return names;
    if (const int order = compared(left->second, right->second); order != 0) return order;
  }
  return (left != std::get<5>(a)->end()) - (right != std::get<5>(b)->end());
}

/// A scalar as users see it.
inline std::string shown(Item const& item) {
  if (item.index() == 0) return std::get<bool>(item) ? "true" : "false";
  if (item.index() == 3) return std::get<std::string>(item);
  if (item.index() == 1) return std::get<Integer>(item).str();
  Integer up = boost::multiprecision::numerator(std::get<Fraction>(item));
  const Integer down = boost::multiprecision::denominator(std::get<Fraction>(item));
  std::size_t places = 0;
  for (; up % down != 0; ++places) up *= 10;
  std::string digits = Integer(abs(up / down)).str();
  if (digits.size() <= places) digits.insert(0, places + 1 - digits.size(), '0');
  if (places > 0) digits.insert(digits.size() - places, ".");
  return (up < 0 ? "-" : "") + digits;
}

/// The number that a text says: an optional sign, digits with at most one point, an optional exponent, and nothing
/// else.
inline std::optional<Fraction> read_number(std::string const& text) {
  std::size_t at = 0, digits = 0;
  const auto is_digit = [&] { return at < text.size() && text[at] >= '0' && text[at] <= '9'; };
  if (text.size() > 100) return std::nullopt;
  const bool is_negative = !text.empty() && text[0] == '-';
  if (is_negative || (!text.empty() && text[0] == '+')) ++at;
  Fraction value = 0, unit = 1;
  for (; is_digit(); ++at, ++digits) value = value * 10 + (text[at] - '0');
  if (at < text.size() && text[at] == '.')
    for (++at; is_digit(); ++at, ++digits) value += (text[at] - '0') * (unit /= 10);
  if (digits == 0) return std::nullopt;
  if (at < text.size()) {
    if (text[at] != 'e' && text[at] != 'E') return std::nullopt;
    ++at;
    const bool is_small = at < text.size() && text[at] == '-';
    if (at < text.size() && (text[at] == '-' || text[at] == '+')) ++at;
    if (!is_digit()) return std::nullopt;
    int exponent = 0;
    for (; is_digit(); ++at) exponent = std::min(exponent * 10 + (text[at] - '0'), 1000);
    if (at < text.size()) return std::nullopt;
    if (value != 0 && exponent > 36) return std::nullopt;
    for (; exponent > 0; --exponent) value *= is_small ? Fraction(1, 10) : Fraction(10);
  }
  if (is_negative) value = -value;
  try {
    return fraction(decimal(value));
  } catch (Fault const&) {
    return std::nullopt;
  }
}

/// To the nearest of so many places, halves away from zero.
inline Item rounded(Fraction const& value, Item const* places) {
  Integer unit = 1;
  const Integer count = places == nullptr ? Integer(0) : std::get<Integer>(*places);
  if (count < 0 || count > 18) throw Fault("places");
  for (Integer i = 0; i < count; ++i) unit *= 10;
  const Fraction scaled = abs(value) * unit + Fraction(1, 2);
  const Integer whole = boost::multiprecision::numerator(scaled) / boost::multiprecision::denominator(scaled);
  return decimal(Fraction(value < 0 ? Integer(-whole) : whole, unit));
}

/// What is seen of the places of a tree while it is read again and again: of a truth whether it was true (1) and false
/// (2).
using SeenTruths = std::vector<unsigned char>;

class Reader {
 public:
  /// The rows that are being read, outermost first: variables with their labels.
  using Rows = std::vector<std::pair<std::string, std::string>>;

  /// What stands behind a place of the tree: a name that is not the tree's own, or a call that is no function. Names
  /// within rows have their variables in braces.
  using Outside = std::function<std::optional<Item>(std::uint32_t place, Rows const& rows)>;

  /// What a function gives that is not the language's own; nothing for an unknown one.
  using Host = std::function<std::optional<Item>(std::string const& function, List const& arguments)>;

  Reader(kdi::cores::Syntax const& syntax, Outside outside, SeenTruths* seen = nullptr, Host host = nullptr)
      : syntax_(syntax), outside_(std::move(outside)), seen_(seen), host_(std::move(host)) {}
  Reader(kdi::cores::Syntax const& syntax, std::map<std::string, Item> const& values)
      : Reader(syntax, [&](std::uint32_t place, Rows const& rows) -> std::optional<Item> {
          if (syntax.at(place).form == kdi::cores::Form::call) return std::nullopt;
          return values.at(in_rows(syntax.at(place).word, rows));
        }) {}

  Item whole() { return of(syntax_.root); }

  /// The name with the labels of the rows in place of their variables.
  static std::string in_rows(std::string name, Rows const& rows) {
    for (auto const& [variable, label] : rows) {
      const std::string braced = "{" + variable + "}";
      while (name.find(braced) != std::string::npos) name.replace(name.find(braced), braced.size(), label);
    }
    return name;
  }

 private:
  using Form = kdi::cores::Form;

  bool truth(std::uint32_t number) { return std::get<bool>(of(number)); }

  Item of(std::uint32_t number) {
    Item item = read(number);
    if (seen_ != nullptr && item.index() == 0) (*seen_)[number] |= std::get<bool>(item) ? 1 : 2;
    return item;
  }

  Item read(std::uint32_t number) {
    kdi::cores::Expression const& node = syntax_.at(number);
    kdi::cores::Parts const& parts = node.parts;
    switch (node.form) {
      case Form::literal:
        return literal(node.value);
      case Form::name:
        for (auto own = own_.rbegin(); own != own_.rend(); ++own)
          if (*own->first == node.word) return own->second;
        return outside_(number, rows_).value();
      case Form::negate: {
        const Item item = of(parts[0]);
        return item.index() == 1 ? integer(-std::get<Integer>(item)) : decimal(-std::get<Fraction>(item));
      }
      case Form::arithmetic:
        return arithmetic(node.word, of(parts[0]), of(parts[1]));
      case Form::compare: {
        const Item a = of(parts[0]), b = of(parts[1]);
        const int order = compared(a, b);
        if (node.word == "==") return order == 0;
        if (node.word == "!=") return order != 0;
        if (node.word == "<") return order < 0;
        if (node.word == "<=") return order <= 0;
        if (node.word == ">") return order > 0;
        return order >= 0;
      }
      case Form::within: {
        const Item sought = of(parts[0]), range = of(parts[1]);
        if (range.index() == 5) return std::get<5>(range)->count(std::get<std::string>(sought)) != 0;
        List const& list = *std::get<4>(range);
        return std::any_of(list.begin(), list.end(), [&](Item const& item) { return compared(item, sought) == 0; });
      }
      case Form::not_:
        return !truth(parts[0]);
      case Form::and_:
        for (const std::uint32_t part : parts)
          if (!truth(part)) return false;
        return true;
      case Form::or_:
        for (const std::uint32_t part : parts)
          if (truth(part)) return true;
        return false;
      case Form::conditional:
        return truth(parts[0]) ? of(parts[1]) : of(parts[2]);
      case Form::let:
        return with(node.word, of(parts[0]), [&] { return of(parts[1]); });
      case Form::list: {
        auto list = std::make_shared<List>();
        for (const std::uint32_t part : parts) list->push_back(of(part));
        return list;
      }
      case Form::dictionary: {
        auto map = std::make_shared<Map>();
        for (std::size_t i = 0; i < parts.size(); i += 2) {
          const Item name = of(parts[i]);
          (*map)[std::get<std::string>(name)] = of(parts[i + 1]);
        }
        return map;
      }
      case Form::index: {
        const Item range = of(parts[0]), at = of(parts[1]);
        if (range.index() == 5) {
          const auto found = std::get<5>(range)->find(std::get<std::string>(at));
          if (found == std::get<5>(range)->end()) throw Fault("key");
          return found->second;
        }
        List const& list = *std::get<4>(range);
        Integer const& index = std::get<Integer>(at);
        if (index < 0 || index >= list.size()) throw Fault("index");
        return list[static_cast<std::size_t>(index)];
      }
      case Form::loop:
        return loop(node);
      case Form::rows:
        return rows(node);
      case Form::call:
        return call(number, node);
    }
    throw std::logic_error("no such form");
  }

  static Item literal(kdi::cores::Value const& value) {
    const kdi::cores::Cell cell = value.cell();
    switch (cell.kind()) {
      case kdi::cores::Kind::truth:
        return cell.truth();
      case kdi::cores::Kind::integer:
        return Integer(cell.integer());
      case kdi::cores::Kind::decimal: {
        Integer unit = 1;
        for (int i = 0; i < cell.decimal().places(); ++i) unit *= 10;
        return Fraction(Integer(cell.decimal().mantissa()), unit);
      }
      default:
        return cell.text();
    }
  }

  static Item arithmetic(std::string const& sign, Item const& a, Item const& b) {
    if (a.index() == 3) return std::get<std::string>(a) + std::get<std::string>(b);
    if (a.index() == 4) {
      auto list = std::make_shared<List>(*std::get<4>(a));
      list->insert(list->end(), std::get<4>(b)->begin(), std::get<4>(b)->end());
      return list;
    }
    if (sign == "div" || sign == "mod") {
      Integer const &left = std::get<Integer>(a), &right = std::get<Integer>(b);
      if (right == 0) throw Fault("zero");
      Integer quotient = left / right;
      if (quotient * right != left && (left < 0) != (right < 0)) --quotient;
      return integer(sign == "div" ? quotient : Integer(left - quotient * right));
    }
    if (a.index() == 1 && b.index() == 1) return integer(calculated(sign, std::get<Integer>(a), std::get<Integer>(b)));
    return decimal(calculated(sign, fraction(a), fraction(b)));
  }

  template <class Number>
  static Number calculated(std::string const& sign, Number const& left, Number const& right) {
    if (sign == "+") return left + right;
    return sign == "-" ? Number(left - right) : Number(left * right);
  }

  // What a loop or rows come to, element by element.
  struct Gathered {
    std::shared_ptr<List> list = std::make_shared<List>();
    Integer count = 0;
    Item sum = Integer(0);
    bool leave = false, answer = false;
  };

  void gather(kdi::cores::Expression const& node, bool has_condition, Gathered& all) {
    if (has_condition && !truth(node.parts[1])) return;
    const Item body = of(node.parts.back());
    if (node.operation == "list") all.list->push_back(body);
    if (node.operation == "sum") all.sum = arithmetic("+", all.sum, body);
    if (node.operation == "count" && std::get<bool>(body)) ++all.count;
    if (node.operation == "any") all.leave = all.answer = std::get<bool>(body);
    if (node.operation == "all") all.leave = !std::get<bool>(body);
  }

  static Item outcome(std::string const& operation, Gathered const& all) {
    if (all.leave) return all.answer;
    if (operation == "list") return all.list;
    if (operation == "sum") return all.sum;
    if (operation == "count") return all.count;
    return operation == "all";
  }

  Item loop(kdi::cores::Expression const& node) {
    const Item range = of(node.parts[0]);
    Gathered all;
    for (Item const& element : *std::get<4>(range)) {
      with(node.word, element, [&]() -> Item {
        gather(node, node.parts.size() > 2, all);
        return false;
      });
      if (all.leave) break;
    }
    return outcome(node.operation, all);
  }

  // The body as it is written, with the labels in its names; what the parser made of the rows is not looked at.
  Item rows(kdi::cores::Expression const& node) {
    Gathered all;
    for (std::string const& label : labels(node.value.cell().text())) {
      const bool is_whole = label == "0" || (label[0] != '0' && label.find_first_not_of("0123456789") == label.npos);
      rows_.emplace_back(node.word, label);
      with(node.word, is_whole ? Item(Integer(label)) : Item(label), [&]() -> Item {
        gather(node, node.parts.size() > 2, all);
        return false;
      });
      rows_.pop_back();
      if (all.leave) break;
    }
    return outcome(node.operation, all);
  }

  // Of `{a..b}` and `{A,B}`.
  static std::vector<std::string> labels(std::string const& pattern) {
    std::vector<std::string> all;
    const std::string inner = pattern.substr(1, pattern.size() - 2);
    if (const std::size_t dots = inner.find(".."); dots != std::string::npos) {
      for (int i = std::stoi(inner); i <= std::stoi(inner.substr(dots + 2)); ++i) all.push_back(std::to_string(i));
      return all;
    }
    for (std::size_t at = 0, end = 0; end != std::string::npos; at = end + 1) {
      end = inner.find(',', at);
      all.push_back(inner.substr(at, end == std::string::npos ? end : end - at));
    }
    return all;
  }

  Item call(std::uint32_t number, kdi::cores::Expression const& node) {
    if (std::optional<Item> other = outside_(number, rows_)) return *std::move(other);
    List arguments;
    for (const std::uint32_t part : node.parts) arguments.push_back(of(part));
    if (host_)
      if (std::optional<Item> item = host_(node.word, arguments)) return *std::move(item);
    if (node.word == "length") {
      if (arguments[0].index() == 3) return Integer(std::get<std::string>(arguments[0]).size());
      if (arguments[0].index() == 4) return Integer(std::get<4>(arguments[0])->size());
      return Integer(std::get<5>(arguments[0])->size());
    }
    if (node.word == "min" || node.word == "max") {
      Item best = arguments[0];
      for (Item const& item : arguments)
        if (node.word == "min" ? compared(item, best) < 0 : compared(item, best) > 0) best = item;
      return best;
    }
    if (node.word == "floor" || node.word == "ceil") {
      const Fraction value = fraction(arguments[0]);
      const Integer up = boost::multiprecision::numerator(value), down = boost::multiprecision::denominator(value);
      Integer whole = up / down;
      if (whole * down != up && (up < 0) == (node.word == "floor")) whole += node.word == "floor" ? -1 : 1;
      return integer(whole);
    }
    if (node.word == "reversed") {
      auto list = std::make_shared<List>(*std::get<4>(arguments[0]));
      std::reverse(list->begin(), list->end());
      return list;
    }
    if (node.word == "numbers") {
      auto list = std::make_shared<List>();
      for (Integer i = std::get<Integer>(arguments[0]); i <= std::get<Integer>(arguments[1]); ++i) {
        list->push_back(i);
        if (list->size() > 100'000) throw Fault("list");
      }
      return list;
    }
    if (node.word == "concatenated") {
      std::string text;
      for (Item const& item : arguments) text += shown(item);
      return text;
    }
    if (const auto item = of_texts(node.word, arguments)) return *item;
    if (const auto item = of_lists(node.word, arguments)) return *item;
    return of_numbers(node.word, arguments);
  }

  static std::optional<Item> of_texts(std::string const& function, List const& arguments) {
    if (arguments[0].index() != 3) return std::nullopt;
    std::string const& text = std::get<std::string>(arguments[0]);
    const auto other = [&](std::size_t number) -> std::string const& {
      return std::get<std::string>(arguments[number]);
    };
    if (function == "starts_with") return text.rfind(other(1), 0) == 0;
    if (function == "ends_with")
      return text.size() >= other(1).size() && text.substr(text.size() - other(1).size()) == other(1);
    if (function == "contains") return text.find(other(1)) != std::string::npos;
    if (function == "is_number") return read_number(text).has_value();
    if (function == "number") {
      const auto number = read_number(text);
      return number ? Item(*number) : Item(fraction(arguments[1]));
    }
    if (function == "lower" || function == "upper") {
      std::string changed = text;
      for (char& c : changed) {
        if (function == "lower" && c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
        if (function == "upper" && c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
      }
      return changed;
    }
    if (function == "replace") {
      if (other(1).empty()) return text;
      std::string changed;
      for (std::size_t at = 0; at < text.size();) {
        const bool is_here = text.compare(at, other(1).size(), other(1)) == 0;
        changed += is_here ? other(2) : text.substr(at, 1);
        at += is_here ? other(1).size() : 1;
      }
      return changed;
    }
    if (function == "part") {
      std::string part;
      Integer const &first = std::get<Integer>(arguments[1]), &count = std::get<Integer>(arguments[2]);
      const Integer begin = first < 0 ? Integer(0) : first;
      for (std::size_t i = 0; i < text.size(); ++i)
        if (i >= begin && i - begin < count) part += text[i];
      return part;
    }
    if (function == "split") {
      auto list = std::make_shared<List>();
      if (other(1).empty()) throw Fault("separator");
      if (text.empty()) return list;
      std::string rest = text;
      for (std::size_t at = rest.find(other(1)); at != std::string::npos; at = rest.find(other(1))) {
        list->push_back(rest.substr(0, at));
        rest.erase(0, at + other(1).size());
      }
      list->push_back(rest);
      return list;
    }
    return std::nullopt;
  }

  static std::optional<Item> of_lists(std::string const& function, List const& arguments) {
    if (arguments[0].index() == 5) {
      Map const& map = *std::get<5>(arguments[0]);
      auto list = std::make_shared<List>();
      if (function == "get") {
        const auto found = map.find(std::get<std::string>(arguments[1]));
        return found == map.end() ? arguments[2] : found->second;
      }
      for (auto const& [key, value] : map) list->push_back(function == "keys" ? Item(key) : value);
      return list;
    }
    if (arguments[0].index() != 4) return std::nullopt;
    List const& all = *std::get<4>(arguments[0]);
    if (function == "index_of") {
      for (std::size_t i = 0; i < all.size(); ++i)
        if (compared(all[i], arguments[1]) == 0) return Integer(i);
      return Integer(-1);
    }
    if (function == "join") {
      std::string text;
      for (std::size_t i = 0; i < all.size(); ++i)
        text += (i == 0 ? "" : std::get<std::string>(arguments[1])) + std::get<std::string>(all[i]);
      return text;
    }
    auto list = std::make_shared<List>();
    for (Item const& item : all)
      if (function != "distinct" ||
          std::none_of(list->begin(), list->end(), [&](Item const& known) { return compared(known, item) == 0; }))
        list->push_back(item);
    if (function == "sorted")
      std::stable_sort(list->begin(), list->end(), [](Item const& a, Item const& b) { return compared(a, b) < 0; });
    return list;
  }

  static Item of_numbers(std::string const& function, List const& arguments) {
    if (function == "text") return shown(arguments[0]);
    Item const* const second = arguments.size() > 1 ? &arguments[1] : nullptr;
    if (function == "abs") {
      if (arguments[0].index() == 1) return integer(abs(std::get<Integer>(arguments[0])));
      return decimal(abs(fraction(arguments[0])));
    }
    if (function == "round") return rounded(fraction(arguments[0]), second);
    if (function == "quotient") {
      if (fraction(*second) == 0) throw Fault("zero");
      return rounded(fraction(arguments[0]) / fraction(*second), arguments.size() > 2 ? &arguments[2] : nullptr);
    }
    if (function == "integer") {
      const Fraction value = fraction(arguments[0]);
      if (boost::multiprecision::denominator(value) != 1) throw Fault("fraction");
      return boost::multiprecision::numerator(value);
    }
    if (function == "power_of_two") {
      Integer const& exponent = std::get<Integer>(arguments[0]);
      if (exponent < 0 || exponent > 62) throw Fault("exponent");
      return Integer(1) << static_cast<unsigned>(exponent);
    }
    if (function == "hex") {
      Integer rest = std::get<Integer>(arguments[0]);
      const Integer digits = second == nullptr ? Integer(1) : std::get<Integer>(*second);
      if (rest < 0 || digits < 1 || digits > 16) throw Fault("hex");
      std::string text;
      for (; rest != 0 || text.size() < digits; rest /= 16)
        text = "0123456789abcdef"[static_cast<std::size_t>(rest % 16)] + text;
      return text;
    }
    throw std::logic_error("no reading of " + function);
  }

  template <class Use>
  Item with(std::string const& name, Item value, Use use) {
    own_.emplace_back(&name, std::move(value));
    const struct Back {
      Reader& reader;
      ~Back() { reader.own_.pop_back(); }
    } back{*this};
    return use();
  }

  kdi::cores::Syntax const& syntax_;
  Outside outside_;
  SeenTruths* seen_;
  Host host_;
  std::vector<std::pair<std::string const*, Item>> own_;  // names of the tree, the innermost last
  Rows rows_;
};

}  // namespace plain_rules
