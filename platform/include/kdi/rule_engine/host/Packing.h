// Lanes with different needs into quads and PLLs.
//
// A lane is a channel of a quad, for both directions. At each rate's index, which all lanes of a quad change together,
// every need of a lane (a direction that it uses) takes one of its settings on a PLL that reaches its channel. Needs
// share a PLL if they have the same reference and the same M, N and K; the output divider is each lane's own. A quad
// brings in as many references as it has inputs. Lanes that have to be in quads stay there, and others may join them.
// The answer has as few quads as there can be, the lowest lanes in the first ones; in a quad, the settings that stand
// first in their lists all in all, and then the fewest PLLs. The search for quads is exact.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "kdi/common/KdiDoor.h"
#include "kdi/rule_engine/host/Kinds.h"
#include "kdi/rule_engine/host/Rates.h"

namespace kdi::gt {

inline constexpr std::size_t kMostLanes = 16;
inline constexpr std::size_t kMostRates = 16;

/// One direction of a lane at one rate: the settings that would do, best first.
struct Need {
  Fraction reference_mhz;
  std::vector<Setting> settings;
};

struct PackedLane {
  std::string name;                      ///< for reasons
  std::vector<std::vector<Need>> needs;  ///< by rate; one or two for each
  int channel = -1;                      ///< of its quad; -1: any
  int quad = -1;                         ///< that it has to be in, lanes of one number together; -1: any
};

struct Place {
  int quad = 0;  ///< counted from 0, those that lanes had to be in first, ascending
  int channel = 0;
  std::vector<std::vector<int>> chosen;  ///< by rate and need: the index of the setting
};

struct Packing {
  bool is_possible = false;
  int quads = 0;
  std::vector<Place> places;  ///< by lane
  std::string reason;         ///< why it is not possible
};

/// At most kMostLanes lanes and kMostRates rates; throws std::invalid_argument for more. A lane with fewer rates than
/// others keeps its last one.
KDI_DOOR Packing pack(Kind const& kind, std::vector<PackedLane> const& lanes, int quads_available);

}  // namespace kdi::gt
