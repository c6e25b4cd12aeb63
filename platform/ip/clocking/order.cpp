#include "platform/ip/clocking/order.h"

#include <algorithm>
#include <numeric>
#include <utility>

#include "platform/ip/clocking/search.h"

namespace kdi::clocking {
namespace {

bool is_alike(OutputSpec const& a, OutputSpec const& b) {
  return a.divider == b.divider && a.frequency_hz == b.frequency_hz;
}

// Gives the clocks from `counters.size()` on to what is free, the lowest of counters that are alike first.
class Orders {
 public:
  Orders(Primitive const& primitive, std::size_t clocks, std::function<void(Counters const&)> const& visit)
      : primitive_(primitive), clocks_(clocks), visit_(visit), is_taken_(clocks, false) {}

  void go_on() {
    if (counters_.size() == clocks_) {
      visit_(counters_);
      return;
    }
    for (std::size_t i = 0; i < clocks_; ++i) {
      if (is_taken_[i] || is_like_a_free_one_below(i)) continue;
      is_taken_[i] = true;
      counters_.push_back(static_cast<int>(i));
      go_on();
      counters_.pop_back();
      is_taken_[i] = false;
    }
  }

 private:
  bool is_like_a_free_one_below(std::size_t index) const {
    for (std::size_t i = 0; i < index; ++i)
      if (!is_taken_[i] && is_alike(primitive_.outputs[i], primitive_.outputs[index])) return true;
    return false;
  }

  Primitive const& primitive_;
  std::size_t clocks_;
  std::function<void(Counters const&)> const& visit_;
  Counters counters_;
  std::vector<bool> is_taken_;
};

std::vector<Rational> errors_of(Solution const& solution) {
  std::vector<Rational> errors;
  for (OutputSolution const& output : solution.outputs) errors.push_back(output.frequency_error);
  if (solution.high_speed) errors.push_back(solution.high_speed->frequency_error);
  return errors;
}

std::vector<Rational> misplacements_of(Solution const& solution) {
  std::vector<Rational> errors;
  for (OutputSolution const& output : solution.outputs) {
    errors.push_back(output.phase_error);
    errors.push_back(output.duty_error);
  }
  return errors;
}

// The objective of solver.h, level by level.
bool is_better(Solution const& a, Solution const& b, Preference preference) {
  if (a.worst_error != b.worst_error) return a.worst_error < b.worst_error;
  if (const auto order = compare_sums(errors_of(a), errors_of(b)); std::is_neq(order)) return std::is_lt(order);
  if (const auto order = compare_sums(misplacements_of(a), misplacements_of(b)); std::is_neq(order))
    return std::is_lt(order);
  if (a.vco_hz != b.vco_hz) return (a.vco_hz > b.vco_hz) == (preference == Preference::low_jitter);
  if (a.input_divider != b.input_divider) return a.input_divider < b.input_divider;
  return std::ranges::lexicographical_compare(a.outputs, b.outputs, {}, &OutputSolution::divider,
                                              &OutputSolution::divider);
}

// No setting that is farther off can be better.
void bound(Request& request, Rational const& worst) {
  constexpr std::int64_t kRaster = std::int64_t{1} << 40;
  const Rational bound =
      Rational::of((static_cast<Int128>(worst.num()) * kRaster + worst.den() - 1) / worst.den(), kRaster);
  if (!request.tolerance || bound < *request.tolerance) request.tolerance = bound;
}

}  // namespace

void for_each_order(Primitive const& primitive, std::size_t clocks, std::function<void(Counters const&)> const& visit) {
  Orders(primitive, clocks, visit).go_on();
}

Primitive rearranged(Primitive primitive, Counters const& counters) {
  const std::vector<OutputSpec> outputs = primitive.outputs;
  for (std::size_t i = 0; i < counters.size(); ++i)
    primitive.outputs[i] = outputs[static_cast<std::size_t>(counters[i])];
  return primitive;
}

std::vector<Rational> in_order(Request const& request, std::vector<int> const& counters) {
  std::vector<Rational> frequencies(counters.size());
  for (std::size_t i = 0; i < counters.size(); ++i)
    frequencies[static_cast<std::size_t>(counters[i])] = request.outputs[i].frequency_hz;
  return frequencies;
}

std::optional<Solution> best_in_any_order(Primitive const& primitive, Request const& request) {
  std::optional<Solution> best;
  Request bounded = request;
  for_each_order(primitive, request.outputs.size(), [&](Counters const& counters) {
    const Primitive other = rearranged(primitive, counters);
    Search search(other, bounded);
    if (!search.has_any()) return;
    Solution solution = search.describe(*search.best());
    if (best && !is_better(solution, *best, request.preference)) return;
    solution.counters = counters;
    best = std::move(solution);
    bound(bounded, best->worst_error);
  });
  return best;
}

}  // namespace kdi::clocking
