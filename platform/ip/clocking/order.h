// Which counter makes which clock: the orders in which a request's clocks can be given to the primitive's counters, and
// the best of them. Internal to the engine; primitives and requests have passed their checks.
#pragma once

#include <functional>
#include <optional>
#include <vector>

#include "platform/ip/clocking/solver.h"

namespace kdi::clocking {

/// For each clock of the request the counter that makes it.
using Counters = std::vector<int>;

/// Calls `visit` for each order of the clocks on the first counters, as many as clocks, from the one that the request
/// has. Of orders that differ only in which of several counters that are alike makes a clock, the first one alone.
void for_each_order(Primitive const& primitive, std::size_t clocks, std::function<void(Counters const&)> const& visit);

/// The primitive with the counters in the places of the clocks that they are to make: what is asked of it then in the
/// request's order is made in the other one.
Primitive rearranged(Primitive primitive, Counters const& counters);

/// The best setting over all orders, by the solver's objective; of equals the one whose order comes first. Its
/// `counters` say which. None if no order has a setting.
std::optional<Solution> best_in_any_order(Primitive const& primitive, Request const& request);

}  // namespace kdi::clocking
