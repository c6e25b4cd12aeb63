// A bound for the sum of errors that knows, of a few demands, that each is served by one PLL alone.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace kdi::cores {

/// Let each demand offer a price, as ClockBranching has them; of a few, those with the highest prices, the very errors
/// count instead. Whatever the settings, these few are parted among the PLLs, and a PLL whose part is S costs at least
///   the least over its settings of: sum over S of errors - sum over demands that are not parted of max(0, price -
///   error).
/// That is computed for all S, and for several PLLs by joining them: the least over all ways to part S between two.
/// Prices alone would let each PLL take of every demand what suits it.
///
/// All in coarse errors, which are at most 2^19.
class PartedBound {
 public:
  static constexpr std::size_t kMostParted = 14;

  /// `limits`: errors that demands have already; no price is above. Both, and all rows, are of the same length, a
  /// multiple of 8. At most so many demands are parted, 3 to kMostParted.
  void begin(std::vector<std::int32_t> const& prices, std::vector<std::int32_t> const& limits, std::size_t most_parted);
  /// As many PLLs that have the same settings, which follow.
  void add_plls(int count);
  void add_setting(std::int32_t const* row);

  /// No sum is below. After it no more are added.
  std::int64_t bound();
  /// Likewise with a setting of one of the PLLs, both by the order in which they were added.
  std::int64_t bound_with(std::size_t plls, std::size_t setting);

  /// Makes this the setting of one of the PLLs, with prices that are above neither its errors nor those of begin().
  /// After bound().
  void set(std::size_t plls, std::int32_t const* row, std::vector<std::int32_t> const& prices);
  /// Likewise with it and with a setting of another PLL. `saved`: the sum of what these prices are above its errors.
  std::int64_t bound_beside(std::size_t plls, std::int32_t const* row, std::int64_t saved);

  std::size_t parted() const { return parted_.size(); }
  /// What all bounds so far took, in sums of eight numbers.
  std::uint64_t steps() const { return steps_; }

 private:
  using Sums = std::vector<std::int32_t>;  // by part

  struct Plls {
    int count = 0;
    std::vector<std::int32_t> errors;  // by setting: of the parted demands
    std::vector<std::int32_t> saved;   // likewise: of the others
    Sums least;                        // of one of them, over its settings
    Sums others;                       // of all PLLs but one of them, by the part of that one
  };

  void find_least(Plls& plls);
  Sums joined(Sums const& a, Sums const& b);
  void join_others();
  Sums const& others_of(std::size_t a, std::size_t b);
  static void turn(Sums& others, std::size_t parts);

  std::vector<std::int32_t> prices_, limits_;
  std::vector<std::size_t> parted_;
  std::int64_t unparted_ = 0;  // the sum of the other prices
  std::vector<Plls> plls_;
  struct Made {
    std::size_t plls = 0;
    std::array<std::int32_t, kMostParted> prices{}, limits{};  // beside it, of the parted demands
    std::int64_t unparted = 0;
  };
  Made made_;
  std::vector<Sums> pairs_;  // by two of the PLLs: of all others, as Plls::others; empty: not asked yet
  Sums shifted_;             // of joined(), kept for its memory
  std::uint64_t steps_ = 0;
};

}  // namespace kdi::cores
