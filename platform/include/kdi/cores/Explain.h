// Why a parameter is what it is, and why a message is due: the rule in force, what it consists of, and which of that
// decided. docs/explain.md tells the record, key by key.
#pragma once

#include <cstdint>
#include <string_view>

#include "kdi/common/KdiDoor.h"
#include "kdi/cores/Advice.h"
#include "kdi/cores/Instance.h"
#include "kdi/cores/Record.h"

namespace kdi::cores {

/// All there is to say of a parameter, with advice where it is disabled, out of its range, or has messages. Each advice
/// may take `effort`; one of no changes gives none.
KDI_DOOR Record explain(Instance const& instance, std::uint32_t parameter, Effort effort = {});
/// The same, with parts of the instance's core, for those who ask of many.
KDI_DOOR Record explain(Instance const& instance, std::uint32_t parameter, Effort effort, RuleParts const& parts);

/// Of a message, due or not: one of the description's, `range` for a value out of range, `rule` for a rule that has a
/// fault, or what a search calls its own. Throws std::invalid_argument if the parameter has no message of this name.
KDI_DOOR Record explain(Instance const& instance, std::uint32_t parameter, std::string_view message,
                        Effort effort = {});
KDI_DOOR Record explain(Instance const& instance, std::uint32_t parameter, std::string_view message, Effort effort,
                        RuleParts const& parts);

/// `info`, `warning`, `critical_warning`, `error`.
KDI_DOOR std::string_view name_of(Severity severity);

}  // namespace kdi::cores
