// State files: what a core's parameters were when its output was made (docs/state-file.md).
#pragma once

#include <string>

#include "kdi/common/KdiDoor.h"
#include "kdi/common/KdiTypes.h"

namespace hardip_eng {

struct StateFile {
  std::string core;  ///< empty until the pads are there
  ParamMap parameters;
  ParamMap mio;  ///< pads by `<bank> <number>`, each with what it is used for

  bool operator==(StateFile const&) const = default;
};

/// Throws JsonError (kdi/common/KdiJson.h), and FileError where the file cannot be read.
KDI_DOOR StateFile read_state(std::string const& path);

}  // namespace hardip_eng
