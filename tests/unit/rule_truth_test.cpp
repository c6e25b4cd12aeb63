// Compiled rules against a plain reading of the same tree: equal values, and faults for the same evaluations.
#include <gtest/gtest.h>

#include "platform/cores/rules/code.h"
#include "platform/cores/rules/shape.h"
#include "tests/support/random_rules.h"
#include "tests/support/sanitized.h"

namespace {

using namespace kdi::cores;
using plain_rules::Item;

const plain_rules::RandomRules::Names kParameters = {
    {"B0", Kind::truth},         {"B1", Kind::truth},         {"I0", Kind::integer},
    {"I1", Kind::integer},       {"D0", Kind::decimal},       {"D1", Kind::decimal},
    {"T0", Kind::text},          {"T1", Kind::text},          {"L0", plain_rules::kIntegers},
    {"S0", plain_rules::kTexts}, {"P0", plain_rules::kPrices}};

class TestScope : public Scope {
 public:
  std::optional<Symbol> symbol(std::string_view name) const override {
    for (std::uint32_t i = 0; i < kParameters.size(); ++i)
      if (name == kParameters[i].first) return Symbol{kParameters[i].second, i};
    return std::nullopt;
  }
};

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
  constexpr int kRules = test_support::kSanitized ? 1000 : 4000, kEvaluations = 6;
  const TestScope scope;
  Machine machine;
  int faults = 0, truths[2] = {};
  for (std::uint64_t seed = 1; seed <= kRules; ++seed) {
    plain_rules::RandomRules source(seed, kParameters);
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
      for (auto const& [name, parameter] : kParameters) {
        values.push_back(source.value(parameter));
        slots.push_back(values.back().cell());
        items.emplace(name, plain_rules::item_of(slots.back()));
      }
      const auto compiled = outcome([&] { return plain_rules::item_of(machine.run(rule, slots).cell()); });
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
  EXPECT_GT(truths[0], kRules / 8);
  EXPECT_GT(truths[1], kRules / 8);
}

// The rule of the second of two parameters wherever it is of the first.
std::string of_the_second(std::string text) {
  for (char const* const name : {"B0", "I0", "D0", "T0"})
    for (std::size_t at = 0; (at = text.find(name, at)) != std::string::npos;) text[++at] = '1';
  return text;
}

// A compiler that has met the shape of a rule makes the same of it as one that has not.
TEST(RuleTruth, RulesOfOneShapeAreAsIfAlone) {
  constexpr int kRules = test_support::kSanitized ? 500 : 4000, kEvaluations = 4;
  const TestScope scope;
  Compiler met;
  Machine machine;
  ShapeReader shapes;
  std::map<std::string, std::set<std::string>> texts;  // by shape
  for (std::uint64_t seed = 1; seed <= kRules; ++seed) {
    plain_rules::RandomRules source(seed, kParameters);
    const Type type = source.any_type();
    const std::string first = source.of(type, 3);
    for (std::string const& text : {first, of_the_second(first)}) {
      SCOPED_TRACE("seed " + std::to_string(seed) + ": " + text);
      if (const auto shape = shapes.read(text, Writing::expression, scope, type))
        texts[std::string(*shape)].insert(text);
      const std::string message = "rule " + std::to_string(seed) + ": {" + text + "}, {{" + text.substr(0, 1) + "}}";
      const bool is_said = !type.is_container();
      const Rule known[] = {Rule::compile(text, scope, type, met),
                            Rule::compile_template(is_said ? message : "none", scope, met)};
      const Rule alone[] = {Rule::compile(text, scope, type),
                            Rule::compile_template(is_said ? message : "none", scope)};
      for (int i = 0; i < kEvaluations; ++i) {
        std::vector<Value> values;
        std::vector<Cell> slots;
        for (auto const& [name, parameter] : kParameters) {
          values.push_back(source.value(parameter));
          slots.push_back(values.back().cell());
        }
        for (int which = 0; which < 2; ++which) {
          const auto run = [&](Rule const& rule) {
            return outcome([&] { return plain_rules::item_of(machine.run(rule, slots).cell()); });
          };
          const auto one = run(known[which]), other = run(alone[which]);
          ASSERT_EQ(one.has_value(), other.has_value());
          if (one) {
            ASSERT_EQ(plain_rules::compared(*one, *other), 0);
          }
        }
      }
      for (int which = 0; which < 2; ++which) {
        EXPECT_EQ(known[which].written(), alone[which].written());
        EXPECT_TRUE(std::equal(known[which].reads().begin(), known[which].reads().end(), alone[which].reads().begin(),
                               alone[which].reads().end()));
        EXPECT_NEAR(static_cast<double>(known[which].bytes()), static_cast<double>(alone[which].bytes()), 8);
      }
    }
  }
  // Rules that differ in names alone were of one shape.
  const auto are_several = [](auto const& alike) { return alike.second.size() > 1; };
  EXPECT_GT(std::count_if(texts.begin(), texts.end(), are_several), kRules / 10);
}

}  // namespace
