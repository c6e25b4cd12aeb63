// Texts of a script as the numbers of a record, and the result as a text. The same under every locale.
#pragma once

#include <string>

namespace power_est_init::power_est_kdi_tcltasks {

/// What strtol (base 10) and strtod make of the text, 0 for one without digits; then narrowed.
int int_value(std::string const& text);
double double_value(std::string const& text);
float float_value(std::string const& text);

/// The watts with six decimals and the unit: 1.250000(W).
std::string watts_text(float watts);

}  // namespace power_est_init::power_est_kdi_tcltasks
