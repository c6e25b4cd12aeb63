#include "tcltasks/fec/core_config.h"

namespace fec {
namespace {

enum CoreRegister : std::uint64_t {
  kAxiWrProtect = 0x00,
  kCodeWrProtect = 0x04,
  kAxisWidth = 0x0C,
  kAxisEnable = 0x10,
  kFecCode = 0x14,
  kOrder = 0x18,
  kIer = 0x20,
  kEccIer = 0x30,
  kBypass = 0x3C,
  kTurbo = 0x100
};

constexpr std::uint64_t kAllChannels = 0x3F;

template <class Variant>
std::uint64_t axis_width(core_config_t<Variant> const& config) {
  std::uint64_t width = 4ULL * config.din_words + 32ULL * config.dout_words;
  if constexpr (Variant::kSelectsCode) width += config.din + 8ULL * config.dout;
  return width;
}

}  // namespace

template <class Variant>
unsigned gen_core_config(core_config_t<Variant>& config, std::vector<phy_trans_t<Variant>>& writes) {
  const auto write = [&writes](std::uint64_t addr, std::uint64_t data, char const* comment) {
    writes.push_back({addr, data, comment});
  };
  if constexpr (Variant::kSelectsCode) write(kFecCode, config.fec_code, "FEC_CODE");
  write(kAxisWidth, axis_width(config), "AXIS_WIDTH");
  if (config.order != 0) write(kOrder, config.order, "ORDER");
  if (config.interrupts != 0) write(kIer, Variant::kIerMask, Variant::kIerComment);
  if (config.ecc_interrupts == 1) write(kEccIer, Variant::kEccAllMask, "ECC_IER: Enable all interrupts");
  if (config.ecc_interrupts == 2) write(kEccIer, Variant::kEccTwoBitMask, "ECC_IER: Enable 2-bit error interrupts");
  if (config.axi_wr_protect != 0) write(kAxiWrProtect, 1, "AXI_WR_PROTECT");
  if (config.code_wr_protect != 0) write(kCodeWrProtect, 1, "CODE_WR_PROTECT");
  if (config.bypass != 0) write(kBypass, 1, "BYPASS");
  if (config.axis_enable != 0) write(kAxisEnable, kAllChannels, "AXIS_ENABLE: Enable all channels ");  // sic: blank
  return 0;
}

template <class Variant>
unsigned gen_turbo_config(turbo_config_t& config, std::vector<phy_trans_t<Variant>>& writes) {
  writes.push_back({kTurbo, config.algorithm + 256ULL * config.scale, "TURBO: Set Turbo parameters"});
  return 0;
}

template unsigned gen_core_config(core_config_t<sd_fec::Variant>&, std::vector<phy_trans_t<sd_fec::Variant>>&);
template unsigned gen_core_config(core_config_t<ldpc::Variant>&, std::vector<phy_trans_t<ldpc::Variant>>&);
template unsigned gen_turbo_config(turbo_config_t&, std::vector<phy_trans_t<sd_fec::Variant>>&);

}  // namespace fec
