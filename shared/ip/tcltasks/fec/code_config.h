// The compiler: from the sparse description of one code to the exact list of work that the core runs.
#pragma once

#include "tcltasks/fec/records.h"

namespace fec {

/// Compiles `spec` into `config` and `stats`. Both are filled from fresh records.
///
/// All limits of the core are checked, and every finding goes to `msg` (which may be null), so that a script sees all
/// of them at once. There is no result value: `stats.enc_ok` and `stats.dec_ok` say what the code may be used for, and
/// both false means failure.
///
/// \param min_slots  least number of slots that a layer may take (Variant::kMinSlots)
/// \param quiet      suppress warnings and notes, but never errors
///
/// Time and memory grow linearly with the elements and circulants of `spec`, up to logarithmic factors, and do not
/// depend on the size of the numbers in it.
template <class Variant>
void gen_ldpc_code_config(ldpc_code_spec_t<Variant> const& spec, ldpc_code_config_t<Variant>& config,
                          ldpc_code_stats_t<Variant>& stats, MessageCallback msg, void* ctx, unsigned min_slots,
                          bool quiet);

}  // namespace fec
