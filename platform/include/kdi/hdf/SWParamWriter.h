// Stores a text of a core, such as its power data, for the software tools.
#pragma once

#include <string>

#include "kdi/common/KdiDoor.h"

struct KDI_DOOR SWParamWriter {
  /// Writes `text`, which the core `instance` tells of `kind` (`pss_power`, `pss_io`), as the JSON file `path`
  /// (docs/hardware-definition.md). False, and a message, if it cannot be written: what was there then stands.
  static bool writeParamInfo(std::string const& path, std::string instance, std::string const& kind,
                             std::string const& text);
};
