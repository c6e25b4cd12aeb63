// The model of the earlier wizards against cores that record: optional operations, and the thread that makes a core.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <boost/thread/exceptions.hpp>
#include <cerrno>
#include <stdexcept>

#include "kdi/common/HEXAll.h"
#include "tcltasks/psmodels/HACGCPCWCustomDRCModel.h"
#include "tcltasks/psmodels/model_table.h"
#include "tests/support/model_fixture.h"
#include "tests/support/program.h"
#include "tests/support/threads.h"

namespace {
std::atomic<bool> has_no_threads = false;
}

// Stands before the system's own.
extern "C" int pthread_create(pthread_t* thread, pthread_attr_t const* attributes, void* (*body)(void*),
                              void* argument) {
  static const auto own = reinterpret_cast<decltype(&pthread_create)>(dlsym(RTLD_NEXT, "pthread_create"));
  return has_no_threads ? EAGAIN : own(thread, attributes, body, argument);
}

namespace {

using Model = HACGCPCWCustomDRCModel;
using OutMap = Model::OutMap;
using recording_core::rows;

constexpr char const* kApplied = "PS_PMC_CONFIG_APPLIED: 1=1; ";

class Pcw : public ModelTest {
 protected:
  static ParamMap context_of(std::string const& core, std::string const& name = "u1") {
    return {{"ps_core_name", core}, {"instance_name", name}};
  }
  bool init(ParamMap context, int strength = 3) {
    outputs.clear();
    errors.clear();
    ParamMap params{{"A", "1"}};
    return model->init_params(params, outputs, context, errors, strength);
  }
  bool update(ParamMap context, ParamMap params = {{"A", "2"}}) {
    outputs.clear();
    ParamMap user{{"U", "1"}};
    return model->updateAll(params, user, outputs, context);
  }

  Made<Model> model{pcwRulesObjInit, pcwRulesObjDelete};
  OutMap outputs;
  StrVec errors;
};

TEST_F(Pcw, InitAsksInTheCallersStrength) {
  answers.outputs = {{"A", rows("1", {"1", "2"}, "ENABLE", "COMBO")}};
  for (char const* const core : {"plain", "heir"}) {
    forget();
    EXPECT_TRUE(init(context_of(core)));
    EXPECT_EQ(calls()[0], "getRanges {A=1} 3") << core;
    EXPECT_EQ(calls()[1], "getOutputParams") << core;
    EXPECT_EQ(shown(outputs), "A: 0=1,2 1=1 2=true; ");
    EXPECT_EQ(told("PCW.DBG"),
              (Texts{"1 Strength = 3 \n",
                     "5 Setting OUTPUT Parameter param=A,value=1,range=1,2,Enabled=ENABLE,Widget=COMBO\n"}));
  }
}

TEST_F(Pcw, NothingIsAskedThatACoreDoesNotOffer) {
  EXPECT_TRUE(init(context_of("bare")));
  EXPECT_EQ(shown(outputs), "");
  EXPECT_TRUE(update(context_of("bare")));
  EXPECT_EQ(calls(), Texts{});
  EXPECT_EQ(shown(outputs), kApplied);
}

TEST_F(Pcw, InitTellsWhyThereIsNoCore) {
  EXPECT_FALSE(init(context_of("refused")));
  EXPECT_EQ(errors, Texts{"no such thing"});
  EXPECT_TRUE(update(context_of("refused")));
  EXPECT_EQ(shown(outputs), kApplied);
  EXPECT_EQ(calls(), Texts{});
}

TEST_F(Pcw, TheMonitorsFileIsNamedForTheLastOtherCore) {
  EXPECT_TRUE(init(context_of("plain", "alone")));
  EXPECT_EQ(calls().back(), "setSysmonDataFile ''") << "no other core yet";
  EXPECT_TRUE(init(context_of("plain", "second")));
  EXPECT_EQ(calls().back(), "setSysmonDataFile 'alone_sysmon_data.json'");
  init(context_of("hic", "zzz"));
  EXPECT_TRUE(init(context_of("plain", "third")));
  EXPECT_EQ(calls().back(), "setSysmonDataFile 'second_sysmon_data.json'") << "none for a core of the larger systems";
  EXPECT_TRUE(init(context_of("cpm", "fourth")));
  EXPECT_EQ(calls().back(), "setSysmonDataFile ''");
}

TEST_F(Pcw, AContextMayGainAnEmptyCoreName) {
  init(context_of("plain"));
  ParamMap params, nameless{{"instance_name", "x"}};
  OutMap dropped;
  model->createInstance(params, dropped, nameless, errors, 5);
  EXPECT_EQ(nameless, (ParamMap{{"instance_name", "x"}, {"ps_core_name", ""}}));
}

TEST_F(Pcw, TheUsersParametersGoToANewOrDefaultCore) {
  EXPECT_TRUE(update(context_of("plain")));
  EXPECT_EQ(calls(), (Texts{"getRanges {U=1} 10", "getRanges {A=2} 10"}));
  forget();
  EXPECT_TRUE(update(context_of("plain")));
  EXPECT_EQ(calls(), (Texts{"isDefaultInstance", "getRanges {A=2} 10"}));
  answers.is_default = true;
  forget();
  EXPECT_TRUE(update(context_of("plain")));
  EXPECT_EQ(calls(), (Texts{"isDefaultInstance", "getRanges {U=1} 10", "getRanges {A=2} 10"}));
}

TEST_F(Pcw, UpdateTellsThatTheConfigurationIsApplied) {
  answers.result = {{"PS_PMC_CONFIG_APPLIED", rows("0", {"0", "1"}, "ENABLE", "COMBO")},
                    {"Z", rows("7", {}, "ENABLE", "EDIT")}};
  answers.messages = {{"A", "bad"}};
  EXPECT_FALSE(update(context_of("plain")));
  EXPECT_EQ(shown(outputs), std::string(kApplied) + "Z: 1=7 2=true; ");
  EXPECT_EQ(model->getParametersWithErrors(), (ParamMap{{"A", "bad"}}));
  EXPECT_EQ(
      told("PCW.DBG"),
      (Texts{"1 Inside TCLTask XGUI UpdateAll 3_1 Size = 1 \n", "2 Got message for param A - bad \n",
             "2 Message on Parameter A is bad\n", "0 UPDATE ALL results of set property\n",
             "5 Setting OUTPUT Parameter param=PS_PMC_CONFIG_APPLIED,value=0,range=0,1,Enabled=ENABLE,Widget=COMBO\n",
             "5 Setting OUTPUT Parameter param=Z,value=7,range=,Enabled=ENABLE,Widget=EDIT\n", "0 FROM UPDATE ALL\n"}));
  answers.messages = {};
  EXPECT_TRUE(update(context_of("plain")));
  EXPECT_TRUE(model->getParametersWithErrors().empty());
}

TEST_F(Pcw, ValuesAreHeldAgainstTheirRangesIfAskedFor) {
  answers.result = {{"A", rows("1", {"0", "1"}, "ENABLE", "EDIT")}};
  EXPECT_TRUE(update(context_of("plain")));
  const True validates("pcw.doRangeValidation");
  EXPECT_FALSE(update(context_of("plain")));
  EXPECT_EQ(model->getParametersWithErrors(), (ParamMap{{"A", "PARAM A::2 is out of range  { 0,1 }"}}));
  for (auto const& [value, is_well] : {std::pair{"true", true}, {"false", true}, {"yes", false}}) {
    answers.result = {{"A", rows("1", {"0", "1"}, "ENABLE", "CHECKBOX")}};
    EXPECT_EQ(update(context_of("plain"), {{"A", value}}), is_well) << value;
  }
  const Texts lines = told("PCW.DBG");
  EXPECT_NE(std::find(lines.begin(), lines.end(), "3 Got Range for param = A, Min = 0, Max = 1\n"), lines.end());
  const True simulates("pcw.internalSimulation");
  EXPECT_TRUE(update(context_of("plain")));
}

TEST_F(Pcw, OutputsThatAreThereStay) {
  RawResult raw{{"A", rows("2", {}, "ENABLE", "EDIT")}};
  outputs = {{"A", {{Model::XGUI_VALUE, "1"}}}};
  model->getOUTParams(raw, outputs);
  EXPECT_EQ(shown(outputs), "A: 1=1; ");
  ParamMap params{{"A", "3"}, {"B", "4"}};
  model->setInputParamValue(params, outputs);
  EXPECT_EQ(shown(outputs), "A: 1=1; B: 1=4; ");
}

TEST_F(Pcw, AUserInterfaceHasNothingToSet) {
  init(context_of("plain"));
  forget();
  model.base().guiSetParam("A", "1");
  model.base().loadSubPresetParams({{"A", "1"}});
  EXPECT_EQ(calls(), Texts{});
  EXPECT_TRUE(updates.empty());
}

TEST_F(Pcw, TimeIsPrintedIfTheVariableIsExactlyTrue) {
  for (auto const& [value, begin] :
       {std::pair{"TRUE", "updateAll::get_range time : Approx milliseconds: "}, {"True", ""}}) {
    Surroundings around;
    around.variables["BRN_ZORVAN_GETRANGE_TIME"] = value;
    const Outcome outcome = run_apart([this] { return update(context_of("plain")) ? 0 : 1; }, around);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out.substr(0, std::string(begin).size()), begin);
    EXPECT_EQ(outcome.out.empty(), *begin == '\0');
  }
}

// ------------------------------------------------------------------------------------------------ on a thread

class PcwThread : public Pcw {
 protected:
  const True parallel{"pcw.instantiateCPMParalelly"};
};

TEST_F(PcwThread, InitDoesNotWaitAndUpdateDoes) {
  Signal may_go_on;
  std::atomic<bool> is_made = false;
  answers.outputs = {{"A", rows("1", {}, "ENABLE", "EDIT")}};
  answers.on_making = [&] {
    EXPECT_TRUE(may_go_on.comes());
    is_made = true;
  };
  EXPECT_TRUE(init(context_of("plain")));
  EXPECT_FALSE(is_made);
  EXPECT_EQ(shown(outputs), "");
  may_go_on.give();
  EXPECT_TRUE(update(context_of("plain")));
  EXPECT_TRUE(is_made);
  EXPECT_EQ(calls(), (Texts{"getRanges {A=1} 3", "getOutputParams", "setSysmonDataFile ''", "isDefaultInstance",
                            "getRanges {A=2} 10"}));
  EXPECT_TRUE(update(context_of("plain"))) << "a later wait is over at once";
}

TEST_F(PcwThread, ErrorsStayAsTheyWere) {
  ParamMap params, context = context_of("refused");
  errors = {"from before"};
  EXPECT_FALSE(model->init_params(params, outputs, context, errors, 5));
  EXPECT_EQ(errors, Texts{"from before"});
  EXPECT_TRUE(update(context));
}

TEST_F(PcwThread, TheCallersMapsMayGoAway) {
  Signal may_go_on;
  answers.on_making = [&] { EXPECT_TRUE(may_go_on.comes()); };
  {
    ParamMap params{{"LONG", std::string(1000, 'x')}}, context = context_of("plain");
    model->init_params(params, outputs, context, errors, 5);
    params.clear();
    context.clear();
  }
  may_go_on.give();
  update(context_of("plain"));
  EXPECT_EQ(calls()[0], "getRanges {LONG=" + std::string(1000, 'x') + "} 5");
}

TEST_F(PcwThread, TheModelsEndWaitsForTheThread) {
  Signal may_go_on;
  std::atomic<bool> is_made = false;
  answers.on_making = [&] {
    EXPECT_TRUE(may_go_on.comes());
    is_made = true;
  };
  HACGCCustomDRCModel* other = nullptr;
  pcwRulesObjInit("x", &other);
  ParamMap params, context = context_of("plain");
  other->init_params(params, outputs, context, errors, 5);
  std::thread later([&] { may_go_on.give(); });
  pcwRulesObjDelete("x", &other);
  EXPECT_TRUE(is_made);
  later.join();
}

TEST_F(PcwThread, WhatTheEngineThrowsThereIsSaid) {
  bool is_first = true;
  answers.on_ranges = [&] {
    if (std::exchange(is_first, false)) throw std::runtime_error("out of silicon");
  };
  EXPECT_TRUE(init(context_of("plain")));
  EXPECT_TRUE(update(context_of("plain")));
  EXPECT_EQ(said(), Texts{"ERROR: [tcltasks 80-2] An exception ended the command: out of silicon"});
  EXPECT_EQ(calls(), (Texts{"getRanges {A=1} 3", "isDefaultInstance", "getRanges {A=2} 10"}));
  forget();
  is_first = true;
  answers.on_ranges = [&] {
    if (std::exchange(is_first, false)) throw 7;
  };
  init(context_of("plain"));
  update(context_of("plain"));
  EXPECT_EQ(said(), Texts{"ERROR: [tcltasks 80-1] An exception of an unknown kind ended the command."});
}

TEST_F(PcwThread, AnotherInitWaitsForTheFirst) {
  EXPECT_TRUE(init(context_of("plain", "a")));
  EXPECT_TRUE(init(context_of("plain", "b")));
  update(context_of("plain", "b"));
  EXPECT_EQ(calls()[0], "getRanges {A=1} 3");
  EXPECT_EQ(calls()[3], "getRanges {A=1} 3");
}

TEST_F(PcwThread, ASystemWithoutThreadsIsAnError) {
  has_no_threads = true;
  try {
    init(context_of("plain"));
    ADD_FAILURE() << "no exception";
  } catch (boost::thread_resource_error const& error) {
    EXPECT_EQ(std::string(error.what()).substr(0, 28), "boost::thread_resource_error");
  }
  has_no_threads = false;
  EXPECT_TRUE(update(context_of("plain")));
}

}  // namespace
