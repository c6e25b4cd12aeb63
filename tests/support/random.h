// A source of random numbers, the same for the same seed everywhere.
#pragma once

#include <random>

namespace test_support {

class Random {
 public:
  explicit Random(unsigned seed) : engine_(seed) {}
  unsigned below(unsigned bound) { return static_cast<unsigned>(engine_() % bound); }
  bool one_in(unsigned n) { return below(n) == 0; }

 private:
  std::mt19937_64 engine_;
};

}  // namespace test_support
