// The order tables of the 5G NR base graphs, for the tools that make them and the one that compiles them in.
#pragma once

#include <string_view>

namespace order_tools {

enum class Layout {
  order,   ///< the columns of a row in processing order
  lanes4,  ///< the same in groups of four slots, column mod 4 in each
  lanes2   ///< the same in groups of two slots
};

/// One table: which matrix it orders and how it is laid out in memory.
struct TableShape {
  std::string_view name;
  int base_graph;  ///< 1 or 2
  unsigned kb;     ///< information columns
  bool encode;     ///< of the matrix after the double-diagonal transform
  Layout arrangement;
  unsigned rows;
  unsigned width;  ///< entries of a row, fillers included
  unsigned filler;
};

inline constexpr unsigned kEmptySlot = 240;

inline constexpr TableShape kTables[] = {
    {"BG1_REORDERED", 1, 22, false, Layout::order, 46, 20, 0},
    {"ENC_BG1REORDERED", 1, 22, true, Layout::order, 50, 20, 0},
    {"BG2KB10P128", 2, 10, false, Layout::order, 42, 12, kEmptySlot},
    {"ENC_BG2KB10REORDERED", 2, 10, true, Layout::order, 46, 10, 0},
    {"BG2KB9REORDERED", 2, 9, false, Layout::order, 42, 12, 0},
    {"ENC_BG2KB9REORDERED", 2, 9, true, Layout::order, 46, 12, 0},
    {"BG2KB8REORDERED", 2, 8, false, Layout::order, 42, 12, 0},
    {"ENC_BG2KB8REORDERED", 2, 8, true, Layout::order, 46, 10, 0},
    {"BG2KB6REORDERED", 2, 6, false, Layout::order, 42, 12, 0},
    {"ENC_BG2KB6REORDERED", 2, 6, true, Layout::order, 46, 10, 0},
    {"NewOrderedBG1P32", 1, 22, false, Layout::lanes4, 46, 30, kEmptySlot},
    {"BG2KB10P32", 2, 10, false, Layout::lanes4, 42, 24, kEmptySlot},
    {"BG2KB10P64", 2, 10, false, Layout::lanes2, 42, 24, kEmptySlot},
    {"hbmatrix", 2, 10, false, Layout::lanes4, 7, 20, kEmptySlot},
};

}  // namespace order_tools
