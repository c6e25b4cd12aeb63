// Whether a text is a number, as all models judge it.
#pragma once

#include <string>

namespace psmodels {

/// Whether the text is made of digits and signs alone; the empty one is.
bool validateNumericString(std::string const& text);
/// The same for a number that may have a fraction and an exponent.
bool validateFloatString(std::string const& text);

/// The whole text as a number; false, and `value` stays, if it is none or if the type does not hold it.
bool validateAndConvertLong(std::string const& text, long long& value);
bool validateAndConvertDouble(std::string const& text, double& value);

}  // namespace psmodels
