// Memory controllers in silicon: the pads of their signals, which nobody can choose. data/hard_controllers, whose
// README tells the form.
//
//   if (HardController const* hard = find_hard_controller("DDRMC5"))
//     const std::vector<int> pads = hard->pads({&layout, &interface, kind, site, /*ecc=*/true});
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "kdi/common/KdiDoor.h"
#include "kdi/device/Memory.h"
#include "kdi/planning/Interface.h"
#include "kdi/planning/Layout.h"

namespace kdi::planning {

/// A lane of a site: which of its banks, and the lane's name.
struct SiteLane {
  int bank = 0;
  std::string lane;

  bool operator==(SiteLane const&) const = default;
  auto operator<=>(SiteLane const&) const = default;
};

struct HardInterface {
  Layout const* layout = nullptr;                ///< never null
  Interface const* interface = nullptr;          ///< never null
  MemoryKind const* kind = nullptr;              ///< never null
  device::ControllerSite const* site = nullptr;  ///< never null
  bool ecc = false;                              ///< the last byte is a checksum
};

class KDI_DOOR HardController {
 public:
  /// The pad of each signal. Throws a std::string, in words for the user, for a site that is not as the data have it
  /// (its banks, their lanes and pads, strobe and clock sites, dies), for pads without a pin in the package, and for a
  /// signal that the controller does not have.
  std::vector<int> pads(HardInterface const& wanted) const;
  /// Types of memory.
  std::vector<std::string> types() const;

 private:
  friend class HardControllerReader;
  struct Words {
    std::map<SiteLane, std::vector<std::string>> always, without_ecc;
  };

  std::string name_;
  int banks_ = 0;
  std::vector<SiteLane> bytes_;  ///< in order
  SiteLane checksum_;
  std::map<int, std::vector<std::string>> byte_words_;  ///< by strobes of a byte, for each pad of the lane
  SiteLane clock_lane_;
  std::vector<std::string> clock_words_;
  std::map<std::string, Words, std::less<>> address_;  ///< by type of memory
};

/// Null for a name that is none. Throws kdi::FileError and kdi::JsonError for data that cannot be read; what was read
/// once stays, in any thread.
KDI_DOOR HardController const* find_hard_controller(std::string_view name);

}  // namespace kdi::planning
