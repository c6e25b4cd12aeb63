// Settings with which every demand has the least error that it has on any at all: nothing is better than they are, in
// the worst error or in the sum of errors. Most requests have some, and the first of them is found by covers alone,
// without the errors of all demands on all settings.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "platform/cores/search/clock_problem.h"
#include "platform/cores/search/clock_table.h"

namespace kdi::cores {

class IdealRows {
 public:
  explicit IdealRows(ClockProblem const& problem);

  /// The demands that have an error at all.
  Bits const& met() const { return met_; }

  /// The row that comes first: the one with the fewest PLLs, then the least power, then the first. Nothing where there
  /// is none, or where it is not found within so many steps.
  std::optional<Choices> first();

 private:
  static constexpr int kMostSteps = 2000;

  // A setting on which some demands have their least error. None that comes before it covers as much.
  struct Way {
    Bits covers;
    std::uint32_t choice;
  };

  void read(std::size_t demand);
  bool read_exact(std::size_t demand);
  void read_least(std::size_t demand, std::optional<Error> const& on_references);
  void list_ways();

  void cover(Bits const& open, int plls);
  bool is_hopeless(Bits const& open, int plls) const;
  std::size_t rarest(Bits const& open) const;
  bool has_alike_before(std::size_t pll) const;
  void consider();

  ClockProblem const& problem_;
  std::vector<std::size_t> alike_;         // by PLL: the first that is like it, which has its sets and its ways
  std::vector<std::vector<Bits>> covers_;  // by PLL and setting
  std::vector<std::vector<Way>> ways_;     // by PLL; by power, then as rows are ordered
  Bits met_, wanted_;                      // what references do not serve as well as any PLL
  int steps_ = 0;
  Choices made_;
  Int128 power_ = 0;
  std::optional<Choices> best_;
  Int128 best_power_ = 0;
};

}  // namespace kdi::cores
