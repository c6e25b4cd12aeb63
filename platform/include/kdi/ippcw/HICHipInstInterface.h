// An instance of a core of the larger processing systems: the manager's face of a HICInst.
#pragma once

#include <string>

#include "kdi/common/KdiDoor.h"
#include "kdi/ippcw/HardIP.h"

class KDI_DOOR HICHipInstInterface : public hardip_eng::HardIPInterface {
 public:
  /// Names the sub-core of a wizard that this is.
  virtual void setSubCoreName(std::string) {}
};
