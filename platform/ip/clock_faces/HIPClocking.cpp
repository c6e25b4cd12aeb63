#include "kdi/ip/HIPClocking.h"

#include <atomic>
#include <mutex>
#include <utility>

#include "kdi/common/KdiInstances.h"
#include "kdi/common/KdiNumber.h"
#include "kdi/common/KdiText.h"
#include "kdi/device/parts.h"
#include "platform/ip/clock_faces/achievable.h"
#include "platform/ip/clock_faces/dictionaries.h"
#include "platform/ip/clock_faces/least_instances.h"
#include "platform/ip/clock_faces/part_primitives.h"
#include "platform/ip/clock_faces/questions.h"
#include "platform/ip/clocking/models.h"
#include "platform/ip/clocking/queries.h"

namespace Ip_Clocking {
namespace {

using namespace kdi::clocking;
namespace device = kdi::device;
using Kind = device::ClockPrimitiveKind;
using BandwidthWord = HASTJitterCalculatorKelvane;

constexpr std::size_t kMostInputs = 100;     // of a list
constexpr std::size_t kMostSolvers = 16384;  // that have solved something: one for each part at most

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

// By name, or by the number that scripts give.
device::ClockPrimitive const& primitive_of(device::Part const& part, std::string const& name_or_number) {
  if (auto const* const data = part.clock_primitive(name_or_number)) return *data;
  for (ClockPrimitive primitive : {CLKPRIM_MMCM, CLKPRIM_PLL, CLKPRIM_PHYPLL})
    if (name_or_number == std::to_string(primitive)) return kdi::clocking::primitive_of(part, kind_of(primitive));
  throw Fault{part.name + " has no clock primitive " + kdi::text::shown(name_or_number)};
}

device::LoopModel const& loop_of(device::ClockPrimitive const& data, BandwidthWord::BANDWIDTH bandwidth) {
  if (bandwidth == BandwidthWord::BW_NONE) bandwidth = BandwidthWord::BW_OPTIMIZED;
  if (device::LoopModel const* const loop = data.loop(bandwidth)) return *loop;
  throw Fault{};
}

Grades grades_of(bool use_speed_data) { return use_speed_data ? Grades::own : Grades::widest; }

// An answer whose refusal joins the errors.
template <class Body>
bool answer_or(StrVec& errors, Body body) {
  std::string fault;
  const bool done = answer(fault, body);
  if (!done) errors.push_back(fault);
  return done;
}

}  // namespace

struct HIPClockingSoln::State {
  explicit State(std::string of) : name(std::move(of)) {}

  std::string const name;
  std::mutex mutex;  // of what follows; whoever has it calls nothing outside the engine
  std::optional<Solved> last;
};

HIPClockingSoln::HIPClockingSoln(std::string const& name) : state_(std::make_unique<State>(name)) {}
HIPClockingSoln::~HIPClockingSoln() = default;

bool HIPClockingSoln::isBlank() const {
  const std::lock_guard lock(state_->mutex);
  return !state_->last;
}

// ---------------------------------------------------------------------------------------------- phases, duty cycles

bool HIPClockingSoln::calculateActualPhase(HIPClock& clock, StrVec& errors) {
  return answer_or(errors, [&] {
    device::Part const& part = part_of(state_->name);
    const Primitive mmcm = solver_primitive(part, kdi::clocking::primitive_of(part, Kind::mmcm), false);
    const Rational divider = divider_of(mmcm, clock.divide, false);
    clock.actualPhase = actual_phase_deg(mmcm, divider, phase(clock.phase), false).to_double();
  });
}

bool HIPClockingSoln::calculateActualDutyCycle(HIPClock& clock, StrVec& errors, int divide, ClockPrimitive primitive) {
  return answer_or(errors, [&] {
    device::Part const& part = part_of(state_->name);
    const Primitive solver = solver_primitive(part, kdi::clocking::primitive_of(part, kind_of(primitive)), false);
    const Rational divider = divider_of(solver, clock.divide == 0 ? divide : clock.divide, false);
    clock.actualDutyCycle = actual_duty(solver, divider, duty(clock.dutyCycle)).to_double() * 100;
  });
}

std::string HIPClockingSoln::getSpeedFileProperty(std::string& name, std::string& key, StrVec& errors) {
  std::string text;
  answer_or(errors, [&] {
    const auto value = part_of(name).speed_key(key);
    if (!value) throw Fault{name + " has no value " + kdi::text::shown(key)};
    text = kdi::number::plain(*value);
  });
  return text;
}

// ------------------------------------------------------------------------------------------------ achievable clocks

bool HIPClockingSoln::getInputClockFrequencies(double const& phyFreq, double const& out1, double const& out2,
                                               double const& out3, double const& out4, ClockPrimitive& primitive,
                                               std::string& text, double inPeriod, bool useSpeedData) {
  return answer(text, [&] {
    device::Part const& part = part_of(state_->name);
    const Primitive solver = primitive_for_lists(part, kind_of(primitive), grades_of(useSpeedData));
    text = mhz_list(find_inputs(part, solver, {phyFreq, {out1, out2, out3, out4}, inPeriod, "NONE"}, 1));
  });
}

bool HIPClockingSoln::getInputClkFrequencies(double const& phyFreq, double const& out1, double const& out2,
                                             double const& out3, double const& out4, ClockPrimitive& primitive,
                                             std::string& text, double inPeriod, bool useSpeedData,
                                             std::string const& nocmcControllerType) {
  return answer(text, [&] {
    device::Part const& part = part_of(state_->name);
    const Primitive solver = primitive_for_lists(part, kind_of(primitive), grades_of(useSpeedData));
    text = mhz_list(
        find_inputs(part, solver, {phyFreq, {out1, out2, out3, out4}, inPeriod, nocmcControllerType}, kMostInputs));
  });
}

bool HIPClockingSoln::getOutputClockFrequencies(double const& inFreq, ClockPrimitive& primitive,
                                                int const& multiplication, std::string& text, double /*inPeriod*/,
                                                bool useSpeedData, std::string const& nocmcControllerType) {
  return answer(text, [&] {
    device::Part const& part = part_of(state_->name);
    const Primitive solver = primitive_for_lists(part, kind_of(primitive), grades_of(useSpeedData));
    text = mhz_list(find_outputs(part, solver, inFreq, multiplication, nocmcControllerType));
  });
}

// ------------------------------------------------------------------------------------------------- jitter and phase

bool HIPClockingSoln::getPeakToPeakJitter(double fIn, double fVco, double fOut, BandwidthWord::BANDWIDTH bandwidth,
                                          std::string const& primitive, bool spreadSpectrum, bool finePs, int output,
                                          double* value) {
  std::string unsaid;  // the command has one text for whatever is wrong
  return answer(unsaid, [&] {
    device::ClockPrimitive const& data = primitive_of(part_of(state_->name), primitive);
    require_within("input frequency", fIn, data.input_mhz);
    require_within("VCO frequency", fVco, data.vco_mhz);
    require_within("output frequency", fOut, data.output_mhz);
    if (output < 0 || static_cast<std::size_t>(output) >= data.outputs.size()) throw Fault{};
    *value = jitter_ps(loop_of(data, bandwidth), 0, fVco, spreadSpectrum, finePs);
  });
}

bool HIPClockingSoln::getPhaseError(double* value, int output) {
  const std::lock_guard lock(state_->mutex);
  if (!state_->last || output < 0 || static_cast<std::size_t>(output) >= state_->last->solution.outputs.size())
    return false;
  *value = state_->last->solution.phase_error_ps;
  return true;
}

double HIPClockingSoln::getInClkPeriod(double const& frequency_mhz, ClockPrimitive, bool) {
  return frequency_mhz > 0 ? 1000 / frequency_mhz : 0.0;
}

// ---------------------------------------------------------------------------------------------------------- solving

namespace {

std::vector<Wish> wishes_of(std::vector<HIPClock> const& clocks) {
  std::vector<Wish> wishes;
  for (HIPClock const& clock : clocks) wishes.push_back({clock.frequency, clock.phase, clock.dutyCycle});
  return wishes;
}

void set_actual_values(std::vector<HIPClock>& clocks, Solution const& solution) {
  for (std::size_t i = 0; i < clocks.size(); ++i) {
    OutputSolution const& made = solution.outputs[i];
    clocks[i].divide = made.divider.to_double();
    clocks[i].actualFrequency = mhz(made.frequency_hz);
    clocks[i].actualPhase = made.phase_deg.to_double();
    clocks[i].actualDutyCycle = made.duty.to_double() * 100;
  }
}

}  // namespace

bool HIPClockingSoln::calculateMandD(std::vector<HIPClock>& clocks, std::string& part, StrVec& errors,
                                     double const& primFreq, double const& secondaryFreq, ClockPrimitive& primitive,
                                     bool minJitter, bool finePs, bool minPower, bool lowBandwidth, bool spreadSpectrum,
                                     std::string const& ssMode, double ssModFreq, double /*inclk1Period*/,
                                     double /*inclk2Period*/, std::string& solution) {
  device::Part const* const found = device::find_part(part);
  const std::lock_guard lock(state_->mutex);
  state_->last.reset();
  return answer_or(errors, [&] {
    device::Part const& values = known(found, part);
    device::ClockPrimitive const& data = kdi::clocking::primitive_of(values, kind_of(primitive));
    Request request;
    request.preference = minPower && !minJitter ? Preference::low_power : Preference::low_jitter;
    request.bandwidth = lowBandwidth ? Bandwidth::low : Bandwidth::optimized;
    request.fine_phase = finePs;
    const std::vector<Wish> wishes = wishes_of(clocks);
    add_inputs(request, primFreq, if_any(secondaryFreq));
    add_outputs(request, wishes);
    if (spreadSpectrum) request.spread = spread(ssMode, ssModFreq);
    state_->last = ask(solver_primitive(values, data, finePs), std::move(request), beyond_limits(wishes, data));
    set_actual_values(clocks, state_->last->solution);
    solution = solution_dict(*state_->last);
  });
}

bool HIPClockingSoln::computeMinimalClkInst(std::vector<double> const& outputs,
                                            std::vector<std::pair<double, double>> const& inputs, double inPeriod,
                                            std::string& part, std::string& result) {
  std::vector<double> inputs_mhz;
  for (auto const& input : inputs) inputs_mhz.push_back(input.first);
  return answer(result, [&] { result = least_instances(part_of(part), outputs, inputs_mhz, inPeriod); });
}

// ---------------------------------------------------------------------------------------------------------- manager

struct HIPClockingMgr::Solvers : kdi::Instances<std::string, HIPClockingSoln> {
  Solvers() : Instances(kMostSolvers, [](HIPClockingSoln const& solver) { return solver.isBlank(); }) {}
};

HIPClockingMgr::HIPClockingMgr() : solvers_(std::make_unique<Solvers>()) {}
HIPClockingMgr::~HIPClockingMgr() = default;

namespace {

std::atomic<HIPClockingMgr*> the_manager = nullptr;  // going down makes none

}  // namespace

HIPClockingMgr* HIPClockingMgr::GetInstance() {
  static HIPClockingMgr* const manager = the_manager = new HIPClockingMgr;  // outlives whatever still runs at the end
  return manager;
}

HIPClockingSoln* HIPClockingMgr::getClkwizSoln(std::string& name) {
  if (name.empty()) return nullptr;
  return solvers_->get(name, [&name] { return std::make_shared<HIPClockingSoln>(name); });
}

void HIPClockingMgr::deleteClockingSoln(std::string& name) { solvers_->erase(name); }

void HIPClockingMgr::terminateInstance() {
  if (HIPClockingMgr* const manager = the_manager) manager->solvers_->clear();
}

}  // namespace Ip_Clocking
