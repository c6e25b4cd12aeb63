// Rows of a column in which a controller may lie, and what fits where in them.
#pragma once

#include <optional>
#include <vector>

#include "platform/planning/problem.h"

namespace kdi::planning {

inline constexpr int kMostLanesOfWindow = 64;

/// Banks of one column, one SLR and one kind within kMostRows rows, those that the interface may use.
struct Window {
  std::vector<int> banks;  ///< of the layout, by row
  std::vector<int> lanes;  ///< of the layout, by position

  /// Its lanes that are in banks which `wanted` has, and in those next to a bank.
  LaneMask lanes_near(Layout const& layout, int bank) const;
};

/// By the first bank; a window whose banks another one has is among them too.
std::vector<Window> windows_of(Problem const& problem);

/// Lanes for the address block, by index in the window.
struct Run {
  int first = 0;
  int last = 0;
  LaneMask mask() const {
    return (last == 63 ? ~LaneMask{0} : (LaneMask{1} << (last + 1)) - 1) & ~((LaneMask{1} << first) - 1);
  }
};

struct SystemClockSite {
  int lane = 0;  ///< index in the window
  PadMask pads = 0;
  int pad = 0;  ///< the positive one
};

/// A unit that is held to a lane, by index in the window; -1: none is.
struct Bound {
  int unit = -1;
  int lane = -1;
};

/// Where units fit, with what is decided now.
class UnitFits {
 public:
  UnitFits(Problem const& problem, Window const& window);

  /// Lanes of the window that a unit fits into, if the system clock is at `site` (may be null).
  LaneMask of(int unit, SystemClockSite const* site) const;
  /// Whether all units find lanes among `lanes`, one of them in `near` (0: anywhere).
  bool all_fit(LaneMask lanes, SystemClockSite const* site, LaneMask near) const;
  /// Units that have no other lanes among `lanes` than fewer lanes: the overfull set of units. Empty if there is none.
  std::vector<int> overfull(LaneMask lanes, SystemClockSite const* site, Bound bound) const;
  std::vector<int> overfull(LaneMask lanes, SystemClockSite const* site) const {
    return overfull(lanes, site, Bound());
  }
  /// Whether the sets fit into the bank together.
  bool sets_fit(std::vector<int> const& sets, int bank, LaneMask lanes, SystemClockSite const* site) const;
  bool has_large_sets() const { return has_large_sets_; }
  std::vector<std::vector<int>> const& sets() const { return sets_; }

 private:
  struct Search;
  bool match(std::vector<LaneMask> const& fits) const;
  std::vector<LaneMask> masks(LaneMask lanes, SystemClockSite const* site) const;

  Problem const& problem_;
  Window const& window_;
  std::vector<LaneMask> fits_;
  std::vector<std::vector<int>> sets_;  ///< units of each
  bool has_large_sets_ = false;
};

/// The sites of the system clock in some lanes of a window.
std::vector<SystemClockSite> clock_sites(Problem const& problem, Window const& window, LaneMask lanes);

/// Whether the block of addresses fits into a run beside the system clock at `site` (may be null).
bool run_fits(Problem const& problem, Window const& window, Run run, SystemClockSite const* site);
/// Whether the lanes of a run follow each other, all of them among `lanes`.
bool is_run(Problem const& problem, Window const& window, Run run, LaneMask lanes);

}  // namespace kdi::planning
