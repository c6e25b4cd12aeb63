// The commands of the earlier processing systems against cores that record: which call, in which order, and what is
// left on the disk.
#include <gtest/gtest.h>
#include <tcl.h>

#include <array>
#include <filesystem>

#include "kdi/common/host/MessageHost.h"
#include "kdi/iostreams/ofstream.h"
#include "tcltasks/zorvan/instance_manager.h"
#include "tcltasks/zorvan/zorvan.h"
#include "tests/support/program.h"
#include "tests/support/recording_psu.h"
#include "tests/support/scratch.h"
#include "tests/support/script_answer.h"

extern "C" int Kdi_iptasks_Init(Tcl_Interp* interp);

namespace {

using Texts = std::vector<std::string>;
using zorvan_init::zorvan_kdi_tcltasks::PS_TCL_Instance_Manager;

struct Family {
  std::string prefix, core;
};
const Family kPs7{"Ip_zorvan_ps7_v1_4_", "ps7"}, kPsu{"Ip_zorvan_psu_v1_0_", "psu"};
const std::array<Family, 2> kBoth{kPs7, kPsu};

constexpr char const* kContext = " -context {instance_name u1} ";

class Zorvan : public testing::Test {
 protected:
  Zorvan() : interp_((Tcl_FindExecutable(nullptr), Tcl_CreateInterp())) { Kdi_iptasks_Init(interp_); }
  ~Zorvan() override {
    Tcl_DeleteInterp(interp_);
    zorvan_init::zorvan_kdi_tcltasks::uninit();
  }
  Answer run(std::string const& script) { return answer_of(interp_, script); }
  // A command about u1.
  Answer run(Family const& family, std::string const& name, std::string const& rest = {}) {
    return run(family.prefix + name + kContext + rest);
  }
  // An error in the form that has the words of the call.
  Answer told(Texts const& messages, Family const& family, std::string const& name, std::string const& rest = {}) {
    run("list [list {*}" + list(messages) + "] {" + family.prefix + name + kContext + rest + "}");
    const std::string expected = Tcl_GetStringResult(interp_);
    run("lindex {" + expected + "} 1");
    const std::string call = Tcl_GetStringResult(interp_);
    run("list " + list(messages) + " [list {*}{" + call + "}]");
    return error(Tcl_GetStringResult(interp_));
  }
  static std::string list(Texts const& texts) {
    std::string all = "[list";
    for (std::string const& text : texts) all += " {" + text + "}";
    return all + "]";
  }

  RecordingPsu engine_;

 private:
  Tcl_Interp* interp_;
};

// ---------------------------------------------------------------------------------------------------------- life

TEST_F(Zorvan, AnInstanceLivesFromTheFirstQuestionThatNeedsItToItsEnd) {
  for (Family const& family : kBoth) {
    EXPECT_EQ(run(family, "is_zorvan_instance"), error());
    EXPECT_EQ(run(family, "is_default_zorvan_instance"), error());
    EXPECT_EQ(engine_.calls(), Texts{}) << "questions make nothing";
    EXPECT_EQ(run(family, "zorvan_init"), ok());
    EXPECT_EQ(engine_.calls(), Texts{"+u1 " + family.core});
    EXPECT_EQ(run(family, "zorvan_init"), ok());
    EXPECT_EQ(engine_.calls(), Texts{}) << "it is there";
    EXPECT_EQ(run(family, "is_zorvan_instance"), ok());
    EXPECT_EQ(run(family, "zorvan_uninit"), ok());
    EXPECT_EQ(engine_.calls(), Texts{"-u1"});
    EXPECT_EQ(run(family, "is_zorvan_instance"), error());
    EXPECT_EQ(run(family, "zorvan_uninit"), ok()) << "nothing to end";
    EXPECT_EQ(engine_.calls(), Texts{});
  }
}

TEST_F(Zorvan, DefaultInstances) {
  run(kPsu, "zorvan_init");
  EXPECT_EQ(run(kPsu, "is_default_zorvan_instance"), error());
  engine_.is_default = true;
  EXPECT_EQ(run(kPsu, "is_default_zorvan_instance"), ok());
}

// The same for the fourteen commands: with which words each is called.
struct Words {
  char const *name, *rest, *usage;
  bool is_of_ps7;
};
constexpr char kInitUsage[] = "wrong arguments: -context { ctxpar val ... }";
constexpr char kContextUsage[] = "wrong arguments:  -context { ctxpar val ... }";
constexpr char kParamsUsage[] = "wrong arguments:  -context { ctxpar val ... }, -params { param param ... }";
constexpr Words kCommands[] = {
    {"zorvan_init", "", kInitUsage, true},
    {"zorvan_uninit", "", kContextUsage, true},
    {"is_zorvan_instance", "", kContextUsage, true},
    {"is_default_zorvan_instance", "", kContextUsage, true},
    {"hdl_param", " -values {} -params {}",
     "wrong arguments: -context { ctxpar val ... }  -values { param value param value ... } -params { param param ... "
     "}",
     true},
    {"get_range", " -params {}", "wrong arguments:  -params { param param ... } -context { ctxpar val ... }", true},
    {"get_ranges", " -params {} -userparams {}",
     "wrong arguments:  -context { ctxpar val ... }, -params { param param ... }, -userparams { param param ... }",
     true},
    {"import_preset", " -params {}", kParamsUsage, true},
    {"apply_board", " -params {}", "wrong arguments:  -params { param param ... }", true},
    {"xdc_generate", " -params {}", kParamsUsage, true},
    {"power_generate", " -params {} -path {}", kParamsUsage, true},
    {"generateSDKSpecificFiles", " -params {} -path {}", kParamsUsage, true},
    {"iopad_report_generate", " -params {} -path {}", kParamsUsage, false},
    {"jitter_constraints", " -params {} -path {}", kParamsUsage, false},
};

TEST_F(Zorvan, WrongWordsAreToldInTheWordsOfEachCommand) {
  for (Family const& family : kBoth)
    for (Words const& command : kCommands) {
      const std::string name = family.prefix + command.name, rest = command.rest;
      if (&family == &kBoth[0] && !command.is_of_ps7) {
        EXPECT_EQ(run(name), error("invalid command name \"" + name + "\""));
        continue;
      }
      for (std::string const& words :
           {std::string(), rest, " -context {}" + rest + " -more x", " -context {}" + rest + " -context {}",
            " -context {} -bad x" + rest, rest + " -context", " context {}" + rest}) {
        const std::string call = name + words;
        std::string shown = call;
        EXPECT_EQ(run(call),
                  error(std::string("{") + command.usage + "} " + (words.empty() ? shown : "{" + shown + "}")))
            << call;
      }
    }
  EXPECT_EQ(engine_.calls(), Texts{});
}

TEST_F(Zorvan, AContextWithoutANameIsToldWhereTheResultIsNotTheStatus) {
  const std::string told_first = "{{Not found : instance_name}} {";
  for (Words const& command : kCommands) {
    const std::string call = kPsu.prefix + command.name + " -context {other x}" + command.rest;
    const bool is_status = std::string(command.name).starts_with("is_");
    EXPECT_EQ(run(call), is_status ? error() : error(told_first + call + "}")) << call;
  }
  EXPECT_EQ(engine_.calls(), Texts{});
  EXPECT_EQ(run(kPsu.prefix + "is_zorvan_instance -context {instance_name {}}"), error()) << "nothing stayed";
  EXPECT_EQ(run(kPsu.prefix + "zorvan_init -context {instance_name {}}"), ok()) << "an empty name is one";
  EXPECT_EQ(engine_.calls(), Texts{"+ psu"});
  EXPECT_EQ(run(kPsu.prefix + "zorvan_init -context {instance_name}").code, TCL_ERROR) << "a name without its value";
}

TEST_F(Zorvan, AnInstanceOfTheOtherCoreIsNotTouched) {
  run(kPs7, "zorvan_init");
  engine_.calls();
  for (Words const& command : kCommands) {
    const std::string call = kPsu.prefix + command.name + " -context {instance_name u1}" + command.rest;
    const bool is_status = std::string(command.name).starts_with("is_");
    EXPECT_EQ(run(call), is_status ? error() : error("{{instance u1 belongs to another core}} {" + call + "}")) << call;
  }
  EXPECT_EQ(engine_.calls(), Texts{});
  EXPECT_EQ(run(kPs7, "is_zorvan_instance"), ok());
  const std::string other = kPs7.prefix + "zorvan_init -context {instance_name u2 ps_core_name psu}";
  EXPECT_EQ(run(other), error("{{instance u2 belongs to another core}} {" + other + "}"))
      << "a context of its own core";
  EXPECT_EQ(run(kPsu.prefix + "is_zorvan_instance -context {instance_name u2}"), error());
  EXPECT_EQ(run(kPsu.prefix + "zorvan_init -context {ps_core_name ps7}").result.substr(0, 38),
            "{{instance  belongs to another core}} ");
}

TEST_F(Zorvan, AnInstanceThatCannotBeMadeIsTold) {
  engine_.is_refused = true;
  for (Words const& command : kCommands) {
    const std::string name = command.name;
    if (name.starts_with("is_") || name == "zorvan_uninit") continue;
    EXPECT_EQ(run(kPsu, name, command.rest), told({"no such thing"}, kPsu, name, command.rest));
  }
  engine_.is_silent = true;
  EXPECT_EQ(run(kPsu, "zorvan_init"), told({"it fell over"}, kPsu, "zorvan_init"));
  EXPECT_EQ(run(kPsu, "is_zorvan_instance"), error());
}

TEST_F(Zorvan, NamesThatAScriptMakesUpDoNotFillTheMemory) {
  const auto init = [&](std::string const& name) {
    return run(kPs7.prefix + "zorvan_init -context {instance_name " + name + "}");
  };
  for (int i = 0; i < 4096; ++i) ASSERT_EQ(init("n" + std::to_string(i)), ok()) << i;
  const std::string call = kPs7.prefix + "zorvan_init -context {instance_name more}";
  EXPECT_EQ(run(call), error("{{instance \"more\" is one too many: there are 4096}} {" + call + "}"));
  EXPECT_EQ(init("n7"), ok()) << "one that is there";
  EXPECT_EQ(run(kPs7.prefix + "zorvan_uninit -context {instance_name n7}"), ok());
  EXPECT_EQ(init("more"), ok());
  zorvan_init::zorvan_kdi_tcltasks::uninit();
}

TEST_F(Zorvan, WhenAllEndsInstancesEndInTheOrderOfTheirNames) {
  for (char const* const name : {"b", "a", "c"}) run(kPs7.prefix + "zorvan_init -context {instance_name " + name + "}");
  engine_.calls();
  zorvan_init::zorvan_kdi_tcltasks::uninit();
  EXPECT_EQ(engine_.calls(), (Texts{"-a", "-b", "-c"}));
  zorvan_init::zorvan_kdi_tcltasks::uninit();
  EXPECT_EQ(run(kPs7.prefix + "is_zorvan_instance -context {instance_name a}"), error());
  EXPECT_EQ(run(kPs7.prefix + "zorvan_init -context {instance_name a}"), ok()) << "a new manager";
}

TEST(ZorvanEngine, MakesEarlierProcessingSystemsAlone) {
  StrVec errors;
  const ParamMap other{{"ps_core_name", "xram"}, {"part", "brvn3716-die-2LHP-e-S-es1"}};
  EXPECT_EQ(processing_system::PSU_Interface::createInstanceNonStatic(other, errors), nullptr);
  EXPECT_EQ(errors, StrVec{"xram is none of the earlier processing systems"});
  errors.clear();
  EXPECT_EQ(processing_system::PSU_Interface::createInstanceNonStatic({{"ps_core_name", "ps7"}}, errors), nullptr);
  EXPECT_EQ(errors, StrVec{"the context has no part"});
}

// ---------------------------------------------------------------------------------------------------- parameters

TEST_F(Zorvan, RangesAreAskedInFullStrengthAndMessagesMakeThemAnError) {
  engine_.result = {{"A", {{"1"}, {"0", "1"}, {"ENABLE"}, {"COMBO"}, {}, {}}}};
  for (Family const& family : kBoth) {
    EXPECT_EQ(run(family, "get_range", "-params {A 1 B {2 3}}"), ok("A {1 {0 1} ENABLE COMBO {} {}}"));
    EXPECT_EQ(engine_.calls(), (Texts{"+u1 " + family.core, "getRanges {A=1 B=2 3} 10"})) << "made if absent";
    engine_.messages = {{"B", "not good"}, {"A", "Info:x"}};
    EXPECT_EQ(run(family, "get_range", "-params {}"),
              error("Errors {A Info:x B {not good}} A {1 {0 1} ENABLE COMBO {} {}}"));
    EXPECT_EQ(run(family, "get_ranges", "-params {} -userparams {}"),
              error("Errors {A Info:x B {not good}} A {1 {0 1} ENABLE COMBO {} {}}"));
    engine_.messages.clear();
    run(family, "zorvan_uninit");
    engine_.calls();
  }
}

TEST_F(Zorvan, TheUsersParametersGoFirstToANewOrDefaultInstance) {
  const auto ask = [&] { return run(kPs7, "get_ranges", "-userparams {U 1} -params {A 2}"); };
  EXPECT_EQ(ask(), ok());
  EXPECT_EQ(engine_.calls(), (Texts{"+u1 ps7", "getRanges {U=1} 10", "getRanges {A=2} 10"}));
  ask();
  EXPECT_EQ(engine_.calls(), (Texts{"isDefaultInstance", "getRanges {A=2} 10"}));
  engine_.is_default = true;
  ask();
  EXPECT_EQ(engine_.calls(), (Texts{"isDefaultInstance", "getRanges {U=1} 10", "getRanges {A=2} 10"}));
}

TEST_F(Zorvan, PresetsAndBoardsGoToTheEngine) {
  engine_.result = {{"A", {{"1"}, {}, {}, {}, {}, {}}}};
  for (auto const& [command, operation] : {std::pair{"import_preset", "importPreset"}, {"apply_board", "applyBoard"}}) {
    run(kPsu, "zorvan_init");
    engine_.calls();
    EXPECT_EQ(run(kPsu, command, "-params {preset p A 1}"), ok("A {1 {} {} {} {} {}}"));
    EXPECT_EQ(engine_.calls(), Texts{std::string(operation) + " {A=1 preset=p}"});
    engine_.messages = {{"preset", "none"}};
    EXPECT_EQ(run(kPsu, command, "-params {}"), error("Errors {preset none} A {1 {} {} {} {} {}}"));
    engine_.messages.clear();
  }
}

TEST_F(Zorvan, HdlParametersAreRowsOfNameAndValue) {
  engine_.rows = {{"C_A", "1"}, {"C_B", "a b"}};
  EXPECT_EQ(run(kPs7, "hdl_param", "-values {A 1} -params {C_B C_A C_B}"), ok("{C_A 1} {C_B {a b}}"));
  EXPECT_EQ(engine_.calls(), (Texts{"+u1 ps7", "getHdlParams {A=1} ,C_A,C_B"}));
  engine_.errors = {"no such parameter"};
  EXPECT_EQ(run(kPs7, "hdl_param", "-values {} -params {}"),
            told({"no such parameter"}, kPs7, "hdl_param", "-values {} -params {}"));
}

TEST_F(Zorvan, TimesArePrintedIfTheVariableIsExactlyTrue) {
  const auto printed = [this](std::string const& variable, std::string const& value, std::string const& script) {
    Surroundings around;
    around.variables[variable] = value;
    const Outcome outcome = run_apart([&] { return run(script).code; }, around);
    EXPECT_EQ(outcome.status, 0) << script;
    return outcome.out;
  };
  const std::string init = "ZORVAN_INIT time : Approx milliseconds: ";
  const std::string range = "ZORVAN GETRANGE time : Approx milliseconds: ";
  for (Family const& family : kBoth)
    for (Words const& command : kCommands) {
      const std::string name = command.name, script = family.prefix + name + kContext + command.rest;
      const bool tells_init = name == "zorvan_init" || name == "import_preset";
      const bool tells_range = name == "get_range" || name == "get_ranges";
      if (!tells_init && !tells_range && name != "apply_board") continue;
      EXPECT_EQ(printed("BRN_ZORVAN_INIT_TIME", "TRUE", script).substr(0, init.size()), tells_init ? init : "");
      EXPECT_EQ(printed("BRN_ZORVAN_GETRANGE_TIME", "TRUE", script).substr(0, range.size()), tells_range ? range : "");
      EXPECT_EQ(printed("BRN_ZORVAN_INIT_TIME", "true", script), "");
      EXPECT_EQ(printed("BRN_ZORVAN_GETRANGE_TIME", "1", script), "");
    }
}

// ------------------------------------------------------------------------------------------------------- outputs

TEST_F(Zorvan, TextsComeBackToTheScript) {
  const Scratch scratch;
  struct {
    char const *command, *rest, *operation;
  } const rows_of[] = {{"xdc_generate", "", "generateXdc"},
                       {"power_generate", "-path /nowhere", "generatePowerData"},
                       {"iopad_report_generate", "-path /nowhere", "generateIOPadData"},
                       {"jitter_constraints", "-path /nowhere", "generateJitterConstraints"}};
  for (auto const& [command, rest, operation] : rows_of) {
    engine_.text = "lines {\n";
    engine_.errors = {};
    run(kPsu, "zorvan_init");
    engine_.calls();
    EXPECT_EQ(run(kPsu, command, "-params {A 1} " + std::string(rest)), ok("lines {\n"));
    EXPECT_EQ(engine_.calls(), Texts{std::string(operation) + " {A=1}"});
    engine_.errors = {"first", "the second"};
    const std::string words = "-params {A 1} " + std::string(rest);
    EXPECT_EQ(run(kPsu, command, words), told({"first", "the second"}, kPsu, command, words));
  }
}

const ParamMap kFiles{{"FSBL_PSINIT_C", "c\n"},        {"FSBL_PSINIT_H", "h\n"},       {"FSBL_GPL_PSINIT_C", "gc\n"},
                      {"FSBL_GPL_PSINIT_H", "gh\n"},   {"FSBL_PSINIT_HTML", "html\n"}, {"FSBL_PSINIT_TCL", "tcl\n"},
                      {"SOMETHING_ELSE", "is no file"}};
const ParamMap kEnds{{"FSBL_PSINIT_C", "_init.c"},         {"FSBL_PSINIT_H", "_init.h"},
                     {"FSBL_GPL_PSINIT_C", "_init_gpl.c"}, {"FSBL_GPL_PSINIT_H", "_init_gpl.h"},
                     {"FSBL_PSINIT_HTML", "_init.html"},   {"FSBL_PSINIT_TCL", "_init.tcl"}};

TEST_F(Zorvan, TheBootLoadersFilesAreWrittenBelowThePath) {
  for (Family const& family : kBoth) {
    const Scratch scratch;
    engine_.files = kFiles;
    engine_.text = "what the engine says";
    const std::string path = scratch.path("a/b"), words = "-params {A 1} -path {" + path + "}";
    EXPECT_EQ(run(family, "generateSDKSpecificFiles", words), ok("what the engine says"));
    EXPECT_EQ(engine_.calls().back(), "generateBootLoaderFiles {A=1} all");
    Texts names;
    for (auto const& [key, end] : kEnds) {
      EXPECT_EQ(scratch.content("a/b/" + family.core + end), kFiles.at(key)) << end;
      names.push_back(family.core + end);
    }
    std::size_t entries = 0;
    for (auto const& entry : std::filesystem::directory_iterator(path)) entries += entry.is_regular_file();
    EXPECT_EQ(entries, names.size());
    // The later core's command leaves a definition as well; the earlier one's power data do.
    EXPECT_EQ(std::filesystem::exists(path + "/temp/u1/hdl/verilog/u1.hwdef"), family.core == "psu");
    run(family, "zorvan_uninit");
  }
}

TEST_F(Zorvan, ThePowerDataOfTheEarlierCoreLeaveADefinition) {
  message_host::Capture capture;
  const Scratch scratch;
  engine_.text = "power";
  scratch.file("temp/u1/ps7_init.c", "c");
  const std::string words = "-params {A 1} -path {" + scratch.folder() + "}";
  EXPECT_EQ(run(kPs7, "power_generate", words), ok("power"));
  EXPECT_EQ(engine_.calls().back(), "generatePowerData {A=1}");
  const std::string whole = scratch.content("temp/u1/hdl/verilog/u1.hwdef");
  EXPECT_NE(whole.find("ps7_init_gpl.c"), std::string::npos) << "all six are listed";
  EXPECT_EQ(capture.messages().size(), 1U) << "and what is missing is told, once";
  run(kPs7, "zorvan_uninit");
  EXPECT_EQ(run(kPsu, "power_generate", words), ok("power")) << "the later core's writes nothing";
  EXPECT_FALSE(std::filesystem::exists(scratch.path("temp/u1/hdl/verilog/psu_init.c")));
  engine_.errors = {"no power"};
  EXPECT_EQ(run(kPsu, "power_generate", words), told({"no power"}, kPsu, "power_generate", words));
}

TEST_F(Zorvan, WhatCannotBeWrittenIsToldAndTheRestIsThere) {
  message_host::Capture capture;
  const Scratch scratch;
  engine_.files = kFiles;
  std::filesystem::create_directories(scratch.path("psu_init.h/in the way"));
  const std::string words = "-params {} -path {" + scratch.folder() + "}";
  EXPECT_EQ(run(kPsu, "generateSDKSpecificFiles", words).result.substr(0, 15 + scratch.folder().size()),
            "{{cannot write " + scratch.folder());
  EXPECT_EQ(scratch.content("psu_init.tcl"), "tcl\n");
  EXPECT_EQ(scratch.content("psu_init_gpl.h"), "gh\n");

  engine_.files.erase("FSBL_PSINIT_TCL");
  const std::string other = "-params {} -path {" + scratch.path("other") + "}";
  EXPECT_EQ(run(kPsu, "generateSDKSpecificFiles", other),
            told({"the core has no text for " + scratch.path("other/psu_init.tcl")}, kPsu, "generateSDKSpecificFiles",
                 other));
  EXPECT_EQ(scratch.content("other/psu_init.c"), "c\n");

  engine_.errors = {"no files"};
  const std::string third = "-params {} -path {" + scratch.path("third") + "}";
  EXPECT_EQ(run(kPsu, "generateSDKSpecificFiles", third), told({"no files"}, kPsu, "generateSDKSpecificFiles", third));
  EXPECT_FALSE(std::filesystem::exists(scratch.path("third")));
}

TEST_F(Zorvan, ADirectoryThatCannotBeMadeIsTold) {
  const Scratch scratch;
  engine_.files = kFiles;
  scratch.file("file", "x");
  for (std::string const& path : {std::string(), scratch.path("file/below")}) {
    const std::string words = "-params {} -path {" + path + "}";
    EXPECT_EQ(run(kPsu, "generateSDKSpecificFiles", words),
              told({"cannot create directory " + path}, kPsu, "generateSDKSpecificFiles", words));
    const std::string verilog = path.empty() ? path : path + "/temp/u1/hdl/verilog";
    run(kPsu, "zorvan_uninit");
    EXPECT_EQ(run(kPs7, "power_generate", words),
              told({"cannot create directory " + verilog}, kPs7, "power_generate", words));
    run(kPs7, "zorvan_uninit");
  }
}

// ------------------------------------------------------------------------------------------------------- streams

TEST(OutputStream, AFileIsThereWholeOrAsItWas) {
  const Scratch scratch;
  const std::string path = scratch.file("a", "before"), text(100000, 'x');
  {
    isl::iostreams::ofstream stream(path);
    ASSERT_TRUE(stream.is_open());
    stream << text << 1;
    stream.add(std::string_view("\0!", 2));
    EXPECT_EQ(scratch.content("a"), "before");
    EXPECT_TRUE(stream.close());
    EXPECT_FALSE(stream.is_open());
    EXPECT_FALSE(stream.close()) << "it is closed";
  }
  EXPECT_EQ(scratch.content("a"), text + "1" + std::string("\0!", 2));
  { isl::iostreams::ofstream(path) << "by its end"; }
  EXPECT_EQ(scratch.content("a"), "by its end");
  isl::iostreams::ofstream nowhere(scratch.path("no/such/place"));
  EXPECT_FALSE(nowhere.is_open());
  nowhere << "lost";
  EXPECT_TRUE(nowhere.fail());
  EXPECT_FALSE(nowhere.close());
  EXPECT_EQ(scratch.names(), Texts{"a"});
}

TEST(OutputStream, WhatIsLostIsTold) {
  isl::iostreams::ofstream full("/dev/full");
  ASSERT_TRUE(full.is_open());
  full << std::string(100000, 'x');
  EXPECT_FALSE(full.close());
}

}  // namespace
