// Obstacles are found by implicit hitting sets (E. Moreno-Centeno, R. M. Karp, "The implicit hitting set approach to
// solve combinatorial optimization problems", Operations Research 61, 2013): a set without which there is still no
// placement shows that one of the others is needed as well, and the smallest set that has one of each such group is
// tried next. The first that works is the smallest of all.
#include "kdi/planning/Diagnosis.h"

#include <algorithm>
#include <optional>

#include "platform/planning/relaxed.h"

namespace kdi::planning {
namespace {

constexpr int kMostPlans = 2000;          // of a diagnosis; they take less than half a millisecond each
constexpr int kMostHittingSets = 200000;  // steps of one search for the smallest

// Whether there is a placement without a set of elements, asked once of each.
class Oracle {
 public:
  Oracle(PlacementRequest const& request, std::vector<Element> const& elements)
      : request_(request), elements_(elements) {}

  bool is_possible(ElementSet without) {
    for (ElementSet const& known : possible_)
      if ((known & ~without).none()) return true;
    for (ElementSet const& known : impossible_)
      if ((without & ~known).none()) return false;
    const bool found = form(without).has_value();
    (found ? possible_ : impossible_).push_back(without);
    return found;
  }

  /// The first form of the request without the elements that has a placement: what is put together otherwise (lanes of
  /// addresses apart, columns joined) can be a hindrance where it is not needed. None if none has.
  std::optional<ElementSet> form(ElementSet without) {
    for (unsigned kept = 0; kept < 4; ++kept) {
      ElementSet one = without;
      if ((kept & 1u) != 0 && !drop(one, Waiver::address_adjacent)) continue;
      if ((kept & 2u) != 0 && !drop(one, Waiver::one_column)) continue;
      ++plans_;
      if (can_place(Relaxed(request_, elements_, one).request())) return one;
    }
    return std::nullopt;
  }

  /// Asks of each element that puts things together otherwise, alone and with each other element: with more elements it
  /// may be put together in a way that does not do, from which nothing must follow for these.
  void ask_forms() {
    for (const bool alone : {true, false})
      for (std::size_t i = 0; i < elements_.size(); ++i)
        for (std::size_t j = 0; j < elements_.size(); ++j)
          if (is_form(elements_[i].waiver) && (i == j) == alone) is_possible(ElementSet().set(i).set(j));
  }

  int plans() const { return plans_; }

 private:
  static bool is_form(Waiver waiver) { return waiver == Waiver::address_adjacent || waiver == Waiver::one_column; }

  bool drop(ElementSet& set, Waiver waiver) const {
    for (std::size_t i = 0; i < elements_.size(); ++i)
      if (set[i] && elements_[i].waiver == waiver) {
        set.reset(i);
        return true;
      }
    return false;
  }

  PlacementRequest const& request_;
  std::vector<Element> const& elements_;
  std::vector<ElementSet> possible_, impossible_;
  int plans_ = 0;
};

// The smallest set that has an element of each group, the first by the order of elements.
class HittingSet {
 public:
  HittingSet(std::vector<ElementSet> const& groups, std::size_t elements) : groups_(groups), elements_(elements) {}

  /// Nothing is proven where the search was cut short.
  bool find(ElementSet& smallest) {
    for (std::size_t size = groups_.empty() ? 0 : 1; size <= groups_.size(); ++size)
      if (choose({}, size)) {
        smallest = best_;
        return steps_ < kMostHittingSets;
      }
    return false;
  }

 private:
  bool choose(ElementSet chosen, std::size_t left) {
    if (++steps_ >= kMostHittingSets) return false;
    const auto open =
        std::find_if(groups_.begin(), groups_.end(), [&](ElementSet const& group) { return (group & chosen).none(); });
    if (open == groups_.end()) {
      best_ = chosen;
      return true;
    }
    if (left == 0) return false;
    for (std::size_t i = 0; i < elements_; ++i) {
      if (!(*open)[i]) continue;
      ElementSet more = chosen;
      if (choose(more.set(i), left - 1)) return true;
    }
    return false;
  }

  std::vector<ElementSet> const& groups_;
  std::size_t elements_;
  ElementSet best_;
  int steps_ = 0;
};

// What can be left out beside `without` with no placement yet: the rest is a group of which one is needed.
ElementSet needed_group(Oracle& oracle, ElementSet without, std::size_t elements) {
  // In halves, so that many that change nothing cost few plans.
  const auto leave_out = [&](auto self, std::size_t first, std::size_t last) -> void {
    if (first == last) return;
    ElementSet more = without;
    for (std::size_t i = first; i < last; ++i) more.set(i);
    if (more == without) return;
    if (!oracle.is_possible(more)) {
      without = more;
      return;
    }
    if (last - first == 1) return;
    self(self, first, first + (last - first) / 2);
    self(self, first + (last - first) / 2, last);
  };
  leave_out(leave_out, 0, elements);
  ElementSet group;
  for (std::size_t i = 0; i < elements; ++i) group[i] = !without[i];
  return group;
}

// From a set with which it works, one after the other put back that is not needed.
ElementSet irreducible(Oracle& oracle, ElementSet without, std::size_t elements) {
  for (std::size_t i = elements; i-- > 0;) {
    if (!without[i]) continue;
    ElementSet fewer = without;
    if (oracle.is_possible(fewer.reset(i))) without = fewer;
  }
  return without;
}

}  // namespace

Diagnosis diagnose(PlacementRequest const& request) {
  Diagnosis diagnosis;
  diagnosis.plans = 1;
  diagnosis.is_possible = can_place(request);
  if (diagnosis.is_possible) return diagnosis;
  const std::vector<Element> elements = elements_of(request);
  Oracle oracle(request, elements);
  ElementSet all;
  for (std::size_t i = 0; i < elements.size(); ++i) all.set(i);
  ElementSet without;
  if (oracle.is_possible(all)) {
    oracle.ask_forms();
    std::vector<ElementSet> groups;
    for (diagnosis.is_smallest = true; diagnosis.is_smallest && !oracle.is_possible(without);) {
      groups.push_back(needed_group(oracle, without, elements.size()));
      diagnosis.is_smallest = oracle.plans() < kMostPlans && HittingSet(groups, elements.size()).find(without);
    }
    if (!diagnosis.is_smallest) without = irreducible(oracle, all, elements.size());
    for (std::size_t i = 0; i < elements.size(); ++i)
      if (without[i]) diagnosis.obstacles.push_back(elements[i].obstacle);
    const Relaxed relaxed(request, elements, *oracle.form(without));
    if (auto plan = place(relaxed.request()).plan) diagnosis.without = *plan;
    diagnosis.without.pad_of_signal.resize(request.interface->signals.size(), -1);
  }
  diagnosis.plans += oracle.plans();
  return diagnosis;
}

}  // namespace kdi::planning
