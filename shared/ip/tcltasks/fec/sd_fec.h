// The FEC subsystem for a core that runs LDPC and Turbo. Each name is documented where it is declared.
#pragma once

#include "tcltasks/fec/base_matrix.h"
#include "tcltasks/fec/code_config.h"
#include "tcltasks/fec/core_config.h"
#include "tcltasks/fec/encoder_check.h"
#include "tcltasks/fec/fec_commands.h"
#include "tcltasks/fec/fec_init.h"
#include "tcltasks/fec/order_tables.h"
#include "tcltasks/fec/perf_analyser.h"
#include "tcltasks/fec/register_image.h"
#include "tcltasks/fec/spec_reader.h"

namespace sd_fec {

#include "tcltasks/fec/names.inc"

using turbo_config_t = fec::turbo_config_t;
using fec::dict_to_turbo_config;
using fec::gen_turbo_config;
inline constexpr auto gen_turbo_params = fec::gen_turbo_params<Variant>;

namespace perf_analyser {

/// The performance model: one for decoder and encoder codes.
template <int>
using ldpc = fec::perf_analyser::Model<Variant, Variant::kDecoderDelay>;

}  // namespace perf_analyser
}  // namespace sd_fec
