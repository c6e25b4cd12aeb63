// Finding a part from its name alone.
#pragma once

#include <string>

#include "kdi/common/KdiDoor.h"
#include "kdi/device/HDARPart.h"

class KDI_DOOR HARPartsParse {
 public:
  /// The part that HARPartMgr::getPart gives for `name`: the same pointer, null if it is unknown.
  static HDARPart const* getPart(std::string const& name);
};
