// What a part says of itself, by the words of docs/device-info.md.
#pragma once

#include "kdi/cores/Instance.h"
#include "kdi/device/Device.h"

namespace hardip_eng {

kdi::cores::Facts facts_of(kdi::device::Part const& part);

}  // namespace hardip_eng
