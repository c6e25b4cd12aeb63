// What the tiler knows about silicon: the primitives with their shapes, and what tells the versions apart.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace bmg {

/// How a memory uses the ports of its primitives: one port; one that writes and one that reads; two full ones.
enum class PortUse { single, simple, dual };

struct Shape {
  int depth, width;  ///< words, and bits of a word with its parity
  unsigned ports;    ///< bit n: may be used as PortUse n
  int ecc_width;     ///< data bits of a word under the primitive's own ECC; 0: has none
};

struct Primitive {
  int kilobits;
  std::vector<Shape> shapes;  ///< each half as deep and at least twice as wide as the one before
};

/// Power of one primitive: always, for each access, and for each bit of the accessing port's width.
struct PowerFigures {
  int static_uw, access_fj, bit_fj;
};

struct Version {
  std::string name;
  int max_width, max_depth, max_port_ratio, max_clock_mhz;
  int soft_ecc_max_width;           ///< data bits; 0: the version has no soft ECC
  std::vector<PowerFigures> power;  ///< one for each primitive of the geometry
};

struct Geometry {
  std::vector<Primitive> primitives;  ///< by size
  std::vector<Version> versions;
};

/// Reads primitives.json and versions.json of `directory` (data/bmg/README.md). Throws std::runtime_error naming file,
/// line and field of what is wrong.
Geometry read_geometry(std::string const& directory);

}  // namespace bmg
