#include "platform/planning/refutation.h"

#include <algorithm>
#include <utility>

namespace kdi::planning {
namespace {

using Kind = Refutation::Kind;

Refutation leaf(Kind kind, std::string what = {}) {
  Refutation node;
  node.kind = kind;
  node.what = std::move(what);
  return node;
}

// The tree of one window.
class WindowRefuter {
 public:
  WindowRefuter(Problem const& problem, Window const& window)
      : problem_(problem), window_(window), units_(problem, window) {
    for (std::size_t i = 0; i < window.lanes.size(); ++i) all_ |= LaneMask{1} << i;
  }

  Refutation refute() {
    if (!units_.overfull(all_, nullptr).empty()) return overfull(all_, nullptr);
    if (!units_.all_fit(all_, nullptr, 0)) return refute_sets(all_, nullptr);
    Refutation node;
    node.kind = Kind::address;
    const int count = static_cast<int>(window_.lanes.size());
    for (int first = 0; first < count; ++first)
      for (int last = first; last < count && is_run(problem_, window_, {first, last}, all_); ++last) {
        const Run run{first, last};
        if (!run_fits(problem_, window_, run, nullptr)) continue;
        const bool is_closed = !units_.all_fit(all_ & ~run.mask(), nullptr, 0);
        node.branches.push_back({lane(first), lane(last), refute_run(run)});
        if (is_closed) break;  // longer runs leave less, and have this reason as well
      }
    if (node.branches.empty()) return leaf(Kind::empty, "address");
    return node;
  }

 private:
  int lane(int index) const { return window_.lanes[static_cast<std::size_t>(index)]; }
  int bank_of(int index) const { return problem_.layout().lanes[static_cast<std::size_t>(lane(index))].bank; }

  Refutation overfull(LaneMask lanes, SystemClockSite const* site, Bound bound = {}) const {
    Refutation node = leaf(Kind::overfull);
    node.units = units_.overfull(lanes, site, bound);
    LaneMask open = 0;
    for (const int unit : node.units)
      open |= units_.of(unit, site) & lanes & (unit == bound.unit ? LaneMask{1} << bound.lane : ~LaneMask{0});
    for (std::size_t i = 0; i < window_.lanes.size(); ++i)
      if ((open >> i & 1) != 0) node.lanes.push_back(window_.lanes[i]);
    return node;
  }

  Refutation refute_units(LaneMask lanes, SystemClockSite const* site) const {
    return units_.overfull(lanes, site).empty() ? refute_sets(lanes, site) : overfull(lanes, site);
  }

  Refutation refute_run(Run run) const {
    const LaneMask rest = all_ & ~run.mask();
    if (!units_.all_fit(rest, nullptr, 0)) return refute_units(rest, nullptr);
    Refutation node;
    node.kind = Kind::system_clock;
    for (SystemClockSite const& site : clock_sites(problem_, window_, all_))
      node.branches.push_back({site.pad, site.pad, refute_site(run, rest, site)});
    if (node.branches.empty()) return leaf(Kind::empty, "clock");
    return node;
  }

  Refutation refute_site(Run run, LaneMask rest, SystemClockSite const& site) const {
    if ((run.mask() >> site.lane & 1) != 0 && !run_fits(problem_, window_, run, &site))
      return leaf(Kind::empty, "address");
    if (!units_.all_fit(rest, &site, 0)) return refute_units(rest, &site);
    return refute_near(rest, site);
  }

  // All fits but for a unit near the clock: so each unit in each lane there is in the way of the others.
  Refutation refute_near(LaneMask rest, SystemClockSite const& site) const {
    Refutation node;
    node.kind = Kind::near;
    const LaneMask near = window_.lanes_near(problem_.layout(), bank_of(site.lane)) & rest;
    for (std::size_t unit = 0; unit < problem_.interface().units.size(); ++unit)
      for (std::size_t i = 0; i < window_.lanes.size(); ++i)
        if ((units_.of(static_cast<int>(unit), &site) & near & LaneMask{1} << i) != 0)
          node.branches.push_back({static_cast<int>(unit), window_.lanes[i],
                                   overfull(rest, &site, {static_cast<int>(unit), static_cast<int>(i)})});
    return node.branches.empty() ? leaf(Kind::far_clock, "clock") : node;
  }

  // Set by set, into which bank; a bank with too many ends a branch.
  Refutation refute_sets(LaneMask lanes, SystemClockSite const* site) const {
    std::vector<std::vector<int>> in_bank(window_.banks.size());
    return refute_set(0, in_bank, lanes, site);
  }

  Refutation refute_set(int set, std::vector<std::vector<int>>& in_bank, LaneMask lanes,
                        SystemClockSite const* site) const {
    Refutation node;
    node.kind = Kind::sets;
    node.set = set;
    for (std::size_t bank = 0; bank < window_.banks.size(); ++bank) {
      in_bank[bank].push_back(set);
      if (units_.sets_fit(in_bank[bank], window_.banks[bank], lanes, site)) {
        node.branches.push_back({window_.banks[bank], window_.banks[bank], refute_set(set + 1, in_bank, lanes, site)});
      } else {
        Refutation full = leaf(Kind::bank_overfull, "groups");
        for (const int each : in_bank[bank])
          for (const int unit : units_.sets()[static_cast<std::size_t>(each)]) full.units.push_back(unit);
        node.branches.push_back({window_.banks[bank], window_.banks[bank], std::move(full)});
      }
      in_bank[bank].pop_back();
    }
    return node;
  }

  Problem const& problem_;
  Window const& window_;
  UnitFits units_;
  LaneMask all_ = 0;
};

// The leaf that tells most: that of the window that has the most to offer, which stands first.
Refutation const& telling_leaf(Refutation const& node) {
  return node.branches.empty() ? node : telling_leaf(node.branches.front().why);
}

}  // namespace

Refutation refute(Problem const& problem, std::vector<Window> const& windows) {
  if (!problem.fault().empty()) return leaf(Kind::pinned, problem.fault());
  Refutation node;
  node.kind = Kind::window;
  for (Window const& window : windows)
    node.branches.push_back({window.banks.front(), window.banks.back(), WindowRefuter(problem, window).refute()});
  if (node.branches.empty()) return leaf(Kind::empty, "interface");
  return node;
}

std::string reason_of(Refutation const& refutation, Layout const& layout, Interface const& interface) {
  Refutation const& leaf = telling_leaf(refutation);
  std::string where;
  if (refutation.kind == Refutation::Kind::window && !refutation.branches.empty()) {
    const auto number = [&](int bank) { return std::to_string(layout.banks[static_cast<std::size_t>(bank)].number); };
    where =
        " in banks " + number(refutation.branches.front().first) + " to " + number(refutation.branches.front().last);
  }
  const std::string begin = "the pins cannot be placed: ";
  if (leaf.kind == Refutation::Kind::overfull)
    return begin + std::to_string(leaf.units.size()) + " groups (" +
           interface.units[static_cast<std::size_t>(leaf.units.front())].group + " ...) have " +
           std::to_string(leaf.lanes.size()) + " lanes that they fit into" + where;
  return begin + "nothing holds the " + leaf.what + where;
}

}  // namespace kdi::planning
