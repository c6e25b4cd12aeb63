// What a core of the earlier processing systems tells of itself as text: three that a Tcl interpreter can source, and
// its power as JSON. docs/boot-loader-files.md tells the forms.
#pragma once

#include <string>

#include "kdi/cores/Instance.h"
#include "kdi/device/Device.h"

namespace hardip_eng {

/// Levels, pulls and edges of the pads that are in use, and the clocks that go to the fabric.
std::string constraints(kdi::cores::Instance const& instance, std::string const& instance_name);
/// Each pad: who sits there, and how it is set.
std::string pad_report(kdi::cores::Instance const& instance);
/// The jitter of the clocks that go to the fabric.
std::string jitter_constraints(kdi::cores::Instance const& instance, std::string const& instance_name);
/// What each part of the core takes at the conditions of the part, in mW; its leakage and its pads, where the part is
/// known (kdi/ip/SystemPower.h).
std::string power_data(kdi::cores::Instance const& instance, kdi::device::Part const* part);

}  // namespace hardip_eng
