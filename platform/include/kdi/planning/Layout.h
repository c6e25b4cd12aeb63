// Where signals can be: the banks, byte lanes and pads of a part, in one order.
//
//   const Layout layout = layout_of(part.values());
//   layout.pads[layout.pad_of_ball("A8")].name
//
// Columns of banks come one after the other, banks in a column by row, lanes and pads as the device has them. The place
// of a pad in this order is its rank.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "kdi/common/KdiDoor.h"
#include "kdi/device/IoBank.h"

namespace kdi::device {
struct Part;
}

namespace kdi::planning {

struct PlacedPad {
  std::string name;
  std::string ball;  ///< empty if the package leaves it out
  std::string site;  ///< in the lane
  int lane = 0;      ///< of the layout
  int nibble = 0;    ///< of the lane
  int partner = -1;  ///< rank of the pad that it makes a differential pair with; -1 for none
  bool positive = true;
  bool strobe = false;
  bool clock = false;
  bool impedance = false;
  bool reference = false;
  bool configuration = false;
  double delay_ps = 0;
};

struct PlacedLane {
  std::string name;
  int bank = 0;      ///< of the layout
  int position = 0;  ///< in the column: lanes of neighbouring banks follow each other
  int first = 0;     ///< rank of the first pad
  int pads = 0;      ///< at most kMostPadsOfLane
};

struct PlacedBank {
  int number = 0;
  std::string kind;
  int column = -1;
  int row = -1;
  int slr = 0;
  device::Range vcco_v;
  device::StrobeReach reach = device::StrobeReach::lane;
  int first = 0;  ///< of its lanes
  int lanes = 0;
  int triplet = -1;         ///< three neighbours that are clocked together; -1: it is in none
  bool master = false;      ///< of its triplet; the two others are shadows
  device::StrobeWays ways;  ///< from nibble to nibble
};

inline constexpr int kMostPadsOfLane = 64;
inline constexpr int kMostLanesOfBank = 12;

struct KDI_DOOR Layout {
  std::vector<PlacedBank> banks;
  std::vector<PlacedLane> lanes;
  std::vector<PlacedPad> pads;

  /// -1 if there is none.
  int bank_of_number(int number) const;
  int lane_of(int bank, std::string_view name) const;
  int pad_of_name(std::string_view name) const;
  int pad_of_ball(std::string_view ball) const;
  PlacedLane const& lane_of_pad(int pad) const {
    return lanes[static_cast<std::size_t>(pads[static_cast<std::size_t>(pad)].lane)];
  }
  int bank_of_pad(int pad) const { return lane_of_pad(pad).bank; }
};

/// All I/O banks of a part that have a place on the die. Throws a std::string for a lane or a bank of more.
KDI_DOOR Layout layout_of(device::Part const& part);

}  // namespace kdi::planning
