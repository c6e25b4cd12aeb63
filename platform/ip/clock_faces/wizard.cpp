#include "platform/ip/clock_faces/wizard.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <utility>

#include "kdi/common/KdiNumber.h"
#include "kdi/common/KdiText.h"
#include "kdi/device/parts.h"
#include "platform/ip/clock_faces/dictionaries.h"
#include "platform/ip/clock_faces/number_lists.h"
#include "platform/ip/clock_faces/part_primitives.h"
#include "platform/ip/clocking/models.h"
#include "platform/ip/clocking/queries.h"

namespace kdi::clocking {
namespace {

using Kind = device::ClockPrimitiveKind;
using number::plain;

constexpr int kMostListed = 1000;
constexpr double kPsPerInverseMhz = 1e6;

// A Fault with the status that it means.
struct Refusal : Fault {
  Status status;
};

// The first `count` numbers of a list; none if it is empty and may be.
enum class Empty { means_none, is_too_few };
std::vector<double> first_numbers(char const* what, std::string const& list, std::size_t count, Empty empty) {
  if (count == 0) return {};
  auto values = read_numbers(list);
  if (!values) throw Fault{"the " + std::string(what) + " " + text::shown(list) + " are not all numbers"};
  if (values->empty() && empty == Empty::means_none) return {};
  if (values->size() < count)
    throw Fault{std::to_string(count) + " clocks are asked for, with " + std::to_string(values->size()) + " " + what};
  values->resize(count);
  return std::move(*values);
}

// To the nearest 10^-6, where the other ways to the solver ask for it to be given so.
Rational rounded_duty(double percent) { return angle("duty cycle", percent / 100, -1000, 1000); }

std::vector<Wish> wishes_of(ClockWizard::Question const& question) {
  const auto count = static_cast<std::size_t>(std::max(question.count, 0));
  const auto frequencies = first_numbers("frequencies", question.frequencies_mhz, count, Empty::is_too_few);
  const auto phases = first_numbers("phases", question.phases_deg, count, Empty::means_none);
  const auto duty_cycles = first_numbers("duty cycles", question.duty_percent, count, Empty::means_none);
  std::vector<Wish> wishes(frequencies.size());
  for (std::size_t i = 0; i < wishes.size(); ++i) {
    wishes[i].frequency_mhz = frequencies[i];
    if (!phases.empty()) wishes[i].phase_deg = phases[i];
    if (!duty_cycles.empty()) wishes[i].duty_percent = duty_cycles[i];
  }
  return wishes;
}

device::ClockPrimitive const* with_phy_output(device::Part const& part, bool mmcm_too) {
  for (auto const& primitive : part.speed->clock_primitives)
    if (primitive.phy_output && (mmcm_too || primitive.kind != Kind::mmcm)) return &primitive;
  return nullptr;
}

// The part's first primitive of the kind, or of the kind that has the output for I/O banks.
device::ClockPrimitive const* find_primitive(device::Part const& part, bool use_pll, bool phy_output) {
  if (!use_pll) return part.clock_primitive(Kind::mmcm);
  device::ClockPrimitive const* const pll = part.clock_primitive(Kind::pll);
  if (phy_output && (pll == nullptr || !pll->phy_output)) return with_phy_output(part, false);
  return pll;
}

bool is_near(double a, double b) {
  constexpr double kFiguresOfScripts = 1e-4;  // they have three decimals
  return std::abs(a - b) <= kFiguresOfScripts * std::abs(b);
}

}  // namespace

void ClockWizard::set_part(std::string name, device::Part const* part) {
  forget();
  part_name_ = std::move(name);
  part_ = part;
}

void ClockWizard::forget() {
  data_ = nullptr;
  solution_.reset();
}

OutputSolution const* ClockWizard::output(int index) const {
  if (!solution_ || index < 0 || static_cast<std::size_t>(index) >= solution_->outputs.size()) return nullptr;
  return &solution_->outputs[static_cast<std::size_t>(index)];
}

std::optional<double> ClockWizard::speed_key(std::string const& key) const {
  return part_ == nullptr ? std::nullopt : part_->speed_key(key);
}

device::ClockBuffer const* ClockWizard::buffer(std::string const& name) const {
  return part_ == nullptr ? nullptr : part_->clock_buffer(name);
}

device::ClockBuffer const* ClockWizard::first_buffer() const {
  return part_ == nullptr || part_->speed->clock_buffers.empty() ? nullptr : &part_->speed->clock_buffers.front();
}

// ---------------------------------------------------------------------------------------------------------- solving

Status ClockWizard::solve(Question const& question) {
  forget();
  fault_.clear();
  try {
    device::ClockPrimitive const& chosen = choose(question);
    check_inputs(question, chosen);
    check_options(question, chosen);
    return solve_request(chosen, question);
  } catch (Refusal const& refusal) {
    fault_ = refusal.text;
    return refusal.status;
  } catch (Fault const& fault) {
    fault_ = fault.text;
    return Status::no_solution;
  }
}

device::ClockPrimitive const& ClockWizard::choose(Question const& question) const {
  if (part_ == nullptr) throw Refusal{{device::unknown_part(part_name_)}, Status::no_data};
  if (question.phy_output && with_phy_output(*part_, true) == nullptr)
    throw Refusal{{"no primitive of " + part_->name + " has an output for I/O banks"}, Status::no_phy_on_part};
  device::ClockPrimitive const* const chosen = find_primitive(*part_, question.use_pll, question.phy_output);
  if (question.phy_output && (chosen == nullptr || !chosen->phy_output))
    throw Refusal{{"the MMCM has no output for I/O banks"}, Status::no_phy_on_mmcm};
  if (chosen == nullptr) throw Refusal{{part_->name + " has no primitive of this kind"}, Status::no_data};
  return *chosen;
}

void ClockWizard::check_inputs(Question const& question, device::ClockPrimitive const& chosen) const {
  std::string beyond = outside("input frequency", question.input_mhz, chosen.input_mhz);
  if (beyond.empty() && question.second_input_mhz != 0)
    beyond = outside("second input frequency", question.second_input_mhz, chosen.input_mhz);
  if (!beyond.empty()) throw Refusal{{beyond + advice(question, chosen)}, Status::bad_input};
}

void ClockWizard::check_options(Question const& question, device::ClockPrimitive const& chosen) const {
  if (question.count < 1 && !question.phy_output) throw Fault{"no clock is asked for"};
  if (options.input_jitter_ui > chosen.input_jitter_max_ui)
    throw Fault{"input jitter " + plain(options.input_jitter_ui) + " UI is above " + plain(chosen.input_jitter_max_ui)};
  if (options.dynamic_reconfiguration && !chosen.dynamic_reconfiguration)
    throw Fault{"the counters of " + chosen.name + " do not change while it runs"};
}

// What the solver has to say of a request whose input is outside the primitive's limits.
std::string ClockWizard::advice(Question const& question, device::ClockPrimitive const& chosen) const {
  try {
    std::string beyond;
    const Request request = request_for(question, chosen, beyond);
    const std::string words = clocking::solve(solver_primitive(chosen), request).error;
    return words.empty() ? words : ". " + words;  // within the limits to the nearest Hz
  } catch (Fault const& fault) {
    return ". " + fault.text;
  }
}

Status ClockWizard::solve_request(device::ClockPrimitive const& chosen, Question const& question) {
  primitive_ = solver_primitive(chosen);
  std::string beyond;
  request_ = request_for(question, chosen, beyond);
  if (!beyond.empty()) throw Fault{with_nearest(beyond, primitive_, request_)};
  data_ = &chosen;

  Result result = clocking::solve(primitive_, request_);
  solution_ = std::move(result.solution);
  if (solution_) return Status::solved;
  fault_ = std::move(result.error);
  if (!request_.second_input_hz) return Status::no_solution;
  const auto is_solved_from = [this](Rational const& input) {
    Request alone = request_;
    alone.input_hz = input;
    alone.second_input_hz.reset();
    return best_setting(primitive_, alone).has_value();
  };
  return is_solved_from(request_.input_hz) && is_solved_from(*request_.second_input_hz) ? Status::inputs_too_far_apart
                                                                                        : Status::no_solution;
}

// `beyond` receives what is outside the primitive's limits.
Request ClockWizard::request_for(Question const& question, device::ClockPrimitive const& data,
                                 std::string& beyond) const {
  Request request = options_for(data, question.input_buffer);
  request.input_jitter_ps = options.input_jitter_ui * kPsPerInverseMhz / question.input_mhz;
  request.whole_counters = question.whole_counters;
  request.preference = question.preference;
  add_inputs(request, question.input_mhz, if_any(question.second_input_mhz));
  const std::vector<Wish> wishes = wishes_of(question);
  add_outputs(request, wishes, rounded_duty);
  beyond = beyond_limits(wishes, data);
  if (question.phy_output) {
    if (beyond.empty()) beyond = outside("clkoutphy", question.phy_mhz, data.phy_output->output_mhz);
    request.high_speed_hz = frequency("clkoutphy", question.phy_mhz);
  }
  return request;
}

// A request with the options; the clocks are still to be added.
Request ClockWizard::options_for(device::ClockPrimitive const& data, bool input_buffer) const {
  Request request;
  request.bandwidth = options.low_bandwidth ? Bandwidth::low : Bandwidth::optimized;
  request.fine_phase = options.fine_phase;
  if (input_buffer && first_buffer() != nullptr) request.input_buffer = first_buffer()->name;
  if (!options.spread) return request;
  if (!data.spread_spectrum) throw Fault{data.name + " has no spread spectrum"};
  device::SpreadSpectrum const& can = *data.spread_spectrum;
  const double khz = options.modulation_khz == 0 ? can.modulation_khz.min : options.modulation_khz;
  if (!(khz > 0 && khz < 1e5))
    throw Fault{"modulation frequency " + plain(khz) + " kHz is outside " + plain(can.modulation_khz.min) + " to " +
                plain(can.modulation_khz.max)};
  request.spread = SpreadRequest{options.spread_mode.empty() ? can.modes.front().name : options.spread_mode,
                                 Rational::nearest(khz * 1000, 1000)};
  return request;
}

Primitive ClockWizard::solver_primitive(device::ClockPrimitive const& data) const {
  return clocking::solver_primitive(*part_, data, options.fine_phase);
}

// ------------------------------------------------------------------------------------------------- jitter and phase

// The primitive whose loop is asked about.
device::ClockPrimitive const& ClockWizard::loop_owner() const {
  if (data_ != nullptr) return *data_;
  if (part_ != nullptr) {
    if (auto const* const mmcm = part_->clock_primitive(Kind::mmcm)) return *mmcm;
    if (!part_->speed->clock_primitives.empty()) return part_->speed->clock_primitives.front();
  }
  throw Fault{device::unknown_part(part_name_) + ", or has no clock primitive"};
}

device::LoopModel const& ClockWizard::find_loop(std::string const& bandwidth, double input_mhz, double vco_mhz) const {
  device::ClockPrimitive const& owner = loop_owner();
  require_within("input frequency", input_mhz, owner.input_mhz);
  require_within("VCO frequency", vco_mhz, owner.vco_mhz);
  const auto known_bandwidth = bandwidth_of(bandwidth);
  if (!known_bandwidth) throw Fault{"bandwidth " + text::shown(bandwidth) + " is none of LOW, HIGH, OPTIMIZED"};
  if (device::LoopModel const* const loop = owner.loop(*known_bandwidth)) return *loop;
  throw Fault{owner.name + " has no bandwidth " + bandwidth};
}

double ClockWizard::jitter_ps(std::string const& bandwidth, double input_mhz, double vco_mhz, double output_mhz,
                              double input_jitter_ps, double modulation_khz) const {
  device::LoopModel const& loop = find_loop(bandwidth, input_mhz, vco_mhz);
  require_within("output frequency", output_mhz, loop_owner().output_mhz);
  if (input_jitter_ps == 0) input_jitter_ps = options.input_jitter_ui * kPsPerInverseMhz / input_mhz;
  if (!(input_jitter_ps >= 0 && input_jitter_ps <= 1e6))
    throw Fault{"input jitter " + plain(input_jitter_ps) + " ps is outside 0 to 1000000"};
  if (!(modulation_khz >= 0 && modulation_khz <= 1e6))
    throw Fault{"modulation frequency " + plain(modulation_khz) + " kHz is outside 0 to 1000000"};
  return clocking::jitter_ps(loop, input_jitter_ps, vco_mhz, modulation_khz > 0, options.fine_phase);
}

double ClockWizard::phase_error_ps(std::string const& bandwidth, double input_mhz, double vco_mhz) const {
  device::LoopModel const& loop = find_loop(bandwidth, input_mhz, vco_mhz);
  return clocking::phase_error_ps(loop, find_pfd_mhz(input_mhz, vco_mhz));
}

// The phase detector's frequency: of the last solution if it is meant, otherwise with the smallest D that there is an M
// for.
double ClockWizard::find_pfd_mhz(double input_mhz, double vco_mhz) const {
  if (solution_ && is_near(mhz(request_.input_hz), input_mhz) && is_near(mhz(solution_->vco_hz), vco_mhz))
    return input_mhz / solution_->input_divider;
  device::ClockPrimitive const& owner = loop_owner();
  const std::vector<int> multipliers = counter_values(solver_primitive(owner).multiplier, false);
  for (int d = owner.divide.min; d <= owner.divide.max; ++d) {
    const double pfd = input_mhz / d;
    if (!owner.pfd_mhz.contains(pfd)) continue;
    const double wanted = vco_mhz / pfd * kUnit;
    const auto above = std::ranges::lower_bound(multipliers, static_cast<int>(std::min(wanted, 1e6)));
    for (auto m : {above, above == multipliers.end() ? above : above + 1})
      if (m != multipliers.end() && is_near(*m, wanted)) return pfd;
  }
  throw Fault{"no M and D make a VCO frequency of " + plain(vco_mhz) + " MHz from " + plain(input_mhz) + " MHz"};
}

// ----------------------------------------------------------------------------------------------- phases, duty cycles

device::ClockPrimitive const& ClockWizard::mmcm(char const* operation) const {
  if (part_ == nullptr) throw Fault{std::string(operation) + ": " + device::unknown_part(part_name_)};
  if (auto const* const found = part_->clock_primitive(Kind::mmcm)) return *found;
  throw Fault{std::string(operation) + ": " + part_->name + " has no MMCM"};
}

Rational ClockWizard::actual_phase(double phase_deg, double divide, bool fractional) const {
  const Primitive primitive = solver_primitive(mmcm("the actual phase"));
  const Rational divider = divider_of(primitive, divide, !fractional);
  constexpr double kMost = 360000;
  if (!(std::abs(phase_deg) <= kMost))
    throw std::invalid_argument(plain(phase_deg) + " is outside " + plain(-kMost) + " to " + plain(kMost));
  return actual_phase_deg(primitive, divider, phase(phase_deg), options.fine_phase);
}

Rational ClockWizard::actual_duty(double duty_percent, double divide, bool fractional) const {
  const Primitive primitive = solver_primitive(mmcm("the actual duty cycle"));
  const Rational divider = divider_of(primitive, divide, !fractional);
  if (!(duty_percent >= 1e-4 && duty_percent <= 100 - 1e-4))
    throw Fault{"the duty cycle " + plain(duty_percent) + " is outside 0 to 100 percent, both excluded"};
  return clocking::actual_duty(primitive, divider, rounded_duty(duty_percent));
}

// ------------------------------------------------------------------------------------------------ achievable clocks

namespace {

// Throws what keeps a question for a list from making sense.
void check_list(double wanted_mhz, int count, double margin) {
  if (!to_hz(wanted_mhz)) throw Fault{plain(wanted_mhz) + " MHz is no frequency"};
  if (count < 1 || count > kMostListed)
    throw Fault{"the count " + std::to_string(count) + " is outside 1 to " + std::to_string(kMostListed)};
  if (!(margin >= 0 && margin <= 1e6)) throw Fault{"the margin " + plain(margin) + " is outside 0 to 1000000 percent"};
}

std::string list_within(std::vector<Rational> found_hz, double aim_mhz, double margin) {
  const double aim = to_hz(aim_mhz)->to_double();
  std::erase_if(found_hz, [&](Rational const& hz) { return !(std::abs(hz.to_double() - aim) <= aim * margin / 100); });
  return mhz_list(found_hz);
}

// The frequency of each range that is nearest to `aim`, nearest first.
std::vector<Rational> nearest_of(std::vector<Range> const& ranges, Rational const& aim) {
  std::vector<Rational> points;
  points.reserve(ranges.size());
  for (Range const& range : ranges) {
    // In whole Hz, and not beyond the range for that.
    const Rational low = range.min.ceil(), high = range.max.floor();
    if (low <= high) points.push_back(std::clamp(aim, low, high));
  }
  std::ranges::stable_sort(points, {}, [&aim](Rational const& point) { return abs(point - aim); });
  return points;
}

}  // namespace

namespace {

// The nearest outputs, in whole Hz as they are told, none of them twice.
std::vector<Rational> distinct_outputs(Primitive const& primitive, Request const& request, std::size_t index,
                                       Rational const& wanted, std::size_t count) {
  constexpr std::size_t kMostAsked = 1 << 16;
  for (std::size_t asked = count;; asked *= 4) {
    const std::vector<Rational> found = closest_outputs(primitive, request, index, wanted, asked);
    std::vector<Rational> distinct;
    for (Rational const& hz : found) {
      const Rational whole = (hz + Rational(1, 2)).floor();
      if (distinct.size() < count && std::ranges::find(distinct, whole) == distinct.end()) distinct.push_back(whole);
    }
    if (distinct.size() == count || found.size() < asked || asked >= kMostAsked) return distinct;
  }
}

}  // namespace

std::string ClockWizard::output_frequencies(double wanted_mhz, int count, int index, double margin) const {
  check_list(wanted_mhz, count, margin);
  if (data_ == nullptr) throw Fault{"nothing was solved yet, so there is no input clock"};
  if (index < 0 || static_cast<std::size_t>(index) >= primitive_.outputs.size())
    throw Fault{"output " + std::to_string(index) + " is outside 0 to " +
                std::to_string(primitive_.outputs.size() - 1)};
  require(check(primitive_, request_));
  return list_within(distinct_outputs(primitive_, request_, static_cast<std::size_t>(index), *to_hz(wanted_mhz),
                                      static_cast<std::size_t>(count)),
                     wanted_mhz, margin);
}

std::string ClockWizard::input_frequencies(std::string const& primitive_name, double wanted_mhz,
                                           std::vector<double> const& outputs_mhz, int count, double margin,
                                           bool input_buffer) const {
  check_list(wanted_mhz, count, margin);
  device::ClockPrimitive const* const data = known(part_, part_name_).clock_primitive(primitive_name);
  if (data == nullptr) throw Fault{part_->name + " has no clock primitive " + text::shown(primitive_name)};
  const Primitive primitive = solver_primitive(*data);
  Request request = options_for(*data, input_buffer);
  request.input_hz = *to_hz(wanted_mhz);
  for (double output : outputs_mhz)
    request.outputs.emplace_back().frequency_hz = to_hz(output).value_or(Rational(0));  // which the check refuses
  require(check(primitive));
  require(check(primitive, request));
  const auto most = static_cast<std::size_t>(count);
  std::vector<Rational> found = outputs_mhz.empty() ? nearest_of(input_ranges(primitive, request), request.input_hz)
                                                    : advised_inputs(primitive, request, most);
  if (found.size() > most) found.resize(most);
  return list_within(std::move(found), wanted_mhz, margin);
}

}  // namespace kdi::clocking
