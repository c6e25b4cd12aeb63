// Whether frames of several controllers go together: a matching of all groups and lanes for each choice of pads for the
// system clocks, since whether a group fits into a lane depends on no other.
#pragma once

#include <optional>
#include <vector>

#include "platform/planning/joint_seats.h"

namespace kdi::planning::joint {

/// What is decided of a controller: its clock's pad and the lanes of its groups and addresses.
struct Arrangement {
  int clock = -1;
  std::vector<int> lane_of_unit;
  std::vector<int> run;
};

/// Of the first seats, as many as there are frames. Nothing if they do not go together.
std::optional<std::vector<Arrangement>> arrange(Seats const& seats, std::vector<Frame const*> frames);

}  // namespace kdi::planning::joint
