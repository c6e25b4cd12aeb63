// What controllers leave to each other: in banks that they share, and once their lanes are decided.
#pragma once

#include <optional>
#include <vector>

#include "platform/planning/joint_fitting.h"
#include "platform/planning/joint_seats.h"

namespace kdi::planning::joint {

/// A set of banks for each controller.
using Choice = std::vector<BankSet const*>;

/// The requests with what sharing banks means: pads that another needs for its impedances and references are no one's.
/// Nothing where two cannot share a bank.
std::optional<std::vector<PlacementRequest>> sharing(std::vector<PlacementRequest> const& requests,
                                                     Choice const& choice);

/// The lanes are decided; of the pads in them each controller has the least. Nothing if one finds none.
std::vector<Plan> plans_in(std::vector<Arrangement> const& arrangements, std::vector<PlacementRequest> const& requests);

}  // namespace kdi::planning::joint
