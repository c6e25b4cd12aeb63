// Instances of cores at random, changed at random, against everything computed anew; and the same state by other ways.
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/support/seen_core.h"

namespace {

using namespace kdi::cores;
using plain_rules::computed_anew;
using plain_rules::difference;
using plain_rules::given;
using plain_rules::PlainRules;
using plain_rules::RandomRules;
using plain_rules::Seen;
using plain_rules::seen;
using plain_rules::SeenCore;

constexpr std::uint32_t kParameters = 24;

std::string quoted(std::string const& text) { return "\"" + text + "\""; }

// As a rule writes it.
std::string rule_text(std::string const& text) {
  std::string literal = "'";
  for (const char c : text) literal += c == '\'' ? std::string("''") : std::string(1, c);
  return literal + "'";
}

// Cores with rules of every sort. Rules read parameters before their own, and their own as the user gave it.
class RandomCore {
 public:
  explicit RandomCore(std::uint64_t seed) : rules_(seed, {{"N0", Kind::integer}, {"TWICE", Kind::integer}}) {
    while (count_ < kParameters) {
      const Type type = kTypes[rules_.below(std::size(kTypes))];
      const std::string name = "P" + std::to_string(count_);
      const std::string before = text_;
      text_ += ",\n" + parameter(name, type);
      // What has a fault, or is out of its range, with all defaults is no core: another try.
      if (is_refused()) {
        text_ = before;
        continue;
      }
      ++count_;
      rules_.add_name(name, type);
      if (rules_.below(3) == 0) rules_.add_name("user(" + name + ")", type);
      if (rules_.below(3) == 0) rules_.add_name("enabled(" + name + ")", Kind::truth);
    }
  }

  std::string text() const { return text_ + "]}"; }
  int refused() const { return refused_; }

 private:
  static constexpr Kind kTypes[] = {Kind::truth, Kind::integer, Kind::decimal, Kind::text};

  bool is_refused() {
    try {
      Core::parse(text(), "made.json");
      return false;
    } catch (std::exception const& error) {
      EXPECT_NE(std::string(error.what()).find("with all defaults"), std::string::npos) << error.what() << "\n"
                                                                                        << text_;
      ++refused_;
      return true;
    }
  }

  std::string parameter(std::string const& name, Type type) {
    const std::string given = value_text(rules_.value(type)), own = "user(" + name + ")";
    std::string text = "{\"name\": " + quoted(name) + ", \"type\": " + quoted(type.text()) +
                       R"(, "widget": "EDIT", "description": "one", "default": )" + quoted(given);
    if (rules_.below(2) == 0) text += R"(, "skips": true)";
    if (rules_.below(2) == 0) text += R"(, "enabled": )" + quoted(rules_.of(Kind::truth, 3));
    const std::uint64_t sort = rules_.below(5);
    if (sort == 0)
      text += R"(, "derived": )" + quoted("if " + rules_.of(Kind::truth, 2) + " or given(" + name + ") then " + own +
                                          " else " + rules_.of(type, 3));
    else if (sort == 1 && type.is_number() && given.size() <= 3)
      text += R"(, "limits": ["-10", "20"])";  // the default is small
    else if (sort == 2 && !type.is_number())
      text += R"(, "range": )" +
              quoted("[" + (type == Type(Kind::text) ? rule_text(given) : std::string("true, false")) + "] + (if " +
                     rules_.of(Kind::truth, 2) + " then [" + rules_.of(type, 1) + "] else [])");
    if (rules_.below(2) == 0)
      text += R"(, "messages": [{"name": "first", "severity": "warning", "when": )" +
              quoted(rules_.of(Kind::truth, 3)) + R"(, "text": )" +
              quoted("{" + rules_.of(Kind::text, 1) + "} and {" + own + "}") + "}]";
    return text + "}";
  }

  RandomRules rules_;
  std::string text_ =
      R"({"format": 1, "core": "made", "version": "1.0", "device": [{"word": "most", "type": "integer", "without": "7"}],)"
      R"("definitions": {"TWICE": "N0 mod device('most') * 2"}, "parameters": [)"
      "\n"
      R"({"name": "N0", "type": "integer", "widget": "EDIT", "default": "3", "description": "a number"})";
  std::uint32_t count_ = 1;
  int refused_ = 0;
};

// Half of the values fit the type.
std::string user_text(RandomRules& rules, Parameter const& parameter) {
  return rules.below(2) == 0 ? value_text(rules.value(parameter.type)) : value_text(rules.value(Kind::text)) + "x";
}

TEST(CoreTruth, ChangesGiveWhatComputingAnewGives) {
  constexpr int kCores = 40, kChanges = 40;
  int refused = 0, disabled = 0, out_of_range = 0, described = 0, faults = 0;
  for (std::uint64_t seed = 1; seed <= kCores; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    const RandomCore made(seed);
    refused += made.refused();
    const std::string text = made.text();
    const std::shared_ptr<Core const> core = Core::parse(text, "made.json");
    PlainRules rules(core);
    Instance instance(core);
    RandomRules random(seed, {});
    SeenCore before = seen(instance);
    ASSERT_EQ(difference(*core, before, computed_anew(rules, given(instance))), "") << text;
    for (int change = 0; change < kChanges; ++change) {
      std::vector<std::pair<std::uint32_t, std::string>> values;
      std::vector<std::uint32_t> moved;
      if (random.below(4) == 0) {
        moved = instance.take_back({static_cast<std::uint32_t>(random.below(kParameters))});
      } else {
        for (std::uint64_t n = random.below(3) + 1; n > 0; --n) {
          const auto parameter = static_cast<std::uint32_t>(random.below(kParameters));
          values.emplace_back(parameter, user_text(random, core->parameters()[parameter]));
        }
        // By strengths one after the other, which ends at the same as all at once.
        for (const Strength strength : {Strength::values, Strength::ranges}) {
          const auto some = instance.set(values, Origin::user, strength);
          moved.insert(moved.end(), some.begin(), some.end());
        }
        const auto rest = instance.compute();
        moved.insert(moved.end(), rest.begin(), rest.end());
        std::sort(moved.begin(), moved.end());
      }
      const SeenCore after = seen(instance);
      ASSERT_EQ(difference(*core, after, computed_anew(rules, given(instance))), "")
          << "after change " << change << "\n"
          << text;
      for (std::uint32_t i = 0; i < kParameters; ++i)
        ASSERT_TRUE(after.first[i] == before.first[i] || std::binary_search(moved.begin(), moved.end(), i))
            << core->parameters()[i].name << " moved unsaid";
      for (Seen const& one : after.first) {
        disabled += !one.enabled;
        for (auto const& said : one.messages) {
          out_of_range += said.name == "range";
          described += said.name == "first";
          faults += said.name == "rule";
        }
      }
      before = after;
    }
    // The same values in another order, in a fresh instance, give the same state.
    std::vector<std::pair<std::uint32_t, std::string>> all;
    for (std::uint32_t i = kParameters; i-- > 0;)
      if (instance.given(i)) all.emplace_back(i, *instance.given(i));
    Instance again(core);
    for (auto const& one : all) again.set({one});
    EXPECT_EQ(difference(*core, seen(again), before), "");
    // And all taken back, that of a fresh one.
    std::vector<std::uint32_t> numbers;
    for (auto const& one : all) numbers.push_back(one.first);
    again.take_back(numbers);
    Instance fresh(core);
    EXPECT_EQ(difference(*core, seen(again), seen(fresh)), "");
  }
  // The run saw what there is to see.
  EXPECT_GT(refused, 20);
  EXPECT_GT(disabled, 100);
  EXPECT_GT(out_of_range, 100);
  EXPECT_GT(described, 100);
  EXPECT_GT(faults, 20);
}

}  // namespace
