// Memory controllers, version 7.1 of the elder model.
#pragma once

#include "kdi/coregen/Mig.h"

namespace mig::mig_v7_1 {

class KDI_DOOR HIPMigInstance : public kdi::coregen::MigController {
 public:
  using Controller::getMinMaxPeriodOfMemoryPart;
  using MigController::MigController;
};

class KDI_DOOR HIPMigIPMgr : public kdi::coregen::MigManager<HIPMigInstance> {};

}  // namespace mig::mig_v7_1

extern template class kdi::coregen::Manager<mig::mig_v7_1::HIPMigInstance>;
extern template class kdi::coregen::MigManager<mig::mig_v7_1::HIPMigInstance>;
