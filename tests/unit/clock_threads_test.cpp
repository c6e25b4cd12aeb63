// The clock commands from several interpreters in several threads: solvers of their own and in common, made, used,
// renamed and ended, and the managers going down meanwhile.
#include <gtest/gtest.h>
#include <tcl.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "kdi/common/host/MessageHost.h"
#include "kdi/ip/HIPClkwiz.h"
#include "kdi/ip/HIPClocking.h"
#include "tests/support/package_interpreter.h"
#include "tests/support/threads.h"

namespace {

constexpr int kThreads = 4;
constexpr int kRounds = 12;
char const* const kParts[] = {"zrv9010-f625-1-e", "brvn3716-die-2LHP-e-S-es1"};

using Interpreter = PackageInterpreter;

// The same for bodies that use an interpreter: Tcl keeps something for each thread, which ends with it.
void in_tcl_threads(int count, std::function<void(int)> const& body) {
  in_threads(count, [&](int thread) {
    body(thread);
    Tcl_FinalizeThread();
  });
}

class ClockThreads : public testing::Test {
 protected:
  message_host::Capture messages_;
};

// What the scripts of a thread give, whatever other threads do to other solvers.
std::string own_work(Interpreter& run, std::string const& name, int thread) {
  const std::string wizard = " key " + name + " ", other = " key " + name + "x ";
  const std::string part = kParts[thread % 2], clock = std::to_string(100 + thread) + ".5";
  std::string seen;
  const auto note = [&](std::string const& script) { seen += run(script) + "\n"; };
  note("Init_Clkwiz" + wizard + part);
  note("SetClkwizProperty" + wizard + "LowBandwidth " + (thread % 2 == 0 ? "true" : "false"));
  note("SetClkwizProperty" + wizard + "GlobalBuffer_InputClk true");
  note("GetClosestSolution" + wizard + "{" + clock + " 33} {45 0} {} 100 0 2 true false false false");
  for (char const* property : {"ChosenM", "ChosenD", "ChosenVCO", "{ChosenDivN} 1", "{ChosenPhaseN} 0"})
    note("GetClkwizProperty" + wizard + property);
  note("GetClosestSolution" + wizard + "5000 0 50 100 0 1 false false false false");
  note("MMCMCalculateActualPhase" + wizard + "17 10 false");
  note("GetPkToPkJitter" + wizard + "100 " + (thread % 2 == 0 ? "1000 100" : "3000 100") + " LOW 50 0");
  note("GetClkwizInputFrequencies" + wizard + "MMCM 100 3 148.5,74.25 5");
  note("ChangeCompInstName key " + name + " " + name + "x");
  note("GetClkwizProperty" + wizard + "MaxPeriod");
  note("GetClkwizProperty" + other + "MaxPeriod");
  note("UnInit_Clkwiz" + other);
  note("Ip_Clocking_Calc_Phase " + part + " 17 10");
  note("Ip_Clocking_Get_Property " + part + " MMCM_FVCO_MAX");
  note("Ip_Clocking_Get_OutputClkList -part " + part + " -input_freq 100 -primtive 1");
  note("Ip_Clocking_Calc_M_D -part " + part + " -output_freq {" + clock +
       " 50} -req_phase {0 0} -req_dc {50 50} -prim_freq 100 -secondary_freq 0 -primtive 0");
  note("Ip_Clocking_Get_ClkInst -part " + part + " -output_freq {100 33.333} -input_freq {100}");
  note("Ip_Clocking_Calc_DC no_part_" + name + " 30 10");
  return seen;
}

TEST_F(ClockThreads, SolversOfTheirOwnDoNotDisturbEachOther) {
  std::vector<std::string> alone;
  {
    Interpreter run;
    for (int thread = 0; thread < kThreads; ++thread) alone.push_back(own_work(run, "one", thread));
  }
  in_tcl_threads(kThreads, [&](int thread) {
    Interpreter run;
    for (int round = 0; round < kRounds; ++round) {
      const std::string name = "t" + std::to_string(thread);
      std::string seen = own_work(run, name, thread);
      for (std::size_t at; (at = seen.find("no_part_" + name)) != std::string::npos;)
        seen.replace(at, 8 + name.size(), "no_part_one");
      EXPECT_EQ(seen, alone[static_cast<std::size_t>(thread)]);
    }
  });
}

// Every answer is one that some order of the threads' commands gives.
TEST_F(ClockThreads, OneSolverIsUsedRenamedAndEndedByAll) {
  in_tcl_threads(kThreads, [&](int thread) {
    Interpreter run;
    const std::string a = thread % 2 == 0 ? "a" : "b", b = thread % 2 == 0 ? "b" : "a";
    for (int round = 0; round < kRounds; ++round) {
      EXPECT_EQ(run("Init_Clkwiz common " + a + " " + kParts[round % 2]), "");
      EXPECT_EQ(run("SetClkwizProperty common " + a + " UseFinePS " + (round % 2 == 0 ? "true" : "false")), "");
      EXPECT_EQ(run("SetClkwizProperty common " + a + " SSMode DOWN_LOW"), "");
      const std::string status = run("GetClosestSolution common " + a + " 100 {} {} 100 0 1 true false false false");
      EXPECT_TRUE(status == "1" || status == "Could not get data from speedsfile.") << status;
      const std::string vco = run("GetClkwizProperty common " + a + " ChosenVCO");
      EXPECT_TRUE(vco == "0.000" || vco == "1600.000" || vco == "4300.000") << vco;
      const std::string list = run("GetClkwizOutputFrequencies common " + a + " 100 1 0");
      EXPECT_TRUE(list == "100" || list == "nothing was solved yet, so there is no input clock") << list;
      EXPECT_EQ(run("ChangeCompInstName common " + a + " " + b), "");
      if (round % 3 == thread % 3) {
        EXPECT_EQ(run("UnInit_Clkwiz common " + b), "");
      }
      const std::string part = kParts[0];
      const std::string dict = run("Ip_Clocking_Calc_M_D -part " + part +
                                   " -output_freq 100 -req_phase 0 -req_dc 50 -prim_freq 100 -secondary_freq 0"
                                   " -primtive 0");
      EXPECT_EQ(dict.substr(0, 15), "primitive MMCM ") << dict;
      const std::string error = run("Ip_Clocking_Get_PhaseError " + part + " 0");
      EXPECT_TRUE(error == "fail to get getPhaseError" || error.find('.') != std::string::npos) << error;
      EXPECT_EQ(run("Ip_Clocking_Uninit " + part), "");
      if (thread == 0) Ip_Clocking::HIPClockingMgr::terminateInstance();
    }
  });
}

// A pointer that a thread was lent is good whatever other threads end.
TEST_F(ClockThreads, WhatAThreadWasLentIsNotPulledFromUnderIt) {
  auto& wizards = *Ip_Clkwiz::HIPClkwizTclMgr::GetInstance();
  std::string key = "common", name = "lent", part = kParts[0];
  Ip_Clkwiz::HIPClkwizImp* const wizard = wizards.getClkwizImp(key, name);
  Ip_Clocking::HIPClockingSoln* const solver = Ip_Clocking::HIPClockingMgr::GetInstance()->getClkwizSoln(part);
  wizard->setPart(part);
  expect_to_end([&] {
    wizards.deleteClkwizImp(key, name);
    Ip_Clocking::HIPClockingMgr::terminateInstance();
  });
  double value = 0;
  EXPECT_TRUE(wizard->getKeyValue("MMCM_FVCO_MAX", &value));
  EXPECT_EQ(value, 1600);
  Ip_Clocking::HIPClock clock{.phase = 17, .divide = 10};
  StrVec errors;
  EXPECT_TRUE(solver->calculateActualPhase(clock, errors));
}

// Who hears why a solve failed may ask the same solver, and another thread that does.
TEST_F(ClockThreads, WhoIsToldOfAFailureMayAskTheSolver) {
  std::string key = "common", name = "told", frequencies = "5000", phases, duty_cycles;
  auto& wizard = *Ip_Clkwiz::HIPClkwizTclMgr::GetInstance()->getClkwizImp(key, name);
  wizard.setPart(kParts[0]);
  message_host::set_channel("HIPClocking", 9);
  std::atomic<int> heard = 0;
  const int sink = message_host::add_sink([&](auto const&) {
    ++heard;
    expect_to_end([&] { EXPECT_NE(wizard.getFault().find("5000 MHz is outside"), std::string::npos); });
    EXPECT_EQ(wizard.getChosenD(), 0);
  });
  expect_to_end([&] {
    EXPECT_EQ(
        wizard.getClosestSolution(frequencies, phases, duty_cycles, 100, 0, 1, true, false, 0, 10, false, false, 0), 4);
  });
  message_host::remove_sink(sink);
  message_host::set_channel("HIPClocking", 0);
  EXPECT_EQ(heard, 1);
}

// While one solver is at work for long, another answers. When the threads run is not for the test to say: so it looks
// for answers well within a solve, and is content with some of the solves.
TEST_F(ClockThreads, ALongSolveHoldsUpNobodyElse) {
  using Clock = std::chrono::steady_clock;
  constexpr int kSolves = 10, kEnough = 3;
  struct Span {
    Clock::time_point begin, end;
    bool holds(Clock::time_point time) const {
      const auto margin = (end - begin) / 4;
      return begin + margin < time && time < end - margin;
    }
  };
  auto& wizards = *Ip_Clkwiz::HIPClkwizTclMgr::GetInstance();
  std::vector<Span> solves;
  std::vector<Clock::time_point> answers;
  std::atomic<bool> is_over = false;
  in_threads(2, [&](int thread) {
    std::string key = "common", slow = "slow", fast = "fast";
    if (thread == 0) {
      auto& wizard = *wizards.getClkwizImp(key, slow);
      wizard.setPart(kParts[1]);
      for (int i = 0; i < kSolves; ++i) {
        std::string frequencies = "7.522 684.637 310.62912 84 218", phases, duty_cycles;
        Span& solve = solves.emplace_back(Span{Clock::now(), {}});
        EXPECT_EQ(wizard.getClosestSolution(frequencies, phases, duty_cycles, 1069.123457, 91.23457, 5, true, false, 0,
                                            10, false, false, 0),
                  3);
        solve.end = Clock::now();
      }
      is_over = true;
    } else {
      while (!is_over) {
        EXPECT_EQ(wizards.getClkwizImp(key, fast)->getChosenD(), 0);
        answers.push_back(Clock::now());
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
      }
    }
  });
  const auto answered = std::ranges::count_if(solves, [&](Span const& solve) {
    return std::ranges::any_of(answers, [&](auto const& time) { return solve.holds(time); });
  });
  EXPECT_GE(answered, kEnough);
}

// The process ends while threads are still at work.
void end_while_others_work() {
  for (int thread = 0; thread < kThreads; ++thread)
    std::thread([thread] {
      for (int round = 0;; ++round) {
        std::string key = "end", name = std::to_string((thread + round) % 3), part = kParts[round % 2];
        auto* const wizard = Ip_Clkwiz::HIPClkwizTclMgr::GetInstance()->getClkwizImp(key, name);
        wizard->setPart(part);
        std::string frequencies = "100 33", none, none_either;
        wizard->getClosestSolution(frequencies, none, none_either, 100, 0, 2, true, false, 0, 10, false, false, 0);
        auto* const solver = Ip_Clocking::HIPClockingMgr::GetInstance()->getClkwizSoln(part);
        Ip_Clocking::HIPClock clock{.phase = 17, .divide = 10};
        StrVec errors;
        solver->calculateActualPhase(clock, errors);
        if (round % 7 == thread) Ip_Clkwiz::HIPClkwizTclMgr::GetInstance()->deleteClkwizImp(key, name);
      }
    }).detach();
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  Ip_Clocking::HIPClockingMgr::terminateInstance();
  Ip_Clocking::HIPClockingMgr::terminateInstance();
  std::exit(0);
}

TEST(ClockThreadsDeathTest, TheProcessEndsWhileOthersWork) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_EXIT(end_while_others_work(), testing::ExitedWithCode(0), "");
}

}  // namespace
