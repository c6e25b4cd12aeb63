// The model of the newer processing systems against a core that records: what is asked, in which order, what is told.
#include <gtest/gtest.h>
#include <tcl.h>

#include "kdi/common/HTCTclInterp.h"
#include "kdi/ippcw/HardIP.h"
#include "tcltasks/psmodels/HACGCPSPMCCustomDRCModel.h"
#include "tcltasks/psmodels/model_table.h"
#include "tests/support/model_fixture.h"
#include "tests/support/program.h"

namespace {

using Model = HACGCPSPMCCustomDRCModel;
using OutMap = Model::OutMap;
using recording_core::rows;

constexpr char const* kAbsent = "1 Unable to find Hard IPInst\n";

class Pspmc : public ModelTest {
 protected:
  void init(std::string const& core = "top", ParamMap params = {}) {
    context = {{"ps_core_name", core}, {"instance_name", "u1"}};
    OutMap outputs;
    StrVec errors;
    model->init_params(params, outputs, context, errors, 1);
    forget();
  }
  Texts info(std::string const& name, Model::paramInfo kind) {
    Texts answer;
    model->getParamInfo(name, kind, answer);
    return answer;
  }
  // What becomes of values against ranges.
  ParamMap judged(ParamMap params, RawResult raw) {
    ParamMap messages;
    model->validateParamRanges(params, raw, messages);
    return messages;
  }
  std::string judged(std::string const& value, Texts const& range, std::string const& widget,
                     std::string const& state = "ENABLE") {
    const ParamMap messages = judged({{"P", value}}, {{"P", rows("now", range, state, widget)}});
    return messages.empty() ? "" : messages.at("P");
  }

  Made<Model> model{pspmcRulesObjInit, pspmcRulesObjDelete};
  ParamMap context;
};

// ------------------------------------------------------------------------------------------------ init_params

TEST_F(Pspmc, InitAsksInStrengthFiveWhateverIsGiven) {
  answers.outputs = {{"A", rows("1", {"1", "2"}, "ENABLE", "COMBO")}};
  answers.messages = {{"A", "an error of the scratch call"}};
  model->subPresetChoices = {{"MODE", {"x", "y"}}, {"NONE", {}}};
  model->subPresetInfos = {{"MODE", {{"x", "text of x"}}}};
  ParamMap params{{"A", "1"}}, its_context{{"ps_core_name", "top"}, {"instance_name", "u1"}};
  OutMap outputs;
  StrVec errors;
  EXPECT_TRUE(model->init_params(params, outputs, its_context, errors, 1));
  EXPECT_EQ(calls(),
            (Texts{"storeUserParams {A=1}", "getRanges {A=1} 5", "getOutputParams", "translateParamNames {}"}));
  EXPECT_EQ(shown(outputs), "A: 0=1,2 1=1 2=true; ");
  EXPECT_TRUE(model->getParametersWithErrors().empty());
  EXPECT_EQ(told("PSPMC.DBG"),
            (Texts{"1 Strength = 1 \n", "1 subPreset param MODE\n", "1 subPreset param choice x and msg text of x\n",
                   "1 subPreset param choice y and msg \n", "1 subPreset param NONE\n",
                   "5 Setting OUTPUT Parameter param=A,value=1,range=1,2,Enabled=ENABLE,Widget=COMBO\n"}));
}

TEST_F(Pspmc, InitTellsWhyThereIsNoCore) {
  for (auto const& [core, reason] : {std::pair{"refused", "no such thing"}, {"nowhere", "no core \"nowhere\""}}) {
    ParamMap params, its_context{{"ps_core_name", core}};
    OutMap outputs;
    StrVec errors;
    EXPECT_FALSE(model->init_params(params, outputs, its_context, errors, 5));
    ASSERT_FALSE(errors.empty());
    EXPECT_EQ(errors[0].substr(0, std::string(reason).size()), reason);
    EXPECT_TRUE(outputs.empty());
  }
  StrVec errors{"from before"};
  ParamMap params, its_context{{"ps_core_name", "top"}};
  OutMap outputs;
  EXPECT_FALSE(model->init_params(params, outputs, its_context, errors, 5)) << "errors that were there count";
}

TEST_F(Pspmc, InitKeysChoicesByTheEnginesNames) {
  answers.names = {{"CONFIG.A", "A"}, {"OLD", "NEW"}, {"NEW", "NEWER"}};
  model->choiceMappings = {
      {"CONFIG.A", {{"1", "one"}}}, {"OLD", {{"2", "two"}}}, {"NEW", {{"3", "three"}}}, {"SAME", {{"4", "four"}}}};
  init();
  EXPECT_EQ(
      model->choiceMappings,
      (std::map<std::string, StrPairs>{
          {"A", {{"1", "one"}}}, {"NEW", {{"2", "two"}}}, {"NEWER", {{"3", "three"}}}, {"SAME", {{"4", "four"}}}}));
}

TEST_F(Pspmc, InitTellsTheContextOfTheInterfaceToAWizardAlone) {
  model->setGuiContextParams({{"theme", "dark"}});
  init("wizard");
  EXPECT_EQ(recording_core::gui_context_params(), (ParamMap{{"theme", "dark"}}));
  init("plain");  // no pspmc_top at all
  EXPECT_EQ(info("A", Model::VALUE), Texts{});
}

// ------------------------------------------------------------------------------------------------ updateAll

TEST_F(Pspmc, UpdateAppliesToALiveCoreInFullStrength) {
  init();
  answers.result = {{"A", rows("7", {"1", "9"}, "ENABLE", "EDIT")}};
  ParamMap params{{"A", "7"}, {"B", "x"}}, user{{"U", "1"}};
  OutMap outputs;
  EXPECT_TRUE(model->updateAll(params, user, outputs, context));
  EXPECT_EQ(calls(), Texts{"getRanges {A=7 B=x} 10"});
  EXPECT_EQ(shown(outputs), "A: 0=1,9 1=7 2=true; ");
  EXPECT_EQ(told("PSPMC.DBG"),
            (Texts{"1 Inside TCLTask XGUI UpdateAll 3_1 Size = 2 \n", "1 UPDATE ALL results of set property\n",
                   "5 Setting OUTPUT Parameter param=A,value=7,range=1,9,Enabled=ENABLE,Widget=EDIT\n",
                   "1 FROM UPDATE ALL\n"}));
}

TEST_F(Pspmc, UpdateGivesTheUsersParametersToANewCoreAlone) {
  ParamMap params{{"A", "7"}}, user{{"U", "1"}}, fresh{{"ps_core_name", "top"}, {"instance_name", "fresh"}};
  OutMap outputs;
  EXPECT_TRUE(model->updateAll(params, user, outputs, fresh));
  EXPECT_EQ(calls(), (Texts{"storeUserParams {U=1}", "getRanges {A=7} 10"}));
  ParamMap refused{{"ps_core_name", "refused"}};
  EXPECT_TRUE(model->updateAll(params, user, outputs, refused));
  EXPECT_TRUE(outputs.empty());
}

TEST_F(Pspmc, UpdateRefusesWhatIsOutOfRangeAndTellsOutputsAllTheSame) {
  init();
  answers.result = {{"A", rows("7", {"a", "b"}, "ENABLE", "COMBO")}};
  ParamMap params{{"A", "c"}}, user;
  OutMap outputs;
  EXPECT_TRUE(model->updateAll(params, user, outputs, context)) << "validation is off unless asked for";
  const True validates("pcw.doRangeValidation");
  EXPECT_FALSE(model->updateAll(params, user, outputs, context));
  EXPECT_EQ(model->getParametersWithErrors(), (ParamMap{{"A", "PARAM A::c is out of range  { a,b }"}}));
  EXPECT_EQ(shown(outputs), "A: 0=a,b 1=7 2=true; ");
  const True simulates("pcw.internalSimulation");
  EXPECT_TRUE(model->updateAll(params, user, outputs, context));
  EXPECT_TRUE(model->getParametersWithErrors().empty());
}

TEST_F(Pspmc, UpdateDropsTheErrorsOfTheOneBefore) {
  init();
  ParamMap params, user;
  OutMap outputs;
  answers.messages = {{"A", "bad"}};
  EXPECT_FALSE(model->updateAll(params, user, outputs, context));
  answers.messages = {{"A", "worse"}, {"B", "Info:x"}};
  EXPECT_FALSE(model->updateAll(params, user, outputs, context));
  EXPECT_EQ(model->getParametersWithErrors(), (ParamMap{{"A", "worse"}}));
  answers.messages = {{"B", "Info:x"}};
  EXPECT_TRUE(model->updateAll(params, user, outputs, context));
  EXPECT_TRUE(model->getParametersWithErrors().empty());
}

TEST_F(Pspmc, TimeIsPrintedIfTheVariableIsExactlyTrue) {
  const auto printed = [this](std::string const& value) {
    Surroundings around;
    around.variables["BRN_ZORVAN_GETRANGE_TIME"] = value;
    return run_apart(
               [this] {
                 ParamMap none, its_context{{"ps_core_name", "top"}}, messages;
                 RawResult raw;
                 model->get_ranges(none, none, raw, its_context, messages);
                 return 0;
               },
               around)
        .out;
  };
  const std::string line = printed("TRUE");
  EXPECT_TRUE(line.starts_with("updateAll::get_range time : Approx milliseconds: ")) << line;
  EXPECT_EQ(line.find_first_not_of("0123456789", 49), line.size() - 1) << line;
  EXPECT_TRUE(line.ends_with("\n"));
  EXPECT_EQ(printed("true"), "");
}

// ------------------------------------------------------------------------------------------------ outputs

TEST_F(Pspmc, OutputsTellWhatAWidgetCanShow) {
  RawResult raw{{"both", rows("1", {"1", "2"}, "ENABLE", "")},
                {"combo", rows("", {"1", "2"}, "ENABLE", "COMBO")},
                {"combo_empty", rows("", {}, "", "COMBO")},
                {"combo_off", rows("", {"1"}, "DISABLE", "COMBO")},
                {"edit", rows("x", {}, "enable", "EDIT")},
                {"edit_empty", rows("", {}, "ENABLE", "EDIT")},
                {"check", rows("", {}, "ENABLE", "CHECKBOX")},
                {"check_value", rows("1", {}, "DISABLE", "CHECKBOX")},
                {"other", rows("1", {}, "ENABLE", "LABEL")},
                {"empty_rows", {{}, {}, {}, {}}},
                {"no_rows", {}}};
  OutMap outputs;
  model->getOUTParams(raw, outputs);
  EXPECT_EQ(shown(outputs),
            "both: 0=1,2 1=1 2=true; check: 0=0,1 1=0 2=true; check_value: 0=0,1 1=0 2=false; combo: 0=1,2 2=true; "
            "combo_empty: 0= 2=false; combo_off: 2=false; edit: 1=x 2=false; edit_empty: 2=true; empty_rows: 2=false; "
            "no_rows: 2=false; other: 2=true; ");
  raw = {{"both", rows("2", {"2"}, "ENABLE", "")}};
  model->getOUTParams(raw, outputs);
  EXPECT_EQ(outputs.at("both").at(Model::XGUI_VALUE), "1") << "what is there stays";
}

TEST_F(Pspmc, InputValuesBecomeOutputs) {
  ParamMap params{{"A", "1"}, {"B", ""}};
  OutMap outputs{{"A", {{Model::XGUI_ENABLED, "true"}}}};
  model->setInputParamValue(params, outputs);
  EXPECT_EQ(shown(outputs), "A: 2=true; B: 1=; ");
  EXPECT_EQ(told("PSPMC.DBG"), (Texts{"2 Setting INPUT param=A,value=1\n", "2 Setting INPUT param=B,value=\n"}));
}

// ------------------------------------------------------------------------------------------------ ranges

TEST_F(Pspmc, ChoicesPassBareOrInBraces) {
  for (char const* const widget : {"COMBO", "CHECKBOX"}) {
    EXPECT_EQ(judged("a b", {"a b", "c"}, widget), "");
    EXPECT_EQ(judged("{a b}", {"a b", "c"}, widget), "");
    EXPECT_EQ(judged("{a b}", {"{a b}"}, widget), "");
    EXPECT_EQ(judged("d", {"a b", "c"}, widget), "PARAM P::d is out of range  { a b,c }");
    EXPECT_EQ(judged("{d}", {"c"}, widget), "PARAM P::d is out of range  { c }");
    EXPECT_EQ(judged("{{d}}", {"c"}, widget), "PARAM P::{d} is out of range  { c }");
    EXPECT_EQ(judged("", {"c"}, widget), "PARAM P:: is out of range  { c }");
    EXPECT_EQ(judged("{}", {""}, widget), "");
    EXPECT_EQ(judged("{", {"c"}, widget), "PARAM P::{ is out of range  { c }");
    EXPECT_EQ(judged("d", {}, widget), "") << "nothing is permitted, so nothing is told";
    EXPECT_EQ(judged("d", {"c"}, widget, "DISABLE"), "");
    // The words of a check box are its values, and those of others where they have them.
    for (char const* const word : {"true", "false", "{true}"}) EXPECT_EQ(judged(word, {"0", "1"}, widget), "") << word;
    EXPECT_EQ(judged("true", {"true", "false"}, widget), "");
    EXPECT_EQ(judged("true", {"0"}, widget), "PARAM P::true is out of range  { 0 }");
    EXPECT_EQ(judged("True", {"0", "1"}, widget), "PARAM P::True is out of range  { 0,1 }");
  }
}

TEST_F(Pspmc, NumbersPassBetweenTheirBounds) {
  const auto edit = [this](std::string const& value, Texts const& range) { return judged(value, range, "EDIT"); };
  for (char const* const value : {"1", "10", "+5", "007"}) EXPECT_EQ(edit(value, {"1", "10"}), "") << value;
  EXPECT_EQ(edit("11", {"1", "10"}), "PARAM P::11 is out of range  { 1,10 }");
  for (char const* const value : {"0", "1.5", "", "abc", "{5}", "1e0", "5 ", "99999999999999999999"})
    EXPECT_EQ(edit(value, {"1", "10"}), "PARAM P::" + std::string(value) + " is out of range  { 1,10 }") << value;
  for (char const* const value : {"1.5", "2", "1e0", "10.0"}) EXPECT_EQ(edit(value, {"1", "10.0"}), "") << value;
  EXPECT_EQ(edit("true", {"1", "10"}) + edit("true", {"0.5", "4"}) + edit("false", {"0", "10"}), "");
  EXPECT_EQ(edit("false", {"1", "10"}), "PARAM P::false is out of range  { 1,10 }");
  for (char const* const value : {"10.01", "", "x", "1e400", "1,5"})
    EXPECT_EQ(edit(value, {"1", "10.0"}), "PARAM P::" + std::string(value) + " is out of range  { 1,10.0 }") << value;
  EXPECT_EQ(edit("5", {"0.5", "4", "9"}), "PARAM P::5 is out of range  { 0.5,4,9 }");
  for (Texts const& range : {Texts{}, {"1"}, {"a", "b"}, {"", ""}, {"1", "b"}}) EXPECT_EQ(edit("99", range), "");
  EXPECT_EQ(judged("99", {"1", "10"}, "EDIT", "DISABLE"), "");
  EXPECT_EQ(judged("99", {"1", "10"}, "EDIT", ""), "PARAM P::99 is out of range  { 1,10 }");
  EXPECT_EQ(judged("99", {"1", "10"}, "LABEL"), "");
}

TEST_F(Pspmc, ChecksTellWhatTheyLookAt) {
  judged("d", {"a", "b"}, "COMBO");
  EXPECT_EQ(told("PSPMC.DBG"),
            (Texts{"5 Inserting Error Message on param=P,value=d,range=a,b,Enabled=ENABLE,Widget=COMBO\n",
                   "5 Inserting Error Message on param=P,value=d,range=a,b,Enabled=ENABLE,Widget=COMBO\n"}));
  forget();
  judged("a", {}, "COMBO");
  EXPECT_EQ(told("PSPMC.DBG"),
            (Texts{"5 Inserting Error Message on param=P,value=a,range=,Enabled=ENABLE,Widget=COMBO\n",
                   "1 Param P has empty range."}));
  forget();
  judged("1.5", {"1", "2.5"}, "EDIT");
  EXPECT_EQ(told("PSPMC.DBG"),
            (Texts{"5 Inserting Error Message on param=P,value=1.5,range=1,2.5,Enabled=ENABLE,Widget=EDIT\n",
                   "3 Got Range for param = P, Min = 1, Max = 2.5\n",
                   "3 Double Range for param Min= 1.000000, Max = 2.500000, value = 1.500000 \n"}));
  forget();
  judged("1", {"1"}, "COMBO", "DISABLE");
  EXPECT_EQ(told("PSPMC.DBG"), Texts{});
}

TEST_F(Pspmc, ChecksKeepWhatIsSaidAlreadyAndPassWhatIsNotThere) {
  ParamMap params{{"P", "9"}, {"Q", "9"}}, messages{{"P", "said before"}};
  RawResult raw{{"P", rows("", {"1", "2"}, "ENABLE", "EDIT")}};
  model->validateParamRanges(params, raw, messages);
  EXPECT_EQ(messages, (ParamMap{{"P", "said before"}}));
  EXPECT_EQ(judged({{"P", "9"}}, {{"P", {}}}), ParamMap{});
  EXPECT_EQ(judged({{"P", "9"}}, {{"P", {{}, {}, {}, {"COMBO"}}}}), ParamMap{});
}

TEST_F(Pspmc, StandsAgainstMegabytes) {
  const std::string large(3'000'000, '{');
  EXPECT_EQ(judged(large + "}", {"a"}, "COMBO").size(),
            3'000'000U + std::string("PARAM P:: is out of range  { a }").size() - 1);
  EXPECT_EQ(judged(std::string(3'000'000, '9'), {"1", "10"}, "EDIT").size(),
            3'000'000U + std::string("PARAM P:: is out of range  { 1,10 }").size());
  RawResult raw{{std::string(1'000'000, 'n'), {{large}, Texts(100'000, "x"), {large}, {large}}}};
  OutMap outputs;
  model->getOUTParams(raw, outputs);
  EXPECT_EQ(outputs.begin()->second.at(Model::XGUI_RANGE).size(), 199'999U);
}

// ------------------------------------------------------------------------------------------------ changes by the user

TEST_F(Pspmc, AChangeGoesToTheEngineAndTellsWhatMoved) {
  init();
  answers.modified = {"B", "A"};
  answers.messages = {{"C", "bad"}, {"B", "also bad"}, {"I", "Info:fine"}};
  model->guiSetParam("A", "true");
  EXPECT_EQ(calls(), Texts{"guiSetParamOf {A=1}"});
  EXPECT_EQ(updates, (std::vector<Texts>{{"B", "A", "C"}}));
  EXPECT_EQ(model->getParametersWithErrors(), (ParamMap{{"B", "also bad"}, {"C", "bad"}}));
  EXPECT_EQ(said(), Texts{"INFO: [PDMS 1] fine"});
  EXPECT_EQ(told("PSPMC.DBG"), (Texts{"1 GUI Sets param A with value true\n", "2 Got message for param B - also bad \n",
                                      "2 Message on Parameter B is also bad\n", "2 Got message for param C - bad \n",
                                      "2 Message on Parameter C is bad\n", "2 Got message for param I - Info:fine \n",
                                      "1 Modified params to GUI param B\n", "1 Modified param errmsg also bad \n",
                                      "1 Modified params to GUI param A\n", "1 Modified param errmsg  \n"}));

  // the marks of before are taken away
  answers.modified = {};
  answers.messages = {};
  forget();
  model->guiSetParam("A", "false");
  EXPECT_EQ(calls(), Texts{"guiSetParamOf {A=0}"});
  EXPECT_EQ(updates, (std::vector<Texts>{{"B", "C"}}));
  EXPECT_TRUE(model->getParametersWithErrors().empty());
}

TEST_F(Pspmc, AChangeIsNotHeldAgainstRangesThatNobodyTold) {
  init();
  const True validates("pcw.doRangeValidation");
  model->guiSetParam("A", "out of all ranges");
  EXPECT_TRUE(model->getParametersWithErrors().empty());
}

TEST_F(Pspmc, SeveralChangesAreTranslatedAndTellNobody) {
  init();
  answers.names = {{"CONFIG.A", "A"}, {"B", "BB"}};
  answers.messages = {{"Z", "bad"}};
  answers.modified = {"A"};
  model->guiSetParams(StrPairs{{"CONFIG.A", "true"}, {"B", "x"}, {"CONFIG.A", "second"}});
  EXPECT_EQ(calls(), (Texts{"translateParamNames {B=x CONFIG.A=true}", "guiSetParamOf {A=1 BB=x}"}));
  EXPECT_TRUE(updates.empty());
  EXPECT_EQ(model->getParametersWithErrors(), (ParamMap{{"Z", "bad"}}));
  const Texts lines = told("PSPMC.DBG");
  ASSERT_GE(lines.size(), 3U);
  EXPECT_EQ((Texts{lines[0], lines[1], lines[2]}),
            (Texts{"1 GUI Sets param CONFIG.A with value true\n", "1 GUI Sets param B with value x\n",
                   "1 GUI Sets param CONFIG.A with value second\n"}));
  forget();
  model->guiSetParams(ParamMap{{"B", "false"}, {"A", "1"}});
  EXPECT_EQ(calls(), (Texts{"translateParamNames {A=1 B=false}", "guiSetParamOf {A=1 BB=0}"}));
}

TEST_F(Pspmc, AListenerMayChangeParametersItself) {
  init();
  int changes_left = 2;
  on_update = [&] {
    if (changes_left-- > 0) model->guiSetParam("B", std::to_string(changes_left));
  };
  model->guiSetParam("A", "1");
  EXPECT_EQ(calls(), (Texts{"guiSetParamOf {A=1}", "guiSetParamOf {B=1}", "guiSetParamOf {B=0}"}));
}

// ------------------------------------------------------------------------------------------------ sub-presets

class SubPresets : public Pspmc {
 protected:
  SubPresets() {
    model->subPresetChoices = {{"DEVICE_INTEGRITY_MODE", {"high", "low", "Custom"}}};
    model->subPresetConfigs = {{"high", {{"CONFIG.A", "1 2"}, {"B", "3"}}}, {"low", {{"B", "4"}}}};
    model->subPresetInfos = {{"DEVICE_INTEGRITY_MODE", {{"high", "safe"}}}};
    init();
  }
};

TEST_F(SubPresets, AChoiceSetsAllThatItStandsFor) {
  answers.names = {{"B", "ENGINE_B"}};
  model->guiSetSubPresetParam("high");
  EXPECT_EQ(calls(), (Texts{"translateParamNames {A={1 2} B={3} DEVICE_INTEGRITY_MODE=high}",
                            "translateParamNames {A={1 2} DEVICE_INTEGRITY_MODE=high ENGINE_B={3}}",
                            "guiSetParamOf {A={1 2} DEVICE_INTEGRITY_MODE=high ENGINE_B={3}}"}));
  EXPECT_EQ(updates, (std::vector<Texts>{{"A", "DEVICE_INTEGRITY_MODE", "ENGINE_B"}}));
  const Texts lines = told("PSPMC.DBG");
  EXPECT_EQ(lines[0], "1 Subpreset configuration - Param B and value {3}\n");
  EXPECT_EQ(lines[1], "1 Subpreset configuration - Param A and value {1 2}\n");
}

TEST_F(SubPresets, AChangeByHandLeavesTheSubPresetOnce) {
  model->guiSetSubPresetParam("high");
  forget();
  model->guiSetParam("B", "9");
  EXPECT_EQ(calls(), Texts{"guiSetParamOf {B=9 DEVICE_INTEGRITY_MODE=Custom}"});
  EXPECT_EQ(told("PSPMC.DBG")[1],
            "1 Parameter B seems to be a part of subpreset DEVICE_INTEGRITY_MODE configuration\n");
  forget();
  model->guiSetParam("A", "9");
  EXPECT_EQ(calls(), Texts{"guiSetParamOf {A=9}"}) << "all links are forgotten";
}

TEST_F(SubPresets, AnotherChoiceReplacesTheLinks) {
  model->guiSetSubPresetParam("high");
  model->guiSetSubPresetParam("low");
  forget();
  model->guiSetParam("A", "9");
  EXPECT_EQ(calls(), Texts{"guiSetParamOf {A=9}"});
  model->guiSetParam("B", "9");
  EXPECT_EQ(calls().back(), "guiSetParamOf {B=9 DEVICE_INTEGRITY_MODE=Custom}");
}

TEST_F(SubPresets, WhatIsNoChoiceChangesNothing) {
  model->guiSetSubPresetParam("high");
  forget();
  model->guiSetSubPresetParam("nothing");
  EXPECT_EQ(calls(), Texts{});
  EXPECT_TRUE(updates.empty());
  EXPECT_EQ(told("PSPMC.DBG"), Texts{"1 Subpreset value nothing does not belong to one of the subpresets\n"});
  model->guiSetParam("B", "9");
  EXPECT_EQ(calls(), Texts{"guiSetParamOf {B=9 DEVICE_INTEGRITY_MODE=Custom}"}) << "the links stay";
}

TEST_F(SubPresets, ItsOwnParametersDoNotBreakItWhileItIsApplied) {
  model->guiSetSubPresetParam("high");
  forget();
  bool is_first = true;
  answers.on_change = [&] {
    if (std::exchange(is_first, false)) model->guiSetParam("B", "5");  // the engine's own interface comes back
  };
  model->subPresetMembers = {{"B", {"X"}}};
  model->guiSetSubPresetParam("low");
  EXPECT_EQ(calls().back(), "guiSetParamOf {B=5}");
}

TEST_F(SubPresets, AFailureWhileOneIsAppliedLeavesNoFlagSet) {
  model->guiSetSubPresetParam("high");
  answers.on_change = [] { throw std::runtime_error("the engine fails"); };
  EXPECT_THROW(model->guiSetSubPresetParam("high"), std::runtime_error);
  answers.on_change = {};
  model->subPresetMembers = {{"B", {"X"}}};
  forget();
  model->guiSetParam("B", "5");
  EXPECT_EQ(calls(), Texts{"guiSetParamOf {B=5 X=Custom}"});
}

TEST_F(SubPresets, MembersBecomeCustomWithTheirParameter) {
  model->subPresetMembers = {{"M", {"X", "W"}}};
  model->guiSetParam("M", "1");
  EXPECT_EQ(calls(), Texts{"guiSetParamOf {M=1 W=Custom X=Custom}"});
  EXPECT_EQ(told("PSPMC.DBG")[1], "1 Parameter M seems to be a part of subpreset  configuration\n");
  forget();
  model->guiSetParam("M", "2");  // the empty link of before
  EXPECT_EQ(calls(), Texts{"guiSetParamOf {M=2 =Custom W=Custom X=Custom}"});
  EXPECT_EQ(model->getUserModifiedParams(), "");
  EXPECT_EQ(calls().back(), "getUserModifiedOf {M=2/6 W=Custom/6 X=Custom/6}") << "an empty name is no parameter";
}

TEST_F(SubPresets, AreFoundAgainInAStoredConfiguration) {
  answers.names = {{"CONFIG.M", "M"}, {"x", "X"}};
  answers.values = {{"DEVICE_INTEGRITY_MODE", "high"}};
  model->subPresetMembers = {{"CONFIG.M", {"x", "Y"}}, {"NOT_GIVEN", {"Z"}}};
  model->loadSubPresetParams({{"CONFIG.M", "1"}});
  EXPECT_EQ(model->subPresetMembers, (std::map<std::string, std::set<std::string>>{{"M", {"X", "Y"}}}));
  forget();
  model->guiSetParam("A", "9");
  EXPECT_EQ(calls(), Texts{"guiSetParamOf {A=9 DEVICE_INTEGRITY_MODE=Custom}"});
  model->guiSetParam("M", "1");
  EXPECT_EQ(calls().back(), "guiSetParamOf {M=1 X=Custom Y=Custom}");

  for (char const* const value : {"Custom", "unknown"}) {
    answers.values = {{"DEVICE_INTEGRITY_MODE", value}};
    model->loadSubPresetParams({});
    model->guiSetParam("B", "9");
    EXPECT_EQ(calls().back(), "guiSetParamOf {B=9}") << value;
  }
}

TEST_F(SubPresets, CustomIsOfferedOnlyWhileItIsTheValue) {
  EXPECT_EQ(model->getSubPresetParams(), Texts{"DEVICE_INTEGRITY_MODE"});
  const auto choices = [this] { return model->getSubPresetChoicesForSubPresetParam("DEVICE_INTEGRITY_MODE"); };
  answers.values = {{"DEVICE_INTEGRITY_MODE", "high"}};
  EXPECT_EQ(choices(), (Texts{"high", "low"}));
  EXPECT_EQ(info("DEVICE_INTEGRITY_MODE", Model::RANGE), (Texts{"high", "low"}));
  answers.values = {{"DEVICE_INTEGRITY_MODE", "Custom"}};
  EXPECT_EQ(choices(), (Texts{"Custom", "high", "low", "Custom"}));
  EXPECT_EQ(model->getSubPresetChoicesForSubPresetParam("A"), Texts{});
  EXPECT_EQ(model->getSubPresetInfoForSubPresetParam("DEVICE_INTEGRITY_MODE", "high"), "safe");
  EXPECT_EQ(model->getSubPresetInfoForSubPresetParam("DEVICE_INTEGRITY_MODE", "low"), "");
  EXPECT_EQ(model->getSubPresetInfoForSubPresetParam("A", "high"), "");
}

// ------------------------------------------------------------------------------------------------ questions

TEST_F(Pspmc, ValuesThatAreSkippedReadAsTheirBackups) {
  init();
  answers.values = {{"A", "1"}, {"B", "SKIP"}, {"C", "skip"}, {"D", ""}, {"E", "SKIPS"}};
  answers.backups = {{"A", "no"}, {"B", "b"}, {"C", "c"}, {"D", "d"}};
  EXPECT_EQ(info("A", Model::VALUE), Texts{"1"});
  EXPECT_EQ(info("B", Model::VALUE), Texts{"b"});
  EXPECT_EQ(info("C", Model::VALUE), Texts{"c"});
  EXPECT_EQ(info("D", Model::VALUE), Texts{"d"});
  EXPECT_EQ(info("E", Model::VALUE), Texts{"SKIPS"});
  EXPECT_EQ(info("F", Model::VALUE), Texts{""});
  EXPECT_EQ(told("PSPMC.DBG")[1], "1 Accessing val b for param B \n");
}

TEST_F(Pspmc, KindsOfInformation) {
  init();
  answers.types = {{"A", "combo"}};
  answers.enabled = {"A"};
  model->displayNames = {{"A", "The A"}};
  model->descriptions = {{"A", "What A is"}};
  answers.messages = {{"A", "bad"}};
  model->guiSetParam("A", "1");
  EXPECT_EQ(info("A", Model::TYPE), Texts{"combo"});
  EXPECT_EQ(info("A", Model::ENABLED), Texts{"true"});
  EXPECT_EQ(info("B", Model::ENABLED), Texts{"false"});
  EXPECT_EQ(info("A", Model::DISPLAY_NAME), Texts{"The A"});
  EXPECT_EQ(info("B", Model::DISPLAY_NAME), Texts{""});
  EXPECT_EQ(info("A", Model::DESCRIPTION), Texts{"What A is"});
  EXPECT_EQ(info("B", Model::DESCRIPTION), Texts{""});
  EXPECT_EQ(info("A", Model::ERRMSG), Texts{"bad"});
  EXPECT_EQ(info("B", Model::ERRMSG), Texts{""});
  EXPECT_EQ(info("A", Model::VISIBLE), Texts{});
  EXPECT_EQ(info("A", Model::UNKNOWN), Texts{});
  EXPECT_EQ((std::vector<int>{Model::VALUE, Model::TYPE, Model::RANGE, Model::ENABLED, Model::VISIBLE,
                              Model::DISPLAY_NAME, Model::DESCRIPTION, Model::ERRMSG, Model::UNKNOWN}),
            (std::vector<int>{0, 1, 2, 3, 4, 5, 6, 7, 8}));
}

TEST_F(Pspmc, RangesEndAtAnEmptyTextAndHaveNothingTwiceInARow) {
  init();
  answers.ranges = {{"A", {"a", "a", "b", "", "c"}}, {"B", {"", "x"}}, {"C", {"a", "b", "a"}}};
  EXPECT_EQ(info("A", Model::RANGE), (Texts{"a", "b"}));
  EXPECT_EQ(told("PSPMC.DBG"), Texts{"1 Accessing range a,b for param A \n"});
  EXPECT_EQ(info("B", Model::RANGE), Texts{});
  EXPECT_EQ(info("C", Model::RANGE), (Texts{"a", "b", "a"}));
}

TEST_F(Pspmc, ChoicesHaveALabelEach) {
  init();
  answers.ranges = {{"A", {"1", "two", "3", "{4}", "5", "{"}}};
  EXPECT_EQ(model->getParamChoicesMappingList("A"),
            (StrPairs{{"1", "1"}, {"two", "two"}, {"3", "3"}, {"{4}", "{4}"}, {"5", "5"}, {"{", "{"}}));
  model->choiceMappings = {
      {"A", {{"1", "one"}, {"2", "two"}, {"{3}", "{three}"}, {"{4}", "four"}, {"1", "again"}, {"{", "{"}, {"", "5"}}}};
  EXPECT_EQ(model->getParamChoicesMappingList("A"),
            (StrPairs{{"1", "one"}, {"2", "two"}, {"3", "three"}, {"{4}", "four"}, {"", "5"}, {"{", "{"}}));
}

TEST_F(Pspmc, WhatTheUserChangedIsToldOnce) {
  init("top", {{"A", "0"}, {"B", "0"}, {"E", ""}, {"N", "0"}});
  model->guiSetParam("A", "1");
  model->guiSetParam("B", "x");
  model->guiSetParam("E", "e");
  model->guiSetParam("NOT_IN_INIT", "1");
  answers.values = {{"A", "9"}, {"B", ""}};
  answers.own_records = {{"E", {{""}}}, {"N", {{"new"}}}, {"Z", {}}};
  forget();
  EXPECT_EQ(model->getUserModifiedParams(), " A 9 B x N new");
  EXPECT_EQ(calls(), Texts{"getUserModifiedOf {A=9/6 B=x/6 E=e/6 NOT_IN_INIT=1/6}"});
  EXPECT_EQ(told("PSPMC.DBG").back(), "1  Final result is  A 9 B x N new\n");
  answers.own_records = {};
  EXPECT_EQ(model->getUserModifiedParams(), "");
}

TEST_F(Pspmc, InitForgetsWhatTheUserChangedAndUpdateDoesNot) {
  init("top", {{"A", "0"}});
  model->guiSetParam("A", "1");
  ParamMap params, user;
  OutMap outputs;
  model->updateAll(params, user, outputs, context);
  EXPECT_EQ(model->getUserModifiedParams(), " A 1");
  model->guiSetParam("A", "1");
  init("top", {{"A", "0"}});
  EXPECT_EQ(model->getUserModifiedParams(), "");
}

TEST_F(Pspmc, AConfigurationIsAListOfParametersAndValues) {
  const auto read = [this](std::string const& text) {
    StrPairs answer;
    model->getCurrentConfiguration(text, answer);
    return answer;
  };
  EXPECT_EQ(read("A 1 B {x y} C {k {v w}} D {} E"),
            (StrPairs{{"A", "1"}, {"B", "{x y}"}, {"C", "{k {v w}}"}, {"D", ""}, {"E", ""}}));
  EXPECT_EQ(told("PSPMC.DBG")[0], "1 set x {A 1 B {x y} C {k {v w}} D {} E} is cmd \n");
  EXPECT_EQ(read(""), StrPairs{});
  EXPECT_EQ(read("A {unbalanced"), StrPairs{});
  EXPECT_EQ(read("A \"no list"), StrPairs{});
  EXPECT_EQ(read("A } B"), StrPairs{});
  Tcl_Interp* const interp = HTCTclInterp::getDefaultInterp();
  ASSERT_NE(interp, nullptr);
  Tcl_Eval(interp, "set untouched 1");
  EXPECT_EQ(read("A 1}; set untouched 2; set y {B"), StrPairs{}) << "other commands do not run";
  EXPECT_STREQ(Tcl_GetVar(interp, "untouched", TCL_GLOBAL_ONLY), "1");
  Tcl_Eval(interp, "unset x; array set x {a b}");
  EXPECT_EQ(read("A 1"), StrPairs{}) << "a command that fails";
  Tcl_Eval(interp, "unset x");
}

TEST_F(Pspmc, OtherQuestionsGoToTheCore) {
  init();
  answers.number = 12;
  EXPECT_EQ(model->getSysmonData("a", "b"), "a+b");
  EXPECT_EQ(model->getBootModeOfSDPeripheral("SD0"), "boot of SD0");
  EXPECT_EQ(model->guiGetStartSupplyID(), 12);
}

// ------------------------------------------------------------------------------------------------ without a core

TEST_F(Pspmc, ACoreThatHasGoneIsMadeAnewAndToldOf) {
  init();
  StrVec errors;
  hardip_eng::HardIPManager::getInstance()->deleteInstance(context, errors);
  answers.values = {{"A", "1"}};
  EXPECT_EQ(info("A", Model::VALUE), Texts{"1"});
  EXPECT_EQ(told("PSPMC.DBG"), (Texts{kAbsent, "1 Accessing val 1 for param A \n"}));
  forget();
  hardip_eng::HardIPManager::getInstance()->deleteInstance(context, errors);
  EXPECT_EQ(model->guiGetStartSupplyID(), 0);
  EXPECT_EQ(told("PSPMC.DBG"),
            Texts{"WARNING: [tcltasks] \t HACGCPSPMCCustomDRCModel:getStartSupplyId-Unable to find Hard IPInst"});
}

TEST_F(Pspmc, WithoutACoreAllAnswersAreEmpty) {
  for (auto const& [core, complaints] : {std::pair{"refused", 2}, {"plain", 1}}) {
    init(core, {{"A", "1"}});
    model->subPresetConfigs = {{"high", {{"A", "1"}}}};
    model->subPresetMembers = {{"A", {"X"}}};
    model->guiSetParam("A", "1");
    Texts expected{"1 GUI Sets param A with value 1\n"};
    for (int i = 0; i < complaints; ++i) expected.push_back(kAbsent);
    EXPECT_EQ(told("PSPMC.DBG"), expected) << core;
    model->guiSetParams(ParamMap{{"A", "1"}});
    model->guiSetSubPresetParam("high");
    model->loadSubPresetParams({{"A", "1"}});
    EXPECT_EQ(model->subPresetMembers.size(), 1U);
    for (const int kind : {0, 1, 2, 3, 4, 5, 6, 7, 8})
      EXPECT_EQ(info("A", static_cast<Model::paramInfo>(kind)), Texts{}) << kind;
    EXPECT_EQ(model->getParamChoicesMappingList("A"), StrPairs{});
    EXPECT_EQ(model->getUserModifiedParams(), "");
    EXPECT_EQ(model->getSysmonData("a", "b"), "");
    EXPECT_EQ(calls(), Texts{});
    EXPECT_TRUE(updates.empty());

    forget();
    EXPECT_EQ(model->guiGetStartSupplyID(), -1);
    const std::string warning = "WARNING: [tcltasks] ";
    std::string text =
        warning + (complaints == 1 ? "\t HACGCPSPMCCustomDRCModel:getStartSupplyId- Unable to find Hard IPInst"
                                   : "\t HACGCPSPMCCustomDRCModel:getStartSupplyId-Unable to find Hard IPInst");
    EXPECT_EQ(told("PSPMC.DBG"), Texts(static_cast<std::size_t>(complaints), text));
    forget();
    EXPECT_EQ(model->getBootModeOfSDPeripheral("SD0"), "");
    text = warning + (complaints == 1
                          ? "\t HACGCPSPMCCustomDRCModel:getBootModeOfSDPeripheral- Unable to find Hard IPInst"
                          : "\t HACGCPSPMCCustomDRCModel:getBootModeOfSDPeripheral-Unable to find Hard IPInst");
    EXPECT_EQ(told("PSPMC.DBG"), Texts(static_cast<std::size_t>(complaints), text));
  }
}

}  // namespace
