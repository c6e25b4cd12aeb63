// Changes of what is given to a configured core: made as one batch, or tried without being made.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "kdi/common/KdiDoor.h"
#include "kdi/cores/Instance.h"
#include "kdi/cores/Record.h"

namespace kdi::cores {

/// One parameter's new text, or that its text is taken back.
struct Change {
  std::uint32_t parameter;
  std::optional<std::string> text;
  Origin from = Origin::user;  ///< of the text

  friend bool operator==(Change const&, Change const&) = default;
};

/// Makes the changes, all at once. Returns what Instance::set returns.
KDI_DOOR std::vector<std::uint32_t> make_changes(Instance& instance, std::vector<Change> const& changes,
                                                 Strength strength = Strength::searches);

/// A list of `parameter`, `change` (`set` or `take back`) and, of one that sets, `value`.
KDI_DOOR Record record_of(Core const& core, std::vector<Change> const& changes);

}  // namespace kdi::cores
