// What a model tells a controller of each parameter.
#pragma once

#include "kdi/common/KdiTypes.h"
#include "kdi/ip/HACGCCustomDRCModel.h"

namespace psmodels {

/// Tells of all parameters of `raw`: range and value if both are there, else what a widget can do with what there is;
/// and whether it is enabled. Traits: of a model (model_traits.h).
template <class Traits>
void tell_outputs(RawResult const& raw, HACGCCustomDRCModel::OutMap& outParams);

}  // namespace psmodels
