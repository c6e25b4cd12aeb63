// What rules may ask of the timing of memory (data/ddr).
#pragma once

#include <string_view>

#include "kdi/cores/Rule.h"

namespace kdi::cores {

/// `ddr(type, bin, figure)`, `ddr_at(type, clock in MHz, figure)`, `ddr_bins(type)` and `ddr_densities(type)`; null for
/// any other name.
Function const* memory_function(std::string_view name);

}  // namespace kdi::cores
