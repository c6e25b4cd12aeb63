// The data files of a core's power and pads.
#pragma once

#include <string>

#include "kdi/common/KdiTypes.h"
#include "kdi/ippcw/HardIP.h"

namespace kelvane_config::kdi_tcltasks {

/// Each writes two files below `path`: what the core told last (getExportedData), as power_data.json and io_data.json;
/// the same with the name of the instance in front; and what it tells now, of which `cips.genHumanReadableCDO` says
/// whether the names have it. Nothing for a null instance, and for a context without instance_name. A file that cannot
/// be written is one of `errors`.
void writePowerAndIODataFiles(hardip_eng::HardIPInterface* instance, ParamMap& context, ParamMap& params,
                              std::string path, StrVec& errors);
void writePowerAndIODataFilesPrefix(hardip_eng::HardIPInterface* instance, ParamMap& context, ParamMap& params,
                                    std::string path, StrVec& errors);
void generatePowerAndIODataFiles(hardip_eng::HardIPInterface* instance, ParamMap& context, ParamMap& params,
                                 std::string path, StrVec& errors);

}  // namespace kelvane_config::kdi_tcltasks
