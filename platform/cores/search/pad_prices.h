// Prices of pads by linear programming: of all prices those at which the bound below all plans is highest.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

namespace kdi::cores {

/// The program, and where its solution stands: what is solved once is near the solution when options go. It is computed
/// in floating point and proves nothing; any prices give a bound, which whoever takes them computes in whole numbers.
///
///   most:  sum of what each peripheral pays - sum of the prices - budget * budget price
///   while: no option costs its peripheral less than it pays; nothing is below 0
class PadPrices {
 public:
  static constexpr double kMost = 1000;  ///< prices stay below, even where the bound grows without end

  struct Option {
    std::size_t peripheral;
    std::vector<std::uint32_t> const* pads;
    int cost;
    bool is_given_up;
  };

  /// Without a budget those that are given up are not counted.
  PadPrices(std::vector<Option> const& options, std::size_t peripherals, std::optional<int> budget);

  /// That option (by its number in the list) is no longer there.
  void remove(std::size_t option);
  /// Nearer to the solution, by at most so many steps.
  void solve(int steps);

  /// Whether solving it found that no options that are there go together.
  bool is_without_plan() const { return followed_.has_value(); }

  std::vector<double> prices(std::size_t pads) const;
  double budget_price() const;
  /// By option: how much of it the solution takes, from 0 to 1.
  std::vector<double> shares() const;

 private:
  double* row(std::size_t i) { return cells_.data() + i * stride_; }
  double value(std::size_t variable) const;
  std::size_t leaving(std::size_t column, double direction) const;
  void pivot(std::size_t leaving, std::size_t column);
  void follow(std::size_t column, double direction);
  void drop_row(std::size_t i);

  std::size_t options_, width_;
  std::size_t stride_;               // of rows, whose cells behind the columns are 0
  std::vector<std::uint32_t> pads_;  // that have columns
  std::size_t peripherals_;
  bool has_budget_;
  // Variables: the columns of the program, then what each option costs above what its peripheral pays.
  std::vector<std::size_t> row_variable_, column_variable_;
  std::vector<double> cells_, right_, gain_;
  std::optional<std::pair<std::size_t, double>> followed_;  // a column's variable, and its value
  std::vector<std::uint32_t> places_;                       // of a row where it is not 0, kept for its memory
};

}  // namespace kdi::cores
