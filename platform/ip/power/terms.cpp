#include "platform/ip/power/terms.h"

#include <cmath>

#include "kdi/common/ComMsgMgr.h"
#include "kdi/common/KdiNumber.h"

namespace kdi::power {

double junction_c(device::Part const& part, Conditions const& conditions) {
  const auto property = part.properties.find("TEMPERATURE_MAX_C");
  if (property == part.properties.end()) return conditions.junction_c;
  std::string const& text = property->second;
  const auto celsius = number::whole<double>(text);
  constexpr double kHottest = 300;
  if (celsius && std::abs(*celsius) <= kHottest) return *celsius;
  warn("the part's TEMPERATURE_MAX_C \"" + text + "\" is no temperature");
  return conditions.junction_c;
}

Factors factors_of(device::Part const& part, Conditions const& conditions) {
  const double above = junction_c(part, conditions) - conditions.junction_c;
  const double voltage = part.speed->core_v / conditions.core_v;
  const auto speed = conditions.leakage.find(part.speed->name);
  const double grade = speed == conditions.leakage.end() ? 1 : speed->second;

  Factors factors;
  factors.leakage =
      sane(grade * std::exp2(above / conditions.leakage_doubling_c) * std::pow(voltage, conditions.leakage_exponent));
  factors.dynamic = std::max(0.0, 1 + conditions.dynamic_per_c * above);
  factors.core = factors.dynamic * voltage * voltage;
  return factors;
}

void warn(std::string const& text) {
  ComMsgMgr::sendMsg::eval(1, __FILE__, __LINE__, "power", ComMsgMgr::MSG_WARNING, "%s", text.c_str());
}

}  // namespace kdi::power
