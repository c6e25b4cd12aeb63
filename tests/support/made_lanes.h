// Lanes of made layouts, for memories and for buses.
#pragma once

#include <string>

#include "kdi/planning/Layout.h"

namespace test_support {

/// The pads behind the lane's first are the lane's: they get their names, and what `draw(pad, ball)` decides of each.
template <class Draw>
void end_lane(kdi::planning::Layout& layout, kdi::planning::PlacedLane lane, int bank, Draw draw) {
  lane.pads = static_cast<int>(layout.pads.size()) - lane.first;
  for (int pad = lane.first; pad < lane.first + lane.pads; ++pad) {
    kdi::planning::PlacedPad& one = layout.pads[static_cast<std::size_t>(pad)];
    one.lane = static_cast<int>(layout.lanes.size());
    one.name = "IO_" + lane.name + "_" + one.site + "_" + std::to_string(bank);
    draw(one, "B" + std::to_string(pad));
  }
  layout.lanes.push_back(lane);
}

}  // namespace test_support
