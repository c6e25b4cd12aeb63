// Compiled rules against a plain reading of the same tree: equal values, and faults for the same evaluations.
#include <gtest/gtest.h>

#include <random>

#include "kdi/cores/Rule.h"
#include "tests/support/plain_rules.h"

namespace {

using namespace kdi::cores;
using plain_rules::Item;

struct Parameter {
  char const* name;
  Type type;
};
const Type kIntegers = *Type::list_of(Kind::integer);
const Type kTexts = *Type::list_of(Kind::text);
const Type kPrices = *Type::dictionary_of(Kind::decimal);
const Parameter kParameters[] = {{"B0", Kind::truth},   {"B1", Kind::truth},   {"I0", Kind::integer},
                                 {"I1", Kind::integer}, {"D0", Kind::decimal}, {"D1", Kind::decimal},
                                 {"T0", Kind::text},    {"T1", Kind::text},    {"L0", kIntegers},
                                 {"S0", kTexts},        {"P0", kPrices}};

constexpr char const* kLeastInteger = "-9223372036854775808";

class TestScope : public Scope {
 public:
  std::optional<Symbol> symbol(std::string_view name) const override {
    for (std::uint32_t i = 0; i < std::size(kParameters); ++i)
      if (name == kParameters[i].name) return Symbol{kParameters[i].type, i};
    return std::nullopt;
  }
};

// Well-typed rules at random, and values for what they read.
class Source {
 public:
  explicit Source(std::uint64_t seed) : random_(seed) {}

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
  std::uint64_t below(std::uint64_t bound) { return random_() % bound; }
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
    for (Parameter const& parameter : kParameters)
      if (parameter.type == type) names.push_back(parameter.name);
    for (auto const& [name, bound] : locals_)
      if (bound == type) names.push_back(name);
    if (!type.is_container() && below(3) == 0) return "(" + literal(type) + ")";
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
            return loop(one_of({"sum", "count"}), depth);
          case 3:
            return "(" + of(kIntegers, depth) + ")[" + of(Kind::integer, depth) + "]";
          case 4:
            return "-" + of(Kind::integer, depth);
          default:
            return two(Kind::integer, one_of({"+", "-", "*", "div", "mod"}), depth);
        }
      case Kind::decimal:
        switch (below(5)) {
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
        return loop(one_of({"any", "all"}), depth);
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
    switch (below(4)) {
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

  std::mt19937_64 random_;
  std::vector<std::pair<std::string, Type>> locals_;
};

Item item_of(Cell cell) {
  switch (cell.kind()) {
    case Kind::truth:
      return cell.truth();
    case Kind::integer:
      return plain_rules::Integer(cell.integer());
    case Kind::decimal: {
      plain_rules::Integer unit = 1;
      for (int i = 0; i < cell.decimal().places(); ++i) unit *= 10;
      return plain_rules::Fraction(plain_rules::Integer(cell.decimal().mantissa()), unit);
    }
    case Kind::text:
      return cell.text();
    case Kind::list: {
      auto list = std::make_shared<plain_rules::List>();
      for (const Cell element : cell.elements()) list->push_back(item_of(element));
      return list;
    }
    default: {
      auto map = std::make_shared<plain_rules::Map>();
      for (auto const& [name, value] : cell.entries()) map->emplace(name, item_of(value));
      return map;
    }
  }
}

// What a rule comes to, one way and the other; nothing for a fault.
template <class Evaluate>
std::optional<Item> outcome(Evaluate evaluate) {
  try {
    return evaluate();
  } catch (RuleFault const&) {
    return std::nullopt;
  } catch (plain_rules::Fault const&) {
    return std::nullopt;
  }
}

TEST(RuleTruth, CompiledRulesAgreeWithAPlainReading) {
  constexpr int kRules = 4000, kEvaluations = 6;
  const TestScope scope;
  Machine machine;
  int faults = 0, truths[2] = {};
  for (std::uint64_t seed = 1; seed <= kRules; ++seed) {
    Source source(seed);
    const Type type = source.any_type();
    const std::string text = source.of(type, 4);
    SCOPED_TRACE("seed " + std::to_string(seed) + ": " + text);
    const Rule rule = Rule::compile(text, scope, type);
    const Syntax syntax = parse(text);
    // The plainest form is another way to write the same tree.
    const std::string written = rule.written();
    ASSERT_EQ(Rule::compile(written, scope, type).written(), written);
    const Syntax again = parse(written);
    for (int i = 0; i < kEvaluations; ++i) {
      std::vector<Value> values;
      std::vector<Cell> slots;
      std::map<std::string, Item> items;
      for (Parameter const& parameter : kParameters) {
        values.push_back(source.value(parameter.type));
        slots.push_back(values.back().cell());
        items.emplace(parameter.name, item_of(slots.back()));
      }
      const auto compiled = outcome([&] { return item_of(machine.run(rule, slots).cell()); });
      for (Syntax const* tree : {&syntax, &again}) {
        const auto plain = outcome([&] { return plain_rules::Reader(*tree, items).whole(); });
        ASSERT_EQ(compiled.has_value(), plain.has_value());
        if (compiled) {
          ASSERT_EQ(plain_rules::compared(*compiled, *plain), 0);
        }
      }
      if (!compiled) ++faults;
      if (compiled && type == Type(Kind::truth)) ++truths[std::get<bool>(*compiled)];
    }
  }
  // The run saw values and faults, truths of both kinds.
  EXPECT_GT(faults, kRules * kEvaluations / 50);
  EXPECT_LT(faults, kRules * kEvaluations / 2);
  EXPECT_GT(truths[0], 500);
  EXPECT_GT(truths[1], 500);
}

}  // namespace
