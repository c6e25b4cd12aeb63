// Text helpers of the platform.
#pragma once

#include <string>

#include "kdi/common/KdiDoor.h"

struct KDI_DOOR HSTStringUtils {
  /// Lower-cases the ASCII letters of `text` in place; other bytes stay, whatever the locale.
  static void to_lower(std::string& text);
};
