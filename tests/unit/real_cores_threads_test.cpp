// The shipped cores on eight threads at once: descriptions that are read while others use them, instances side by side
// of one description, and those that all threads share behind the manager.
#include <gtest/gtest.h>

#include <atomic>
#include <map>
#include <mutex>
#include <random>
#include <set>

#include "kdi/common/host/MessageHost.h"
#include "kdi/cores/Changes.h"
#include "kdi/cores/Instance.h"
#include "kdi/cores/Store.h"
#include "kdi/ippcw/HICInst.h"
#include "kdi/ippcw/HardIP.h"
#include "tests/support/places.h"
#include "tests/support/random.h"
#include "tests/support/threads.h"

namespace {

using namespace kdi::cores;

constexpr int kThreads = 8;

struct Version {
  char const* core;
  char const* version;
};
constexpr Version kCores[] = {{"xram", "1.0"}, {"ai_engine", "1.0"}, {"mmi", "1.0"},   {"visp", "1.0"},
                              {"cpm4", "1.0"}, {"cpm5n", "1.0"},     {"ps_pmc", "1.0"}};

// Some changes of a fresh instance, the same for the same seed, and all that it shows then.
std::string changed(std::shared_ptr<Core const> const& core, unsigned seed) {
  constexpr int kChanges = 6;
  test_support::Seeded<std::mt19937> random(seed);
  Instance instance(core);
  for (int change = 0; change < kChanges; ++change) {
    const auto number = static_cast<std::uint32_t>(random() % core->parameters().size());
    std::vector<std::string> texts = instance.range(number);
    texts.push_back("1");
    instance.set({{number, texts[random() % texts.size()]}});
  }
  std::string shown;
  for (std::uint32_t i = 0; i < core->parameters().size(); ++i) shown += instance.value(i) + "\n";
  for (Due const& due : instance.messages()) shown += due.text + "\n";
  // The tree of a rule is made when it is first asked for, here by all at once.
  for (Parameter const& parameter : core->parameters())
    if (parameter.enabled) shown += parameter.enabled->written() + "\n";
  return shown;
}

// Each thread begins elsewhere, so that descriptions are first asked for, and read anew, while others are at work.
TEST(RealCoresThreads, InstancesSideBySideAreAsIfAlone) {
  std::mutex mutex;
  std::map<std::string, std::set<std::string>> shown;  // by core
  in_threads(kThreads, [&](int thread) {
    for (std::size_t i = 0; i < std::size(kCores); ++i) {
      Version const& version = kCores[(i + static_cast<std::size_t>(thread)) % std::size(kCores)];
      const auto core = core_description(version.core, version.version);
      ASSERT_NE(core, nullptr);
      EXPECT_FALSE(core_versions(version.core).empty());
      const auto own = Core::read(places::data("cores"), version.core, version.version);
      for (auto const& one : {core, own}) {
        const std::string text = changed(one, 7);
        const std::lock_guard lock(mutex);
        shown[version.core].insert(text);
      }
    }
  });
  for (auto const& [core, texts] : shown) EXPECT_EQ(texts.size(), 1U) << core;
  EXPECT_EQ(shown.size(), std::size(kCores));
}

TEST(RealCoresThreads, InstancesBehindTheManagerServeAll) {
  constexpr int kRounds = 6;
  const message_host::Capture messages;
  auto& manager = *hardip_eng::HardIPManager::getInstance();
  const auto context = [](std::string const& core, std::string const& name) {
    return ParamMap{{"ps_core_name", core}, {"part", "brvn3716-die-2LHP-e-S-es1"}, {"instance_name", name}};
  };
  std::atomic<int> asked{0};
  in_threads(kThreads, [&](int thread) {
    for (int round = 0; round < kRounds; ++round)
      for (std::string const core : {"xram", "mmi", "visp"}) {
        const std::string name = round % 2 == 0 ? "common" : "own" + std::to_string(thread);
        StrVec errors;
        auto* const instance = manager.getOrCreateInstance(context(core, name), errors);
        ASSERT_NE(instance, nullptr) << errors.at(0);
        RawResult result;
        ParamMap told;
        if (core == "xram")
          instance->getRanges({{"XRAM_SIZE_MB", "2"}, {"XRAM_ECC_ENABLE", std::to_string(round % 2)}}, result, told,
                              10);
        else
          instance->getRanges({}, result, told, 10);
        EXPECT_FALSE(result.empty());
        ++asked;
        if (round % 3 == 2) manager.deleteInstance(context(core, name), errors);
      }
  });
  EXPECT_EQ(asked, kThreads * kRounds * 3);
  StrVec errors;
  for (std::string const core : {"xram", "mmi", "visp"}) {
    manager.deleteInstance(context(core, "common"), errors);
    for (int thread = 0; thread < kThreads; ++thread)
      manager.deleteInstance(context(core, "own" + std::to_string(thread)), errors);
  }
}

}  // namespace
