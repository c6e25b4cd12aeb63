// The FEC subsystem for a core that runs LDPC only. Each name is documented where it is declared.
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

namespace ldpc {

#include "tcltasks/fec/names.inc"

namespace perf_analyser {

/// The performance models: ldpc<0, 15, false> for decoder and ldpc<0, 7, true> for encoder codes.
template <int, unsigned Delay, bool Encoder>
requires(Delay == (Encoder ? Variant::kEncoderDelay
                           : Variant::kDecoderDelay)) using ldpc = fec::perf_analyser::Model<Variant, Delay>;

}  // namespace perf_analyser
}  // namespace ldpc
