// Several controllers together: the least sums first, then of all placements of these sums the one with the least pads.
#include "kdi/planning/Joint.h"

#include <algorithm>
#include <string>
#include <utility>

#include "platform/planning/joint_search.h"
#include "platform/planning/search.h"

namespace kdi::planning {
namespace {

constexpr int kMostFramesOfPads = 8000;  // of the search for the least pads

// Of all placements of the least sum the one with the least pads: signal by signal the first pad with which the
// controllers still come to it, beside those that are decided.
class LeastPads {
 public:
  LeastPads(std::vector<PlacementRequest> const& requests, joint::Search const& search, JointPlan& result)
      : search_(search), result_(result), wanted_(requests) {
    for (PlacementRequest& request : wanted_)
      if (request.pad_of_signal.empty()) request.pad_of_signal.assign(request.interface->signals.size(), -1);
    for (PlacementRequest const& request : wanted_) alone_.push_back(*best_objective(request));
  }

  void find() {
    for (std::size_t c = 0; c < wanted_.size(); ++c) {
      for (std::size_t signal = 0; signal < wanted_[c].pad_of_signal.size(); ++signal) {
        if (!decide(c, static_cast<int>(signal))) return;
        ++result_.pads_proven;
      }
      alone_[c] = result_.plans[c].objective;
    }
    result_.has_least_pads = true;
  }

 private:
  int& pad(std::size_t c, int signal) { return wanted_[c].pad_of_signal[static_cast<std::size_t>(signal)]; }

  // False where the search is cut short.
  bool decide(std::size_t c, int signal) {
    if (pad(c, signal) >= 0) return true;
    const auto index = static_cast<std::size_t>(signal);
    const int now = result_.plans[c].pad_of_signal[index];
    for (int at = 0; at < now; ++at) {
      if (!could_be(c, signal, at)) continue;
      std::vector<PlacementRequest> attempt = wanted_;
      attempt[c].pad_of_signal[index] = at;
      steps_ += kStepsOfProbe;
      if (const auto best = best_objective(attempt[c]); !best || !reaches(c, *best)) continue;
      joint::Search probe(attempt, search_, steps_);
      const bool is_found = probe.comes_to(result_.sum);
      steps_ = probe.steps();
      if (!probe.is_exact() || steps_ > kMostFramesOfPads) return false;
      if (!is_found) continue;
      std::vector<Plan> plans = probe.plans();
      if (plans.empty()) return false;
      result_.plans = std::move(plans);
      break;
    }
    pad(c, signal) = result_.plans[c].pad_of_signal[index];
    return true;
  }

  // What needs no search: the pad itself, and the lane of what is decided of the group.
  bool could_be(std::size_t c, int signal, int at) {
    Layout const& layout = *wanted_[c].layout;
    PlacedPad const& there = layout.pads[static_cast<std::size_t>(at)];
    Signal const& one = wanted_[c].interface->signals[static_cast<std::size_t>(signal)];
    if (there.ball.empty() || there.configuration) return false;
    if (one.partner >= 0 && (there.partner < 0 || there.positive == one.negative)) return false;
    if (one.partner >= 0 && pad(c, one.partner) >= 0 && there.partner != pad(c, one.partner)) return false;
    if (one.unit == Signal::kSystem && !there.clock) return false;
    for (std::size_t other = 0; other < wanted_.size(); ++other)
      for (std::size_t i = 0; i < wanted_[other].pad_of_signal.size(); ++i) {
        const int taken = wanted_[other].pad_of_signal[i];
        if (taken < 0) continue;
        if (taken == at) return false;
        const int unit = wanted_[other].interface->signals[i].unit;
        if (unit == Signal::kSystem || one.unit == Signal::kSystem) continue;
        const bool is_same_lane = layout.pads[static_cast<std::size_t>(taken)].lane == there.lane;
        const bool is_same = other == c && unit == one.unit;
        if (is_same ? unit >= 0 && !is_same_lane : is_same_lane) return false;
      }
    return true;
  }

  // Whether with this of one controller the sum could still be reached.
  bool reaches(std::size_t c, Objective const& best) const {
    Objective sum = best;
    for (std::size_t other = 0; other < alone_.size(); ++other) {
      if (other == c) continue;
      sum.banks += alone_[other].banks;
      sum.lanes += alone_[other].lanes;
      sum.off_centre += alone_[other].off_centre;
    }
    return !joint::is_better(result_.sum, sum);
  }

  static constexpr int kStepsOfProbe = 40;
  joint::Search const& search_;
  JointPlan& result_;
  std::vector<PlacementRequest> wanted_;
  std::vector<Objective> alone_;
  int steps_ = 0;
};

}  // namespace

JointPlan place_jointly(std::vector<PlacementRequest> const& requests) {
  JointPlan result;
  joint::Search search(requests);
  result.plans = search.least();
  result.is_exact = search.is_exact();
  result.sum = joint::sum_of(result.plans);
  if (result.is_exact && !result.plans.empty()) LeastPads(requests, search, result).find();
  return result;
}

std::vector<TakenPad> taken_by_plan(PlacementRequest const& request, std::vector<int> const& pads,
                                    std::string const& by) {
  std::vector<TakenPad> taken;
  for (std::size_t i = 0; i < pads.size(); ++i) {
    if (pads[i] < 0) continue;
    Signal const& signal = request.interface->signals[i];
    taken.push_back({pads[i], by, standard_of(request, static_cast<int>(i), request.layout->bank_of_pad(pads[i])),
                     signal.direction != "out", signal.unit != Signal::kSystem});
  }
  return taken;
}

std::vector<Plan> place_in_sequence(std::vector<PlacementRequest> const& requests) {
  std::vector<Plan> plans;
  std::vector<TakenPad> taken;
  for (PlacementRequest request : requests) {
    request.taken.insert(request.taken.end(), taken.begin(), taken.end());
    PlacementResult result = place(request);
    if (!result.plan) break;
    const auto more =
        taken_by_plan(request, result.plan->pad_of_signal, "controller " + std::to_string(plans.size() + 1));
    taken.insert(taken.end(), more.begin(), more.end());
    plans.push_back(std::move(*result.plan));
  }
  return plans;
}

}  // namespace kdi::planning
