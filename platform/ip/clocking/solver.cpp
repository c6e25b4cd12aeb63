#include "platform/ip/clocking/solver.h"

#include <cmath>
#include <stdexcept>
#include <utility>

#include "kdi/common/KdiNumber.h"
#include "kdi/common/KdiText.h"
#include "platform/ip/clocking/diagnosis.h"
#include "platform/ip/clocking/order.h"
#include "platform/ip/clocking/search.h"

namespace kdi::clocking {
namespace {

using Fault = std::optional<std::string>;

constexpr std::int64_t kMaxAngleDen = 1000000;
constexpr std::int64_t kMaxToleranceDen = std::int64_t{1} << 40;

Fault check_frequency(std::string const& field, Rational const& value) {
  if (value > 0 && value <= kMaxFrequencyHz && value.num() <= kMaxFrequencyNum && value.den() <= kMaxFrequencyDen)
    return std::nullopt;
  return field + " " + value.text() + " Hz is outside 0 (excluded) to 2^40 Hz, or is finer than 2^-20 Hz";
}

// The searches compare input and output through the terms of their ratio.
Fault check_ratio(std::string const& field, Rational const& input, Rational const& output) {
  constexpr Int128 kMaxTerm = Int128{1} << 37;  // products with D and a divider fit in 64 bits
  const Int128 num = static_cast<Int128>(output.num()) * input.den();
  const Int128 den = static_cast<Int128>(output.den()) * input.num();
  if (num <= kMaxTerm && den <= kMaxTerm) return std::nullopt;
  try {
    const Rational ratio = Rational::of(num, den);
    if (ratio.num() <= kMaxTerm && ratio.den() <= kMaxTerm) return std::nullopt;
  } catch (std::overflow_error const&) {  // far above the bound
  }
  return field + ": its ratio to the input has terms above 2^37; give the frequencies in fewer digits";
}

Fault check_buffer(Primitive const& primitive, std::string const& field, std::string const& buffer) {
  if (buffer.empty() || primitive.buffer(buffer) != nullptr) return std::nullopt;
  return field + ": the primitive has no buffer " + text::shown(buffer);
}

Fault check_tolerance(std::string const& field, std::optional<Rational> const& value) {
  constexpr std::int64_t kMaxTolerance = 1 << 20;
  if (!value || (*value >= 0 && *value <= kMaxTolerance && value->den() <= kMaxToleranceDen)) return std::nullopt;
  return field + " " + value->text(9) + " is outside 0 to 2^20, or is finer than 2^-40";
}

Fault check_output(Primitive const& primitive, std::size_t index, OutputRequest const& output) {
  const std::string field = "output " + std::to_string(index);
  if (auto fault = check_frequency(field + " frequency", output.frequency_hz)) return fault;
  if (abs(output.phase_deg) > kMaxAngleDen || output.phase_deg.den() > kMaxAngleDen)
    return field + " phase " + output.phase_deg.text() + " is outside -10^6 to 10^6 degrees in steps of 10^-6";
  if (output.duty <= 0 || output.duty >= 1 || output.duty.den() > kMaxAngleDen)
    return field + " duty cycle " + output.duty.text() + " is outside 0 to 1 (both excluded) in steps of 10^-6";
  return check_buffer(primitive, field, output.buffer);
}

Fault check_spread(Primitive const& primitive, SpreadRequest const& spread) {
  constexpr std::int64_t kMaxModulation = 1 << 26;
  if (primitive.spread_mode(spread.mode) == nullptr)
    return "the primitive has no spread-spectrum mode " + text::shown(spread.mode);
  if (spread.modulation_hz > 0 && spread.modulation_hz <= kMaxModulation && spread.modulation_hz.den() <= 1000)
    return std::nullopt;
  return "modulation frequency " + spread.modulation_hz.text() +
         " Hz is outside 0 (excluded) to 2^26 Hz in steps of 10^-3";
}

}  // namespace

std::optional<std::string> check(Primitive const& primitive, Request const& request) {
  if (auto fault = check_frequency("input", request.input_hz)) return fault;
  if (request.second_input_hz)
    if (auto fault = check_frequency("second input", *request.second_input_hz)) return fault;
  if (request.outputs.size() > primitive.outputs.size())
    return std::to_string(request.outputs.size()) + " outputs are asked for; the primitive has " +
           std::to_string(primitive.outputs.size());
  for (std::size_t i = 0; i < request.outputs.size(); ++i) {
    if (auto fault = check_output(primitive, i, request.outputs[i])) return fault;
    if (auto fault = check_ratio("output " + std::to_string(i), request.input_hz, request.outputs[i].frequency_hz))
      return fault;
  }
  if (request.high_speed_hz) {
    if (primitive.high_speed_modes.empty()) return "the primitive has no high-speed output";
    if (auto fault = check_frequency("high-speed output", *request.high_speed_hz)) return fault;
    if (auto fault = check_ratio("high-speed output", request.input_hz, *request.high_speed_hz)) return fault;
  }
  if (request.fine_phase && primitive.fine_phase_steps == 0) return "the primitive has no fine phase shift";
  if (request.spread)
    if (auto fault = check_spread(primitive, *request.spread)) return fault;
  if (auto fault = check_buffer(primitive, "input", request.input_buffer)) return fault;
  if (!(request.input_jitter_ps >= 0 && request.input_jitter_ps <= 1e12))
    return "input jitter " + number::fixed(request.input_jitter_ps, 6) + " ps is outside 0 to 10^12";
  if (auto fault = check_tolerance("frequency tolerance", request.tolerance)) return fault;
  if (auto fault = check_tolerance("phase tolerance", request.phase_tolerance)) return fault;
  return check_tolerance("duty cycle tolerance", request.duty_tolerance);
}

std::optional<std::string> fault_of(Primitive const& primitive, Request const& request) {
  if (auto fault = check(primitive)) return fault;
  if (auto fault = check(primitive, request)) return fault;
  if (request.outputs.empty() && !request.high_speed_hz) return "no output is asked for";
  return std::nullopt;
}

namespace {

std::optional<Solution> search(Primitive const& primitive, Request const& request) {
  if (request.order_free) return best_in_any_order(primitive, request);
  Search search(primitive, request);
  const auto setting = search.best();
  if (!setting) return std::nullopt;
  return search.describe(*setting);
}

}  // namespace

Result solve(Primitive const& primitive, Request const& request) {
  Result result;
  if (auto fault = fault_of(primitive, request)) {
    result.error = std::move(*fault);
    return result;
  }
  try {
    result.solution = search(primitive, request);
    if (result.solution) return result;
    result.diagnosis = diagnose(primitive, request);
    result.error = result.diagnosis->text;
  } catch (std::overflow_error const&) {
    result.error = kTooFine;
  }
  return result;
}

std::optional<Solution> best_setting(Primitive const& primitive, Request const& request) {
  if (fault_of(primitive, request)) return std::nullopt;
  try {
    return search(primitive, request);
  } catch (std::overflow_error const&) {
    return std::nullopt;
  }
}

}  // namespace kdi::clocking
