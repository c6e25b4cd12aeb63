// The driver, with a real model over a core that records, and a reader and generator that do.
#include "tcltasks/psmodels/driver.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include "kdi/common/KdiFile.h"
#include "kdi/common/KdiText.h"
#include "kdi/ippcw/HICCDOGen.h"
#include "kdi/ippcw/HICJsonReader.h"
#include "tests/support/places.h"
#include "tests/support/program.h"
#include "tests/support/recording_core.h"
#include "tests/support/scratch.h"

namespace driver {

// The package's, which is not the test's own.
int main(int argc, char** argv) {
  void* const library = ::dlopen(places::library("libkdi_iptasks.so").c_str(), RTLD_NOW);
  auto* const own = reinterpret_cast<int (*)(int, char**)>(::dlsym(library, "main"));
  return own(argc, argv);
}

}  // namespace driver

namespace {

using recording_core::add_call;
using recording_core::answers;
using recording_core::rows;
using Texts = std::vector<std::string>;

struct {
  bool reads_state = true, reads_mio = true;
  ParamMap initial, mio;
} files;

std::string shown(ParamMap const& map) {
  Texts pairs;
  for (auto const& [name, value] : map) pairs.push_back(name + "=" + value);
  return "{" + kdi::text::joined(pairs, " ") + "}";
}

}  // namespace

HICJsonReader::HICJsonReader() { add_call("HICJsonReader"); }
bool HICJsonReader::parseStateJson(std::string const& path, ParamMap& params) {
  add_call("parseStateJson " + path);
  params = files.initial;
  return files.reads_state;
}
bool HICJsonReader::parseMioParams(std::string const& path, ParamMap& params) {
  add_call("parseMioParams " + path);
  params = files.mio;
  return files.reads_mio;
}

struct HICCDOGen::State {};
HICCDOGen::HICCDOGen(std::string& coreName) { add_call("HICCDOGen " + coreName); }
HICCDOGen::~HICCDOGen() = default;
void HICCDOGen::readRegisters(ParamMap& values, ParamMap& mio, ParamMap& sysmon) {
  add_call("readRegisters " + shown(values) + " " + shown(mio) + " " + shown(sysmon));
}
void HICCDOGen::writeMaskDefinitonsFile() { add_call("writeMaskDefinitonsFile"); }
void HICCDOGen::writeCDOinCFiles(ParamMap& values, std::string& specDir, std::string coreName, std::string& outputPath,
                                 int flag) {
  add_call("writeCDOinCFiles " + shown(values) + " " + specDir + " " + coreName + " " + outputPath + " " +
           std::to_string(flag));
}

namespace {

class Driver : public testing::Test {
 protected:
  Driver() {
    recording_core::reset();
    files = {};
    for (char const* const core : {"psxl", "pmcps"})
      for (char const* const folder : {"pmc_data", "lpd_data", "pmc_data_slr", "all_noc_clock", "noc_clock_more"})
        root_.file("tavrel/" + std::string(core) + "/hiw/cdospec/" + folder + "/registers.json", "{}");
    root_.file("tavrel/psxl/hiw/cdospec/no_folder", "");
    ::setenv("KDI_DATA_DIR", root_.folder().c_str(), 1);
  }
  ~Driver() override {
    ::unsetenv("KDI_DATA_DIR");
    recording_core::reset();
  }

  // Runs it in a process of its own. What it threw stands behind `!` in the calls.
  Outcome run(std::string const& input) {
    const std::string path = work_.file("input", input), out = "out";
    Surroundings around;
    around.folder = work_.folder();
    return run_apart(
        [&] {
          std::string words[] = {"driver", path, out};
          char* argv[] = {words[0].data(), words[1].data(), words[2].data(), nullptr};
          int code = 0;
          try {
            code = driver::main(3, argv);
          } catch (char const* text) {
            add_call(std::string("! char const* ") + text);
          } catch (std::string const& text) {
            add_call("! string " + text);
          }
          work_.file("calls", kdi::text::joined(recording_core::calls(), "\n"));
          return code;
        },
        around);
  }
  Texts calls() const {
    Texts all;
    const std::string text = kdi::read_file(work_.path("calls"));
    for (const std::string_view line : kdi::text::lines(text)) {
      std::string call(line);
      for (std::size_t at; (at = call.find(root_.folder())) != std::string::npos;)
        call.replace(at, root_.folder().size(), "R");
      all.push_back(call);
    }
    return all;
  }

  Scratch root_, work_;
};

TEST_F(Driver, CallsTheEngineInOrder) {
  files.initial = {{"I", "0"}};
  files.mio = {{"PMC_MIO 1", "UART 0"}};
  answers.result = {{"A", rows("7", {}, "ENABLE", "EDIT")}, {"E", {}}};
  answers.monitor_registers = {{"0x10", "0x1"}, {"0x14", "0x2"}};
  const Outcome outcome = run("A,1,2\nB\n\nC,\nA,3,4\r\n");
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_EQ(outcome.out, "");
  EXPECT_EQ(calls(),
            (Texts{"HICJsonReader", "parseStateJson R/tavrel/psxl/hiw/pspmc_init.json", "psxl_0.setParam {I=0} 10",
                   "psxl_0.setParam {= A=3,4\r B=B C=} 10", "HICCDOGen psxl",
                   "generatePSXLStateJson psxl_state.json {A=7 E=}", "writeMioParams psxl_state.json inst psxl",
                   "parseMioParams psxl_state.json", "psxl_0.getSysmonRegData",
                   "readRegisters {A=7 E=} {PMC_MIO 1=UART 0} {0x10=0x1 0x14=0x2}", "writeMaskDefinitonsFile",
                   "writeCDOinCFiles {A=7 E=} R/tavrel/psxl/hiw/cdospec/lpd_data psxl out 0",
                   "writeCDOinCFiles {A=7 E=} R/tavrel/psxl/hiw/cdospec/noc_clock_more psxl out 0",
                   "writeCDOinCFiles {A=7 E=} R/tavrel/psxl/hiw/cdospec/pmc_data psxl out 0"}));
}

TEST_F(Driver, TakesTheCoreFromItsInput) {
  EXPECT_EQ(run("ps_core_name,pmcps\ninstance_name,mine\n").status, 0);
  EXPECT_EQ(calls()[1], "parseStateJson R/tavrel/pmcps/hiw/pspmc_init.json");
  EXPECT_EQ(calls()[3], "pmcps_0.setParam {instance_name=mine} 10") << "no key of a context";
  EXPECT_EQ(calls()[5], "HICCDOGen pmcps");
  EXPECT_EQ(calls()[6], "generatePSXLStateJson pmcps_state.json {}");
}

TEST_F(Driver, TreatsTheFoldersOfTheDataAsDescriptionsForACoreThatItDoesNotKnow) {
  EXPECT_EQ(run("ps_core_name,hic").status, 0);
  EXPECT_EQ(calls()[1], "parseStateJson R");
  EXPECT_EQ(calls().back(), "writeCDOinCFiles {} R/tavrel hic out 0");
}

TEST_F(Driver, GoesOnWithoutAnInitialStateIfTheNewOneIsReadBack) {
  files.reads_state = false;
  EXPECT_EQ(run("").status, 0);
  EXPECT_EQ(calls().back().substr(0, 16), "writeCDOinCFiles");
  files = {true, false, {}, {}};
  run("");
  EXPECT_EQ(calls().back(), "! char const* error generating the params list");
}

TEST_F(Driver, EndsWithoutACoreOnlyIfNoStateWasRead) {
  run("ps_core_name,bare");
  EXPECT_EQ(calls().back(), "! char const* internal error occurred while creating the IP")
      << "a core without a HICInst";
}

TEST_F(Driver, TellsEachErrorOfTheModelAndThrows) {
  answers.messages = {{"A", "bad"}, {"B", "worse"}};
  const Outcome outcome = run("A,1\n");
  EXPECT_EQ(outcome.out,
            "observed error for param: A with error message 'bad'\n"
            "observed error for param: B with error message 'worse'\n");
  EXPECT_EQ(calls().back(), "! char const* internal error occurred while creating the IP");
}

TEST_F(Driver, SaysWhereAFolderShouldBe) {
  std::filesystem::remove_all(root_.path("tavrel/psxl"));
  run("");
  EXPECT_TRUE(calls().back().starts_with("! string R/tavrel/psxl/hiw/cdospec")) << calls().back();
  EXPECT_TRUE(calls().back().ends_with("should be a directory")) << calls().back();
}

TEST_F(Driver, SaysThatItCannotOpenItsInput) {
  Surroundings around;
  const Outcome outcome = run_apart(
      [] {
        std::string words[] = {"driver", "/no/such/file", "out"};
        char* argv[] = {words[0].data(), words[1].data(), words[2].data(), nullptr};
        return driver::main(3, argv);
      },
      around);
  EXPECT_EQ(outcome.status, 255);
  EXPECT_EQ(outcome.out, "Error, could not open file.\n");
}

TEST(DriverContext, IsFilledUpAndKeepsWhatIsThere) {
  std::string core = "pmcps";
  ParamMap context{{"part", "mine"}, {"other", "x"}};
  createContextMap(core, context);
  EXPECT_EQ(shown(context),
            "{device=brvn3716 family=tavrel language=VERILOG other=x package=die part=mine "
            "ps_core_name=psxl ps_core_ver=1.0 speedgrade=-2LHP}");
}

}  // namespace
