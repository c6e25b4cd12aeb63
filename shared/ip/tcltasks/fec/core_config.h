// Core configuration: which registers are written before any code is loaded.
#pragma once

#include <cstdint>
#include <vector>

#include "tcltasks/fec/records.h"

namespace fec {

/// Options of a core; each core has the fields of its own registers, in their stated order. A field
/// that a script does not give is 0.
template <class Variant>
struct core_config_t;

template <>
struct core_config_t<sd_fec::Variant> {
  std::uint32_t fec_code = 0;         ///< code that the core runs, 0 or 1
  std::uint32_t din = 0;              ///< input width code, 0 to 2
  std::uint32_t din_words = 0;        ///< input words flag
  std::uint32_t dout = 0;             ///< output width code, 0 to 2
  std::uint32_t dout_words = 0;       ///< output words flag
  std::uint32_t order = 0;            ///< request for the ORDER register
  std::uint32_t interrupts = 0;       ///< enable the core's interrupts
  std::uint32_t ecc_interrupts = 0;   ///< 1 all, 2 two-bit errors only, anything else none
  std::uint32_t axis_enable = 0;      ///< enable the stream channels
  std::uint32_t axi_wr_protect = 0;   ///< protect the register interface from writes
  std::uint32_t code_wr_protect = 0;  ///< protect the code tables from writes
  std::uint32_t bypass = 0;           ///< put the core in bypass
};

template <>
struct core_config_t<ldpc::Variant> {
  std::uint32_t din_words = 0;
  std::uint32_t dout_words = 0;
  std::uint32_t order = 0;
  std::uint32_t interrupts = 0;
  std::uint32_t ecc_interrupts = 0;
  std::uint32_t axis_enable = 0;
  std::uint32_t axi_wr_protect = 0;
  std::uint32_t code_wr_protect = 0;
  std::uint32_t bypass = 0;
};

/// Appends the register writes of `config` in the order in which they are to be performed; the stream channels are
/// enabled last. A register whose option is off is not written at all. Returns 0.
template <class Variant>
unsigned gen_core_config(core_config_t<Variant>& config, std::vector<phy_trans_t<Variant>>& writes);

/// Parameters of the Turbo decoder; only the sd_fec core has one.
struct turbo_config_t {
  std::uint32_t algorithm = 0;  ///< 0 or 1
  std::uint32_t scale = 12;     ///< 0 to 15, in units of 0.0625
};

/// Appends the one register write of `config`. Returns 0.
template <class Variant>
unsigned gen_turbo_config(turbo_config_t& config, std::vector<phy_trans_t<Variant>>& writes);

}  // namespace fec
