// The life of a customisation: what a model is asked and told, in which order, and what happens when anyone fails.
#include "kdi/ip/host/Customization.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <thread>

#include "kdi/common/HACGCHybridCustomController.h"
#include "kdi/common/HUTGuiEvent.h"
#include "kdi/common/host/GuiEventHost.h"
#include "kdi/common/host/MessageHost.h"
#include "kdi/ip/HPSPMCEvents.h"
#include "kdi/ippcw/HardIP.h"
#include "tests/support/made_cores.h"
#include "tests/support/places.h"

namespace {

using kdi::ip::Customization;
using kdi::ip::CustomizationError;
using Controller = HACGCHybridCustomController;
using Texts = std::vector<std::string>;

constexpr char kIdentifier[] = "made:up:recorded:1.0";

// What models were asked, and how the next ones behave.
struct Record {
  Texts calls;
  StrVec errors;                        // of init_params
  std::string fails;                    // the call that throws
  HACGCCustomDRCModel* made = nullptr;  // the latest
  bool makes = true, begins = true;
};
thread_local Record record;

std::string shown(ParamMap const& map) {
  std::string text;
  for (auto const& [key, value] : map) text += " " + key + "=" + value;
  return text;
}

class Recorded : public HACGCCustomDRCModel {
 public:
  ~Recorded() override { note("end"); }

  bool init_params(ParamMap& params, OutMap& outputs, ParamMap& context, StrVec& errors, int strength) override {
    note("init_params" + shown(params) + " |" + shown(context) + " | " + std::to_string(strength) + " |" +
         shown(guiContextParams) + " | " + std::to_string(displayNames.size()));
    outputs["A"] = {{XGUI_VALUE, "1"}, {XGUI_RANGE, "0,1"}};
    errors = record.errors;
    return errors.empty() && record.begins;
  }
  void loadSubPresetParams(ParamMap params) override { note("loadSubPresetParams" + shown(params)); }
  bool updateAll(ParamMap& params, ParamMap& user, OutMap& outputs, ParamMap&) override {
    note("updateAll" + shown(params) + " |" + shown(user));
    outputs["A"] = {{XGUI_VALUE, "2"}};
    errors_ = {{"A", "is wrong"}};
    return false;
  }
  void guiSetParam(std::string name, std::string value) override {
    note("guiSetParam " + name + " " + value);
    StrVec names{name, value};
    HUTGuiEvent::fire<HPSPMCUpdateGuiEvent>(&names);
    ParamMap params{{name, value}};
    HUTGuiEvent::fire<HPSPMCParameterChanged>(static_cast<HACGCCustomDRCModel*>(this), &params,
                                              HPSPMCParameterChanged::CUSTOMIZER_FLOW_GUI);
  }
  ParamMap& getParametersWithErrors() override { return errors_; }

 private:
  static void note(std::string const& call) {
    record.calls.push_back(call);
    const std::string name = call.substr(0, call.find(' '));
    if (name != "end" && name == record.fails) throw std::runtime_error(name + " failed");
  }
  ParamMap errors_;
};

void make(std::string identifier, HACGCCustomDRCModel** model) {
  record.calls.push_back("factory " + identifier);
  *model = record.made = record.makes ? new Recorded : nullptr;
}
void remove(std::string identifier, HACGCCustomDRCModel** model) {
  record.calls.push_back("deleter " + identifier);
  delete *model;
}

constexpr char kDescription[] = R"("interface": "block", "parameters": [
  {"name": "ENABLE", "type": "truth", "widget": "CHECKBOX", "display_name": "Enable", "description": "d", "default": "0"},
  {"name": "MODE", "type": "text", "widget": "COMBO", "description": "of all", "default": "None",
   "values": ["None", "Safe", "Custom"]}],
  "sub_presets": [{"parameter": "MODE", "choices": [
    {"value": "Safe", "info": "no risks", "settings": {"ENABLE": "1"}}]}])";

TEST(WithoutModels, NothingCanBeOpened) {
  try {
    Customization customization("brenlo:ip:pspmc:1.4", {});
    FAIL();
  } catch (CustomizationError const& error) {
    EXPECT_STREQ(error.what(), "no parameter models are registered: the package that has them is not loaded");
  }
}

class CustomizationTest : public testing::Test {
 protected:
  CustomizationTest() {
    record = Record();
    Controller::setDRCModelBasedonIP(kIdentifier, make);
    Controller::setDeleteFuncOnDRCModelObject(kIdentifier, remove);
  }

  template <class Error = CustomizationError>
  static std::string refusal(std::string const& identifier, ParamMap const& context = {}) {
    try {
      Customization customization(identifier, context);
    } catch (Error const& error) {
      return error.what();
    }
    return "none";
  }
};

TEST_F(CustomizationTest, OrderOfALife) {
  {
    Customization one(kIdentifier, {{"part", "p"}}, {{{"A", "3"}}, {{"gui", "yes"}}, 5});
    EXPECT_EQ(one.outputs().at("A").at(HACGCCustomDRCModel::XGUI_VALUE), "1");
    EXPECT_TRUE(one.errors().empty());
    EXPECT_FALSE(one.update({{"B", "4"}}));
    EXPECT_EQ(one.outputs().at("A").at(HACGCCustomDRCModel::XGUI_VALUE), "2");
    EXPECT_EQ(one.outputs().at("A").at(HACGCCustomDRCModel::XGUI_RANGE), "0,1") << "what is not told again stays";
    EXPECT_EQ(one.errors(), (ParamMap{{"A", "is wrong"}}));
    one.set("C", "5");
    one.drive([](HACGCCustomDRCModel& model) { EXPECT_EQ(&model, record.made); });
  }
  EXPECT_EQ(record.calls, (Texts{"factory made:up:recorded:1.0",
                                 "init_params A=3 | part=p ps_core_name=recorded ps_core_ver=1.0 | 5 | gui=yes | 0",
                                 "loadSubPresetParams A=3", "updateAll B=4 | A=3 B=4", "guiSetParam C 5",
                                 "deleter made:up:recorded:1.0", "end"}));
}

TEST_F(CustomizationTest, MapsAreFilledBeforeTheModelBegins) {
  MadeCores cores;
  cores.add("recorded", "1.0", kDescription);
  Customization one(kIdentifier, {});
  ASSERT_NE(one.core(), nullptr);
  EXPECT_TRUE(record.calls[1].ends_with("| 1")) << record.calls[1];
  one.drive([](HACGCCustomDRCModel& model) {
    EXPECT_EQ(model.displayNames, (ParamMap{{"ENABLE", "Enable"}}));
    EXPECT_EQ(model.descriptions, (ParamMap{{"ENABLE", "d"}, {"MODE", "of all"}}));
    EXPECT_EQ(model.choiceMappings.at("MODE"), (StrPairs{{"None", "None"}, {"Safe", "Safe"}, {"Custom", "Custom"}}));
    EXPECT_EQ(model.subPresetChoices, (std::map<std::string, StrVec>{{"MODE", {"None", "Safe"}}}));
    EXPECT_EQ(model.subPresetConfigs, (AttrMap{{"Safe", {{"ENABLE", "1"}}}}));
    EXPECT_EQ(model.subPresetInfos, (AttrMap{{"MODE", {{"Safe", "no risks"}}}}));
    EXPECT_EQ(model.subPresetMembers, (std::map<std::string, std::set<std::string>>{{"ENABLE", {"MODE"}}}));
  });
}

TEST_F(CustomizationTest, AContextMaySayWhichCoreItIs) {
  Customization one(kIdentifier, {{"ps_core_name", "other"}, {"ps_core_ver", "7"}});
  EXPECT_EQ(one.context(), (ParamMap{{"ps_core_name", "other"}, {"ps_core_ver", "7"}}));
  EXPECT_EQ(one.core(), nullptr);
}

TEST_F(CustomizationTest, IdentifiersWithoutAModel) {
  EXPECT_TRUE(refusal("brenlo:ip:none:1.0")
                  .starts_with("no parameter model for \"brenlo:ip:none:1.0\"; there are models for "));
  EXPECT_TRUE(refusal("").starts_with("no parameter model for \"\""));
  Controller::setDRCModelBasedonIP("made:up:half:1.0", make);
  EXPECT_EQ(refusal("made:up:half:1.0"), "the parameter model for \"made:up:half:1.0\" has no delete function");
  record.makes = false;
  EXPECT_EQ(refusal(kIdentifier), "no parameter model was made for \"made:up:recorded:1.0\"");
}

TEST_F(CustomizationTest, WhatCannotBeginIsDeleted) {
  record.errors = {"no such core", "nor part"};
  EXPECT_EQ(refusal(kIdentifier), "no such core\nnor part");
  EXPECT_EQ(record.calls.back(), "end");
  record.errors.clear();
  record.begins = false;
  EXPECT_EQ(refusal(kIdentifier), "\"made:up:recorded:1.0\" could not begin");
  for (char const* const call : {"init_params", "loadSubPresetParams"}) {
    record = Record();
    record.fails = call;
    EXPECT_EQ(refusal<std::runtime_error>(kIdentifier), std::string(call) + " failed");
    EXPECT_EQ(record.calls.back(), "end");
  }
}

// Listens while it lives; hears of events on this thread.
class Listening {
 public:
  using Heard = std::function<void(Customization*, StrVec const&)>;
  explicit Listening(Heard heard)
      : number_(gui_event_host::subscribe<HPSPMCUpdateGuiEvent>(
            [heard = std::move(heard), thread = std::this_thread::get_id()](HPSPMCUpdateGuiEvent const& event) {
              if (thread == std::this_thread::get_id()) heard(Customization::at_work(), *event.parameters);
            })) {}
  ~Listening() { gui_event_host::unsubscribe(number_); }

 private:
  const int number_;
};

TEST_F(CustomizationTest, AChangeThatFailsLeavesItInOrder) {
  Customization one(kIdentifier, {});
  record.fails = "updateAll";
  EXPECT_THROW(one.update({{"A", "1"}}), std::runtime_error);
  EXPECT_EQ(Customization::at_work(), nullptr);
  record.fails.clear();
  EXPECT_FALSE(one.update({}));
}

TEST_F(CustomizationTest, EventsAreOfTheModelAtWork) {
  Customization one(kIdentifier, {}), other(kIdentifier, {});
  Texts heard;
  const Listening listening([&](Customization* at_work, StrVec const& names) {
    heard.push_back((at_work == &one ? "one " : at_work == &other ? "other " : "nobody ") + names[0]);
    if (names[0] == "A") {
      other.set("B", "");  // as a wizard does with its sub-cores
      EXPECT_EQ(Customization::at_work(), &one);
    }
  });
  one.set("A", "1");
  other.set("C", "");
  StrVec names{"D"};
  HUTGuiEvent::fire<HPSPMCUpdateGuiEvent>(&names);
  EXPECT_EQ(heard, (Texts{"one A", "other B", "other C", "nobody D"}));
}

TEST_F(CustomizationTest, AListenerThatFailsIsReported) {
  const message_host::Capture capture;
  Customization one(kIdentifier, {});
  const Listening listening([](Customization*, StrVec const&) { throw std::runtime_error("listener failed"); });
  one.set("A", "1");
  EXPECT_EQ(Customization::at_work(), nullptr);
  ASSERT_EQ(capture.lines().size(), 1U);
  EXPECT_NE(capture.lines()[0].find("listener failed"), std::string::npos);
}

TEST_F(CustomizationTest, AModelThatCannotBeDeletedIsReported) {
  Controller::setDeleteFuncOnDRCModelObject(kIdentifier, [](std::string, HACGCCustomDRCModel** model) {
    delete *model;
    throw std::runtime_error("delete failed");
  });
  const message_host::Capture capture;
  { Customization one(kIdentifier, {}); }
  Controller::setDeleteFuncOnDRCModelObject(kIdentifier, [](std::string, HACGCCustomDRCModel** model) {
    delete *model;
    throw 1;
  });
  { Customization one(kIdentifier, {}); }
  EXPECT_EQ(capture.lines(),
            (Texts{"ERROR: [ip] delete failed", "ERROR: [ip] a parameter model could not be deleted"}));
}

TEST_F(CustomizationTest, SeveralThreads) {
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i)
    threads.emplace_back([i] {
      const std::string name = "P" + std::to_string(i);
      Customization* expected = nullptr;
      Texts heard;
      const Listening listening([&](Customization* at_work, StrVec const& names) {
        EXPECT_EQ(at_work, expected);
        heard = names;
      });
      for (int round = 0; round < 50; ++round) {
        Customization one(kIdentifier, {{"instance_name", name}});
        expected = &one;
        one.set(name, std::to_string(round));
        EXPECT_EQ(heard, (Texts{name, std::to_string(round)}));
      }
    });
  for (std::thread& thread : threads) thread.join();
}

// ------------------------------------------------------------------------------------------------------- real models

// The package registers its models while it is opened, which the first test must come before.
class RealModels : public CustomizationTest {
 protected:
  RealModels() {
    static void* const package = dlopen(places::library("libkdi_iptasks.so").c_str(), RTLD_NOW);
    EXPECT_NE(package, nullptr) << dlerror();
  }
};

TEST_F(RealModels, ARealCore) {
  Customization one("brenlo:ip:xram:1.0", {{"part", "brvn3716-die-2LHP-e-S-es1"}, {"instance_name", "real"}});
  EXPECT_EQ(one.outputs().at("XRAM_SIZE_MB").at(HACGCCustomDRCModel::XGUI_VALUE), "4");
  EXPECT_TRUE(one.update({{"XRAM_SIZE_MB", "2"}}));
  EXPECT_EQ(one.outputs().at("XRAM_SIZE_MB").at(HACGCCustomDRCModel::XGUI_VALUE), "2");
  EXPECT_FALSE(one.update({{"XRAM_SIZE_MB", "perhaps"}}));
  EXPECT_EQ(one.errors().size(), 1U);
  StrVec errors;
  hardip_eng::HardIPManager::getInstance()->deleteInstance(one.context(), errors);
}

TEST_F(RealModels, ACoreThatThePartDoesNotHave) {
  const std::string text = refusal("brenlo:ip:pspmc:1.4", {{"part", "brvn3716-die-2LHP-e-S-es1"}});
  EXPECT_TRUE(text.starts_with("the part brvn3716-die-2LHP-e-S-es1 does not have the core pspmc; it has ")) << text;
  EXPECT_EQ(refusal("brenlo:ip:pspmc:1.4"), "the context has no part");
}

}  // namespace
