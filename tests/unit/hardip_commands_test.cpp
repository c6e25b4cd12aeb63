// The configuration and task commands against cores that record: which call, in which order, which strength.
#include <gtest/gtest.h>
#include <tcl.h>

#include <memory>

#include "kdi/common/host/MessageHost.h"
#include "kdi/common/host/ParamHost.h"
#include "kdi/ippcw/HardIPInstance.h"
#include "tcltasks/hardip/hardip.h"
#include "tests/support/program.h"
#include "tests/support/recording_core.h"
#include "tests/support/script_answer.h"

extern "C" int Kdi_iptasks_Init(Tcl_Interp* interp);

namespace {

using recording_core::answers;
using recording_core::calls;
using recording_core::rows;
using Texts = std::vector<std::string>;

class HardIpCommands : public testing::Test {
 protected:
  HardIpCommands() : interp_((Tcl_FindExecutable(nullptr), Tcl_CreateInterp())) {
    recording_core::reset();
    Kdi_iptasks_Init(interp_);
  }
  ~HardIpCommands() override {
    Tcl_DeleteInterp(interp_);
    recording_core::reset();
  }
  Answer run(std::string const& script) { return answer_of(interp_, script); }
  Answer config(std::string const& script) { return run("Ip_config_kdi_tcltasks_" + script); }
  Answer task(std::string const& script) { return run("Ip_config_hardip_tcltasks_" + script); }

 private:
  Tcl_Interp* interp_;
};

constexpr char const* kPlain = " -context {ps_core_name plain instance_name u1} ";
std::string plain(std::string const& name, std::string const& rest = {}) { return name + kPlain + rest; }

TEST_F(HardIpCommands, InitAppliesInTheGivenStrengthAndTellsAllParameters) {
  answers.outputs = {{"B", rows("x y", {"1", "2 3"}, "ENABLE", "COMBO")}, {"A", {}}};
  answers.result = {{"C", rows("dropped", {}, "", "")}};
  answers.messages = {{"A", "an error"}};
  for (auto const& [prefix, name] :
       {std::pair{"Ip_config_kdi_tcltasks_", "u1"}, {"Ip_config_hardip_tcltasks_", "u2"}}) {
    recording_core::forget_calls();
    const std::string command =
        std::string(prefix) + "ip_init -params {A 1 B {2 3}} -strength 7 -context {ps_core_name plain instance_name " +
        name + "}";
    EXPECT_EQ(run(command), ok("A {} B {{{x y}} {1 {2 3}} ENABLE COMBO {} {}}"));
    EXPECT_EQ(calls(), (Texts{"getRanges {A=1 B=2 3} 7", "getOutputParams"}));
  }
  recording_core::forget_calls();
  EXPECT_EQ(config(plain("ip_init", "-params {A 1 B} -strength {  12x}")).code, TCL_OK);
  EXPECT_EQ(calls()[0], "getRanges {A=1} 12");
  config(plain("ip_init", "-params \\{ -strength many"));
  EXPECT_EQ(calls()[2], "getRanges {} 0");
}

TEST_F(HardIpCommands, UninitEndsTheInstanceUnlessItIsKept) {
  config(plain("get_user_param_list"));
  EXPECT_EQ(config(plain("is_ip_instance")), ok());
  EXPECT_EQ(config(plain("ip_uninit")), ok());
  EXPECT_EQ(config(plain("is_ip_instance")), error());
  EXPECT_EQ(config(plain("ip_uninit")), ok()) << "nothing to end";
  config(plain("get_user_param_list"));
  param_host::set("cips.EnableBDC", "true");
  EXPECT_EQ(config(plain("ip_uninit")), ok());
  EXPECT_EQ(config(plain("is_ip_instance")), ok());
  param_host::unset("cips.EnableBDC");
  EXPECT_EQ(config("ip_uninit -context \\{"), ok());
  EXPECT_EQ(task(plain("ip_uninit")), ok()) << "the task command ends nothing";
  EXPECT_EQ(config(plain("is_ip_instance")), ok());
}

TEST_F(HardIpCommands, QuestionsAboutAnInstanceMakeNone) {
  EXPECT_EQ(config(plain("is_ip_instance")), error());
  EXPECT_EQ(config(plain("is_default_ip_instance")), error());
  EXPECT_EQ(config(plain("get_device_info", "-info speed")),
            error("{instance not found} {Ip_config_kdi_tcltasks_get_device_info -context {ps_core_name plain "
                  "instance_name u1} -info speed}"));
  EXPECT_EQ(config(plain("is_ip_instance")), error());
  EXPECT_EQ(config("is_ip_instance -context \\{"), error()) << "nothing is said of a list that is none";
  EXPECT_EQ(config("is_default_ip_instance -context \\{"), error());
}

TEST_F(HardIpCommands, DefaultInstances) {
  config(plain("get_user_param_list"));
  EXPECT_EQ(config(plain("is_default_ip_instance")), error());
  answers.is_default = true;
  EXPECT_EQ(config(plain("is_default_ip_instance")), ok());
  EXPECT_EQ(config("get_user_param_list -context {ps_core_name bare instance_name b}"), ok());
  EXPECT_EQ(config("is_default_ip_instance -context {ps_core_name bare instance_name b}"), error());
}

TEST_F(HardIpCommands, WhatTheDeviceSays) {
  config(plain("get_user_param_list"));
  answers.text = "a text {with} braces";
  EXPECT_EQ(config(plain("get_device_info", "-info {any word}")), ok("a text {with} braces"));
  EXPECT_EQ(calls().back(), "getDeviceInfo any word");
  config("get_user_param_list -context {ps_core_name bare instance_name b}");
  EXPECT_EQ(config("get_device_info -context {ps_core_name bare instance_name b} -info x"), ok());
}

TEST_F(HardIpCommands, ParametersOfTheUser) {
  answers.user_params = {"B", "A b", ""};
  EXPECT_EQ(config(plain("get_user_param_list")), ok("B {A b} {}"));
}

TEST_F(HardIpCommands, RangesFailWithMessagesAndTellThemAllTheSame) {
  answers.result = {{"A", rows("1", {"1", "2"}, "ENABLE", "COMBO")}};
  EXPECT_EQ(config(plain("get_range", "-params {A 1}")), ok("A {1 {1 2} ENABLE COMBO {} {}}"));
  EXPECT_EQ(calls(), Texts{"getRanges {A=1} 10"});
  answers.messages = {{"B", "not good"}, {"A", "Info:x"}};
  EXPECT_EQ(config(plain("get_range", "-params {A 1}")),
            error("Errors {A Info:x B {not good}} A {1 {1 2} ENABLE COMBO {} {}}"));
  EXPECT_EQ(config(plain("get_ranges", "-params {A 1} -userparams {}")),
            error("Errors {A Info:x B {not good}} A {1 {1 2} ENABLE COMBO {} {}}"));
}

TEST_F(HardIpCommands, TheUsersParametersGoToANewOrDefaultInstance) {
  const std::string command = plain("get_ranges", "-userparams {U 1} -params {A 2}");
  EXPECT_EQ(config(command), ok());
  EXPECT_EQ(calls(), (Texts{"getRanges {U=1} 10", "getRanges {A=2} 10"}));
  recording_core::forget_calls();
  config(command);
  EXPECT_EQ(calls(), (Texts{"isDefaultInstance", "getRanges {A=2} 10"}));
  answers.is_default = true;
  recording_core::forget_calls();
  config(command);
  EXPECT_EQ(calls(), (Texts{"isDefaultInstance", "getRanges {U=1} 10", "getRanges {A=2} 10"}));
}

TEST_F(HardIpCommands, TextsComeBackToTheScript) {
  message_host::set_channel("sysmon.generate.hip", 0);
  message_host::Capture capture;
  struct {
    char const *command, *rest, *operation;
  } const rows_of[] = {{"xdc_generate", "", "generateXdc"},
                       {"power_generate", "-path /nowhere", "generatePowerData"},
                       {"iopad_report_generate", "-path /nowhere", "generateIOPadData"},
                       {"sysmon_npidata_generate", "-path /nowhere", "generateSysmonNpiData"}};
  for (auto const& [command, rest, operation] : rows_of) {
    answers.text = "lines {\n";
    answers.errors = {};
    EXPECT_EQ(config(plain(command, "-params {A 1} " + std::string(rest))), ok("lines {\n"));
    EXPECT_EQ(calls().back(), std::string(operation) + " {A=1}");
    answers.errors = {"first", "the second"};
    const std::string words = plain(command, "-params {A 1} " + std::string(rest));
    const Answer answer = config(words);
    EXPECT_EQ(answer.code, TCL_ERROR);
    EXPECT_EQ(answer.result.substr(0, 23), "{first {the second}} {I") << answer.result;
  }
  ASSERT_EQ(capture.messages().size(), 2U);
  EXPECT_EQ(capture.messages()[0].text, "\t sysmon_npidata_generate- Enter\n");
  EXPECT_EQ(capture.messages()[0].scope, "sysmon.generate.hip");
  EXPECT_EQ(capture.messages()[0].category, "tcltasks");
  EXPECT_EQ(capture.messages()[0].level, 0);
  EXPECT_EQ(static_cast<unsigned>(capture.messages()[0].mask), 0x1000003U);
  message_host::set_channel("sysmon.generate.hip", -1);
  answers.errors = {"e"};
  EXPECT_EQ(config("sysmon_npidata_generate -context {ps_core_name bare instance_name b} -params {} -path x"), ok());
}

TEST_F(HardIpCommands, AnInstanceThatCannotBeMadeIsToldOf) {
  for (char const* const rest :
       {"ip_init -context {ps_core_name refused} -params {} -strength 1",
        "get_user_param_list -context {ps_core_name refused}", "get_range -context {ps_core_name refused} -params {}",
        "get_ranges -context {ps_core_name refused} -params {} -userparams {}",
        "xdc_generate -context {ps_core_name refused} -params {}",
        "power_generate -context {ps_core_name refused} -params {} -path x",
        "iopad_report_generate -context {ps_core_name refused} -params {} -path x",
        "sysmon_npidata_generate -context {ps_core_name refused} -params {} -path x"}) {
    const Answer answer = config(rest);
    EXPECT_EQ(answer.code, TCL_ERROR) << rest;
    EXPECT_EQ(answer.result, "{{no such thing}} {Ip_config_kdi_tcltasks_" + std::string(rest) + "}") << rest;
  }
  answers.is_silent = true;
  EXPECT_EQ(
      config(plain("get_user_param_list")),
      error("{{instance could not be created}} {Ip_config_kdi_tcltasks_get_user_param_list -context {ps_core_name "
            "plain instance_name u1}}"));
  answers.is_silent = false;
  EXPECT_EQ(task("ip_init -context {ps_core_name refused} -params {} -strength 1").result.substr(0, 17),
            "{{no such thing}}");
  EXPECT_EQ(calls(), Texts{});
}

TEST_F(HardIpCommands, WrongWordsAreToldInTheWordsOfEachCommand) {
  const std::string context = "-context { ctxpar val ... }", params = ", -params { param param ... }";
  struct Command {
    char const* name;
    std::string usage;
    Texts options;
  };
  const std::string one = "wrong arguments: ", two = "wrong arguments:  ";
  const Command commands[] = {
      {"kdi_tcltasks_ip_init", one + context, {"-context", "-params", "-strength"}},
      {"kdi_tcltasks_ip_uninit", two + context, {"-context"}},
      {"kdi_tcltasks_is_ip_instance", two + context, {"-context"}},
      {"kdi_tcltasks_is_default_ip_instance", two + context, {"-context"}},
      {"kdi_tcltasks_get_device_info", two + context + ", -info ", {"-context", "-info"}},
      {"kdi_tcltasks_get_user_param_list", one + context, {"-context"}},
      {"kdi_tcltasks_get_range", two + "-params { param param ... } " + context, {"-params", "-context"}},
      {"kdi_tcltasks_get_ranges",
       two + context + params + ", -userparams { param param ... }",
       {"-context", "-params", "-userparams"}},
      {"kdi_tcltasks_xdc_generate", two + context + params, {"-context", "-params"}},
      {"kdi_tcltasks_power_generate", two + context + params, {"-context", "-params", "-path"}},
      {"kdi_tcltasks_iopad_report_generate", two + context + params, {"-context", "-params", "-path"}},
      {"kdi_tcltasks_sysmon_npidata_generate", two + context + params, {"-context", "-params", "-path"}},
      {"hardip_tcltasks_ip_init", one + context, {"-context", "-params", "-strength"}},
      {"hardip_tcltasks_ip_uninit", two + context, {"-context"}},
  };
  for (Command const& command : commands) {
    const std::string name = std::string("Ip_config_") + command.name;
    std::string all, missing, doubled, unknown = " -bad x";
    for (std::string const& option : command.options) {
      all += " " + option + " {}";
      missing = all.substr(0, all.size() - 3);
      doubled += " " + command.options[0] + " {}";
      if (option != command.options[0]) unknown += " " + option + " {}";
    }
    for (std::string const& words : {std::string(), missing, doubled + " " + command.options[0] + " {}", unknown,
                                     all + " -more x", all + " " + command.options[0]}) {
      const std::string call = name + words;
      EXPECT_EQ(run(call), error("{" + command.usage + "} " + (words.empty() ? call : "{" + call + "}")));
    }
  }
  EXPECT_EQ(calls(), Texts{});
}

TEST_F(HardIpCommands, TimesArePrintedIfTheVariableIsExactlyTrue) {
  const auto printed = [this](std::string const& variable, std::string const& value, std::string const& script) {
    Surroundings around;
    around.variables[variable] = value;
    const Outcome outcome = run_apart([&] { return config(script).code; }, around);
    EXPECT_EQ(outcome.status, 0) << script;
    return outcome.out;
  };
  const std::string init = "ZORVAN_INIT time : Approx milliseconds: ";
  const std::string range = "ZORVAN GETRANGE time : Approx milliseconds: ";
  for (std::string const& script : {plain("ip_init", "-params {} -strength 1"), plain("get_user_param_list")}) {
    EXPECT_EQ(printed("BRN_ZORVAN_INIT_TIME", "TRUE", script).substr(0, init.size()), init) << script;
    EXPECT_EQ(printed("BRN_ZORVAN_INIT_TIME", "true", script), "") << script;
    EXPECT_EQ(printed("BRN_ZORVAN_GETRANGE_TIME", "TRUE", script), "") << script;
  }
  for (std::string const& script :
       {plain("get_range", "-params {}"), plain("get_ranges", "-params {} -userparams {}")}) {
    EXPECT_EQ(printed("BRN_ZORVAN_GETRANGE_TIME", "TRUE", script).substr(0, range.size()), range) << script;
    EXPECT_EQ(printed("BRN_ZORVAN_GETRANGE_TIME", "", script), "") << script;
  }
  const Outcome task_outcome = run_apart([&] { return task(plain("ip_init", "-params {} -strength 1")).code; },
                                         [] {
                                           Surroundings around;
                                           around.variables["BRN_ZORVAN_INIT_TIME"] = "TRUE";
                                           return around;
                                         }());
  EXPECT_EQ(task_outcome.out, "");
}

TEST(HardIp, CoresOfTheFifthGeneration) {
  using kelvane_config::kdi_tcltasks::isCPM5;
  EXPECT_TRUE(isCPM5("cpm5"));
  EXPECT_TRUE(isCPM5("cpm5n"));
  for (char const* const name : {"", "cpm", "cpm4", "cpm55", "CPM5", "cpm5_tavrel"}) EXPECT_FALSE(isCPM5(name)) << name;
}

// ------------------------------------------------------------------------------------------------ optional operations

using hardip_eng::HardIPOp;

class None : public hardip_eng::HardIPInstance<None> {};
class All : public hardip_eng::HardIPInstance<All> {
 public:
  void getRanges(ParamMap const&, RawResult&, ParamMap&, int) override {}
  void getOutputParams(RawResult&) override {}
  bool isDefaultInstance() override { return true; }
  void setSysmonDataFile(std::string&) override {}
  void getDeviceInfo(std::string, std::string&) override {}
  void generateSysmonNpiData(ParamMap const&, std::string&, StrVec&) override {}
  bool keepsExistingOutput() override { return true; }
  void getExportedData(std::string, std::string&) override {}
  void addHwDefFileAttributes(AttrMap&) override {}
};
class Inherited : public hardip_eng::HardIPInstance<Inherited, All> {};
class One : public hardip_eng::HardIPInstance<One> {
 public:
  bool keepsExistingOutput() override { return true; }
};

TEST(OptionalOperations, AreThoseThatAClassOrItsBaseOverrides) {
  for (unsigned number = 0; number < 9; ++number) {
    const auto operation = static_cast<HardIPOp>(number);
    EXPECT_FALSE(None().implements(operation)) << number;
    EXPECT_TRUE(All().implements(operation)) << number;
    EXPECT_TRUE(Inherited().implements(operation)) << number;
    EXPECT_EQ(One().implements(operation), operation == HardIPOp::keepsExistingOutput) << number;
  }
  EXPECT_FALSE(All().implements(static_cast<HardIPOp>(9)));
}

}  // namespace
