// The settings of PLLs with the least sum of errors, among those within a worst error.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <tuple>
#include <utility>
#include <vector>

#include "platform/cores/search/clock_parting.h"
#include "platform/cores/search/clock_problem.h"
#include "platform/cores/search/clock_table.h"

namespace kdi::cores {

/// Errors behind their keys. Those of one demand that are equal are one and the same here, so that to compare them once
/// is enough.
class ExactErrors {
 public:
  ExactErrors(ClockProblem const& problem, Table const& table) : problem_(problem), table_(table) {}

  /// The least error of a demand with these settings, which it has to have.
  Error const* least(std::size_t demand, Choices const& choices);
  /// Its error on a setting, or on references, where it has one.
  Error const* on_pll(std::size_t demand, std::size_t pll, std::uint32_t choice);
  Error const* on_references(std::size_t demand);

 private:
  Error const* known(std::size_t demand, Error const& error);

  ClockProblem const& problem_;
  Table const& table_;
  std::map<std::pair<std::size_t, std::int64_t>, std::deque<Error>> known_;  // by demand and key
  std::vector<std::vector<Error const*>> on_plls_;                           // as the table's keys; null: not asked yet
};

/// Sums of errors, of which each counts as often as clocks ask for the same.
class ErrorSums {
 public:
  ErrorSums(ExactErrors& exact, std::vector<int> const& weights);

  std::int64_t keys(std::vector<std::int64_t> const& errors) const;

  /// Sums of keys that are at most this may be equal to or below one whose keys add up to `keys`. A key is above its
  /// error by at most 1, and by nothing where there is no error.
  std::int64_t most_equal(std::int64_t keys) const { return keys == 0 ? 0 : keys + margin_; }

  /// Of two rows of settings, whose keys add up to `a_keys` and `b_keys`; exact.
  std::strong_ordering order(Choices const& a, std::int64_t a_keys, Choices const& b, std::int64_t b_keys) const;

 private:
  std::strong_ordering exact(Choices const& a, Choices const& b) const;

  ExactErrors& exact_;
  std::vector<int> const& weights_;
  std::int64_t margin_ = 0;
};

/// Branch and bound over settings of some PLLs. Errors in the table are those that may be, all others kNone.
///
/// The bound: let demand i offer v[i]. Whatever the settings, the sum of errors is at least
///   sum of v[i] - sum over PLLs of the most that one setting saves, sum over i of max(0, v[i] - error of i on it),
/// v[i] being at most the error that i has already. What a setting saves less than the best of its PLL adds to the
/// bound of all rows with it. Good v are sought by subgradient steps; any v gives a bound.
///
/// PLLs that may change places (alike) are looked at in one order alone: of such a class the settings of PLLs in use
/// ascend, by number, with the names of the PLLs. Any row can be brought to that order, which costs nothing and moves
/// it to the front of those that are as good; so what rules out rows for other reasons need not know of it.
///
/// What a setting saves is computed where it can matter. While prices rise by so much in all, no setting saves more
/// than that above what it saved before; and below a node prices are never above its own. So what was computed once
/// bounds what comes later, and of most settings that is enough.
///
/// Where many rows are left, the bound by parts (clock_parting.h) is asked with the same prices: of all settings, and
/// of those of two PLLs together before a node of the one is looked at.
class ClockBranching {
 public:
  ClockBranching(ClockProblem const& problem, Table const& table, std::vector<int> const& weights);

  /// Finds the least sum. `covering` is a row of settings that covers all.
  void least_sum(Choices const& covering);
  /// By PLL: the first one, by name, that is like it; itself if it is the first.
  std::vector<std::size_t> const& first_alike() const { return alike_; }

  /// Of the rows that use these PLLs alone and whose sum is the least that least_sum() found: the one with the least
  /// power, then the first. Nothing if there is none.
  std::optional<Choices> first_with(std::vector<std::size_t> const& plls);
  /// Whether there is such a row.
  bool is_enough(std::vector<std::size_t> const& plls);

  /// PLLs that have a setting.
  std::vector<std::size_t> all() const;

  /// What the search took so far, in sums of eight numbers.
  std::uint64_t steps() const;

 private:
  static constexpr std::int32_t kCoarse = 1 << 19;  // above all that may be
  static constexpr std::size_t kLanes = 8;          // that a processor may take at once
  static constexpr int kRootSteps = 400;
  static constexpr int kSteps = 40;
  static constexpr std::size_t kFew = 4;  // ways to serve a demand, which are rather tried than priced
  static constexpr double kFewRows = 4e3, kManyRows = 1e7;  // rather looked at than parted, or parted once more
  static constexpr std::size_t kParted = 8, kPartedAtRoot = 12;
  static constexpr std::size_t kPromising = 16;
  static constexpr std::size_t kMostCompared = 600;
  static constexpr int kPatience = 6;
  static constexpr int kStepsToSettle = 10;  // from one look at all settings to the next
  static constexpr int kStepsToImprove = 40;
  static constexpr int kMostRounds = 20;
  static constexpr int kMostScales = 6;

  struct Candidate {
    std::int64_t most;  // that it saves, less by how much prices had risen when that was computed
    std::uint32_t choice;
  };

  struct Node {
    std::vector<std::int64_t> errors;  // by demand: so far
    std::vector<std::int32_t> limits;  // likewise, coarse: no price is above
    std::vector<std::int32_t> prices;
    std::int64_t risen = 0;                          // by how much prices have, in all
    bool is_exact = false;                           // what candidates save is known at these very prices
    std::vector<std::size_t> left;                   // PLLs without a setting yet
    std::vector<std::vector<Candidate>> candidates;  // by PLL: settings that are not ruled out
    std::vector<std::size_t> favoured;               // by PLL: the one of them that saved the most
    std::vector<std::int64_t> saved;                 // by PLL: that most
    PartedBound parts;
    std::vector<std::size_t> in_parts;  // by PLL: which of the parts' PLLs it is; empty where they were not asked
    Choices made;
    Int128 power = 0;
  };

  std::int32_t coarse_of(std::size_t demand, std::int64_t key) const;
  bool scale(std::vector<std::size_t> const& plls);
  Bits open_of(Node const& node) const;
  std::int32_t const* coarse_row(std::size_t pll, std::uint32_t choice) const;

  // --- whole rows
  Choices improved(Choices made, std::vector<std::size_t> const& plls);
  void consider_improved(Choices made, std::vector<std::size_t> const& plls);
  bool has_spare(Choices const& made);
  std::pair<int, std::int64_t> cost(std::vector<std::int64_t> const& errors, std::int64_t const* row) const;
  std::vector<std::int64_t> errors_of(Choices const& made) const;
  void consider(Choices const& made, std::vector<std::int64_t> const& errors);
  void consider_favoured(Node const& node);
  using Promising = std::tuple<std::int64_t, std::size_t, std::uint32_t>;  // a bound with the setting of a PLL
  void consider_promising(Node const& node, std::vector<Promising> promising);

  // --- the search
  bool is_done() const { return (only_whether_ && found_) || (!ties_ && best_keys_ == 0); }
  bool has_same_left(Node const& node, std::size_t pll) const;
  static bool has_same_candidates(Node const& node, std::size_t a, std::size_t b);
  bool keep_order(Node& child, std::size_t pll) const;
  std::int64_t slack() const { return sums_.most_equal(best_keys_) - offset_; }
  std::int64_t most_coarse() const { return slack() >> shift_; }
  void run(std::vector<std::size_t> const& plls);
  void open_root(std::vector<std::size_t> const& plls);
  void descend(std::size_t depth);
  void branch(std::size_t depth);
  void serve(std::size_t depth, std::size_t demand);
  std::size_t fewest(Node const& node) const;
  std::pair<std::size_t, std::size_t> rarest(Node const& node) const;
  bool enter(Node& parent, Node& child, std::size_t pll, std::uint32_t choice);
  bool take_candidates(Node& parent, Node& child, std::size_t pll);
  void finish(Node& node, std::size_t pll);

  // --- ruling out
  bool may_be_less(Node const& node);
  bool narrow(Node& node, int steps);
  bool narrow_by_power(Node& node) const;
  bool narrow_by_cover(Node& node) const;
  bool narrow_by_pairs(Node& node) const;
  bool narrow_by_parts(Node& node, std::size_t parted);
  bool keep_by_parts(Node& parent, Node& child, std::size_t pll);
  bool narrow_beside(Node& node, std::size_t p, std::size_t q, Bits const& shared) const;
  bool is_alike_for(std::int64_t error, std::size_t demand, std::size_t p, std::uint32_t a, std::uint32_t b);
  bool is_alike(std::vector<std::int64_t> const& errors, std::size_t p, std::uint32_t a, std::uint32_t b);
  bool is_no_less(std::vector<std::int64_t> const& errors, std::size_t p, std::uint32_t one, std::uint32_t other);
  void drop_alike(Node& node);
  void drop_same(Node& node, std::size_t p);
  void drop_worse(Node& node, std::size_t p);

  // --- prices
  std::int64_t saving(std::vector<std::int32_t> const& prices, std::size_t pll, std::uint32_t choice);
  std::int64_t saved_by(Node const& node, std::size_t pll, Candidate const& candidate);
  std::int64_t judge(Node& node);
  bool rule_out(Node& node, std::int64_t bound);
  bool step_prices(Node& node, std::int64_t bound, std::int64_t largest) const;
  static void set_prices(Node& node, std::vector<std::int32_t> const& prices);

  ClockProblem const& problem_;
  Table const& table_;
  std::vector<int> const& weights_;
  ExactErrors exact_;
  ErrorSums sums_;
  // What is coarse is in units of 2^shift_ keys, above the least that the demand has at all, and kCoarse where it alone
  // makes the sum greater than the best.
  int shift_ = 0;
  std::int64_t offset_ = 0;                            // the sum of those least
  std::vector<std::int64_t> least_;                    // by demand
  std::vector<std::int32_t> base_;                     // coarse
  std::size_t stride_ = 0;                             // of rows, a multiple of kLanes
  std::vector<std::vector<Bits>> covers_;              // by PLL and setting
  std::vector<std::vector<std::int32_t>> coarse_;      // as the table's keys, rounded down
  std::vector<std::vector<std::int64_t>> least_keys_;  // by PLL and demand: of all settings
  std::vector<std::size_t> alike_;                     // by PLL: the first that is like it
  std::vector<std::size_t> ranks_;                     // by PLL: its place by name
  std::vector<std::int64_t> prices_;                   // good ones where nothing is decided, as keys
  std::vector<Node> nodes_;                            // by depth
  std::vector<std::uint32_t> places_;                  // of drop_alike(), kept for their memory
  std::vector<std::uint64_t> hashes_;
  bool ties_ = false, only_whether_ = false, found_ = false;
  bool has_spare_ = false;    // the best row has a PLL too many: those as good are of no interest
  bool has_all_ties_ = true;  // the search for the least sum has seen all rows that have it
  Choices best_, sum_, tied_, first_of_all_;
  Choices favoured_;  // by prices, when it was last improved
  std::int64_t best_keys_ = 0, sum_keys_ = 0;
  std::uint64_t steps_ = 0;
};

}  // namespace kdi::cores
