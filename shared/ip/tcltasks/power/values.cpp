#include "tcltasks/power/values.h"

#include <charconv>
#include <clocale>
#include <cstdlib>

namespace power_est_init::power_est_kdi_tcltasks {
namespace {

// strtod reads hexadecimal, infinity and blanks in front, which std::from_chars does not; so it is strtod, but without
// the decimal comma of the process's locale.
locale_t c_locale() {
  static const locale_t locale = newlocale(LC_ALL_MASK, "C", nullptr);
  return locale;
}

}  // namespace

int int_value(std::string const& text) { return static_cast<int>(strtol_l(text.c_str(), nullptr, 10, c_locale())); }

double double_value(std::string const& text) { return strtod_l(text.c_str(), nullptr, c_locale()); }

float float_value(std::string const& text) { return static_cast<float>(double_value(text)); }

std::string watts_text(float watts) {
  char digits[64];  // a float has at most 39 digits before the point
  char* const end =
      std::to_chars(digits, digits + sizeof digits, static_cast<double>(watts), std::chars_format::fixed, 6).ptr;
  return std::string(digits, end) + "(W)";
}

}  // namespace power_est_init::power_est_kdi_tcltasks
