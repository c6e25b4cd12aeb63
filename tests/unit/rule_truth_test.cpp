// Compiled rules against a plain reading of the same tree: equal values, and faults for the same evaluations.
#include <gtest/gtest.h>

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

}  // namespace
