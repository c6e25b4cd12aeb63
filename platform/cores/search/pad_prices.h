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
///   most:  sum of what each choice pays - sum of the prices of limits, each times how many may have it
///   while: no option costs its choice less than it pays; nothing is below 0
class PadPrices {
 public:
  static constexpr double kMost = 1000;  ///< prices stay below, even where the bound grows without end

  struct Option {
    std::size_t number;  ///< by which it is removed
    std::size_t choice;
    int cost;
    std::vector<std::uint32_t> const* limits;  ///< that it counts for
  };

  /// `limits`: how many of their options may be taken. Options are numbered below `numbers`.
  PadPrices(std::vector<Option> const& options, std::size_t numbers, std::size_t choices,
            std::vector<int> const& limits);

  bool has(std::size_t option) const { return where_[choices_ + limits_ + option] != kNowhere; }
  /// The option is no longer there. It stays where its going makes no difference yet: has() tells.
  void remove(std::size_t option);
  /// Makes the table small: forgets limits that are not `needed` where they have no price, and options that are all
  /// that is left of their choice and that nobody else has to do with. Of these neither prices nor shares are told any
  /// more.
  void forget(std::vector<char> const& needed);
  /// Nearer to the solution, by at most so many steps.
  void solve(int steps);

  /// Whether solving it found that no options that are there go together.
  bool is_without_plan() const { return followed_.has_value(); }

  /// By limit.
  std::vector<double> prices() const;
  /// By number of the option: how much of it the solution takes, from 0 to 1.
  std::vector<double> shares() const;

 private:
  static constexpr std::uint32_t kNowhere = ~std::uint32_t{0};
  static constexpr std::uint32_t kColumn = std::uint32_t{1} << 31;  // set in places of columns

  double const* row(std::size_t i) const { return cells_.data() + i * stride_; }
  double* row(std::size_t i) { return cells_.data() + i * stride_; }
  std::size_t entering() const;
  std::size_t leaving(std::size_t column, double direction) const;
  void pivot(std::size_t leaving, std::size_t column);
  void step(std::size_t leaving, std::size_t column);
  void follow(std::size_t column, double direction);
  void drop_row(std::size_t i);
  void drop_column(std::size_t j);
  bool is_decided(std::size_t row, std::size_t& column) const;
  void narrow();

  std::size_t numbers_, choices_, limits_;
  std::size_t stride_;  // of rows, whose cells behind the columns are 0
  // Variables: what choices pay, the prices of limits, then what each option costs above what its choice pays.
  std::vector<std::uint32_t> row_variable_, column_variable_;
  std::vector<std::uint32_t> where_;  // by variable: its row, or its column
  std::vector<double> cells_, right_, gain_;
  std::vector<double> weights_;                               // of columns, by which gains are compared
  std::optional<std::pair<std::uint32_t, double>> followed_;  // a column's variable, and its value
  std::vector<std::uint32_t> places_;                         // of a row where it is not 0, kept for its memory
};

}  // namespace kdi::cores
