// A part by its name, and what is said of a name that is no part's.
#pragma once

#include <string>

#include "kdi/common/KdiText.h"
#include "kdi/device/Device.h"
#include "kdi/device/HARPartMgr.h"

namespace kdi::device {

/// The part, for the life of the process; null if it is not known.
inline Part const* find_part(std::string const& name) {
  HDARPart const* const part = HARPartMgr::getGlobal()->getPart(name);
  return part == nullptr ? nullptr : &part->values();
}

/// `part "x" is not known`, for a message.
inline std::string unknown_part(std::string const& name) { return "part " + text::shown(name) + " is not known"; }

}  // namespace kdi::device
