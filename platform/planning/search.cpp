// The best placement, level by level of the objective: the fewest banks, then the shortest span of lanes, then the
// address block nearest to its middle; and among what is left the least pads, signal by signal.
//
// Up to the third level only lanes are searched: whether a group fits into a lane does not depend on the other groups.
// More room never hurts, so the least number of banks and the least span are those with which anything fits at all.
#include "platform/planning/search.h"

#include <algorithm>
#include <bit>
#include <limits>

#include "kdi/planning/Placement.h"
#include "platform/planning/bank_rules.h"
#include "platform/planning/refutation.h"
#include "platform/planning/window.h"

namespace kdi::planning {
namespace {

// Lanes from which a placement is to be made: some banks of a window, from one lane to another.
struct Frame {
  std::size_t window = 0;
  LaneMask lanes = 0;
  Run run;
};

LaneMask between(int first, int last) { return Run{first, last}.mask(); }

class Searcher {
 public:
  explicit Searcher(PlacementRequest const& request) : problem_(request), windows_(windows_of(problem_)) {}

  Problem const& problem() const { return problem_; }
  std::vector<Window> const& windows() const { return windows_; }

  // More room never hurts, so whole windows tell, of which none is a part of the one before.
  bool is_possible() const {
    if (!problem_.fault().empty()) return false;
    Window const* before = nullptr;
    return std::any_of(windows_.begin(), windows_.end(), [&](Window const& window) {
      if (before != nullptr &&
          std::includes(before->banks.begin(), before->banks.end(), window.banks.begin(), window.banks.end()))
        return false;
      before = &window;
      return feasible(window, UnitFits(problem_, window), between(0, static_cast<int>(window.lanes.size()) - 1));
    });
  }

  /// The first three numbers, with what is left to place.
  std::optional<Objective> objective() {
    if (!is_possible()) return std::nullopt;
    Objective best;
    const std::vector<Frame> few_banks = least_banks(best);
    const std::vector<Frame> short_spans = least_span(few_banks, best);
    frames_ = most_central(short_spans, best);
    return best;
  }

  std::optional<Plan> best() {
    const std::optional<Objective> numbers = objective();
    if (!numbers) return std::nullopt;
    least_pads();
    return Plan{problem_.pads(), *numbers};
  }

 private:
  Layout const& layout() const { return problem_.layout(); }
  int position(Window const& window, int lane) const {
    return layout().lanes[static_cast<std::size_t>(window.lanes[static_cast<std::size_t>(lane)])].position;
  }
  int bank(Window const& window, int lane) const {
    return layout().lanes[static_cast<std::size_t>(window.lanes[static_cast<std::size_t>(lane)])].bank;
  }

  // Whether all of the interface fits with the addresses in the run.
  bool holds(Window const& window, UnitFits const& units, LaneMask lanes, Run run) const {
    const LaneMask rest = lanes & ~run.mask();
    if (!problem_.has_system_clock())
      return run_fits(problem_, window, run, nullptr) && units.all_fit(rest, nullptr, 0);
    if (!run_fits(problem_, window, run, nullptr) || !units.all_fit(rest, nullptr, 0)) return false;
    for (SystemClockSite const& site : clock_sites(problem_, window, lanes)) {
      if ((run.mask() >> site.lane & 1) != 0 && !run_fits(problem_, window, run, &site)) continue;
      const LaneMask near = window.lanes_near(layout(), bank(window, site.lane)) & lanes;
      if (units.all_fit(rest, &site, (run.mask() & near) != 0 ? 0 : near)) return true;
    }
    return false;
  }

  // Calls use(run) for each run in the lanes that the addresses and then all units may fit with, until it is true.
  template <class Use>
  bool any_run(Window const& window, UnitFits const& units, LaneMask lanes, Use use) const {
    const int count = static_cast<int>(window.lanes.size());
    for (int first = 0; first < count; ++first)
      for (int last = first; last < count && is_run(problem_, window, {first, last}, lanes); ++last) {
        const Run run{first, last};
        if (!run_fits(problem_, window, run, nullptr)) continue;
        if (!units.all_fit(lanes & ~run.mask(), nullptr, 0)) break;  // and less so with a longer run
        if (use(run)) return true;
      }
    return false;
  }

  bool feasible(Window const& window, UnitFits const& units, LaneMask lanes) const {
    if (!units.all_fit(lanes, nullptr, 0)) return false;
    return any_run(window, units, lanes, [&](Run run) { return holds(window, units, lanes, run); });
  }

  // Calls use(lanes) for each choice of `count` banks of a window with its first bank among them.
  template <class Use>
  void for_each_choice(Window const& window, int count, Use use) const {
    const unsigned all = 1u << window.banks.size();
    for (unsigned choice = 1; choice < all; choice += 2) {
      if (std::popcount(choice) != count) continue;
      LaneMask lanes = 0;
      for (std::size_t i = 0; i < window.lanes.size(); ++i)
        for (std::size_t b = 0; b < window.banks.size(); ++b)
          if ((choice >> b & 1u) != 0 && bank(window, static_cast<int>(i)) == window.banks[b])
            lanes |= LaneMask{1} << i;
      use(lanes);
    }
  }

  std::vector<Frame> least_banks(Objective& objective) {
    for (Window const& window : windows_) units_.emplace_back(problem_, window);
    std::vector<Frame> frames;
    for (int banks = 1; banks <= kMostRows && frames.empty(); ++banks) {
      for (std::size_t w = 0; w < windows_.size(); ++w)
        for_each_choice(windows_[w], banks, [&](LaneMask lanes) {
          if (feasible(windows_[w], units_[w], lanes)) frames.push_back({w, lanes, {}});
        });
      objective.banks = banks;
    }
    return frames;
  }

  std::vector<Frame> least_span(std::vector<Frame> const& choices, Objective& objective) const {
    std::vector<Frame> best;
    objective.lanes = std::numeric_limits<int>::max();
    for (Frame const& choice : choices) {
      Window const& window = windows_[choice.window];
      const int count = static_cast<int>(window.lanes.size());
      int last = 0;  // never falls as the first lane rises: what is feasible stays so with more room
      for (int first = 0; first < count; ++first) {
        if ((choice.lanes >> first & 1) == 0) continue;
        last = std::max(last, first);
        while (last < count && !((choice.lanes >> last & 1) != 0 &&
                                 feasible(window, units_[choice.window], choice.lanes & between(first, last))))
          ++last;
        if (last == count) break;
        const int span = position(window, last) - position(window, first) + 1;
        if (span > objective.lanes) continue;
        if (span < objective.lanes) best.clear();
        objective.lanes = span;
        best.push_back({choice.window, choice.lanes & between(first, last), {}});
      }
    }
    return best;
  }

  std::vector<Frame> most_central(std::vector<Frame> const& spans, Objective& objective) const {
    std::vector<Frame> best;
    objective.off_centre = std::numeric_limits<int>::max();
    for (Frame const& span : spans) {
      Window const& window = windows_[span.window];
      const int ends =
          position(window, std::countr_zero(span.lanes)) + position(window, 63 - std::countl_zero(span.lanes));
      any_run(window, units_[span.window], span.lanes, [&](Run run) {
        const int distance = std::abs(position(window, run.first) + position(window, run.last) - ends);
        if (distance > objective.off_centre || !holds(window, units_[span.window], span.lanes, run)) return false;
        if (distance < objective.off_centre) best.clear();
        objective.off_centre = distance;
        best.push_back({span.window, span.lanes, run});
        return false;
      });
    }
    return best;
  }

  // ------------------------------------------------------------------------------------------------- the least pads

  bool holds(Frame const& frame) const {
    Window const& window = windows_[frame.window];
    return holds(window, UnitFits(problem_, window), frame.lanes, frame.run);
  }
  bool any_frame_holds() const {
    return std::any_of(frames_.begin(), frames_.end(), [&](Frame const& frame) { return holds(frame); });
  }
  void drop_frames() {
    if (frames_.size() > 1) std::erase_if(frames_, [&](Frame const& frame) { return !holds(frame); });
  }

  // Lanes that a signal may be in, ascending.
  std::vector<int> lanes_for(Signal const& signal) const {
    std::vector<bool> wanted(layout().lanes.size());
    for (Frame const& frame : frames_) {
      Window const& window = windows_[frame.window];
      const LaneMask run = frame.run.mask();
      const LaneMask lanes = signal.unit >= 0                 ? frame.lanes & ~run
                             : signal.unit == Signal::kSystem ? frame.lanes
                                                              : frame.lanes & run;
      for (std::size_t i = 0; i < window.lanes.size(); ++i)
        if ((lanes >> i & 1) != 0) wanted[static_cast<std::size_t>(window.lanes[i])] = true;
    }
    std::vector<int> lanes;
    for (std::size_t lane = 0; lane < wanted.size(); ++lane)
      if (wanted[lane]) lanes.push_back(static_cast<int>(lane));
    return lanes;
  }

  void least_pads() {
    Interface const& wanted = problem_.interface();
    for (std::size_t at = 0; at < wanted.signals.size(); ++at) {
      Signal const& signal = wanted.signals[at];
      if (problem_.pad_of(static_cast<int>(at)) >= 0) continue;
      if (signal.unit >= 0 && problem_.lane_of(signal.unit) < 0) {
        least_lane(signal.unit);
        drop_frames();
      }
      least_pad(static_cast<int>(at));
    }
  }

  void least_lane(int unit) {
    for (const int lane : lanes_for(problem_.interface().signals[static_cast<std::size_t>(
             problem_.interface().units[static_cast<std::size_t>(unit)].signals[0])])) {
      if (!problem_.fits(unit, lane)) continue;
      problem_.pin_unit(unit, lane);
      if (any_frame_holds()) return;
      problem_.pin_unit(unit, -1);
    }
  }

  void least_pad(int at) {
    Signal const& signal = problem_.interface().signals[static_cast<std::size_t>(at)];
    const std::vector<int> lanes =
        signal.unit >= 0 ? std::vector<int>{problem_.lane_of(signal.unit)} : lanes_for(signal);
    for (const int lane : lanes) {
      PlacedLane const& placed = layout().lanes[static_cast<std::size_t>(lane)];
      for (int pad = placed.first; pad < placed.first + placed.pads; ++pad) {
        if (!problem_.pin(at, pad)) continue;
        if ((signal.unit < 0 || problem_.fits(signal.unit, lane)) && any_frame_holds()) return;
        problem_.unpin(at);
      }
    }
  }

  Problem problem_;
  std::vector<Window> windows_;
  std::vector<UnitFits> units_;
  std::vector<Frame> frames_;
};

// A problem in which what is placed is decided; nothing if that cannot be.
std::optional<Problem> with_placed(PlacementRequest const& request, std::vector<int> const& pads) {
  std::optional<Problem> problem(request);
  for (std::size_t signal = 0; signal < pads.size(); ++signal)
    if (pads[signal] >= 0 && problem->pad_of(static_cast<int>(signal)) != pads[signal] &&
        (problem->pad_of(static_cast<int>(signal)) >= 0 || !problem->pin(static_cast<int>(signal), pads[signal])))
      return std::nullopt;
  return problem;
}

// The first pad of the lanes with which all still fits.
template <class Fits>
bool fill_signal(Problem& problem, int signal, std::vector<int> const& lanes, Fits fits) {
  if (problem.pad_of(signal) >= 0) return true;
  for (const int lane : lanes) {
    PlacedLane const& placed = problem.layout().lanes[static_cast<std::size_t>(lane)];
    for (int pad = placed.first; pad < placed.first + placed.pads; ++pad) {
      if (!problem.pin(signal, pad)) continue;
      if (fits()) return true;
      problem.unpin(signal);
    }
  }
  return false;
}

}  // namespace

std::optional<std::vector<int>> fill_unit(PlacementRequest const& request, std::vector<int> pads, int unit, int lane) {
  std::optional<Problem> problem = with_placed(request, pads);
  Interface const& wanted = *request.interface;
  if (!problem || !problem->fits(unit, lane)) return std::nullopt;
  problem->pin_unit(unit, lane);
  for (const int signal : wanted.units[static_cast<std::size_t>(unit)].signals)
    if (!fill_signal(*problem, signal, {lane}, [&] { return problem->fits(unit, lane); })) return std::nullopt;
  return problem->pads();
}

std::optional<std::vector<int>> fill_address(PlacementRequest const& request, std::vector<int> pads,
                                             std::vector<int> const& lanes) {
  std::optional<Problem> problem = with_placed(request, pads);
  if (!problem || !problem->address_fits(lanes, -1, 0)) return std::nullopt;
  for (const int signal : request.interface->address)
    if (!fill_signal(*problem, signal, lanes, [&] { return problem->address_fits(lanes, -1, 0); })) return std::nullopt;
  return problem->pads();
}

std::vector<BankUse> bank_uses(PlacementRequest const& request, std::vector<int> const& pads) {
  Layout const& layout = *request.layout;
  std::vector<std::vector<TakenPad const*>> taken(layout.banks.size());
  for (TakenPad const& one : request.taken)
    taken[static_cast<std::size_t>(layout.bank_of_pad(one.pad))].push_back(&one);
  std::vector<BankUse> uses(layout.banks.size());
  std::optional<Problem> problem = with_placed(request, pads);
  for (std::size_t bank = 0; bank < uses.size(); ++bank) {
    BankFault fault = bank_fault(request, static_cast<int>(bank), taken[bank]);
    uses[bank].rule = std::move(fault.rule);
    uses[bank].reason = std::move(fault.text);
    if (!uses[bank].rule.empty() || !problem) continue;
    std::vector<bool> fits(request.interface->units.size());
    for (int lane = layout.banks[bank].first; lane < layout.banks[bank].first + layout.banks[bank].lanes; ++lane) {
      bool any = false;
      for (std::size_t unit = 0; unit < fits.size(); ++unit) {
        if (!problem->fits(static_cast<int>(unit), lane)) continue;
        fits[unit] = true;
        any = true;
      }
      uses[bank].free_lanes += any ? 1 : 0;
      uses[bank].address = uses[bank].address || (problem->lane(lane).usable != 0 && !problem->lane(lane).owned);
    }
    for (std::size_t unit = 0; unit < fits.size(); ++unit)
      if (fits[unit]) uses[bank].units.push_back(static_cast<int>(unit));
    if (uses[bank].free_lanes == 0 && !uses[bank].address) uses[bank].reason = "no lane of it is free";
  }
  return uses;
}

std::optional<Objective> best_objective(PlacementRequest const& request) { return Searcher(request).objective(); }

bool can_place(PlacementRequest const& request) { return Searcher(request).is_possible(); }

PlacementResult place(PlacementRequest const& request) {
  Searcher searcher(request);
  PlacementResult result;
  result.plan = searcher.best();
  if (!result.plan) result.refutation = refute(searcher.problem(), searcher.windows());
  return result;
}

}  // namespace kdi::planning
