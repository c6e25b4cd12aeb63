// Whether values lie in the ranges that an engine told with them.
#pragma once

#include <string>

#include "kdi/common/KdiTypes.h"

namespace psmodels {

/// A value as a user interface gives it, as the engine takes it: the words of a check box are 1 and 0.
inline std::string engine_value(std::string const& value) {
  if (value == "true") return "1";
  if (value == "false") return "0";
  return value;
}

/// Adds a message for each of `params` whose value is out of the range that `raw` has of it: of a COMBO or a CHECKBOX,
/// a value that is none of those permitted, in braces or not, as it stands or as the engine takes it; of an EDIT with
/// bounds that are numbers, one that is beyond them or no number of their kind, as the engine takes it. Parameters that
/// `raw` lacks, that are disabled, and all other widgets pass; a message that is there already stays. `channel`: of the
/// debug messages.
void validateParamRanges(ParamMap const& params, RawResult const& raw, ParamMap& messages, char const* channel);

}  // namespace psmodels
