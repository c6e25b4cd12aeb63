#include <algorithm>

#include "kdi/common/KdiNumber.h"
#include "kdi/ip/SystemPower.h"
#include "platform/ip/power/power_model.h"
#include "platform/ip/power/terms.h"

namespace kdi::power {
namespace {

constexpr double kMilliwatts = 1000;
constexpr unsigned kLinesOfAStrobe = 8;

System const* system_of(Model const& model, std::string const& kind) {
  const auto system =
      std::find_if(model.systems.begin(), model.systems.end(), [&](System const& one) { return one.kind == kind; });
  return system == model.systems.end() ? nullptr : &*system;
}

double device_factor(System const& system, std::string const& device) {
  const auto factor = system.leakage_by_device.find(device);
  return factor == system.leakage_by_device.end() ? 1 : factor->second;
}

using ValueOf = std::function<std::string(std::string const&)>;

// By the beginning of a function's name; the first entry is that of the others.
double by_function(Words<double> const& words, std::string const& function) {
  double const* const found = words.find(function);
  return found == nullptr ? words.all.front().value : *found;
}

double pad_mw(System const& system, PadStandard const& levels, std::string const& function) {
  const double mhz = by_function(system.toggle_mhz, function);
  return levels.static_mw + levels.volts * levels.volts * system.load_pf * mhz / kMilliwatts;
}

std::string replaced(std::string text, std::string_view place, std::string const& by) {
  return text.replace(text.find(place), place.size(), by);
}

double pad_termination_mw(System const& system, PadGroup const& bank, PadStandard const& levels, SystemPad const& pad,
                          ValueOf const& value_of_parameter) {
  const bool is_pulled =
      !bank.pull.empty() && value_of_parameter(replaced(bank.pull, "{}", std::to_string(pad.number))) == "1";
  const double ohm = by_function(system.line_ohm, pad.function);
  const double siemens = (is_pulled ? 1 / levels.pull_ohm : 0) + (ohm > 0 ? 1 / ohm : 0);
  return kMilliwatts * levels.volts * levels.volts * siemens * system.low_share;
}

double line_mw(MemoryStandard const& line) {
  const double volts = kMilliwatts * line.volts * line.volts, r = line.driver_ohm, to_rail = 2 * line.termination_ohm;
  switch (line.end) {
    case LineEnd::centre:
      return volts / (to_rail + r * to_rail / (r + to_rail));
    case LineEnd::supply:
    case LineEnd::ground:
      return volts / (line.termination_ohm + r) / 2;
    case LineEnd::open:
      break;
  }
  return 0;
}

// Of the memory that a processing system controls itself.
void add_memory(std::vector<SystemItem>& items, MemoryLines const& memory, ValueOf const& value_of_parameter) {
  if (value_of_parameter(memory.enabled) != "1") return;
  const auto standard = memory.standards.find(value_of_parameter(memory.type));
  const auto width = number::whole<unsigned>(value_of_parameter(memory.width));
  if (standard == memory.standards.end() || !width) return;
  const unsigned data = *width + (value_of_parameter(memory.check) == "1" ? memory.check_bits : 0);
  const unsigned lines = data + 2 * (data / kLinesOfAStrobe);  // a strobe is a pair
  const double milliwatts = memory.active_share * lines * line_mw(standard->second);
  if (milliwatts > 0)
    items.push_back(
        {"Terminations of " + standard->first + " (" + standard->second.standard + ")", memory.supply, milliwatts});
}

// One bank's part of what is told, and what its pads have of it.
void add_bank(SystemPower& power, System const& system, PadGroup const& bank, std::vector<SystemPad> const& pads,
              double dynamic, ValueOf const& value_of_parameter) {
  PadStandard const* levels = nullptr;
  std::string standard;
  double own = 0, terminations = 0;
  for (std::size_t i = 0; i < pads.size(); ++i) {
    if (pads[i].bank != bank.pads || pads[i].number < bank.first || pads[i].number > bank.last) continue;
    if (levels == nullptr) {
      standard = value_of_parameter(bank.standard);
      levels = &value_of(system.standards, "pad standard", standard);
    }
    PadLevels& told = power.levels[i];
    told = {standard, bank.supply, dynamic * pad_mw(system, *levels, pads[i].function),
            pad_termination_mw(system, bank, *levels, pads[i], value_of_parameter)};
    own += told.milliwatts;
    terminations += told.termination_milliwatts;
  }
  const std::string place = bank.pads + " " + std::to_string(bank.first) + " .. " + std::to_string(bank.last);
  if (own > 0) power.pads.push_back({"Pads " + place, bank.supply, own});
  if (terminations > 0)
    power.terminations.push_back({"Terminations " + place + " (" + standard + ")", bank.supply, terminations});
}

}  // namespace

std::optional<SystemPower> system_power(device::Part const& part, std::vector<SystemItem> dynamic,
                                        std::vector<SystemPad> const& pads, ValueOf const& value_of_parameter) {
  auto const& described = part.device->processing_system;
  Model const* const model = described ? model_of(part.device->generation) : nullptr;
  System const* const system = model == nullptr ? nullptr : system_of(*model, described->kind);
  if (system == nullptr) return std::nullopt;
  const Factors at = factors_of(part, model->conditions);
  SystemPower power;
  power.junction_c = junction_c(part, model->conditions);
  power.core_v = part.speed->core_v;
  power.dynamic = std::move(dynamic);
  power.levels.resize(pads.size());
  for (SystemItem& item : power.dynamic) item.milliwatts *= at.dynamic;
  for (auto const& [supply, watts] : system->static_w)
    power.leakage.push_back(
        {"Leakage", supply, at.leakage * kMilliwatts * watts * device_factor(*system, part.device->name)});
  for (PadGroup const& bank : system->banks) add_bank(power, *system, bank, pads, at.dynamic, value_of_parameter);
  if (system->memory) add_memory(power.terminations, *system->memory, value_of_parameter);
  return power;
}

}  // namespace kdi::power
