// The engine's own classes of instances, and which of them a context asks for.
#pragma once

#include <memory>
#include <string>

#include "kdi/common/KdiTypes.h"
#include "kdi/ippcw/HardIP.h"
#include "platform/ippcw/layers.h"

namespace hardip_eng {

/// The core that a context names, under configuration; make_instance says the rest.
Configured configured_core(ParamMap const& context, StrVec& errors);

/// An instance of the core that `context` names (`ps_core_name`, `ps_core_ver`, `part`, `instance_name`); without a
/// version, of the newest that the part has. Null, with a text in `errors`, if there is none. May throw what the
/// readers of descriptions throw.
std::shared_ptr<HardIPInterface> make_instance(ParamMap const& context, StrVec& errors);

/// The text of `key` in a context; empty if it has none.
std::string context_value(ParamMap const& context, char const* key);

}  // namespace hardip_eng
