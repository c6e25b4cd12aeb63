// The hardware definition of a core: which files of its output are packed, under which names and with which attributes.
#pragma once

#include <string>

#include "kdi/common/KdiTypes.h"
#include "kdi/ippcw/HardIP.h"

namespace kelvane_config::kdi_tcltasks {

/// Packs what the core of the context's `ps_core_name` leaves behind below `path` as `hdl`/<instance>.hwdef; nothing
/// for a core that has no definition. What fails is told: an empty list, or errors.
StrVec generateOutputForCore(hardip_eng::HardIPInterface* instance, std::string& path, ParamMap& context,
                             ParamMap params);

/// The definition of a core that has one configuration file, which its scripts make, and no instance. False if
/// `ps_core_name` is none of these.
bool generate_small_core(std::string const& path, ParamMap const& context, StrVec& errors);

}  // namespace kelvane_config::kdi_tcltasks
