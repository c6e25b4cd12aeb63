// What the installation tells about itself.
#pragma once

#include <string>

#include "kdi/common/KdiDoor.h"

struct KDI_DOOR HUTEnv {
  /// The data root below which a folder named `family` lies, without a separator at its end: of the colon-separated
  /// roots in KDI_DATA_DIR and the data beside the library, the first that has the folder. Empty text if none has. An
  /// empty `family` asks for the first root that is there. Asked anew at each call.
  static std::string getKDIDataDir(std::string const& family);
};
