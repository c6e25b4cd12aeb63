// The output of the larger processing systems.
#pragma once

#include <memory>
#include <string>

#include "kdi/common/KdiTypes.h"

class HICInst;

namespace hardip_config::hardip_tcltasks {

/// Writes <path>/<instance>_power_data.json and _io_data.json from what the core tells; nothing for a null instance,
/// and for a context without instance_name.
void writePowerAndIODataFiles(std::shared_ptr<HICInst> inst, ParamMap& context, std::string path);

/// Has the engine write all files of the context's core below `path`. What the core tells of `data`; `errors` may have
/// got some.
std::string generate_target(ParamMap context, ParamMap params, std::string path, std::string const& data,
                            StrVec& errors);

}  // namespace hardip_config::hardip_tcltasks
