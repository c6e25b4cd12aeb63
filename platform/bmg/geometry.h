// What the tiler knows about silicon: the primitives with their shapes, and what tells the versions apart.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace bmg {

/// How a memory uses the ports of its primitives: one port; one that writes and one that reads; two full ones.
enum class port_use { single, simple, dual };

struct shape {
  int depth, width;  ///< words, and bits of a word with its parity
  unsigned ports;    ///< bit n: may be used as port_use n
  int ecc_width;     ///< data bits of a word under the primitive's own ECC; 0: has none
};

struct primitive {
  int kilobits;
  std::vector<shape> shapes;  ///< each half as deep and at least twice as wide as the one before
};

/// Power of one primitive: always, for each access, and for each bit of the accessing port's width.
struct power_figures {
  int static_uw, access_fj, bit_fj;
};

struct version {
  std::string name;
  int max_width, max_depth, max_port_ratio, max_clock_mhz;
  int soft_ecc_max_width;            ///< data bits; 0: the version has no soft ECC
  std::vector<power_figures> power;  ///< one for each primitive of the geometry
};

struct geometry {
  std::vector<primitive> primitives;  ///< by size
  std::vector<version> versions;
};

/// Reads primitives.json and versions.json of `directory` (data/bmg/README.md). Throws std::runtime_error naming file,
/// line and field of what is wrong.
geometry read_geometry(std::string const& directory);

}  // namespace bmg
