// An explanation (docs/explain.md) as text for people: value and origin, what decides with its values, what would
// change it, what depends on it.
#pragma once

#include <cstddef>
#include <string>

#include "kdi/common/KdiDoor.h"
#include "kdi/cores/Record.h"

namespace kdi::corepages {

/// The least width that lines are wrapped to.
inline constexpr std::size_t kLeastWidth = 40;

/// Of a parameter or of a message, in lines of at most `width` characters where words allow it. Control characters are
/// shown as `\u001b`, bytes that are no UTF-8 as U+FFFD.
KDI_DOOR std::string explanation_text(cores::Record const& record, std::size_t width);

}  // namespace kdi::corepages
