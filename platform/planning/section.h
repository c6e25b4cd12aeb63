// Some banks of a request's layout alone. An interface lies in five rows of one column, so a request has a placement
// exactly where one of its sections of five rows has one.
#pragma once

#include <memory>
#include <vector>

#include "kdi/planning/Placement.h"

namespace kdi::planning {

/// The request for some banks. What is asked for outside of them is away: no lane and no pad of the section has it.
class Section {
 public:
  PlacementRequest const& request() const { return request_; }
  /// The section's lane, of a lane of the layout; -1 if it is outside.
  int lane(int of_layout) const { return lanes_[static_cast<std::size_t>(of_layout)]; }
  int bank_of_lane(int of_layout) const {
    const int own = lane(of_layout);
    return own < 0 ? -1 : layout_.lanes[static_cast<std::size_t>(own)].bank;
  }
  /// Units, and what else Signal::unit may be, that have a signal whose pad is asked for outside.
  std::vector<int> const& away() const { return away_; }

 private:
  friend class Sections;
  Section() = default;

  Layout layout_;
  PlacementRequest request_;
  std::vector<int> lanes_;
  std::vector<int> away_;
};

/// Sections of one request on a layout whose banks may stand otherwise than in the request's own, of which lanes and
/// pads are the same. Neither names of signals nor those of pads are in them.
class Sections {
 public:
  Sections(PlacementRequest const& request, Layout const& layout);
  Sections(Sections const&) = delete;
  Sections& operator=(Sections const&) = delete;

  std::unique_ptr<Section> of(std::vector<int> const& banks) const;
  /// Banks of each five rows of a column, but those that are all among the five rows before.
  std::vector<std::vector<int>> rows() const;
  /// Banks in the five rows of each window that has the bank.
  std::vector<int> around(int bank) const;

 private:
  void take_bank(Section& section, int bank, std::vector<int>& pads) const;
  void ask(Section& section, std::vector<int> const& pads) const;

  PlacementRequest const& request_;
  Layout const& layout_;
  Interface interface_;
  std::vector<std::vector<TakenPad const*>> taken_;  // by bank
};

}  // namespace kdi::planning
