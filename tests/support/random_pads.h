// Functions that want pads, at random.
#pragma once

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "kdi/cores/Pads.h"

namespace random_pads {

using namespace kdi::cores;

class RandomPads {
 public:
  explicit RandomPads(std::uint64_t seed) : engine_(seed) {}

  std::uint64_t below(std::uint64_t bound) { return engine_() % bound; }
  bool one_in(std::uint64_t n) { return below(n) == 0; }

  /// Up to six functions on a dozen pads.
  std::vector<PadFunction> small() {
    std::vector<PadFunction> functions;
    const std::uint64_t pads = below(10) + 3, count = below(6) + 1;
    for (std::uint64_t f = 0; f < count; ++f) {
      PadFunction function{"F" + std::to_string(f), "P" + std::to_string(one_in(3) ? below(count) : f), {}, 0};
      for (std::uint64_t g = below(4) + 1; g > 0; --g) function.groups.push_back(group(pads, below(3) + 1, one_in(3)));
      if (one_in(8)) function.groups.push_back({"EMIO", {}});
      if (one_in(8)) function.groups.front().closed = true;
      function.present = below(function.groups.size());
      functions.push_back(std::move(function));
    }
    return functions;
  }

  /// 78 pads, 40 functions, of two to eight groups each; `fabric` of ten may leave for the fabric.
  std::vector<PadFunction> whole(std::uint64_t fabric) {
    static constexpr std::uint64_t kWidths[] = {1, 1, 1, 2, 2, 2, 2, 2, 4, 6, 6, 8, 12, 13};
    std::vector<PadFunction> functions;
    for (std::uint64_t f = 0; f < 40; ++f) {
      PadFunction function{"F" + std::to_string(f), "P" + std::to_string(one_in(6) ? below(40) : f), {}, 0};
      const std::uint64_t width = kWidths[below(std::size(kWidths))];
      const bool scattered = one_in(8);
      for (std::uint64_t g = below(7) + 2; g > 0; --g) function.groups.push_back(group(78, width, scattered));
      if (below(10) < fabric) function.groups.push_back({"EMIO", {}});
      function.present = below(function.groups.size());
      functions.push_back(std::move(function));
    }
    return functions;
  }

 private:
  PadGroup group(std::uint64_t pads, std::uint64_t width, bool scattered) {
    PadGroup group;
    const std::uint64_t first = below(pads - std::min(width, pads) + 1);
    for (std::uint64_t i = 0; i < std::min(width, pads); ++i)
      group.pads.push_back(static_cast<std::uint32_t>(scattered ? below(pads) : first + i));
    group.text = std::to_string(group.pads.front());
    return group;
  }

  std::mt19937_64 engine_;
};

}  // namespace random_pads
