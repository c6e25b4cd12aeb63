// Expansion of circulant weights above 1 for the decoder.
#pragma once

#include <cstdint>

#include "tcltasks/fec/records.h"

namespace fec {

/// Turns each layer that holds circulants of weight above 1 into a layer of weight 1, in which every copy of a column
/// has a virtual column of its own, and one extra layer behind it that combines the copies. A virtual column stays in
/// the bank of the real one (column mod `banks`), and the same copy in another layer has the same virtual column.
///
/// Replaces `qc`, `dc`, `stall`, `extra_layer`, `nlayers` and, if `norm_type` is 1, `scale`.
///
/// \param banks    number of banks, 1, 2 or 4
/// \param columns  number of real block columns; virtual ones follow
/// \return         the highest virtual column, 0 if there is none
std::uint32_t expand_weights(CodeConfig& config, std::uint32_t banks, std::uint32_t columns);

}  // namespace fec
