// Which class of instances a core has: the engine's own, or what a test or a site puts in its place.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "kdi/common/KdiDoor.h"
#include "kdi/common/KdiTypes.h"
#include "kdi/ippcw/HardIP.h"

namespace hardip_eng {

/// Makes an instance for a context; null, with a text in `errors`, if it cannot.
using HardIPFactory = std::function<std::shared_ptr<HardIPInterface>(ParamMap const& context, StrVec& errors)>;

/// From now on the core `ps_core_name` is made by `factory`, in all of its versions; an empty one takes that back.
KDI_DOOR void set_hard_ip_factory(std::string const& ps_core_name, HardIPFactory factory);

}  // namespace hardip_eng
