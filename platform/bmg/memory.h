// A block memory as its words describe it, and the shapes that primitives have for it.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/bmg/geometry.h"

namespace bmg {

enum class Algorithm { minimum_area, low_power, fixed_primitive };
enum class Ecc { none, builtin, soft };

/// Checked. The narrow port is the one with the smaller word; the other's is `ratio` times as wide.
struct Memory {
  PortUse ports;
  int width, depth;  ///< of the narrow port, without check bits
  int ratio;
  Algorithm method;
  std::vector<bool> allowed;             ///< for each primitive of the geometry
  int fixed_depth = 0, fixed_width = 0;  ///< the shape of fixed_primitive
  Ecc protection;
  int byte_width;  ///< 0: no byte writes
  int clock_mhz;
  std::string part;            ///< empty: any
  std::vector<int> available;  ///< of the part, for each primitive of the geometry, if all of it is used in that size
};

/// Reads pairs of a name and a value. Throws fault.
Memory read_memory(std::vector<std::string_view> const& words, Geometry const& known, Version const& version);

/// Bits of a row, check bits of a soft ECC included.
int stored_width(Memory const& memory);

/// A shape that a memory may use.
struct UsableShape {
  std::size_t primitive;  ///< index in the geometry
  int depth, width;       ///< as the narrow port sees it
  int wide_width;         ///< as the wide port sees it; the same for ratio 1
  int used_width;         ///< bits of a narrow word that the memory can use
};

/// The shapes of each allowed primitive, deepest first, one primitive after the other; possibly none.
std::vector<UsableShape> usable_shapes(Memory const& memory, Geometry const& known);

}  // namespace bmg
