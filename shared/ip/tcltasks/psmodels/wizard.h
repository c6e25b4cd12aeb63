// The sub-cores of a wizard and what they tell each other.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "kdi/common/KdiTypes.h"
#include "kdi/ip/HACGCCustomDRCModel.h"
#include "kdi/ippcw/HICInst.h"

namespace psmodels {

/// The name of the sub-core that an instance of the wizard is.
std::string sub_core_name(std::string const& instance_name);

/// The other live sub-cores that have a system monitor.
std::vector<std::shared_ptr<HICInst>> other_monitored_cores(HICInst const* own);

/// Puts the measurements of the wizard's master, if there is one, into the texts of `params` that configure the
/// sub-cores and lack them, and tells those texts.
void broadcast_measurements(ParamMap& params, HACGCCustomDRCModel::OutMap& outParams);

/// Merges the measurements of the live sub-cores into the dictionaries of `raw`.
void merge_measurements(RawResult& raw);

}  // namespace psmodels
