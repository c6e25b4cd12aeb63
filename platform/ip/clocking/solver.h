// The clock synthesis solver: the best setting of one primitive for a set of output clocks, and proof that there is no
// better one.
//
// The objective, compared level by level:
//   1. validity: every limit of the primitive and every tolerance of the request is kept
//   2. the worst relative frequency error of an output, |actual - requested| / requested, at the first input clock
//   3. the sum of the relative frequency errors
//   4. the sum of the phase and duty cycle errors, each as a fraction of its output's period
//   5. the VCO frequency: high for low jitter, low for low power
//   6. the smaller input divider; then, output by output, the smaller divider
// and where the order of the outputs is free, at last the order that comes first, output by output.
// All levels are compared exactly, so the answer is the same on every machine, and it is the only one.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/ip/clocking/primitive.h"

namespace kdi::clocking {

/// One clock that is asked for.
struct OutputRequest {
  Rational frequency_hz;           ///< above 0
  Rational phase_deg = 0;          ///< any sign; taken modulo 360; denominator at most 10^6
  Rational duty = Rational(1, 2);  ///< above 0, below 1; denominator at most 10^6
  std::string buffer;              ///< a buffer of the primitive, whose periods limit the frequency; empty: none
};

enum class Preference { low_jitter, low_power };

struct SpreadRequest {
  std::string mode;        ///< a spread-spectrum mode of the primitive
  Rational modulation_hz;  ///< above 0
};

/// What is asked of one primitive. Output i is made by the primitive's counter i, unless the order is free: then any of
/// the first counters, as many as outputs, may make it.
struct Request {
  Rational input_hz;                        ///< above 0
  std::optional<Rational> second_input_hz;  ///< another input that the same setting must serve
  std::vector<OutputRequest> outputs;       ///< at most as many as the primitive has
  std::optional<Rational> high_speed_hz;    ///< the high-speed output, at any of its modes
  Preference preference = Preference::low_jitter;
  Bandwidth bandwidth = Bandwidth::optimized;
  bool fine_phase = false;
  bool whole_counters = false;  ///< no fractional counters
  bool order_free = false;
  std::optional<SpreadRequest> spread;
  std::string input_buffer;  ///< as OutputRequest::buffer
  double input_jitter_ps = 0;

  std::optional<Rational> tolerance;        ///< largest relative frequency error of an output; none: any
  std::optional<Rational> phase_tolerance;  ///< largest phase error, fraction of a period; none: any
  std::optional<Rational> duty_tolerance;   ///< largest duty cycle error, fraction of a period; none: any
};

/// One clock as it will be.
struct OutputSolution {
  Rational divider;
  Rational frequency_hz;
  Rational phase_deg;
  Rational duty;
  Rational frequency_error;  ///< relative, at least 0
  Rational phase_error;      ///< fraction of a period, at most 1/2
  Rational duty_error;       ///< fraction of a period
  int phase_step = 0;        ///< steps of the VCO period (fine steps with fine phase shift)
};

/// A setting of the primitive and what it does.
struct Solution {
  std::vector<int> counters;  ///< of each output, where the order is free or another one is told of; else empty
  Rational multiplier;
  int input_divider = 1;
  Rational pfd_hz;
  Rational vco_hz;
  std::vector<OutputSolution> outputs;
  std::optional<OutputSolution> high_speed;
  std::string high_speed_mode;            ///< empty without a high-speed output
  std::optional<Rational> modulation_hz;  ///< what the spread-spectrum divider makes of the request
  Rational worst_error;                   ///< largest relative frequency error
  double jitter_ps = 0;                   ///< peak to peak, of every output
  double phase_error_ps = 0;
  double power_w = 0;
};

/// What can stand in a request's way.
enum class Limit {
  second_input,      ///< the two input clocks are too far apart for one setting
  input,             ///< range of the input clock
  pfd,               ///< range of the PFD
  vco,               ///< range of the VCO
  multiplier,        ///< range of M
  input_divider,     ///< range of D
  output_divider,    ///< range of the output dividers
  output_range,      ///< range of the output frequencies
  high_speed_range,  ///< range of the high-speed output
  buffer,            ///< a buffer's periods
  modulation,        ///< range of the modulation frequency
  phase_grid,        ///< no divider that is near enough has a phase step within the tolerance
  duty_grid,         ///< likewise for the duty cycle
  frequency_grid,    ///< no ratio of M, D and output dividers is within the frequency tolerance
};

char const* name(Limit limit);

/// What the bounds of a limit are shown in: a bound of v is shown as v x times / over.
struct Unit {
  char const* name = nullptr;  ///< empty: a number
  std::int64_t times = 1;
  std::int64_t over = 1;
  Rational scale() const { return {times, over}; }
};
/// Null for limits that have no bounds: the second input and the buffers.
Unit const* unit_of(Limit limit);

/// One limit that binds.
struct Binding {
  Limit limit = Limit::vco;
  Range now;     ///< the limit as it stands, in its unit: Hz, counter values, or fractions (grids: 0 to the tolerance)
  Range needed;  ///< widened just far enough (to within 0.2 % of the least widening) for one setting to fit
};

/// Why a request has no solution, and how near it comes.
struct Diagnosis {
  std::vector<Binding> bindings;      ///< limits that have to give way together, none of them idle; mostly one
  std::optional<Solution> nearest;    ///< best setting when the tolerances are dropped; none if limits alone forbid all
  double nearest_ppm = 0;             ///< its worst frequency error in parts per million
  std::optional<Solution> reordered;  ///< the best setting of another order of the outputs, where one has a setting
  std::vector<Rational> exact_inputs_hz;  ///< inputs in whole Hz next to one with which every output is exact, nearest
                                          ///< first (queries.h, advised_inputs); none if the frequencies are exact as
                                          ///< they are, or none do
  std::string text;                       ///< all of this in words
};

/// What a std::overflow_error of the engine means to the one who asked.
inline constexpr char const* kTooFine =
    "the frequencies need more digits than exact arithmetic in 64 bits holds; give them in fewer";

/// A solution, or why there is none.
struct Result {
  std::optional<Solution> solution;
  std::string error;                   ///< empty with a solution
  std::optional<Diagnosis> diagnosis;  ///< with neither, the primitive or the request is not well formed
};

/// Why the request is not well formed for this primitive, naming the field, its value and the bound. A request without
/// outputs is well formed, though there is nothing to solve.
std::optional<std::string> check(Primitive const& primitive, Request const& request);

/// Why there is nothing to solve: the first fault of the primitive or of the request, or that no output is asked for.
std::optional<std::string> fault_of(Primitive const& primitive, Request const& request);

/// The best setting under the objective above, or why there is none. Throws nothing of its own: every fault is in
/// `error`.
Result solve(Primitive const& primitive, Request const& request);

/// The solution alone, for those whom the reasons would only cost time.
std::optional<Solution> best_setting(Primitive const& primitive, Request const& request);

/// The frequencies of the outputs in the order of the counters that make them.
std::vector<Rational> in_order(Request const& request, std::vector<int> const& counters);

/// "Nearest: M 40, D 1, outputs 200 MHz, worst error 12.5 ppm."
std::string nearest_text(Solution const& solution);

/// Primitive and request with the diagnosis's limits widened to what is needed. They have a solution.
struct Relaxed {
  Primitive primitive;
  Request request;
};
Relaxed relax(Primitive const& primitive, Request const& request, std::vector<Binding> const& bindings);

}  // namespace kdi::clocking
