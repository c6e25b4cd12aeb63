// Tiles a memory exactly.
//
// A tiling cuts the memory into rectangles of bits and rows, each held by one primitive in one of its shapes: the rows
// from a multiple of its depth on, as many as it has or the memory still has, so that the low bits of an address reach
// it as they are. No tiling without this rule takes less area. The cheapest one is found, not searched for, by three
// properties of the shapes, which the loader of the data checks:
//
// 1. The shapes of a primitive halve in depth and at least double in width. So rows are cut at multiples of the deepest
//    shape, then each block in halves, and blocks are tiled apart.
// 2. Two primitives of one shape side by side can be replaced by two of the next shape, one on the other, at no more
//    cost. So over one block each shape but a primitive's widest is used at most once.
// 3. A shape that is not its primitive's widest is at least as deep as the widest of any other. So below the last cut
//    only columns of widest shapes remain, a small knapsack with a closed solution.
//
// This leaves, for each depth, a pass over the widths that the deeper shapes may have left: some hundred steps.
#pragma once

#include <cstdint>
#include <vector>

namespace bmg {

/// One choice of the tiler. `rows` of a primitive that are in use cost `for_row` each, the primitive itself `for_tile`.
struct Choice {
  std::size_t primitive;  ///< choices of one primitive stand together, deepest first
  int depth, width;
  std::uint64_t for_tile, for_row;
};

/// A grid of one choice: columns from left to right, each stacked from the first row down.
struct Grid {
  std::size_t choice;
  int first_bit, bits;
  int first_row, rows;
};

/// The cheapest tiling of `width` bits and `depth` rows, both above 0, by `choices`, of which there is at least one.
/// A stack is cut into the deepest shapes that cost no more, for few inputs to the output multiplexer.
std::vector<Grid> tile(std::vector<Choice> const& choices, int width, int depth);

/// Whether `choices` have the third property above.
bool end_in_columns(std::vector<Choice> const& choices);

}  // namespace bmg
