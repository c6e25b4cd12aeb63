// Text helpers of the platform.
#pragma once

#include <string>

struct HSTStringUtils {
  /// Lower-cases the ASCII letters of `text` in place; other bytes stay, whatever the locale.
  static void to_lower(std::string& text);
};
