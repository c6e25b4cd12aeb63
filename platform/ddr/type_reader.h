// Reads one file of data/ddr.
#pragma once

#include <memory>
#include <string>

#include "kdi/common/KdiJson.h"
#include "kdi/ddr/SpeedBins.h"

namespace kdi::ddr {

/// The type that `file`, whose name is `stem` but for its end, tells; `base` is the one that it is like, or null.
/// Throws kdi::JsonError.
std::unique_ptr<MemoryType const> read_type(JsonFile const& file, std::string const& stem, MemoryType const* base);

}  // namespace kdi::ddr
