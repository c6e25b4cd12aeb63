// Obstacles are found by implicit hitting sets (E. Moreno-Centeno, R. M. Karp, "The implicit hitting set approach to
// solve combinatorial optimization problems", Operations Research 61, 2013): a set without which there is still no
// placement shows that one of the others is needed as well, and the smallest set that has one of each such group is
// tried next.
//
// This is done for each five rows of banks by themselves, in step: sets of one element in all of them, then sets of
// two, until one of the sections has a placement. So little is planned for a question, however large the device.
#include "kdi/planning/Diagnosis.h"

#include <algorithm>
#include <memory>
#include <optional>
#include <utility>

#include "platform/planning/diagnosis.h"
#include "platform/planning/hitting_sets.h"
#include "platform/planning/relaxed.h"
#include "platform/planning/section.h"

namespace kdi::planning {
namespace {

constexpr int kMostTried = 4;  // groups of other sections

struct Effort {
  int most_plans = kMostPlans;  // of sections
  int plans = 0;
  long steps = kMostSteps;
  bool is_spent() const { return plans >= most_plans || steps < 0; }
};

// What puts things together otherwise rather than to leave something out. With one of these a request may be impossible
// that is possible without, so each set of them is a world of its own, in which nothing follows from another.
bool is_form(Waiver waiver) {
  return waiver == Waiver::kind || waiver == Waiver::one_slr || waiver == Waiver::address_adjacent ||
         waiver == Waiver::one_column;
}

// Groups that some section has: those of one are often those of the next.
class Known {
 public:
  // Calls holds(group) for groups that a set does not have an element of, the last found ones first, until it is true.
  template <class Holds>
  std::optional<ElementSet> find(ElementSet without, Holds holds) {
    int tried = 0;
    for (std::size_t i = groups_.size(); i-- > 0 && tried < kMostTried;) {
      const ElementSet group = groups_[i];
      if ((group & without).any()) continue;
      ++tried;
      if (!holds(group)) continue;
      std::rotate(groups_.begin() + static_cast<std::ptrdiff_t>(i),
                  groups_.begin() + static_cast<std::ptrdiff_t>(i) + 1, groups_.end());
      return group;
    }
    return std::nullopt;
  }
  void add(ElementSet group) { groups_.push_back(group); }

 private:
  std::vector<ElementSet> groups_;
};

// A section in a world: what of the other elements stands in its way.
class Judge {
 public:
  Judge(Section const& section, std::vector<Element> const& elements, ElementSet forms, ElementSet free,
        Layout const& of)
      : section_(section), elements_(elements), forms_(forms) {
    for (std::size_t i = 0; i < elements_.size(); ++i) {
      Element& element = elements_[i];
      if (element.waiver == Waiver::pads && element.bank >= 0) {
        element.bank = section.bank_of_lane(of.banks[static_cast<std::size_t>(element.bank)].first);
        if (element.bank < 0) continue;
      }
      if (free[i]) own_.set(i);
    }
  }

  /// The smallest set of at most so many elements that is not known to be too little.
  std::optional<ElementSet> candidate(std::size_t most, Effort& effort) {
    if (groups_.groups().empty() && !is_possible(own_, effort)) groups_.add({});
    return groups_.smallest(most, effort.steps);
  }

  bool is_possible(ElementSet without, Effort& effort) {
    without &= own_;
    for (ElementSet const& known : possible_)
      if ((known & ~without).none()) return true;
    for (ElementSet const& known : impossible_)
      if ((without & ~known).none()) return false;
    const bool found = plan(without, effort);
    (found ? possible_ : impossible_).push_back(without);
    return found;
  }

  /// Of a set that is too little: a group of which an element is needed.
  void learn(ElementSet without, Known& known, Effort& effort) {
    if (const auto group = known.find(without, [&](ElementSet one) { return !is_possible(own_ & ~one, effort); }))
      return groups_.add(*group & own_);
    const ElementSet group = needed_group(without, effort);
    known.add(group);
    groups_.add(group);
  }

  /// Of a set that is enough, one that is.
  ElementSet irreducible(ElementSet without, Effort& effort) {
    for (std::size_t i = elements_.size(); i-- > 0;) {
      if (!without[i]) continue;
      ElementSet fewer = without;
      if (is_possible(fewer.reset(i), effort)) without = fewer;
    }
    return without;
  }

  ElementSet own() const { return own_; }

 private:
  bool plan(ElementSet without, Effort& effort) const {
    const ElementSet set = without | forms_;
    for (const int unit : section_.away())
      if (!is_freed(unit, set)) return false;
    ++effort.plans;
    return can_place(Relaxed(section_.request(), elements_, set).request());
  }

  // Whether signals that are asked for outside the section need not be there.
  bool is_freed(int unit, ElementSet set) const {
    for (std::size_t i = 0; i < elements_.size(); ++i)
      if (set[i] && ((elements_[i].waiver == Waiver::wish && elements_[i].unit == unit) ||
                     (elements_[i].waiver == Waiver::clock_near && unit == Signal::kSystem)))
        return true;
    return false;
  }

  // What can be left out beside `without` with no placement yet: the rest is a group of which one is needed.
  ElementSet needed_group(ElementSet without, Effort& effort) {
    // In halves, so that many that change nothing cost few plans.
    const auto leave_out = [&](auto self, std::size_t first, std::size_t last) -> void {
      if (first == last) return;
      ElementSet more = without;
      for (std::size_t i = first; i < last; ++i)
        if (own_[i]) more.set(i);
      if (more == without) return;
      if (!is_possible(more, effort)) {
        without = more;
        return;
      }
      if (last - first == 1) return;
      self(self, first, first + (last - first) / 2);
      self(self, first + (last - first) / 2, last);
    };
    leave_out(leave_out, 0, elements_.size());
    return own_ & ~without;
  }

  Section const& section_;
  std::vector<Element> elements_;  // with banks of the section
  ElementSet forms_;               // without that of columns, which the section's layout has already
  ElementSet own_;                 // elements of the world that may change something here
  HittingSets groups_;
  std::vector<ElementSet> possible_, impossible_;
};

// A layout, and its five rows.
struct Ground {
  Ground(PlacementRequest const& request, std::vector<Element> const& elements, ElementSet joined)
      : relaxed(request, elements, joined), sections(request, *relaxed.request().layout) {
    for (std::vector<int> const& banks : sections.rows()) rows.push_back(sections.of(banks));
  }

  Relaxed relaxed;
  Sections sections;
  std::vector<std::unique_ptr<Section>> rows;
};

struct World {
  ElementSet forms;
  bool is_open = false;
  std::vector<Judge> judges = {};
};

class Finder {
 public:
  Finder(PlacementRequest const& request, std::vector<Element> const& elements, int most_plans)
      : request_(request), elements_(elements) {
    effort_.most_plans = most_plans;
    for (std::size_t i = 0; i < elements.size(); ++i) {
      all_.set(i);
      if (elements[i].waiver == Waiver::one_column) column_.set(i);
      if (elements[i].waiver == Waiver::one_slr) slr_.set(i);
    }
    add_worlds(0, {});
    std::stable_sort(worlds_.begin(), worlds_.end(),
                     [](World const& a, World const& b) { return a.forms.count() < b.forms.count(); });
  }

  /// The first of the smallest sets, or one of them where the effort is spent. Nothing if none was found.
  std::optional<ElementSet> smallest() {
    for (std::size_t size = 1; size <= elements_.size() && !effort_.is_spent(); ++size) {
      std::optional<ElementSet> best;
      for (World& world : worlds_) {
        if (world.forms.count() > size) break;
        open(world);
        for (Judge& judge : world.judges) look(judge, world.forms, size, best);
      }
      ruled_out_ = size - 1;
      if (best) return best;
    }
    return std::nullopt;
  }

  /// One of which none is superfluous.
  ElementSet irreducible() {
    Effort more;
    for (World& world : worlds_) {
      open(world);
      for (Judge& judge : world.judges)
        if (judge.is_possible(judge.own(), more)) {
          const ElementSet set = without_superfluous(judge.irreducible(judge.own(), more) | world.forms);
          effort_.plans += more.plans;
          return set;
        }
    }
    return all_;
  }

  /// Whether there is a placement without some of the elements of a set.
  bool is_possible(ElementSet without) {
    for (World const& world : worlds_) {
      if ((world.forms & ~without).any()) continue;
      ++effort_.plans;
      if (can_place(Relaxed(request_, elements_, (without & free_of(world.forms)) | world.forms).request()))
        return true;
    }
    return false;
  }

  ElementSet all() const { return all_; }
  int plans() const { return effort_.plans; }
  bool is_ruled_out(std::size_t size) const { return size <= ruled_out_; }

 private:
  void add_worlds(std::size_t first, ElementSet forms) {
    if (first == elements_.size()) {
      // Dies bound where columns are joined; else fewer of them are but more room.
      if ((forms & column_).none() && (forms & slr_).any()) return;
      worlds_.push_back({forms});
      return;
    }
    add_worlds(first + 1, forms);
    if (is_form(elements_[first].waiver)) add_worlds(first + 1, forms.set(first));
  }

  ElementSet free_of(ElementSet forms) const {
    ElementSet free;
    for (std::size_t i = 0; i < elements_.size(); ++i)
      if (all_[i] &&
          (!is_form(elements_[i].waiver) || (elements_[i].waiver == Waiver::one_slr && (forms & column_).none())))
        free.set(i);
    return free;
  }

  void open(World& world) {
    if (std::exchange(world.is_open, true)) return;
    const ElementSet free = free_of(world.forms);
    ++effort_.plans;
    if (!can_place(Relaxed(request_, elements_, world.forms | free).request())) return;
    Ground const& ground = ground_of(world.forms);
    for (auto const& section : ground.rows)
      world.judges.emplace_back(*section, elements_, world.forms & ~column_, free, *request_.layout);
  }

  Ground const& ground_of(ElementSet forms) {
    ElementSet joined;
    if ((forms & column_).any())
      for (std::size_t i = 0; i < elements_.size(); ++i)
        joined[i] = forms[i] && elements_[i].waiver != Waiver::address_adjacent;
    for (auto const& [key, ground] : grounds_)
      if (key == joined) return *ground;
    return *grounds_.emplace_back(joined, std::make_unique<Ground>(request_, elements_, joined)).second;
  }

  void look(Judge& judge, ElementSet forms, std::size_t size, std::optional<ElementSet>& best) {
    while (!effort_.is_spent()) {
      const auto candidate = judge.candidate(size - forms.count(), effort_);
      if (!candidate) return;
      const ElementSet set = *candidate | forms;
      if (best && set.count() == best->count() && !is_before(set, *best)) return;
      if (judge.is_possible(*candidate, effort_)) {
        best = set;
        return;
      }
      judge.learn(*candidate, known_, effort_);
    }
  }

  ElementSet without_superfluous(ElementSet set) {
    for (std::size_t i = elements_.size(); i-- > 0;) {
      if (!set[i]) continue;
      ElementSet fewer = set;
      if (is_possible(fewer.reset(i))) set = fewer;
    }
    return set;
  }

  PlacementRequest const& request_;
  std::vector<Element> const& elements_;
  ElementSet all_, column_, slr_;
  std::vector<World> worlds_;
  std::vector<std::pair<ElementSet, std::unique_ptr<Ground>>> grounds_;
  Known known_;
  Effort effort_;
  std::size_t ruled_out_ = 0;
};

}  // namespace

Diagnosis diagnose(PlacementRequest const& request) { return diagnose(request, kMostPlans); }

Diagnosis diagnose(PlacementRequest const& request, int most_plans) {
  Diagnosis diagnosis;
  diagnosis.plans = 1;
  diagnosis.is_possible = can_place(request);
  if (diagnosis.is_possible) return diagnosis;
  const std::vector<Element> elements = elements_of(request);
  Finder finder(request, elements, most_plans);
  if (finder.is_possible(finder.all())) {
    const auto smallest = finder.smallest();
    const ElementSet without = smallest ? *smallest : finder.irreducible();
    diagnosis.is_smallest = smallest.has_value() || finder.is_ruled_out(without.count() - 1);
    for (std::size_t i = 0; i < elements.size(); ++i)
      if (without[i]) diagnosis.obstacles.push_back(elements[i].obstacle);
    const Relaxed relaxed(request, elements, without);
    if (auto plan = place(relaxed.request()).plan) diagnosis.without = *plan;
    diagnosis.without.pad_of_signal.resize(request.interface->signals.size(), -1);
  }
  diagnosis.plans += finder.plans();
  return diagnosis;
}

}  // namespace kdi::planning
