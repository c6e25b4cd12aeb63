#include "platform/ip/clock_faces/least_instances.h"

#include <algorithm>

#include "kdi/common/KdiNumber.h"
#include "kdi/common/KdiText.h"
#include "platform/ip/clock_faces/dictionaries.h"
#include "platform/ip/clock_faces/part_primitives.h"
#include "platform/ip/clock_faces/questions.h"
#include "platform/ip/clocking/cover.h"

namespace kdi::clocking {
namespace {

device::ClockPrimitive const& mmcm_or_pll(device::Part const& part) {
  using Kind = device::ClockPrimitiveKind;
  if (auto const* const mmcm = part.clock_primitive(Kind::mmcm)) return *mmcm;
  return primitive_of(part, Kind::pll);
}

std::vector<Rational> read_inputs(std::vector<double> const& inputs_mhz, double period_ns) {
  std::vector<Rational> inputs;
  for (double input : inputs_mhz) inputs.push_back(frequency("input", input));
  if (!inputs.empty()) return inputs;
  if (!(period_ns > 0))
    throw Fault{"there is no input, and its period " + number::plain(period_ns) + " ns is not above 0"};
  return {frequency("the frequency of the input period,", 1000 / period_ns)};
}

std::vector<OutputRequest> read_outputs(std::vector<double> const& outputs_mhz, device::Range const& limits) {
  std::vector<OutputRequest> outputs;
  for (double output : outputs_mhz) {
    require_within("output frequency", output, limits);
    outputs.emplace_back().frequency_hz = frequency("output", output);
  }
  return outputs;
}

Request alone(CoverRequest const& request, Rational const& input, std::size_t index) {
  Request single = request.options;
  single.input_hz = input;
  single.outputs = {request.outputs[index]};
  return single;
}

// The error that the output has to have from the best of the inputs, on a primitive of its own.
Rational least_error(Primitive const& primitive, CoverRequest const& request, std::size_t index) {
  std::optional<Rational> least;
  for (Rational const& input : request.inputs_hz) {
    const auto solution = best_setting(primitive, alone(request, input, index));
    if (solution && (!least || solution->worst_error < *least)) least = solution->worst_error;
  }
  if (least) return *least;
  throw Fault{"clock " + std::to_string(index) + ", " + mhz_text(request.outputs[index].frequency_hz) +
              " MHz, cannot be made from any of the inputs: " +
              solve(primitive, alone(request, request.inputs_hz.front(), index)).error};
}

// Rounded up to the 2^-39 that tolerances are given in.
Rational as_tolerance(Rational const& error) {
  constexpr std::int64_t kSteps = std::int64_t{1} << 39;
  const Int128 scaled = static_cast<Int128>(error.num()) * kSteps;
  return Rational::of((scaled + error.den() - 1) / error.den(), kSteps);
}

// The largest of the least errors: no primitive is saved at the price of a clock that is farther off than it has to be.
Rational needed_tolerance(Primitive const& primitive, CoverRequest const& request) {
  Rational tolerance = 0;
  for (std::size_t i = 0; i < request.outputs.size(); ++i)
    tolerance = std::max(tolerance, least_error(primitive, request, i));
  return as_tolerance(tolerance);
}

std::string cover_dict(Primitive const& primitive, CoverRequest const& request, Cover const& cover, int available) {
  std::string instances;
  for (CoverGroup const& group : cover.groups) {
    Solved solved{primitive, request.options, group.solution};
    solved.request.input_hz = request.inputs_hz[group.input];
    for (std::size_t index : group.outputs) solved.request.outputs.push_back(request.outputs[index]);
    text::append_word(instances, braced(solution_dict(solved, group.outputs)));
  }
  std::string dict;
  put(dict, "count", std::to_string(cover.groups.size()));
  put(dict, "minimal", cover.is_minimal ? "1" : "0");
  put(dict, "at_least", std::to_string(cover.at_least));
  put(dict, "available", std::to_string(available));
  put(dict, "instances", braced(instances));
  return dict;
}

// Tolerances in the thousandths of a ppm in which questions give them.
constexpr std::int64_t kTolerances = 1000000000;

// What at most so many primitives make within a tolerance; the more it is, the more they make.
class Within {
 public:
  Within(Primitive const& primitive, CoverRequest& request, std::size_t at_most)
      : primitive_(primitive), request_(request), at_most_(at_most) {}

  bool can(std::int64_t tolerance) {
    request_.options.tolerance = Rational::of(tolerance, kTolerances);
    Cover cover = minimal_primitives(primitive_, request_);
    if (cover.groups.empty() || cover.groups.size() > at_most_) return false;
    best_ = std::move(cover);
    return true;
  }
  // What the last that could needs of its tolerance.
  std::int64_t needed() const {
    Rational worst = 0;
    for (CoverGroup const& group : best_.groups) worst = std::max(worst, group.solution.worst_error);
    const Int128 scaled = static_cast<Int128>(worst.num()) * kTolerances;
    return static_cast<std::int64_t>((scaled + worst.den() - 1) / worst.den());
  }
  Cover const& best() const { return best_; }

 private:
  Primitive const& primitive_;
  CoverRequest& request_;
  std::size_t at_most_;
  Cover best_;
};

}  // namespace

std::string least_tolerance(Primitive const& primitive, CoverRequest request, std::size_t at_most, int available) {
  if (request.outputs.size() > kExactCoverOutputs)
    throw Fault{"the least tolerance is found for up to " + std::to_string(kExactCoverOutputs) + " outputs, not " +
                std::to_string(request.outputs.size())};
  Within within(primitive, request, at_most);
  std::int64_t too_little = -1, enough = 0;
  for (; !within.can(enough); enough = std::min(kTolerances, 8 * enough + 1)) {
    too_little = enough;
    if (enough == kTolerances)
      throw Fault{"no tolerance lets " + std::to_string(at_most) + " of " + primitive.name + " make all outputs"};
  }
  enough = within.needed();
  while (enough - too_little > 1) {
    const std::int64_t middle = too_little + (enough - too_little) / 2;
    if (within.can(middle))
      enough = within.needed();
    else
      too_little = middle;
  }
  std::string dict;
  put(dict, "tolerance_ppm", number::fixed(static_cast<double>(enough) / 1000, 3));
  return dict + " " + cover_dict(primitive, request, within.best(), available);
}

std::string least_instances(Primitive const& primitive, CoverRequest request, int available) {
  // Before the errors are found one by one: how many clocks there may be is the engine's to say.
  if (request.outputs.empty() || request.outputs.size() > kMaxCoverOutputs ||
      request.inputs_hz.size() > kMaxCoverInputs)
    throw Fault{minimal_primitives(primitive, request).message};
  if (!request.options.tolerance) request.options.tolerance = needed_tolerance(primitive, request);
  const Cover cover = minimal_primitives(primitive, request);
  if (cover.groups.empty()) throw Fault{cover.message};
  return cover_dict(primitive, request, cover, available);
}

std::string least_instances(device::Part const& part, std::vector<double> const& outputs_mhz,
                            std::vector<double> const& inputs_mhz, double period_ns) {
  device::ClockPrimitive const& data = mmcm_or_pll(part);
  CoverRequest request;
  request.inputs_hz = read_inputs(inputs_mhz, period_ns);
  request.outputs = read_outputs(outputs_mhz, data.output_mhz);
  return least_instances(solver_primitive(part, data, false), std::move(request), data.count);
}

}  // namespace kdi::clocking
