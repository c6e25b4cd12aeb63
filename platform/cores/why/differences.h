// Records of what differs, the same in trials and comparisons.
#pragma once

#include <vector>

#include "kdi/cores/Changes.h"

namespace kdi::cores {

/// `parameter` (empty for a definition's), `message`, `severity`, `text`.
Record record_of(Core const& core, Due const& due);

/// Adds to a dictionary what is another of `value`, `backup`, `enabled`, `range` and `origin`, each as a dictionary of
/// `one` and `other`.
void add_differences(Shown const& first, Shown const& second, char const* one, char const* other, Record& record);

/// Tells the messages that were due before and are after apart: those that go, that come, and that say something else.
void tell_messages(std::vector<Due> before, std::vector<Due> after, Trial& trial);

}  // namespace kdi::cores
