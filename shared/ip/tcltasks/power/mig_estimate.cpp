#include "tcltasks/power/mig_estimate.h"

#include "tcltasks/power/part.h"
#include "tcltasks/power/record_rows.h"

namespace power_est_init::power_est_kdi_tcltasks {
namespace {

constexpr float kMillion = 1000000.0F;  // a period in ps from a frequency in MHz, and back

template <auto Field>
void set_if_true(MigPowerRecord& record, std::string const& value) {
  record.*Field = value == "true";
}
template <auto Field>
void set_if_not_zero(MigPowerRecord& record, std::string const& value) {
  record.*Field = value_of<int>(value) != 0;
}
template <std::size_t Output>
void set_divide(MigPowerRecord& record, std::string const& value) {
  record.clkoutDivide[Output] = value_of<float>(value);
}

void set_debug(MigPowerRecord& record, std::string const& value) { record.debugSignal = value == "Enable"; }

void set_mmcm_clock(MigPowerRecord& record, std::string const& value) {
  if (const float period = value_of<float>(value); period != 0) record.mmcmFrequency = kMillion / period;
}

void set_period(MigPowerRecord& record, std::string const& value) {
  record.timePeriod = value_of<float>(value);
  if (record.timePeriod != 0) record.memoryClock = kMillion / record.timePeriod;
}

void set_phy_ratio(MigPowerRecord& record, std::string const& value) {
  if (value == "4:1") record.phyClockRatio = 4;
  if (value == "2:1") record.phyClockRatio = 2;
}

void set_ui_clock(MigPowerRecord& record, std::string const& value) {
  record.uiClock = static_cast<float>(kdi::number::leading_double(value.c_str()) / 1000000.0);
}

// In the order in which a key is tested.
constexpr RecordRow<MigPowerRecord> kRows[] = {
    {"MCS_ECC", {set_if_true<&MigPowerRecord::mcsEcc>, Reads::truth}},
    {"Debug_Signal", {set_debug, Reads::enable}},
    {"RANK_WIDTH", set_field<&MigPowerRecord::rankWidth>},
    {"Slot", set_field<&MigPowerRecord::slot>},
    {"NUM_DEVICES", set_field<&MigPowerRecord::numDevices>},
    {"MEMORY_TYPE", set_field<&MigPowerRecord::memoryType>},
    {"MemoryPart", set_field<&MigPowerRecord::memoryPart>},
    {"Phy_Only", set_field<&MigPowerRecord::phyOnly>},
    {"AXI_DATA_WIDTH", set_field<&MigPowerRecord::axiDataWidth>},
    {"Axi_Selection", {set_if_true<&MigPowerRecord::axiSelection>, Reads::truth}},
    {"MMCM_IDX_BANK", set_field<&MigPowerRecord::mmcmIdxBank>},
    {"CLKOUT0_DIVIDE", {set_divide<0>, Reads::real}},
    {"CLKOUT1_DIVIDE", {set_divide<1>, Reads::real}},
    {"CLKOUT2_DIVIDE", {set_divide<2>, Reads::real}},
    {"CLKOUT3_DIVIDE", {set_divide<3>, Reads::real}},
    {"CLKOUT4_DIVIDE", {set_divide<4>, Reads::real}},
    {"CLKOUT5_DIVIDE", {set_divide<5>, Reads::real}},
    {"CLKOUT6_DIVIDE", {set_divide<6>, Reads::real}},
    {"MMCM_CLK", {set_mmcm_clock, Reads::real}},
    {"CLKFBOUT_MULT", set_field<&MigPowerRecord::clkfboutMult>},
    {"USE_CS_PORT", {set_if_not_zero<&MigPowerRecord::useCsPort>, Reads::integer}},
    {"USE_DM_PORT", {set_if_not_zero<&MigPowerRecord::useDmPort>, Reads::integer}},
    {"_TimePeriod", {set_period, Reads::real}},
    {"Power_ADDR_WIDTH", set_field<&MigPowerRecord::addrWidth>},
    {"_DM_WIDTH", set_field<&MigPowerRecord::dmWidth>},
    {"_CK_WIDTH", set_field<&MigPowerRecord::ckWidth>},
    {"_DK_WIDTH", set_field<&MigPowerRecord::dkWidth>},
    {"_QK_WIDTH", set_field<&MigPowerRecord::qkWidth>},
    {"_QVLD_WIDTH", set_field<&MigPowerRecord::qvldWidth>},
    {"_CKE_WIDTH", set_field<&MigPowerRecord::ckeWidth>},
    {"_BANK_WIDTH", set_field<&MigPowerRecord::bankWidth>},
    {"_CS_WIDTH", set_field<&MigPowerRecord::csWidth>},
    {"_DQS_WIDTH", set_field<&MigPowerRecord::dqsWidth>},
    {"_DQ_WIDTH", set_field<&MigPowerRecord::dqWidth>},
    {"_ODT_WIDTH", set_field<&MigPowerRecord::odtWidth>},
    {"_LR_WIDTH", set_field<&MigPowerRecord::lrWidth>},
    {"_BANK_GROUP_WIDTH", set_field<&MigPowerRecord::bankGroupWidth>},
    {"IO_VOLTAGE", set_field<&MigPowerRecord::ioVoltage>},
    {"PhyClockRatio", {set_phy_ratio, Reads::phy_ratio}},
    {"nCK_PER_CLK", set_field<&MigPowerRecord::nckPerClk>},
    {"CLKOUTPHY_MODE", {set_field<&MigPowerRecord::clkoutphyMode>.set, Reads::phy_mode}},
    {"UI_CLOCK", {set_ui_clock, Reads::real}},
};

constexpr KeyWords kWords = key_words_of(kRows);

// The first of the words that the controller's type contains.
constexpr struct {
  std::string_view word;
  char const* family;
} kFamilies[] = {
    {"DDR3", "DDR3"}, {"DDR4", "DDR4"}, {"QDRIIPLUS", "QDRIIP"}, {"QDRIV", "QDRIV"}, {"RLDRAM3", "RLD3"},
};

char const* family_of(std::string const& controller) {
  for (auto const& [word, family] : kFamilies)
    if (controller.find(word) != std::string::npos) return family;
  return "";
}

struct PhyMode {
  std::string_view name;
  float multiplier_at_ratio_4;
  float multiplier;
  float divider;
};
constexpr PhyMode kPhyModes[] = {{"VCO_2X", 4, 2, 1}, {"VCO", 8, 4, 2}};
constexpr PhyMode kOtherPhyMode = {"", 16, 8, 4};

PhyMode const& phy_mode(std::string const& name) {
  for (PhyMode const& mode : kPhyModes)
    if (mode.name == name) return mode;
  return kOtherPhyMode;
}

void derive(MigPowerRecord& record) {
  if (record.nckPerClk == 0) record.nckPerClk = record.controllerFamily == "QDRIIP" ? 2 : 4;
  PhyMode const& mode = phy_mode(record.clkoutphyMode);
  record.phyClockMultiplier = record.nckPerClk == 4 ? mode.multiplier_at_ratio_4 : mode.multiplier;
  record.phyClockDivider = mode.divider;
  if (record.uiClock == 0) record.uiClock = record.memoryClock / static_cast<float>(record.nckPerClk);
  // sic: the seventh output's divider is the one of the fabric clock
  if (record.clkoutDivide[6] > 0) record.fabricClock = record.uiClock / record.clkoutDivide[6];
}

}  // namespace

MigPowerRecord read_mig_record(ParamMap const& params, UnreadWords* unread) {
  MigPowerRecord record;
  if (const auto controller = params.find("Power_ControllerType"); controller != params.end())
    record.controllerFamily = family_of(controller->second);
  set_fields(record, kRows, kWords, params, {"Power_PART", "Power_ControllerType"}, unread);
  derive(record);
  return record;
}

std::string mig_estimate(ParamMap const& params) {
  return estimate_for_part(params, [&](HIPWPowerCalcIntf& calculator, Breakdown& breakdown) {
    UnreadWords unread;
    return calculator.calcMemoryPower(read_mig_record(params, &unread), breakdown);
  });
}

}  // namespace power_est_init::power_est_kdi_tcltasks
