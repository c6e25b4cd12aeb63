// Searched sections of descriptions: what is refused, what they give, and that it is the same by any way.
#include <gtest/gtest.h>

#include "kdi/common/KdiJson.h"
#include "kdi/cores/ClockSection.h"
#include "kdi/cores/Instance.h"
#include "kdi/cores/PadSection.h"
#include "tests/support/clock_core.h"
#include "tests/support/pad_core.h"

namespace {

using namespace kdi::cores;

class Made {
 public:
  explicit Made(std::string const& text = clock_core::core()) : core(Core::parse(text, "made.json")), instance(core) {}

  std::vector<std::string> set(std::string const& name, std::string const& value,
                               Strength strength = Strength::searches) {
    std::vector<std::string> moved;
    for (const std::uint32_t number : instance.set({{*core->find(name), value}}, Origin::user, strength))
      moved.push_back(core->parameters()[number].name);
    return moved;
  }
  std::string value(std::string const& name) const { return instance.value(*core->find(name)); }
  Origin origin(std::string const& name) const { return instance.origin(*core->find(name)); }
  std::vector<std::string> messages() {
    std::vector<std::string> all;
    for (Due const& due : instance.messages()) all.push_back(due.name + ": " + due.text);
    return all;
  }

  std::shared_ptr<Core const> core;
  Instance instance;
};

using Texts = std::vector<std::string>;

TEST(CoreClocks, AreSetByTheSearch) {
  Made made;
  EXPECT_EQ(made.value("U_SRC"), "PLL A");
  EXPECT_EQ(made.value("U_ACT"), "50");
  EXPECT_EQ(made.value("U_DIV"), "6");
  EXPECT_EQ(made.origin("U_DIV"), Origin::search);
  EXPECT_EQ(made.value("A_MHZ"), "300");
  EXPECT_EQ(made.value("B_FB"), "20");
  EXPECT_EQ(made.origin("B_FB"), Origin::default_value) << "the PLL is not in use";
  EXPECT_EQ(made.value("V_ACT"), "SKIP");
  EXPECT_EQ(made.value("FAST"), "0");
  const Texts moved = made.set("V_ON", "1");
  EXPECT_EQ(made.value("V_ACT"), "75");
  EXPECT_EQ(made.value("FAST"), "1") << "rules go on from what was found";
  for (const std::string name : {"V_SRC", "V_DIV", "V_ACT", "B_FB", "FAST"})
    EXPECT_NE(std::find(moved.begin(), moved.end(), name), moved.end()) << name;
  EXPECT_EQ(std::find(moved.begin(), moved.end(), "U_DIV"), moved.end());
}

TEST(CoreClocks, AUsersDividerCountsInManualModeAlone) {
  Made made;
  made.set("U_DIV", "3");
  EXPECT_EQ(made.value("U_DIV"), "6");
  EXPECT_EQ(made.origin("U_DIV"), Origin::search);
  made.set("MANUAL", "1");
  EXPECT_EQ(made.value("U_DIV"), "3");
  EXPECT_EQ(made.origin("U_DIV"), Origin::user);
  EXPECT_EQ(made.value("U_ACT"), "100");
  EXPECT_EQ(made.origin("U_ACT"), Origin::search);
  made.set("A_FB", "29");
  EXPECT_EQ(made.value("U_ACT"), "145");
  EXPECT_EQ(made.value("A_MHZ"), "435");
  made.set("MANUAL", "0");
  EXPECT_EQ(made.value("U_ACT"), "50");
  EXPECT_EQ(made.value("A_FB"), "20");
}

TEST(CoreClocks, ManualModeTellsWhatIsBeyondALimit) {
  Made made;
  made.set("V_ON", "1");
  made.set("V_SRC", "PLL B");
  made.set("V_DIV", "3");
  made.set("MANUAL", "1");
  EXPECT_EQ(made.value("V_ACT"), "100");
  EXPECT_EQ(made.messages(), Texts{"clock: V would run at 100 MHz, its limit is 80 MHz"});
  made.set("V_DIV", "4");
  EXPECT_EQ(made.messages(), Texts{});
  made.set("REF_MHZ", "25");
  EXPECT_EQ(made.messages(), (Texts{"clock: A: its oscillator would run at 500 MHz, outside 600 to 900 MHz",
                                    "clock: B: its oscillator would run at 500 MHz, outside 600 to 900 MHz"}));
  made.set("V_SRC", "PLL Z");
  EXPECT_EQ(made.value("V_ACT"), "0");
  EXPECT_EQ(made.messages().back(), "clock: V: its source or its divider is not there");
}

TEST(CoreClocks, WhatCannotBeMadeIsToldWithTheNearest) {
  Made made;
  made.set("W_MHZ", "1.25");
  EXPECT_EQ(made.value("W_ACT"), "0");
  EXPECT_EQ(made.value("W_DIV"), "7");
  EXPECT_EQ(
      made.messages(),
      Texts{"clock: W at 1.25 MHz cannot be made: the lowest that its sources give is 1.388889 MHz; from 1.388889 "
            "MHz on it can"});
  made.set("V_ON", "1");
  made.set("V_MOST", "2");
  EXPECT_EQ(made.messages()[0],
            "clock: V at 75 MHz cannot be made: the lowest that its sources give is 2.5 MHz, its limit is 2 MHz");
  made.set("REF_MHZ", "10");
  EXPECT_EQ(made.messages()[0], "clock: U at 50 MHz cannot be made: none of its sources runs within its limits");
  made.set("U_MHZ", "0");
  EXPECT_EQ(made.messages()[0], "clock: U: a request is above 0 and at most 1000000 MHz, with at most 9 places, not 0");
}

TEST(CoreClocks, WaitForTheirStrength) {
  Made made, at_once;
  made.set("U_MHZ", "40", Strength::ranges);
  EXPECT_EQ(made.value("U_ACT"), "50");
  made.set("U_MHZ", "45", Strength::values);
  EXPECT_EQ(made.value("U_ACT"), "50");
  made.instance.compute(Strength::searches);
  at_once.set("U_MHZ", "45");
  for (Parameter const& parameter : made.core->parameters())
    EXPECT_EQ(made.value(parameter.name), at_once.value(parameter.name)) << parameter.name;
  EXPECT_EQ(made.value("U_ACT"), "45");
}

TEST(CoreClocks, RunAgainOnlyForWhatTheyRead) {
  Made made;
  const auto before = made.instance.findings(0);
  made.set("X_MHZ", "33");  // the clock is off: the request is the same, and its answer is not sought again
  auto const after = std::dynamic_pointer_cast<ClockFindings const>(made.instance.findings(0));
  ASSERT_TRUE(after);
  EXPECT_EQ(std::dynamic_pointer_cast<ClockFindings const>(before)->answer, after->answer);
  made.set("FAST", "1");  // nothing of the search
  EXPECT_EQ(made.instance.findings(0), after);
}

// A core whose section or parameters differ by one text.
std::string refusal(std::string const& from, std::string const& to, std::string text = clock_core::core()) {
  const std::size_t at = text.find(from);
  EXPECT_NE(at, std::string::npos) << from;
  text.replace(at, from.size(), to);
  try {
    Core::parse(text, "made.json");
    return "none";
  } catch (kdi::JsonError const& error) {
    return error.what();
  }
}

TEST(CoreClocks, FaultsNameTheirPlace) {
  const auto expect = [](std::string const& from, std::string const& to, std::string const& what) {
    const std::string said = refusal(from, to);
    EXPECT_NE(said.find(what), std::string::npos) << to << ": " << said;
    EXPECT_NE(said.find("made.json:"), std::string::npos) << said;
  };
  expect(R"("requested": "V_MHZ")", R"("requested": "V_MHX")",
         "clocks.outputs[1].requested: column 1: unknown name V_MHX");
  expect(R"("requested": "V_MHZ")", R"("requested": "V_ON")", "expected a value of type decimal");
  expect(R"("actual": "V_ACT")", R"("actual": "V_DIV")",
         "clocks.outputs[1].actual: expected a parameter of type decimal");
  expect(R"("actual": "V_ACT")", R"("actual": "U_ACT")", "expected a parameter that no other search or entry gives");
  expect(R"("actual": "V_ACT")", R"("actual": "NONE")", "expected a parameter of this core");
  expect(R"("source": "V_SRC")", R"("source": "V_DIV")", "expected a parameter of type text");
  expect(R"("B": "PLL B", "REF")", R"("C": "PLL B", "REF")", "expected what this section describes before, not C");
  expect(R"("REF": "REF", "ALT": "ALT")", R"("REF": "RFE")", "expected a text that A_SRC permits");
  expect(R"({"REF": "REF", "ALT": "ALT"})", "[]", "clocks.plls[0].references: expected one name or more");
  expect(R"({"REF": "REF", "ALT": "ALT"})", R"(["REF", "REF"])", "expected each name once");
  expect(R"x("values": "numbers(20, 30)")x", R"("values": "20")", "expected a value of type list of integer");
  expect(R"("vco": ["600", "900"])", R"("vco": ["600"])", "expected the least and the greatest frequency");
  expect(R"("name": "AX")", R"("name": "B")", "expected a name that no other reference, PLL or crossing has");
  expect(R"("exceeds": false)", R"("exceed": false)", "clocks.outputs[2]");
  expect(R"("requested": "V_MHZ")", R"("requested": "V_ACT")", "depends on itself: ");
  expect("numbers(20, 30)", "numbers(0, 30)", "with all defaults, clocks: dividers are from 1 to 1048576");
  expect("numbers(20, 30)", "numbers(3, 2)", "with all defaults, clocks: A, feedback has no values");
}

TEST(CoreClocks, GiveNoParameterThatARuleGives) {
  std::string text = clock_core::core();
  const std::string plain = R"("default": "80")";
  ASSERT_NE(text.find(plain), std::string::npos);
  text.replace(text.find(plain), plain.size(), plain + R"(, "derived": "80.0")");
  EXPECT_NE(refusal(R"("actual": "V_ACT")", R"("actual": "V_MOST")", text)
                .find("clocks.outputs[1].actual: expected a parameter without a derived rule, found"),
            std::string::npos);
}

TEST(CoreClocks, AreTenThousandEntriesAtMost) {
  const std::string reference = R"({"name": "ALT", "frequency": "if ALT_USED then ALT_MHZ else 0"})";
  const auto with = [&](std::string const& last) {  // beside REF and ALT
    return refusal(reference,
                   reference + R"(, {"each": {"n": "{3..)" + last + R"(}"}, "name": "R${n}", "frequency": "1.0"})");
  };
  EXPECT_EQ(with("10000"), "none");
  EXPECT_NE(with("10001").find("clocks.references[2]: expected at most 10000 entries, found"), std::string::npos);
}

TEST(CoreClocks, ManualModeKnowsAsManyPlacesAsTheSearch) {
  Made made;
  made.set("MANUAL", "1");
  made.set("REF_MHZ", "30.0000000001");
  EXPECT_EQ(made.messages(), Texts{"rule: clocks: frequencies have at most 9 places, not 30.0000000001"});
  made.set("REF_MHZ", "30.000000001");
  EXPECT_EQ(made.messages(), Texts{});
}

TEST(CoreClocks, ALaterVersionReplacesAndRetiresEntries) {
  std::string text = clock_core::core();
  const std::size_t at = text.rfind("\n  ]\n}");
  ASSERT_NE(at, std::string::npos);
  text.insert(at, R"(, {"name": "V", "requested": "V_MHZ", "actual": "V_ACT", "sources": ["B"]})");
  const auto core = Core::parse(text, "made.json");
  ASSERT_EQ(core->clocks()->clocks.size(), 4U);
  EXPECT_FALSE(core->clocks()->clocks[2].source);
  EXPECT_FALSE(core->parameters()[*core->find("V_SRC")].search);
}

// -----------------------------------------------------------------------------------------------------------------
// pads

struct MadePads : Made {
  MadePads() : Made(pad_core::core()) {}
  PadFindings const& findings() { return dynamic_cast<PadFindings const&>(*instance.findings(0)); }
  Texts moves(PadAdvice const& advice) const {
    Texts all;
    for (auto const& [parameter, text] : advice.moves) all.push_back(core->parameters()[parameter].name + "=" + text);
    return all;
  }
};

TEST(CorePads, ShowWhoSitsThere) {
  MadePads made;
  EXPECT_EQ(made.value("MIO_0_USE"), "UART0");
  EXPECT_EQ(made.origin("MIO_0_USE"), Origin::search);
  EXPECT_EQ(made.value("MIO_2_USE"), "");
  EXPECT_EQ(made.value("BUSY"), "0");
  made.set("UART1_ON", "1");
  EXPECT_EQ(made.value("MIO_4_USE"), "UART1");
  EXPECT_EQ(made.value("BUSY"), "1");
  made.set("SPI0_ON", "1");
  EXPECT_EQ(made.value("MIO_4_USE"), "UART1, SPI0");
}

TEST(CorePads, ConflictsNameBothSidesAndThePads) {
  MadePads made;
  made.set("UART1_ON", "1");
  made.set("SPI0_ON", "1");
  EXPECT_EQ(made.messages(), Texts{"pads: UART1 and SPI0 both use MIO 4 .. 5"});
  made.set("WIDE", "1");
  EXPECT_EQ(made.messages(),
            (Texts{"pads: UART0 and SPI0 upper both use MIO 0", "pads: UART1 and SPI0 both use MIO 4 .. 5"}));
  made.set("SPI0_IO", "EMIO");
  EXPECT_EQ(made.messages(), Texts{});
}

TEST(CorePads, AFreeAssignmentMovesTheFewest) {
  MadePads made;
  made.set("UART1_ON", "1");
  made.set("SPI0_ON", "1");
  auto advice = free_assignment(*made.core->pads(), made.findings());
  ASSERT_TRUE(advice);
  EXPECT_EQ(made.moves(*advice), Texts{"UART1_IO=PS 0 .. 1"}) << "of equally good ones, the first by name stays";
  made.set("KEY_ON", "1");
  advice = free_assignment(*made.core->pads(), made.findings());
  EXPECT_EQ(made.moves(*advice), Texts{"SPI0_IO=EMIO"});
  for (auto const& [parameter, text] : advice->moves) made.set(made.core->parameters()[parameter].name, text);
  EXPECT_EQ(made.messages(), Texts{});
  // What the device does not have is no place, nor what the parameter does not permit.
  made.set("SPI0_IO", "PS 0 .. 3");
  made.set("PS_THERE", "0");
  made.set("KEY_ON", "0");
  EXPECT_EQ(made.messages(), Texts{"pads: SPI0 uses PS 0 .. 3, which are not there"});
  advice = free_assignment(*made.core->pads(), made.findings());
  EXPECT_EQ(made.moves(*advice), Texts{"SPI0_IO=EMIO"});
}

TEST(CorePads, TheNearestRepairSaysWhatToGiveUp) {
  MadePads made;
  for (const std::string name : {"UART1_ON", "KEY_ON"}) made.set(name, "1");
  made.set("PS_THERE", "0");
  EXPECT_EQ(made.messages(), Texts{"pads: key uses PS 1, which are not there"});
  EXPECT_FALSE(free_assignment(*made.core->pads(), made.findings()));
  made.set("UART1_IO", "MIO 0 .. 1");
  const PadAdvice stays = nearest_repair(*made.core->pads(), made.findings(), PadRepair::fewest_moved);
  EXPECT_EQ(made.moves(stays), Texts{});
  ASSERT_EQ(stays.given_up.size(), 2U);
  EXPECT_EQ(stays.given_up[0].first, "UART1");
  EXPECT_EQ(stays.given_up[0].second, made.core->find("UART1_ON"));
  EXPECT_EQ(stays.given_up[1].first, "key");
  const PadAdvice keeps = nearest_repair(*made.core->pads(), made.findings(), PadRepair::fewest_given_up);
  EXPECT_EQ(made.moves(keeps), Texts{"UART1_IO=MIO 4 .. 5"});
  ASSERT_EQ(keeps.given_up.size(), 1U);
  EXPECT_EQ(keeps.given_up[0].first, "key");
}

TEST(CorePads, FaultsNameTheirPlace) {
  const auto expect = [](std::string const& from, std::string const& to, std::string const& what) {
    const std::string said = refusal(from, to, pad_core::core());
    EXPECT_NE(said.find(what), std::string::npos) << to << ": " << said;
    EXPECT_NE(said.find("made.json:"), std::string::npos) << said;
  };
  expect(R"("pads": [0, 7])", R"("pads": [7, 0])", "pads.banks[0].pads[1]: expected ");
  expect(R"("pads": [0, 7])", R"("pads": [0])", "expected the first and the last number");
  expect(R"("pads": [0, 5])", R"("pads": [0, 255])", "expected at most 256 pads in all banks");
  expect(R"("MIO_${pad}_USE")", R"("MIO_${pad}_US")", "expected a parameter of this core");
  expect(R"("MIO_${pad}_USE")", R"("BUSY")", "expected a parameter of type text");
  expect(R"("PS 0 .. 3"])", R"("PS 0 .. 6"])", "pads.functions[1].groups[1]: expected numbers from 0 to 5 of PS");
  expect(R"("PS 0 .. 3"])", R"("PS 3 .. 0"])", "expected the lower number first");
  expect(R"("PS 0 .. 3"])", R"("PT 0 .. 3"])", "expected pads of a bank, such as MIO 0 .. 1");
  expect(R"("PS 0 .. 3"])", R"("MIO 2 .. 5"])", "expected each text once");
  expect(R"("MIO 0"]})", R"("MIO 7"]})", "expected each pad once");
  expect(R"("groups": ["PS 1"])", R"("groups": ["PS 1", "PS 2"])",
         "expected one group, or a parameter that says which");
  expect(R"("groups": ["PS 1"])", R"("groups": [])", "expected one group or more");
  expect(R"("enabled": "KEY_ON", )", "", "expected a parameter, or an enabled rule that reads one");
  expect(R"("parameter": "SPI0_IO")", R"("parameter": "WIDE")", "expected a parameter of type text");
  expect(R"("fabric": "EMIO")", R"("fabrik": "EMIO")", "pads.functions[1]");
}

}  // namespace
