// A second reading of rules, from the parsed tree alone: slow, plain, with numbers of any size, and nothing compiled.
// What it does not share with the library is everything behind the parser.
#pragma once

#include <algorithm>
#include <boost/multiprecision/cpp_int.hpp>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <variant>
#include <vector>

#include "platform/cores/syntax.h"

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
  if (value > Integer("9223372036854775807") || value < Integer("-9223372036854775808")) throw Fault("integer");
  return Item(value);
}

// What 64 bits and 18 places hold.
inline Item decimal(Fraction value) {
  Integer numerator = boost::multiprecision::numerator(value), denominator = boost::multiprecision::denominator(value);
  for (int places = 0; places <= 18; ++places, numerator *= 10)
    if (numerator % denominator == 0) return integer(numerator / denominator), Item(value);
  throw Fault("decimal");
}

inline int compared(Item const& a, Item const& b) {
  if (is_number(a)) return fraction(a).compare(fraction(b));
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

class Reader {
 public:
  Reader(kdi::cores::Syntax const& syntax, std::map<std::string, Item> values)
      : syntax_(syntax), names_(std::move(values)) {}

  Item whole() { return of(syntax_.root); }

 private:
  using Form = kdi::cores::Form;

  bool truth(std::uint32_t number) { return std::get<bool>(of(number)); }

  Item of(std::uint32_t number) {
    kdi::cores::Expression const& node = syntax_.at(number);
    std::vector<std::uint32_t> const& parts = node.parts;
    switch (node.form) {
      case Form::literal:
        return literal(node.value);
      case Form::name:
        return names_.at(node.word);
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
      case Form::call:
        return call(node);
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
    const Fraction left = fraction(a), right = fraction(b);
    const Fraction result = sign == "+"   ? Fraction(left + right)
                            : sign == "-" ? Fraction(left - right)
                                          : Fraction(left * right);
    return a.index() == 1 && b.index() == 1 ? integer(boost::multiprecision::numerator(result)) : decimal(result);
  }

  Item loop(kdi::cores::Expression const& node) {
    const Item range = of(node.parts[0]);
    auto list = std::make_shared<List>();
    Integer count = 0;
    Item sum = Integer(0);
    for (Item const& element : *std::get<4>(range)) {
      bool leave = false, answer = false;
      with(node.word, element, [&]() -> Item {
        if (node.parts.size() > 2 && !truth(node.parts[1])) return false;
        const Item body = of(node.parts.back());
        if (node.operation == "list") list->push_back(body);
        if (node.operation == "sum") sum = arithmetic("+", sum, body);
        if (node.operation == "count" && std::get<bool>(body)) ++count;
        if (node.operation == "any") leave = answer = std::get<bool>(body);
        if (node.operation == "all") leave = !std::get<bool>(body);
        return false;
      });
      if (leave) return answer;
    }
    if (node.operation == "list") return list;
    if (node.operation == "sum") return sum;
    if (node.operation == "count") return count;
    return node.operation == "all";
  }

  Item call(kdi::cores::Expression const& node) {
    if (node.parts.size() == 1 && syntax_.at(node.parts[0]).form == Form::name) {
      const auto aspect = names_.find(node.word + "(" + syntax_.at(node.parts[0]).word + ")");
      if (aspect != names_.end()) return aspect->second;
    }
    if (node.word == "device") return names_.at("device(" + syntax_.at(node.parts[0]).value.cell().text() + ")");
    List arguments;
    for (const std::uint32_t part : node.parts) arguments.push_back(of(part));
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
      for (Integer i = std::get<Integer>(arguments[0]); i <= std::get<Integer>(arguments[1]); ++i) list->push_back(i);
      return list;
    }
    if (node.word == "concatenated") {
      std::string text;
      for (Item const& item : arguments) text += shown(item);
      return text;
    }
    throw std::logic_error("no reading of " + node.word);
  }

  template <class Use>
  Item with(std::string const& name, Item value, Use use) {
    const auto before = names_.find(name);
    const Item kept = before == names_.end() ? Item(false) : before->second;
    const bool had = before != names_.end();
    names_[name] = std::move(value);
    const struct Back {
      Reader& reader;
      std::string const& name;
      Item const& kept;
      bool had;
      ~Back() {
        if (had)
          reader.names_[name] = kept;
        else
          reader.names_.erase(name);
      }
    } back{*this, name, kept, had};
    return use();
  }

  kdi::cores::Syntax const& syntax_;
  std::map<std::string, Item> names_;
};

}  // namespace plain_rules
