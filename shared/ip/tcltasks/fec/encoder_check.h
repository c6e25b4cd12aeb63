// Can the hard encoder run a matrix, and if not, can the matrix be rewritten so that it can?
//
// The encoder computes parity one row at a time by back-substitution: each row may introduce exactly one new parity
// block, and that block is the last thing the row touches. A dual-diagonal parity section, such as the 5G NR base
// graphs have, breaks the rule; it is detected and rewritten into an equivalent matrix that obeys, at the price of
// extra rows and columns.
#pragma once

#include <cstdint>

#include "tcltasks/fec/base_matrix.h"
#include "tcltasks/fec/reporter.h"

namespace fec {

/// Whether each row of `h` introduces one parity block, computed before any later row reads it. All faults are
/// reported as warnings (severity 0), unless `msg` is null or `quiet` or `skip` is set. Changes nothing.
///
/// \param kb  K / P, the first parity column
/// \param nb  number of block columns; the columns of `h` are below it
/// \param cp  positions at which a row's parity is computed, beside the last position of each row
bool is_enc_compatible(std::int64_t kb, std::int64_t nb, BaseMatrix const& h, ParityPoints const& cp,
                       MessageCallback msg, void* ctx, bool quiet, bool skip);

/// The same, reporting through `report`.
bool is_enc_compatible(std::int64_t kb, BaseMatrix const& h, ParityPoints const& cp, Reporter const& report);

/// A matrix on its way through the encoder step.
struct EncoderMatrix {
  BaseMatrix& h;
  ParityPoints& cp;
  std::int64_t kb;
  std::int64_t nb;               ///< grows with the columns that the transform adds
  std::uint32_t max_col;         ///< highest column index
  std::uint32_t extra_cols = 0;  ///< columns that the transform added
};

/// Detects a double diagonal and, if there is one, rewrites the matrix: r + 1 rows are inserted behind the r + 1 rows
/// of the diagonal, whose parity moves to columns of its own. Each finding goes out as an encoder warning or note.
///
/// \return whether the matrix now meets the encoder's rule; false, with nothing changed, if there is no double diagonal
bool apply_double_diagonal(EncoderMatrix& matrix, Reporter const& report);

}  // namespace fec
