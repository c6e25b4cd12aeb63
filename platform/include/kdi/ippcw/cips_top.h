// The wizard around a processing system with its platform controller.
#pragma once

#include "kdi/common/KdiDoor.h"
#include "kdi/ippcw/pspmc_top.h"

namespace cips_config {

class KDI_DOOR cips_top : public hardip_eng::HardIPInstance<cips_top, pspmc_config::pspmc_top> {
 public:
  /// A copy of what the controller told the model; kept, and read by nobody.
  ParamMap guiContextParams;
};

}  // namespace cips_config
