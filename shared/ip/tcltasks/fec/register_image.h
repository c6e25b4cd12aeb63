// The register image: compiled codes laid out in the core's address space.
//
// A core holds up to 128 codes. Each has four parameter registers, and all share three tables: scale values (SC), layer
// descriptors (LA) and QC operations (QC).
//
//   0x02000 + 16 x code   four registers, 4 bytes each
//   0x10000               SC table: four scale values of 4 bits in a word, codes packed tight
//   0x18000               LA table: one word for each layer, each code on a 16-byte boundary
//   0x20000               QC table: one word for each operation, each code on a 16-byte boundary
//
// Fields are added into their words, not masked: a value that outgrows its field runs into the next.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tcltasks/fec/records.h"

namespace fec {

inline constexpr unsigned kMaxCodes = 128;

inline constexpr std::uint64_t kCodeRegisterBase = 0x2000;
inline constexpr std::uint64_t kCodeRegisterStep = 16;
inline constexpr std::uint64_t kScTableBase = 0x10000;
inline constexpr std::uint64_t kLaTableBase = 0x18000;
inline constexpr std::uint64_t kQcTableBase = 0x20000;

/// The codes of one core and their writes.
template <class Variant>
struct ldpc_config_t {
  using Writes = std::vector<phy_trans_t<Variant>>;

  std::vector<ldpc_code_config_t<Variant>> configs;  ///< slot i holds code i
  std::vector<bool> valid;                           ///< set when slot i has been filled
  Writes trans;                                      ///< all writes of all codes, in the order to perform them
  std::vector<Writes> sc;                            ///< SC table writes of each code
  std::vector<Writes> la;                            ///< LA table writes of each code
  std::vector<Writes> qc;                            ///< QC table writes of each code

  /// Puts `config` into slot `index`, over what was there. Returns 1, changing nothing, if `index` is above 127.
  unsigned add(unsigned index, ldpc_code_config_t<Variant>& config);

  /// Forgets all codes.
  void clear();

  /// Regenerates `trans`, `sc`, `la` and `qc` from the codes. The argument has no effect; callers pass 0.
  void gen_phy_trans(unsigned start);

  /// Writes `trans` to the text file `path`, one line for each write: address and data as 13 hexadecimal digits, " //
  /// ", the comment. Regenerates first unless `generated`. A file that cannot be written to its end is as it was,
  /// without a report.
  void dump_phy_trans(char const* path, unsigned start, bool generated);
};

/// `value` as eight upper-case hexadecimal digits.
std::string int_to_32hex(unsigned value);

}  // namespace fec
