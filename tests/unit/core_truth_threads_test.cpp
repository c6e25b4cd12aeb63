// Instances of shipped cores that share their descriptions, each changed at random by a thread of its own and held
// there against computing anew.
#include <gtest/gtest.h>

#include "kdi/cores/Instance.h"
#include "tests/support/core_texts.h"
#include "tests/support/places.h"
#include "tests/support/random.h"
#include "tests/support/seen_core.h"
#include "tests/support/threads.h"

namespace {

using namespace kdi::cores;

TEST(CoreTruthThreads, InstancesSideBySideAreWhatComputingAnewGives) {
  constexpr int kThreads = 4, kChanges = 4;
  std::vector<std::shared_ptr<Core const>> cores;
  for (char const* const name : {"xram", "ai_engine", "mmi", "hnicx_wizard"})
    cores.push_back(Core::read(places::data("cores"), name, "1.0"));
  std::vector<std::string> differences(kThreads);
  in_threads(kThreads, [&](int thread) {
    test_support::Seeded<std::mt19937_64> random(static_cast<unsigned>(thread) + 1);
    for (auto const& core : cores) {
      plain_rules::PlainRules rules(core);
      const Facts facts = plain_rules::some_facts(random, *core);
      Instance instance(core, facts);
      for (int change = 0; change < kChanges; ++change) {
        const auto i = static_cast<std::uint32_t>(random() % core->parameters().size());
        instance.set({{i, plain_rules::valid_text(random, instance, i)}});
        differences[static_cast<std::size_t>(thread)] += difference(
            *core, plain_rules::seen(instance), plain_rules::computed_anew(rules, plain_rules::given(instance), facts));
      }
    }
  });
  EXPECT_EQ(differences, std::vector<std::string>(kThreads));
}

}  // namespace
