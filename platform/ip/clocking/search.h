// The search behind the solver: which counter values keep the limits, and which of those settings is best. Internal to
// the engine; primitives and requests have passed their checks.
//
// Counter values are integers in units of 1 / kUnit throughout. With m, d and o those of M, D and an output, the VCO
// runs at input x m / (kUnit d) and the output at input x m / (d o).
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <vector>

#include "platform/ip/clocking/solver.h"

namespace kdi::clocking {

/// Counter values as a few arithmetic progressions, so that neighbours are found without a table.
class ValueSet {
 public:
  ValueSet() = default;
  ValueSet(CounterSpec const& spec, bool whole_only);
  explicit ValueSet(std::vector<HighSpeedMode> const& modes);

  static constexpr int kNone = 0;
  int at_least(int value) const;       ///< the smallest value not below, or kNone
  int at_most(int value) const;        ///< the largest value not above, or kNone
  int count(int low, int high) const;  ///< of values in [low, high], those in two progressions twice
  int spacing() const;                 ///< the greatest number that divides all values

 private:
  struct Progression {
    int first;
    int last;
    int step;
  };
  std::vector<Progression> parts_;
};

/// Where a requested phase or duty cycle comes to lie.
struct Placement {
  int step = 0;
  Rational actual;  ///< fraction of a period
  Rational error;   ///< fraction of a period
};
Placement place_phase(Rational const& turns, int divider, int steps_per_vco_period, int max_step);
Placement place_duty(Rational const& duty, int divider, Primitive const& primitive);

/// num / den, not reduced: what the inner loops compare.
struct Quotient {
  std::int64_t num = 0;
  std::int64_t den = 1;
  Rational reduced() const { return {num, den}; }
  friend std::strong_ordering operator<=>(Quotient const& a, Quotient const& b) {
    return static_cast<Int128>(a.num) * b.den <=> static_cast<Int128>(b.num) * a.den;
  }
};

/// One requested output on one counter.
class OutputSearch {
 public:
  /// `index` is the counter, or kHighSpeed.
  static constexpr int kHighSpeed = -1;
  OutputSearch(Primitive const& primitive, Request const& request, OutputRequest const& output, int index);

  /// The divider nearest to the requested frequency among those that keep the output's limits and tolerances, or
  /// ValueSet::kNone. A divider may be withheld if its error is certainly larger than `cap`. `error` receives the
  /// relative error, good to 10^-14.
  int pick(int m, int d, double cap, double& error) const;

  Quotient error(int m, int d, int o) const;
  bool is_fast(int m, int d, int o) const { return q_ * m > p_ * d * o; }  ///< above the requested frequency
  Placement phase(int o) const { return place_phase(turns_, o, phase_steps_, max_phase_step_); }
  Placement duty(int o) const { return place_duty(duty_, o, *primitive_); }
  Rational misplacement(int o) const { return is_plain_ ? Rational(0) : phase(o).error + duty(o).error; }

  /// The dividers between which the output keeps its limits.
  int lowest(int m, int d) const;
  int highest(int m, int d) const;

  /// The smallest divider not below, and the largest not above, of those that keep the tolerances of phase and duty
  /// cycle; ValueSet::kNone if there is none. And how many there are in [low, high].
  int at_least(int value) const;
  int at_most(int value) const;
  int count(int low, int high) const;

  /// Whether the divider is one of them.
  bool is_well_placed(int o) const { return at_least(o) == o; }

  /// The dividers with which an output keeps its limits and its frequency tolerance at M over D are those o with
  /// o x from <= m / d <= o x to, to within a few units of the last place.
  struct Gains {
    double from = 0;
    double to = 0;
  };
  Gains gains() const;

  /// Whether some divider keeps all limits and tolerances.
  bool has_divider(int m, int d) const;

  bool is_plain() const { return is_plain_; }                    ///< phase 0, half the period high: always exact
  double ideal(int m, int d) const { return scale_ * m / d; }    ///< divider of no error
  double ideal_m(int o, int d) const { return o / scale_ * d; }  ///< multiplier of no error
  ValueSet const& values() const { return values_; }
  Range const& limits() const { return limits_; }

 private:
  bool may_come_near(double ideal, double error) const;
  bool is_within_tolerance(int m, int d, int o) const;
  bool keeps_phase(int o) const;
  bool keeps_duty(int o) const;
  int better_placed(int a, int b) const;  ///< of two dividers with the same frequency error

  Primitive const* primitive_;
  ValueSet values_;
  std::int64_t p_ = 1, q_ = 1;  // requested output / input
  double scale_ = 1;            // q / p
  Range limits_;
  Rational over_max_;  // fastest input / limits_.max
  Rational over_min_;  // slowest input / limits_.min; unused if that is 0
  double over_max_double_ = 0, over_min_double_ = 0;
  Rational turns_;
  Rational duty_;
  int phase_steps_ = 1;
  int max_phase_step_ = 0;
  bool is_plain_ = true;
  std::optional<Rational> tolerance_, phase_tolerance_, duty_tolerance_;
  double tolerance_double_ = 0;
  double turns_double_ = 0, duty_double_ = 0;
  // The dividers that keep the tolerances of phase and duty cycle, ascending, if not all of them do: which they are
  // does not depend on M and D, and takes longer to tell than all else about a divider.
  bool is_restricted_ = false;
  std::vector<int> placed_;
};

/// One setting: counter values in units of 1 / kUnit (d: in ones). The high-speed output comes last.
struct Setting {
  int m = 0;
  int d = 0;
  std::array<int, kMaxOutputs> o{};
};

/// What a setting costs.
struct Figures {
  double jitter_ps = 0;
  double phase_error_ps = 0;
  double power_w = 0;
};

/// All requested outputs on one primitive.
class Search {
 public:
  Search(Primitive const& primitive, Request const& request);

  /// A value of D that keeps the PFD's limits, with the values of M that keep the VCO's.
  struct Loop {
    int d;
    int m_low;
    int m_high;
  };
  std::vector<Loop> const& loops() const { return loops_; }
  ValueSet const& multipliers() const { return multipliers_; }
  std::vector<OutputSearch> const& outputs() const { return outputs_; }

  /// The best setting; none if no setting is valid.
  std::optional<Setting> best();

  /// Whether there is a setting at all: much less work than the best one where the answer is no.
  bool has_any() const;

  /// Calls `visit` for every valid pair of M and D with the best dividers of each output, in ascending order.
  void for_each(std::function<void(Setting const&)> const& visit) const;

  Quotient worst_error(Setting const& setting) const;
  Figures figures_of(Setting const& setting) const;
  Solution describe(Setting const& setting) const;

 private:
  struct Candidate;
  void collect_loops();
  bool is_input_divider(int d, Range const& inputs) const;
  std::optional<Loop> loop_of(int d, Range const& input) const;

  bool is_valid(int m, int d) const;
  void try_likely(OutputSearch const& leader);
  void try_all_that_may_be_better(OutputSearch const& leader);
  bool choose(int m, int d, double cap, Setting& setting, double& worst);
  void consider(int m, int d);
  Candidate weigh(Setting const& setting, double worst) const;
  bool is_better(Candidate& challenger, Candidate& incumbent) const;
  std::strong_ordering compare_errors(Candidate const& a, Candidate const& b) const;
  std::strong_ordering compare_misplacements(Candidate& a, Candidate& b) const;
  std::size_t lead() const;
  double cap() const;

  bool is_high_speed(std::size_t index) const { return index == request_.outputs.size(); }
  OutputSolution describe_output(std::size_t index, Setting const& setting, Rational const& vco_hz) const;
  std::string mode_of(Rational const& divider) const;  ///< of the high-speed output

  struct Candidate {
    Setting setting;
    double worst_double = 0;
    Quotient worst;
    std::array<Quotient, kMaxOutputs> errors;
    std::optional<std::array<Rational, kMaxOutputs>> misplaced;  // made when a comparison needs it
  };

  Primitive const& primitive_;
  Request const& request_;
  ValueSet multipliers_;
  std::vector<Loop> loops_;
  std::vector<OutputSearch> outputs_;
  std::vector<std::size_t> order_;  // of judging outputs: the one that rejected last comes first
  std::optional<Candidate> incumbent_;
};

/// The modulation frequency nearest to the request that the spread-spectrum divider makes of the PFD's, within its
/// range; none if there is none.
std::optional<Rational> actual_modulation(SpreadMode const& mode, Rational const& pfd_hz, Rational const& requested);

/// What the primitive and the input buffer let in.
Range input_limits(Primitive const& primitive, Request const& request);

/// The PFD's range at the requested bandwidth.
Range const& pfd_range(Primitive const& primitive, Request const& request);

/// The fastest and the slowest that the loop's input gets, the second input and the spread counted in.
Range effective_input(Primitive const& primitive, Request const& request);

}  // namespace kdi::clocking
