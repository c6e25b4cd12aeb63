// What a model is told of its core before it begins: names, texts, choices and sub-presets.
#pragma once

#include "kdi/cores/Core.h"
#include "kdi/ip/HACGCCustomDRCModel.h"

namespace kdi::ip {

/// Fills the public maps of `model` from the descriptions of the core and its sub-cores; of parameters that have the
/// same name the core's own counts. Throws what the readers of descriptions throw.
void fill_maps(HACGCCustomDRCModel& model, cores::Core const& core);

}  // namespace kdi::ip
