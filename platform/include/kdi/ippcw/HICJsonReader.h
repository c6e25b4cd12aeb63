// Reads state files: the parameters of a core and its multiplexed pads (docs/state-file.md).
#pragma once

#include <string>

#include "kdi/common/KdiDoor.h"
#include "kdi/common/KdiTypes.h"

class KDI_DOOR HICJsonReader {
 public:
  HICJsonReader();

  /// Adds the parameters of the file to `params`. False leaves `params` as it was, and file, line and field are told.
  bool parseStateJson(std::string const& path, ParamMap& params);
  /// The same for the multiplexed pads, which a file may not have yet.
  bool parseMioParams(std::string const& path, ParamMap& params);
};
