#include "tcltasks/power/gt_estimate.h"

#include "kdi/common/HSTStringUtils.h"
#include "tcltasks/power/key_words.h"
#include "tcltasks/power/part.h"
#include "tcltasks/power/values.h"

namespace power_est_init::power_est_kdi_tcltasks {
namespace {

using Setter = void (*)(GtPowerRecord&, std::string const&);

template <auto Field>
void set_text(GtPowerRecord& record, std::string const& value) {
  record.*Field = value;
}
template <auto Field>
void set_int(GtPowerRecord& record, std::string const& value) {
  record.*Field = int_value(value);
}
template <auto Field>
void set_float(GtPowerRecord& record, std::string const& value) {
  record.*Field = float_value(value);
}

struct Row {
  std::string_view word;
  Setter set;
};

// In the order in which a key is tested.
constexpr Row kRows[] = {
    {"GT_DIRECTION", set_text<&GtPowerRecord::gtDirection>},
    {"RX_LINE_RATE", set_float<&GtPowerRecord::rxLineRate>},
    {"RX_DATA_DECODING", set_text<&GtPowerRecord::rxDataDecoding>},
    {"RX_INT_DATA_WIDTH", set_int<&GtPowerRecord::rxIntDataWidth>},
    {"RX_USER_DATA_WIDTH", set_int<&GtPowerRecord::rxUserDataWidth>},
    {"RX_PLL_TYPE", set_text<&GtPowerRecord::rxPllType>},
    {"RX_REFCLK_FREQUENCY", set_float<&GtPowerRecord::rxRefclkFrequency>},
    {"RX_EQ_MODE", set_text<&GtPowerRecord::rxEqMode>},
    {"RX_TERMINATION_PROG_VALUE", set_int<&GtPowerRecord::rxTerminationProgValue>},
    {"TX_LINE_RATE", set_float<&GtPowerRecord::txLineRate>},
    {"TX_DATA_ENCODING", set_text<&GtPowerRecord::txDataEncoding>},
    {"TX_INT_DATA_WIDTH", set_int<&GtPowerRecord::txIntDataWidth>},
    {"TX_USER_DATA_WIDTH", set_int<&GtPowerRecord::txUserDataWidth>},
    {"TX_PLL_TYPE", set_text<&GtPowerRecord::txPllType>},
    {"TX_REFCLK_FREQUENCY", set_float<&GtPowerRecord::txRefclkFrequency>},
    {"INS_LOSS_NYQ", set_int<&GtPowerRecord::insLossNyq>},
    {"CPLL_VCO_FREQUENCY", set_float<&GtPowerRecord::cpllVcoFrequency>},
    {"NUM_CHANNELS", set_int<&GtPowerRecord::numChannels>},
};

constexpr KeyWords kWords = key_words_of(kRows);

}  // namespace

GtPowerRecord read_gt_record(ParamMap const& params) {
  GtPowerRecord record;
  if (const auto type = params.find("Power_GT_TYPE"); type != params.end()) {
    record.gtType = type->second;
    HSTStringUtils::to_lower(record.gtType);
  }
  for (auto const& [key, value] : params)
    if (const std::size_t row = kWords.first_in(key); row < std::size(kRows)) kRows[row].set(record, value);
  return record;
}

std::string gt_estimate(ParamMap const& params) {
  return estimate_for_part(params, [&](HIPWPowerCalcIntf& calculator, Breakdown& breakdown) {
    return calculator.calcGtPower(read_gt_record(params), breakdown);
  });
}

}  // namespace power_est_init::power_est_kdi_tcltasks
