// Controllers and interfaces of I/O planning that several threads load, ask and release at once: no two of a device
// ever share a pad.
#include <gtest/gtest.h>

#include <atomic>
#include <set>
#include <thread>

#include "kdi/coregen/memory_v1.h"
#include "kdi/coregen/mig_v7_1.h"
#include "kdi/place/kelvane_io_v1.h"

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

// ------------------------------------------------------------------------------- interfaces of I/O planning beside
// them

using kelvane_io::kelvane_io_v1::HIPKelvaneIoInstance;
using kelvane_io::kelvane_io_v1::HIPKelvaneIPMgr;

constexpr char kPart[] = "brvn5130-c2601-2LHP-e-S";
constexpr char kLanes[] =
    "DATA_RATE 800 SINGLE_IO_STD SSTL12 SYSTEM_CLOCK No_Buffer BUSES {d {WIDTH 8 STROBE s} s {ROLE Strobe}}";

void load_interface(std::string const& name) {
  HIPKelvaneIPMgr::loadMigPkgData({{"-instance_name", name}, {"-part", kPart}});
}

OptionMap plan_of(std::string const& name, char const* settings = kLanes) {
  HIPKelvaneIoInstance* const instance = HIPKelvaneIPMgr::getIPInstance(name);
  if (instance == nullptr) return {};
  return instance->xphy_io_defaultIOPlanning(
      {{"IP_NAME", name}, {"SW_DIR_PATH", "."}, {"XGUI_CONFIG", settings}, {"PORT_LOCS", ""}});
}

// The fifth field of a place.
std::set<std::string> balls_in(OptionMap const& plan) {
  std::set<std::string> balls;
  for (auto const& [port, place] : plan) {
    std::size_t begin = 0;
    for (int field = 0; field < 4; ++field) begin = place.find(',', begin) + 1;
    balls.insert(place.substr(begin, place.find(',', begin) - begin));
  }
  return balls;
}

bool share(std::set<std::string> const& a, std::set<std::string> const& b) {
  for (std::string const& ball : a)
    if (b.contains(ball)) return true;
  return false;
}

TEST(ControllersAndInterfaces, AreBesideEachOther) {
  load_interface("first");
  load_interface("second");
  const OptionMap first = plan_of("first");
  ASSERT_EQ(first.size(), 9u);
  HIPMigIPMgr::loadMigPkgData(load_of("m"));
  const OptionMap second = plan_of("second");
  EXPECT_FALSE(share(balls_in(first), balls_of("m")));
  EXPECT_FALSE(share(balls_in(second), balls_of("m")));
  EXPECT_FALSE(share(balls_in(second), balls_in(first)));
  // What stands is moved by nobody, also where there is room by now.
  HIPKelvaneIPMgr::releasePkgData({{"-instance_name", "first"}});
  HIPMigIPMgr::releasePkgData({});
  EXPECT_EQ(plan_of("second"), second);
  load_interface("third");
  EXPECT_EQ(plan_of("third"), first);
  // One that is asked for something else makes room for others.
  EXPECT_NE(
      plan_of("third", "DATA_RATE 800 SINGLE_IO_STD SSTL12 SYSTEM_CLOCK No_Buffer BANKS 702 BUSES {d {DIRECTION TX}}"),
      first);
  load_interface("fourth");
  EXPECT_EQ(plan_of("fourth"), first);
  HIPKelvaneIPMgr::releasePkgData({});
}

TEST(ControllersAndInterfaces, AreBesideEachOtherInThreads) {
  std::atomic<int> faults = 0;
  std::vector<std::thread> threads;
  for (int thread = 0; thread < kThreads; ++thread)
    threads.emplace_back([thread, &faults] {
      const std::string own = "b" + std::to_string(thread);
      for (int round = 0; round < 3; ++round) {
        if (thread % 2 == 0)
          HIPMigIPMgr::loadMigPkgData(load_of(own));
        else
          load_interface(own);
        const std::size_t pins = thread % 2 == 0 ? balls_of(own).size() : plan_of(own).size();
        if (pins != (thread % 2 == 0 ? 41u : 9u)) ++faults;
        if (round == 2) break;
        if (thread % 2 == 0)
          HIPMigIPMgr::releasePkgData({{"-instance_name", own}});
        else
          HIPKelvaneIPMgr::releasePkgData({{"-instance_name", own}});
      }
    });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(faults, 0);
  std::set<std::string> all;
  for (int thread = 0; thread < kThreads; ++thread) {
    const std::string own = "b" + std::to_string(thread);
    const std::set<std::string> balls = thread % 2 == 0 ? balls_of(own) : balls_in(plan_of(own));
    all.insert(balls.begin(), balls.end());
  }
  EXPECT_EQ(all.size(), kThreads / 2 * (41u + 9u));
  HIPMigIPMgr::releasePkgData({});
  HIPKelvaneIPMgr::releasePkgData({});
}

}  // namespace
