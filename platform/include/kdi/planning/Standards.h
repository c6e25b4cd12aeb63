// I/O standards: data/io, whose README tells the form.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "kdi/common/KdiDoor.h"

namespace kdi::planning {

struct IoStandard {
  std::string name;
  std::string vcco_v;  ///< as a decimal
  std::string vref_v;  ///< of an input; empty: none
  bool differential = false;
  bool controlled = false;              ///< needs the bank's impedance pads
  std::vector<std::string> directions;  ///< in, out, inout
  std::vector<std::string> output_impedance;
  std::vector<std::string> termination;
  std::map<std::string, int>
      rate_mbps;  ///< the highest, by kind of bank; a kind that is not there has no such standard
};

/// Null for a name that is none. Throws kdi::FileError and kdi::JsonError for data that cannot be read; what was read
/// once stays, in any thread.
KDI_DOOR IoStandard const* find_standard(std::string_view name);
KDI_DOOR std::vector<std::string> standard_names();

}  // namespace kdi::planning
