// From the parameters of any core to the text of its estimate, by way of the part's power calculator.
#pragma once

#include <map>
#include <memory>
#include <stdexcept>
#include <string>

#include "kdi/common/KdiNumber.h"
#include "kdi/common/KdiTypes.h"
#include "kdi/device/HARPartsParse.h"
#include "kdi/ip/HIPWPowerCalcIntf.h"

namespace power_est_init::power_est_kdi_tcltasks {

inline constexpr char kCommand[] = "Ip_power_est_get_power_estimation";

using Breakdown = std::map<std::string, float>;

/// The watts with six decimals and the unit: 1.250000(W).
inline std::string watts_text(float watts) { return kdi::number::fixed(static_cast<double>(watts), 6) + "(W)"; }

/// The text of what `calculate(calculator, breakdown)` returns for the part that "Power_PART" names; "Invalid Part!"
/// for an unknown part. Throws std::logic_error without that key, std::runtime_error for a part without a power model.
template <class Calculate>
std::string estimate_for_part(ParamMap const& params, Calculate calculate) {
  const auto name = params.find("Power_PART");
  if (name == params.end()) throw std::logic_error(std::string(kCommand) + " : no value for \"Power_PART\"");
  HDARPart const* const part = HARPartsParse::getPart(name->second);
  if (part == nullptr) return "Invalid Part!";
  const std::unique_ptr<HIPWPowerCalcIntf> calculator(HIPWPowerCalcIntf::getIPPowerCalcIntf(part));
  if (!calculator)
    throw std::runtime_error(std::string(kCommand) + " : no power model for the part \"" + name->second + "\"");
  Breakdown breakdown;  // the script sees the total alone
  return watts_text(calculate(*calculator, breakdown));
}

}  // namespace power_est_init::power_est_kdi_tcltasks
