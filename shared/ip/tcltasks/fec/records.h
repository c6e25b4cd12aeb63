// The records of the FEC subsystem: a code as a script describes it, the same code compiled, and register writes.
//
// Each core has its own types (phy_trans_t, ldpc_code_spec_t, ...), so that data of one core cannot reach the other by
// mistake. Where the two have the same fields, both derive from one plain record, and the logic works on that.
//
// Vocabulary: P is the circulant size in bits. A layer is one block row of the base matrix. DC is the check node
// degree, the work of a layer. DV is the variable node degree of a block column. MV is the number of cycles per
// quasi-cyclic (QC) operation. PF is the packing factor, the operations that the core issues per cycle. NMQC is the
// number of packed QC operations. CPLD is the cycles per layer, less one.
#pragma once

#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "tcltasks/fec/variants.h"

namespace fec {

/// How the generator reports: context, severity (1 error, 0 warning or note), text.
using MessageCallback = void (*)(void* context, int severity, char const* text);

/// Natural packing factor of circulant size `p`: 4 up to 32, 2 from 33 to 64, 1 above.
constexpr unsigned num_parallel_P(unsigned p) { return p <= 32 ? 4 : p <= 64 ? 2 : 1; }

/// One write to the core.
template <class Variant>
struct phy_trans_t {
  std::uint64_t addr = 0;  ///< byte address within the core's register space
  std::uint64_t data = 0;  ///< value; the low 32 bits are what is written
  std::string comment;     ///< name of the register or table, or empty
};

// ---------------------------------------------------------------------------------------------- specification

/// One element of the parity check matrix: the circulants at one block position.
struct ldpc_sm_element_t {
  std::uint32_t row = 0;             ///< block row, a layer
  std::uint32_t col = 0;             ///< block column
  std::vector<std::uint32_t> shift;  ///< right-shifts of the circulants; several mean a circulant weight above 1
  std::uint32_t is_cp = 0;           ///< non-zero: the encoder computes the row's parity here
};

/// An LDPC code as a script describes it. Lengths are in bits.
struct CodeSpec {
  std::uint32_t n = 0;                       ///< codeword length N
  std::uint32_t k = 0;                       ///< information length K
  std::uint32_t p = 0;                       ///< circulant size P
  std::uint32_t normalization = 1;           ///< 0 none, 1 by row
  std::vector<std::uint32_t> scale;          ///< one value for each layer, in units of 0.0625
  std::vector<ldpc_sm_element_t> sm_array;   ///< the matrix
  std::uint32_t encode = 0;                  ///< for the encoder
  std::uint32_t no_packing = 0;              ///< one operation per cycle whatever P is
  std::uint32_t no_final_parity = 0;         ///< skip the final parity check
  std::uint32_t max_schedule = 0;            ///< carried to the register image
  std::uint32_t lat_ctrl = 0;                ///< carried to the register image
  std::uint32_t skip_enc_compatibility = 0;  ///< silence the encoder compatibility messages
  std::uint32_t enable_wgt1 = 0;             ///< allow circulant weights above 1 for decoding
  std::uint32_t disable_transforms = 0;      ///< never apply the double-diagonal transform
  std::uint32_t compress_packing = 0;        ///< use the compressed packing
  std::uint32_t reorder_type = 0;            ///< bank count or base graph of the compressed packing
};

template <class Variant>
struct ldpc_code_spec_t : CodeSpec {};

/// A specification under its name. "no_id" marks one that came without.
template <class Variant>
struct ldpc_spec_t {
  std::string id;
  ldpc_code_spec_t<Variant> spec;
};

inline constexpr char const* kNoId = "no_id";

// --------------------------------------------------------------------------------------------- compiled code

/// One QC operation.
struct ldpc_code_element_t {
  std::uint32_t col = 0;        ///< block column
  std::uint32_t shift = 0;      ///< circulant shift
  std::uint32_t first = 0;      ///< 1 if no earlier layer has finished with this column
  std::uint32_t last = 0;       ///< 1 on the last circulant of its sub-matrix
  std::uint32_t layer_end = 0;  ///< 1 on the last operation of its layer
  std::uint32_t nop = 0;        ///< 1 for a padding slot that does no work
  std::uint32_t parity = 0;     ///< 1 if the column is at or beyond K/P
  std::uint32_t pack4 = 0;      ///< group code of the four-wide compressed packing
  std::uint32_t pack2 = 0;      ///< group code of the two-wide compressed packing

  bool operator==(ldpc_code_element_t const&) const = default;
};

/// The work that the core runs for one code.
struct CodeConfig {
  std::uint32_t n = 0;                     ///< N
  std::uint32_t parity_len = 0;            ///< N - K
  std::uint32_t p = 0;                     ///< P
  std::uint32_t nlayers = 0;               ///< number of layers
  std::uint32_t nmqc = 0;                  ///< NMQC
  std::uint32_t nm = 0;                    ///< size of the codeword memory, in words
  std::uint32_t mv = 0;                    ///< MV, P / 128 rounded up
  std::uint32_t norm_type = 0;             ///< 0 none, 1 by row
  std::vector<std::uint32_t> dc;           ///< DC of each layer; once packed, its slots
  std::vector<std::uint32_t> cpld;         ///< CPLD of each layer
  std::vector<std::uint32_t> scale;        ///< scale of each layer
  std::vector<std::uint32_t> stall;        ///< stall cycles before each layer
  std::vector<std::uint32_t> extra_layer;  ///< 1 for a layer that the W>1 expansion added
  std::vector<ldpc_code_element_t> qc;     ///< all operations, layer after layer
  std::uint32_t encode = 0;
  std::uint32_t no_packing = 0;
  std::uint32_t special_qc = 0;  ///< 1 when the W>1 expansion ran
  std::uint32_t no_final_parity = 0;
  std::uint32_t max_schedule = 0;
  std::uint32_t compress_packing = 0;
  std::uint32_t lat_ctrl = 0;
  std::vector<std::uint32_t> qc_count;  ///< running count of real operations at each layer's end, compressed only

  bool operator==(CodeConfig const&) const = default;
};

template <class Variant>
struct ldpc_code_config_t : CodeConfig {};

/// Figures of a compiled code. Minima start at the largest value, all else at 0.
struct CodeStats {
  static constexpr std::uint32_t kNone = std::numeric_limits<std::uint32_t>::max();

  std::uint32_t dc_min = kNone;  ///< DC before packing
  double dc_avg = 0;
  std::uint32_t dc_max = 0;
  std::uint32_t dv_min = kNone;
  double dv_avg = 0;
  std::uint32_t dv_max = 0;
  std::uint32_t stall_min = kNone;
  double stall_avg = 0;
  std::uint32_t stall_max = 0;
  double wgt = 0;                     ///< share of operations that close a sub-matrix; 1.0: all weights are 1
  std::uint32_t stall_ratio_max = 0;  ///< worst stall against the work around it
  std::uint32_t stall_ratio_avg = 0;
  double p_use = 0;               ///< P / (128 x MV / PF)
  double packing_efficiency = 0;  ///< mean share of real operations among the slots of a layer
  std::uint32_t nlayers = 0;
  std::uint32_t nqc_raw = 0;  ///< operations before packing
  std::uint32_t nqc = 0;      ///< operations after packing
  bool enc_ok = false;        ///< the encoder can run the code
  bool dec_ok = false;        ///< the decoder can run the code
};

template <class Variant>
struct ldpc_code_stats_t : CodeStats {};

}  // namespace fec
