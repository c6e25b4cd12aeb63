// The attributes of a hardware definition: what of a core's parameters the software tools ask for.
#pragma once

#include "kdi/common/KdiTypes.h"
#include "kdi/ippcw/HardIP.h"

namespace kelvane_config::kdi_tcltasks {

/// Adds the attributes of the definition, from the instance's parameters, and those of files that the core has to tell.
void fillHwDefAttributes(hardip_eng::HardIPInterface* instance, ParamMap& attributes, AttrMap& fileAttributes);

}  // namespace kelvane_config::kdi_tcltasks

namespace hardip_config::hardip_tcltasks {

/// The same for the larger processing systems, from the values of parameters: one that is not there gives no attribute.
void fillPsxlHwDefAttributes(ParamMap const& values, ParamMap& attributes);

}  // namespace hardip_config::hardip_tcltasks
