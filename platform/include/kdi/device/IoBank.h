// I/O banks, their byte lanes, and the pins of a package.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "kdi/device/Range.h"

namespace kdi::device {

/// A place of the die where a signal enters or leaves.
struct Pad {
  std::string name;            ///< unique in the device
  std::string pin;             ///< of the package; empty if the package leaves it out
  std::string site;            ///< in the lane; empty for a pad of a quad
  int nibble = 0;              ///< half of the lane, from 0
  int partner = -1;            ///< index in the lane of the pad that it makes a differential pair with; -1 for none
  bool positive = true;        ///< of the pair
  bool strobe = false;         ///< may carry a lane's strobe
  bool clock = false;          ///< reaches the clock primitives
  bool impedance = false;      ///< holds the resistor that controlled impedance of the bank is measured by
  bool reference = false;      ///< takes the bank's reference voltage, where that comes from outside
  bool configuration = false;  ///< is used while the device is configured
  double delay_ps = 0;         ///< from the pin to the pad; 0 without a package
};

/// Pads that share one set of capture clocks, in the order of their sites.
struct ByteLane {
  std::string name;  ///< unique in the bank
  std::vector<Pad> pads;
};

/// How far a strobe goes from the lane that it enters.
enum class StrobeReach { lane, neighbours, bank };

/// How strobes go from nibble to nibble of a bank. Nibbles are counted lane by lane.
struct StrobeWays {
  std::vector<std::pair<int, int>> ways;  ///< between two nibbles, both ways; none: strobes stay in their lanes
  int most_hops = 0;                      ///< of one strobe
  int hop_ps = 0;                         ///< by which each hop delays
};

struct IoBank {
  int number = 0;    ///< unique in the device, transceiver quads included
  std::string kind;  ///< the family's word: HP, HD, XP, MIO, ...
  int slr = 0;
  int column = -1;      ///< on the die, from 0; -1 for a bank that stands apart
  int row = -1;         ///< in the column, from 0; banks of a column in rows that follow each other are neighbours
  int triplet = -1;     ///< three neighbours that are clocked together, from 0; -1 for a bank that is in none
  bool master = false;  ///< of its triplet: the system clock enters here; the two others are its shadows
  StrobeReach strobe_reach = StrobeReach::lane;
  StrobeWays strobe_ways;
  Range vcco_v;
  std::vector<ByteLane> lanes;
};

/// Where a pin of a package leads.
struct PinSite {
  enum class Kind { io_bank, quad };
  Kind kind = Kind::io_bank;
  int number = 0;  ///< of the bank or quad
  int lane = 0;    ///< index in IoBank::lanes; 0 for a quad
  int pad = 0;     ///< index in ByteLane::pads or Quad::pads
};

}  // namespace kdi::device
