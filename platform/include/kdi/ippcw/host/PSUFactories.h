// Which class of instances a core of the earlier processing systems has: the engine's own, or what a test or a site
// puts in its place.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "kdi/common/KdiDoor.h"
#include "kdi/common/KdiTypes.h"
#include "kdi/ippcw/PSU_Interface.h"

namespace processing_system {

/// Makes an instance for a context; null, with a text in `errors`, if it cannot.
using PSUFactory = std::function<std::unique_ptr<PSU_Interface>(ParamMap const& context, StrVec& errors)>;

/// From now on the core `ps_core_name` is made by `factory`; an empty one takes that back.
KDI_DOOR void set_psu_factory(std::string const& ps_core_name, PSUFactory factory);

}  // namespace processing_system
