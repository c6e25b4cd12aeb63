// Sources of random numbers, the same for the same seed everywhere. Each tells its seed with every failure of the test
// while it lives.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <random>
#include <string>

namespace test_support {

/// A seed of the machine's for a test that looks at something else each time. It is 1 where CI is set, so that a build
/// fails by what was changed and by nothing else; IPTASKS_SEED in the environment repeats a run.
inline unsigned fresh_seed() {
  if (char const* const given = std::getenv("IPTASKS_SEED")) return static_cast<unsigned>(std::stoul(given));
  return std::getenv("CI") != nullptr ? 1 : std::random_device()();
}

/// An engine of the standard library that tells its seed.
template <class Engine>
class Seeded : public Engine {
 public:
  explicit Seeded(unsigned seed, char const* file = __builtin_FILE(), int line = __builtin_LINE())
      : Engine(seed), trace_(file, line, "random numbers of seed " + std::to_string(seed)) {}

 private:
  testing::ScopedTrace trace_;
};

class Random {
 public:
  explicit Random(unsigned seed, char const* file = __builtin_FILE(), int line = __builtin_LINE())
      : engine_(seed, file, line) {}
  unsigned below(unsigned bound) { return static_cast<unsigned>(engine_() % bound); }
  bool one_in(unsigned n) { return below(n) == 0; }

 private:
  Seeded<std::mt19937_64> engine_;
};

}  // namespace test_support
