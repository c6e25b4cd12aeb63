// What a question about a parameter or a file is answered with.
#pragma once

#include "kdi/common/KdiTypes.h"

struct MigEnabledRange {
  bool enabled = false;  ///< whether the parameter can be set, or the check passed
  StrVec range;          ///< the values that it can have, or the findings; without commas
};
