// The configuration commands that write files.
#pragma once

#include "tcltasks/hardip/call.h"

namespace kelvane_config::kdi_tcltasks {

int GenerateTarget(hardip::Call const& call);
int generateSDKSpecificFiles(hardip::Call const& call);
int convert_component_xml_to_json(hardip::Call const& call);

}  // namespace kelvane_config::kdi_tcltasks
