// One option of each choice, no two of them on one place, at the least cost: the search behind plans for pads.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace kdi::cores {

struct PadOption {
  int cost = 0;
  bool counts = false;  ///< for the budget
  std::vector<std::uint32_t> places;
};

/// How many decisions a call may try, so that it ends.
class PadEffort {
 public:
  explicit PadEffort(int steps) : steps_(steps), left_(steps) {}

  /// One more; false if there is none left.
  bool spend() {
    is_spent_ = left_ <= 0;
    if (!is_spent_) --left_;
    return !is_spent_;
  }
  /// Whether one was asked for in vain.
  bool is_spent() const { return is_spent_; }
  int steps() const { return steps_; }

 private:
  int steps_, left_;
  bool is_spent_ = false;
};

struct PadChoices {
  std::vector<std::vector<PadOption>> options;    ///< by choice; the preferred first
  std::optional<int> budget;                      ///< of options that count
  std::optional<std::vector<std::size_t>> known;  ///< a plan, by choice: the number of its option
};

struct PadChosen {
  std::optional<std::vector<std::size_t>> plan;  ///< by choice; nothing: there is none, or none was found
  int bound = 0;                                 ///< no plan costs less
};

/// A plan of the least cost. Of a spent effort the best that was found.
PadChosen least_of(PadChoices const& choices, PadEffort& effort);
/// Of the plans of the least cost the first: the one whose first choice has the lowest number, then the second.
PadChosen first_least_of(PadChoices const& choices, PadEffort& effort);

}  // namespace kdi::cores
