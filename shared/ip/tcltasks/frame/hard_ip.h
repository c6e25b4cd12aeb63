// How scripts and parameter models ask a hard-IP core for its ranges.
#pragma once

#include "kdi/common/KdiTypes.h"
#include "kdi/ippcw/HardIP.h"

namespace frame {

inline constexpr int kFullStrength = 10;  ///< ranges, derived values and searches

/// Whether a caller asks first if the core offers an operation. One that is called without that and is not offered does
/// nothing.
enum class Offer { taken_for_granted, asked_for };

/// The core of a context, made if there is none. Null if it cannot be made, which `errors` then tells.
hardip_eng::HardIPInterface* made_core(ParamMap const& context, StrVec& errors);

/// Applies `params` in full strength and tells what they lead to. A core that is new, or that no user parameter has
/// been applied to, gets those of the user before. False if there is no core and none can be made.
bool get_ranges(ParamMap const& context, ParamMap const& userParams, ParamMap const& params, Offer offer,
                RawResult& result, ParamMap& messages, StrVec& errors);

}  // namespace frame
