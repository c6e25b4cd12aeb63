// What is wanted of a placement, in words that stay true when part of it changes: groups and signals by name.
//
//   Wanted wanted;  ...
//   const Asked asked(wanted);
//   place(asked.request())
#pragma once

#include <map>
#include <string>
#include <vector>

#include "kdi/common/KdiDoor.h"
#include "kdi/planning/Placement.h"

namespace kdi::planning {

struct Wanted {
  Layout const* layout = nullptr;  ///< never null
  InterfaceRequest interface;
  std::vector<StandardSet> standards;
  int rate_mbps = 0;
  std::string grade;  ///< speed grade of the device; empty: the fastest
  bool internal_reference = false;
  std::vector<TakenPad> taken;
  std::vector<int> banks;                    ///< numbers of those that may be used; none: all
  std::map<std::string, int> lane_of_group;  ///< lanes of the layout
  std::map<std::string, int> pad_of_signal;  ///< ranks
  std::vector<int> widths;                   ///< that there are, ascending; none: any
};

/// The request that it is, with the interface that it points to.
class KDI_DOOR Asked {
 public:
  /// Throws a std::string for an interface that the memory does not have. Groups and signals that the interface does
  /// not have are passed over.
  explicit Asked(Wanted const& wanted);
  Asked(Asked const&) = delete;
  Asked& operator=(Asked const&) = delete;

  Interface const& interface() const { return interface_; }
  PlacementRequest const& request() const { return request_; }

 private:
  Interface interface_;
  PlacementRequest request_;
};

}  // namespace kdi::planning
