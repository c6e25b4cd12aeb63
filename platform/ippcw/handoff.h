// The hardware handoff of a core under configuration (kdi/ippcw/host/Handoff.h tells its form).
#pragma once

#include <string>

#include "kdi/ippcw/host/Handoff.h"
#include "platform/ippcw/configured_core.h"

namespace hardip_eng {

/// What the tools are told of the core, under the name `instance`.
Handoff handoff_of(ConfiguredCore const& core, std::string instance);
/// Writes it to the file `path`, whole or not at all. The path, or an empty text and a message.
std::string write_handoff(Handoff const& handoff, std::string const& path);

}  // namespace hardip_eng
