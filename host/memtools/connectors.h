// Where the signals of an interface enter a module.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "kdi/planning/Interface.h"

namespace memtools {

namespace planning = kdi::planning;

/// Where one signal leads to.
struct Contact {
  std::string name;        ///< as the standard of the module has it
  std::optional<int> pin;  ///< where its number is known
  std::vector<int> slots;  ///< that it leads to, from 0
};
/// Nothing for a signal that leads to no module. Throws kdi::FileError and kdi::JsonError for data that cannot be read.
std::optional<Contact> contact_of(planning::InterfaceRequest const& request, planning::Signal const& signal);

}  // namespace memtools
