#include "kdi/ip/HIPClkwiz.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <utility>

#include "kdi/common/ComMsgMgr.h"
#include "kdi/common/HEXAll.h"
#include "platform/ip/clock_faces/number_lists.h"
#include "platform/ip/clock_faces/part_primitives.h"
#include "platform/ip/clocking/models.h"
#include "platform/ip/clocking/queries.h"
#include "platform/ip/clocking/solver.h"

namespace Ip_Clkwiz {
namespace {

using namespace kdi::clocking;
namespace device = kdi::device;
using Kind = device::ClockPrimitiveKind;

// What a solve answers; scripts see the texts that stand for these numbers.
enum Status {
  kSolved = 1,
  kNoData = 2,
  kInputsTooFarApart = 3,
  kNoSolution = 4,
  kNoPhyOnPart = 5,
  kNoPhyOnMmcm = 6,
  kBadInput = 8
};

constexpr int kMostListed = 1000;
constexpr double kPsPerInverseMhz = 1e6;

// What is asked for, before it is known to make sense.
struct Question {
  std::string frequencies_mhz;
  std::string phases_deg;    // empty: 0
  std::string duty_percent;  // empty: 50
  double input_mhz = 0;
  double second_input_mhz = 0;
  int count = 0;
  bool whole_counters = false;
  bool use_pll = false;
  Preference preference = Preference::low_power;
  bool phy_output = false;
  double phy_mhz = 0;
};

Rational angle(double value, double turn) {
  constexpr double kMostTurns = 1000;
  if (!(std::abs(value) <= kMostTurns * turn))
    throw std::invalid_argument(number_text(value) + " is outside -" + number_text(kMostTurns * turn) + " to " +
                                number_text(kMostTurns * turn));
  return Rational::nearest(value, 1000000);
}

Rational frequency(char const* what, double mhz) {
  if (const auto hz = to_hz(mhz)) return *hz;
  throw std::invalid_argument(std::string(what) + " " + number_text(mhz) + " MHz is no frequency");
}

// The first `count` numbers of a list; none if it is empty and may be.
std::vector<double> first_numbers(char const* what, std::string const& list, std::size_t count, bool may_be_empty) {
  if (count == 0) return {};
  const auto values = read_numbers(list);
  if (!values) throw std::invalid_argument("the " + std::string(what) + " \"" + list + "\" are not all numbers");
  if (values->size() < count && !(may_be_empty && values->empty()))
    throw std::invalid_argument(std::to_string(count) + " clocks are asked for, with " +
                                std::to_string(values->size()) + " " + what);
  return *values;
}

device::ClockPrimitive const* with_phy_output(device::Part const& part, bool mmcm_too) {
  for (auto const& primitive : part.speed->clock_primitives)
    if (primitive.phy_output && (mmcm_too || primitive.kind != Kind::mmcm)) return &primitive;
  return nullptr;
}

bool is_near(double a, double b) {
  constexpr double kFiguresOfScripts = 1e-4;  // they have three decimals
  return std::abs(a - b) <= kFiguresOfScripts * std::abs(b);
}

}  // namespace

struct HIPClkwizImp::State {
  std::string part_name;
  device::Part const* part = nullptr;
  bool low_bandwidth = false;
  bool dynamic_reconfiguration = false;
  bool spread = false;
  bool fine_phase = false;
  std::string spread_mode;
  double modulation_khz = 0;
  double input_jitter_ui = 0;

  // The last request, and what came of it.
  device::ClockPrimitive const* data = nullptr;
  Primitive primitive;
  Request request;
  std::optional<Solution> solution;
  std::string fault;  // why there is none

  Primitive solver_primitive(device::ClockPrimitive const& of) const {
    return kdi::clocking::solver_primitive(*part, of, fine_phase);
  }

  // The options; the clocks are still to fill in.
  Request options(device::ClockPrimitive const& of, bool input_buffer) const {
    Request asked;
    asked.bandwidth = low_bandwidth ? Bandwidth::low : Bandwidth::optimized;
    asked.fine_phase = fine_phase;
    if (input_buffer && !part->speed->clock_buffers.empty())
      asked.input_buffer = part->speed->clock_buffers.front().name;
    if (!spread) return asked;
    if (!of.spread_spectrum) throw std::invalid_argument(of.name + " has no spread spectrum");
    device::SpreadSpectrum const& can = *of.spread_spectrum;
    const double khz = modulation_khz == 0 ? can.modulation_khz.min : modulation_khz;
    if (!(khz > 0 && khz < 1e5))
      throw std::invalid_argument("modulation frequency " + number_text(khz) + " kHz is outside " +
                                  number_text(can.modulation_khz.min) + " to " + number_text(can.modulation_khz.max));
    asked.spread =
        SpreadRequest{spread_mode.empty() ? can.modes.front().name : spread_mode, Rational::nearest(khz * 1000, 1000)};
    return asked;
  }

  // The part's first primitive of the kind, or of the kind that has the output for I/O banks.
  device::ClockPrimitive const* choose(bool use_pll, bool phy_output) const {
    if (!use_pll) return part->clock_primitive(Kind::mmcm);
    device::ClockPrimitive const* const pll = part->clock_primitive(Kind::pll);
    if (phy_output && (pll == nullptr || !pll->phy_output)) return with_phy_output(*part, false);
    return pll;
  }

  int solve(Question const& question, bool input_buffer);
  /// Why the clocks are beyond the primitive's limits, or empty. Throws std::invalid_argument if they make no sense.
  std::string fill_in(Question const& question, device::ClockPrimitive const& of);
  /// What the solver has to say of a request whose input is outside the primitive's limits.
  std::string advice(Question const& question, device::ClockPrimitive const& of, bool input_buffer);
  int refuse(Status status, std::string const& reason);

  OutputSolution const* output(int index) const {
    if (!solution || index < 0 || static_cast<std::size_t>(index) >= solution->outputs.size()) return nullptr;
    return &solution->outputs[static_cast<std::size_t>(index)];
  }

  // The primitive whose loop is asked about.
  device::ClockPrimitive const* loop_owner() const {
    if (data != nullptr) return data;
    if (part == nullptr) return nullptr;
    if (auto const* const mmcm = part->clock_primitive(Kind::mmcm)) return mmcm;
    return part->speed->clock_primitives.empty() ? nullptr : &part->speed->clock_primitives.front();
  }
  device::LoopModel const* find_loop(std::string const& bandwidth, double input_mhz, double vco_mhz,
                                     std::string& error) const;
  std::optional<double> find_pfd_mhz(double input_mhz, double vco_mhz) const;
  Rational mmcm_divider(double divide, bool fractional, Primitive const& mmcm) const;
  device::ClockPrimitive const& mmcm(char const* operation) const;
};

// For whoever wants to know why: the status has no room for it.
int HIPClkwizImp::State::refuse(Status status, std::string const& reason) {
  fault = reason;
  ComMsgMgr::sendScopedMsg::eval(1, __FILE__, __LINE__, "tcltasks", "HIPClocking", ComMsgMgr::MSG_DEBUG1, "%s",
                                 reason.c_str());
  return status;
}

std::string HIPClkwizImp::State::advice(Question const& question, device::ClockPrimitive const& of, bool input_buffer) {
  try {
    request = options(of, input_buffer);
    fill_in(question, of);
    const std::string words = kdi::clocking::solve(solver_primitive(of), request).error;
    return words.empty() ? words : ". " + words;  // within the limits to the nearest Hz
  } catch (std::invalid_argument const& exception) {
    return std::string(". ") + exception.what();
  }
}

std::string HIPClkwizImp::State::fill_in(Question const& question, device::ClockPrimitive const& of) {
  request.input_hz = frequency("input", question.input_mhz);
  if (question.second_input_mhz != 0) request.second_input_hz = frequency("second input", question.second_input_mhz);
  request.input_jitter_ps = input_jitter_ui * kPsPerInverseMhz / question.input_mhz;
  request.whole_counters = question.whole_counters;
  request.preference = question.preference;
  const auto count = static_cast<std::size_t>(std::max(question.count, 0));
  const auto frequencies = first_numbers("frequencies", question.frequencies_mhz, count, false);
  const auto phases = first_numbers("phases", question.phases_deg, count, true);
  const auto duty_cycles = first_numbers("duty cycles", question.duty_percent, count, true);
  std::string beyond;
  for (std::size_t i = 0; i < count; ++i) {
    OutputRequest output;
    if (beyond.empty()) beyond = outside("output frequency", frequencies[i], of.output_mhz);
    output.frequency_hz = frequency("output", frequencies[i]);
    if (!phases.empty()) output.phase_deg = angle(phases[i], 360);
    if (!duty_cycles.empty()) output.duty = angle(duty_cycles[i] / 100, 1);
    request.outputs.push_back(output);
  }
  if (question.phy_output) {
    if (beyond.empty()) beyond = outside("clkoutphy", question.phy_mhz, of.phy_output->output_mhz);
    request.high_speed_hz = frequency("clkoutphy", question.phy_mhz);
  }
  return beyond;
}

int HIPClkwizImp::State::solve(Question const& question, bool input_buffer) {
  data = nullptr;
  solution.reset();
  fault.clear();
  request = {};
  if (part == nullptr) return refuse(kNoData, "part \"" + part_name + "\" is not known");
  if (question.phy_output && with_phy_output(*part, true) == nullptr)
    return refuse(kNoPhyOnPart, "no primitive of " + part->name + " has an output for I/O banks");
  device::ClockPrimitive const* const chosen = choose(question.use_pll, question.phy_output);
  if (question.phy_output && (chosen == nullptr || !chosen->phy_output))
    return refuse(kNoPhyOnMmcm, "the MMCM has no output for I/O banks");
  if (chosen == nullptr) return refuse(kNoData, part->name + " has no primitive of this kind");
  std::string beyond = outside("input frequency", question.input_mhz, chosen->input_mhz);
  if (beyond.empty() && question.second_input_mhz != 0)
    beyond = outside("second input frequency", question.second_input_mhz, chosen->input_mhz);
  if (!beyond.empty()) return refuse(kBadInput, beyond + advice(question, *chosen, input_buffer));
  if (question.count < 1 && !question.phy_output) return refuse(kNoSolution, "no clock is asked for");
  if (input_jitter_ui > chosen->input_jitter_max_ui)
    return refuse(kNoSolution, "input jitter " + number_text(input_jitter_ui) + " UI is above " +
                                   number_text(chosen->input_jitter_max_ui));
  if (dynamic_reconfiguration && !chosen->dynamic_reconfiguration)
    return refuse(kNoSolution, "the counters of " + chosen->name + " do not change while it runs");
  try {
    primitive = solver_primitive(*chosen);
    request = options(*chosen, input_buffer);
    beyond = fill_in(question, *chosen);
    if (!beyond.empty()) return refuse(kNoSolution, with_nearest(beyond, primitive, request));
  } catch (std::invalid_argument const& exception) {
    return refuse(kNoSolution, exception.what());
  }
  data = chosen;

  Result result = kdi::clocking::solve(primitive, request);
  if (result.solution) {
    solution = std::move(result.solution);
    return kSolved;
  }
  if (request.second_input_hz) {
    const auto is_solved_from = [&](Rational const& input) {
      Request alone = request;
      alone.input_hz = input;
      alone.second_input_hz.reset();
      return kdi::clocking::solve(primitive, alone).solution.has_value();
    };
    if (is_solved_from(request.input_hz) && is_solved_from(*request.second_input_hz))
      return refuse(kInputsTooFarApart, result.error);
  }
  return refuse(kNoSolution, result.error);
}

HIPClkwizImp::HIPClkwizImp() : state_(std::make_unique<State>()) {}
HIPClkwizImp::~HIPClkwizImp() = default;

void HIPClkwizImp::setPart(std::string part) {
  state_->data = nullptr;
  state_->solution.reset();
  state_->part = find_part(part);
  state_->part_name = std::move(part);
}
void HIPClkwizImp::setLowBandwidth(bool on) { state_->low_bandwidth = on; }
void HIPClkwizImp::setDynReconfig(bool on) { state_->dynamic_reconfiguration = on; }
void HIPClkwizImp::setSpreadSpectrum(bool on) { state_->spread = on; }
void HIPClkwizImp::setFinePS(bool on) { state_->fine_phase = on; }
void HIPClkwizImp::setSSMode(std::string& mode) { state_->spread_mode = mode; }
void HIPClkwizImp::setSSModFreq(double& kHz) { state_->modulation_khz = kHz; }
void HIPClkwizImp::setClkInUIJitter(double& ui) { state_->input_jitter_ui = ui; }

// ------------------------------------------------------------------------------------------------- jitter and phase

device::LoopModel const* HIPClkwizImp::State::find_loop(std::string const& bandwidth, double input_mhz, double vco_mhz,
                                                        std::string& error) const {
  device::ClockPrimitive const* const owner = loop_owner();
  if (owner == nullptr) {
    error = "part \"" + part_name + "\" is not known, or has no clock primitive";
    return nullptr;
  }
  error = outside("input frequency", input_mhz, owner->input_mhz);
  if (error.empty()) error = outside("VCO frequency", vco_mhz, owner->vco_mhz);
  if (!error.empty()) return nullptr;
  const auto known = bandwidth_of(bandwidth);
  if (!known) {
    error = "bandwidth \"" + bandwidth + "\" is none of LOW, HIGH, OPTIMIZED";
    return nullptr;
  }
  device::LoopModel const* const loop = owner->loop(*known);
  if (loop == nullptr) error = owner->name + " has no bandwidth " + bandwidth;
  return loop;
}

bool HIPClkwizImp::getPkToPkJitter(double fIn, double fVco, double fOut, std::string& bandwidth, double inputJitter,
                                   double ssModFreq, std::string& error, double* result) {
  error.clear();
  device::LoopModel const* const loop = state_->find_loop(bandwidth, fIn, fVco, error);
  if (loop == nullptr) return false;
  error = outside("output frequency", fOut, state_->loop_owner()->output_mhz);
  if (error.empty() && !(inputJitter >= 0 && inputJitter <= 1e6))
    error = "input jitter " + number_text(inputJitter) + " ps is outside 0 to 1000000";
  if (error.empty() && !(ssModFreq >= 0 && ssModFreq <= 1e6))
    error = "modulation frequency " + number_text(ssModFreq) + " kHz is outside 0 to 1000000";
  if (!error.empty()) return false;
  *result = jitter_ps(*loop, inputJitter, fVco, ssModFreq > 0, state_->fine_phase);
  return true;
}

// The phase detector's frequency: of the last solution if it is meant, otherwise with the smallest D that there is an M
// for.
std::optional<double> HIPClkwizImp::State::find_pfd_mhz(double input_mhz, double vco_mhz) const {
  constexpr double kHzPerMhz = 1e6;
  if (solution && is_near(request.input_hz.to_double() / kHzPerMhz, input_mhz) &&
      is_near(solution->vco_hz.to_double() / kHzPerMhz, vco_mhz))
    return input_mhz / solution->input_divider;
  device::ClockPrimitive const& owner = *loop_owner();
  const std::vector<int> multipliers = counter_values(solver_primitive(owner).multiplier, false);
  for (int d = owner.divide.min; d <= owner.divide.max; ++d) {
    const double pfd = input_mhz / d;
    if (!owner.pfd_mhz.contains(pfd)) continue;
    const double wanted = vco_mhz / pfd * kUnit;
    const auto above = std::ranges::lower_bound(multipliers, static_cast<int>(std::min(wanted, 1e6)));
    for (auto m : {above, above == multipliers.end() ? above : above + 1})
      if (m != multipliers.end() && is_near(*m, wanted)) return pfd;
  }
  return std::nullopt;
}

bool HIPClkwizImp::getPhaseError(double fIn, double fVco, std::string& bandwidth, std::string& error, double* result) {
  error.clear();
  device::LoopModel const* const loop = state_->find_loop(bandwidth, fIn, fVco, error);
  if (loop == nullptr) return false;
  const auto pfd = state_->find_pfd_mhz(fIn, fVco);
  if (!pfd) {
    error = "no M and D make a VCO frequency of " + number_text(fVco) + " MHz from " + number_text(fIn) + " MHz";
    return false;
  }
  *result = phase_error_ps(*loop, *pfd);
  return true;
}

// ---------------------------------------------------------------------------------------------------------- solving

namespace {

// The solved values of `count` outputs in the place of those that were asked for.
template <class Value>
std::string rewritten(Solution const& solution, Value value) {
  std::string list;
  for (OutputSolution const& output : solution.outputs) append_word(list, value(output));
  return list;
}
std::string frequency_text(OutputSolution const& output) { return mhz_text(output.frequency_hz); }

}  // namespace

int HIPClkwizImp::getMinPowerOutFreqs(std::string& freqs, double fIn1, double fIn2, int count, bool minJitter,
                                      bool integerOnly, int usePll, bool minPower, double /*inPeriod*/, bool clkoutPhy,
                                      double clkoutPhyFreq) {
  const Preference preference = minJitter && !minPower ? Preference::low_jitter : Preference::low_power;
  const int status =
      state_->solve({freqs, "", "", fIn1, fIn2, count, integerOnly, usePll != 0, preference, clkoutPhy, clkoutPhyFreq},
                    globalBufferInputClk);
  if (status == kSolved) freqs = rewritten(*state_->solution, frequency_text);
  return status;
}

int HIPClkwizImp::getClosestSolution(std::string& freqs, std::string& phases, std::string& dutyCycles, double fIn1,
                                     double fIn2, int count, bool minJitter, bool integerOnly, int usePll,
                                     double /*inPeriod*/, bool minPower, bool clkoutPhy, double clkoutPhyFreq) {
  const Preference preference = minPower && !minJitter ? Preference::low_power : Preference::low_jitter;
  const int status = state_->solve(
      {freqs, phases, dutyCycles, fIn1, fIn2, count, integerOnly, usePll != 0, preference, clkoutPhy, clkoutPhyFreq},
      globalBufferInputClk);
  if (status == kSolved) {
    freqs = rewritten(*state_->solution, frequency_text);
    phases = rewritten(*state_->solution, [](OutputSolution const& output) { return output.phase_deg.text(); });
    dutyCycles = rewritten(*state_->solution, [](OutputSolution const& output) { return (output.duty * 100).text(); });
  }
  return status;
}

// ----------------------------------------------------------------------------------------------- phases, duty cycles

device::ClockPrimitive const& HIPClkwizImp::State::mmcm(char const* operation) const {
  if (part == nullptr) throw HEXAlgException(std::string(operation) + ": part \"" + part_name + "\" is not known");
  device::ClockPrimitive const* const found = part->clock_primitive(Kind::mmcm);
  if (found == nullptr) throw HEXAlgException(std::string(operation) + ": " + part->name + " has no MMCM");
  return *found;
}

// The value of the first output's counter that is nearest to `divide`.
Rational HIPClkwizImp::State::mmcm_divider(double divide, bool fractional, Primitive const& mmcm) const {
  CounterSpec const& spec = mmcm.outputs.front().divider;
  if (!(divide >= spec.min && divide <= spec.max))
    throw HEXAlgException("the divider " + number_text(divide) + " is outside " + std::to_string(spec.min) + " to " +
                          std::to_string(spec.max));
  const std::vector<int> values = counter_values(spec, !fractional);
  const double wanted = divide * kUnit;
  const auto nearest = std::ranges::min_element(values, {}, [wanted](int value) { return std::abs(value - wanted); });
  return {*nearest, kUnit};
}

double HIPClkwizImp::mmcmCalculateActualPhase(double& phase, double& divide, bool fractional) {
  const Primitive mmcm = state_->solver_primitive(state_->mmcm("the actual phase"));
  const Rational divider = state_->mmcm_divider(divide, fractional, mmcm);
  return actual_phase_deg(mmcm, divider, angle(phase, 360), state_->fine_phase).to_double();
}

double HIPClkwizImp::mmcmCalculateActualDutyCycle(double& dutyCycle, double& divide, bool fractional) {
  const Primitive mmcm = state_->solver_primitive(state_->mmcm("the actual duty cycle"));
  const Rational divider = state_->mmcm_divider(divide, fractional, mmcm);
  if (!(dutyCycle >= 1e-4 && dutyCycle <= 100 - 1e-4))
    throw HEXAlgException("the duty cycle " + number_text(dutyCycle) + " is outside 0 to 100 percent, both excluded");
  return actual_duty(mmcm, divider, angle(dutyCycle / 100, 1)).to_double();
}

// --------------------------------------------------------------------------------------------------- last solution

namespace {

double mhz(Rational const& hz) { return hz.to_double() / 1e6; }

}  // namespace

std::string HIPClkwizImp::getFault() const { return state_->fault; }
double HIPClkwizImp::getChosenM() { return state_->solution ? state_->solution->multiplier.to_double() : 0; }
int HIPClkwizImp::getChosenD() { return state_->solution ? state_->solution->input_divider : 0; }
double HIPClkwizImp::getChosenVCO() { return state_->solution ? mhz(state_->solution->vco_hz) : 0; }
double HIPClkwizImp::getChosenDiv0() {
  OutputSolution const* const output = state_->output(0);
  return output == nullptr ? 0 : output->divider.to_double();
}
int HIPClkwizImp::getChosenDivN(int index) {
  OutputSolution const* const output = state_->output(index);
  return output == nullptr ? 0 : static_cast<int>(output->divider.floor());
}
double HIPClkwizImp::getChosenOutFreqN(int index) {
  OutputSolution const* const output = state_->output(index);
  return output == nullptr ? 0 : mhz(output->frequency_hz);
}
double HIPClkwizImp::getChosenPhaseN(int index) {
  OutputSolution const* const output = state_->output(index);
  return output == nullptr ? 0 : output->phase_deg.to_double();
}
double HIPClkwizImp::getChosenDutyCycleN(int index) {
  OutputSolution const* const output = state_->output(index);
  return output == nullptr ? 0 : output->duty.to_double() * 100;
}
double HIPClkwizImp::getActualModFreq() {
  return state_->solution && state_->solution->modulation_hz ? state_->solution->modulation_hz->to_double() / 1000 : 0;
}
std::string HIPClkwizImp::getChosenClkoutXiPhyMode() {
  return state_->solution ? state_->solution->high_speed_mode : std::string();
}
double HIPClkwizImp::getActualClkoutXiPhyFreq() {
  return state_->solution && state_->solution->high_speed ? mhz(state_->solution->high_speed->frequency_hz) : 0;
}

// ------------------------------------------------------------------------------------------------------ speed data

bool HIPClkwizImp::getKeyValue(std::string key, double* value) {
  const std::string wanted = std::move(key);
  const auto found = state_->part == nullptr ? std::nullopt : state_->part->speed_key(wanted);
  if (!found) return false;
  *value = *found;
  return true;
}

bool HIPClkwizImp::getMinPeriodSpdData(std::string const& buffer, std::string& text) {
  device::ClockBuffer const* const found = state_->part == nullptr ? nullptr : state_->part->clock_buffer(buffer);
  if (found == nullptr) return false;
  text = fixed_text(found->period_ns.min, 3);
  return true;
}

bool HIPClkwizImp::getMaxPeriodSpdData(std::string& text) {
  if (state_->part == nullptr || state_->part->speed->clock_buffers.empty()) return false;
  text = fixed_text(state_->part->speed->clock_buffers.front().period_ns.max, 3);
  return true;
}

// ------------------------------------------------------------------------------------------------ achievable clocks

namespace {

// What a question for a list needs to make sense; empty, or why it does not.
std::string fault_of_list(double frequency_mhz, int count, double margin) {
  if (!to_hz(frequency_mhz)) return number_text(frequency_mhz) + " MHz is no frequency";
  if (count < 1 || count > kMostListed)
    return "the count " + std::to_string(count) + " is outside 1 to " + std::to_string(kMostListed);
  if (!(margin >= 0 && margin <= 1e6)) return "the margin " + number_text(margin) + " is outside 0 to 1000000 percent";
  return {};
}

std::string list_within(std::vector<Rational> const& found_hz, double aim_mhz, double margin) {
  const double aim = to_hz(aim_mhz)->to_double();
  std::string list;
  for (Rational const& hz : found_hz)
    if (std::abs(hz.to_double() - aim) <= aim * margin / 100) append_word(list, mhz_text(hz));
  return list;
}

// The frequency of each range that is nearest to `aim`, nearest first.
std::vector<Rational> nearest_of(std::vector<Range> const& ranges, Rational const& aim) {
  std::vector<Rational> points;
  points.reserve(ranges.size());
  for (Range const& range : ranges) points.push_back(std::clamp(aim, range.min, range.max));
  std::ranges::stable_sort(points, {}, [&aim](Rational const& point) { return abs(point - aim); });
  return points;
}

}  // namespace

bool HIPClkwizImp::getClkwizOutputFrequencies(double const& frequency, int const& count, int const& count2,
                                              std::string& text, double margin) {
  text = fault_of_list(frequency, count, margin);
  if (text.empty() && state_->data == nullptr) text = "nothing was solved yet, so there is no input clock";
  if (text.empty() && (count2 < 0 || static_cast<std::size_t>(count2) >= state_->primitive.outputs.size()))
    text =
        "output " + std::to_string(count2) + " is outside 0 to " + std::to_string(state_->primitive.outputs.size() - 1);
  if (!text.empty()) return false;
  if (const auto fault = check(state_->primitive, state_->request)) {
    text = *fault;
    return false;
  }
  try {
    text = list_within(closest_outputs(state_->primitive, state_->request, static_cast<std::size_t>(count2),
                                       *to_hz(frequency), static_cast<std::size_t>(count)),
                       frequency, margin);
    return true;
  } catch (std::overflow_error const&) {
    text = kTooFine;
    return false;
  }
}

bool HIPClkwizImp::getClkwizInputFrequencies(std::string const& name, double const& frequency,
                                             std::vector<double> const& list, int const& count, std::string& text,
                                             double margin) {
  text = fault_of_list(frequency, count, margin);
  if (!text.empty()) return false;
  device::ClockPrimitive const* const data = state_->part == nullptr ? nullptr : state_->part->clock_primitive(name);
  if (data == nullptr) {
    text = state_->part == nullptr ? "part \"" + state_->part_name + "\" is not known"
                                   : state_->part->name + " has no clock primitive \"" + name + "\"";
    return false;
  }
  try {
    const Primitive primitive = state_->solver_primitive(*data);
    Request request = state_->options(*data, globalBufferInputClk);
    request.input_hz = *to_hz(frequency);
    for (double output : list) {
      OutputRequest asked;
      asked.frequency_hz = kdi::clocking::to_hz(output).value_or(Rational(0));
      request.outputs.push_back(asked);
    }
    auto fault = check(primitive);
    if (!fault) fault = check(primitive, request);
    if (fault) {
      text = *fault;
      return false;
    }
    std::vector<Rational> found = list.empty() ? nearest_of(input_ranges(primitive, request), request.input_hz)
                                               : exact_inputs(primitive, request, static_cast<std::size_t>(count));
    if (found.size() > static_cast<std::size_t>(count)) found.resize(static_cast<std::size_t>(count));
    text = list_within(found, frequency, margin);
  } catch (std::invalid_argument const& exception) {
    text = exception.what();
    return false;
  } catch (std::overflow_error const&) {
    text = kTooFine;
    return false;
  }
  return true;
}

// ---------------------------------------------------------------------------------------------------------- manager

HIPClkwizTclMgr* HIPClkwizTclMgr::GetInstance() {
  static auto* const manager = new HIPClkwizTclMgr;  // outlives whatever still runs while the process ends
  return manager;
}

HIPClkwizImp* HIPClkwizTclMgr::getClkwizImp(std::string& part, std::string& instance) {
  auto& solver = solvers_[{part, instance}];
  if (!solver) solver = std::make_unique<HIPClkwizImp>();
  return solver.get();
}

void HIPClkwizTclMgr::deleteClkwizImp(std::string& part, std::string& instance) { solvers_.erase({part, instance}); }

void HIPClkwizTclMgr::changeCompInstName(std::string& part, std::string& oldName, std::string& newName) {
  auto node = solvers_.extract({part, oldName});
  if (node.empty()) return;
  solvers_.erase({part, newName});
  node.key().second = newName;
  solvers_.insert(std::move(node));
}

}  // namespace Ip_Clkwiz
