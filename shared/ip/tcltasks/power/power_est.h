// Estimated power of memory interface and transceiver cores.
#pragma once

#include <map>
#include <string>

#include "kdi/common/KdiTypes.h"

struct Tcl_Interp;

namespace power_est_init::power_est_kdi_tcltasks {

/// The estimate for a core of the kind "MIG" or "GT", in any case, as a text like 1.250000(W); "Invalid Part!" for an
/// unknown part, empty for another kind. Throws std::exception, with a text for the script, if "Power_PART" is missing
/// or its part has no power model.
std::string estimate(ParamMap const& params, std::string const& kind);

void init(Tcl_Interp* interp);
void uninit();

}  // namespace power_est_init::power_est_kdi_tcltasks

#ifdef __clang__
// C linkage for plain names; who calls them is C++.
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wreturn-type-c-linkage"
#endif
extern "C" {

/// estimate of a core of any, of the transceiver and of the memory kind. Where that throws, the text is empty.
std::string Ip_power_est_get_power_estimation(std::map<std::string, std::string> params, std::string kind);
std::string Ip_get_gt_power_estimation(std::map<std::string, std::string> params);
std::string Ip_get_mig_power_estimation(std::map<std::string, std::string> params);
}
#ifdef __clang__
#pragma clang diagnostic pop
#endif
