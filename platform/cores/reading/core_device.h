// The section `device` of a core's description: what its rules ask of the device.
#pragma once

#include <vector>

#include "kdi/common/KdiJson.h"
#include "kdi/common/KdiPattern.h"
#include "kdi/cores/Core.h"
#include "platform/cores/reading/drafts.h"

namespace kdi::cores {

/// Adds what `list` declares to `facts`; a word that is there already is declared anew.
void add_facts(JsonValue list, Places const& places, std::vector<Fact>& facts, NumberTable& numbers);

}  // namespace kdi::cores
