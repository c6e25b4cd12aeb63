#include <algorithm>

#include "kdi/ip/SystemPower.h"
#include "platform/ip/power/power_model.h"
#include "platform/ip/power/terms.h"

namespace kdi::power {
namespace {

constexpr double kMilliwatts = 1000;

System const* system_of(Model const& model, std::string const& kind) {
  const auto system =
      std::find_if(model.systems.begin(), model.systems.end(), [&](System const& one) { return one.kind == kind; });
  return system == model.systems.end() ? nullptr : &*system;
}

double device_factor(System const& system, std::string const& device) {
  const auto factor = system.leakage_by_device.find(device);
  return factor == system.leakage_by_device.end() ? 1 : factor->second;
}

double pad_mw(System const& system, std::string const& standard, std::string const& function) {
  PadStandard const& levels = value_of(system.standards, "pad standard", standard);
  double const* const toggle = system.toggle_mhz.find(function);
  const double mhz = toggle == nullptr ? system.toggle_mhz.all.front().value : *toggle;
  return levels.static_mw + levels.volts * levels.volts * system.load_pf * mhz / kMilliwatts;
}

}  // namespace

std::optional<SystemPower> system_power(device::Part const& part, std::vector<SystemItem> dynamic,
                                        std::vector<SystemPad> const& pads,
                                        std::function<std::string(std::string const&)> const& standard_of) {
  auto const& described = part.device->processing_system;
  Model const* const model = described ? model_of(part.device->generation) : nullptr;
  System const* const system = model == nullptr ? nullptr : system_of(*model, described->kind);
  if (system == nullptr) return std::nullopt;
  const Factors at = factors_of(part, model->conditions);
  SystemPower power{junction_c(part, model->conditions), part.speed->core_v, std::move(dynamic), {}, {}};
  for (SystemItem& item : power.dynamic) item.milliwatts *= at.dynamic;
  for (auto const& [supply, watts] : system->static_w)
    power.leakage.push_back(
        {"Leakage", supply, at.leakage * kMilliwatts * watts * device_factor(*system, part.device->name)});
  for (PadGroup const& bank : system->banks) {
    double sum = 0;
    for (SystemPad const& pad : pads)
      if (pad.bank == bank.pads && pad.number >= bank.first && pad.number <= bank.last)
        sum += at.dynamic * pad_mw(*system, standard_of(bank.standard), pad.function);
    if (sum > 0)
      power.pads.push_back({"Pads " + bank.pads + " " + std::to_string(bank.first) + " .. " + std::to_string(bank.last),
                            bank.supply, sum});
  }
  return power;
}

}  // namespace kdi::power
