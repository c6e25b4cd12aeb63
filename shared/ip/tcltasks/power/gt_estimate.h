// The parameters of a transceiver core as a record for the power calculator.
#pragma once

#include "kdi/common/KdiTypes.h"
#include "kdi/ip/HIPWPowerCalcIntf.h"
#include "tcltasks/power/unread_words.h"

namespace power_est_init::power_est_kdi_tcltasks {

/// Each key sets the field of the first of the record's words that it contains; of several such keys the last counts.
GtPowerRecord read_gt_record(ParamMap const& params, UnreadWords* unread = nullptr);

/// The estimate as a text; see estimate in power_est.h.
std::string gt_estimate(ParamMap const& params);

}  // namespace power_est_init::power_est_kdi_tcltasks
