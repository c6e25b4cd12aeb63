// Random codes, the same for the same seed everywhere.
#pragma once

#include <algorithm>
#include <vector>

#include "tcltasks/fec/records.h"
#include "tests/support/random.h"

namespace test_support {

/// What the analyser may be given, also what no compiler would make: columns twice in a layer, columns that do not
/// exist, layers without operations, fewer operations than the layers count.
inline fec::CodeConfig random_compiled_code(Random& random) {
  constexpr unsigned kSizes[] = {8, 32, 40, 64, 96, 128, 200, 300, 500};
  fec::CodeConfig config;
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
inline fec::CodeSpec random_spec(Random& random) {
  constexpr unsigned kSizes[] = {8, 24, 32, 48, 64, 96, 128, 160, 256, 384};
  fec::CodeSpec spec;
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

/// A decoder code with circulants of weight above 1, in few and in many columns, at every size that the core can expand
/// and some that it cannot, under every packing. Some break a limit.
inline fec::CodeSpec random_weighted_spec(Random& random) {
  constexpr unsigned kSizes[] = {2, 3, 8, 17, 31, 32, 33, 40, 48, 63, 64, 65, 96, 127, 128, 129};
  fec::CodeSpec spec;
  spec.p = kSizes[random.below(16)];
  const unsigned info = 1 + random.below(random.one_in(5) ? 60 : 12);
  const unsigned rows = 1 + random.below(random.one_in(5) ? 40 : 10);
  const unsigned columns = info + rows;
  spec.n = columns * spec.p + (random.one_in(12) ? spec.p : 0) + (random.one_in(6) ? random.below(spec.p) : 0);
  spec.k = info * spec.p;
  spec.enable_wgt1 = 1;
  spec.encode = random.one_in(16);
  spec.no_packing = random.one_in(4);
  spec.compress_packing = random.one_in(3);
  spec.reorder_type = random.one_in(4) ? random.below(8) : random.below(2);
  spec.normalization = random.below(2);
  for (unsigned scales = random.below(rows + 3); scales > 0; --scales) spec.scale.push_back(random.below(16));
  spec.skip_enc_compatibility = !random.one_in(8);
  const unsigned often = 1 + random.below(8), heaviest = 2 + random.below(3);
  for (unsigned row = 0; row < rows; ++row)
    for (unsigned col = 0; col < columns; ++col) {
      if (col % rows != row && random.below(columns) >= 5) continue;
      std::vector<unsigned> shifts{random.below(spec.p)};
      if (random.one_in(often))
        for (unsigned more = 1 + random.below(heaviest - 1); more > 0; --more) shifts.push_back(random.below(spec.p));
      spec.sm_array.push_back({row, col, shifts, 0});
    }
  return spec;
}

/// A code that a script could give by mistake as well: rows left out, positions named twice, weights that nothing
/// allows, sizes at and behind every bound. Half of the encoder's have a double diagonal, some of these a flawed one.
inline fec::CodeSpec random_odd_spec(Random& random) {
  constexpr unsigned kSizes[] = {1, 2, 3, 4, 31, 32, 33, 63, 64, 65, 127, 128, 129, 255, 256, 257, 511, 512, 513, 700};
  fec::CodeSpec spec;
  spec.p = kSizes[random.below(20)];
  const unsigned info = random.below(random.one_in(6) ? 60 : 9);
  const unsigned rows = 1 + random.below(random.one_in(6) ? 120 : 9);
  const unsigned columns = info + rows;
  spec.k = info * spec.p + (random.one_in(9) ? random.below(2 * spec.p) : 0);
  spec.n = columns * spec.p + (random.one_in(6) ? random.below(2 * spec.p) : 0) - (random.one_in(30) ? 1 : 0);
  if (random.one_in(30)) spec.k = spec.n + random.below(5) - 2;
  spec.encode = random.one_in(2);
  spec.no_packing = random.one_in(4);
  spec.no_final_parity = random.one_in(2);
  spec.max_schedule = random.below(4);
  spec.lat_ctrl = random.below(3);
  spec.enable_wgt1 = random.one_in(8);
  spec.disable_transforms = random.one_in(4);
  spec.skip_enc_compatibility = random.one_in(3);
  spec.compress_packing = random.one_in(3);
  spec.reorder_type = random.below(8);
  spec.normalization = random.below(2);
  for (unsigned scales = random.below(rows + 3); scales > 0; --scales) spec.scale.push_back(random.below(16));
  const auto add = [&](unsigned row, unsigned col, unsigned shift) {
    spec.sm_array.push_back({row, col, {shift % spec.p}, random.one_in(12)});
  };

  const bool is_dual = spec.encode != 0 && rows >= 3 && random.one_in(2);
  const unsigned lines = is_dual ? 2 + random.below(rows - 2) : 0;  // rows of the double diagonal but one
  for (unsigned row = 0; row < rows; ++row) {
    if (random.one_in(150)) continue;
    const unsigned parity = is_dual && row <= lines ? info : columns - rows + row;
    for (unsigned col = 0; col < parity; ++col)
      if (random.below(columns) < 4 || col % rows == row) add(row, col, random.below(700));
    if (is_dual && row <= lines) {
      const unsigned odd = random.one_in(60) ? random.below(3) : 0;
      if (row == 0 || row == lines || row == (lines + 1) / 2) add(row, info, row == 0 || row == lines ? 1 + odd : 0);
      if (row > 0) add(row, info + row, random.one_in(90));
      if (row < lines) add(row, info + row + 1, random.one_in(90));
    } else {
      add(row, columns - rows + row, random.below(700));
    }
  }
  for (unsigned more = random.below(12); more > 8 && !spec.sm_array.empty(); --more) {
    auto& element = spec.sm_array[random.below(static_cast<unsigned>(spec.sm_array.size()))];
    if (random.one_in(3))
      element.shift.clear();
    else if (random.one_in(2))
      element.shift.push_back(random.below(spec.p));
    else
      spec.sm_array.push_back({element.row, element.col, {random.below(3)}, random.below(2)});
  }
  return spec;
}

}  // namespace test_support
