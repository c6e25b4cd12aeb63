#include "tcltasks/fec/order_tables.h"

namespace fec::order_tables {
namespace {

template <std::size_t Rows, std::size_t Width>
std::span<std::uint32_t const> row_of(std::uint32_t const (&table)[Rows][Width], unsigned layer) {
  if (layer >= Rows) return {};
  return table[layer];
}

}  // namespace

std::span<std::uint32_t const> row(unsigned reorder_type, bool encode, unsigned layer) {
  switch (reorder_type) {
    case 2:
      return encode ? row_of(ENC_BG1REORDERED, layer) : row_of(BG1_REORDERED, layer);
    case 3:
      return encode ? row_of(ENC_BG2KB10REORDERED, layer) : row_of(BG2KB10P128, layer);
    case 4:
      return encode ? row_of(ENC_BG2KB9REORDERED, layer) : row_of(BG2KB9REORDERED, layer);
    case 5:
      return encode ? row_of(ENC_BG2KB8REORDERED, layer) : row_of(BG2KB8REORDERED, layer);
    case 6:
      return encode ? row_of(ENC_BG2KB6REORDERED, layer) : row_of(BG2KB6REORDERED, layer);
    default:
      return {};
  }
}

}  // namespace fec::order_tables
