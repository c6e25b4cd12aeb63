#include "tcltasks/power/gt_estimate.h"

#include "kdi/common/HSTStringUtils.h"
#include "tcltasks/power/part.h"
#include "tcltasks/power/record_rows.h"

namespace power_est_init::power_est_kdi_tcltasks {
namespace {

// In the order in which a key is tested.
constexpr RecordRow<GtPowerRecord> kRows[] = {
    {"GT_DIRECTION", set_field<&GtPowerRecord::gtDirection>},
    {"RX_LINE_RATE", set_field<&GtPowerRecord::rxLineRate>},
    {"RX_DATA_DECODING", set_field<&GtPowerRecord::rxDataDecoding>},
    {"RX_INT_DATA_WIDTH", set_field<&GtPowerRecord::rxIntDataWidth>},
    {"RX_USER_DATA_WIDTH", set_field<&GtPowerRecord::rxUserDataWidth>},
    {"RX_PLL_TYPE", set_field<&GtPowerRecord::rxPllType>},
    {"RX_REFCLK_FREQUENCY", set_field<&GtPowerRecord::rxRefclkFrequency>},
    {"RX_EQ_MODE", set_field<&GtPowerRecord::rxEqMode>},
    {"RX_TERMINATION_PROG_VALUE", set_field<&GtPowerRecord::rxTerminationProgValue>},
    {"TX_LINE_RATE", set_field<&GtPowerRecord::txLineRate>},
    {"TX_DATA_ENCODING", set_field<&GtPowerRecord::txDataEncoding>},
    {"TX_INT_DATA_WIDTH", set_field<&GtPowerRecord::txIntDataWidth>},
    {"TX_USER_DATA_WIDTH", set_field<&GtPowerRecord::txUserDataWidth>},
    {"TX_PLL_TYPE", set_field<&GtPowerRecord::txPllType>},
    {"TX_REFCLK_FREQUENCY", set_field<&GtPowerRecord::txRefclkFrequency>},
    {"INS_LOSS_NYQ", set_field<&GtPowerRecord::insLossNyq>},
    {"CPLL_VCO_FREQUENCY", set_field<&GtPowerRecord::cpllVcoFrequency>},
    {"NUM_CHANNELS", set_field<&GtPowerRecord::numChannels>},
};

constexpr KeyWords kWords = key_words_of(kRows);

}  // namespace

GtPowerRecord read_gt_record(ParamMap const& params, UnreadWords* unread) {
  GtPowerRecord record;
  if (const auto type = params.find("Power_GT_TYPE"); type != params.end()) {
    record.gtType = type->second;
    HSTStringUtils::to_lower(record.gtType);
  }
  set_fields(record, kRows, kWords, params, {"Power_PART", "Power_GT_TYPE"}, unread);
  return record;
}

std::string gt_estimate(ParamMap const& params) {
  return estimate_for_part(params, [&](HIPWPowerCalcIntf& calculator, Breakdown& breakdown) {
    UnreadWords unread;
    return calculator.calcGtPower(read_gt_record(params, &unread), breakdown);
  });
}

}  // namespace power_est_init::power_est_kdi_tcltasks
