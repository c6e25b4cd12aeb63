#include "platform/planning/joint_seats.h"

#include <algorithm>
#include <cstdlib>
#include <set>
#include <tuple>

#include "platform/planning/search.h"

namespace kdi::planning::joint {

bool is_better(Objective const& a, Objective const& b) {
  return std::tie(a.banks, a.lanes, a.off_centre) < std::tie(b.banks, b.lanes, b.off_centre);
}

PlacementRequest within(PlacementRequest request, std::vector<int> const& banks) {
  request.banks = banks;
  return request;
}

std::vector<BankSet> bank_sets(PlacementRequest const& request) {
  const Problem problem(request);
  std::set<std::vector<int>> seen;
  std::vector<BankSet> sets;
  for (Window const& window : windows_of(problem))
    for (unsigned choice = 1; choice < 1u << window.banks.size(); choice += 2) {
      std::vector<int> banks;
      for (std::size_t i = 0; i < window.banks.size(); ++i)
        if ((choice >> i & 1u) != 0)
          banks.push_back(request.layout->banks[static_cast<std::size_t>(window.banks[i])].number);
      if (!seen.insert(banks).second) continue;
      const auto best = best_objective(within(request, banks));
      if (!best) continue;
      const int count = static_cast<int>(banks.size());
      // Alone it would do with fewer; what others take may make it use all of them.
      const Objective least{count, static_cast<int>(request.interface->units.size()) + 1, 0};
      sets.push_back({banks, best->banks == count ? *best : least});
    }
  std::sort(sets.begin(), sets.end(), [](BankSet const& a, BankSet const& b) {
    return std::tie(a.best.banks, a.best.lanes, a.best.off_centre, a.banks) <
           std::tie(b.best.banks, b.best.lanes, b.best.off_centre, b.banks);
  });
  return sets;
}

void Seat::list_frames() {
  const int count = static_cast<int>(window().lanes.size());
  for (int first = 0; first < count; ++first)
    for (int last = first; last < count; ++last) {
      const Run span{first, last};
      if (!units.all_fit(span.mask(), nullptr, 0)) continue;
      for (int from = first; from <= last; ++from)
        for (int to = from; to <= last && is_run(problem, window(), {from, to}, span.mask()); ++to) {
          const Run run{from, to};
          if (!run_fits(problem, window(), run, nullptr)) continue;
          if (!units.all_fit(span.mask() & ~run.mask(), nullptr, 0)) break;
          frames.push_back({span, run, position(last) - position(first) + 1,
                            std::abs(position(from) + position(to) - position(first) - position(last))});
        }
    }
  std::stable_sort(frames.begin(), frames.end(), [](Frame const& a, Frame const& b) {
    return std::tie(a.lanes, a.off_centre) < std::tie(b.lanes, b.off_centre);
  });
}

}  // namespace kdi::planning::joint
