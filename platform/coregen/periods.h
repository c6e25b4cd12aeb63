// Between which periods a memory's clock can be, and what binds: the part, the controller, the device's clocks, and
// what a board lets through with its slots, ranks, stacked dies and width.
#pragma once

#include <optional>
#include <string>

#include "kdi/common/KdiTypes.h"
#include "platform/coregen/setup.h"

namespace kdi::coregen {

struct Bound {
  int ps = 0;
  std::string by;  ///< part, controller, device, slot, rank, stack, width
};

struct Periods {
  Bound min;
  Bound max;

  /// `min`, `max`, `min_by` and `max_by`.
  OptionMap told() const;
};

/// What is asked about: the parts of a setup that count.
struct PeriodsOf {
  bool part = true;  ///< of the memory part; else of the fastest of the type
  bool board = true;
};

/// Of what a setup says. `max` may be below `min`: then nothing works.
Periods periods_of(Setup const& setup, PeriodsOf of = {});

}  // namespace kdi::coregen
