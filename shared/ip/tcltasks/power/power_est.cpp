#include "tcltasks/power/power_est.h"

#include "kdi/common/KdiText.h"
#include "tcltasks/power/gt_estimate.h"
#include "tcltasks/power/mig_estimate.h"

namespace power_est_init::power_est_kdi_tcltasks {

std::string estimate(ParamMap const& params, std::string const& kind) {
  if (kdi::text::same_but_case(kind, "MIG")) return mig_estimate(params);
  if (kdi::text::same_but_case(kind, "GT")) return gt_estimate(params);
  return {};  // the words of the refusal are the command's
}

}  // namespace power_est_init::power_est_kdi_tcltasks

namespace {

namespace power = power_est_init::power_est_kdi_tcltasks;

// No exception leaves a function with C linkage.
template <class Body>
std::string text_or_nothing(Body body) {
  try {
    return body();
  } catch (...) {
    return {};
  }
}

}  // namespace

std::string Ip_power_est_get_power_estimation(std::map<std::string, std::string> params, std::string kind) {
  return text_or_nothing([&] { return power::estimate(params, kind); });
}

std::string Ip_get_gt_power_estimation(std::map<std::string, std::string> params) {
  return text_or_nothing([&] { return power::gt_estimate(params); });
}

std::string Ip_get_mig_power_estimation(std::map<std::string, std::string> params) {
  return text_or_nothing([&] { return power::mig_estimate(params); });
}
