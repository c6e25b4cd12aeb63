// The FEC subsystem for a core that runs LDPC only. Each name is documented where it is declared.
#pragma once

#include "fec/base_matrix.h"
#include "fec/code_config.h"
#include "fec/core_config.h"
#include "fec/encoder_check.h"
#include "fec/fec_commands.h"
#include "fec/fec_init.h"
#include "fec/order_tables.h"
#include "fec/perf_analyser.h"
#include "fec/register_image.h"
#include "fec/spec_reader.h"

namespace ldpc {

#include "fec/names.inc"

namespace perf_analyser {

/// The performance models: ldpc<0, 15, false> for decoder and ldpc<0, 7, true> for encoder codes.
template <int, unsigned Delay, bool Encoder>
requires(Delay == (Encoder ? variant::kEncoderDelay
                           : variant::kDecoderDelay)) using ldpc = fec::perf_analyser::model<variant, Delay>;

}  // namespace perf_analyser
}  // namespace ldpc
