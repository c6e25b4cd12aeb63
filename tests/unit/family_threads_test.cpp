// The commands of all families from several interpreters on several threads.
#include <gtest/gtest.h>
#include <tcl.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "kdi/common/KdiText.h"
#include "kdi/common/host/MessageHost.h"
#include "tests/support/examples.h"
#include "tests/support/scratch.h"
#include "tests/support/threads.h"

namespace {

constexpr int kThreads = 4;
// What one thread's commands leave is there for those of another, where it goes by a name: these may answer otherwise.
// So may those of which the example writes a file that the command reads, and that another thread writes anew
// meanwhile.
bool has_named_state(DescribedCommand const& command) {
  static const std::set<std::string> families = {"clkwiz", "clocking", "gtwiz",    "hardip",
                                                 "io",     "memory",   "services", "zorvan"};
  const std::string script = command.example.setup + command.example.script;
  return families.contains(command.family) || script.find(" w]") != std::string::npos ||
         command.name.starts_with("coretools::cdo_");
}

void run(Interpreter& interpreter, DescribedCommand const& command) {
  const int code = run_example(interpreter, command);
  if (!has_named_state(command)) expect_example_result(interpreter, command, code);
  for (kdish::CommandError const& error : command.failures) {
    if (error.script.empty()) continue;
    const int failed = interpreter.evaluate(error.script);
    if (!has_named_state(command)) expect_failure(interpreter, error, failed);
  }
}

class FamilyThreads : public testing::Test {
 protected:
  FamilyThreads() {
    std::filesystem::current_path(folder_.folder());
    Tcl_FindExecutable(nullptr);
  }
  ~FamilyThreads() override { std::filesystem::current_path("/"); }

  Scratch folder_;
};

TEST_F(FamilyThreads, EachRunsTheCommandsOfAllFamilies) {
  const std::vector<DescribedCommand> commands = described_commands();
  ASSERT_GE(commands.size(), 40U);
  const message_host::Capture quiet;
  in_threads(kThreads, [&](int thread) {
    {
      Interpreter interpreter;
      // Half of them in the same order, so that they meet at the first call of an engine; half in other ones.
      const std::size_t begin = thread % 2 == 0 ? 0 : commands.size() / kThreads * static_cast<std::size_t>(thread);
      for (std::size_t i = 0; i < commands.size(); ++i) run(interpreter, commands[(begin + i) % commands.size()]);
    }
    Tcl_FinalizeThread();
  });
}

TEST_F(FamilyThreads, InterpretersComeAndGo) {
  in_threads(kThreads, [](int) {
    for (int round = 0; round < 5; ++round) {
      Interpreter interpreter;
      EXPECT_EQ(interpreter.evaluate("sd_fec::gen_turbo_params {scale 10}"), TCL_OK);
    }
    Tcl_FinalizeThread();
  });
}

// Controllers of memories on one device, of all models: each interpreter loads, asks, changes, renames and ends its
// own, while the others do, and no two have a pad in common.
TEST_F(FamilyThreads, EightInterpretersLoadAskAndEndControllers) {
  constexpr int kInterpreters = 8;
  constexpr char kScript[] = R"(
    set scope [lindex {mig::mig_v7_0::Ip_Mig_ mig::mig_v7_1::Ip_Mig_ memory::memory_v1::Ip_memory_} [expr {%N % 3}]]
    for {set round 0} {$round < 3} {incr round} {
      ${scope}loadPkg -instance_name i%N -part brvn5130-c2601-2LHP-e-S -controllertype DDR4 \
        -memorypart DDR4-2400R-8Gb-x8 -datawidth 8 -timeperiod 833
      if {[${scope}CheckIOPlanningCompletion i%N 0] != 1} { error "round $round is not whole" }
      ${scope}BankSelModelParams i%N DDR4 DDR4-2400R-8Gb-x8
      ${scope}getLocModelParams c0_sys_clk_p -instance_name i%N
      ${scope}setSignalWithPadName i%N {c0_ddr4_dq[0]} {}
      if {[${scope}byteSelectionStatus i%N {DQ[0-7]}] != 0} { error "the signal is not off" }
      ${scope}UpdateInstanceName -instance_name i%N -new_instance_name j%N
      set lines [${scope}getXDCInfo u 0 pins -instance_name j%N]
      if {[llength $lines] != 40} { error "[llength $lines] pins" }
      if {$round < 2} { ${scope}unLoadPkg -instance_name j%N }
    }
    lmap line $lines { lindex [split $line] 2 })";
  std::mutex mutex;
  std::set<std::string> balls;
  std::size_t pins = 0;
  in_threads(kInterpreters, [&](int thread) {
    {
      Interpreter interpreter;
      std::string script = kScript;
      for (std::size_t at = script.find("%N"); at != std::string::npos; at = script.find("%N"))
        script.replace(at, 2, std::to_string(thread));
      EXPECT_EQ(interpreter.evaluate(script), TCL_OK) << interpreter.result();
      const std::string result = interpreter.result();
      const std::lock_guard lock(mutex);
      for (const std::string_view ball : kdi::text::words(result)) {
        balls.insert(std::string(ball));
        ++pins;
      }
    }
    Tcl_FinalizeThread();
  });
  EXPECT_EQ(pins, 40u * kInterpreters);
  EXPECT_EQ(balls.size(), pins) << "two have one pad";
  Interpreter interpreter;
  for (char const* all :
       {"mig::mig_v7_0::Ip_Mig_unLoadPkg", "mig::mig_v7_1::Ip_Mig_unLoadPkg", "memory::memory_v1::Ip_memory_unLoadPkg"})
    EXPECT_EQ(interpreter.evaluate(all), TCL_OK);
}

// The process ends, by way of Tcl's exit handlers, while threads run commands of all families.
[[noreturn]] void exit_while_threads_run(std::vector<DescribedCommand> const& commands) {
  static std::atomic<int> running = 0;
  message_host::add_sink([](auto const&) {});
  for (int thread = 0; thread < kThreads; ++thread)
    std::thread([&commands, thread] {
      Interpreter interpreter;
      std::size_t next = commands.size() / kThreads * static_cast<std::size_t>(thread);
      for (int count = 0;; ++count, ++next) {
        DescribedCommand const& command = commands[next % commands.size()];
        run_example(interpreter, command);
        if (count == 10) ++running;
      }
    }).detach();
  while (running < kThreads) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  Tcl_Exit(0);
  std::abort();
}

TEST_F(FamilyThreads, TheProcessMayEndWhileTheyRun) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_EXIT(exit_while_threads_run(described_commands()), testing::ExitedWithCode(0), "^$");
}

}  // namespace
