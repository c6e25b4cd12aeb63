// Controllers that several threads load, ask and release at once: no two of a part ever share a pad.
#include <gtest/gtest.h>

#include <atomic>
#include <set>
#include <thread>

#include "kdi/coregen/memory_v1.h"
#include "kdi/coregen/mig_v7_1.h"

namespace {

using mig::mig_v7_1::HIPMigInstance;
using mig::mig_v7_1::HIPMigIPMgr;

constexpr int kThreads = 8;

OptionMap load_of(std::string const& name) {
  return {{"-instance_name", name},    {"-part", "brvn5130-c2601-2LHP-e-S"},
          {"-controllertype", "DDR4"}, {"-memorypart", "DDR4-2400R-8Gb-x8"},
          {"-datawidth", "8"},         {"-timeperiod", "833"}};
}

std::set<std::string> balls_of(std::string const& name) {
  std::set<std::string> balls;
  HIPMigInstance* const instance = HIPMigIPMgr::getIPInstance(name);
  if (instance == nullptr) return balls;
  for (auto const& [signal, words] : instance->getAssignedPinDetails("-1"))
    if (words[0] != "-") balls.insert(words[0]);
  return balls;
}

TEST(ControllersInThreads, PlaceBesideEachOther) {
  std::atomic<int> faults = 0;
  std::vector<std::thread> threads;
  for (int thread = 0; thread < kThreads; ++thread)
    threads.emplace_back([thread, &faults] {
      const std::string own = "u" + std::to_string(thread);
      for (int round = 0; round < 3; ++round) {
        HIPMigIPMgr::loadMigPkgData(load_of(own));
        if (balls_of(own).size() != 41) ++faults;
        balls_of("u" + std::to_string((thread + 1) % kThreads));  // may be there or not
        if (round < 2) HIPMigIPMgr::releasePkgData({{"-instance_name", own}});
      }
    });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(faults, 0);
  std::set<std::string> all;
  std::size_t pins = 0;
  for (int thread = 0; thread < kThreads; ++thread) {
    const std::set<std::string> own = balls_of("u" + std::to_string(thread));
    pins += own.size();
    all.insert(own.begin(), own.end());
  }
  EXPECT_EQ(pins, 41u * kThreads);
  EXPECT_EQ(all.size(), pins);
  HIPMigIPMgr::releasePkgData({});
}

}  // namespace
