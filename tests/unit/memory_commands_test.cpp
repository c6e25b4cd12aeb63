// The commands of memory controllers against an engine that records: for every command which operation is asked of
// which instance with which arguments, what becomes of the answer, and what is said of a wrong call.
#include <gtest/gtest.h>
#include <tcl.h>

#include <set>
#include <stdexcept>

#include "kdi/common/KdiText.h"
#include "kdi/common/host/MessageHost.h"
#include "kdi/tcl/values.h"
#include "tests/support/decimal_comma.h"
#include "tests/support/recording.h"
#include "tests/support/script_answer.h"

extern "C" int Kdi_iptasks_Init(Tcl_Interp* interp);

namespace {

using recording::answers;
using recording::calls;
using Texts = std::vector<std::string>;

// ------------------------------------------------------------------------------------------------------- the models

struct Model {
  char const *label, *scope, *flat, *prefix;
};
constexpr Model k70{"7.0", "mig::mig_v7_0::", "mig_mig_v7_0_", "Ip_Mig_"};
constexpr Model k71{"7.1", "mig::mig_v7_1::", "mig_mig_v7_1_", "Ip_Mig_"};
constexpr Model kV1{"v1", "memory::memory_v1::", "memory_v1_", "Ip_memory_"};
constexpr Model kSerial{"v1", "advwiz::advwiz_v1::", "", "Ip_advwiz_"};

enum Forms { in_scope = 1, flat = 2, both = 3 };

// A command: `*` in its name stands for the model's prefix, `@` in calls for its label. `words` are as few as it takes
// and as many options as it reads; the first `needs` of them have to be there.
struct Case {
  char const* name;
  Forms forms;
  char const* words;
  std::vector<char const*> calls;
  char const* result;
  int needs;
  char const* too_few = nullptr;  // of a command that counts its words itself; else what all others say
  int told_first = -1;            // fewer words are told before the instance is looked for; unless given, all are
};

constexpr char kRange[] = "-enabled true -range a,b";
constexpr char kOptions[] = "max {a b} min 1";
constexpr char kPins[] = "{DQ[0]} x y Q-1 z {two words}";
constexpr char kList[] = "one {two words}";
constexpr char kText[] = "{a text}";
constexpr char kNoInstance[] = "Internal Error: MIG instance load error";

std::vector<Case> const kCommon = {
    {"*loadPkg", both, "-A b", {"@ loadMigPkgData {-a='b'}"}, "", 0},
    {"*unLoadPkg", both, "-A b", {"@ releasePkgData {-a='b'}"}, "", 0},
    {"*UpdateInstanceName", in_scope, "-A b", {"@ updateInstanceName {-a='b'}"}, "", 0},
    {"*setSelectedBytes_upgrade",
     flat,
     "i {DQ[0]} B L -A b",
     {"@ find 'i'", "setSelectedBytes_upgrade {DQ[0]=['B' 'L']} {-a='b'}"},
     "",
     1},
    {"*setSelectedBytes_new", in_scope, "i -A b", {"@ find 'i'", "setSelectedBytes_new {-a='b'}"}, "", 1},
    {"*setSignal", both, "i 2 3 4 5 6", {"@ find 'i'", "setSignal '2' '3' '4' '5' '6'"}, "", 6},
    {"*setSignalWithPadName", both, "i 2 3", {"@ find 'i'", "setSignal '2' '3'"}, "", 3},
    {"*setDataBitsPerStrobe", both, "i 2", {"@ find 'i'", "setDataBitsPerStrobe '2'"}, "", 2},
    {"*loadCustomPartsData", in_scope, "i 2 3", {"@ find 'i'", "loadCustomParts '2' '3'"}, "", 3},
    {"*getmodelParams",
     in_scope,
     "w -A b",
     {"@ find {-a='b'}", "getmodelParams 'w' {-a='b'}"},
     kOptions,
     1,
     "*getmodelParams : Not enough arguments"},
    {"*BankSelModelParams",
     in_scope,
     "i 2 3 -A b",
     {"@ find 'i'", "getBankSelModelParams '2' '3' {-a='b'}"},
     kOptions,
     3,
     "*BankSelModelParams: Not enough arguments",
     2},
    {"*getLocModelParams", in_scope, "w -A b", {"@ find {-a='b'}", "getLocModelParams 'w' {-a='b'}"}, kOptions, 1},
    {"*getXDCInfo", in_scope, "1 2 3 -A b", {"@ find {-a='b'}", "getXDCInfo '1' '2' '3' 'false' {-a='b'}"}, kList, 3},
    {"*getXDCInfo_upgrade", flat, "1 2 3 4 -A b", {"@ find {-a='b'}", "getXDCInfo '1' '2' '3' '4' {-a='b'}"}, kList, 4},
    {"*getExampleXDCInfo",
     in_scope,
     "1 2 3 -A b",
     {"@ find {-a='b'}", "getExampleXDCInfo '1' '2' '3' {-a='b'}"},
     kList,
     3},
    {"*getOutputImpedencePorts",
     both,
     "1 2 -A b",
     {"@ find {-a='b'}", "getOutputImpedencePorts '1' '2' {-a='b'}"},
     kList,
     2},
    {"*getIOStandardConstraints",
     both,
     "1 2 3 -A b",
     {"@ find {-a='b'}", "getIOStandardConstraints '1' '2' '3' {-a='b'}"},
     kList,
     3},
    {"*getTopLevelPorts", in_scope, "1 2 3 -A b", {"@ find {-a='b'}", "getTopLevelPorts '1'"}, kList, 3},
    {"*getRIUMapVector", in_scope, "i -A b", {"@ find 'i'", "getRIUMapVector {-a='b'}"}, kList, 1},
    {"*getDataBitsPerStrobe", both, "i 2 3", {"@ find 'i'", "getDataBitsPerStrobe '2' '3'"}, kText, 3},
    {"*getDeviceWidth", both, "i 2 3", {"@ find 'i'", "getDeviceWidth '2' '3'"}, kText, 3},
    {"*getIOBMapStr", in_scope, "i -A b", {"@ find 'i'", "getIOBMapStr {-a='b'}"}, kList, 1},
    {"*getDDRMapStr", in_scope, "i -A b", {"@ find 'i'", "getDDRMapStr {-a='b'}"}, kList, 1},
    {"*CheckIOPlanningCompletion",
     in_scope,
     "i 2 -A b",
     {"@ find 'i'", "CheckIOPlanningCompletion '2' {-a='b'}"},
     "-3",
     2},
    {"*byteSelectionStatus", in_scope, "i 2", {"@ find 'i'", "byteSelectionStatus '2'"}, "-3", 2},
    {"*ThrowError", in_scope, "i", {}, nullptr, 1},
};

std::vector<Case> const kMig = {
    {"Ip_mig_customize",
     in_scope,
     "i -A b",
     {"@ doCustomize 'i' {-a='b'}"},
     kRange,
     1,
     "ip_mig_customize : Not enough arguments"},
    {"Ip_mig_InputClockList", in_scope, "i 2 3", {"@ find 'i'", "InputClockPeriod '2' '3'"}, kRange, 3},
    {"*CsvCheck", in_scope, "-A b", {"checkCSVs {-a='b'}"}, kRange, 0},
    {"*getSignalDetails",
     in_scope,
     "w -A b",
     {"@ find {-a='b'}", "getSignalDetails 'w'"},
     "{out 1} {out 2} {out 3} {out 4}",
     1},
    {"*getSignal", in_scope, "w -A b", {"@ find {-a='b'}", "getSignal 'w'"}, "{out 1}", 1},
    {"*getPadDetails",
     in_scope,
     "w -A b",
     {"@ find {-a='b'}", "getPadDetails 'w'"},
     "{out 1} {out 2} {out 3} {out 4}",
     1},
    {"*getSignalForPad", in_scope, "w -A b", {"@ find {-a='b'}", "getSignalForPad 'w'"}, "{out 1}", 1},
    {"*getPadNameForSignal", in_scope, "w -A b", {"@ find {-a='b'}", "getPadNameForSignal 'w'"}, "{out 1}", 1},
    {"*getSignalName", in_scope, "1 2 3 4 -A b", {"@ find {-a='b'}", "getSignalName '1' '2' '3' '4'"}, "{out 1}", 4},
    {"*setSelectedBytes",
     both,
     "i {DQ[0]} B L -A b",
     {"@ find 'i'", "setSelectedBytes {DQ[0]=['B' 'L']} {-a='b'}"},
     "",
     1},
    {"*getDefaultbyteSelections", in_scope, "i -A b", {"@ find 'i'", "getDefaultbyteSelections {-a='b'}"}, kPins, 1},
    {"*getAssignedPinDetails", in_scope, "-A b", {"@ find {-a='b'}", "getAssignedPinDetails '-1'"}, kPins, 0},
    {"*getAssignedPinDetailsForCtrl", in_scope, "w -A b", {"@ find {-a='b'}", "getAssignedPinDetails 'w'"}, kPins, 1},
    {"*getMinMaxPeriodOfMemoryType",
     in_scope,
     "w C0.DDR4_A b",
     {"@ find {c0.ddr4_a='b'}", "getMinMaxPeriodOfMemoryType 'w' {c0.ddr4_a='b'}"},
     kOptions,
     1,
     "*getMinMaxPeriodOfMemoryType : Not enough arguments"},
    {"*ClockingModelParams",
     in_scope,
     "i 2 3 4 5",
     {"@ find 'i'", "getClockingModelParams '4' '3' '5'"},
     kOptions,
     5,
     "*ClockingModelParams_v@: Not enough arguments",
     1},
    {"*getAsssignedPinCount", in_scope, "-A b", {"@ find {-a='b'}", "getAsssignedPinCount {-a='b'}"}, "-3", 0},
    {"*getBanksAvailable", in_scope, "i -A b", {"@ find 'i'", "getBanksAvailable {-a='b'}"}, "-3", 1},
    {"*getBanksUsed", in_scope, "-A b", {"@ find {-a='b'}", "getBanksUsed {-a='b'}"}, "-3", 0},
    {"*getTotalPinCnt", in_scope, "-A b", {"@ find {-a='b'}", "getTotalPinCnt {-a='b'}"}, "-3", 0},
    {"*getTotalPortCnt", in_scope, "i -A b", {"@ find 'i'", "getTotalPortCnt {-a='b'}"}, "-3", 1},
    {"*getClockRoot", in_scope, "i 2 3", {"@ find 'i'", "getClockRoot '2' '3'"}, kText, 3},
    {"*getPhyParamVector", in_scope, "i -A b", {"@ find 'i'", "getPhyParamVector {-a='b'}"}, kList, 1},
    {"*getParamVector", in_scope, "i -A b", {"@ find 'i'", "getParamVector {-a='b'}"}, kList, 1},
    {"*getValidMemoryVoltages", flat, "i 2 3 4 5", {"@ find 'i'", "getValidMemoryVoltages '2' '3' '4' '5'"}, kList, 5},
    {"Ip_mig_updateBankBytePropertiesAsPerPins",
     both,
     "i 2",
     {"@ find 'i'", "updateBankBytePropertiesAsPerPins 0 '2'"},
     "",
     2},
    {"Ip_mig_getSelectedByteMap", in_scope, "-A b", {"@ find {-a='b'}", "getSelectedByteMap 0"}, kPins, 0},
};

std::vector<Case> const k71Alone = {
    {"*getMinMaxPeriodOfMemoryPart",
     in_scope,
     "w C0.DDR4_A b",
     {"@ find {c0.ddr4_a='b'}", "getMinMaxPeriodOfMemoryPart 'w' {c0.ddr4_a='b'}"},
     kOptions,
     1,
     "*getMinMaxPeriodOfMemoryPart : Not enough arguments"},
};

std::vector<Case> const kMemory = {
    {"*customize",
     in_scope,
     "i -A b",
     {"@ doCustomize 'i' {-a='b'}"},
     kRange,
     1,
     "Ip_memory_customize : Not enough arguments"},
    {"*validate_custom_parts",
     in_scope,
     "i 2",
     {"@ find 'i'", "validateCustomParts '2'"},
     "true",
     2,
     "Ip_memory_validate_custom_parts_v1 : Not enough arguments"},
    {"*InputClockList", in_scope, "i -A b", {"@ find 'i'", "getInputClockPeriodValues {-a='b'}"}, kRange, 1},
    {"*VCORange",
     in_scope,
     "w -A b",
     {"@ find {-a='b'}", "getVCORange 'w' {-a='b'}"},
     kOptions,
     1,
     "Ip_memory_VCORange_v1 : Not enough arguments"},
    {"*getSpeedFileData",
     in_scope,
     "i 2 -A b",
     {"@ find 'i'", "getSpeedFileData '2' {-a='b'}"},
     "2.500",
     2,
     "Ip_memory_getSpeedFileData_v1 : Not enough arguments"},
    {"*getBUFGCE",
     in_scope,
     "i 2 -A b",
     {"@ find 'i'", "getKeywordValue '2' {-a='b'}"},
     "2.500",
     2,
     "Ip_memory_getBUFGCE_v1 : Not enough arguments"},
    {"*getBUFGCEVal",
     in_scope,
     "i 2 -A b",
     {"@ find 'i'", "getBUFGCEMax '2' {-a='b'}"},
     "2.500",
     2,
     "Ip_memory_getBUFGCEMax_v1 : Not enough arguments"},
    {"*getMinBUFGCEVal",
     in_scope,
     "i 2 -A b",
     {"@ find 'i'", "getBUFGCEMin {-a='b'}"},
     "2.500",
     2,
     "Ip_memory_getBUFGCEMin_v1 : Not enough arguments"},
    {"*loadCustomPartsDataFromAttrib",
     in_scope,
     "i 2 Abc D aBC e",
     {"@ find 'i'", "loadCustomParts '2' {Abc='D' aBC='e'}"},
     "",
     2},
    {"*retrieveCustomPartsData", in_scope, "i 2 3 4", {"@ find 'i'", "retrieveCustomParts '2' '3' '4'"}, kOptions, 4},
    {"*getMinMaxPeriodOfMemoryType",
     in_scope,
     "w C0.DDR4_A b",
     {"@ find {-a='b'}", "getMinMaxPeriodOfMemoryType 'w' {-a='b'}"},
     kOptions,
     1,
     "*getMinMaxPeriodOfMemoryType : Not enough arguments"},
    {"*getMinMaxPeriodOfMemoryPart",
     in_scope,
     "w C0.LPDDR3_A b",
     {"@ find {-a='b'}", "getMinMaxPeriodOfMemoryPart 'w' {-a='b'}"},
     kOptions,
     1,
     "*getMinMaxPeriodOfMemoryPart : Not enough arguments"},
    {"*getMinMaxPeriodOfSlot",
     in_scope,
     "w c0.ddr4_slot b",
     {"@ find {-slot='b'}", "getMinMaxPeriodOfSlot 'w' {-slot='b'}"},
     kOptions,
     1,
     "*getMinMaxPeriodOfSlot : Not enough arguments"},
    {"*getMinMaxPeriodOfDataWidth",
     in_scope,
     "w -c0.qdriv_A b",
     {"@ find {--a='b'}", "getMinMaxPeriodOfDataWidth 'w' {--a='b'}"},
     kOptions,
     1,
     "*getMinMaxPeriodOfDataWidth : Not enough arguments"},
    {"*ClockingModelParams",
     in_scope,
     "i 2 3 4 5",
     {"@ find 'i'", "getClockingModelParams {-controllertype='4' -inputclockperiod='3' -timeperiod='5'}"},
     kOptions,
     5,
     "Ip_memory_ClockingModelParams_v1: Not enough arguments",
     1},
    {"*getODTPorts", in_scope, "1 2 -A b", {"@ find {-a='b'}", "getODTPorts '1' '2' {-a='b'}"}, kList, 2},
    {"*getValidMemoryVoltages", flat, "i -A b", {"@ find 'i'", "getIOVoltage {-a='b'}"}, kList, 1},
    {"*updateBankBytePropertiesAsPerPins",
     both,
     "i 2",
     {"@ find 'i'", "updateBankBytePropertiesAsPerPins 0 '2'"},
     "",
     2},
    {"Ip_getEnPP_4RMirParam",
     in_scope,
     "w C0.A b",
     {"@ find {-a='b'}", "getEnablePP4RMirParameter 'w' {-a='b'}"},
     kText,
     1,
     "Ip_getEnPP_4RMirParam : Not enough arguments"},
};

std::vector<Case> const kSerialCases = {
    {"*defaultIOPlanning", in_scope, "i -A b", {"@ find 'i'", "advwizDefaultPinAssignment {-a='b'}"}, kOptions, 1},
    {"*nibbleGrouping", in_scope, "i -A b", {"@ find 'i'", "advwizNibbleGrouping {-a='b'}"}, kPins, 1},
    {"*generateMapData", in_scope, "i 2 3", {"@ find 'i'", "advwizGenerateMapData '2' '3'"}, kOptions, 3},
    {"*getDqsVsDataNibbles", in_scope, "i -A b", {"@ find 'i'", "adwizGetStrobeVsDataNibbles {-a='b'}"}, kPins, 1},
};

// -------------------------------------------------------------------------------------------------------- the tests

std::string replaced(std::string text, char what, std::string const& by) {
  for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + by.size()))
    text.replace(at, 1, by);
  return text;
}

class MemoryCommands : public testing::Test {
 protected:
  MemoryCommands() : interp_((Tcl_FindExecutable(nullptr), Tcl_CreateInterp())) {
    Kdi_iptasks_Init(interp_);
    recording::reset();
  }
  ~MemoryCommands() override { Tcl_DeleteInterp(interp_); }

  Answer run(std::string const& script) {
    calls.clear();
    return answer_of(interp_, script);
  }

  // Calls `visit(model, command, name)` for each name of each command.
  template <class Visit>
  static void for_each_name(Visit visit) {
    const auto visit_all = [&visit](Model const& model, std::vector<Case> const& commands) {
      for (Case const& command : commands) {
        const std::string base = replaced(command.name, '*', model.prefix);
        if (command.forms & in_scope) visit(model, command, model.scope + base);
        if (command.forms & flat) visit(model, command, model.flat + base);
      }
    };
    for (Model const& model : {k70, k71, kV1}) visit_all(model, kCommon);
    for (Model const& model : {k70, k71}) visit_all(model, kMig);
    visit_all(k71, k71Alone);
    visit_all(kV1, kMemory);
    visit_all(kSerial, kSerialCases);
  }

  static std::string filled(Model const& model, std::string const& text) {
    const bool is_version = text.find("_v@") != std::string::npos;
    std::string version = model.label;
    if (is_version) version = replaced(version, '.', "_");
    return replaced(replaced(text, '@', version), '*', model.prefix);
  }

  std::vector<std::string> elements(std::string const& list) {
    std::vector<std::string> texts;
    int count = 0;
    char const** words = nullptr;
    EXPECT_EQ(Tcl_SplitList(interp_, list.c_str(), &count, &words), TCL_OK);
    texts.assign(words, words + count);
    Tcl_Free(reinterpret_cast<char*>(words));
    return texts;
  }
  static std::string call(std::string const& name, Texts const& words) {
    std::string script = name;
    for (std::string const& word : words) script += " {" + word + "}";
    return script;
  }

  Tcl_Interp* interp_;
};

TEST_F(MemoryCommands, EachAsksItsOperationWithItsWordsAndGivesTheAnswerInItsForm) {
  for_each_name([this](Model const& model, Case const& command, std::string const& name) {
    if (command.result == nullptr) return;
    EXPECT_EQ(run(name + " " + command.words), ok(command.result)) << name;
    Texts expected;
    for (char const* one : command.calls) expected.push_back(filled(model, one));
    EXPECT_EQ(calls, expected) << name;
  });
}

TEST_F(MemoryCommands, TheseAreAllThatThereAre) {
  std::set<std::string> told;
  for_each_name(
      [&told](Model const&, Case const&, std::string const& name) { EXPECT_TRUE(told.insert(name).second) << name; });
  EXPECT_EQ(told.size(), 186U);
  std::set<std::string> there;
  for (char const* pattern :
       {"mig::mig_v7_0::*", "mig::mig_v7_1::*", "memory::memory_v1::*", "advwiz::advwiz_v1::*", "mig_*", "memory_*"})
    for (std::string const& name : elements(run("info commands " + std::string(pattern)).result))
      there.insert(name.starts_with("::") ? name.substr(2) : name);
  EXPECT_EQ(there, told);
}

TEST_F(MemoryCommands, AnInstanceThatIsNotThereIsToldAndNothingAsked) {
  int seen = 0;
  for_each_name([&](Model const& model, Case const& command, std::string const& name) {
    if (command.calls.size() < 2) return;
    ++seen;
    const bool is_by_name = std::string(command.calls[0]) == "@ find 'i'";
    Texts words = elements(command.words);
    if (is_by_name) {
      words[0] = "none";
    } else {
      words.push_back("-instance_name");
      words.push_back("none");
    }
    const bool is_odd_one = std::string(command.name) == "Ip_getEnPP_4RMirParam";
    EXPECT_EQ(run(call(name, words)),
              error(is_odd_one ? "Internal Error: Ip_getEnPP_4RMirParam : Mig dummy param error" : kNoInstance))
        << name;
    ASSERT_EQ(calls.size(), 1U) << name;
    EXPECT_EQ(calls[0].find(std::string(model.label) + " find "), 0U);
  });
  EXPECT_EQ(seen, 163);
}

TEST_F(MemoryCommands, MissingWordsAreTold) {
  for_each_name([&](Model const& model, Case const& command, std::string const& name) {
    const Texts words = elements(command.words);
    const std::string text = command.too_few != nullptr
                                 ? filled(model, command.too_few)
                                 : replaced(command.name, '*', model.prefix) + " : Not enough arguments";
    for (int count = 0; count < command.needs; ++count) {
      const Texts given(words.begin(), words.begin() + count);
      EXPECT_EQ(run(call(name, given)), error(text)) << name << " with " << count;
      for (std::string const& asked : calls) EXPECT_NE(asked.find(" find "), std::string::npos) << asked;
      const bool is_told_first = command.too_few != nullptr && (command.told_first < 0 || count < command.told_first);
      const bool has_instance = command.calls.size() == 2;
      EXPECT_EQ(calls.empty(), is_told_first || !has_instance) << name << " with " << count;
    }
  });
}

TEST_F(MemoryCommands, AnInstanceThatIsNotThereIsToldBeforeMissingWords) {
  EXPECT_EQ(run("mig::mig_v7_1::Ip_Mig_getClockRoot none"), error(kNoInstance));
  EXPECT_EQ(calls, Texts{"7.1 find 'none'"});
  EXPECT_EQ(run("memory_v1_Ip_memory_setSignal none 2 3"), error(kNoInstance));
  EXPECT_EQ(run("mig::mig_v7_1::Ip_Mig_getClockRoot"), error("Ip_Mig_getClockRoot : Not enough arguments"));
  EXPECT_EQ(calls, Texts{"7.1 find ''"}) << "a word that is missing is empty";
  EXPECT_EQ(run("mig::mig_v7_0::Ip_Mig_BankSelModelParams none"),
            error("Ip_Mig_BankSelModelParams: Not enough arguments"));
  EXPECT_EQ(calls, Texts{}) << "counted first";
  EXPECT_EQ(run("mig::mig_v7_0::Ip_Mig_BankSelModelParams none 2"), error(kNoInstance));
  EXPECT_EQ(run("memory::memory_v1::Ip_memory_ClockingModelParams none"), error(kNoInstance));
  EXPECT_EQ(run("memory::memory_v1::Ip_memory_validate_custom_parts none"),
            error("Ip_memory_validate_custom_parts_v1 : Not enough arguments"));
  EXPECT_EQ(calls, Texts{});
}

TEST_F(MemoryCommands, SurplusWordsAreIgnored) {
  EXPECT_EQ(run("mig::mig_v7_1::Ip_Mig_getClockRoot i 2 3 4 5"), ok(kText));
  EXPECT_EQ(calls.back(), "getClockRoot '2' '3'");
  EXPECT_EQ(run("mig_mig_v7_1_Ip_Mig_getValidMemoryVoltages i 2 3 4 5 6"), ok(kList));
  EXPECT_EQ(calls.back(), "getValidMemoryVoltages '2' '3' '4' '5'");
  EXPECT_EQ(run("mig::mig_v7_1::Ip_Mig_ClockingModelParams i 2 3 4 5 6"), ok(kOptions));
  EXPECT_EQ(calls.back(), "getClockingModelParams '4' '3' '5'");
}

TEST_F(MemoryCommands, OptionsWithoutAValue) {
  for (char const* name : {"mig::mig_v7_1::Ip_mig_customize", "mig::mig_v7_0::Ip_mig_customize"})
    EXPECT_EQ(run(std::string(name) + " i -a"), error("ip_mig_customize : Not enough arguments"));
  EXPECT_EQ(run("memory::memory_v1::Ip_memory_customize i -a b -c"),
            error("Ip_memory_customize : Not enough arguments"));
  EXPECT_EQ(run("memory::memory_v1::Ip_getEnPP_4RMirParam i -a"),
            error("Ip_getEnPP_4RMirParam : Not enough arguments"));
  EXPECT_EQ(run("memory::memory_v1::Ip_memory_getMinMaxPeriodOfSlot i -a"),
            error("Ip_memory_getMinMaxPeriodOfSlot : Not enough arguments"));
  EXPECT_EQ(calls, Texts{}) << "those that count are not fooled";
  EXPECT_EQ(run("mig::mig_v7_1::Ip_Mig_getBanksUsed -a b -c"), ok("-3"));
  EXPECT_EQ(calls.back(), "getBanksUsed {-a='b'}") << "others leave it out";
}

TEST_F(MemoryCommands, TheInstanceAlone) {
  EXPECT_EQ(run("mig::mig_v7_1::Ip_mig_customize i"), ok(kRange));
  EXPECT_EQ(calls, Texts{"7.1 doCustomize 'i' {}"});
  EXPECT_EQ(run("mig::mig_v7_1::Ip_Mig_setSelectedBytes i"), ok());
  EXPECT_EQ(calls.back(), "setSelectedBytes {} {}");
}

TEST_F(MemoryCommands, RangesAreOneElement) {
  answers.range = {true, {}};
  EXPECT_EQ(run("mig::mig_v7_0::Ip_mig_InputClockList i 2 3"), ok("-enabled true -range {}"));
  answers.range = {false, {"one", "two words"}};
  EXPECT_EQ(run("llength [mig::mig_v7_0::Ip_Mig_CsvCheck]"), ok("4"));
  EXPECT_EQ(run("mig::mig_v7_0::Ip_Mig_CsvCheck"), ok("-enabled false -range {one,two words}"))
      << "a negative answer is data";
  answers.range = {true, {"a,b", "c"}};
  EXPECT_EQ(run("memory::memory_v1::Ip_memory_InputClockList i"), ok("-enabled true -range a,b,c"));
}

TEST_F(MemoryCommands, PinWordsAndOptionsBehindThem) {
  for (char const* name :
       {"mig::mig_v7_1::Ip_Mig_setSelectedBytes", "mig_mig_v7_1_Ip_Mig_setSelectedBytes",
        "mig_mig_v7_0_Ip_Mig_setSelectedBytes_upgrade", "memory_v1_Ip_memory_setSelectedBytes_upgrade"}) {
    const auto asked = [&](std::string const& words) {
      EXPECT_EQ(run(std::string(name) + " i " + words), ok());
      return calls.back().substr(calls.back().find(' ') + 1);
    };
    EXPECT_EQ(asked("{DQ[0]} a b {DQ[1]} c d -Opt v"), "{DQ[0]=['a' 'b'] DQ[1]=['c' 'd']} {-opt='v'}");
    EXPECT_EQ(asked("-Opt v -o w"), "{} {-o='w' -opt='v'}") << "no pins: all are options";
    EXPECT_EQ(asked("{DQ[0]} a {DQ[1]} b c"), "{DQ[1]=['a' 'b' 'c']} {}") << "what was left is the next one's";
    EXPECT_EQ(asked("{DQ[0]} a b {DQ[1]} c"), "{DQ[0]=['a' 'b']} {}") << "a pin without its second word";
    EXPECT_EQ(asked("{DQ[0]} a b {DQ[1]}"), "{DQ[0]=['a' 'b']} {}");
    EXPECT_EQ(asked("{DQ[0]} a Q-b c d e"), "{Q-b=['a' 'c' 'd']} {}") << "e ends the pins, an option without value";
    EXPECT_EQ(asked("Address/Ctrl-0 a b -k v -k w"), "{Address/Ctrl-0=['a' 'b']} {-k='w'}");
    EXPECT_EQ(asked("{D[0]} a b {D[0]} c d"), "{D[0]=['c' 'd']} {}");
    EXPECT_EQ(asked("address/ctrl-0 a"), "{} {address/ctrl-0='a'}") << "in small letters it is none";
  }
}

TEST_F(MemoryCommands, KeysOfAttributesKeepTheirCaseAndOthersDoNot) {
  EXPECT_EQ(run("memory::memory_v1::Ip_memory_loadCustomPartsDataFromAttrib i n tCK 1 TCK 2"), ok());
  EXPECT_EQ(calls.back(), "loadCustomParts 'n' {TCK='2' tCK='1'}");
  EXPECT_EQ(run("memory::memory_v1::Ip_memory_setSelectedBytes_new i -TimePeriod AbC"), ok());
  EXPECT_EQ(calls.back(), "setSelectedBytes_new {-timeperiod='AbC'}");
}

TEST_F(MemoryCommands, AControllersParametersAreFoldedIntoOptions) {
  for (char const* prefix : {"C0.DDR4_", "c0.lpddr3_", "c0.DDR3_", "c0.rld3_", "c0.qdriip_", "c0.qdriv_", "c0.", "-"}) {
    EXPECT_EQ(run(std::string("memory::memory_v1::Ip_memory_getMinMaxPeriodOfMemoryType w ") + prefix + "TimePeriod 1"),
              ok(kOptions));
    EXPECT_EQ(calls, (Texts{"v1 find {-timeperiod='1'}", "getMinMaxPeriodOfMemoryType 'w' {-timeperiod='1'}"}));
  }
  EXPECT_EQ(run("mig::mig_v7_1::Ip_Mig_getMinMaxPeriodOfMemoryType w C0.DDR4_TimePeriod 1"), ok(kOptions));
  EXPECT_EQ(calls.back(), "getMinMaxPeriodOfMemoryType 'w' {c0.ddr4_timeperiod='1'}") << "the elder model does not";
}

TEST_F(MemoryCommands, NumbersHaveThreeDecimalsUnderEveryLocale) {
  const DecimalComma comma;
  for (char const* name : {"getSpeedFileData i k", "getBUFGCE i k", "getBUFGCEVal i k", "getMinBUFGCEVal i k"})
    for (auto const& [number, text] : {std::pair{2.5, "2.500"},
                                       {0.0, "0.000"},
                                       {-1.0005, "-1.000"},
                                       {1234567.8915, "1234567.891"},
                                       {0.9996, "1.000"}}) {
      answers.number = number;
      EXPECT_EQ(run(std::string("memory::memory_v1::Ip_memory_") + name), ok(text)) << name;
    }
}

TEST_F(MemoryCommands, ATextThatTheEngineThrowsIsTheErrorAndOtherExceptionsAreOnesOfTheCommand) {
  for_each_name([this](Model const&, Case const& command, std::string const& name) {
    answers.thrown = [] { throw std::string("text of {the engine"); };
    if (!command.calls.empty())
      EXPECT_EQ(run(name + " " + command.words), error("text of {the engine")) << name;
    else
      EXPECT_EQ(run(name + " {a {b}"), (Answer{TCL_ERROR, "missing close-brace"}));
  });
  answers.thrown = [] { throw std::runtime_error("another exception"); };
  EXPECT_EQ(run("mig::mig_v7_1::Ip_Mig_getSignal w"), error("another exception"));
  answers.thrown = [] { throw 1; };
  EXPECT_EQ(run("mig::mig_v7_1::Ip_Mig_getSignal w"), error("unknown exception"));
}

TEST_F(MemoryCommands, AScriptCanFailWithATextOfItsOwn) {
  for (char const* name : {"mig::mig_v7_0::Ip_Mig_ThrowError", "mig::mig_v7_1::Ip_Mig_ThrowError",
                           "memory::memory_v1::Ip_memory_ThrowError"}) {
    EXPECT_EQ(run(std::string(name) + " {a text  of %s words} more"), error("a text  of %s words"));
    EXPECT_EQ(run(std::string(name) + " {}"), error());
    EXPECT_EQ(calls, Texts{});
  }
}

TEST_F(MemoryCommands, NamesWithoutTheOtherForm) {
  for (char const* name :
       {"mig::mig_v7_1::Ip_Mig_getValidMemoryVoltages", "mig::mig_v7_1::Ip_Mig_getXDCInfo_upgrade",
        "mig::mig_v7_1::Ip_Mig_setSelectedBytes_upgrade", "mig_mig_v7_1_Ip_Mig_getXDCInfo",
        "mig::mig_v7_0::Ip_Mig_getMinMaxPeriodOfMemoryPart", "memory::memory_v1::Ip_memory_setSelectedBytes"})
    EXPECT_EQ(run(name), error("invalid command name \"" + std::string(name) + "\""));
}

// ------------------------------------------------------------------------------------------------ the debug channel

class Channel {
 public:
  explicit Channel(int level) { message_host::set_channel("mig_ip.debug", level); }
  ~Channel() { message_host::set_channel("mig_ip.debug", -1); }

  std::string told() const {
    std::string all;
    for (auto const& message : capture_.messages()) {
      EXPECT_EQ(message.scope, "mig_ip.debug");
      EXPECT_EQ(message.category, "tcltasks");
      EXPECT_EQ(message.mask, ComMsgMgr::MSG_DEBUG1);
      all += message.text;
    }
    return all;
  }

 private:
  message_host::Capture capture_;
};

TEST_F(MemoryCommands, ElevenTellTheDebugChannelOfEntryOptionsAndExit) {
  const std::string scope = "memory::memory_v1::";
  struct Told {
    std::string call, name, first, options, result;
    int words;
  };
  const Told all[] = {
      {scope + "Ip_memory_customize i -B c -A b", "Customize_v1", "i", "-a [b] -b [c] ", kRange, 6},
      {scope + "Ip_memory_InputClockList i -A b", "InputClockList", "i", "-a [b] ", kRange, 4},
      {scope + "Ip_memory_validate_custom_parts i f", "validate_custom_parts", "i", "-", "true", 3},
      {scope + "Ip_memory_loadPkg -A b", "loadPkg", "-A", "-a [b] ", "", 3},
      {"memory_v1_Ip_memory_unLoadPkg", "unLoadPkg", "", "", "", 1},
      {scope + "Ip_memory_loadCustomPartsData i f t", "loadCustomPartsData", "i", "-", "", 4},
      {scope + "Ip_memory_loadCustomPartsDataFromAttrib i n Ab c", "loadCustomPartsDataFromAttrib", "i", "Ab [c] ", "",
       5},
      {scope + "Ip_memory_getmodelParams w -A b", "getmodelParams", "w", "-a [b] ", kOptions, 4},
      {scope + "Ip_memory_ClockingModelParams i 2 3 4 5", "ClockingModelParams", "i",
       "-controllertype [4] -inputclockperiod [3] -timeperiod [5] ", kOptions, 6},
      {scope + "Ip_memory_getXDCInfo 1 2 3 -A b", "getXDCInfo", "1", "-a [b] ", kList, 6},
      {"memory_v1_Ip_memory_getXDCInfo_upgrade 1 2 3 4 -A b", "getXDCInfo_upgrade", "1", "-a [b] ", kList, 7},
  };
  for (Told const& one : all) {
    const Channel channel(1);
    EXPECT_EQ(run(one.call).code, TCL_OK);
    const std::string begin = "\t Mig::Ip_memory_" + one.name;
    EXPECT_EQ(channel.told(), begin + "- objc: " + std::to_string(one.words) + " first: " + one.first + " Enter\n" +
                                  (one.options == "-" ? "" : "\t\t arguments: " + one.options + "\n") + begin +
                                  "- result: 0 " + one.result + " Exit\n");
  }
}

TEST_F(MemoryCommands, NoOtherIsToldAndNoneToAChannelThatIsOff) {
  const Channel channel(1);
  std::set<std::string> told;
  for_each_name([&](Model const&, Case const& command, std::string const& name) {
    const std::size_t before = channel.told().size();
    run(name + " " + command.words);
    if (channel.told().size() != before) told.insert(replaced(command.name, '*', ""));
  });
  EXPECT_EQ(told.size(), 11U);
  const Channel off(0);
  EXPECT_EQ(run("memory::memory_v1::Ip_memory_customize i -A b"), ok(kRange));
  EXPECT_EQ(off.told(), "");
}

TEST_F(MemoryCommands, AFailureIsToldAsWell) {
  const Channel channel(5);
  run("memory::memory_v1::Ip_memory_getmodelParams w -instance_name none");
  EXPECT_EQ(channel.told(),
            "\t Mig::Ip_memory_getmodelParams- objc: 4 first: w Enter\n\t\t arguments: -instance_name [none] \n"
            "\t Mig::Ip_memory_getmodelParams- result: 1 Internal Error: MIG instance load error Exit\n");
}

}  // namespace
