#include "tcltasks/psmodels/number_checks.h"

#include "kdi/common/KdiNumber.h"

namespace psmodels {
namespace {

template <class Number>
bool convert(std::string const& text, Number& value) {
  const auto number = kdi::number::whole_with_sign<Number>(text);
  if (number) value = *number;
  return number.has_value();
}

}  // namespace

bool validateNumericString(std::string const& text) {
  return text.find_first_not_of("0123456789-+") == std::string::npos;
}
bool validateFloatString(std::string const& text) {
  return text.find_first_not_of("0123456789Ee-+.") == std::string::npos;
}

bool validateAndConvertLong(std::string const& text, long long& value) {
  return validateNumericString(text) && convert(text, value);
}
bool validateAndConvertDouble(std::string const& text, double& value) {
  return validateFloatString(text) && convert(text, value);
}

}  // namespace psmodels
