#include "kdi/ip/HIPClocking.h"

#include <algorithm>
#include <cmath>
#include <set>

#include "platform/ip/clock_faces/number_lists.h"
#include "platform/ip/clock_faces/part_primitives.h"
#include "platform/ip/clock_faces/questions.h"
#include "platform/ip/clocking/cover.h"
#include "platform/ip/clocking/models.h"
#include "platform/ip/clocking/queries.h"
#include "platform/ip/clocking/solver.h"

namespace Ip_Clocking {
namespace {

using namespace kdi::clocking;
namespace device = kdi::device;
using Kind = device::ClockPrimitiveKind;
using BandwidthWord = HASTJitterCalculatorKelvane;

constexpr std::size_t kMostInputs = 100;  // of a list
constexpr int kHzPerKhz = 1000;
void require_none(std::string const& fault) {
  if (!fault.empty()) throw Fault{fault};
}

Kind kind_of(ClockPrimitive primitive) {
  switch (primitive) {
    case CLKPRIM_PLL:
      return Kind::pll;
    case CLKPRIM_PHYPLL:
      return Kind::phy_pll;
    case CLKPRIM_MMCM:
      break;
  }
  return Kind::mmcm;
}

char const* name_of(Kind kind) {
  switch (kind) {
    case Kind::pll:
      return "PLL";
    case Kind::phy_pll:
      return "PHYPLL";
    case Kind::mmcm:
      break;
  }
  return "MMCM";
}

device::ClockPrimitive const& data_of(device::Part const& part, ClockPrimitive primitive) {
  if (auto const* const data = part.clock_primitive(kind_of(primitive))) return *data;
  throw Fault{part.name + " has no " + name_of(kind_of(primitive))};
}

// By name, or by the number that scripts give.
device::ClockPrimitive const& data_of(device::Part const& part, std::string const& name_or_number) {
  if (auto const* const data = part.clock_primitive(name_or_number)) return *data;
  for (ClockPrimitive primitive : {CLKPRIM_MMCM, CLKPRIM_PLL, CLKPRIM_PHYPLL})
    if (name_or_number == std::to_string(primitive)) return data_of(part, primitive);
  throw Fault{part.name + " has no clock primitive \"" + name_or_number + "\""};
}

device::LoopModel const& loop_of(device::ClockPrimitive const& data, BandwidthWord::BANDWIDTH bandwidth) {
  if (bandwidth == BandwidthWord::BW_NONE) bandwidth = BandwidthWord::BW_OPTIMIZED;
  if (device::LoopModel const* const loop = data.loop(bandwidth)) return *loop;
  throw Fault{data.name + " has no such bandwidth"};
}

double mhz(Rational const& hz) { return hz.to_double() / 1e6; }

// Data rates that controllers of a type run memories at, in Mb/s of a pin. NONE, or nothing: any.
std::optional<device::Range> rates_of(device::Part const& part, std::string const& controller_type) {
  if (controller_type.empty() || controller_type == "NONE") return std::nullopt;
  std::optional<device::Range> rates;
  for (auto const& controller : part.speed->memory_controllers)
    for (auto const& memory : controller.interfaces) {
      if (memory.type != controller_type) continue;
      if (!rates) rates = memory.rate_mbps;
      rates->min = std::min(rates->min, memory.rate_mbps.min);
      rates->max = std::max(rates->max, memory.rate_mbps.max);
    }
  if (!rates) throw Fault{part.name + " has no memory controller for \"" + controller_type + "\""};
  return rates;
}

}  // namespace

struct HIPClockingSoln::State {
  std::string name;
  std::optional<Solved> last;
};

HIPClockingSoln::HIPClockingSoln(std::string const& name) : state_(std::make_unique<State>()) { state_->name = name; }
HIPClockingSoln::~HIPClockingSoln() = default;

// ---------------------------------------------------------------------------------------------- phases, duty cycles

namespace {

// The divider as a counter of the primitive has it: the nearest of the counter's values.
Rational divider_of(Primitive const& primitive, double divide) {
  CounterSpec const& spec = primitive.outputs.front().divider;
  if (!(divide >= spec.min && divide <= spec.max))
    throw Fault{"the divider " + number_text(divide) + " is outside " + std::to_string(spec.min) + " to " +
                std::to_string(spec.max)};
  const std::vector<int> values = counter_values(spec, false);
  const double wanted = divide * kUnit;
  return {*std::ranges::min_element(values, {}, [wanted](int value) { return std::abs(value - wanted); }), kUnit};
}

}  // namespace

bool HIPClockingSoln::calculateActualPhase(HIPClock& clock, StrVec& errors) {
  std::string fault;
  const bool done = answer(fault, [&] {
    device::Part const& part = part_of(state_->name);
    const Primitive mmcm = solver_primitive(part, data_of(part, CLKPRIM_MMCM), false);
    clock.actualPhase = actual_phase_deg(mmcm, divider_of(mmcm, clock.divide), phase(clock.phase), false).to_double();
  });
  if (!done) errors.push_back(fault);
  return done;
}

bool HIPClockingSoln::calculateActualDutyCycle(HIPClock& clock, StrVec& errors, int divide, ClockPrimitive primitive) {
  std::string fault;
  const bool done = answer(fault, [&] {
    device::Part const& part = part_of(state_->name);
    const Primitive solver = solver_primitive(part, data_of(part, primitive), false);
    const Rational divider = divider_of(solver, clock.divide == 0 ? divide : clock.divide);
    clock.actualDutyCycle = actual_duty(solver, divider, duty(clock.dutyCycle)).to_double() * 100;
  });
  if (!done) errors.push_back(fault);
  return done;
}

std::string HIPClockingSoln::getSpeedFileProperty(std::string& name, std::string& key, StrVec& errors) {
  std::string text, fault;
  const bool done = answer(fault, [&] {
    const auto value = part_of(name).speed_key(key);
    if (!value) throw Fault{name + " has no value \"" + key + "\""};
    text = number_text(*value);
  });
  if (!done) errors.push_back(fault);
  return text;
}

// ------------------------------------------------------------------------------------------------ achievable clocks

namespace {

// The primitive with the limits that are asked for.
Primitive primitive_for_lists(device::Part const& part, ClockPrimitive which, bool use_speed_data) {
  device::ClockPrimitive const& data = data_of(part, which);
  Primitive primitive = solver_primitive(part, use_speed_data ? data : widest(*part.device, data), false);
  require(check(primitive));
  return primitive;
}

std::vector<Rational> find_inputs(std::string const& part_name, double phy_mhz, std::vector<double> const& outputs_mhz,
                                  ClockPrimitive which, double period_ns, bool use_speed_data,
                                  std::string const& controller_type, std::size_t count) {
  device::Part const& part = part_of(part_name);
  const Primitive primitive = primitive_for_lists(part, which, use_speed_data);
  if (!(period_ns > 0)) throw Fault{"the input period " + number_text(period_ns) + " ns is not above 0"};
  Request request;
  request.input_hz = frequency("the frequency of the input period,", 1000 / period_ns);
  if (phy_mhz != 0) request.high_speed_hz = frequency("clkoutphy", phy_mhz);
  if (const auto rates = rates_of(part, controller_type); rates && !rates->contains(phy_mhz))
    throw Fault{"clkoutphy " + number_text(phy_mhz) + " MHz is outside the data rates of " + controller_type + ", " +
                number_text(rates->min) + " to " + number_text(rates->max) + " Mb/s"};
  for (double output : outputs_mhz) {
    if (output == 0) continue;
    OutputRequest asked;
    asked.frequency_hz = frequency("output", output);
    Range const& limits = primitive.outputs.front().frequency_hz;
    if (!limits.contains(asked.frequency_hz))
      throw Fault{"output frequency " + number_text(output) + " MHz is outside " + text_mhz(limits)};
    request.outputs.push_back(asked);
  }
  if (request.outputs.empty() && !request.high_speed_hz) throw Fault{"no output is asked for"};
  require(check(primitive, request));
  std::vector<Rational> inputs = exact_inputs(primitive, request, count);
  if (!inputs.empty()) return inputs;
  const Result nearest = solve(primitive, request);
  if (!nearest.solution) throw Fault{nearest.error};
  throw Fault{"no input frequency makes all of these exactly; from " + mhz_text(request.input_hz) +
              " MHz the farthest is off by " + fixed_text(nearest.solution->worst_error.to_double() * 1e6, 3) + " ppm"};
}

}  // namespace

bool HIPClockingSoln::getInputClockFrequencies(double const& phyFreq, double const& out1, double const& out2,
                                               double const& out3, double const& out4, ClockPrimitive& primitive,
                                               std::string& text, double inPeriod, bool useSpeedData) {
  return answer(text, [&] {
    text = mhz_text(
        find_inputs(state_->name, phyFreq, {out1, out2, out3, out4}, primitive, inPeriod, useSpeedData, "NONE", 1)
            .front());
  });
}

bool HIPClockingSoln::getInputClkFrequencies(double const& phyFreq, double const& out1, double const& out2,
                                             double const& out3, double const& out4, ClockPrimitive& primitive,
                                             std::string& text, double inPeriod, bool useSpeedData,
                                             std::string const& nocmcControllerType) {
  return answer(text, [&] {
    std::string list;
    for (Rational const& input : find_inputs(state_->name, phyFreq, {out1, out2, out3, out4}, primitive, inPeriod,
                                             useSpeedData, nocmcControllerType, kMostInputs))
      append_word(list, mhz_text(input));
    text = list;
  });
}

namespace {

// What output 0 can be at this VCO frequency: beside an output for I/O banks every frequency, otherwise those that are
// a whole number of kHz, since all of them would be thousands.
void add_outputs(Primitive const& primitive, Rational const& vco, int multiplication,
                 std::optional<device::Range> const& rates, std::set<Rational>& found) {
  OutputSpec const& output = primitive.outputs.front();
  const std::vector<int> dividers = counter_values(output.divider, true);
  if (primitive.high_speed_modes.empty()) {
    for (int divider : dividers)
      if (const Rational made = vco * kUnit / divider;
          output.frequency_hz.contains(made) && (made / kHzPerKhz).den() == 1)
        found.insert(made);
    return;
  }
  for (auto const& mode : primitive.high_speed_modes) {
    const Rational phy = vco * mode.factor, made = phy / multiplication, divider = vco / made * kUnit;
    const bool is_divider = divider.den() == 1 && std::ranges::binary_search(dividers, static_cast<int>(divider.num()));
    if (is_divider && output.frequency_hz.contains(made) && primitive.high_speed_hz.contains(phy) &&
        (!rates || rates->contains(mhz(phy))))
      found.insert(made);
  }
}

}  // namespace

bool HIPClockingSoln::getOutputClockFrequencies(double const& inFreq, ClockPrimitive& primitive,
                                                int const& multiplication, std::string& text, double /*inPeriod*/,
                                                bool useSpeedData, std::string const& nocmcControllerType) {
  return answer(text, [&] {
    device::Part const& part = part_of(state_->name);
    const Primitive solver = primitive_for_lists(part, primitive, useSpeedData);
    const Rational input = frequency("input", inFreq);
    if (!solver.input_hz.contains(input))
      throw Fault{"input " + mhz_text(input) + " MHz is outside " + text_mhz(solver.input_hz)};
    const int most = solver.high_speed_modes.empty() ? 1 : kMaxOutputDivider;
    if (multiplication < 1 || multiplication > most)
      throw Fault{"the multiplication factor " + std::to_string(multiplication) + " is outside 1 to " +
                  std::to_string(most)};
    const auto rates = rates_of(part, nocmcControllerType);
    if (rates && solver.high_speed_modes.empty()) throw Fault{solver.name + " has no output for I/O banks"};
    std::set<Rational> found;
    for (int d = solver.input_divider.min; d <= solver.input_divider.max && found.empty(); ++d) {
      if (!solver.pfd_hz.contains(input / d)) continue;
      for (int m : counter_values(solver.multiplier, true))
        if (const Rational vco = input * m / (std::int64_t{kUnit} * d); solver.vco_hz.contains(vco))
          add_outputs(solver, vco, multiplication, rates, found);
    }
    if (found.empty()) throw Fault{"no whole M and D make an output from " + mhz_text(input) + " MHz"};
    std::string list;
    for (Rational const& made : found) append_word(list, mhz_text(made));
    text = list;
  });
}

// ------------------------------------------------------------------------------------------------- jitter and phase

bool HIPClockingSoln::getPeakToPeakJitter(double fIn, double fVco, double fOut, BandwidthWord::BANDWIDTH bandwidth,
                                          std::string const& primitive, bool spreadSpectrum, bool finePs, int output,
                                          double* value) {
  std::string fault;
  return answer(fault, [&] {
    device::ClockPrimitive const& data = data_of(part_of(state_->name), primitive);
    require_none(outside("input frequency", fIn, data.input_mhz));
    require_none(outside("VCO frequency", fVco, data.vco_mhz));
    require_none(outside("output frequency", fOut, data.output_mhz));
    if (output < 0 || static_cast<std::size_t>(output) >= data.outputs.size()) throw Fault{"no such output"};
    *value = jitter_ps(loop_of(data, bandwidth), 0, fVco, spreadSpectrum, finePs);
  });
}

bool HIPClockingSoln::getPhaseError(double* value, int output) {
  std::string fault;
  return answer(fault, [&] {
    if (!state_->last || output < 0 || static_cast<std::size_t>(output) >= state_->last->solution.outputs.size())
      throw Fault{"no such output"};
    *value = state_->last->solution.phase_error_ps;
  });
}

double HIPClockingSoln::getInClkPeriod(double const& frequency_mhz, ClockPrimitive, bool) {
  return frequency_mhz > 0 ? 1000 / frequency_mhz : 0.0;
}

// ---------------------------------------------------------------------------------------------------------- solving

bool HIPClockingSoln::calculateMandD(std::vector<HIPClock>& clocks, std::string& part, StrVec& errors,
                                     double const& primFreq, double const& secondaryFreq, ClockPrimitive& primitive,
                                     bool minJitter, bool finePs, bool minPower, bool lowBandwidth, bool spreadSpectrum,
                                     std::string const& ssMode, double ssModFreq, double /*inclk1Period*/,
                                     double /*inclk2Period*/, std::string& solution) {
  std::string fault;
  state_->last.reset();
  const bool done = answer(fault, [&] {
    device::Part const& values = part_of(part);
    device::ClockPrimitive const& data = data_of(values, primitive);
    Request request;
    request.input_hz = frequency("input", primFreq);
    if (secondaryFreq != 0) request.second_input_hz = frequency("second input", secondaryFreq);
    std::string beyond;
    for (HIPClock const& clock : clocks) {
      OutputRequest asked;
      if (beyond.empty()) beyond = outside("output frequency", clock.frequency, data.output_mhz);
      asked.frequency_hz = frequency("output", clock.frequency);
      asked.phase_deg = phase(clock.phase);
      asked.duty = duty(clock.dutyCycle);
      request.outputs.push_back(asked);
    }
    request.preference = minPower && !minJitter ? Preference::low_power : Preference::low_jitter;
    request.bandwidth = lowBandwidth ? Bandwidth::low : Bandwidth::optimized;
    request.fine_phase = finePs;
    if (spreadSpectrum)
      request.spread = SpreadRequest{ssMode, angle("modulation frequency in kHz,", ssModFreq, 1e-3, 6e4) * 1000};
    Primitive solver = solver_primitive(values, data, finePs);
    // The nearest there is to a frequency beyond the limits is no answer.
    if (!beyond.empty()) throw Fault{with_nearest(beyond, solver, request)};
    Result result = solve(solver, request);
    if (!result.solution) throw Fault{result.error};
    state_->last = Solved{std::move(solver), std::move(request), std::move(*result.solution)};
  });
  if (!done) {
    errors.push_back(fault);
    return false;
  }
  std::vector<std::size_t> indices;
  for (std::size_t i = 0; i < clocks.size(); ++i) {
    OutputSolution const& made = state_->last->solution.outputs[i];
    clocks[i].divide = made.divider.to_double();
    clocks[i].actualFrequency = mhz(made.frequency_hz);
    clocks[i].actualPhase = made.phase_deg.to_double();
    clocks[i].actualDutyCycle = made.duty.to_double() * 100;
    indices.push_back(i);
  }
  solution = solution_dict(*state_->last, indices);
  return true;
}

namespace {

// The error that the output has to have from the best of the inputs, on a primitive of its own.
Rational least_error(Primitive const& primitive, std::vector<Rational> const& inputs, OutputRequest const& output,
                     std::size_t index) {
  std::optional<Rational> least;
  std::string fault;
  for (Rational const& input : inputs) {
    Request request;
    request.input_hz = input;
    request.outputs = {output};
    const Result result = solve(primitive, request);
    if (result.solution && (!least || result.solution->worst_error < *least)) least = result.solution->worst_error;
    if (fault.empty()) fault = result.error;
  }
  if (least) return *least;
  throw Fault{"clock " + std::to_string(index) + ", " + mhz_text(output.frequency_hz) +
              " MHz, cannot be made from any of the inputs: " + fault};
}

// Rounded up to the 2^-39 that tolerances are given in.
Rational as_tolerance(Rational const& error) {
  constexpr std::int64_t kSteps = std::int64_t{1} << 39;
  const Int128 scaled = static_cast<Int128>(error.num()) * kSteps;
  return Rational::of((scaled + error.den() - 1) / error.den(), kSteps);
}

}  // namespace

bool HIPClockingSoln::computeMinimalClkInst(std::vector<double> const& outputs,
                                            std::vector<std::pair<double, double>> const& inputs, double inPeriod,
                                            std::string& part, std::string& result) {
  return answer(result, [&] {
    device::Part const& values = part_of(part);
    device::ClockPrimitive const* data = values.clock_primitive(Kind::mmcm);
    if (data == nullptr) data = &data_of(values, CLKPRIM_PLL);
    const Primitive primitive = solver_primitive(values, *data, false);

    CoverRequest request;
    for (auto const& [input, second] : inputs) request.inputs_hz.push_back(frequency("input", input));
    if (inputs.empty()) {
      if (!(inPeriod > 0))
        throw Fault{"there is no input, and its period " + number_text(inPeriod) + " ns is not above 0"};
      request.inputs_hz.push_back(frequency("the frequency of the input period,", 1000 / inPeriod));
    }
    for (double output : outputs) {
      OutputRequest asked;
      require_none(outside("output frequency", output, data->output_mhz));
      asked.frequency_hz = frequency("output", output);
      request.outputs.push_back(asked);
    }
    // Before the errors are found one by one: how many clocks there may be is the engine's to say.
    if (outputs.empty() || outputs.size() > kMaxCoverOutputs || request.inputs_hz.size() > kMaxCoverInputs)
      throw Fault{minimal_primitives(primitive, request).message};
    // No primitive is saved at the price of a clock that is farther off than it has to be.
    Rational tolerance = 0;
    for (std::size_t i = 0; i < request.outputs.size(); ++i)
      tolerance = std::max(tolerance, least_error(primitive, request.inputs_hz, request.outputs[i], i));
    request.options.tolerance = as_tolerance(tolerance);
    const Cover cover = minimal_primitives(primitive, request);
    if (cover.groups.empty()) throw Fault{cover.message};

    std::string instances;
    for (CoverGroup const& group : cover.groups) {
      Solved solved{primitive, request.options, group.solution};
      solved.request.input_hz = request.inputs_hz[group.input];
      for (std::size_t index : group.outputs) solved.request.outputs.push_back(request.outputs[index]);
      append_word(instances, braced(solution_dict(solved, group.outputs)));
    }
    std::string dict;
    put(dict, "count", std::to_string(cover.groups.size()));
    put(dict, "minimal", cover.is_minimal ? "1" : "0");
    put(dict, "at_least", std::to_string(cover.at_least));
    put(dict, "available", std::to_string(data->count));
    put(dict, "instances", braced(instances));
    result = dict;
  });
}

// ---------------------------------------------------------------------------------------------------------- manager

namespace {

HIPClockingMgr* the_manager = nullptr;

}  // namespace

HIPClockingMgr* HIPClockingMgr::GetInstance() {
  if (the_manager == nullptr) the_manager = new HIPClockingMgr;
  return the_manager;
}

HIPClockingSoln* HIPClockingMgr::getClkwizSoln(std::string& name) {
  if (name.empty()) return nullptr;
  auto& solver = solvers_[name];
  if (!solver) solver = std::make_unique<HIPClockingSoln>(name);
  return solver.get();
}

void HIPClockingMgr::deleteClockingSoln(std::string& name) { solvers_.erase(name); }

void HIPClockingMgr::terminateInstance() {
  delete the_manager;
  the_manager = nullptr;
}

}  // namespace Ip_Clocking
