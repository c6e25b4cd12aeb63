// The transceiver commands from several interpreters in several threads: instances of their own, one in common that
// is made anew while others ask it, rules without a state, and the log that all write.
#include <gtest/gtest.h>
#include <tcl.h>

#include <string>
#include <vector>

#include "kdi/common/host/MessageHost.h"
#include "tests/support/package_interpreter.h"
#include "tests/support/threads.h"

namespace {

constexpr int kThreads = 4, kRounds = 6;

struct Interpreter : PackageInterpreter {
  Interpreter() : PackageInterpreter("gtwiz::Ip_gtwiz_") {}
};

std::string lane(char const* rate) { return std::string("{TX0 {LR0_SETTINGS {RATE ") + rate + " REFCLK 156.25}}}"; }

std::string make(std::string const& instance, char const* rate) {
  return "initializeDataWithTclDict " + instance + " {} GTYP {} {} {} " + lane(rate) + " {} {} {} {} {}";
}

// What a thread asks that no other one has a hand in.
std::string own_work(Interpreter& run, int thread) {
  const std::string name = "own" + std::to_string(thread);
  std::string seen;
  const auto note = [&](std::string const& command) { seen += run(command) + "\n"; };
  note(make(name, thread % 2 == 0 ? "10.3125" : "12.5"));
  note("getOutClkFrequencies " + name + " {} 0");
  note("getAttributes " + name + " {} 0");
  note("getBramMemContent " + name + " TX0 0");
  note(make(name, "40"));  // is refused, and the instance stays
  note("getOutClkFrequencies " + name + " {} 0");
  note("canBePacked p {} GTM {} {} {} {TX0 {LR0_SETTINGS {PROTOCOL 50GBASE-R1}}} {} {TX_QUAD_CH {TX0 3}} {} {} 1");
  note("findTXOUTCLKlist 10.3125 156.25 GTYP NRZ any 16.5 32 any");
  note("calculateActualRefclk 10.3125 160 12345");
  note("fracNEnable 25.78125 156.25 GTYP");
  note("initializeData " + name + " {} GTME5 {} {} {PROTOCOL none} {}");
  return seen;
}

TEST(GtwizThreads, InstancesAreMadeAndAskedWhileOthersAreMadeAnew) {
  Tcl_FindExecutable(nullptr);
  const message_host::Capture quiet;
  std::vector<std::string> alone;
  {
    Interpreter run;
    for (int thread = 0; thread < kThreads; ++thread) alone.push_back(own_work(run, thread));
    run(make("shared", "10.3125"));
  }
  in_threads(kThreads, [&](int thread) {
    {
      Interpreter run;
      for (int round = 0; round < kRounds; ++round) {
        EXPECT_EQ(own_work(run, thread), alone[static_cast<std::size_t>(thread)]);
        EXPECT_EQ(run(make("shared", (thread + round) % 2 == 0 ? "10.3125" : "12.5")), "");
        const std::string clocks = run("getOutClkFrequencies shared TX0 0");
        EXPECT_TRUE(clocks == "TX0 644.53125" || clocks == "TX0 781.25") << clocks;
        EXPECT_NE(run("getDebugData").find("instance "), std::string::npos);
      }
    }
    Tcl_FinalizeThread();
  });
}

}  // namespace
