// The transceiver commands against an engine that records, and the readers of settings.
#include <gtest/gtest.h>
#include <tcl.h>

#include <map>
#include <set>
#include <stdexcept>

#include "kdi/common/KdiNumber.h"
#include "kdi/rule_engine/content_cipher.h"
#include "kdi/rule_engine/gt_wiz_ip_mgr.h"
#include "kdi/rule_engine/rule_engine_utilities.h"
#include "tcltasks/gtwiz/gtwiz_utils.h"
#include "tcltasks/gtwiz/settings_maps.h"
#include "tests/support/contract.h"
#include "tests/support/decimal_comma.h"
#include "tests/support/random.h"
#include "tests/support/recording.h"

extern "C" int Kdi_iptasks_Init(Tcl_Interp* interp);

// --------------------------------------------------------------------------------------------------------- the engine
namespace kelvane_gtwiz {

using recording::record;

using S = std::string const&;
void gt_wiz_ip_mgr::initilizeData(S a, S b, S c, S d, S e, S f, S g) { record("initilizeData", a, b, c, d, e, f, g); }
void gt_wiz_ip_mgr::initilizeDataWithDict(S a, S b, S c, S d, GtSettings const& m, S e, S f, S g) {
  record("initilizeDataWithDict", a, b, c, d, m, e, f, g);
}
ParamMap gt_wiz_ip_mgr::getAttributes(S a, S b, S c) {
  record("getAttributes", a, b, c);
  return {{"A", "1"}, {"B", "two words"}};
}
ParamMap gt_wiz_ip_mgr::getOutClkFrequencies(S a, S b, S c) {
  record("getOutClkFrequencies", a, b, c);
  return {{"TX0", "1.5"}};
}
ParamMap gt_wiz_ip_mgr::getOutClkFrequencies(S a, S b, S c, S d, GtSettings const& m, S e, S f, S g) {
  record("getOutClkFrequencies", a, b, c, d, m, e, f, g);
  return {{"TX0", "2.5"}};
}
ParamMap gt_wiz_ip_mgr::getMemContent(S a, S b, S c) {
  record("getMemContent", a, b, c);
  return {{"0000", "ff"}};
}
ParamMap gt_wiz_ip_mgr::getBramMemContent(S a, S b, S c) {
  record("getBramMemContent", a, b, c);
  return {};
}
ParamMap gt_wiz_ip_mgr::canBePacked(S a, S b, S c, S d, GtSettings const& m, S e, S f, S g, bool flag) {
  record("canBePacked", a, b, c, d, m, e, f, g, flag);
  return {{"RESULT", "true"}};
}
ParamMap gt_wiz_ip_mgr::getRefClkPorts(S a, S b, S c, S d, GtSettings const& m, S e, S f, S g, bool flag) {
  record("getRefClkPorts", a, b, c, d, m, e, f, g, flag);
  return {{"P", "1 2 3"}};
}
bool gt_wiz_ip_mgr::isFabricBRAMNeeded(S a, S b, S c, S d, GtSettings const& m, S e, S f, S g) {
  record("isFabricBRAMNeeded", a, b, c, d, m, e, f, g);
  return true;
}
int gt_wiz_ip_mgr::getRateTableSize(S a, S b, S c, S d, GtSettings const& m, S e, S f, S g) {
  record("getRateTableSize", a, b, c, d, m, e, f, g);
  return 42;
}
StrVec gt_wiz_ip_mgr::getLogContent() {
  record("getLogContent");
  return {"first line", "second"};
}
void gt_wiz_ip_mgr::updateELF(S a, S b, S c, S d, S e) { record("updateELF", a, b, c, d, e); }
std::set<double> rule_engine_utilities::findTXOUTCLKlist(double a, double b, S c, S d, S e, float f, S g, S h) {
  record("findTXOUTCLKlist", a, b, c, d, e, f, g, h);
  return {322.265625, 0.1, 156.25};
}
std::set<double> rule_engine_utilities::findRXOUTCLKlist(double a, S b, float c, S d, S e) {
  record("findRXOUTCLKlist", a, b, c, d, e);
  return {};
}
bool rule_engine_utilities::fracNEnable(double a, double b, S c) {
  record("fracNEnable", a, b, c);
  return false;
}
double rule_engine_utilities::calculateActualRefclk(double a, double b, S c, bool d) {
  record("calculateActualRefclk", a, b, c, d);
  return 0.1;
}
double rule_engine_utilities::calculateActualRefclk_GTME5(double a, double b, S c, bool d) {
  record("calculateActualRefclk_GTME5", a, b, c, d);
  return 0.1;
}
std::string encrypted_content(S text) {
  record("encrypted_content", text);
  return "a {b";
}

}  // namespace kelvane_gtwiz

namespace {

using namespace kelvane_gtwiz_utils::gtwiz_utils;
using Asked = std::vector<std::string>;
const auto& asked = recording::calls;
using recording::shown;

// ------------------------------------------------------------------------------------------------------- the commands

class GtwizCommands : public testing::Test {
 protected:
  GtwizCommands() : interp_((Tcl_FindExecutable(nullptr), Tcl_CreateInterp())) {
    Kdi_iptasks_Init(interp_);
    recording::reset();
  }
  ~GtwizCommands() override { Tcl_DeleteInterp(interp_); }

  std::string ok(std::string const& script) { return result(script, TCL_OK); }
  std::string error(std::string const& script) { return result(script, TCL_ERROR); }

 private:
  std::string result(std::string const& script, int expected) {
    recording::calls.clear();
    EXPECT_EQ(Tcl_Eval(interp_, ("gtwiz::Ip_gtwiz_" + script).c_str()), expected)
        << script << ": " << Tcl_GetStringResult(interp_);
    return Tcl_GetStringResult(interp_);
  }
  Tcl_Interp* interp_;
};

constexpr char const* kInvalid = "Ip_gtwiz : Invalid number of arguments.\n";
// Words 7 to 10 are settings.
std::string const kForm =
    " 1 2 3 4 5 6 {TX0 {LR0_SETTINGS {RATE 10.3}}} {RX0 {K v}} {TX_QUAD_CH {TX0 200}} {AIM power} 11 ";
std::string const kMap =
    "{QUAD_COMMON_SETTINGS={AIM={={='power'}}} RX_SETTINGS={RX0={K={='v'}}} "
    "TX_SETTINGS={TX0={LR0_SETTINGS={RATE='10.3'}}} "
    "quadUsage={quadUsage={TX_QUAD_CH={TX0='200'}}}}";

TEST_F(GtwizCommands, EachCountIsExact) {
  const std::map<std::string, int> counts{{"initializeData", 7},
                                          {"initializeDataWithTclDict", 12},
                                          {"getAttributes", 3},
                                          {"getOutClkFrequencies", 3},
                                          {"getOutClkFrequenciesFullArgs", 12},
                                          {"getMemContent", 3},
                                          {"getBramMemContent", 3},
                                          {"canBePacked", 12},
                                          {"isFabricBRAMNeeded", 12},
                                          {"getRateTableSize", 12},
                                          {"updateELF", 5},
                                          {"findTXOUTCLKlist", 8},
                                          {"findRXOUTCLKlist", 5},
                                          {"fracNEnable", 3},
                                          {"calculateActualRefclk", 3},
                                          {"calculateActualRefclk_GTME5", 5},
                                          {"encryptcontent", 1}};
  for (auto const& [name, count] : counts) {
    std::string words;
    for (int i = 1; i < count; ++i) words += " 1";
    EXPECT_EQ(error(name + words), kInvalid);
    EXPECT_EQ(error(name + words + " 1 1"), kInvalid);
    EXPECT_TRUE(asked.empty());
    EXPECT_NE(ok(name + words + " 1"), kInvalid);
    EXPECT_EQ(asked.size(), 1U) << name;
  }
}

TEST_F(GtwizCommands, WordsOfTheShortFormsAreTexts) {
  EXPECT_EQ(ok("initializeData a b c d e {f g} h"), "");
  EXPECT_EQ(asked, Asked{"initilizeData 'a' 'b' 'c' 'd' 'e' 'f g' 'h'"});
  EXPECT_EQ(ok("getAttributes i TX0 0"), "A 1 B {two words}");
  EXPECT_EQ(asked, Asked{"getAttributes 'i' 'TX0' '0'"});
  EXPECT_EQ(ok("getOutClkFrequencies i {} {}"), "TX0 1.5");
  EXPECT_EQ(ok("getMemContent i s 0"), "0000 ff");
  EXPECT_EQ(ok("getBramMemContent i s 0"), "");
  EXPECT_EQ(ok("updateELF a b c d e"), "");
  EXPECT_EQ(asked, Asked{"updateELF 'a' 'b' 'c' 'd' 'e'"});
  EXPECT_EQ(ok("encryptcontent {a b}"), "a {b") << "a text, no list";
  EXPECT_EQ(asked, Asked{"encrypted_content 'a b'"});
}

TEST_F(GtwizCommands, SettingsStandUnderTheirNames) {
  const std::string tail = " '5' '6' '11'";
  EXPECT_EQ(ok("initializeDataWithTclDict" + kForm + "x"), "");
  EXPECT_EQ(asked, Asked{"initilizeDataWithDict '1' '2' '3' '4' " + kMap + tail});
  EXPECT_EQ(ok("getOutClkFrequenciesFullArgs" + kForm + "x"), "TX0 2.5");
  EXPECT_EQ(asked, Asked{"getOutClkFrequencies '1' '2' '3' '4' " + kMap + tail});
  EXPECT_EQ(ok("isFabricBRAMNeeded" + kForm + "x"), "true");
  EXPECT_EQ(asked, Asked{"isFabricBRAMNeeded '1' '2' '3' '4' " + kMap + tail});
  EXPECT_EQ(ok("getRateTableSize" + kForm + "x"), "42");
  EXPECT_EQ(asked, Asked{"getRateTableSize '1' '2' '3' '4' " + kMap + tail});
  EXPECT_EQ(ok("canBePacked" + kForm + "Yes"), "RESULT true");
  EXPECT_EQ(asked, Asked{"canBePacked '1' '2' '3' '4' " + kMap + tail + " yes"});
  EXPECT_EQ(ok("getRefClkPorts" + kForm + "{} surplus words"), "P {1 2 3}");
  EXPECT_EQ(asked, Asked{"getRefClkPorts '1' '2' '3' '4' " + kMap + tail + " no"});
  EXPECT_EQ(error("getRefClkPorts 1 2 3"), "Ip_gtwiz_getRefClkPorts : Not enough arguments");
  EXPECT_EQ(error("canBePacked" + kForm + "maybe"), "Ip_gtwiz : 'maybe' is not a boolean.\n");
  EXPECT_EQ(error("canBePacked 1 2 3 4 5 6 \\{ 8 9 10 11 0"), "Ip_gtwiz : unbalanced braces in settings text.\n");
  EXPECT_TRUE(asked.empty());
}

TEST_F(GtwizCommands, NumbersAreWholeWords) {
  EXPECT_EQ(ok("findTXOUTCLKlist 10.3125 1e2 k m p 16.5 w s"), "0.1 156.25 322.265625");
  EXPECT_EQ(asked, Asked{"findTXOUTCLKlist 10.3125 100 'k' 'm' 'p' 16.5f 'w' 's'"});
  EXPECT_EQ(ok("findRXOUTCLKlist +.5 k 5. w s"), "");
  EXPECT_EQ(asked, Asked{"findRXOUTCLKlist 0.5 'k' 5f 'w' 's'"});
  EXPECT_EQ(ok("fracNEnable 1 -2 k"), "false");
  for (std::string const word :
       {"10x", "{}", "{ 1}", "{1 }", "nan", "inf", "-inf", "infinity", "0x10", "1e400", "1,5", "--1", "+-1", "1e"}) {
    const std::string bare = word.front() == '{' ? word.substr(1, word.size() - 2) : word;
    EXPECT_EQ(error("fracNEnable " + word + " 1 k"), "Ip_gtwiz : '" + bare + "' is not a number.\n");
    EXPECT_EQ(error("findRXOUTCLKlist 1 k " + word + " w s"), "Ip_gtwiz : '" + bare + "' is not a number.\n");
    EXPECT_TRUE(asked.empty());
  }
  const DecimalComma comma;
  EXPECT_EQ(ok("calculateActualRefclk 1.5 2 n"), "0.10000000000000001");
  EXPECT_EQ(asked, Asked{"calculateActualRefclk 1.5 2 'n' no"});
}

TEST_F(GtwizCommands, OnlyALaneOfPam4OnGtmIsHalved) {
  EXPECT_EQ(ok("calculateActualRefclk_GTME5 53.125 100 x GTM PAM4"), "0.1");
  EXPECT_EQ(asked, Asked{"calculateActualRefclk_GTME5 26.5625 100 '0' no"});
  ok("calculateActualRefclk_GTME5 53.1 100 x GTM PAM4");
  EXPECT_EQ(asked, Asked{"calculateActualRefclk_GTME5 " + shown(static_cast<double>(53.1F / 2)) + " 100 '0' no"})
      << "at single precision";
  ok("calculateActualRefclk_GTME5 53.1 100 x GTM NRZ");
  EXPECT_EQ(asked, Asked{"calculateActualRefclk_GTME5 " + shown(53.1) + " 100 '0' no"});
  ok("calculateActualRefclk_GTME5 53.1 100 x gtm PAM4");
  EXPECT_EQ(asked, Asked{"calculateActualRefclk_GTME5 " + shown(53.1) + " 100 '0' no"});
  ok("calculateActualRefclk_GTME5 53.1 100 x GTM PAM4x");
  EXPECT_EQ(asked, Asked{"calculateActualRefclk_GTME5 " + shown(53.1) + " 100 '0' no"});
}

TEST_F(GtwizCommands, DebugDataIgnoresWords) {
  EXPECT_EQ(ok("getDebugData"), "{first line} second");
  EXPECT_EQ(ok("getDebugData a b"), "{first line} second");
}

TEST_F(GtwizCommands, ATextThatTheEngineThrowsIsTheErrorAndSoIsAnException) {
  recording::answers.thrown = [] { throw std::string("a text of the engine.\n"); };
  EXPECT_EQ(error("getAttributes a b c"), "a text of the engine.\n");
  EXPECT_EQ(error("canBePacked" + kForm + "1"), "a text of the engine.\n");
  recording::answers.thrown = [] { throw std::runtime_error("an exception of the engine"); };
  EXPECT_EQ(error("getAttributes a b c"), "an exception of the engine");
}

// --------------------------------------------------------------------------------------------------------- flat texts

TEST(GtwizScalars, DoWhatTheirNamesSay) {
  Tcl_Obj* const list = Tcl_NewStringObj("b {a c} b", -1);
  Tcl_IncrRefCount(list);
  EXPECT_EQ(tcl2CppStr(list), "b {a c} b");
  EXPECT_EQ(tcl2CppStrVec(list), (StrVec{"b", "a c", "b"}));
  EXPECT_EQ(tcl2CppStrSet(list), (std::set<std::string>{"a c", "b"}));
  int count = 0;
  Tcl_Obj** words = nullptr;
  Tcl_ListObjGetElements(nullptr, list, &count, &words);
  EXPECT_EQ(tcl2CppStrMap(count, words), (ParamMap{{"b", ""}})) << "the later pair, without its value";
  Tcl_DecrRefCount(list);
  Tcl_Obj* const upper = Tcl_NewStringObj("Key V", -1);
  Tcl_IncrRefCount(upper);
  Tcl_ListObjGetElements(nullptr, upper, &count, &words);
  EXPECT_EQ(tcl2CppStrMap(count, words), (ParamMap{{"key", "V"}}));
  EXPECT_EQ(tcl2CppStrMapWithExactKey(count, words), (ParamMap{{"Key", "V"}}));
  Tcl_DecrRefCount(upper);
  Tcl_Obj* const none = Tcl_NewStringObj("{a", -1);
  Tcl_IncrRefCount(none);
  EXPECT_TRUE(tcl2CppStrVec(none).empty());
  Tcl_DecrRefCount(none);
  EXPECT_EQ(intToStr(-7), "-7");
  EXPECT_EQ(reverseVector({"a", "b", "c"}), (StrVec{"c", "b", "a"}));
  std::string text = "aaXaXX";
  find_and_replace(text, "X", "XY");
  EXPECT_EQ(text, "aaXYaXYXY");
  find_and_replace(text, "", "no");
  find_and_replace(text, "zz", "no");
  EXPECT_EQ(text, "aaXYaXYXY");
  for (char const* const yes : {"true", "TRUE", "1", "Yes", "on"}) EXPECT_TRUE(stringToBool(yes));
  for (char const* const no : {"false", "0", "No", "oFF", ""}) EXPECT_FALSE(stringToBool(no));
}

TEST(GtwizSettings, WordsAreSplitAtBlanksWithoutBraces) {
  EXPECT_EQ(getSettingsVec("a {b c} d"), (StrVec{"a", "b", "c", "d"}));
  EXPECT_EQ(getSettingsVec(" a  b "), (StrVec{"", "a", "b", ""})) << "the empty words at the edges stay";
  EXPECT_EQ(getSettingsVec("{ a }"), (StrVec{"", "a", ""}));
  EXPECT_EQ(getSettingsVec(""), StrVec{""});
  EXPECT_EQ(getSettingsVec("a\tb"), StrVec{"a\tb"});
  EXPECT_EQ(getSettingsVec("x{y"), StrVec{"xy"});
}

TEST(GtwizSettings, ABareListOfWordsBecomesOneGroup) {
  EXPECT_EQ(getBraceList("a b"), (StrVec{"{", "a", "b", "}"}));
  EXPECT_EQ(getBraceList("{ a b }"), (StrVec{"{", "a", "b", "}"}));
  EXPECT_EQ(getBraceList("a { b } c"), (StrVec{"{", "a{b}c", "}"})) << "blanks around lone braces go";
  EXPECT_TRUE(getBraceList("").empty());
  EXPECT_TRUE(getBraceList("  ").empty());
  EXPECT_EQ(getBraceList("{a b}"), (StrVec{"{", "{a", "b}", "}"}));
}

TEST(GtwizSettings, AnExpressionCountsWholeWords) {
  EXPECT_EQ(getExprCnt("^LR(\\d+)_SETTINGS",
                       {"LR0_SETTINGS", "XLR0_SETTINGS", "LR12_SETTINGS", "LR_SETTINGS", "LR0_SETTINGSX", ""}),
            2);
  EXPECT_EQ(getExprCnt("^TXQuad_(\\d+)_(.*)", {"TXQuad_0_", "TXQuad_0_a b", "TXQuad_x_a", "aTXQuad_0_"}), 2);
  EXPECT_EQ(getExprCnt("a|bc", {"a", "bc", "abc"}), 2) << "each alternative as a whole";
  EXPECT_EQ(getExprCnt("^PROT(\\d+)", {"PROT\xD9\xA3"}), 0) << "digits are the ten";
  EXPECT_THROW(getExprCnt("(", {"a"}), std::invalid_argument);
  try {
    getExprCnt("(", {});
  } catch (std::invalid_argument const& error) {
    EXPECT_STREQ(error.what(), "no regular expression: \"(\"");
  }
}

TEST(GtwizSettings, ASubsetStandsBetweenItsMarkers) {
  std::string word;
  EXPECT_EQ(getSubSet("S", "E", {"a", "S1", "b", "c", "E", "d", "S2", "e"}, word), (StrVec{"b", "c", "e"}));
  EXPECT_EQ(word, "S2");
  EXPECT_EQ(getSubSet("S", "E", {"S1", "b", "SE", "c"}, word), (StrVec{"b", "c"}))
      << "ends the old section and opens the new one";
  EXPECT_EQ(word, "SE");
  EXPECT_EQ(getSubSet("S", "E", {"S1", "S2", "b"}, word), (StrVec{"S2", "b"}));
  EXPECT_EQ(getSubSet("PROT1", "PROT2", {"PROT10", "x", "PROT1", "y", "PROT20", "z", "PROT2", "w"}, word),
            (StrVec{"y", "PROT20", "z"}));
  word = "kept";
  EXPECT_TRUE(getSubSet("S", "E", {"a"}, word).empty());
  EXPECT_EQ(word, "kept");
}

TEST(GtwizSettings, SectionsAreReadInTurn) {
  EXPECT_EQ(strVector2StrStrMap({"a", "1", "b", "2", "a", "3"}), (ParamMap{{"a", "3"}, {"b", "2"}}));
  EXPECT_EQ(strVector2StrStrMap({"a", "1", "b"}), (ParamMap{{"a", "1"}, {"b", ""}}));
  const StrVec words{"TX0_SETTINGS", "a", "1", "", "b", "2", "TX1_SETTINGS", "c", "3", "END", "d", "4"};
  EXPECT_EQ(getSettingsMap(2, "TX", words),
            (GtMap2{{"TX0_SETTINGS", {{"a", "1"}, {"b", "2"}}}, {"TX1_SETTINGS", {{"c", "3"}}}}));
  EXPECT_EQ(getTXRXSettingsMap(2, "TX", "3", words).at("TX1_SETTINGS"), (ParamMap{{"c", ""}}));
  EXPECT_TRUE(getSettingsMap(0, "TX", words).empty());
  EXPECT_TRUE(getSettingsMap(-1, "TX", words).empty());
  EXPECT_EQ(tcl2cpp3LevelMap("TX0_SETTINGS {a 1} TX1_SETTINGS {c 3} END", "TX"),
            (GtMap2{{"TX0_SETTINGS", {{"a", "1"}}}, {"TX1_SETTINGS", {{"c", "3"}}}}));
  EXPECT_TRUE(tcl2cpp3LevelMap("TX0_SETTINGS {a 1}", "T(").empty())
      << "what means something in an expression means itself";
  EXPECT_EQ(tcl2cpp3LevelMap("T.0_SETTINGS {a 1} TX1_SETTINGS {b 2}", "T.").size(), 1U);
  std::string many;
  for (int i = 0; i < 5000; ++i) many += "TX" + std::to_string(i) + "_SETTINGS a ";
  EXPECT_THROW(tcl2cpp3LevelMap(many, "TX"), std::string);
  try {
    tcl2cpp3LevelMap(many, "TX");
  } catch (std::string const& text) {
    EXPECT_EQ(text, "Ip_gtwiz : too many sections in settings text.\n");
  }
}

TEST(GtwizSettings, RatesHavePartsForTheirDirections) {
  const StrVec words{"LR0_SETTINGS", "a",  "1", "TX", "b",   "2", "RX", "c", "3",
                     "LR1_SETTINGS", "TX", "d", "4",  "END", "e"};
  EXPECT_EQ(getLRSettingsMap("LR", "TX", "RX", words),
            (GtMap3{{"LR0_SETTINGS", {{"SETTINGS", {{"a", "1"}}}, {"TX", {{"b", "2"}}}, {"RX", {{"c", "3"}}}}},
                    {"LR1_SETTINGS", {{"TX", {{"d", "4"}}}}}}));
  EXPECT_TRUE(getLRSettingsMap("LR", "TX", "RX", {"a", "b"}).empty());
  EXPECT_TRUE(getLRSettingsMap("LR", "TX", "RX", {"LR0_SETTINGS", "END"}).empty()) << "an empty section stores nothing";
}

TEST(GtwizSettings, QuadsAndProtocols) {
  const GtMap3 none = tcl2cppQuadUsage("");
  EXPECT_EQ(none, (GtMap3{{"TX_QUAD_CH", {}}, {"RX_QUAD_CH", {}}})) << "both keys are there";
  EXPECT_EQ(tcl2cppQuadUsage("TX_QUAD_CH {TXQuad_0_a {x 1} TXQuad_1_b {y 2}} RX_QUAD_CH {RXQuad_0_c {z 3}} END w"),
            (GtMap3{{"TX_QUAD_CH", {{"TXQuad_0_a", {{"x", "1"}}}, {"TXQuad_1_b", {{"y", "2"}}}}},
                    {"RX_QUAD_CH", {{"RXQuad_0_c", {{"z", "3"}}}}}}));
  // One section for a number that two words have.
  EXPECT_EQ(tcl2cppQuadUsage("TXQuad_0_a x TXQuad_0_b y TXQuad_1_c z 1").at("TX_QUAD_CH").size(), 2U);
  EXPECT_EQ(tcl2LaneUsageMap("PROT0 {TX0 RX0 TX1} PROT1 TX2 END TX3"),
            (VectorMap{{"PROT0", {"TX0", "RX0", "TX1"}}, {"PROT1", {"TX2"}}}));
  EXPECT_TRUE(tcl2LaneUsageMap("TX0 RX0").empty());
  std::string eleven;
  for (int i = 0; i < 11; ++i) eleven += "PROT" + std::to_string(i) + " L" + std::to_string(i) + " ";
  const VectorMap all = tcl2LaneUsageMap(eleven + "END");
  EXPECT_EQ(all.size(), 11U);
  EXPECT_EQ(all.at("PROT1"), StrVec{"L1"});
  EXPECT_EQ(all.at("PROT10"), StrVec{"L10"});
}

// -------------------------------------------------------------------------------------------------- texts in braces

template <class Map>
Map read(std::string const& text) {
  Map map;
  constructMultiMapFromTCLDict(text, map);
  return map;
}

TEST(GtwizBraces, DictionariesOfEachDepth) {
  EXPECT_EQ(read<GtMap2>("LR0_SETTINGS {RATE 10.3 WIDTH 32} LR1_SETTINGS {RATE 25.7}"),
            (GtMap2{{"LR0_SETTINGS", {{"RATE", "10.3"}, {"WIDTH", "32"}}}, {"LR1_SETTINGS", {{"RATE", "25.7"}}}}));
  const GtMap2 one{{"LR0_SETTINGS", {{"RATE", "10.3"}}}};
  EXPECT_EQ(read<GtMap2>("{ LR0_SETTINGS { RATE 10.3 } }"), one);
  EXPECT_EQ(read<GtMap2>("LR0_SETTINGS {{RATE 10.3}}"), one);
  EXPECT_EQ(read<GtMap2>("{{LR0_SETTINGS{RATE\t10.3\n}}}"), one) << "braces hang on their neighbours";
  EXPECT_EQ(read<GtMap2>("A {x {1 2 {3 4}} y {}}"), (GtMap2{{"A", {{"x", "1 2 {3 4}"}, {"y", ""}}}}));
  EXPECT_EQ(read<GtMap3>("TX0 {LR0_SETTINGS {RATE 10.3}} RX0 {LR0_SETTINGS {}}"),
            (GtMap3{{"TX0", {{"LR0_SETTINGS", {{"RATE", "10.3"}}}}}, {"RX0", {{"LR0_SETTINGS", {}}}}}));
  EXPECT_EQ(read<GtMap3>("TX0 {KIND a LR0_SETTINGS {RATE 10.3}}"),
            (GtMap3{{"TX0", {{"KIND", {{"", "a"}}}, {"LR0_SETTINGS", {{"RATE", "10.3"}}}}}}));
  EXPECT_EQ(read<GtMap3>("AIM power"), (GtMap3{{"AIM", {{"", {{"", "power"}}}}}}));
  EXPECT_EQ(read<VectorMap>("PROT0 {TX0 RX0 TX1} PROT1 TX2 PROT2 {}"),
            (VectorMap{{"PROT0", {"TX0", "RX0", "TX1"}}, {"PROT1", {"TX2"}}, {"PROT2", {}}}));
  EXPECT_EQ(read<VectorMap2>("TX_QUAD_CH {TXQuad_0 {0 1} TXQuad_1 {2 {3 4}}}"),
            (VectorMap2{{"TX_QUAD_CH", {{"TXQuad_0", {"0", "1"}}, {"TXQuad_1", {"2", "3 4"}}}}}));
  EXPECT_EQ(read<GtMap2>("A {x 1 y} B"), (GtMap2{{"A", {{"x", "1"}, {"y", ""}}}, {"B", {}}}));
  EXPECT_EQ(read<VectorMap>("A {x 1} B"), (VectorMap{{"A", {"x", "1"}}, {"B", {}}}));
  EXPECT_EQ(read<GtMap2>("A {x 1} A {y 2}"), (GtMap2{{"A", {{"y", "2"}}}}));
  EXPECT_EQ(read<GtMap2>("{long name} {x 1}"), (GtMap2{{"long name", {{"x", "1"}}}}));
  EXPECT_EQ(read<GtMap2>("a\\{ \"b } $c [d]"), (GtMap2{{"a\\", {{"\"b", ""}}}, {"$c", {{"", "[d]"}}}}))
      << "no character means anything";
  EXPECT_TRUE(read<GtMap2>("").empty());
  EXPECT_TRUE(read<VectorMap>(" \t ").empty());
  EXPECT_TRUE(read<GtMap2>("{{{}}}").empty());
}

TEST(GtwizBraces, TheMapGrowsAndIsAsItWasOnAFault) {
  GtMap2 map{{"old", {{"a", "1"}}}, {"A", {{"b", "2"}}}};
  constructMultiMapFromTCLDict("A {x 1} B {}", map);
  const GtMap2 grown{{"old", {{"a", "1"}}}, {"A", {{"x", "1"}}}, {"B", {}}};
  EXPECT_EQ(map, grown);
  for (char const* const text : {"A {x 1", "A x} {1", "}", "{", "A {y 2} {"}) {
    try {
      constructMultiMapFromTCLDict(text, map);
      ADD_FAILURE() << text;
    } catch (std::string const& error) {
      EXPECT_EQ(error, "Ip_gtwiz : unbalanced braces in settings text.\n");
    }
    EXPECT_EQ(map, grown);
  }
}

TEST(GtwizBraces, DeepAndLongTextsAreRead) {
  const std::string deep = std::string(100'000, '{') + "k v" + std::string(100'000, '}');
  EXPECT_EQ(read<GtMap2>(deep), (GtMap2{{"k", {{"", "v"}}}}));
  EXPECT_EQ(read<GtMap2>("A {x " + deep + "}").at("A").at("x").size(), deep.size() - 2);
}

// What the grammar says, token by token with a recursive reading and copies.
struct PlainReader {
  std::vector<std::string> tokens;
  explicit PlainReader(std::string const& text) {
    for (StrVec const words = getBraceList(text); std::string const& word : words) {
      std::string pending;
      const auto flush = [&] {
        if (!pending.empty()) tokens.push_back(std::exchange(pending, {}));
      };
      for (const char c : word) {
        if (c == '{' || c == '}') {
          flush();
          tokens.emplace_back(1, c);
        } else if (std::string_view("\t\n\v\f\r").find(c) != std::string_view::npos) {
          flush();
        } else {
          pending += c;
        }
      }
      flush();
    }
  }
  using Run = std::vector<std::string>;
  static std::vector<Run> items(Run const& run) {
    std::vector<Run> all;
    int depth = 0;
    for (std::string const& token : run) {
      if (depth == 0) all.emplace_back();
      all.back().push_back(token);
      depth += token == "{" ? 1 : token == "}" ? -1 : 0;
    }
    return all;
  }
  static Run unwrapped(Run run) {
    while (items(run).size() == 1 && run.front() == "{") run = Run(run.begin() + 1, run.end() - 1);
    return run;
  }
  static std::string text(Run const& item) {
    if (item.front() != "{") return item.front();
    std::string all;
    for (Run const& inner : items(Run(item.begin() + 1, item.end() - 1))) {
      if (!all.empty()) all += ' ';
      all += inner.front() == "{" ? "{" + text(inner) + "}" : inner.front();
    }
    return all;
  }
  static void fill(Run const& run, ParamMap& map) {
    const auto all = items(unwrapped(run));
    for (std::size_t i = 0; i < all.size(); i += 2) map[text(all[i])] = i + 1 < all.size() ? text(all[i + 1]) : "";
  }
  template <class Inner>
  static void word(std::string const& value, std::map<std::string, Inner>& map) {
    if constexpr (std::is_same_v<Inner, std::string>)
      map[""] = value;
    else
      word(value, map[""]);
  }
  template <class Inner>
  static void fill(Run const& run, std::map<std::string, std::map<std::string, Inner>>& map) {
    const auto all = items(unwrapped(run));
    for (std::size_t i = 0; i < all.size(); i += 2) {
      std::map<std::string, Inner> inner;
      if (i + 1 < all.size()) {
        if (all[i + 1].front() == "{")
          fill(all[i + 1], inner);
        else
          word(all[i + 1].front(), inner);
      }
      map[text(all[i])] = inner;
    }
  }
};

TEST(GtwizBraces, RandomTextsReadAsThePlainReadingOfTheGrammar) {
  test_support::Random random(20261122);
  for (int round = 0; round < 800; ++round) {
    std::string text;
    int depth = 0;
    for (unsigned i = random.below(40); i > 0; --i) switch (random.below(8)) {
        case 0:
          text += "{";
          ++depth;
          break;
        case 1:
          if (depth > 0) {
            text += "}";
            --depth;
          }
          break;
        case 2:
          text += " ";
          break;
        case 3:
          text += " { ";
          ++depth;
          break;
        case 4:
          text += "\t";
          break;
        default:
          text += static_cast<char>('a' + random.below(4));
          break;
      }
    text += std::string(static_cast<std::size_t>(depth), '}');
    const PlainReader plain(text);
    GtMap2 two;
    GtMap3 three;
    PlainReader::fill(plain.tokens, two);
    PlainReader::fill(plain.tokens, three);
    EXPECT_EQ(read<GtMap2>(text), two) << text;
    EXPECT_EQ(read<GtMap3>(text), three) << text;
  }
}

}  // namespace
