// Random codes, the same for the same seed everywhere.
#pragma once

#include <algorithm>
#include <vector>

#include "tcltasks/fec/records.h"
#include "tests/support/random.h"

namespace test_support {

/// What the analyser may be given, also what no compiler would make: columns twice in a layer, columns that do not
/// exist, layers without operations, fewer operations than the layers count.
inline fec::code_config random_compiled_code(Random& random) {
  constexpr unsigned kSizes[] = {8, 32, 40, 64, 96, 128, 200, 300, 500};
  fec::code_config config;
  config.p = kSizes[random.below(9)];
  config.mv = (config.p + 127) / 128;
  config.no_packing = random.one_in(5);
  config.encode = random.one_in(3);
  config.special_qc = random.one_in(4);
  config.n = config.p * (10 + random.below(50));
  config.parity_len = config.n / 3;
  config.nlayers = 1 + random.below(12);
  const unsigned columns = 3 + random.below(40);
  const bool odd = random.one_in(3);
  const unsigned width = config.no_packing != 0 ? 1 : fec::num_parallel_P(config.p);
  for (unsigned layer = 0; layer < config.nlayers; ++layer) {
    const unsigned issues = odd && random.one_in(8) ? 0 : 1 + random.below(10);
    const unsigned dc = issues * width - (odd && issues > 0 && random.one_in(6) ? random.below(width) : 0);
    std::vector<unsigned> free_columns(columns);
    for (unsigned i = 0; i < columns; ++i) free_columns[i] = i;
    for (unsigned i = 0; i < dc; ++i) {
      fec::ldpc_code_element_t op;
      if (free_columns.empty() || random.one_in(7)) {
        op.nop = 1;
      } else if (odd && random.one_in(9)) {
        op.col = random.one_in(4) ? 256 + random.below(3) : random.below(columns);
      } else {
        const unsigned at = random.below(static_cast<unsigned>(free_columns.size()));
        op.col = free_columns[at];
        free_columns.erase(free_columns.begin() + at);
      }
      op.last = config.special_qc == 0 || !random.one_in(3);
      op.layer_end = i + 1 == dc;
      config.qc.push_back(op);
    }
    config.dc.push_back(dc);
    config.extra_layer.push_back(random.one_in(3));
  }
  config.nmqc = static_cast<unsigned>(config.qc.size()) / width;
  config.stall.assign(config.nlayers, 0);
  if (odd && random.one_in(6)) config.qc.resize(config.qc.size() / 2);
  return config;
}

/// A code that a script could give; most of them compile.
inline fec::code_spec random_spec(Random& random) {
  constexpr unsigned kSizes[] = {8, 24, 32, 48, 64, 96, 128, 160, 256, 384};
  fec::code_spec spec;
  spec.p = kSizes[random.below(10)];
  const unsigned info = 3 + random.below(12);
  const unsigned rows = 3 + random.below(14);
  spec.n = (info + rows) * spec.p;
  spec.k = info * spec.p;
  spec.no_packing = random.one_in(4);
  spec.compress_packing = random.one_in(4);
  spec.reorder_type = random.below(2);
  spec.encode = random.one_in(3);
  spec.scale = {12};
  for (unsigned row = 0; row < rows; ++row) {
    for (unsigned col = 0; col < info + row; ++col)
      if (random.below(info + row) < 5 || col % rows == row)
        spec.sm_array.push_back({row, col, {random.below(spec.p)}, 0});
    spec.sm_array.push_back({row, info + row, {random.below(spec.p)}, 0});
  }
  return spec;
}

}  // namespace test_support
