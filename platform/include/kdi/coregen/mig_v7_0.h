// Memory controllers, version 7.0 of the elder model.
#pragma once

#include "kdi/coregen/Mig.h"

namespace mig::mig_v7_0 {

class KDI_DOOR HIPMigInstance : public kdi::coregen::MigController {
 public:
  using MigController::MigController;
};

class KDI_DOOR HIPMigIPMgr : public kdi::coregen::MigManager<HIPMigInstance> {};

}  // namespace mig::mig_v7_0

extern template class kdi::coregen::Manager<mig::mig_v7_0::HIPMigInstance>;
extern template class kdi::coregen::MigManager<mig::mig_v7_0::HIPMigInstance>;
