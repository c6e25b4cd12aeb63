// Packing: the operations of a layer laid into slots that the core can issue together.
//
// The core's memory is divided into banks by block column (column mod banks), and with small circulants it serves
// several operations per cycle if they fall into different banks. Packing arranges each layer so that the operations
// issued together do, with padding where a bank has nothing to give. It decides how long each layer takes.
#pragma once

#include "tcltasks/fec/records.h"
#include "tcltasks/fec/reporter.h"

namespace fec {

struct PackingRules {
  unsigned pf = 1;              ///< operations per cycle: 1, 2 or 4
  unsigned min_slots = 1;       ///< least number of slots of a layer, per bank
  bool align_closings = false;  ///< line up the operations that close a sub-matrix, for circulant weights above 1
  unsigned reorder_type = 0;    ///< compressed packing: 0 four banks, 1 two banks, 2 to 6 order of a base graph
};

/// Packs all layers of `config`: replaces `qc`, raises `dc` to the slots of each layer, and appends to `qc_count`.
/// A layer that ends with no slot, and a code without layers, is an error; the latter replaces nothing.
///
/// \return mean share of operations among the slots of a layer, 0 to 1; above 1 where slots were dropped
double pack_layers(CodeConfig& config, PackingRules const& rules, Reporter& report);

}  // namespace fec
