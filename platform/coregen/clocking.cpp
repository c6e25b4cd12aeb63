#include "platform/coregen/clocking.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "kdi/common/KdiNumber.h"
#include "kdi/common/KdiText.h"
#include "kdi/coregen/Mig.h"
#include "kdi/coregen/memory_v1.h"
#include "kdi/ip/HIPClkwiz.h"
#include "kdi/ip/HIPClocking.h"
#include "platform/coregen/state.h"

namespace kdi::coregen {
namespace {

constexpr double kPsOfOneMhz = 1e6;
constexpr double kHzOfOneMhz = 1e6;

using Kind = device::ClockPrimitiveKind;

device::ClockPrimitive const& primitive_of(Setup const& setup) {
  std::vector<device::ClockPrimitive> const& all = setup.part->speed->clock_primitives;
  for (device::ClockPrimitive const& one : all)
    if (one.phy_output && one.kind != Kind::mmcm) return one;
  for (device::ClockPrimitive const& one : all)
    if (one.kind == Kind::pll) return one;
  return all.front();  // a device without any has no memory
}

Ip_Clocking::ClockPrimitive number_of(Kind kind) {
  return kind == Kind::pll ? Ip_Clocking::CLKPRIM_PLL : Ip_Clocking::CLKPRIM_PHYPLL;
}

double period_of(double mhz) { return kPsOfOneMhz / mhz; }

// A period stands for the nearest frequency that the device has, where it is less than a ps beyond its limits: 833 ps
// are 2400 Mb/s, as in data sheets.
double real_period(Setup const& setup) {
  const device::Range limits = clock_periods_ps(setup);
  const double nearest = std::clamp(setup.period_ps, limits.min, limits.max);
  return std::fabs(nearest - setup.period_ps) < 1 ? nearest : setup.period_ps;
}

// What is asked of the primitive. The solver goes by whole Hz: the user's clock is the nearest, and the faster ones are
// multiples of that, so that one setting can make them all exactly.
struct Clocks {
  double ui_mhz, memory_mhz, rate_mhz;
};
Clocks clocks_of(Setup const& setup, double period_ps) {
  const double ui_hz = std::round(kPsOfOneMhz * kHzOfOneMhz / (period_ps * setup.ratio));
  const double memory_mhz = ui_hz * setup.ratio / kHzOfOneMhz;
  return {ui_hz / kHzOfOneMhz, memory_mhz, 2 * memory_mhz};
}

// To a thousandth of a ps.
std::string ps_text(double ps) { return number::plain(std::round(ps * 1000) / 1000); }

double required_period(std::string const& what, std::string const& value) {
  const auto period = number::whole<double>(value);
  if (!period || !(*period > 0 && *period <= kPsOfOneMhz))
    throw what + " " + text::shown(value) + " is no number of ps above 0 and up to 1000000";
  return *period;
}

}  // namespace

device::Range clock_periods_ps(Setup const& setup) {
  device::ClockPrimitive const& primitive = primitive_of(setup);
  device::Range periods{0, std::numeric_limits<int>::max()};
  const auto keep = [&periods](double min, double max) {
    periods = {std::max(periods.min, min), std::min(periods.max, max)};
  };
  if (primitive.phy_output) {
    device::Range const& rate = primitive.phy_output->output_mhz;
    keep(period_of(rate.max / 2), period_of(rate.min / 2));
  } else {
    keep(period_of(primitive.output_mhz.max), period_of(primitive.output_mhz.min));
  }
  keep(period_of(primitive.output_mhz.max) / setup.ratio, period_of(primitive.output_mhz.min) / setup.ratio);
  if (auto const& buffers = setup.part->speed->clock_buffers; !buffers.empty())
    keep(buffers[0].period_ns.min * 1000 / setup.ratio, buffers[0].period_ns.max * 1000 / setup.ratio);
  return periods;
}

ClockSetting setting_from(Setup const& setup, double input_period_ps) {
  device::ClockPrimitive const& primitive = primitive_of(setup);
  const bool has_phy = primitive.phy_output.has_value();
  const double period_ps = real_period(setup);
  const Clocks clocks = clocks_of(setup, period_ps);
  Ip_Clkwiz::HIPClkwizImp solver;
  solver.setPart(setup.part->name);
  std::string outputs = number::fixed(clocks.ui_mhz, 6);
  if (!has_phy) outputs += " " + number::fixed(clocks.memory_mhz, 6);
  const int count = has_phy ? 1 : 2;
  std::string phases, duties;
  constexpr int kSolved = 1;
  if (solver.getClosestSolution(outputs, phases, duties, period_of(input_period_ps), 0, count, true, false, 1, 10,
                                false, has_phy, has_phy ? clocks.rate_mhz : 300) != kSolved)
    throw "no clock of " + ps_text(setup.period_ps) + " ps from an input of " + ps_text(input_period_ps) +
        " ps: " + solver.getFault();
  ClockSetting setting;
  setting.multiply = solver.getChosenM();
  setting.divide = solver.getChosenD();
  setting.vco_mhz = solver.getChosenVCO();
  setting.output_divides.push_back(solver.getChosenDiv0());
  for (int i = 1; i < count; ++i) setting.output_divides.push_back(solver.getChosenDivN(i));
  setting.ui_hz = std::round(solver.getChosenOutFreqN(0) * kHzOfOneMhz);
  if (has_phy) setting.phy_mode = solver.getChosenClkoutXiPhyMode();
  const double made = has_phy ? solver.getActualClkoutXiPhyFreq() / 2 : solver.getChosenOutFreqN(1);
  const auto ppm = [](double is, double wanted) { return std::fabs(is / wanted - 1) * 1e6; };
  setting.error_ppm =
      std::max(ppm(made, period_of(period_ps)), ppm(setting.ui_hz / kHzOfOneMhz, period_of(period_ps) / setup.ratio));
  return setting;
}

std::vector<double> input_periods_ps(Setup const& setup) {
  device::ClockPrimitive const& primitive = primitive_of(setup);
  const Clocks clocks = clocks_of(setup, real_period(setup));
  const bool has_phy = primitive.phy_output.has_value();
  Ip_Clocking::HIPClockingSoln solver(setup.part->name);
  Ip_Clocking::ClockPrimitive number = number_of(primitive.kind);
  std::string found;
  if (!solver.getInputClkFrequencies(has_phy ? clocks.rate_mhz : 0, clocks.ui_mhz, has_phy ? 0 : clocks.memory_mhz, 0,
                                     0, number, found, kNearInputPs / 1000, true, "NONE"))
    return {};
  std::vector<double> periods;
  for (const std::string_view word : text::words(found))
    if (const auto mhz = number::whole<double>(word)) {
      // As it is told, so that who gives it back is answered the same.
      const double period = *number::whole<double>(ps_text(period_of(*mhz)));
      try {
        if (setting_from(setup, period).error_ppm <= kExactPpm) periods.push_back(period);
      } catch (std::string const&) {
        // an input whose period, rounded, has no setting is none
      }
    }
  std::sort(periods.begin(), periods.end());
  periods.erase(std::unique(periods.begin(), periods.end()), periods.end());
  return periods;
}

// --------------------------------------------------------------------------------------------------------------- doors

namespace {

MigEnabledRange listed(std::vector<double> const& periods) {
  MigEnabledRange range{!periods.empty(), {}};
  for (const double period : periods) range.range.push_back(ps_text(period));
  return range;
}

// By the words that the estimation of power reads.
OptionMap told(Setup const& setup, double input_period_ps, ClockSetting const& setting) {
  OptionMap map{{"CLKFBOUT_MULT", number::plain(setting.multiply)},
                {"DIVCLK_DIVIDE", std::to_string(setting.divide)},
                {"MMCM_VCO", number::plain(setting.vco_mhz)},
                {"MMCM_CLK", ps_text(input_period_ps)},
                {"UI_CLOCK", number::plain(setting.ui_hz)},
                {"CLKOUTPHY_MODE", setting.phy_mode},
                {"PhyClockRatio", std::to_string(setup.ratio) + ":1"},
                {"nCK_PER_CLK", std::to_string(setup.ratio)},
                {"C0." + text::uppered(setup.kind->prefix) + "_TimePeriod", ps_text(setup.period_ps)},
                {"ERROR_PPM", number::fixed(setting.error_ppm, 3)}};
  for (std::size_t i = 0; i < setting.output_divides.size(); ++i)
    map["CLKOUT" + std::to_string(i) + "_DIVIDE"] = number::plain(setting.output_divides[i]);
  return map;
}

OptionMap clocking_params(Controller::State& state, std::string const& type, std::string const& input,
                          std::string const& period) {
  return state.ask([&](Controller::State const& self) {
    Setup setup = self.asked_setup(kType, type);
    setup.period_ps = required_period("period", period);
    const double input_ps = required_period("input period", input);
    return told(setup, input_ps, setting_from(setup, input_ps));
  });
}

}  // namespace

MigEnabledRange MigController::InputClockPeriod(std::string const& type, std::string const& period) {
  return state().ask([&](State const& self) {
    Setup setup = self.asked_setup(kType, type);
    setup.period_ps = required_period("period", period);
    return listed(input_periods_ps(setup));
  });
}

OptionMap MigController::getClockingModelParams(std::string const& kind, std::string const& inputPeriod,
                                                std::string const& period) {
  return clocking_params(state(), kind, inputPeriod, period);
}

}  // namespace kdi::coregen

namespace memory::memory_v1 {

namespace {

std::string const& value_of(OptionMap const& options, char const* key) {
  static const std::string none;
  const auto option = options.find(key);
  return option == options.end() ? none : option->second;
}

kdi::device::ClockBuffer const& buffer_of(kdi::device::Part const& part, std::string const& name) {
  kdi::device::ClockBuffer const* const buffer = part.clock_buffer(name);
  if (buffer != nullptr) return *buffer;
  throw "part " + kdi::text::shown(part.name) + " has no clock buffer " + kdi::text::shown(name);
}

double speed_key(kdi::device::Part const& part, std::string const& key) {
  const auto value = part.speed_key(key);
  if (!value) throw "part " + kdi::text::shown(part.name) + " has no limit " + kdi::text::shown(key);
  return *value;
}

constexpr double kMhzOfNs = 1000;  // over a period in ns

}  // namespace

MigEnabledRange HIPMigInstance::getInputClockPeriodValues(OptionMap const& options) {
  return state().ask(
      [&](State const& self) { return kdi::coregen::listed(kdi::coregen::input_periods_ps(self.setup(options))); });
}

OptionMap HIPMigInstance::getClockingModelParams(OptionMap const& options) {
  return kdi::coregen::clocking_params(state(), value_of(options, "-controllertype"),
                                       value_of(options, "-inputclockperiod"), value_of(options, "-timeperiod"));
}

OptionMap HIPMigInstance::getVCORange(std::string const& primitive, OptionMap const&) {
  return state().ask([&](State const& self) -> OptionMap {
    kdi::device::ClockPrimitive const* const found = self.part->clock_primitive(primitive);
    if (found == nullptr)
      throw "part " + kdi::text::shown(self.part->name) + " has no clock primitive " + kdi::text::shown(primitive);
    return {{"min", kdi::number::plain(found->vco_mhz.min)}, {"max", kdi::number::plain(found->vco_mhz.max)}};
  });
}

double HIPMigInstance::getSpeedFileData(std::string const& key, OptionMap const&) {
  return state().ask([&](State const& self) { return speed_key(*self.part, key); });
}

double HIPMigInstance::getKeywordValue(std::string const& keyword, OptionMap const&) {
  return state().ask([&](State const& self) { return speed_key(*self.part, keyword); });
}

double HIPMigInstance::getBUFGCEMax(std::string const& buffer, OptionMap const&) {
  return state().ask([&](State const& self) { return kMhzOfNs / buffer_of(*self.part, buffer).period_ns.min; });
}

double HIPMigInstance::getBUFGCEMin(OptionMap const&) {
  return state().ask([&](State const& self) {
    std::vector<kdi::device::ClockBuffer> const& buffers = self.part->speed->clock_buffers;
    if (buffers.empty()) throw "part " + kdi::text::shown(self.part->name) + " has no clock buffer";
    return kMhzOfNs / buffers[0].period_ns.max;
  });
}

}  // namespace memory::memory_v1
