// Power of a memory interface core; the model is told in ip/HIPWPowerCalcIntf.h.
#pragma once

#include "kdi/ip/HIPWPowerCalcIntf.h"
#include "platform/ip/power/terms.h"

namespace kdi::power {

float memory_power(device::Part const& part, Model const& model, MigPowerRecord const& record,
                   std::map<std::string, float>& breakdown);

}  // namespace kdi::power
