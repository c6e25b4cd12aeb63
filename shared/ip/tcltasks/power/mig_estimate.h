// The parameters of a memory interface core as a record for the power calculator.
#pragma once

#include "kdi/common/KdiTypes.h"
#include "kdi/ip/HIPWPowerCalcIntf.h"
#include "tcltasks/power/unread_words.h"

namespace power_est_init::power_est_kdi_tcltasks {

/// Each key sets the field of the first of the record's words that it contains; of several such keys the last counts.
/// What follows from them is derived: controller family, clock ratio, user clock, and the clocks of the PHY and the
/// fabric.
MigPowerRecord read_mig_record(ParamMap const& params, UnreadWords* unread = nullptr);

/// The estimate as a text; see estimate in power_est.h.
std::string mig_estimate(ParamMap const& params);

}  // namespace power_est_init::power_est_kdi_tcltasks
