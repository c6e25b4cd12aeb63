// Explanations for those who find advice otherwise than for a core alone.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "kdi/cores/Advice.h"
#include "kdi/cores/Record.h"

namespace kdi::cores {

/// The record of an advice; none is sought where there is no adviser.
using Adviser = std::function<Record(Wish const&)>;
/// Value and backup of a parameter that shows others than its instance has: the text of a composite.
using Shows = std::optional<std::pair<std::string, std::string>>;

Record explain_with(Instance const& instance, std::uint32_t parameter, RuleParts const& parts, Shows const& shows,
                    Adviser adviser);
Record explain_with(Instance const& instance, std::uint32_t parameter, std::string_view message, RuleParts const& parts,
                    Adviser adviser);

}  // namespace kdi::cores
