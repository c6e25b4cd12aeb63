// Records of what differs, the same in trials and comparisons.
#pragma once

#include "kdi/cores/Changes.h"

namespace kdi::cores {

/// `parameter` (empty for a definition's), `message`, `severity`, `text`.
Record record_of(Core const& core, Due const& due);

/// Adds to a dictionary what is another of `value`, `enabled`, `range` and `origin`, each as a dictionary of `one` and
/// `other`.
void add_differences(Shown const& first, Shown const& second, char const* one, char const* other, Record& record);

}  // namespace kdi::cores
