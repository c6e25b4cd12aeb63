// What the search asks of one request: which pads can be used, and whether a group fits into a lane.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "kdi/planning/Placement.h"

namespace kdi::planning {

/// Pads of a lane, one bit each in the order of their sites.
using PadMask = std::uint64_t;
/// Lanes of a window.
using LaneMask = std::uint64_t;

struct PadPair {
  int positive = 0;  ///< ranks
  int negative = 0;
  PadMask mask = 0;
};

struct LaneView {
  PadMask usable = 0;
  std::vector<PadPair> pairs;
  std::vector<PadPair> strobes;
  std::vector<PadPair> clocks;
  std::vector<PadMask> nibbles;
  bool owned = false;  ///< by another controller
};

/// A request made ready, with what is decided so far.
class Problem {
 public:
  explicit Problem(PlacementRequest const& request);

  PlacementRequest const& request() const { return request_; }
  Layout const& layout() const { return *request_.layout; }
  Interface const& interface() const { return *request_.interface; }

  /// Null if no signal of the interface may be in the bank.
  StandardSet const* standards(int bank) const { return bank_standards_[static_cast<std::size_t>(bank)]; }
  LaneView const& lane(int lane) const { return lanes_[static_cast<std::size_t>(lane)]; }
  bool usable(int pad) const {
    return (lane(layout().pads[static_cast<std::size_t>(pad)].lane).usable & bit_of(pad)) != 0;
  }
  PadMask bit_of(int pad) const;

  /// Decided: the pad of a signal, -1; the lane of a unit, -1.
  int pad_of(int signal) const { return pad_of_signal_[static_cast<std::size_t>(signal)]; }
  int lane_of(int unit) const { return lane_of_unit_[static_cast<std::size_t>(unit)]; }
  std::vector<int> const& pads() const { return pad_of_signal_; }
  /// Puts a signal on a pad, the other of its pair on that pad's partner, and its unit into the lane. False if that
  /// cannot be for reasons of the pad or the unit alone; then nothing has changed.
  bool pin(int signal, int pad);
  void pin_unit(int unit, int lane) { lane_of_unit_[static_cast<std::size_t>(unit)] = lane; }
  /// Takes back the last pin of the signal.
  void unpin(int signal);
  /// Keeps pads of a lane from all signals that are not decided, or gives them back.
  void block(int lane, PadMask pads, bool is_blocked) {
    PadMask& pinned = pinned_[static_cast<std::size_t>(lane)];
    pinned = is_blocked ? pinned | pads : pinned & ~pads;
  }

  /// Whether a unit has room in a lane whose pads of `without` are not for it.
  bool fits(int unit, int lane, PadMask without = 0) const;
  /// Whether the block of addresses has room in lanes that follow each other, a signal at least in each.
  bool address_fits(std::vector<int> const& lanes, int without_lane, PadMask without) const;

  /// Whether no signal that is decided has one of the pads.
  bool is_free(int lane, PadMask pads) const { return (pinned_[static_cast<std::size_t>(lane)] & pads) == 0; }

  /// Pads for the system clock in a lane: the pair, or the positive one of it.
  PadMask clock_mask(PadPair const& pair) const;
  bool has_system_clock() const { return !interface().system_clock.empty(); }

  /// Why the user's own wishes cannot be; empty if they can.
  std::string const& fault() const { return fault_; }

 private:
  StandardSet const* standards_in(PlacedBank const& bank, std::vector<TakenPad const*> const& taken) const;
  void read_lanes();
  void take_wishes();
  bool cell_fits(Cell const& cell, int lane, PadMask pads, PadMask pinned) const;
  bool cells_fit(Unit const& unit, std::size_t cell, int lane, PadMask pads, PadMask pinned,
                 unsigned nibbles_used) const;

  PlacementRequest const& request_;
  std::vector<StandardSet const*> bank_standards_;
  std::vector<LaneView> lanes_;
  std::vector<PadMask> pinned_;       ///< by lane: pads of signals that are decided
  std::vector<int> address_in_lane_;  ///< by lane: decided signals of the address block
  std::vector<int> pad_of_signal_;
  std::vector<int> lane_of_unit_;
  std::vector<int> pinned_in_unit_;
  std::vector<bool> unit_was_pinned_;
  std::string fault_;
};

}  // namespace kdi::planning
