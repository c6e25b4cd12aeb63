// Cores with searches, changed at random: after each change and each undoing, what shows is what trying everything
// gives for the user's present values, read here from the parameters by hand.
#include <gtest/gtest.h>

#include <map>

#include "kdi/cores/Instance.h"
#include "tests/support/clock_core.h"
#include "tests/support/pad_core.h"
#include "tests/support/places.h"
#include "tests/support/plain_clocks.h"
#include "tests/support/random.h"
#include "tests/support/sanitized.h"

namespace {

using namespace kdi::cores;
using test_support::Random;
using State = std::map<std::string, std::string>;

// --- what the made-up core with clocks should show

class PlainClockCore {
 public:
  PlainClockCore(Core const& core, Instance const& given) : core_(core), given_(given) {}

  State state() {
    for (Parameter const& parameter : core_.parameters()) state_[parameter.name] = plain(parameter.name);
    is_manual_ = state_["MANUAL"] == "1";
    ask();
    if (is_manual_)
      follow();
    else
      search();
    const auto mhz = [&](std::string const& name) { return *Decimal::read(state_.at(name)); };
    state_["FAST"] = mhz("U_ACT") > 60 || mhz("V_ACT") > 60 ? "1" : "0";
    if (state_["V_ON"] == "0") state_["V_ACT"] = "SKIP";
    return state_;
  }

 private:
  static constexpr char const* kClocks = "UXVW";

  std::string preset(std::string const& name) const {
    return value_text(core_.parameters()[*core_.find(name)].default_value);
  }

  // The user's value, if it is one that is permitted.
  std::string plain(std::string const& name) const {
    auto const& text = given_.given(*core_.find(name));
    return text ? *text : preset(name);
  }

  Decimal number(std::string const& name) const { return *Decimal::read(state_.at(name)); }
  int whole(std::string const& name) const { return static_cast<int>(number(name).mantissa()); }

  static std::vector<int> numbers(int first, int last) {
    std::vector<int> all;
    for (int i = first; i <= last; ++i) all.push_back(i);
    return all;
  }

  void ask() {
    request_.references = {{"REF", number("REF_MHZ")},
                           {"ALT", state_["ALT_USED"] == "1" ? number("ALT_MHZ") : Decimal()}};
    request_.plls.push_back({"A",
                             {"REF", "ALT"},
                             numbers(20, 30),
                             {2, 4},
                             600,
                             900,
                             std::nullopt,
                             Crossing{"AX", numbers(1, 3), Decimal(300)}});
    request_.plls.push_back({"B", {"REF", "ALT"}, numbers(20, 30), {2, 4}, 600, 900, std::nullopt, std::nullopt});
    for (char const* name = kClocks; *name != 0; ++name) {
      const std::string c(1, *name);
      if (state_[c + "_ON"] != "1" || (!is_manual_ && number(c + "_MHZ") == Decimal())) continue;
      Clock clock{c, number(c + "_MHZ"), {"A", "B"}, {numbers(1, 12)}, std::nullopt, true};
      if (c == "V") {
        clock.sources = {"B", "REF"};
        clock.most = number("V_MOST");
      }
      if (c == "W") {
        clock.sources = {"AX"};
        clock.stages.push_back({2, 3});
        clock.may_exceed = false;
      }
      request_.clocks.push_back(clock);
    }
  }

  static std::string shown(std::string const& source) {
    return source == "REF" ? "the reference" : source == "B" ? "PLL B" : "PLL A";
  }

  void search() {
    const std::vector<std::string> given = {"A_SRC", "A_FB", "A_DIV", "A_MHZ", "A_CROSS", "B_SRC", "B_FB", "B_DIV"};
    for (std::string const& name : given) state_[name] = preset(name);
    for (char const* name = kClocks; *name != 0; ++name)
      for (const std::string part : {"_SRC", "_DIV", "_ACT"})
        state_[std::string(1, *name) + part] = preset(std::string(1, *name) + part);
    const ClockAnswer answer = plain_clocks::PlainClocks(request_).answer();
    for (std::size_t p = 0; p < 2; ++p) {
      PllSetting const& setting = answer.plls[p];
      const std::string name = request_.plls[p].name;
      if (!setting.used) continue;
      state_[name + "_SRC"] = setting.reference == 0 ? "REF" : "ALT";
      state_[name + "_FB"] = std::to_string(setting.feedback);
      state_[name + "_DIV"] = std::to_string(setting.output_divider);
      if (name == "A") state_["A_MHZ"] = setting.output.rounded(6).text();
      if (setting.crossing != 0) state_["A_CROSS"] = std::to_string(setting.crossing);
    }
    for (std::size_t c = 0; c < request_.clocks.size(); ++c) {
      Clock const& clock = request_.clocks[c];
      ClockSetting const& setting = answer.clocks[c];
      state_[clock.name + "_ACT"] = setting.met ? setting.actual.rounded(6).text() : "0";
      if (!setting.met) continue;
      state_[clock.name + "_SRC"] = shown(clock.sources[setting.source]);
      state_[clock.name + "_DIV"] = std::to_string(setting.dividers[0]);
    }
  }

  void follow() {
    std::map<std::string, plain_clocks::Number> mhz;
    mhz["the reference"] = plain_clocks::number(number("REF_MHZ"));
    for (const std::string p : {"A", "B"})
      mhz["PLL " + p] =
          plain_clocks::number(state_[p + "_SRC"] == "REF" ? request_.references[0].mhz : request_.references[1].mhz) *
          whole(p + "_FB") / whole(p + "_DIV");
    state_["A_MHZ"] = text(mhz["PLL A"]);
    for (Clock const& clock : request_.clocks) {
      const std::string source = state_[clock.name + "_SRC"];
      const bool is_source = std::any_of(clock.sources.begin(), clock.sources.end(),
                                         [&](std::string const& name) { return shown(name) == source; });
      plain_clocks::Number actual = 0;
      if (is_source) actual = mhz[source] / whole(clock.name + "_DIV");
      if (clock.name == "W") actual = actual / whole("A_CROSS") / 2;
      state_[clock.name + "_ACT"] = text(actual);
    }
    for (char const* name = kClocks; *name != 0; ++name)
      if (state_[std::string(1, *name) + "_ON"] != "1")
        state_[std::string(1, *name) + "_ACT"] = plain(std::string(1, *name) + "_ACT");
  }

  // To six places, halves away from zero.
  static std::string text(plain_clocks::Number const& value) {
    const plain_clocks::Number scaled = value * 1'000'000 + plain_clocks::Number(1, 2);
    const boost::multiprecision::cpp_int whole = numerator(scaled) / denominator(scaled);
    return Decimal::of(static_cast<std::int64_t>(whole), 6).text();
  }

  Core const& core_;
  Instance const& given_;
  ClockRequest request_;
  State state_;
  bool is_manual_ = false;
};

State shown(Instance const& instance) {
  State state;
  for (std::uint32_t i = 0; i < instance.core().parameters().size(); ++i)
    state[instance.core().parameters()[i].name] = instance.value(i);
  return state;
}

std::string difference(State const& a, State const& b) {
  std::string text;
  for (auto const& [name, value] : a)
    if (b.at(name) != value) text += name + ": " + value + " against " + b.at(name) + "\n";
  return text;
}

using Choices = std::map<std::string, std::vector<std::string>>;

// Random changes, and values taken back; `check` after each. At the end, the same by other ways.
template <class Check>
void change_at_random(std::shared_ptr<Core const> const& core, Choices const& choices, unsigned seed, int changes,
                      Check check) {
  Random random(seed);
  Instance instance(core);
  std::vector<std::string> names;
  for (auto const& [name, values] : choices) names.push_back(name);
  for (int n = 0; n < changes; ++n) {
    const State before = shown(instance);
    std::vector<std::uint32_t> moved;
    const std::string name = names[random.below(static_cast<unsigned>(names.size()))];
    if (random.one_in(4)) {
      moved = instance.take_back({*core->find(name)});
    } else {
      auto const& values = choices.at(name);
      const std::string value = values[random.below(static_cast<unsigned>(values.size()))];
      // At once, or first with less than the search.
      if (random.one_in(2)) {
        moved = instance.set({{*core->find(name), value}});
      } else {
        moved = instance.set({{*core->find(name), value}}, Origin::user, Strength::ranges);
        const std::vector<std::uint32_t> rest = instance.compute();
        moved.insert(moved.end(), rest.begin(), rest.end());
      }
    }
    check(instance);
    for (auto const& [parameter, value] : shown(instance))
      if (before.at(parameter) != value) {
        ASSERT_NE(std::find(moved.begin(), moved.end(), *core->find(parameter)), moved.end()) << parameter;
      }
    if (testing::Test::HasFatalFailure()) return;
  }
  Instance again(core);
  std::vector<std::uint32_t> numbers;
  for (std::uint32_t i = static_cast<std::uint32_t>(core->parameters().size()); i-- > 0;)
    if (instance.given(i)) {
      again.set({{i, *instance.given(i)}});
      numbers.push_back(i);
    }
  EXPECT_EQ(difference(shown(again), shown(instance)), "");
  EXPECT_EQ(again.messages(), instance.messages());
  again.take_back(numbers);
  EXPECT_EQ(difference(shown(again), shown(Instance(core))), "");
}

TEST(CoreSearchTruth, ClocksAreWhatTryingEverythingGives) {
  const auto core = Core::parse(clock_core::core(), "made.json");
  Choices choices = {{"MANUAL", {"0", "1"}},
                     {"REF_MHZ", {"30", "33.333", "28", "25.5", "60"}},
                     {"ALT_MHZ", {"0", "27", "31.25"}},
                     {"ALT_USED", {"0", "1"}},
                     {"A_SRC", {"REF", "ALT"}},
                     {"B_SRC", {"REF", "ALT"}},
                     {"A_FB", {"20", "25", "30"}},
                     {"B_FB", {"21", "29"}},
                     {"A_DIV", {"2", "4"}},
                     {"A_CROSS", {"1", "2", "3"}},
                     {"V_MOST", {"2", "20", "80", "300"}},
                     {"V_SRC", {"PLL B", "the reference", "none"}}};
  for (const std::string c : {"U", "V", "W", "X"}) {
    choices[c + "_ON"] = {"0", "1"};
    choices[c + "_MHZ"] = {"0", "1.5", "12", "40", "47.25", "50", "66.666", "100", "225"};
    choices[c + "_DIV"] = {"1", "3", "12"};
  }
  int searched = 0, manual = 0, unmet = 0;
  change_at_random(core, choices, 1, 250, [&](Instance& instance) {
    const State expected = PlainClockCore(*core, instance).state();
    ASSERT_EQ(difference(shown(instance), expected), "");
    (expected.at("MANUAL") == "1" ? manual : searched) += 1;
    for (Due const& due : instance.messages()) unmet += due.text.find("cannot be made") != std::string::npos;
  });
  EXPECT_GT(searched, 30);
  EXPECT_GT(manual, 30);
  EXPECT_GT(unmet, 5);
}

// Everything that can be asked.
std::string seen(Instance& instance) {
  std::string all;
  for (std::uint32_t i = 0; i < instance.core().parameters().size(); ++i) {
    all += instance.core().parameters()[i].name + " " + instance.value(i) + "|" + instance.backup(i) + "|" +
           (instance.is_enabled(i) ? "on|" : "off|") + std::string(word_of(instance.origin(i)));
    for (std::string const& value : instance.range(i)) all += " " + value;
    all += "\n";
  }
  for (Due const& due : instance.messages()) all += due.name + ": " + due.text + "\n";
  return all;
}

// Sequences of changes at any strength. From the strength of rules on the state is what a new instance has that is
// given the same values once, at the strength of the latest change; and what is computed again moves nothing. Returns
// how often less than the searches showed something else than they do.
int change_at_any_strength(std::shared_ptr<Core const> const& core, Choices const& choices, unsigned seed,
                           int changes) {
  constexpr Strength kStrengths[] = {Strength::values, Strength::ranges, Strength::searches};
  Random random(seed);
  Instance instance(core);
  std::vector<std::string> names;
  for (auto const& [name, values] : choices) names.push_back(name);
  int other = 0;
  for (int n = 0; n < changes; ++n) {
    const Strength strength = kStrengths[random.below(3)];
    const std::string name = names[random.below(static_cast<unsigned>(names.size()))];
    auto const& values = choices.at(name);
    if (random.one_in(5))
      instance.take_back({*core->find(name)}, strength);
    else
      instance.set({{*core->find(name), values[random.below(static_cast<unsigned>(values.size()))]}}, Origin::user,
                   strength);
    if (strength == Strength::values) continue;
    Instance alone(core);
    std::vector<std::pair<std::uint32_t, std::string>> given;
    for (std::uint32_t i = 0; i < core->parameters().size(); ++i)
      if (instance.given(i)) given.emplace_back(i, *instance.given(i));
    alone.set(given, Origin::user, strength);
    EXPECT_EQ(seen(instance), seen(alone)) << "change " << n << ", " << name;
    if (strength != Strength::ranges) continue;
    Instance whole = instance, at_once(core);
    whole.compute();
    at_once.set(given);
    EXPECT_EQ(seen(whole), seen(at_once)) << "change " << n << ", " << name;
    other += seen(whole) != seen(instance);
    whole.compute(Strength::ranges);
    EXPECT_EQ(seen(whole), seen(instance)) << "change " << n << ", " << name;
    if (testing::Test::HasFailure()) break;
  }
  return other;
}

TEST(CoreSearchTruth, TheStateFollowsFromTheValuesAndTheStrength) {
  Choices clocks = {{"MANUAL", {"0", "1"}},
                    {"REF_MHZ", {"30", "28", "60"}},
                    {"ALT_MHZ", {"0", "27"}},
                    {"A_FB", {"20", "25"}},
                    {"V_MOST", {"2", "80", "300"}}};
  for (const std::string c : {"U", "V", "W", "X"}) {
    clocks[c + "_ON"] = {"0", "1"};
    clocks[c + "_MHZ"] = {"1.5", "40", "50", "66.666", "100"};
    clocks[c + "_DIV"] = {"1", "3", "12"};
  }
  EXPECT_GT(change_at_any_strength(Core::parse(clock_core::core(), "made.json"), clocks, 1, 150), 15);
  const Choices pads = {{"UART0_ON", {"0", "1"}},
                        {"UART1_ON", {"0", "1"}},
                        {"SPI0_ON", {"0", "1"}},
                        {"KEY_ON", {"0", "1"}},
                        {"UART0_IO", {"MIO 0 .. 1", "MIO 4 .. 5", "PS 0 .. 1", "none"}},
                        {"SPI0_IO", {"MIO 2 .. 5", "PS 0 .. 3", "EMIO"}}};
  EXPECT_GT(change_at_any_strength(Core::parse(pad_core::core(), "made.json"), pads, 2, 300), 30);
}

// The same of a whole processing system, whose rules read what is found.
TEST(CoreSearchTruth, SoDoesThatOfAProcessingSystem) {
  const Choices choices = {{"PMC_REF_CLK_FREQMHZ", {"33.333", "50", "99"}},
                           {"PS_UART0_PERIPHERAL_ENABLE", {"0", "1"}},
                           {"PS_UART0_BAUD_RATE", {"9600", "115200"}},
                           {"PS_ENET0_PERIPHERAL_ENABLE", {"0", "1"}},
                           {"PS_I2C0_PERIPHERAL_ENABLE", {"0", "1"}},
                           {"PS_CRL_UART0_REF_CTRL_FREQMHZ", {"50", "100", "133"}},
                           {"SMON_OT", {"0", "1"}}};
  const auto core = Core::read(places::data("cores"), "pspmc", "1.4");
  EXPECT_GT(change_at_any_strength(core, choices, 3, test_support::kSanitized ? 12 : 40), 0);
}

// Who sits where, and what is told, counted pad by pad.
TEST(CoreSearchTruth, PadsAreWhatCountingThemGives) {
  const auto core = Core::parse(pad_core::core(), "made.json");
  const Choices choices = {{"UART0_ON", {"0", "1"}},
                           {"UART1_ON", {"0", "1"}},
                           {"SPI0_ON", {"0", "1"}},
                           {"WIDE", {"0", "1"}},
                           {"KEY_ON", {"0", "1"}},
                           {"PS_THERE", {"0", "1"}},
                           {"UART0_IO", {"MIO 0 .. 1", "MIO 4 .. 5", "PS 0 .. 1", "none"}},
                           {"UART1_IO", {"MIO 0 .. 1", "MIO 4 .. 5", "PS 0 .. 1"}},
                           {"SPI0_IO", {"MIO 2 .. 5", "PS 0 .. 3", "EMIO"}}};
  int conflicts = 0, absent = 0;
  change_at_random(core, choices, 1, 600, [&](Instance& instance) {
    const State state = shown(instance);
    const std::vector<std::pair<std::string, std::map<std::string, std::vector<int>>>> functions = {
        {"UART0", {{"MIO 0 .. 1", {0, 1}}, {"MIO 4 .. 5", {4, 5}}, {"PS 0 .. 1", {8, 9}}}},
        {"UART1", {{"MIO 0 .. 1", {0, 1}}, {"MIO 4 .. 5", {4, 5}}, {"PS 0 .. 1", {8, 9}}}},
        {"SPI0", {{"MIO 2 .. 5", {2, 3, 4, 5}}, {"PS 0 .. 3", {8, 9, 10, 11}}}},
        {"SPI0 upper", {{"MIO 2 .. 5", {0, 6, 7}}, {"PS 0 .. 3", {12, 13}}}},
        {"key", {{"", {9}}}}};
    const auto is_on = [&](std::string const& name) {
      if (name == "key") return state.at("KEY_ON") == "1";
      if (name == "SPI0 upper") return state.at("SPI0_ON") == "1" && state.at("WIDE") == "1";
      return state.at(name + "_ON") == "1";
    };
    std::map<int, std::vector<std::string>> on_pad;
    std::set<std::string> pairs, gone;
    for (auto const& [name, groups] : functions) {
      if (!is_on(name)) continue;
      const auto group = groups.find(name == "key" ? "" : state.at(name.substr(0, name.find(' ')) + "_IO"));
      if (group == groups.end()) continue;
      for (const int pad : group->second) {
        for (std::string const& other : on_pad[pad]) pairs.insert(other + " and " + name);
        on_pad[pad].push_back(name);
        if (pad >= 8 && state.at("PS_THERE") == "0") gone.insert(name);
      }
    }
    for (int pad = 0; pad < 8; ++pad) {
      std::string names;
      for (std::string const& name : on_pad[pad]) names += (names.empty() ? "" : ", ") + name;
      ASSERT_EQ(state.at("MIO_" + std::to_string(pad) + "_USE"), names);
    }
    std::set<std::string> told, told_gone;
    for (Due const& due : instance.messages()) {
      const std::size_t both = due.text.find(" both use "), uses = due.text.find(" uses ");
      if (both != std::string::npos) told.insert(due.text.substr(0, both));
      if (uses != std::string::npos) told_gone.insert(due.text.substr(0, uses));
    }
    ASSERT_EQ(told, pairs);
    ASSERT_EQ(told_gone, gone);
    conflicts += !pairs.empty();
    absent += !gone.empty();
  });
  EXPECT_GT(conflicts, 50);
  EXPECT_GT(absent, 50);
}

}  // namespace
