// A configuration that a script has, as parameters and values.
#pragma once

#include <string>
#include <utility>

#include "kdi/common/HSTVector.h"

namespace psmodels {

/// Appends the parameters of the list that `command`, one `set` of a word in braces, gives; values with blanks or
/// braces in braces, and a last parameter without a value with an empty one. Nothing if the command is another one
/// because its braces do not match, if it fails, or if the list is none.
void read_configuration(std::string const& command, HSTVector<std::pair<std::string, std::string>>& answer);

}  // namespace psmodels
