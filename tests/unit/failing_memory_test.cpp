// Memory that runs out once, at each request in turn: nothing crashes or leaks, nothing wrong is answered, and the next
// call works. IPTASKS_EVERY_REQUEST in the environment lets each request fail, else some of them do, spread evenly.
#include "tests/support/failing_memory.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <tcl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>

#include "host/kdish/command_table.h"
#include "host/kdish/completion.h"
#include "kdi/bmg/host/tiling.h"
#include "kdi/common/HPAParamMgr.h"
#include "kdi/common/host/MessageHost.h"
#include "kdi/common/host/ParamHost.h"
#include "kdi/device/HARPartsParse.h"
#include "kdi/device/HDARPart.h"
#include "kdi/device/host/PartCatalogue.h"
#include "kdi/ip/HIPClkwiz.h"
#include "kdi/ip/HIPClocking.h"
#include "kdi/ip/HIPWPowerCalcIntf.h"
#include "kdi/ippcw/HICInst.h"
#include "tests/support/examples.h"
#include "tests/support/places.h"
#include "tests/support/sanitized.h"
#include "tests/support/scratch.h"

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define LOOKS_FOR_LEAKS
#endif
#elif defined(__SANITIZE_ADDRESS__)
#define LOOKS_FOR_LEAKS
#endif
#ifdef LOOKS_FOR_LEAKS
#include <sanitizer/lsan_interface.h>
#endif

namespace {

const std::string kOutOfMemory = std::to_string(static_cast<int>(bmg::Code::out_of_memory));
constexpr char kPart[] = "zrv7030-c484-1-c";

constexpr std::size_t kMost = test_support::kSanitized ? 3 : 20;

// The requests of `count` that are to fail, at most `most` of them unless all are asked for.
std::vector<std::size_t> requests(std::size_t count, std::size_t most) {
  if (std::getenv("IPTASKS_EVERY_REQUEST") != nullptr) most = count;
  const std::size_t chosen = std::min(count, most);
  std::vector<std::size_t> all;
  for (std::size_t i = 0; i < chosen; ++i) all.push_back(i * count / chosen);
  return all;
}

// ------------------------------------------------------------------------------------------------------- first reads

// What is read at the first question of a process.
struct FirstRead {
  char const* name;
  std::function<std::string()> answer;
};

const FirstRead kFirstReads[] = {
    {"tool_parameters",
     [] { return param_host::get("cips.cpmdecouple").value + " " + std::to_string(param_host::list().size()); }},
    {"message_catalogue",
     [] {
       return ComMsgMgrInstance::createInstance::eval(0, nullptr, 0, "c", ComMsgMgr::MSG_ERROR, "@80-1@")->getMessage();
     }},
    {"devices", [] { return HARPartsParse::getPart(kPart)->getProperty("NAME"); }},
    {"names_of_devices", [] { return std::to_string(kdi::device::PartCatalogue::global().devices().size()); }},
    {"power_models",
     [] {
       const std::unique_ptr<HIPWPowerCalcIntf> calculator(
           HIPWPowerCalcIntf::getIPPowerCalcIntf(HARPartsParse::getPart(kPart)));
       std::map<std::string, float> breakdown;
       return std::to_string(calculator->calcGtPower({}, breakdown));
     }},
    {"block_memories",
     [] {
       const std::vector<std::string_view> words = {"type", "single_port_ram", "width_a", "8", "depth_a", "512"};
       return std::to_string(bmg::tile_memory("v8_4", words).mux_inputs());
     }},
    {"clock_solvers",
     [] {
       std::string name = kPart, key = "MMCM_FVCO_MAX";
       StrVec errors;
       return Ip_Clocking::HIPClockingMgr::GetInstance()->getClkwizSoln(name)->getSpeedFileProperty(name, key, errors);
     }},
    {"clock_wizards",
     [] {
       std::string part = "p", instance = "i", frequencies = "100";
       auto* const wizard = Ip_Clkwiz::HIPClkwizTclMgr::GetInstance()->getClkwizImp(part, instance);
       wizard->setPart(kPart);
       const int status = wizard->getMinPowerOutFreqs(frequencies, 100, 0, 1, false, false, 0, false, 10, false, 300);
       return std::to_string(status) + " " + frequencies;
     }},
    {"cores", [] { return HICInst("no_such_core_1").getParamValue("A"); }},
    {"files_to_complete",
     [] {
       const Scratch folder;
       folder.file("a", "");
       folder.file("b/c", "");
       const kdish::Table table({places::data("commands")});
       std::string all;
       for (kdish::Candidate const& one : kdish::complete("source " + folder.folder() + "/", table, {}).candidates)
         all += one.text.substr(folder.folder().size()) + "|";
       return all;
     }},
    {"command_table", [] { return std::to_string(kdish::Table({places::data("commands")}).commands().size()); }},
};

// Runs the body in a process of its own, for which every question is the first. What it finds wrong; what is lost is
// looked for as well, where a sanitizer can.
std::string in_a_process(std::function<std::string()> const& body) {
  int ends[2];
  if (::pipe(ends) != 0) return "no pipe";
  const pid_t child = ::fork();
  if (child == 0) {
    ::alarm(60);
    ::close(ends[0]);
    std::string wrong = body();
#ifdef LOOKS_FOR_LEAKS
    if (wrong.empty() && __lsan_do_recoverable_leak_check() != 0) wrong = "memory is lost";
#endif
    if (::write(ends[1], wrong.data(), wrong.size()) < 0) ::_exit(2);
    ::_exit(0);
  }
  ::close(ends[1]);
  std::string wrong;
  char bytes[512];
  for (ssize_t count = 0; (count = ::read(ends[0], bytes, sizeof bytes)) > 0;)
    wrong.append(bytes, static_cast<std::size_t>(count));
  ::close(ends[0]);
  int status = 0;
  ::waitpid(child, &status, 0);
  return WIFEXITED(status) && WEXITSTATUS(status) == 0 ? wrong : "it ended otherwise";
}

// What is wrong with a first read whose request number `nth` fails.
std::string wrong_with(FirstRead const& read, std::size_t nth, std::string const& calm) {
  return in_a_process([&]() -> std::string {
    std::optional<std::string> first;
    failing_memory::fail(nth);
    try {
      first = read.answer();
    } catch (std::bad_alloc const&) {
    }
    failing_memory::stop();
    if (!failing_memory::has_failed()) return "no request failed";
    if (first && *first != calm) return "the first time: " + *first;
    if (const std::string second = read.answer(); second != calm) return "the second time: " + second;
    return "";
  });
}

// Stands before what runs commands, and is no test with parameters, which would run behind it: then nothing has been
// read yet, and there is little memory to look through for what is lost.
TEST(FirstReads, GoWellTheSecondTime) {
  for (FirstRead const& read : kFirstReads) {
    SCOPED_TRACE(read.name);
    // The number of requests is told as what is wrong.
    const std::string told = in_a_process([&] {
      failing_memory::count();
      const std::string calm = read.answer();
      return std::to_string(failing_memory::stop()) + " " + calm;
    });
    const std::size_t count = std::stoul(told);
    const std::string calm = told.substr(told.find(' ') + 1);
    ASSERT_GT(count, 0U);
    for (const std::size_t nth : requests(count, kMost))
      EXPECT_EQ(wrong_with(read, nth, calm), "") << "request " << nth << " of " << count;
  }
}

// ---------------------------------------------------------------------------------------------------------- commands

class FailingCommands : public testing::Test {
 protected:
  FailingCommands() {
    std::filesystem::current_path(folder_.folder());
    Tcl_FindExecutable(nullptr);
  }
  ~FailingCommands() override { std::filesystem::current_path("/"); }

  Scratch folder_;
  message_host::Capture quiet_;
};

// Whether the command answers as it is told to. A service works on the process's own parameters, which other commands
// have set: it answers as it did before.
void expect_answer(Interpreter const& interpreter, DescribedCommand const& command, int code,
                   std::string const& before) {
  if (command.family != "services") return expect_example_result(interpreter, command, code);
  EXPECT_EQ(code, TCL_OK) << interpreter.result();
  EXPECT_EQ(interpreter.result(), before);
}

TEST_F(FailingCommands, AreErrorsAndWorkTheSecondTime) {
  Interpreter interpreter;
  std::size_t failed = 0;
  for (DescribedCommand const& command : described_commands()) {
    run_example(interpreter, command);  // first reads are another test's
    interpreter.evaluate(command.example.setup);
    failing_memory::count();
    interpreter.evaluate(command.example.script);
    const std::size_t count = failing_memory::stop();
    const std::string calm = interpreter.result();
    for (const std::size_t nth : requests(count, count > 20000 ? kMost / 3 : kMost)) {
      SCOPED_TRACE(command.name + ", request " + std::to_string(nth) + " of " + std::to_string(count));
      interpreter.evaluate(command.example.setup);
      failing_memory::fail(nth);
      const int code = interpreter.evaluate(command.example.script);
      failing_memory::stop();
      failed += failing_memory::has_failed();
      // Block memories have a figure for it.
      const bool is_caught = interpreter.result() == "std::bad_alloc";  // by an example that shows what is refused
      const bool is_told =
          code == TCL_ERROR || is_caught || (command.family == "bmg" && interpreter.result() == kOutOfMemory);
      if (!is_told) expect_answer(interpreter, command, code, calm);
      expect_answer(interpreter, command, run_example(interpreter, command), calm);
    }
  }
  EXPECT_GT(failed, 100U);
}

}  // namespace
