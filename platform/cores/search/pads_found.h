// What the search for pads found, for those that look at a whole instance.
#pragma once

#include "kdi/cores/Instance.h"
#include "kdi/cores/PadSection.h"

namespace kdi::cores {

/// Of the latest run, for an instance of a core with pads.
PadFindings const& pad_findings(Instance const& instance);

}  // namespace kdi::cores
