// Power of a transceiver core; the model is told in ip/HIPWPowerCalcIntf.h.
#pragma once

#include "kdi/ip/HIPWPowerCalcIntf.h"
#include "platform/ip/power/terms.h"

namespace kdi::power {

float gt_power(device::Part const& part, Model const& model, GtPowerRecord const& record,
               std::map<std::string, float>& breakdown);

}  // namespace kdi::power
