// The parts that the tools know. They are described in data files, one for each device (data/devices/README.md); a file
// is read when a part of its device is first asked for.
#pragma once

#include <string>

#include "kdi/common/KdiDoor.h"
#include "kdi/device/HDARPart.h"

class KDI_DOOR HARPartMgr {
 public:
  /// The process's part manager, never null and never destroyed.
  static HARPartMgr* getGlobal();

  /// The part `name`, owned by the manager for the life of the process; null if it is unknown. A device file that is
  /// broken is reported to the message manager with its line and field, and its parts are unknown. Safe for use from
  /// several threads.
  HDARPart const* getPart(std::string const& name) const;

 private:
  HARPartMgr() = default;
};
