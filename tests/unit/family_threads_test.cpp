// The commands of all families from several interpreters on several threads.
#include <gtest/gtest.h>
#include <tcl.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "kdi/common/host/MessageHost.h"
#include "tests/support/examples.h"
#include "tests/support/scratch.h"
#include "tests/support/threads.h"

namespace {

constexpr int kThreads = 4;
// What one thread's commands leave is there for those of another, where it goes by a name: these may answer otherwise.
bool has_named_state(DescribedCommand const& command) {
  static const std::set<std::string> families = {"clkwiz", "clocking", "gtwiz",    "hardip",
                                                 "io",     "memory",   "services", "zorvan"};
  // These read files that their examples write, and that another thread writes anew meanwhile.
  return families.contains(command.family) || command.name == "VCUAPI::read_csv" ||
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
