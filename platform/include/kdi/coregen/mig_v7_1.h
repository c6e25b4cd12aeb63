// Memory controllers, version 7.1 of the elder model.
#pragma once

#include "kdi/coregen/Mig.h"

namespace mig::mig_v7_1 {

class KDI_DOOR HIPMigInstance : public kdi::coregen::MigController {
 public:
  using Controller::getMinMaxPeriodOfMemoryPart;
  using MigController::MigController;
};

class HIPMigIPMgr : public kdi::coregen::MigManagerOf<kdi::coregen::Model::mig_v7_1, HIPMigInstance> {};

}  // namespace mig::mig_v7_1
