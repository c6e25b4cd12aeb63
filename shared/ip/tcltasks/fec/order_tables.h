// Processing order of the 5G NR base graphs (3GPP TS 38.212, section 5.3.2), for the compressed packing.
//
// Each row of a table is one row of a base graph and lists that row's block columns in the order in which the core is
// to process them; shifts always come from the script. The order is not the ascending one of the standard: it is chosen
// so that layers wait as little as possible (docs/order-of-base-graphs.md).
//
// BG2 is held once for each number of information columns Kb (10, 9, 8, 6), since the columns are renumbered when
// information columns are taken out. The tables for the encoder (ENC_) describe the matrix after its double diagonal
// has been rewritten, so they have four rows more, and each row ends with its parity column.
//
// A short row is filled out with 0, and in BG2KB10P128 with 240, an empty slot. The values are data files under
// data/ldpc/order, compiled in.
#pragma once

#include <cstdint>
#include <span>

namespace fec::order_tables {

inline constexpr std::uint32_t kEmptySlot = 240;

extern const std::uint32_t BG1_REORDERED[46][20];
extern const std::uint32_t ENC_BG1REORDERED[50][20];
extern const std::uint32_t BG2KB10P128[42][12];
extern const std::uint32_t ENC_BG2KB10REORDERED[46][10];
extern const std::uint32_t BG2KB9REORDERED[42][12];
extern const std::uint32_t ENC_BG2KB9REORDERED[46][12];
extern const std::uint32_t BG2KB8REORDERED[42][12];
extern const std::uint32_t ENC_BG2KB8REORDERED[46][10];
extern const std::uint32_t BG2KB6REORDERED[42][12];
extern const std::uint32_t ENC_BG2KB6REORDERED[46][10];

// The same orders laid out in groups of lanes, 240 in the empty slots. Kept for the record: no code path reads them.
extern const std::uint32_t NewOrderedBG1P32[46][30];  ///< BG1 in groups of four
extern const std::uint32_t BG2KB10P32[42][24];        ///< BG2, Kb 10, in groups of four
extern const std::uint32_t BG2KB10P64[42][24];        ///< BG2, Kb 10, in groups of two, for P of 64
extern const std::uint32_t hbmatrix[7][20];           ///< the first rows of BG2 in groups of four

/// The row of `layer` in the table that `reorder_type` (2: BG1; 3, 4, 5, 6: BG2 with Kb 10, 9, 8, 6) and `encode`
/// select, fillers included. Empty for any other type and for a layer behind the table's last row.
std::span<std::uint32_t const> row(unsigned reorder_type, bool encode, unsigned layer);

}  // namespace fec::order_tables
