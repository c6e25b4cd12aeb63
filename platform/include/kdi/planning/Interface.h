// The signals of a memory interface, and how they belong together.
//
//   const Interface interface = interface_of({kind, part, /*width=*/72});
//   interface.units[0].group     // "DQ[0-7]"
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "kdi/common/KdiDoor.h"
#include "kdi/planning/Memory.h"

namespace kdi::planning {

enum class SystemClock { differential, single_ended, none };

struct InterfaceRequest {
  MemoryKind const* kind = nullptr;  ///< never null
  MemoryPart part;
  int width = 0;  ///< data bits, those of a checksum included
  int ranks = 1;  ///< in each slot
  int slots = 1;
  bool data_mask = true;
  SystemClock system_clock = SystemClock::differential;
};

struct Signal {
  static constexpr int kAddress = -1;
  static constexpr int kSystem = -2;

  std::string name;  ///< c0_ddr4_dq[3]
  std::string port;  ///< c0_ddr4_dq
  int index = -1;    ///< of a vector
  SignalClass what = SignalClass::data;
  std::string direction;  ///< in, out, inout
  int partner = -1;       ///< the other signal of a differential pair
  bool negative = false;
  int unit = kAddress;  ///< index in Interface::units
};

/// What stays together in a nibble or a lane.
struct Cell {
  int positive = -1;  ///< strobe of its own; -1: it is clocked by the strobe of another unit of the set
  int negative = -1;
  bool strobe_site = false;  ///< the pair needs a strobe site, not just any pair of pads
  std::vector<int> singles;
};

/// A group that takes a byte lane.
struct Unit {
  std::string group;         ///< DQ[0-7]
  std::vector<int> signals;  ///< in signal order
  std::vector<Cell> cells;   ///< several: a nibble each
  int set = 0;               ///< units of one strobe have the same
  bool clocks_set = false;   ///< the strobe of the set is among its signals
};

struct KDI_DOOR Interface {
  std::vector<Signal> signals;  ///< in the order in which pads are compared
  std::vector<Unit> units;
  std::vector<int> address;       ///< signals of the address block
  std::vector<int> system_clock;  ///< none, one, or a pair
  int sets = 0;

  /// -1 if there is none.
  int signal(std::string_view name) const;
  int unit(std::string_view group) const;
};

/// Throws a std::string, in words for the user, for a configuration that the memory does not have.
KDI_DOOR Interface interface_of(InterfaceRequest const& request);

}  // namespace kdi::planning
