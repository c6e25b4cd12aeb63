// The model of the larger processing systems against cores that record, and what the sub-cores of a wizard tell each
// other.
#include <gtest/gtest.h>

#include <stdexcept>

#include "kdi/common/KdiText.h"
#include "tcltasks/psmodels/HACGCPSXLCustomDRCModel.h"
#include "tcltasks/psmodels/model_table.h"
#include "tests/support/model_fixture.h"

namespace {

using Model = HACGCPSXLCustomDRCModel;
using OutMap = Model::OutMap;
using recording_core::rows;

constexpr char const* kEnable = "SMON_INT_MEASUREMENT_ENABLE";

class Psxl : public ModelTest {
 protected:
  static ParamMap context_of(std::string const& core, std::string const& name) {
    return {{"ps_core_name", core}, {"instance_name", name}};
  }
  void init(std::string const& core = "hic", std::string const& name = "u1", ParamMap params = {}) {
    context = context_of(core, name);
    OutMap dropped;
    StrVec errors;
    model->init_params(params, dropped, context, errors, 1);
    forget();
  }
  static void make_core(std::string const& core, std::string const& name) {
    const Made<Model> other(psxlRulesObjInit, psxlRulesObjDelete);
    ParamMap none, its_context = context_of(core, name);
    OutMap dropped;
    StrVec errors;
    other->init_params(none, dropped, its_context, errors, 1);
  }
  bool update(ParamMap& params) {
    outputs.clear();
    ParamMap user{{"U", "1"}};
    return model->updateAll(params, user, outputs, context);
  }
  bool update() {
    ParamMap params{{"A", "1"}};
    return update(params);
  }
  Texts info(std::string const& name, Model::paramInfo kind) {
    Texts answer;
    model->getParamInfo(name, kind, answer);
    return answer;
  }
  std::string output(std::string const& name) {
    const auto place = outputs.find(name);
    return place == outputs.end() ? "none" : shown(OutMap{*place});
  }
  std::string merged(std::string current, std::string update) {
    std::string result;
    model->updateDictParam(current, update, result);
    return result;
  }

  Made<Model> model{psxlRulesObjInit, psxlRulesObjDelete};
  ParamMap context;
  OutMap outputs;
};

// ------------------------------------------------------------------------------------------------ init_params

TEST_F(Psxl, InitTakesTheHicInstOfTheManager) {
  answers.result = {{"A", rows("1", {"1"}, "ENABLE", "COMBO")}};
  answers.messages = {{"A", "dropped"}};
  ParamMap params{{"A", "1"}}, its_context = context_of("hic", "u1");
  StrVec errors;
  EXPECT_TRUE(model->init_params(params, outputs, its_context, errors, 1));
  EXPECT_EQ(calls(), Texts{"u1.setParam {A=1} 10"});
  EXPECT_EQ(shown(outputs), "A: 0=1 1=1 2=true; ");
  EXPECT_TRUE(model->getParametersWithErrors().empty());
  EXPECT_EQ(told("PSXL.OUT.DBG"),
            Texts{"5 Setting OUTPUT Parameter param=A,value=1,range=1,Enabled=ENABLE,Widget=COMBO\n"});
}

TEST_F(Psxl, InitMakesOneOfItsOwnIfTheManagerHasNone) {
  for (auto const& [name, expected] : {std::pair{"mine", "mine"}, {"", "psxl_0"}}) {
    forget();
    ParamMap params, its_context = context_of("refused", name);
    StrVec errors;
    EXPECT_FALSE(model->init_params(params, outputs, its_context, errors, 1));
    EXPECT_EQ(errors, Texts{"no such thing"});
    EXPECT_EQ(calls(), Texts{std::string(expected) + ".setParam {} 10"});
  }
}

TEST_F(Psxl, InitSaysSomethingEvenIfTheManagerDoesNot) {
  answers.is_silent = true;
  ParamMap params, its_context = context_of("hic", "u1");
  StrVec errors;
  EXPECT_FALSE(model->init_params(params, outputs, its_context, errors, 1));
  EXPECT_EQ(errors, Texts{"instance could not be created"});
  EXPECT_EQ(calls(), Texts{"u1.setParam {} 10"});
}

TEST_F(Psxl, InitNamesTheSubCoreOfABroadcastingWizard) {
  const auto named = [this](std::string const& core, std::string const& instance) {
    recording_core::reset();
    StrVec errors;
    ParamMap none, its_context = context_of(core, instance);
    model->init_params(none, outputs, its_context, errors, 1);
    return calls()[0];
  };
  EXPECT_EQ(named("pmcps", "x_pmcps_0"), "x_pmcps_0.setParam {} 10") << "nobody broadcasts";
  const True broadcasts("ps.enableSysmonBroadcast");
  EXPECT_EQ(named("pmcps", "x_pmcps_0"), "x_pmcps_0.setSubCoreName tmp_pmcps");
  EXPECT_EQ(named("pmcps", "pmcps_0_0"), "pmcps_0_0.setSubCoreName tmp_pmcps_0");
  EXPECT_EQ(named("pmcps", "bd_9_pmcps_0_0"), "bd_9_pmcps_0_0.setSubCoreName tmp_pmcps_0");
  EXPECT_EQ(named("pmcps", "bd_9_pmcps_4"), "bd_9_pmcps_4.setSubCoreName tmp_pmcps_4");
  EXPECT_EQ(named("pmcps", "tmp_pmcps_0_0"), "tmp_pmcps_0_0.setSubCoreName tmp_pmcps_0_0");
  EXPECT_EQ(named("pmcps", "bd_other"), "bd_other.setSubCoreName bd_other");
  EXPECT_EQ(named("psxl", "pmcps_0"), "pmcps_0.setParam {} 10") << "another core";
  EXPECT_EQ(named("refused", "pmcps_0"), "pmcps_0.setParam {} 10");
}

TEST_F(Psxl, WithoutAnInstanceAllAnswersAreEmpty) {
  constexpr char const* kAbsent = "1 Unable to find Hard IPInst\n";
  const auto only = [&](char const* line) {
    EXPECT_EQ(told("PSXL.DBG"), Texts{line});
    forget();
  };
  outputs = {{"kept", {}}};
  ParamMap params{{"A", "1"}}, user, messages;
  EXPECT_FALSE(model->updateAll(params, user, outputs, context));
  EXPECT_EQ(told("PSXL.DBG"),
            (Texts{"3 updateAll- inputUserParamValues: 1 xciValueMap: 0 outputMapPropValues: 1 Enter\n", kAbsent}));
  EXPECT_EQ(shown(outputs), "kept:; ");
  forget();
  model->guiSetParam("A", "1");
  only("1 \tUnable to find Hard IPInst\n");
  model->guiSetParams(StrPairs{{"A", "1"}});
  only("1 \tUnable to find Hard IPInst\n");
  EXPECT_EQ(info("A", Model::VALUE), Texts{});
  only(kAbsent);
  EXPECT_EQ(model->getParamChoicesMappingList("A"), StrPairs{});
  only(kAbsent);
  model->validateParamRanges(params, messages);
  only(kAbsent);
  EXPECT_EQ(model->getUserModifiedParams(), "");
  EXPECT_EQ(told("PSXL.DBG"), (Texts{"1 \t\t UserModifiedParams- Enter\n", kAbsent}));
  forget();
  Texts pins;
  model->getMioOccupiedPins(pins);
  EXPECT_TRUE(pins.empty());
  only(kAbsent);
  EXPECT_FALSE(model->isPSBankAvailable());
  EXPECT_EQ(model->guiGetSlrCount(), 0);
  EXPECT_EQ(model->guiGetStartSupplyID(), -1);
  EXPECT_EQ(model->getSysmonData("a", "b"), "");
  init("plain");  // an instance without a HICInst
  EXPECT_EQ(info("A", Model::VALUE), Texts{});
  EXPECT_TRUE(updates.empty());
}

// ------------------------------------------------------------------------------------------------ questions

TEST_F(Psxl, KindsOfInformation) {
  init();
  answers.values = {{"A", "1"}, {"B", "Skip"}};
  answers.backups = {{"B", "b"}, {"C", "c"}};
  answers.types = {{"A", "textEdit"}};
  answers.enabled = {"A"};
  answers.ranges = {{"A", {"a", "a", "", "b"}}};
  model->displayNames = {{"A", "The A"}};
  model->descriptions = {{"A", "What A is"}};
  EXPECT_EQ(info("A", Model::VALUE), Texts{"1"});
  EXPECT_EQ(info("B", Model::VALUE), Texts{"b"});
  EXPECT_EQ(info("C", Model::VALUE), Texts{"c"});
  EXPECT_EQ(told("PSXL.OUT.DBG")[1], "1 Accessing val b for param B \n");
  EXPECT_EQ(info("A", Model::TYPE), Texts{"textEdit"});
  EXPECT_EQ(info("A", Model::RANGE), (Texts{"a", "a", "", "b"})) << "as the engine has it";
  EXPECT_EQ(info("A", Model::ENABLED), Texts{"true"});
  EXPECT_EQ(info("B", Model::ENABLED), Texts{"false"});
  EXPECT_EQ(info("A", Model::ERRMSG), Texts{""});
  for (Model::paramInfo const kind : {Model::VISIBLE, Model::DISPLAY_NAME, Model::DESCRIPTION, Model::UNKNOWN})
    EXPECT_EQ(info("A", kind), Texts{}) << kind;
  EXPECT_EQ(model->getParamChoicesMappingList("A"), (StrPairs{{"a", "a"}, {"a", "a"}, {"", ""}, {"b", "b"}}));
  answers.number = 3;
  EXPECT_TRUE(model->isPSBankAvailable());
  EXPECT_EQ(model->guiGetSlrCount(), 3);
  EXPECT_EQ(model->guiGetStartSupplyID(), 3);
  EXPECT_EQ(model->getSysmonData("a", "b"), "a*b");
}

TEST_F(Psxl, DictionariesOfMeasurementsGoOutWithTokensAndComeBackWithout) {
  init();
  const std::string text = "a b:c,d#e|f", tokens = "a<space>b<colon>c<comma>d<hash>e<or>f";
  answers.values = {{kEnable, text}, {"A", text}};
  RawResult raw{{kEnable, rows(tokens, {}, "ENABLE", "EDIT")}, {"A", rows(tokens, {}, "ENABLE", "EDIT")}};
  EXPECT_EQ(info(kEnable, Model::VALUE), Texts{text});
  model->getOUTParams(raw, outputs);
  EXPECT_EQ(outputs.at(kEnable).at(Model::XGUI_VALUE), tokens);
  for (char const* const parameter : {"psx.InternalVoltageMonitoring", "ps.InternalVoltageMonitoring"}) {
    const True monitors(parameter);
    EXPECT_EQ(info(kEnable, Model::VALUE), Texts{tokens});
    EXPECT_EQ(info("A", Model::VALUE), Texts{text}) << "no measurement";
    model->getOUTParams(raw, outputs);
    EXPECT_EQ(outputs.at(kEnable).at(Model::XGUI_VALUE), text) << "in the place of what was there";
    EXPECT_EQ(outputs.at("A").at(Model::XGUI_VALUE), tokens);
    answers.values = {};
    answers.backups = {{kEnable, "a b"}};
    EXPECT_EQ(info(kEnable, Model::VALUE), Texts{"a b"}) << "a backup is as it is";
    answers.values = {{kEnable, text}, {"A", text}};
  }
}

TEST_F(Psxl, OccupiedPinsOfBothBanks) {
  init();
  answers.values = {{"PMCX_PRESET_MIO_51", "UART 0"},
                    {"PMCX_PRESET_MIO_52", "x"},
                    {"PSX_PRESET_MIO_0", "SPI"},
                    {"PSX_PRESET_MIO_52", "x"},
                    {"PMCX_PRESET_MIO_0", "I2C"}};
  Texts pins{"before"};
  model->getMioOccupiedPins(pins);
  EXPECT_EQ(pins, (Texts{"before", "PMCX_PRESET_MIO_0:I2C", "PMCX_PRESET_MIO_51:UART 0", "PSX_PRESET_MIO_0:SPI"}));
}

TEST_F(Psxl, ParametersOfTheMonitor) {
  EXPECT_EQ(
      model->getSysmonIPParams(),
      (Texts{"SMON_OT", "SMON_PMBUS_ADDRESS", "SMON_PMBUS_UNRESTRICTED", "SMON_ENABLE_TEMP_AVERAGING", "SMON_USER_TEMP",
             "SMON_ENABLE_INT_VOLTAGE_MONITORING", "SMON_VOLTAGE_AVERAGING_SAMPLES", "SMON_ALARMS",
             "SMON_REFERENCE_SOURCE", "SMON_MEASUREMENT_LIST", "SMON_MEASUREMENT_COUNT", "SMON_HI_PERF_MODE",
             "SMON_INT_MEASUREMENT_ENABLE", "SMON_INT_MEASUREMENT_MODE", "SMON_INT_MEASUREMENT_TH_LOW",
             "SMON_INT_MEASUREMENT_TH_HIGH", "SMON_INT_MEASUREMENT_ALARM_ENABLE", "SMON_INT_MEASUREMENT_AVG_ENABLE"}));
}

TEST_F(Psxl, DictionariesAreMerged) {
  EXPECT_EQ(merged("b 1 a 2", "a 9 c 8"), "a 9 b 1");
  EXPECT_EQ(merged("{b 1  a 2}", "  a   9 "), "a 9 b 1");
  EXPECT_EQ(merged("a 1 odd", "a 2 odd"), "a 2") << "an odd word is dropped";
  EXPECT_EQ(merged("V:1 low V<comma>2 x", "V<colon>1 high V,2 y"), "V:1 high V<comma>2 y");
  EXPECT_EQ(merged("", "a 1"), "");
  EXPECT_EQ(merged("a 1 a 2", ""), "a 2");
  EXPECT_EQ(merged("{", "}"), "");
}

// ------------------------------------------------------------------------------------------------ ranges

TEST_F(Psxl, WhatIsTypedIsHeldAgainstItsRange) {
  init();
  const auto judged = [this](std::string const& name, std::string const& value, Texts const& range,
                             std::string const& type = "textEdit", bool is_enabled = true) {
    answers.types = {{name, type}};
    answers.ranges = {{name, range}};
    answers.enabled = is_enabled ? std::set<std::string>{name} : std::set<std::string>{};
    ParamMap params{{name, value}}, messages;
    model->validateParamRanges(params, messages);
    return messages.empty() ? "" : messages.at(name);
  };
  const auto refused = [](std::string const& name, std::string const& value, std::string const& range) {
    return "PARAM " + name + "::" + value + " is of invalid format or out of range [" + range + "]";
  };
  EXPECT_EQ(judged("X_FREQMHZ", "100", {"1", "99"}), refused("X_FREQMHZ", "100", "1,99"));
  EXPECT_EQ(judged("X", "100", {"1", "99"}), "") << "no frequency";
  for (char const* const value : {"1", "99.0", "5e1", ""})
    EXPECT_EQ(judged("X_FREQMHZ", value, {"1", "99"}), "") << value;
  for (char const* const value : {"0.9", "99.1", "1.2.3", "abc", "-", "1e999"})
    EXPECT_EQ(judged("X_FREQMHZ", value, {"1", "99"}), refused("X_FREQMHZ", value, "1,99")) << value;
  EXPECT_EQ(judged("X", "abc", {"1", "99"}), refused("X", "abc", "1,99"));
  EXPECT_EQ(judged("X", "abc", {"low", "high"}), "") << "no range of numbers";
  EXPECT_EQ(judged("X", "abc", {"1"}), "");
  EXPECT_EQ(judged("X", "abc", {}), "");
  EXPECT_EQ(judged("X", "abc", {"1", "99"}, "combo"), "");
  EXPECT_EQ(judged("X", "abc", {"1", "99"}, "textEdit", false), "");
  EXPECT_EQ(judged("X_FREQMHZ", "5", {"", ""}), "") << "what is no bound binds nothing";
  EXPECT_TRUE(model->validClkFreqRange("X_FREQMHZ", "5", {}));
}

// ------------------------------------------------------------------------------------------------ changes by the user

TEST_F(Psxl, AChangeGoesToTheEngineAndTellsWhatMoved) {
  init();
  answers.modified = {"B", "A", "B"};
  answers.messages = {{"C", "bad"}, {"B", "worse"}};
  model->guiSetParam("A", "true");
  EXPECT_EQ(calls(), Texts{"u1.guiSetParam {A=1}"});
  EXPECT_EQ(updates, (std::vector<Texts>{{"B", "A", "C"}}));
  EXPECT_EQ(told("PSXL.DBG"), (Texts{"1 \t GUISetparam A with value true\n", "2 Got message for param B - worse \n",
                                     "2 Message on Parameter B is worse\n", "2 Got message for param C - bad \n",
                                     "2 Message on Parameter C is bad\n"}));
  EXPECT_EQ(told("PSXL.INTERNAL.DBG"),
            (Texts{"1 \t\t Modified params to GUI param B\n", "1 \t\t Modified param errmsg worse \n",
                   "1 \t\t Modified params to GUI param A\n", "1 \t\t Modified param errmsg  \n"}));
  answers.modified = {};
  answers.messages = {};
  forget();
  model->guiSetParam("A", "false");
  EXPECT_EQ(calls(), Texts{"u1.guiSetParam {A=0}"});
  EXPECT_EQ(updates, (std::vector<Texts>{{"B", "C"}}));
  EXPECT_TRUE(model->getParametersWithErrors().empty());
}

TEST_F(Psxl, AHundredThousandParametersMayMove) {
  init();
  for (int number = 0; number < 100'000; ++number) answers.modified.push_back("P" + std::to_string(number));
  model->guiSetParam("A", "1");
  EXPECT_EQ(updates.at(0).size(), 100'000U);
}

TEST_F(Psxl, SeveralChangesKeepTheErrorsOfBefore) {
  init();
  answers.messages = {{"C", "bad"}};
  model->guiSetParam("A", "1");
  forget();
  answers.messages = {{"D", "new"}};
  model->guiSetParams(StrPairs{{"B", "false"}, {"A", "x"}, {"B", "second"}});
  EXPECT_EQ(calls(), Texts{"u1.guiSetParam {A=x B=0}"});
  EXPECT_EQ(model->getParametersWithErrors(), (ParamMap{{"C", "bad"}, {"D", "new"}}));
  EXPECT_EQ(updates, (std::vector<Texts>{{"C", "D"}}));
  const Texts lines = told("PSXL.DBG");
  EXPECT_EQ((Texts{lines[0], lines[1], lines[2]}),
            (Texts{"2 \t GUISetparams B with value false\n", "2 \t GUISetparams A with value x\n",
                   "2 \t GUISetparams B with value second\n"}));
  forget();
  answers.messages = {};
  model->guiSetParams(ParamMap{{"B", "1"}, {"A", "2"}});
  EXPECT_EQ(told("PSXL.DBG"),
            (Texts{"1 GUISetparams- paramValues_size: 2 Enter\n", "2 \t GUISetparams A with value 2\n",
                   "2 \t GUISetparams B with value 1\n", "1 GUISetparams- Exit\n"}));
}

TEST_F(Psxl, ChangesAreHeldAgainstTheirRangesFirst) {
  init();
  answers.types = {{"X_FREQMHZ", "textEdit"}};
  answers.ranges = {{"X_FREQMHZ", {"1", "2"}}};
  answers.enabled = {"X_FREQMHZ"};
  const std::string text = "PARAM X_FREQMHZ::3 is of invalid format or out of range [1,2]";
  Texts at_change;
  answers.on_change = [&] { at_change.push_back(info("X_FREQMHZ", Model::ERRMSG)[0]); };
  model->guiSetParam("X_FREQMHZ", "3");
  model->guiSetParams(StrPairs{{"X_FREQMHZ", "3"}});
  EXPECT_EQ(at_change, (Texts{text, text})) << "reported before the engine is asked";
  EXPECT_EQ(model->getParametersWithErrors(), (ParamMap{{"X_FREQMHZ", text}}));
  const True simulates("psx.internalSimulation");
  model->guiSetParam("X_FREQMHZ", "3");
  EXPECT_TRUE(model->getParametersWithErrors().empty());
}

TEST_F(Psxl, TheCustomiserIsToldOfChangesButNotOfItsOwn) {
  init();
  model->guiSetParam("A", "1");
  EXPECT_TRUE(changes.empty()) << "unless it asks for it";
  const True syncs("ips.syncEventsForPSXWizard");
  int left = 3;
  on_changed = [&] {
    EXPECT_FALSE(model->eventsEnabled);
    if (left-- > 0) model->guiSetParams(StrPairs{{"B", "2"}});
    if (left == 1) throw std::runtime_error("a bad listener");
  };
  model->guiSetParam("A", "1");
  EXPECT_EQ(changes, (std::vector<ParamMap>{{{"A", "1"}}}));
  EXPECT_EQ(flows, std::vector<int>{1});
  EXPECT_EQ(changed_models[0], &model.base());
  EXPECT_TRUE(model->eventsEnabled);
  left = 2;  // the listener throws after its own change
  model->guiSetParams(StrPairs{{"A", "2"}, {"C", "3"}});
  EXPECT_EQ(changes.back(), (ParamMap{{"A", "2"}, {"C", "3"}}));
  EXPECT_TRUE(model->eventsEnabled);
  model->guiSetParams(StrPairs{});
  EXPECT_EQ(changes.size(), 2U) << "nothing changed";
  model->eventsEnabled = false;
  model->guiSetParam("A", "1");
  EXPECT_EQ(changes.size(), 2U);
  EXPECT_FALSE(model->eventsEnabled);
}

TEST_F(Psxl, WhatTheUserChangedIsToldOnce) {
  init("hic", "u1", {{"A", "0"}, {"B", "0"}, {kEnable, ""}});
  model->guiSetParam("A", "1");
  model->guiSetParam("C", "1");
  answers.own_records = {{kEnable, {{"a<space>1"}, {"x", "y"}}}, {"B", {}}};
  forget();
  EXPECT_EQ(model->getUserModifiedParams(), " A 1 SMON_INT_MEASUREMENT_ENABLE a<space>1");
  EXPECT_EQ(calls(), Texts{"u1.getGuiUserModifiedParams {A=1/6 C=1/6}"});
  EXPECT_EQ(told("PSXL.DBG"),
            (Texts{"1 \t\t UserModifiedParams- Enter\n", "1 \t\t\t [A] value: 1 range- ()\n",
                   "1 \t\t\t [SMON_INT_MEASUREMENT_ENABLE] value: a<space>1 range- (x,y)\n",
                   "1 \t\t UserModifiedParams- Final_result is  A 1 SMON_INT_MEASUREMENT_ENABLE a<space>1\n"}));
  const True monitors("ps.InternalVoltageMonitoring");
  EXPECT_EQ(model->getUserModifiedParams(), " SMON_INT_MEASUREMENT_ENABLE a 1");
}

TEST_F(Psxl, MeasurementsGoByTheirSupplies) {
  const ParamMap all{
      {"SMON_MEAS1", ""}, {"SMON_MEAS7", ""}, {"SMON_MEAS2", ""}, {"SMON_MEASX", ""}, {"SMON_MEAS5", ""}};
  answers.own_records = {{"SMON_MEAS1", {{"one"}}},  {"SMON_MEAS2", {{"two"}}}, {"SMON_MEAS3", {{"three"}}},
                         {"SMON_MEAS4", {{"four"}}}, {"SMON_MEAS", {{"none"}}}, {"SMON_MEASX", {{"x"}}}};
  answers.values = {{"SMON_MEAS1_ENABLE", "1"}, {"SMON_MEAS1_SUPPLY_NUM", "a SUPPLY_NUM x SUPPLY_NUM 7 b"},
                    {"SMON_MEAS2_ENABLE", "0"}, {"SMON_MEAS2_SUPPLY_NUM", "SUPPLY_NUM 2"},
                    {"SMON_MEAS3_ENABLE", "1"}, {"SMON_MEAS3_SUPPLY_NUM", "SUPPLY_NUM "},
                    {"SMON_MEAS4_ENABLE", "1"}, {"SMON_MEAS4_SUPPLY_NUM", "5"}};
  init("pmcps", "u1", all);
  EXPECT_EQ(model->getUserModifiedParams(), " SMON_MEAS1 one SMON_MEAS2 two SMON_MEASX x");
  const True redesigned("cips.enableSysmonRedesign");
  EXPECT_EQ(model->getUserModifiedParams(), " SMON_MEAS5 four SMON_MEAS7 one SMON_MEASX x");
  init("hic", "u2", all);
  EXPECT_EQ(model->getUserModifiedParams(), " SMON_MEAS1 one SMON_MEAS2 two SMON_MEASX x") << "another core";
}

// ------------------------------------------------------------------------------------------------ broadcast

class Broadcast : public Psxl {
 protected:
  Broadcast() {
    make_core("hic", "other");
    make_core("hic", "stranger");
    make_core("plain", "empty");
    init("hic", "u1");
    answers.sub_cores = {{"u1", "tmp_pmcps"}, {"other", "tmp_pmcps_4"}};
    answers.measurements = {{"M1", "on"}, {"SMON_OT", "no"}};
  }
  const True broadcasts{"ps.enableSysmonBroadcast"};
  const True splits{"project.allowPSSubCoreSplit"};
  const True monitors{"ps.enableSysmon"};
};

TEST_F(Broadcast, AMonitorsParameterGoesToTheOtherSubCores) {
  answers.modified = {"X"};
  answers.messages = {{"Y", "bad"}};
  const True syncs("ips.syncEventsForPSXWizard");
  model->guiSetParam("SMON_OT", "true");
  EXPECT_EQ(calls(), (Texts{"u1.getSysmonEnabledMeasurements", "other.guiSetParam {SMON_OT=1 M1=on}",
                            "u1.guiSetParam {SMON_OT=1 M1=on}"}));
  EXPECT_EQ(updates, (std::vector<Texts>{{"X", "Y"}}));
  EXPECT_EQ(changes, (std::vector<ParamMap>{{{"M1", "on"}, {"SMON_OT", "1"}}}));
  EXPECT_EQ(model->getParametersWithErrors(), (ParamMap{{"Y", "bad"}}));
}

TEST_F(Broadcast, OtherParametersBringTheMeasurementsAlone) {
  model->guiSetParam("A", "1");
  EXPECT_EQ(calls(), (Texts{"u1.getSysmonEnabledMeasurements", "u1.guiSetParam {A=1 M1=on SMON_OT=no}"}));
  forget();
  model->guiSetParams(StrPairs{{"SMON_OT", "1"}});
  EXPECT_EQ(calls(), Texts{"u1.guiSetParam {SMON_OT=1}"}) << "several at once are not broadcast";
}

TEST_F(Broadcast, NeedsAllItsConditions) {
  answers.sub_cores = {{"u1", "tmp"}};
  model->guiSetParam("SMON_OT", "1");
  EXPECT_EQ(calls(), Texts{"u1.guiSetParam {SMON_OT=1}"});
  answers.sub_cores = {{"u1", "pmcps"}};
  for (char const* const name : {"ps.enableSysmonBroadcast", "project.allowPSSubCoreSplit", "ps.enableSysmon"}) {
    forget();
    param_host::set(name, "false");
    model->guiSetParam("SMON_OT", "1");
    EXPECT_EQ(calls(), Texts{"u1.guiSetParam {SMON_OT=1}"}) << name;
    param_host::set(name, "true");
  }
}

// ------------------------------------------------------------------------------------------------ updateAll

TEST_F(Psxl, UpdateAppliesAndTells) {
  init();
  answers.result = {{"A", rows("1", {"1", "2"}, "ENABLE", "COMBO")}};
  answers.messages = {{"A", "bad"}, {"B", "Info:x"}};
  EXPECT_FALSE(update());
  EXPECT_EQ(calls(), Texts{"u1.setParam {A=1} 10"});
  EXPECT_EQ(shown(outputs), "A: 0=1,2 1=1 2=true; ");
  EXPECT_EQ(model->getParametersWithErrors(), (ParamMap{{"A", "bad"}}));
  EXPECT_EQ(
      told("PSXL.DBG"),
      (Texts{"3 updateAll- inputUserParamValues: 1 xciValueMap: 1 outputMapPropValues: 0 Enter\n",
             "2 Got message for param A - bad \n", "2 Message on Parameter A is bad\n",
             "2 Got message for param B - Info:x \n", "1 updateAll- return_value: 0 outputMapPropValues: 1 Exit\n"}));
  answers.messages = {};
  forget();
  EXPECT_TRUE(update());
  EXPECT_EQ(told("PSXL.DBG").back(), "1 updateAll- return_value: 1 outputMapPropValues: 1 Exit\n");
}

TEST_F(Psxl, UpdateHoldsValuesAgainstTheirRanges) {
  init();
  answers.types = {{"A_FREQMHZ", "textEdit"}};
  answers.ranges = {{"A_FREQMHZ", {"1", "2"}}};
  answers.enabled = {"A_FREQMHZ"};
  ParamMap params{{"A_FREQMHZ", "3"}};
  EXPECT_FALSE(update(params));
  EXPECT_EQ(calls(), Texts{"u1.setParam {A_FREQMHZ=3} 10"}) << "the engine is asked all the same";
  const True simulates("psx.internalSimulation");
  EXPECT_TRUE(update(params));
}

TEST_F(Psxl, UpdateTellsTheCustomiserAllValues) {
  init();
  answers.result = {{"A", rows("1", {}, "", "")}, {"EMPTY", {}}, {"PS_SLR_ID", rows("2", {}, "", "")}};
  EXPECT_TRUE(update());
  EXPECT_TRUE(changes.empty());
  const True syncs("ips.syncEventsForPSXWizard");
  EXPECT_TRUE(update());
  EXPECT_EQ(changes, (std::vector<ParamMap>{{{"A", "1"}, {"EMPTY", "{}"}}}));
  EXPECT_EQ(flows, std::vector<int>{0});
  answers.result = {{"PS_SLR_ID", rows("2", {}, "", "")}};
  EXPECT_TRUE(update());
  EXPECT_EQ(changes.size(), 1U);
}

TEST_F(Psxl, BlockAutomationTellsThatTheConfigurationIsApplied) {
  for (char const* const core : {"ps_wizard", "PS_Wizard"}) {
    init(core, core);
    update();
    EXPECT_EQ(output("PS_PMC_CONFIG_APPLIED"), "none");
    const True automates("ps.enableBlockAutomation");
    update();
    EXPECT_EQ(output("PS_PMC_CONFIG_APPLIED"), "PS_PMC_CONFIG_APPLIED: 1=1; ");
  }
  const True automates("ps.enableBlockAutomation");
  init("hic", "u1");
  update();
  EXPECT_EQ(output("PS_PMC_CONFIG_APPLIED"), "none");
}

TEST_F(Psxl, CrossConfigurationCopiesWhatIsNotEmpty) {
  const True crosses("psx.enableCrossConfiguration");
  const ParamMap internal{{"CPM_CONFIG_INTERNAL", "OLD 1 PSX_PCIE_RESET {a b}"},
                          {"PSX_PMCX_CONFIG_INTERNAL", "{CPM_TANDEM_MODE off}"},
                          {"PSX_PMCX_CONFIG", "PSX_HSDP_MODE from_init"}};
  init("psxl", "u1", internal);
  ParamMap params{{"CPM_CONFIG", "CPM_TANDEM_MODE on CPM_PCIE3_PORT_TYPE {x y} OTHER 1 CPM_PCIE0_MODES"}};
  update(params);
  EXPECT_EQ(output("PSX_PMCX_CONFIG_INTERNAL"),
            "PSX_PMCX_CONFIG_INTERNAL: 1= CPM_PCIE3_PORT_TYPE {x y} CPM_TANDEM_MODE on 2=true; ");
  EXPECT_EQ(output("CPM_CONFIG_INTERNAL"),
            "CPM_CONFIG_INTERNAL: 1= OLD 1 PSX_HSDP_MODE from_init PSX_PCIE_RESET {a b} 2=true; ");
  params = {{"CPM_CONFIG", "OTHER 1"}, {"PSX_PMCX_CONFIG", "OTHER 1"}};
  update(params);
  EXPECT_EQ(shown(outputs), "") << "nothing to copy";
  init("psxl", "u2", {{"CPM_CONFIG_INTERNAL", ""}});
  params = {{"CPM_CONFIG", "CPM_TANDEM_MODE on"}};
  update(params);
  EXPECT_EQ(shown(outputs), "") << "not without both";
}

TEST_F(Psxl, CrossConfigurationKnowsItsNames) {
  const auto copied = [this](std::string const& internal_name, std::string const& public_name) {
    const True crosses("psx.enableCrossConfiguration");
    std::string text;
    for (char const* const name : {"PSX_USE_PCIE_AXI_NOC0",
                                   "PSX_USE_PCIE_AXI_NOC1",
                                   "PSX_USE_PCIE_AXI_NOC2",
                                   "PSX_USE_PCIE_AXI_NOC3",
                                   "PSX_USE_PCIE_AXI_NOC4",
                                   "PSX_USE_NOC_AXI_PCIE0",
                                   "PSX_USE_NOC_AXI_PCIE1",
                                   "CPM_TANDEM_MODE",
                                   "CPM_PCIE0_MODES",
                                   "CPM_PCIE1_MODES",
                                   "CPM_PCIE2_MODES",
                                   "CPM_PCIE3_MODES",
                                   "CPM_PCIE4_MODES",
                                   "CPM_PCIE0_PORT_TYPE",
                                   "CPM_PCIE1_PORT_TYPE",
                                   "CPM_PCIE2_PORT_TYPE",
                                   "CPM_PCIE3_PORT_TYPE",
                                   "PSX_HSDP_MODE",
                                   "PSX_HSDP_INGRESS_TRAFFIC",
                                   "PSX_HSDP_EGRESS_TRAFFIC",
                                   "PSX_HSDP_AURORA_LINE_RATE",
                                   "PSX_HSDP_REFCLK_FREQMHZ",
                                   "PSX_HSDP0_REFCLK",
                                   "PSX_HSDP1_REFCLK",
                                   "PSX_HSDP2_REFCLK",
                                   "PSX_CRL_CPM_TOPSW_REF_CTRL_SRCSEL",
                                   "PSX_CRL_CPM_TOPSW_REF_CTRL_FREQMHZ",
                                   "PSX_CRL_CPM_TOPSW_REF_CTRL_DIVISOR0",
                                   "PSX_CRL_CPM_TOPSW_REF_CTRL_ACT_FREQMHZ",
                                   "PSX_PCIE_RESET",
                                   "PSX_PCIE_ROOT_RESET0_IO",
                                   "PSX_PCIE_ROOT_RESET1_IO",
                                   "PSX_PCIE_ROOT_RESET2_IO",
                                   "PSX_PCIE_ROOT_RESET3_IO",
                                   "PSX_PCIE_ROOT_RESET4_IO"})
      text += std::string(name) + " 1 ";
    init("psxl", public_name, {{"CPM_CONFIG_INTERNAL", ""}, {"PSX_PMCX_CONFIG_INTERNAL", ""}});
    ParamMap params{{public_name, text}};
    update(params);
    return kdi::text::words(outputs.at(internal_name).at(Model::XGUI_VALUE)).size() / 2;
  };
  EXPECT_EQ(copied("PSX_PMCX_CONFIG_INTERNAL", "CPM_CONFIG"), 14U);
  EXPECT_EQ(copied("CPM_CONFIG_INTERNAL", "PSX_PMCX_CONFIG"), 16U);
}

TEST_F(Psxl, TheWizardKeepsItsNpiFrequency) {
  constexpr char const* kFrequency = "PMCX_CRP_NPI_REF_CTRL_FREQMHZ";
  const std::string name = kFrequency;
  init("psx_wizard", "w", {{"PSX_PMCX_CONFIG_INTERNAL", name + " 300 X 1"}});
  ParamMap params{{"PSX_PMCX_CONFIG", "B {2 3} " + name + " 400 A 1"}};
  EXPECT_TRUE(update(params));
  EXPECT_EQ(calls(), Texts{"w.setParam {PSX_PMCX_CONFIG= A 1 B {2 3} " + name + " 300} 10"});
  EXPECT_EQ(output("PSX_PMCX_CONFIG"), "PSX_PMCX_CONFIG: 1= A 1 B {2 3} " + name + " 300; ");
  EXPECT_EQ(said(), Texts{"WARNING: [tcltasks 80-6] PMCX_CRP_NPI_REF_CTRL_FREQMHZ cannot be changed here. The previous "
                          "frequency has been restored."});
  for (std::string const& text : {name + " 300", std::string("A 1"), std::string()}) {
    forget();
    params = {{"PSX_PMCX_CONFIG", text}};
    EXPECT_TRUE(update(params));
    EXPECT_EQ(calls(), Texts{"w.setParam {PSX_PMCX_CONFIG=" + text + "} 10"});
    EXPECT_EQ(said(), Texts{});
  }
  init("psx_wizard", "w2", {});
  params = {{"PSX_PMCX_CONFIG", name + " 400"}};
  update(params);
  EXPECT_EQ(said(), Texts{}) << "nothing to compare with";
  init("psxl", "w3", {{"PSX_PMCX_CONFIG_INTERNAL", name + " 300"}});
  update(params);
  EXPECT_EQ(said(), Texts{}) << "another core";
}

TEST_F(Psxl, AWizardTellsItsSubCoresTheMeasurementsOfTheMaster) {
  make_core("loose", "bd_1_pmcps_0_0");
  make_core("loose", "bd_1_pmcps_0_1");
  make_core("hic", "bd_2_pmcps_0_0");
  answers.dict_measurements = {{"bd_1_pmcps_0_0/tmp_pmcps", {{"M", "m 1"}, {"N", "n"}}},
                               {"bd_1_pmcps_0_1/tmp_pmcps", {{"WRONG", "1"}}},
                               {"bd_2_pmcps_0_0/tmp_pmcps", {{"WRONG", "1"}}}};
  init("ps_wizard", "w");
  ParamMap params{{"PS_PMC_CONFIG", "N {own} A 1"}, {"PS_PMC_CONFIG_2", "{B 1}"}, {"PS_PMC_CONFIG_4", "C 1"}};
  update(params);
  EXPECT_EQ(params.at("PS_PMC_CONFIG"), "N {own} A 1") << "nobody broadcasts";
  const True broadcasts("ps.enableSysmonBroadcast");
  update(params);
  EXPECT_EQ(params, (ParamMap{{"PS_PMC_CONFIG", "N {own} A 1 M {m 1}"},
                              {"PS_PMC_CONFIG_2", "{B 1 M {m 1} N {n}}"},
                              {"PS_PMC_CONFIG_4", "C 1"}}));
  EXPECT_EQ(output("PS_PMC_CONFIG"), "PS_PMC_CONFIG: 1=N {own} A 1 M {m 1}; ");
  EXPECT_EQ(output("PS_PMC_CONFIG_2"), "PS_PMC_CONFIG_2: 1={B 1 M {m 1} N {n}}; ");
  EXPECT_EQ(output("PS_PMC_CONFIG_4"), "none");
  const ParamMap once = params;
  update(params);
  EXPECT_EQ(params, once) << "what is there is not added again";
  init("psxl", "w2");
  params = {{"PS_PMC_CONFIG", "A 1"}};
  update(params);
  EXPECT_EQ(params.at("PS_PMC_CONFIG"), "A 1") << "no wizard";
}

TEST_F(Psxl, MeasurementsOfTheSubCoresAreMergedIntoTheDictionaries) {
  make_core("hic", "bd_pmcps_0");
  make_core("hic", "pmcps_4");
  make_core("plain", "x_pmcps_0");
  init("psxl", "w");
  answers.dict_measurements = {{"bd_pmcps_0/tmp_pmcps_0", {{kEnable, "a 9"}, {"A", "x 1"}, {"ABSENT", "y 1"}}},
                               {"pmcps_4/tmp_pmcps_4", {{kEnable, "b 8"}}}};
  answers.result = {{kEnable, rows("a 1 b 1 c 1", {}, "ENABLE", "EDIT")},
                    {"A", rows("x 0", {}, "ENABLE", "EDIT")},
                    {"SMON_INT_MEASUREMENT_MODE", {}}};
  answers.dict_measurements["pmcps_4/tmp_pmcps_4"]["SMON_INT_MEASUREMENT_MODE"] = "a 1";
  update();
  EXPECT_EQ(calls(), (Texts{"w.setParam {A=1} 10", "bd_pmcps_0.getSysmonEnabledDictMeasurements tmp_pmcps_0",
                            "pmcps_4.getSysmonEnabledDictMeasurements tmp_pmcps_4"}));
  EXPECT_EQ(output(kEnable), "SMON_INT_MEASUREMENT_ENABLE: 1=a 9 b 8 c 1 2=true; ");
  EXPECT_EQ(output("A"), "A: 1=x 0 2=true; ");
}

TEST_F(Psxl, StandsAgainstMegabytesAndOddTexts) {
  const True crosses("psx.enableCrossConfiguration");
  const std::string braces(1'000'000, '{');
  init("psx_wizard", "w", {{"CPM_CONFIG_INTERNAL", braces}, {"PSX_PMCX_CONFIG_INTERNAL", "} { }{"}});
  ParamMap params{{"CPM_CONFIG", braces + " CPM_TANDEM_MODE on"}, {"PSX_PMCX_CONFIG", "}}}"}};
  EXPECT_TRUE(update(params));
  EXPECT_EQ(merged(std::string(1'000'000, ' ') + "a 1", std::string(1'000'000, 'x')), "a 1");
}

}  // namespace
