// Tiles a memory exactly.
//
// A tiling cuts the memory into rectangles of bits and rows, each held by one primitive in one of its shapes: the rows
// from a multiple of its depth on, as many as it has or the memory still has, so that the low bits of an address reach
// it as they are. No tiling without this rule takes less area.
//
// Depths are powers of two. So rows are cut at multiples of the deepest shape, then each block in halves, and for each
// depth two blocks are asked for: a whole one, and the memory's last, which may be a part of one. Of a block, for each
// number of bits, the cheapest tiling is known once its halves' are, and of equal costs the one that stacks the fewest
// primitives over a bit:
//
// - a shape of the block's depth holds some of the bits, and the best tiling of the block the others;
// - or the block is cut into its halves, each with its best tiling: costs and stacks add;
// - or the bits are parted, and each part is one of the above: costs add, and the higher stack counts. A part that is
// worth it
//   and cannot be parted itself is rare, and is kept in a list.
//
// Wide memories repeat themselves: beyond twice the least common multiple of the shapes' widths, that many bits more
// are tiled as that many bits alone. So a memory of any width takes some hundred steps for each depth.
#pragma once

#include <cstdint>
#include <vector>

namespace bmg {

/// One choice of the tiler. `rows` of a primitive that are in use cost `for_row` each, the primitive itself `for_tile`.
struct Choice {
  std::size_t primitive;  ///< that has this shape
  int depth, width;       ///< the depth is a power of two
  std::uint64_t for_tile, for_row;
};

/// A grid of one choice: columns from left to right, each stacked from the first row down.
struct Grid {
  std::size_t choice;
  int first_bit, bits;
  int first_row, rows;
};

/// The cheapest tiling of `width` bits and `depth` rows, both above 0, by `choices`, of which there is at least one. Of
/// those that cost the same, one with the fewest primitives over the bit that has most: inputs of its output
/// multiplexer.
std::vector<Grid> tile(std::vector<Choice> const& choices, int width, int depth);

}  // namespace bmg
