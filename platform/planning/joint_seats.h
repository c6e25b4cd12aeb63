// A controller among several: the sets of banks that it could have, and its frames in one of them, each a span of lanes
// and a run of these for its addresses.
#pragma once

#include <memory>
#include <vector>

#include "kdi/planning/Placement.h"
#include "platform/planning/problem.h"
#include "platform/planning/window.h"

namespace kdi::planning::joint {

// Banks that a controller could have a signal in each of, and no placement there has less than this.
struct BankSet {
  std::vector<int> banks;  ///< numbers, in the order of the layout
  Objective best;
};

struct Frame {
  Run span, run;
  int lanes = 0;
  int off_centre = 0;
};

/// The request in some banks, by their numbers.
PlacementRequest within(PlacementRequest request, std::vector<int> const& banks);

/// Those in which the controller alone has a placement, the best first.
std::vector<BankSet> bank_sets(PlacementRequest const& request);

bool is_better(Objective const& a, Objective const& b);

/// One controller with its set of banks.
struct Seat {
  PlacementRequest request;
  Problem problem;
  std::vector<Window> windows;
  UnitFits units;
  std::vector<Frame> frames;

  explicit Seat(PlacementRequest made)
      : request(std::move(made)), problem(request), windows(windows_of(problem)), units(problem, window()) {
    list_frames();
  }
  Seat(Seat const&) = delete;
  Seat& operator=(Seat const&) = delete;

  Window const& window() const { return windows.front(); }
  int lane(int index) const { return window().lanes[static_cast<std::size_t>(index)]; }
  int bank(int index) const { return problem.layout().lanes[static_cast<std::size_t>(lane(index))].bank; }
  int position(int index) const { return problem.layout().lanes[static_cast<std::size_t>(lane(index))].position; }

 private:
  void list_frames();
};

using Seats = std::vector<std::unique_ptr<Seat>>;

}  // namespace kdi::planning::joint
