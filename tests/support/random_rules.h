// Well-typed rules at random, and values for what they read.
#pragma once

#include <algorithm>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "kdi/cores/Rule.h"
#include "tests/support/plain_rules.h"

namespace plain_rules {

using namespace kdi::cores;

inline const Type kIntegers = *Type::list_of(Kind::integer);
inline const Type kTexts = *Type::list_of(Kind::text);
inline const Type kPrices = *Type::dictionary_of(Kind::decimal);
inline constexpr char const* kLeastInteger = "-9223372036854775808";

class RandomRules {
 public:
  /// Rules read parameters of these names and types.
  using Names = std::vector<std::pair<std::string, Type>>;

  RandomRules(std::uint64_t seed, Names names) : random_(seed), names_(std::move(names)) {}

  void add_name(std::string name, Type type) { names_.emplace_back(std::move(name), type); }
  std::uint64_t below(std::uint64_t bound) { return random_() % bound; }

  std::string of(Type type, int depth) {
    if (depth <= 0 || below(6) == 0) return leaf(type);
    switch (below(4)) {
      case 0:
        return "(if " + of(Kind::truth, depth - 1) + " then " + of(type, depth - 1) + " else " + of(type, depth - 1) +
               ")";
      case 1: {
        const std::string name = "x" + std::to_string(locals_.size());
        const Type bound = any_type();
        const std::string value = of(bound, depth - 1);
        locals_.push_back({name, bound});
        const std::string body = of(type, depth - 1);
        locals_.pop_back();
        return "(let " + name + " = " + value + "; " + body + ")";
      }
      default:
        return own(type, depth - 1);
    }
  }

  Value value(Type type) {
    switch (type.kind()) {
      case Kind::truth:
        return Value(below(2) == 0);
      case Kind::integer:
        return Value(number());
      case Kind::decimal:
        return Value(Decimal::of(number(), static_cast<int>(below(7))));
      case Kind::text:
        return Value(word());
      case Kind::list: {
        std::vector<Value> elements;
        for (std::uint64_t i = below(4); i > 0; --i) elements.push_back(value(type.element()));
        return Value::list(elements);
      }
      default: {
        std::map<std::string, Value> entries;
        for (std::uint64_t i = below(4); i > 0; --i) entries.emplace(word(), value(type.element()));
        return Value::dictionary(entries);
      }
    }
  }

  Type any_type() {
    constexpr Kind kKinds[] = {Kind::truth, Kind::integer, Kind::decimal, Kind::text};
    const std::uint64_t at = below(7);
    return at < 4 ? Type(kKinds[at]) : at == 4 ? kIntegers : at == 5 ? kTexts : kPrices;
  }

 private:
  std::string one_of(std::initializer_list<char const*> words) { return words.begin()[below(words.size())]; }
  std::string word() { return one_of({"", "a", "ab", "b", "it's"}); }

  // Mostly small; at times near the ends of the range.
  std::int64_t number() {
    if (below(12) == 0) return static_cast<std::int64_t>(random_()) >> below(8);
    return static_cast<std::int64_t>(below(21)) - 10;
  }

  std::string literal(Type type) {
    std::string text = value(type).text();
    if (type == Type(Kind::text)) {
      std::string quoted = "'";
      for (const char c : text) quoted += c == '\'' ? std::string("''") : std::string(1, c);
      return quoted + "'";
    }
    if (type == Type(Kind::decimal) && text.find('.') == std::string::npos) text += ".0";
    return text == kLeastInteger ? "0" : text;  // which has no positive twin to put a minus before
  }

  std::string leaf(Type type) {
    std::vector<std::string> names;
    for (auto const& [name, known] : names_)
      if (known == type) names.push_back(name);
    for (auto const& [name, bound] : locals_)
      if (bound == type) names.push_back(name);
    if (!type.is_container() && (names.empty() || below(3) == 0)) return "(" + literal(type) + ")";
    if (names.empty())
      return type.kind() == Kind::list ? "[" + leaf(type.element()) + "]" : "{'a': " + leaf(type.element()) + "}";
    return names[below(names.size())];
  }

  std::string two(Type type, std::string const& sign, int depth) {
    return "(" + of(type, depth) + " " + sign + " " + of(type, depth) + ")";
  }

  std::string own(Type type, int depth) {
    switch (type.kind()) {
      case Kind::truth:
        return truth(depth);
      case Kind::integer:
        switch (below(7)) {
          case 0:
            return "length(" + of(one_type({kIntegers, kTexts, kPrices, Type(Kind::text)}), depth) + ")";
          case 1:
            return one_of({"floor(", "ceil("}) + of(Kind::decimal, depth) + ")";
          case 2:
            return below(2) == 0   ? loop(one_of({"sum", "count"}), depth)
                   : below(2) == 0 ? rows("count", Kind::truth, depth)
                                   : rows("sum", Kind::integer, depth);
          case 3:
            return "(" + of(kIntegers, depth) + ")[" + of(Kind::integer, depth) + "]";
          case 4:
            return "-" + of(Kind::integer, depth);
          default:
            return two(Kind::integer, one_of({"+", "-", "*", "div", "mod"}), depth);
        }
      case Kind::decimal:
        switch (below(6)) {
          case 5:
            return rows("sum", Kind::decimal, depth);
          case 0:
            return "(" + of(Kind::integer, depth) + " " + one_of({"+", "-", "*"}) + " " + of(Kind::decimal, depth) +
                   ")";
          case 1:
            return "(" + of(kPrices, depth) + ")[" + of(Kind::text, depth) + "]";
          case 2:
            return one_of({"min(", "max("}) + of(Kind::decimal, depth) + ", " + of(Kind::integer, depth) + ")";
          default:
            return two(Kind::decimal, one_of({"+", "-", "*"}), depth);
        }
      case Kind::text:
        return below(3) == 0 ? "(" + of(kTexts, depth) + ")[" + of(Kind::integer, depth) + "]"
                             : two(Kind::text, "+", depth);
      case Kind::list:
        return list(type, depth);
      default:
        return "{" + of(Kind::text, depth) + ": " + of(Kind::integer, depth) + ", " + of(Kind::text, depth) + ": " +
               of(Kind::decimal, depth) + "}";
    }
  }

  Type one_type(std::initializer_list<Type> types) { return types.begin()[below(types.size())]; }

  std::string truth(int depth) {
    switch (below(6)) {
      case 0:
        return "(not " + of(Kind::truth, depth) + ")";
      case 1:
        return "(" + of(Kind::truth, depth) + " and " + of(Kind::truth, depth) + " and " + of(Kind::truth, depth) + ")";
      case 2:
        return "(" + of(Kind::truth, depth) + " or " + of(Kind::truth, depth) + ")";
      case 3:
        return below(2) == 0 ? "(" + of(Kind::text, depth) + " in " + of(one_type({kTexts, kPrices}), depth) + ")"
                             : "(" + of(Kind::integer, depth) + " not in " + of(kIntegers, depth) + ")";
      case 4:
        return below(2) == 0 ? loop(one_of({"any", "all"}), depth) : rows(one_of({"any", "all"}), Kind::truth, depth);
      default:
        return compare(depth);
    }
  }

  std::string compare(int depth) {
    const Type type = any_type();
    if (type.is_container()) return two(type, one_of({"==", "!="}), depth);
    return two(type, one_of({"==", "!=", "<", "<=", ">", ">="}), depth);
  }

  std::string list(Type type, int depth) {
    const Type element = type.element();
    switch (below(5)) {
      case 4:
        return rows("list", element, depth);
      case 0:
        return "[" + of(element, depth) + ", " + of(element, depth) + "]";
      case 1:
        return "reversed(" + of(type, depth) + ")";
      case 2:
        return two(type, "+", depth);
      default: {
        const std::string name = "x" + std::to_string(locals_.size());
        const Type from = one_type({kIntegers, kTexts});
        std::string text = "list(" + name + " in " + of(from, depth);
        locals_.push_back({name, from.element()});
        if (below(2) == 0) text += " if " + of(Kind::truth, depth);
        text += ": " + of(element, depth) + ")";
        locals_.pop_back();
        return text;
      }
    }
  }

  std::string loop(std::string const& operation, int depth) {
    const std::string name = "x" + std::to_string(locals_.size());
    std::string text = operation + "(" + name + " in " + of(kIntegers, depth);
    locals_.push_back({name, Kind::integer});
    if (below(2) == 0) text += " if " + of(Kind::truth, depth);
    text += ": " + of(operation == "sum" ? Type(Kind::integer) : Type(Kind::truth), depth) + ")";
    locals_.pop_back();
    return text;
  }

  // Over names that differ in a last 0 and 1 alone.
  std::string rows(std::string const& operation, Type body, int depth) {
    const std::size_t outer = locals_.size();
    const std::string row = "x" + std::to_string(outer);
    std::string text = operation + "(" + row + " in " + one_of({"{0..1}", "{1,0}", "{0..0}"});
    locals_.emplace_back(row, Kind::integer);
    for (auto const& [name, type] : names_) {
      const std::string stem = name.substr(0, name.size() - 1);
      const std::pair<std::string, Type> twin(stem + "1", type);
      if (name == stem + "0" && std::find(names_.begin(), names_.end(), twin) != names_.end())
        locals_.emplace_back(stem + "{" + row + "}", type);
    }
    if (below(2) == 0) text += " if " + of(Kind::truth, depth);
    text += ": " + of(body, depth) + ")";
    locals_.resize(outer, {"", Kind::truth});
    return text;
  }

  std::mt19937_64 random_;
  Names names_;
  Names locals_;
};

/// The same value for the plain reading.
inline Item item_of(Cell cell) {
  switch (cell.kind()) {
    case Kind::truth:
      return cell.truth();
    case Kind::integer:
      return Integer(cell.integer());
    case Kind::decimal: {
      Integer unit = 1;
      for (int i = 0; i < cell.decimal().places(); ++i) unit *= 10;
      return Fraction(Integer(cell.decimal().mantissa()), unit);
    }
    case Kind::text:
      return cell.text();
    case Kind::list: {
      auto list = std::make_shared<List>();
      for (const Cell element : cell.elements()) list->push_back(item_of(element));
      return list;
    }
    default: {
      auto map = std::make_shared<Map>();
      for (auto const& [name, value] : cell.entries()) map->emplace(name, item_of(value));
      return map;
    }
  }
}

}  // namespace plain_rules
