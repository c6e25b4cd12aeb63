// Hard-IP instances from several threads: made, found, deleted, walked and changed at once.
#include <gtest/gtest.h>

#include <atomic>

#include "kdi/common/host/MessageHost.h"
#include "kdi/ippcw/HICInst.h"
#include "kdi/ippcw/HardIP.h"
#include "tests/support/made_cores.h"
#include "tests/support/threads.h"

namespace {

using hardip_eng::HardIPInterface;
using hardip_eng::HardIPManager;

constexpr int kThreads = 4;
constexpr int kRounds = 60;

constexpr char kParameters[] = R"("interface": "psxl", "parameters": [
  {"name": "A", "type": "integer", "widget": "EDIT", "description": "d", "default": "0"},
  {"name": "B", "type": "integer", "widget": "EDIT", "description": "d", "default": "0"},
  {"name": "SUM", "type": "integer", "widget": "EDIT", "description": "d", "default": "0", "derived": "A + B"}])";

class HardIpThreads : public testing::Test {
 protected:
  HardIpThreads() { cores_.add("threaded", "1.0", kParameters); }

  ParamMap context(std::string const& name) const {
    return {{"ps_core_name", "threaded"}, {"part", cores_.part()}, {"instance_name", name}};
  }

  MadeCores cores_;
  message_host::Capture messages_;
  HardIPManager& manager_ = *HardIPManager::getInstance();
};

TEST_F(HardIpThreads, InstancesAreMadeFoundDeletedAndWalked) {
  std::atomic<int> found{0}, walked{0};
  in_threads(kThreads, [&](int thread) {
    for (int round = 0; round < kRounds; ++round) {
      const ParamMap mine = context("own" + std::to_string(thread)), common = context("common");
      StrVec errors;
      for (ParamMap const& asked : {mine, common}) {
        HardIPInterface* const instance = manager_.getOrCreateInstance(asked, errors);
        ASSERT_NE(instance, nullptr) << errors.at(0);
        RawResult result;
        ParamMap messages;
        const std::string value = std::to_string(round);
        instance->getRanges({{"A", value}, {"B", value}}, result, messages, 10);
        // Whatever others do to the common one: what is shown together was true at one moment.
        EXPECT_EQ(std::stoi(result.at("SUM")[0][0]), std::stoi(result.at("A")[0][0]) + std::stoi(result.at("B")[0][0]));
        EXPECT_TRUE(messages.empty());
      }
      for (auto const& [key, live] : manager_.instanceMap()) {
        if (live == nullptr) continue;
        ++walked;
        EXPECT_NE(live->getHICInst()->getParamValue("SUM"), "");
      }
      found += manager_.findInstance(mine, errors) != nullptr;
      if (round % 3 == thread % 3) manager_.deleteInstance(common, errors);
      if (round % 5 == 4) manager_.deleteInstance(mine, errors);
      EXPECT_TRUE(errors.empty());
    }
  });
  EXPECT_EQ(found, kThreads * kRounds);
  EXPECT_GT(walked, kThreads * kRounds);
  StrVec errors;
  for (int thread = 0; thread < kThreads; ++thread)
    manager_.deleteInstance(context("own" + std::to_string(thread)), errors);
  manager_.deleteInstance(context("common"), errors);
  EXPECT_EQ(manager_.findInstance(context("common"), errors), nullptr);
}

TEST_F(HardIpThreads, ADescriptionIsReadOnceHoweverManyAsk) {
  std::atomic<int> made{0};
  in_threads(kThreads, [&](int thread) {
    StrVec errors;
    made += manager_.getOrCreateInstance(context("first" + std::to_string(thread)), errors) != nullptr;
    HICInst outside("threaded_" + std::to_string(thread));
    EXPECT_EQ(outside.getParamValue("SUM"), "0");
    manager_.deleteInstance(context("first" + std::to_string(thread)), errors);
  });
  EXPECT_EQ(made, kThreads);
}

}  // namespace
