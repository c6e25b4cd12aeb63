// The instances of the earlier processing systems from several threads: made, found and ended at once.
#include <gtest/gtest.h>

#include "tcltasks/zorvan/instance_manager.h"
#include "tests/support/recording_psu.h"
#include "tests/support/threads.h"

namespace {

using zorvan_init::zorvan_kdi_tcltasks::PS_TCL_Instance_Manager;

constexpr int kThreads = 4;
constexpr int kRounds = 200;

ParamMap context(std::string const& name) { return {{"instance_name", name}, {"ps_core_name", "psu"}}; }

TEST(ZorvanThreads, AnInstanceInUseStaysWhateverOthersEnd) {
  RecordingPsu engine;
  engine.result = {{"A", {{"1"}, {}, {}, {}, {}, {}}}};
  in_threads(kThreads, [&](int thread) {
    const ParamMap mine = context("own" + std::to_string(thread)), common = context("common");
    for (int round = 0; round < kRounds; ++round) {
      StrVec errors;
      for (ParamMap const& asked : {mine, common}) {
        const auto instance = PS_TCL_Instance_Manager::get()->getInstance(asked, errors);
        ASSERT_NE(instance, nullptr);
        RawResult result;
        ParamMap messages;
        instance->getRanges({}, result, messages, 10);
        EXPECT_EQ(result.size(), 1U);
      }
      PS_TCL_Instance_Manager::get()->terminatePSInstance(common, errors);
      if (round % 16 == thread) PS_TCL_Instance_Manager::end();
      EXPECT_EQ(errors, StrVec{});
    }
  });
  PS_TCL_Instance_Manager::end();
  EXPECT_EQ(engine.live(), 0);
}

TEST(ZorvanThreads, OfSeveralThatMakeOneInstanceAllGetTheSame) {
  RecordingPsu engine;
  PS_TCL_Instance_Manager::Instance first, second;
  int making = 0;
  engine.on_making = [&] {
    if (making++ > 0) return;
    // While the first is being made another thread makes it, and does not wait.
    expect_to_end([&] {
      StrVec errors;
      second = PS_TCL_Instance_Manager::get()->getInstance(context("u"), errors);
    });
  };
  StrVec errors;
  first = PS_TCL_Instance_Manager::get()->getInstance(context("u"), errors);
  EXPECT_EQ(first, second);
  EXPECT_EQ(engine.live(), 1);
  first.reset();
  second.reset();
  PS_TCL_Instance_Manager::end();
  EXPECT_EQ(engine.live(), 0);
}

}  // namespace
