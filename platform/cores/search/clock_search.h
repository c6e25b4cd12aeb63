// The clock search with what it took.
#pragma once

#include <cstdint>

#include "kdi/cores/Clocks.h"

namespace kdi::cores {

struct CountedClocks {
  ClockAnswer answer;
  std::uint64_t steps = 0;  ///< of the search for the least sum, in sums of eight numbers: mostly some per nanosecond
};

/// As search_clocks(). Throws ClockError.
CountedClocks count_clocks(ClockRequest const& request);

}  // namespace kdi::cores
