// The slow truth about clock synthesis: every M, every D and every divider of every output is tried, with arithmetic of
// its own. Shares nothing with the solver but the descriptions.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "platform/ip/clocking/solver.h"

namespace test_support::exhaustive {

using kdi::clocking::CounterSpec;
using kdi::clocking::OutputRequest;
using kdi::clocking::Preference;
using kdi::clocking::Primitive;
using kdi::clocking::Range;
using kdi::clocking::Rational;
using kdi::clocking::Request;
using kdi::clocking::SpreadMode;
__extension__ typedef __int128 Wide;

/// num / den >= 0, not reduced; products of two of them fit.
struct Fraction {
  Wide num = 0;
  Wide den = 1;
};
inline Fraction fraction(Rational const& value) { return {value.num(), value.den()}; }
inline bool less(Fraction const& a, Fraction const& b) { return a.num * b.den < b.num * a.den; }
inline bool equal(Fraction const& a, Fraction const& b) { return a.num * b.den == b.num * a.den; }

/// A natural number of any size in limbs of 32 bits, least first.
using Natural = std::vector<std::uint32_t>;

inline Natural natural(Wide value) {
  Natural result;
  for (; value != 0; value >>= 32) result.push_back(static_cast<std::uint32_t>(value));
  return result;
}
inline Natural times(Natural const& a, Natural const& b) {
  Natural result(a.size() + b.size() + 1, 0);
  for (std::size_t i = 0; i < a.size(); ++i) {
    std::uint64_t carry = 0;
    for (std::size_t j = 0; i + j < result.size(); ++j) {
      carry += result[i + j] + std::uint64_t{a[i]} * (j < b.size() ? b[j] : 0);
      result[i + j] = static_cast<std::uint32_t>(carry);
      carry >>= 32;
    }
  }
  while (!result.empty() && result.back() == 0) result.pop_back();
  return result;
}
inline Natural plus(Natural a, Natural const& b) {
  a.resize(std::max(a.size(), b.size()) + 1, 0);
  std::uint64_t carry = 0;
  for (std::size_t i = 0; i < a.size(); ++i) {
    carry += std::uint64_t{a[i]} + (i < b.size() ? b[i] : 0);
    a[i] = static_cast<std::uint32_t>(carry);
    carry >>= 32;
  }
  while (!a.empty() && a.back() == 0) a.pop_back();
  return a;
}

/// Negative, zero or positive as the sum of `a` is below, at or above that of `b`.
inline int compare_sums(std::vector<Fraction> const& a, std::vector<Fraction> const& b) {
  Natural num[2], den[2] = {{1}, {1}};
  int side = 0;
  for (auto const* terms : {&a, &b}) {
    for (Fraction const& term : *terms) {
      num[side] = plus(times(num[side], natural(term.den)), times(natural(term.num), den[side]));
      den[side] = times(den[side], natural(term.den));
    }
    ++side;
  }
  const Natural left = times(num[0], den[1]), right = times(num[1], den[0]);
  if (left.size() != right.size()) return left.size() < right.size() ? -1 : 1;
  for (std::size_t i = left.size(); i-- > 0;)
    if (left[i] != right[i]) return left[i] < right[i] ? -1 : 1;
  return 0;
}

/// Counter values are counted in sixty-fourths.
inline constexpr int kParts = 64;

/// Whether a value in parts belongs to the counter.
inline bool has_value(CounterSpec const& spec, int parts, bool whole_only) {
  if (parts < spec.min * kParts || parts > spec.max * kParts) return false;
  if (parts % kParts == 0 && (parts / kParts - spec.min) % spec.step == 0) return true;
  return !whole_only && spec.fraction > 1 && parts >= spec.fraction_min * kParts &&
         parts % (kParts / spec.fraction) == 0;
}

/// All values of the counter in parts.
inline std::vector<int> values_of(CounterSpec const& spec, bool whole_only) {
  std::vector<int> values;
  for (int parts = kParts; parts <= spec.max * kParts; ++parts)
    if (has_value(spec, parts, whole_only)) values.push_back(parts);
  return values;
}

/// One divider of one output, with its phase and duty error and whether these keep the tolerances.
struct Choice {
  int o = 0;
  Fraction misplaced;
};

struct Output {
  Fraction wanted;
  Range limits;
  std::vector<Choice> choices;
};

/// All levels of the objective of one setting.
struct Value {
  int m = 0, d = 0;
  std::vector<int> o;
  std::vector<Fraction> errors;
  std::vector<Fraction> misplaced;
  Fraction worst;
};

class Enumeration {
 public:
  Enumeration(Primitive const& primitive, Request const& request) : primitive_(primitive), request_(request) {
    whole_ = request.whole_counters || (request.fine_phase && !primitive.fraction_with_fine_phase) ||
             (request.spread && !primitive.fraction_with_spread);
    multipliers_ = values_of(primitive.multiplier, whole_);
    for (std::size_t i = 0; i < request.outputs.size(); ++i) add_output(i);
    if (request.high_speed_hz) {
      Output output{fraction(*request.high_speed_hz), primitive.high_speed_hz, {}};
      for (auto const& mode : primitive.high_speed_modes)
        output.choices.push_back({static_cast<int>(kParts * mode.factor.den() / mode.factor.num()), {}});
      outputs_.push_back(output);
    }
  }

  /// Calls `visit` for every M and D, in parts and ones, that keep the limits.
  void for_each_loop(std::function<void(int, int)> const& visit) const {
    for (int d = 1; d <= primitive_.input_divider.max; ++d) {
      if (!has_value(primitive_.input_divider, d * kParts, true) || !is_pfd_valid(d)) continue;
      for (int m : multipliers_)
        if (is_vco_valid(m, d)) visit(m, d);
    }
  }

  /// The best dividers for M and D, output by output; none if an output has none.
  std::optional<Value> best_of(int m, int d) const {
    Value value{m, d, {}, {}, {}, {}};
    const Extremes undivided = extremes(m, d);
    for (Output const& output : outputs_) {
      Choice const* best = nullptr;
      Fraction best_error;
      for (Choice const& choice : output.choices) {
        if (!is_frequency_valid(output, undivided, choice.o)) continue;
        const Fraction error = error_of(output, m, d, choice.o);
        if (request_.tolerance && less(fraction(*request_.tolerance), error)) continue;
        if (best == nullptr || less(error, best_error) ||
            (equal(error, best_error) && less(choice.misplaced, best->misplaced))) {
          best = &choice;
          best_error = error;
        }
      }
      if (best == nullptr) return std::nullopt;
      add(value, *best, best_error);
    }
    return value;
  }

  std::optional<Value> best() const {
    std::optional<Value> best;
    for_each_loop([&](int m, int d) {
      const auto value = best_of(m, d);
      if (value && (!best || is_better(*value, *best))) best = value;
    });
    return best;
  }

  /// The same over the product of all outputs' dividers, without supposing that outputs can be judged one by one.
  std::optional<Value> best_of_product() const {
    std::optional<Value> best;
    for (Output const& output : outputs_)
      if (output.choices.empty()) return best;
    for_each_loop([&](int m, int d) {
      const Extremes undivided = extremes(m, d);
      std::vector<std::size_t> at(outputs_.size(), 0);
      for (bool is_done = false; !is_done;) {
        Value value{m, d, {}, {}, {}, {}};
        bool is_valid = true;
        for (std::size_t i = 0; i < outputs_.size() && is_valid; ++i) {
          Choice const& choice = outputs_[i].choices[at[i]];
          const Fraction error = error_of(outputs_[i], m, d, choice.o);
          is_valid = is_frequency_valid(outputs_[i], undivided, choice.o) &&
                     !(request_.tolerance && less(fraction(*request_.tolerance), error));
          add(value, choice, error);
        }
        if (is_valid && (!best || is_better(value, *best))) best = value;
        std::size_t i = 0;
        while (i < at.size() && ++at[i] == outputs_[i].choices.size()) at[i++] = 0;
        is_done = i == at.size();
      }
    });
    return best;
  }

  bool is_better(Value const& a, Value const& b) const {
    if (!equal(a.worst, b.worst)) return less(a.worst, b.worst);
    if (const int order = compare_sums(a.errors, b.errors); order != 0) return order < 0;
    if (const int order = compare_sums(a.misplaced, b.misplaced); order != 0) return order < 0;
    const Wide left = Wide{a.m} * b.d, right = Wide{b.m} * a.d;
    if (left != right) return (left > right) == (request_.preference == Preference::low_jitter);
    if (a.d != b.d) return a.d < b.d;
    return a.o < b.o;
  }

 private:
  void add_output(std::size_t index) {
    OutputRequest const& wanted = request_.outputs[index];
    auto const& spec = primitive_.outputs[index];
    Output output{fraction(wanted.frequency_hz), spec.frequency_hz, {}};
    if (!wanted.buffer.empty()) {
      const Range buffer = kdi::clocking::buffer_frequencies(*primitive_.buffer(wanted.buffer));
      output.limits = {std::max(output.limits.min, buffer.min), std::min(output.limits.max, buffer.max)};
    }
    for (int o : values_of(spec.divider, whole_)) {
      const Fraction phase = phase_error(wanted, o), duty = duty_error(wanted, o);
      if (request_.phase_tolerance && less(fraction(*request_.phase_tolerance), phase)) continue;
      if (request_.duty_tolerance && less(fraction(*request_.duty_tolerance), duty)) continue;
      output.choices.push_back({o, {phase.num * duty.den + duty.num * phase.den, phase.den * duty.den}});
    }
    outputs_.push_back(output);
  }

  // Every step is tried. With o parts of a VCO period in a period, step k lies at
  // kParts k / (steps o) periods.
  Fraction phase_error(OutputRequest const& wanted, int o) const {
    const Wide steps = request_.fine_phase ? primitive_.fine_phase_steps : primitive_.phase_steps;
    const Wide turn = wanted.phase_deg.den() * Wide{360};
    const Wide phase = ((wanted.phase_deg.num() % turn) + turn) % turn;  // in 1 / turn
    Fraction best{1, 1};
    for (Wide k = 0; k * kParts < steps * o && (primitive_.max_phase_step == 0 || k <= primitive_.max_phase_step);
         ++k) {
      const Wide den = turn * steps * o;
      Wide distance = kParts * k * turn - phase * steps * o;
      if (distance < 0) distance = -distance;
      distance = std::min(distance, den - distance);
      if (less({distance, den}, best)) best = {distance, den};
    }
    return best;
  }

  Fraction duty_error(OutputRequest const& wanted, int o) const {
    const auto error = [&wanted](Wide num, Wide den) {
      const Wide difference = num * wanted.duty.den() - Wide{wanted.duty.num()} * den;
      return Fraction{difference < 0 ? -difference : difference, den * wanted.duty.den()};
    };
    const int steps = primitive_.duty_steps * o / kParts;
    if (o % kParts != 0 || steps < 2) return error(1, 2);
    Fraction best{2, 1};
    for (int high = 1; high < steps; ++high) {
      const int longest = std::max(high, steps - high);
      if (primitive_.max_high_steps != 0 && longest > primitive_.max_high_steps) continue;
      if (less(error(high, steps), best)) best = error(high, steps);
    }
    return best;
  }

  std::vector<Rational> inputs() const {
    std::vector<Rational> all{request_.input_hz};
    if (request_.second_input_hz) all.push_back(*request_.second_input_hz);
    return all;
  }
  SpreadMode const* spread() const { return request_.spread ? primitive_.spread_mode(request_.spread->mode) : nullptr; }

  bool is_pfd_valid(int d) const {
    const bool is_low = request_.bandwidth == kdi::clocking::Bandwidth::low;
    Range const& pfd = is_low ? primitive_.pfd_low_bandwidth_hz : primitive_.pfd_hz;
    for (Rational const& input : inputs()) {
      if (!primitive_.input_hz.contains(input) || !pfd.contains(input / d)) return false;
      if (request_.input_buffer.empty()) continue;
      if (!kdi::clocking::buffer_frequencies(*primitive_.buffer(request_.input_buffer)).contains(input)) return false;
    }
    if (spread() == nullptr) return true;
    const double base = (request_.input_hz / d).to_double() / spread()->divider_step;
    const auto low = static_cast<std::int64_t>(base / spread()->modulation_hz.max.to_double()) - 1;
    const auto high = static_cast<std::int64_t>(base / spread()->modulation_hz.min.to_double()) + 1;
    for (std::int64_t k = std::max<std::int64_t>(1, low); k <= high; ++k)
      if (spread()->modulation_hz.contains(request_.input_hz / d / spread()->divider_step / k)) return true;
    return false;
  }

  // Spread and second input count: all frequencies between `low` and `high` occur.
  Fraction scaled(bool highest, int m, Wide divider) const {
    Fraction result{highest ? 0 : Wide{1} << 60, 1};
    for (Rational const& input : inputs()) {
      Rational factor = 1;
      if (spread() != nullptr) factor = highest ? factor + spread()->up : factor - spread()->down;
      const Fraction one = {Wide{input.num()} * factor.num() * m, Wide{input.den()} * factor.den() * divider};
      if (highest ? less(result, one) : less(one, result)) result = one;
    }
    return result;
  }

  bool is_vco_valid(int m, int d) const {
    return !less(fraction(primitive_.vco_hz.max), scaled(true, m, Wide{kParts} * d)) &&
           !less(scaled(false, m, Wide{kParts} * d), fraction(primitive_.vco_hz.min));
  }

  // The fastest and the slowest frequency of an output with a divider of one part; with o parts it is 1 / o of that.
  struct Extremes {
    Fraction fast, slow;
  };
  Extremes extremes(int m, int d) const { return {scaled(true, m, d), scaled(false, m, d)}; }

  static bool is_frequency_valid(Output const& output, Extremes const& undivided, int o) {
    return !less(fraction(output.limits.max), {undivided.fast.num, undivided.fast.den * o}) &&
           !less({undivided.slow.num, undivided.slow.den * o}, fraction(output.limits.min));
  }

  Fraction error_of(Output const& output, int m, int d, int o) const {
    const Wide actual = Wide{request_.input_hz.num()} * m * output.wanted.den;
    const Wide wanted = output.wanted.num * d * o * request_.input_hz.den();
    return {actual < wanted ? wanted - actual : actual - wanted, wanted};
  }

  static void add(Value& value, Choice const& choice, Fraction const& error) {
    value.o.push_back(choice.o);
    value.errors.push_back(error);
    value.misplaced.push_back(choice.misplaced);
    if (less(value.worst, error)) value.worst = error;
  }

  Primitive const& primitive_;
  Request const& request_;
  bool whole_ = false;
  std::vector<int> multipliers_;
  std::vector<Output> outputs_;
};

}  // namespace test_support::exhaustive
