// Tool parameters: what is declared, whose value holds, and what is said of bad ones. What the environment does when
// the registry is made is tested from fresh shells, in tests/tcl/common.test.
#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <thread>

#include "kdi/common/HPAParamMgr.h"
#include "kdi/common/KdiJson.h"
#include "kdi/common/host/ParamHost.h"
#include "platform/common/shipped_default.h"
#include "tests/support/decimal_comma.h"
#include "tests/support/places.h"
#include "tests/support/program.h"
#include "tests/support/scratch.h"

namespace {

using param_host::Origin;
using param_host::Type;

bool value(std::string const& name) { return HPAParamMgr::getParamMgr().getValueAsBool(name); }
bool value_or(std::string const& name, bool fallback) {
  return HPAParamMgr::getParamMgr().getValueIfExistAsBool(name, fallback);
}

template <class Action>
std::string fault_of(Action action) {
  try {
    action();
  } catch (std::exception const& error) {
    return error.what();
  }
  return "no fault";
}
std::string set_fault(std::string const& name, std::string const& text) {
  return fault_of([&] { param_host::set(name, text); });
}

// Takes back what a test set.
class Parameters : public testing::Test {
 protected:
  ~Parameters() override {
    for (param_host::Parameter const& parameter : param_host::list()) param_host::unset(parameter.name);
  }
  std::string load_fault(std::string const& text) {
    const std::string path = scratch_.file("values.json", text);
    const std::string fault = fault_of([&] { param_host::load_file(path); });
    return fault.starts_with(path) ? fault.substr(path.size() + 1) : fault;
  }
  Scratch scratch_;
};

TEST_F(Parameters, AreDeclaredWithTheirTypesAndDefaults) {
  constexpr char const* kNames[] = {"cips.EnableBDC",
                                    "cips.cpmdecouple",
                                    "cips.enableSysmonRedesign",
                                    "cips.genHumanReadableCDO",
                                    "cips.mergePMCLPDCdo",
                                    "cips.ssitSupport",
                                    "debug.CLOCKING_IP",
                                    "debug.HIPClocking",
                                    "debug.PCW.DBG",
                                    "debug.PSPMC.DBG",
                                    "debug.PSXL.DBG",
                                    "debug.PSXL.INTERNAL.DBG",
                                    "debug.PSXL.OUT.DBG",
                                    "debug.PS_WIZARD.EVENTS.DBG",
                                    "debug.mig_ip.debug",
                                    "debug.sysmon.generate.hip",
                                    "gtwiz.encryptKeyFile",
                                    "ips.syncEventsForPSXWizard",
                                    "mc.generateELF",
                                    "pcw.doRangeValidation",
                                    "pcw.instantiateCPMParalelly",
                                    "pcw.internalSimulation",
                                    "project.allowPSSubCoreSplit",
                                    "project.enableCIPS32",
                                    "project.enableHwDefRegeneration",
                                    "project.enableWDIFromHwdef",
                                    "ps.InternalVoltageMonitoring",
                                    "ps.enableBlockAutomation",
                                    "ps.enableSysmon",
                                    "ps.enableSysmonBroadcast",
                                    "psx.InternalVoltageMonitoring",
                                    "psx.enableCrossConfiguration",
                                    "psx.enableSysmon",
                                    "psx.generateIOPadJson",
                                    "psx.internalSimulation",
                                    "software.compiler"};
  const std::vector<param_host::Parameter> declared = param_host::list();
  ASSERT_EQ(declared.size(), std::size(kNames));
  for (std::size_t i = 0; i < declared.size(); ++i) {
    param_host::Parameter const& parameter = declared[i];
    EXPECT_EQ(parameter.name, kNames[i]);
    const bool is_level = parameter.name.starts_with("debug.");
    const bool is_integer = is_level || parameter.name == "cips.cpmdecouple";
    const bool is_compiler = parameter.name == "software.compiler";
    const bool is_text = is_compiler || parameter.name == "gtwiz.encryptKeyFile";
    EXPECT_EQ(parameter.type, is_text ? Type::text : is_integer ? Type::integer : Type::boolean) << parameter.name;
    EXPECT_EQ(parameter.default_value, is_compiler  ? "clang"
                                       : is_text    ? ""
                                       : is_level   ? "-1"
                                       : is_integer ? "0"
                                                    : "false")
        << parameter.name;
    EXPECT_EQ(parameter.value, parameter.default_value);
    EXPECT_EQ(parameter.origin, Origin::declared);
    EXPECT_GT(parameter.documentation.size(), 20U);
    EXPECT_GT(parameter.effect.size(), 20U);
    EXPECT_EQ(value(parameter.name), is_level || is_compiler);
    EXPECT_EQ(value_or(parameter.name, !(is_level || is_compiler)), is_level || is_compiler)
        << "a declared default prevails over the fallback";
  }
}

TEST_F(Parameters, MayBeTexts) {
  HPAParamMgr const& parameters = HPAParamMgr::getParamMgr();
  EXPECT_EQ(parameters.getValueAsString("software.compiler"), "clang");
  EXPECT_EQ(parameters.getValueAsString("cips.cpmdecouple"), "0") << "as it is shown";
  EXPECT_EQ(parameters.getValueAsString("not.declared"), "");
  param_host::set("software.compiler", "a \"name\" \xC3\xA4");
  EXPECT_EQ(parameters.getValueAsString("software.compiler"), "a \"name\" \xC3\xA4");
  for (std::string const& bad : {std::string("a\nb"), std::string("\xFF"), std::string(4097, 'x')}) {
    try {
      param_host::set("software.compiler", bad);
      ADD_FAILURE() << "taken";
    } catch (std::invalid_argument const& error) {
      EXPECT_NE(std::string(error.what())
                    .find("\"software.compiler\": expected a text of at most 4096 bytes without control characters"),
                std::string::npos)
          << error.what();
    }
  }
  const Scratch scratch;
  param_host::save_file(scratch.path("values.json"));
  EXPECT_NE(scratch.content("values.json").find("\"software.compiler\": \"a \\\"name\\\" \xC3\xA4\""),
            std::string::npos);
  param_host::set("software.compiler", "");
  EXPECT_FALSE(parameters.getValueAsBool("software.compiler")) << "names nothing";
  param_host::unset("software.compiler");
  // apart, since what a file says cannot be taken back
  const Outcome loaded = run_apart([&] {
    param_host::load_file(scratch.path("values.json"));
    int refused = 0;
    for (char const* const bad : {"{\"software.compiler\": \"a\\nb\"}", "{\"software.compiler\": 7}"}) try {
        param_host::load_file(scratch.file("bad.json", bad));
      } catch (kdi::JsonError const&) {
        ++refused;
      }
    return parameters.getValueAsString("software.compiler") == "a \"name\" \xC3\xA4" && refused == 2 ? 0 : 1;
  });
  EXPECT_EQ(loaded.status, 0);
}

TEST_F(Parameters, HaveTheirDefaultsBeforeTheFilesAreRead) {
  int booleans = 0;
  for (param_host::Parameter const& parameter : param_host::list()) {
    if (parameter.type != Type::boolean) continue;
    ++booleans;
    const bool is_true = parameter.default_value == "true";
    EXPECT_TRUE(kdi::is_shipped_default(parameter.name, is_true)) << parameter.name;
    EXPECT_FALSE(kdi::is_shipped_default(parameter.name, !is_true)) << parameter.name;
  }
  EXPECT_GE(booleans, 20);
  for (char const* const name : {"", "project", "project.enableCIPS", "roject.enableCIPS32", "debug.PCW.DBG"})
    EXPECT_FALSE(kdi::is_shipped_default(name, false) || kdi::is_shipped_default(name, true)) << name;
  for (char const* const variable : {"KDI_PARAMS", "KDI_DATA_DIR"}) {
    const Environment given(variable, "/somewhere");
    EXPECT_FALSE(kdi::is_shipped_default("project.enableCIPS32", false)) << variable;
  }
}

TEST_F(Parameters, ThatAreNotDeclaredAreAMistakeOfTheProgram) {
  EXPECT_THROW(value("no.such"), std::logic_error);
  EXPECT_EQ(fault_of([] { value("no.such"); }), "parameter \"no.such\" is read and not declared");
  EXPECT_TRUE(value_or("no.such", true));
  EXPECT_FALSE(value_or("no.such", false));
  EXPECT_EQ(set_fault("no.such", "1"), "parameter \"no.such\" is not declared");
  EXPECT_THROW(value("no.such"), std::logic_error) << "a refused value declares nothing";
  EXPECT_EQ(set_fault("pcw.instantiateCPMParallely", "1"),
            "parameter \"pcw.instantiateCPMParallely\" is not declared; the nearest name is "
            "\"pcw.instantiateCPMParalelly\"");
  EXPECT_THROW(param_host::unset("no.such"), std::invalid_argument);
  EXPECT_THROW(param_host::get("no.such"), std::invalid_argument);
}

// The names of the parameters that a source reads: the literals that begin the words of a call.
std::vector<std::string> names_read(std::string const& source) {
  std::vector<std::string> names;
  for (std::string const call : {"getValueAsBool(", "getValueIfExistAsBool("})
    for (std::size_t at = source.find(call); at != std::string::npos; at = source.find(call, at)) {
      at = source.find_first_not_of(" \n", at + call.size());
      if (at == std::string::npos || source[at] != '"') continue;
      names.push_back(source.substr(at + 1, source.find('"', at + 1) - at - 1));
    }
  return names;
}

TEST_F(Parameters, ThatTheSourcesReadAreDeclared) {
  EXPECT_EQ(names_read("a.getValueAsBool(\"x.y\"); b.getValueIfExistAsBool(\n  \"z\", true) getValueAsBool(name)"),
            (std::vector<std::string>{"x.y", "z"}));
  int sources = 0;
  for (char const* const folder : {"shared", "platform", "host"})
    for (auto const& entry : std::filesystem::recursive_directory_iterator(places::source(folder))) {
      const std::string suffix = entry.path().extension();
      if (suffix != ".cpp" && suffix != ".h") continue;
      ++sources;
      for (std::string const& name : names_read(kdi::read_file(entry.path())))
        EXPECT_NO_THROW(param_host::get(name)) << entry.path() << " reads " << name;
    }
  EXPECT_GT(sources, 100);
}

TEST_F(Parameters, TakeTheFormsOfTheirType) {
  for (char const* text : {"true", "True", "YES", "on", "1", "7", "-3", "+2"}) {
    param_host::set("ps.enableSysmon", text);
    EXPECT_TRUE(value("ps.enableSysmon")) << text;
    EXPECT_EQ(param_host::get("ps.enableSysmon").value, "true");
  }
  for (char const* text : {"false", "FALSE", "No", "off", "0", "-0", "00"}) {
    param_host::set("ps.enableSysmon", text);
    EXPECT_FALSE(value("ps.enableSysmon")) << text;
    EXPECT_EQ(param_host::get("ps.enableSysmon").value, "false");
  }
  for (auto const& [text, stored] : std::vector<std::pair<char const*, char const*>>{
           {"0", "0"}, {"-0", "0"}, {"+5", "5"}, {"007", "7"}, {"-9223372036854775808", "-9223372036854775808"}}) {
    param_host::set("cips.cpmdecouple", text);
    EXPECT_EQ(param_host::get("cips.cpmdecouple").value, stored);
    EXPECT_EQ(value("cips.cpmdecouple"), std::string(stored) != "0");
  }
}

TEST_F(Parameters, RefuseEverythingElseAndKeepTheirValue) {
  param_host::set("ps.enableSysmon", "true");
  param_host::set("cips.cpmdecouple", "4");
  for (std::string const text : {"", "maybe", "1.5", " 1", "1 ", "0x1", "t", "1,5", "tru", "99999999999999999999"}) {
    EXPECT_EQ(
        set_fault("ps.enableSysmon", text),
        "parameter \"ps.enableSysmon\": expected true, yes, on, false, no, off or an integer, found \"" + text + "\"");
    EXPECT_EQ(set_fault("cips.cpmdecouple", text),
              "parameter \"cips.cpmdecouple\": expected an integer within 64 bits, found \"" + text + "\"");
  }
  for (char const* text : {"true", "+-1", "+", "-", "--1", "9223372036854775808"})
    EXPECT_NE(set_fault("cips.cpmdecouple", text), "no fault") << text;
  EXPECT_TRUE(value("ps.enableSysmon"));
  EXPECT_EQ(param_host::get("cips.cpmdecouple").value, "4");
}

TEST_F(Parameters, TellWhoseValueHolds) {
  const auto seen = [] { return param_host::get("mc.generateELF"); };
  EXPECT_EQ(load_fault("{\n\"mc.generateELF\": true}"), "no fault");
  EXPECT_EQ(seen().value, "true");
  EXPECT_EQ(seen().origin, Origin::file);
  EXPECT_EQ(seen().place, scratch_.path("values.json") + ":2");
  param_host::set("mc.generateELF", "no");
  EXPECT_EQ(seen().value, "false");
  EXPECT_EQ(seen().origin, Origin::program);
  EXPECT_EQ(seen().place, "");
  EXPECT_EQ(load_fault("{\"mc.generateELF\": true, \"ps.enableSysmon\": true}"), "no fault");
  EXPECT_EQ(seen().value, "false") << "the program prevails over a later file";
  param_host::unset("mc.generateELF");
  EXPECT_EQ(seen().value, "true");
  EXPECT_EQ(seen().origin, Origin::file);
  EXPECT_EQ(load_fault("{\"mc.generateELF\": false}"), "no fault");
  EXPECT_FALSE(value("mc.generateELF"));
  EXPECT_TRUE(value("ps.enableSysmon")) << "a later file changes what it names alone";
  EXPECT_EQ(load_fault("{\"ps.enableSysmon\": false}"), "no fault");
}

TEST_F(Parameters, FilesSayWhereTheyAreWrongAndThenChangeNothing) {
  EXPECT_EQ(load_fault("{\"ps.enableSysmon\": true,\n\"cips.cpmdecouple\": 1.5}"),
            "2: cips.cpmdecouple: expected an integer, found the number 1.5");
  EXPECT_EQ(load_fault("{\"ps.enableSysmon\": true,\n\n\"psx.enableSysmon\": 1}"),
            "3: psx.enableSysmon: expected true or false, found the number 1");
  EXPECT_EQ(load_fault("{\"ps.enableSysmon\": true,\n\"psx.enableSysmo\": true}"),
            "2: psx.enableSysmo: expected the name of a declared parameter: parameter \"psx.enableSysmo\" is not "
            "declared; the nearest name is \"psx.enableSysmon\"");
  EXPECT_EQ(load_fault("{\"ps.enableSysmon\": true,\n\"ps.enableSysmon\": true}"),
            "2: ps.enableSysmon: expected each name once, found it on line 1 before");
  EXPECT_EQ(load_fault("[]"), "1: top level: expected an object, found a list");
  EXPECT_EQ(load_fault("{\"ps.enableSysmon\": true").substr(0, 14), "1: top level: ");
  EXPECT_EQ(fault_of([&] { param_host::load_file(scratch_.path("none")); }),
            scratch_.path("none") + ": cannot be opened: No such file or directory");
  EXPECT_FALSE(value("ps.enableSysmon"));
}

TEST_F(Parameters, ReadBackWhatTheySaved) {
  const std::string path = scratch_.path("saved.json");
  param_host::set("ps.enableSysmon", "true");
  param_host::set("cips.cpmdecouple", "-12");
  param_host::set("mc.generateELF", "false");
  param_host::save_file(path);
  EXPECT_EQ(scratch_.content("saved.json"),
            "{\n  \"cips.cpmdecouple\": -12,\n  \"mc.generateELF\": false,\n  \"ps.enableSysmon\": true\n}\n");
  for (char const* name : {"ps.enableSysmon", "cips.cpmdecouple", "mc.generateELF"}) param_host::unset(name);
  EXPECT_FALSE(value("ps.enableSysmon"));
  param_host::load_file(path);
  EXPECT_TRUE(value("ps.enableSysmon"));
  EXPECT_EQ(param_host::get("cips.cpmdecouple").value, "-12");
  EXPECT_EQ(load_fault("{\"ps.enableSysmon\": false, \"cips.cpmdecouple\": 0}"), "no fault");
  EXPECT_THROW(param_host::save_file("/dev/full"), kdi::FileError);
  EXPECT_THROW(param_host::save_file(scratch_.path("none/saved.json")), kdi::FileError);
}

TEST_F(Parameters, MayBeDeclaredByTheProgram) {
  const auto fault = [](char const* name, Type type, char const* text) {
    return fault_of([&] { param_host::declare({name, type, text, "about", "effect"}); });
  };
  EXPECT_EQ(fault("test.own", Type::integer, "+3"), "no fault");
  EXPECT_TRUE(value("test.own"));
  EXPECT_EQ(param_host::get("test.own").default_value, "3");
  EXPECT_EQ(fault("test.own", Type::integer, "3"), "parameter \"test.own\" is declared twice");
  EXPECT_EQ(fault("test.other", Type::integer, "x"),
            "parameter \"test.other\": expected an integer within 64 bits, found \"x\"");
  EXPECT_EQ(fault("a b", Type::boolean, "true"), "parameter \"a b\": expected a name of letters, digits, _, . and -");
  EXPECT_EQ(fault("", Type::boolean, "true"), "parameter \"\": expected a name of letters, digits, _, . and -");
}

TEST_F(Parameters, ReadAlikeUnderADecimalComma) {
  const DecimalComma comma;
  param_host::set("cips.cpmdecouple", "1234567");
  param_host::save_file(scratch_.path("saved.json"));
  EXPECT_NE(scratch_.content("saved.json").find("\"cips.cpmdecouple\": 1234567"), std::string::npos);
  param_host::load_file(scratch_.path("saved.json"));
  EXPECT_NE(set_fault("cips.cpmdecouple", "1.234.567"), "no fault");
  EXPECT_EQ(load_fault("{\"cips.cpmdecouple\": 1234.5}"),
            "1: cips.cpmdecouple: expected an integer, found the number 1234.5");
  EXPECT_EQ(load_fault("{\"cips.cpmdecouple\": 0}"), "no fault");
}

TEST_F(Parameters, AreSafeToUseFromSeveralThreads) {
  // Two parameters that are always written in one file together are never seen with a value of neither file.
  const std::string zeros = scratch_.file("zeros.json", "{\"cips.cpmdecouple\": 0, \"psx.enableSysmon\": false}");
  const std::string ones = scratch_.file("ones.json", "{\"cips.cpmdecouple\": 77, \"psx.enableSysmon\": true}");
  std::vector<std::thread> threads;
  std::atomic<int> torn = 0;
  for (int t = 0; t < 2; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 300; ++i) param_host::load_file(i % 2 == 0 ? ones : zeros);
    });
    threads.emplace_back([&] {
      for (int i = 0; i < 300; ++i) {
        std::string number;
        std::string truth;
        for (param_host::Parameter const& parameter : param_host::list()) {
          if (parameter.name == "cips.cpmdecouple") number = parameter.value;
          if (parameter.name == "psx.enableSysmon") truth = parameter.value;
        }
        if ((number == "77") != (truth == "true") || (number != "77" && number != "0")) ++torn;
      }
    });
    threads.emplace_back([&] {
      for (int i = 0; i < 3000; ++i) {
        param_host::set("ps.enableSysmon", "true");
        if (!value("ps.enableSysmon")) ++torn;
        value_or("no.such", true);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  param_host::load_file(zeros);
  EXPECT_EQ(torn, 0);
}

}  // namespace
