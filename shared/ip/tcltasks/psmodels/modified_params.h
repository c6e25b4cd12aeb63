// What a user changed in a user interface, as a text for the script that keeps it.
#pragma once

#include <functional>
#include <string>

#include "tcltasks/psmodels/raw_result.h"

namespace psmodels {

/// A record for an engine of each parameter that has a name: with the value that `value_of` tells, or, where that is
/// empty, with the one given here.
RawResult records_of(ParamMap const& userModifiedParams,
                     std::function<std::string(std::string const& name)> const& value_of);

/// Names and values in the order of the names, a blank before each: of the records that have a value and whose names
/// are among `inputParams`. `each` hears of those.
std::string settings_text(RawResult const& records, ParamMap const& inputParams,
                          std::function<void(std::string const& name, Rows const& rows)> const& each);

}  // namespace psmodels
