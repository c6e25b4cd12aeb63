// Memory controllers, version 7.0 of the elder model.
#pragma once

#include "kdi/coregen/Mig.h"

namespace mig::mig_v7_0 {

class KDI_DOOR HIPMigInstance : public kdi::coregen::MigController {
 public:
  using MigController::MigController;
};

class HIPMigIPMgr : public kdi::coregen::MigManagerOf<kdi::coregen::Model::mig_v7_0, HIPMigInstance> {};

}  // namespace mig::mig_v7_0
