// The sections `composites` and `sub_cores` of a core's description.
#pragma once

#include <string>
#include <vector>

#include "kdi/common/KdiJson.h"
#include "kdi/common/KdiPattern.h"
#include "kdi/cores/Core.h"
#include "platform/cores/reading/drafts.h"

namespace kdi::cores {

/// One entry of `composites`, until the parameters are known.
struct CompositeDraft {
  JsonValue entry;
  Places places;
};

/// Adds the entries of `list`; one with the name of an earlier one replaces it.
void add_composites(JsonValue list, Places const& places, std::vector<CompositeDraft>& drafts);
/// The cores are descriptions in `directory`; where that is empty, any.
void add_sub_cores(JsonValue list, std::string const& directory, std::vector<SubCore>& sub_cores);

/// What the drafts mean for the parameters of `core`.
std::vector<Composite> composites_of(std::vector<CompositeDraft> const& drafts, Core const& core);

}  // namespace kdi::cores
