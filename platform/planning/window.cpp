#include "platform/planning/window.h"

#include <algorithm>
#include <bit>
#include <unordered_set>
#include <utility>

namespace kdi::planning {
namespace {

constexpr LaneMask bit(int lane) { return LaneMask{1} << lane; }

// A lane for each unit: augmenting paths (H. W. Kuhn, "The Hungarian method for the assignment problem", Naval Research
// Logistics Quarterly 2, 1955), over masks of lanes.
class Matching {
 public:
  explicit Matching(std::vector<LaneMask> const& fits) : fits_(fits), unit_of_(kMostLanesOfWindow, -1) {}

  bool add(int unit) {
    seen_ = 0;
    return augment(unit);
  }
  /// After a failed add: the units that were met, all of whose lanes were seen.
  std::vector<int> blocked(int unit) const {
    std::vector<int> units{unit};
    for (int lane = 0; lane < kMostLanesOfWindow; ++lane)
      if ((seen_ & bit(lane)) != 0 && unit_of_[static_cast<std::size_t>(lane)] >= 0)
        units.push_back(unit_of_[static_cast<std::size_t>(lane)]);
    return units;
  }
  LaneMask used() const {
    LaneMask lanes = 0;
    for (int lane = 0; lane < kMostLanesOfWindow; ++lane)
      if (unit_of_[static_cast<std::size_t>(lane)] >= 0) lanes |= bit(lane);
    return lanes;
  }

 private:
  bool augment(int unit) {
    for (LaneMask open = fits_[static_cast<std::size_t>(unit)] & ~seen_; open != 0;
         open = fits_[static_cast<std::size_t>(unit)] & ~seen_) {
      const int lane = std::countr_zero(open);
      seen_ |= bit(lane);
      int& taken = unit_of_[static_cast<std::size_t>(lane)];
      if (taken >= 0 && !augment(taken)) continue;
      taken = unit;
      return true;
    }
    return false;
  }

  std::vector<LaneMask> const& fits_;
  std::vector<int> unit_of_;
  LaneMask seen_ = 0;
};

}  // namespace

LaneMask Window::lanes_near(Layout const& layout, int bank) const {
  LaneMask near = 0;
  const int row = layout.banks[static_cast<std::size_t>(bank)].row;
  for (std::size_t i = 0; i < lanes.size(); ++i) {
    const int other = layout.banks[static_cast<std::size_t>(layout.lanes[static_cast<std::size_t>(lanes[i])].bank)].row;
    if (std::abs(other - row) <= 1) near |= bit(static_cast<int>(i));
  }
  return near;
}

std::vector<Window> windows_of(Problem const& problem) {
  Layout const& layout = problem.layout();
  std::vector<Window> windows;
  for (std::size_t first = 0; first < layout.banks.size(); ++first) {
    if (problem.standards(static_cast<int>(first)) == nullptr) continue;
    PlacedBank const& base = layout.banks[first];
    Window window;
    for (std::size_t bank = first; bank < layout.banks.size(); ++bank) {
      PlacedBank const& other = layout.banks[bank];
      if (other.column != base.column || other.row >= base.row + kMostRows) break;
      if (other.slr != base.slr || other.kind != base.kind || problem.standards(static_cast<int>(bank)) == nullptr)
        continue;
      if (window.lanes.size() + static_cast<std::size_t>(other.lanes) > kMostLanesOfWindow) break;
      window.banks.push_back(static_cast<int>(bank));
      for (int lane = other.first; lane < other.first + other.lanes; ++lane) window.lanes.push_back(lane);
    }
    windows.push_back(std::move(window));
  }
  return windows;
}

UnitFits::UnitFits(Problem const& problem, Window const& window) : problem_(problem), window_(window) {
  Interface const& wanted = problem.interface();
  sets_.resize(static_cast<std::size_t>(wanted.sets));
  for (std::size_t unit = 0; unit < wanted.units.size(); ++unit) {
    LaneMask lanes = 0;
    for (std::size_t i = 0; i < window.lanes.size(); ++i)
      if (problem.fits(static_cast<int>(unit), window.lanes[i])) lanes |= bit(static_cast<int>(i));
    fits_.push_back(lanes);
    sets_[static_cast<std::size_t>(wanted.units[unit].set)].push_back(static_cast<int>(unit));
  }
  for (std::vector<int> const& set : sets_) has_large_sets_ = has_large_sets_ || set.size() > 1;
}

LaneMask UnitFits::of(int unit, SystemClockSite const* site) const {
  LaneMask lanes = fits_[static_cast<std::size_t>(unit)];
  if (site != nullptr && (lanes & bit(site->lane)) != 0 &&
      !problem_.fits(unit, window_.lanes[static_cast<std::size_t>(site->lane)], site->pads))
    lanes &= ~bit(site->lane);
  return lanes;
}

std::vector<LaneMask> UnitFits::masks(LaneMask lanes, SystemClockSite const* site) const {
  std::vector<LaneMask> fits(fits_.size());
  for (std::size_t unit = 0; unit < fits.size(); ++unit) fits[unit] = of(static_cast<int>(unit), site) & lanes;
  return fits;
}

bool UnitFits::match(std::vector<LaneMask> const& fits) const {
  Matching matching(fits);
  for (std::size_t unit = 0; unit < fits.size(); ++unit)
    if (!matching.add(static_cast<int>(unit))) return false;
  return true;
}

std::vector<int> UnitFits::overfull(LaneMask lanes, SystemClockSite const* site, Bound bound) const {
  std::vector<LaneMask> fits = masks(lanes, site);
  if (bound.unit >= 0) fits[static_cast<std::size_t>(bound.unit)] &= bit(bound.lane);
  Matching matching(fits);
  for (std::size_t unit = 0; unit < fits.size(); ++unit)
    if (!matching.add(static_cast<int>(unit))) return matching.blocked(static_cast<int>(unit));
  return {};
}

// Lanes for sets of several units, each set in one bank and within reach of its strobe; the lanes that are used up so
// far decide what is possible for the rest, so no such state is looked at twice.
struct UnitFits::Search {
  Layout const& layout;
  Window const& window;
  Interface const& wanted;
  std::vector<std::vector<int>> const& sets;
  std::vector<LaneMask> const& fits;
  std::vector<std::unordered_set<LaneMask>> failed = std::vector<std::unordered_set<LaneMask>>(sets.size());
  LaneMask near = 0;

  int bank_of(int lane) const {
    return layout.lanes[static_cast<std::size_t>(window.lanes[static_cast<std::size_t>(lane)])].bank;
  }

  LaneMask reach_of(int lane) const {
    LaneMask reach = 0;
    PlacedLane const& from = layout.lanes[static_cast<std::size_t>(window.lanes[static_cast<std::size_t>(lane)])];
    const device::StrobeReach far = layout.banks[static_cast<std::size_t>(from.bank)].reach;
    for (std::size_t i = 0; i < window.lanes.size(); ++i) {
      PlacedLane const& to = layout.lanes[static_cast<std::size_t>(window.lanes[i])];
      if (to.bank != from.bank) continue;
      const int distance = std::abs(to.position - from.position);
      if (far == device::StrobeReach::bank || distance == 0 ||
          (far == device::StrobeReach::neighbours && distance == 1))
        reach |= bit(static_cast<int>(i));
    }
    return reach;
  }

  bool place(std::size_t set, LaneMask used) {
    if (set == sets.size()) return near == 0 || (used & near) != 0;
    if (failed[set].contains(used)) return false;
    std::vector<int> units = sets[set];
    // The one with the strobe first: it bounds where the others may be.
    std::stable_partition(units.begin(), units.end(),
                          [&](int unit) { return wanted.units[static_cast<std::size_t>(unit)].clocks_set; });
    if (place_units(units, 0, ~LaneMask{0}, set, used)) return true;
    failed[set].insert(used);
    return false;
  }

  bool place_units(std::vector<int> const& units, std::size_t at, LaneMask reach, std::size_t set, LaneMask used) {
    if (at == units.size()) return place(set + 1, used);
    for (LaneMask open = fits[static_cast<std::size_t>(units[at])] & reach & ~used; open != 0; open &= open - 1) {
      const int lane = std::countr_zero(open);
      if (place_units(units, at + 1, at == 0 ? reach_of(lane) : reach, set, used | bit(lane))) return true;
    }
    return false;
  }
};

bool UnitFits::all_fit(LaneMask lanes, SystemClockSite const* site, LaneMask near) const {
  const std::vector<LaneMask> fits = masks(lanes, site);
  if (!has_large_sets_) {
    Matching matching(fits);
    for (std::size_t unit = 0; unit < fits.size(); ++unit)
      if (!matching.add(static_cast<int>(unit))) return false;
    if (near == 0 || (matching.used() & near) != 0) return true;
    for (std::size_t unit = 0; unit < fits.size(); ++unit) {
      if ((fits[unit] & near) == 0) continue;
      std::vector<LaneMask> bound = fits;
      bound[unit] &= near;
      if (match(bound)) return true;
    }
    return false;
  }
  if (!match(fits)) return false;
  Search search{problem_.layout(), window_, problem_.interface(), sets_, fits};
  search.near = near;
  return search.place(0, 0);
}

bool UnitFits::sets_fit(std::vector<int> const& wanted, int bank, LaneMask lanes, SystemClockSite const* site) const {
  LaneMask of_bank = 0;
  for (std::size_t i = 0; i < window_.lanes.size(); ++i)
    if (problem_.layout().lanes[static_cast<std::size_t>(window_.lanes[i])].bank == bank)
      of_bank |= bit(static_cast<int>(i));
  const std::vector<LaneMask> fits = masks(lanes & of_bank, site);
  std::vector<std::vector<int>> some;
  for (const int set : wanted) some.push_back(sets_[static_cast<std::size_t>(set)]);
  Search search{problem_.layout(), window_, problem_.interface(), some, fits};
  return search.place(0, 0);
}

std::vector<SystemClockSite> clock_sites(Problem const& problem, Window const& window, LaneMask lanes) {
  std::vector<SystemClockSite> sites;
  if (!problem.has_system_clock()) return sites;
  const int decided = problem.pad_of(problem.interface().system_clock[0]);
  for (std::size_t i = 0; i < window.lanes.size(); ++i) {
    if ((lanes & bit(static_cast<int>(i))) == 0) continue;
    for (PadPair const& pair : problem.lane(window.lanes[i]).clocks) {
      if (decided >= 0 && decided != pair.positive) continue;
      if (decided < 0 && !problem.is_free(window.lanes[i], problem.clock_mask(pair))) continue;
      // What is decided is out of the others' way already.
      sites.push_back({static_cast<int>(i), decided >= 0 ? PadMask{0} : problem.clock_mask(pair), pair.positive});
    }
  }
  return sites;
}

bool run_fits(Problem const& problem, Window const& window, Run run, SystemClockSite const* site) {
  std::vector<int> lanes(window.lanes.begin() + run.first, window.lanes.begin() + run.last + 1);
  return problem.address_fits(lanes, site == nullptr ? -1 : window.lanes[static_cast<std::size_t>(site->lane)],
                              site == nullptr ? 0 : site->pads);
}

bool is_run(Problem const& problem, Window const& window, Run run, LaneMask lanes) {
  for (int i = run.first; i <= run.last; ++i) {
    PlacedLane const& lane =
        problem.layout().lanes[static_cast<std::size_t>(window.lanes[static_cast<std::size_t>(i)])];
    if ((lanes & bit(i)) == 0 || problem.lane(window.lanes[static_cast<std::size_t>(i)]).owned) return false;
    if (i == run.first) continue;
    if (lane.position !=
        problem.layout().lanes[static_cast<std::size_t>(window.lanes[static_cast<std::size_t>(i - 1)])].position + 1)
      return false;
  }
  return true;
}

}  // namespace kdi::planning
