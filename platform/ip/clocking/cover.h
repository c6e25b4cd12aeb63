// How few primitives make a set of clocks.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "platform/ip/clocking/solver.h"

namespace kdi::clocking {

/// Up to this many outputs the answer of minimal_primitives is exact; up to kMaxCoverOutputs it is bounded.
inline constexpr std::size_t kExactCoverOutputs = 14;
inline constexpr std::size_t kMaxCoverOutputs = 32;
inline constexpr std::size_t kMaxCoverInputs = 16;

/// Clocks to make from the inputs at hand, each primitive running from one of them.
struct CoverRequest {
  std::vector<Rational> inputs_hz;     ///< 1 to kMaxCoverInputs
  std::vector<OutputRequest> outputs;  ///< 1 to kMaxCoverOutputs
  Request options;                     ///< tolerances, bandwidth and so on; its clocks do not matter
};

/// One primitive of the answer.
struct CoverGroup {
  std::size_t input = 0;             ///< index of its input
  std::vector<std::size_t> outputs;  ///< indices of what it makes, in the order of its counters
  Solution solution;
};

struct Cover {
  std::vector<CoverGroup> groups;  ///< every output is in one of them; empty on error
  std::size_t at_least = 0;        ///< no smaller number can do
  bool is_minimal = false;         ///< groups.size() == at_least
  std::string message;             ///< the error, or what is known if the number is only bounded
};

/// The least number of primitives. Counters behind the first are expected to be alike, and the first to offer at least
/// what they do; a primitive with other counters is refused.
Cover minimal_primitives(Primitive const& primitive, CoverRequest const& request);

}  // namespace kdi::clocking
