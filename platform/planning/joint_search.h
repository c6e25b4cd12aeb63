// The least sums that several controllers come to together. Sets of banks are tried by the sum of banks, and those of
// one sum by the least that each controller alone could do with them; frames by the sums of lanes and of distances.
#pragma once

#include <optional>
#include <vector>

#include "platform/planning/joint_fitting.h"
#include "platform/planning/joint_seats.h"
#include "platform/planning/joint_sharing.h"

namespace kdi::planning::joint {

inline constexpr int kMostFrames = 30000;    ///< tuples that one search looks at; they take some 50 microseconds each
inline constexpr int kFramesOfChoice = 200;  ///< what a set of banks for each takes, counted so where many are asked

Objective sum_of(std::vector<Plan> const& plans);

class Search {
 public:
  explicit Search(std::vector<PlacementRequest> const& requests);
  /// Of requests that ask for more than those of another search, which no more banks do for, and which has taken so
  /// many steps.
  Search(std::vector<PlacementRequest> const& requests, Search const& wider, int steps);

  /// The plans of the least sum. None if there are none, or none was found before the search was cut short.
  std::vector<Plan> least();
  /// Whether there is a placement of the sum, which is the least that there can be.
  bool comes_to(Objective const& sum);
  /// Of the best that was found.
  std::vector<Plan> plans() const;

  bool is_exact() const { return is_exact_; }
  int steps() const { return frames_; }

 private:
  struct Found {
    Objective sum;
    std::vector<Plan> plans;  ///< where they are known already, of controllers one after the other
    std::vector<Arrangement> arrangements;
    std::vector<PlacementRequest> requests;
  };

  void take_sequence();
  void list(Choice& choice, int banks, std::vector<Choice>& all) const;
  void try_sum(int banks);
  void try_choice(Choice const& choice);
  bool any_room();
  bool any_room(std::vector<std::vector<std::vector<int>>> const& wide, std::vector<PlacementRequest>& chosen);
  bool is_possible(Seats const& seats);
  bool is_possible(Seats const& seats, std::vector<std::vector<Frame>> const& frames,
                   std::vector<Frame const*>& chosen);

  std::vector<PlacementRequest> const& requests_;
  std::vector<std::vector<BankSet>> sets_;
  std::optional<Found> best_;
  std::optional<Objective> most_;  ///< nothing beyond this is of use
  bool is_exact_ = true;
  int frames_ = 0;
};

}  // namespace kdi::planning::joint
