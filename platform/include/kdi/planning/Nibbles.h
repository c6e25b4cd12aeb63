// Banks as nibbles (octads in some): sites that share the clocks which capture and send, and the ways that a strobe
// takes from one to the others.
//
//   const NibbleMap map = nibble_map(layout);
//   map.banks[0].hops[0][3]     // from nibble 0 of a bank to nibble 3
#pragma once

#include <vector>

#include "kdi/common/KdiDoor.h"
#include "kdi/planning/Layout.h"

namespace kdi::planning {

inline constexpr int kMostNibblesOfBank = 10;
inline constexpr int kMostSitesOfNibble = 8;
/// The most banks that share a clock, which one of them makes.
inline constexpr int kBanksOfTriplet = 3;

struct Nibble {
  int bank = 0;           ///< of the layout
  int index = 0;          ///< in the bank, from 0
  int lane = 0;           ///< of the layout
  std::vector<int> pads;  ///< ranks, in the order of sites; with and without a ball
};

/// A bank whose serialisers stand by nibble. Others, of the layout, have none.
struct NibbleBank {
  int bank = 0;     ///< of the layout
  int first = 0;    ///< of its nibbles
  int count = 0;    ///< of them; at most kMostNibblesOfBank
  int triplet = 0;  ///< number of the triplet in the layout, from 0
  /// Index of the triplet's master in NibbleMap::banks, perhaps the bank itself; where the master has no nibbles, of
  /// the first bank that has.
  int master = -1;
  /// Hops of a strobe from a nibble (first index) to another; -1: there is no way.
  std::vector<std::vector<int>> hops;
  int most_hops = 0;  ///< of a strobe
  int hop_ps = 0;     ///< by which each hop delays
};

struct NibbleMap {
  std::vector<Nibble> nibbles;     ///< bank by bank
  std::vector<NibbleBank> banks;   ///< in the order of the layout
  std::vector<int> nibble_of_pad;  ///< by rank; -1 for a pad of another bank
  std::vector<int> bank_of;        ///< by bank of the layout: index in `banks`; -1

  /// Null for a bank that has no nibbles.
  NibbleBank const* of_bank(int bank) const {
    const int at = bank_of[static_cast<std::size_t>(bank)];
    return at < 0 ? nullptr : &banks[static_cast<std::size_t>(at)];
  }
};

/// All banks of a layout that have ways for strobes. Throws a std::string for a bank or nibble of more than the most.
KDI_DOOR NibbleMap nibble_map(Layout const& layout);

}  // namespace kdi::planning
