#include "kdi/cores/Advice.h"

#include <algorithm>
#include <chrono>
#include <map>
#include <memory>
#include <set>
#include <stdexcept>

#include "kdi/common/KdiText.h"
#include "platform/cores/why/advice_parts.h"

namespace kdi::cores {
namespace {

constexpr std::uint64_t kRulesOfSearch = 10'000;  // what a search counts as
constexpr std::uint64_t kRulesOfTrial = 20;       // what a trial costs beside the rules that it evaluates

std::vector<Condition> conditions_of(Instance const& start, Wish const& wish) {
  const std::uint32_t parameter = wish.parameter;
  if (wish.kind == Wish::Kind::enabled) return {{Condition::Kind::enabled, parameter}};
  if (wish.kind == Wish::Kind::permitted) return {{Condition::Kind::permitted, parameter}};
  std::vector<Condition> all;
  if (wish.message == "range") return {{Condition::Kind::in_range, parameter}};
  if (wish.message == "rule") {
    const Insight insight(start);
    for (std::uint32_t step = 0; step < start.core().steps().size(); ++step)
      if (is_of(start.core().steps()[step], parameter) && !insight.fault(step).empty())
        all.push_back({Condition::Kind::no_fault, step});
    return all;
  }
  std::vector<Message> const& messages = start.core().parameters()[parameter].messages();
  for (std::uint32_t m = 0; m < messages.size(); ++m)
    if (messages[m].name == wish.message) return {{Condition::Kind::message, parameter, m}};
  for (std::uint32_t search = 0; search < start.core().searches().size(); ++search)
    if (start.core().searches()[search]->message() == wish.message)
      return {{Condition::Kind::finding, parameter, search}};
  throw std::invalid_argument(start.core().parameters()[parameter].name + " has no message " +
                              text::quoted(wish.message));
}

Instance computed(Instance instance) {
  instance.compute();
  return instance;
}

// A core alone: nothing is around it.
class Alone : public Around {
 public:
  Alone(Instance const& instance, Terms& terms) : instance_(instance), terms_(terms) {}

  std::uint32_t count() const override { return 1; }
  Instance const& instance(std::uint32_t) const override { return instance_; }
  Terms& terms(std::uint32_t) override { return terms_; }
  std::vector<Spot> same_as(Spot spot) const override { return {spot}; }
  bool approves(std::vector<Change> const&) override { return true; }

 private:
  Instance const& instance_;
  Terms& terms_;
};

// One of the cores, as it was and as it is with what is tried.
struct Side {
  Side(Instance const& instance, Terms& terms, std::uint32_t excluded, std::vector<Value> const& wished,
       Candidates::Shared shared)
      : start(computed(instance)),
        state(start),
        insight(state),
        core(start.core()),
        candidates(start, terms, excluded, wished, std::move(shared)),
        baseline(start),
        needs(core, terms, candidates, baseline) {}

  const Instance start;
  Instance state;
  Insight insight;
  Core const& core;
  Candidates candidates;
  Baseline baseline;
  Needs needs;
};

// Looks at sets of candidates by increasing size. A set is made larger only by a change that it lacks: each condition
// that it does not meet has a list of changes of which every larger set that meets it has one.
//
// A core around is looked at from the first change on that it shares. What several are given the same is one change, of
// the first of them.
class Search {
 public:
  Search(Around& around, Wish const& wish, Effort effort)
      : around_(around), asked_(wish), sides_(around.count()), effort_(effort), most_time_(effort.most_seconds) {
    wish_ = conditions_of(side(0).start, wish);
  }

  Advice found() {
    advice_.outcome = Advice::Outcome::none;
    if (is_fulfilled()) {
      advice_.outcome = Advice::Outcome::fulfilled;
      return advice_;
    }
    for (size_ = 1; size_ <= effort_.most_changes && advice_.outcome == Advice::Outcome::none; ++size_) {
      seen_.clear();
      sets_.clear();
      extend();
      choose();
      if (advice_.outcome == Advice::Outcome::none && is_spent()) advice_.outcome = Advice::Outcome::not_within;
    }
    return advice_;
  }

 private:
  // What a value out of range may ask of those that its range is made of: as much as itself.
  std::vector<Value> wished(Instance const& start) const {
    const std::optional<Value> value =
        read_value(start.core().parameters()[asked_.parameter].type, start.backup(asked_.parameter));
    return value && asked_.kind == Wish::Kind::permitted ? std::vector{*value} : std::vector<Value>();
  }

  Side& side(std::uint32_t core) {
    std::unique_ptr<Side>& side = sides_[core];
    if (side != nullptr) return *side;
    const bool is_asked = core == 0;
    const std::uint32_t excluded = is_asked && asked_.kind == Wish::Kind::permitted ? asked_.parameter : Core::kNoStep;
    Candidates::Shared shared;
    if (around_.count() > 1)
      shared = {[this, core](std::uint32_t parameter) -> std::vector<Candidate> const* {
                  const Spot first = same_as({core, parameter}).front();
                  return first.core == core ? nullptr : &this->side(first.core).candidates.of(first.parameter);
                },
                [this, core](std::uint32_t parameter, std::vector<Value>& values) {
                  bool counts = false;
                  for (Spot const& other : same_as({core, parameter}))
                    if (other.core != core)
                      counts |= this->side(other.core).candidates.collect(other.parameter, values);
                  return counts;
                }};
    Instance const& instance = around_.instance(core);
    side = std::make_unique<Side>(instance, around_.terms(core), excluded,
                                  is_asked ? wished(instance) : std::vector<Value>(), std::move(shared));
    if (!is_asked) spent_ += instance.core().parameters().size();
    return *side;
  }

  std::vector<Spot> const& same_as(Spot spot) {
    const auto [place, is_new] = same_.try_emplace(around_.number(spot));
    if (is_new) place->second = around_.same_as(spot);
    return place->second;
  }

  bool is_spent() const {
    if (spent_ > effort_.most_rules) return true;
    return effort_.most_seconds > 0 && std::chrono::steady_clock::now() - begin_ > most_time_;
  }

  Change change_of(Choice const& choice) {
    const Spot spot = around_.spot(choice.first);
    return {choice.first, side(spot.core).candidates.of(spot.parameter)[choice.second].text, Origin::user};
  }
  std::vector<Change> changes_of(std::vector<Choice> choices) {
    std::sort(choices.begin(), choices.end());
    std::vector<Change> changes;
    changes.reserve(choices.size());
    for (Choice const& choice : choices) changes.push_back(change_of(choice));
    return changes;
  }

  // --- states

  struct Moved {
    std::uint32_t core;
    std::vector<std::uint32_t> parameters, steps;
  };
  using Moves = std::vector<Moved>;  // a core each

  static std::size_t count(Moves const& moves) {
    std::size_t count = 0;
    for (Moved const& moved : moves) count += moved.parameters.size();
    return count;
  }

  std::map<std::uint32_t, std::vector<Change>> by_core(std::vector<Change> const& changes) {
    std::map<std::uint32_t, std::vector<Change>> all;
    for (Change const& change : changes)
      for (Spot const& spot : same_as(around_.spot(change.parameter)))
        all[spot.core].push_back({spot.parameter, change.text, change.from});
    return all;
  }

  Moves make(std::vector<Change> const& changes) {
    Moves moves;
    for (auto const& [core, its] : by_core(changes)) moves.push_back(make(core, its));
    return moves;
  }

  Moved make(std::uint32_t core, std::vector<Change> const& changes) {
    Side& side = this->side(core);
    Moved moved{core, make_changes(side.state, changes), side.insight.ran()};
    spent_ += kRulesOfTrial + moved.parameters.size() / 4;
    for (const std::uint32_t step : moved.steps) spent_ += side.core.steps()[step].searches ? kRulesOfSearch : 1;
    return moved;
  }

  void take_off(std::uint32_t number) {
    for (Spot const& spot : same_as(around_.spot(number)))
      make(spot.core, {given_to(side(spot.core).start, spot.parameter)});
  }

  bool is_fulfilled() {
    return std::all_of(wish_.begin(), wish_.end(),
                       [&](Condition const& wish) { return is_met(side(0).insight, wish); });
  }

  struct Unmet {
    std::uint32_t core;
    Condition condition;
    bool is_met_by_any = false;  // of those that are given the same
  };

  // Calls use(unmet) for what is not met until it returns false.
  template <class Use>
  void each_unmet(Use use) {
    for (Condition const& wish : wish_)
      if (!is_met(side(0).insight, wish) && !use(Unmet{0, wish})) return;
    for (Choice const& choice : set_)
      if (!enabled_spot(choice.first) && !use(enabled_somewhere(choice.first))) return;
    for (Moves const& moves : path_)
      for (Moved const& moved : moves)
        if (!each_unmet(moved, use)) return;
  }

  template <class Use>
  bool each_unmet(Moved const& moved, Use use) {
    Side& side = this->side(moved.core);
    for (const std::uint32_t step : moved.steps)
      if (!side.baseline.allows_step(side.insight, step) && !use(Unmet{moved.core, against(side, step)})) return false;
    for (const std::uint32_t parameter : moved.parameters) {
      if (!side.baseline.allows_range(side.insight, parameter) &&
          !use(Unmet{moved.core, {Condition::Kind::in_range, parameter}}))
        return false;
      for (std::uint32_t search = 0; search < side.core.searches().size(); ++search)
        if (!side.baseline.allows_finding(side.insight, parameter, search) &&
            !use(Unmet{moved.core, {Condition::Kind::finding, parameter, search}}))
          return false;
    }
    return true;
  }

  static Condition against(Side const& side, std::uint32_t number) {
    if (!side.insight.fault(number).empty()) return {Condition::Kind::no_fault, number};
    Step const& step = side.core.steps()[number];
    return {Condition::Kind::message, step.parameter, step.message};
  }

  // Where what is changed can be set; nothing if it is disabled everywhere.
  std::optional<Spot> enabled_spot(std::uint32_t number) {
    for (Spot const& spot : same_as(around_.spot(number)))
      if (side(spot.core).state.is_enabled(spot.parameter)) return spot;
    return std::nullopt;
  }
  Unmet enabled_somewhere(std::uint32_t number) const {
    const Spot spot = around_.spot(number);
    return {spot.core, {Condition::Kind::enabled, spot.parameter}, true};
  }

  bool meets_all() {
    bool all = true;
    each_unmet([&](Unmet const&) { return all = false; });
    return all;
  }

  // --- sets

  // The changes that the set lacks: with one to go those that every condition needs, else those of the condition that
  // has the fewest.
  std::vector<Choice> lacking() {
    constexpr int kMostConditions = 6;
    std::vector<Unmet> unmet;
    each_unmet([&](Unmet const& one) {
      unmet.push_back(one);
      return unmet.size() < kMostConditions;
    });
    const bool is_last = set_.size() + 1 == size_;
    std::optional<std::vector<Choice>> fewest;
    for (Unmet const& one : unmet) {
      std::vector<Choice> needed = needed_by(one);
      std::erase_if(needed, [&](Choice const& choice) { return is_changed(choice.first); });
      if (fewest && is_last) {
        std::erase_if(*fewest,
                      [&](Choice const& choice) { return !std::binary_search(needed.begin(), needed.end(), choice); });
      } else if (!fewest || needed.size() < fewest->size()) {
        fewest = std::move(needed);
      }
      if (fewest->empty()) break;
    }
    return fewest.value_or(std::vector<Choice>());
  }

  // Of those that cores share each is told as of the first.
  std::vector<Choice> needed_by(Unmet const& unmet) {
    std::vector<Choice> all;
    const Spot told{unmet.core, unmet.condition.subject};
    for (Spot const& spot : unmet.is_met_by_any ? same_as(told) : std::vector{told}) {
      Side& side = this->side(spot.core);
      std::vector<Choice> needed =
          side.needs.of(side.state, {unmet.condition.kind, spot.parameter, unmet.condition.message}, spent_);
      if (around_.count() == 1) return needed;
      for (auto const& [parameter, candidate] : needed)
        all.emplace_back(around_.number(same_as({spot.core, parameter}).front()), candidate);
    }
    std::sort(all.begin(), all.end());
    all.erase(std::unique(all.begin(), all.end()), all.end());
    return all;
  }

  bool is_changed(std::uint32_t parameter) const {
    return std::any_of(set_.begin(), set_.end(), [&](Choice const& choice) { return choice.first == parameter; });
  }

  bool is_new() {
    std::vector<Choice> set = set_;
    std::sort(set.begin(), set.end());
    return seen_.insert(std::move(set)).second;
  }

  // One value of a parameter takes the place of the one before, and counts as moved what that one moved.
  void extend() {
    std::optional<std::uint32_t> made;  // the parameter that is not as it was
    Moves left;
    for (Choice const& choice : lacking()) {
      if (is_spent()) break;
      if (made && *made != choice.first) {
        take_off(*made);
        made.reset();
      }
      set_.push_back(choice);
      if (is_new()) {
        ++advice_.trials;
        Moves moves = make({change_of(choice)});
        if (made) add(left, moves);
        made = choice.first;
        path_.push_back(std::move(moves));
        if (set_.size() < size_)
          extend();
        else if (meets_all())
          consider();
        left = std::move(path_.back());
        path_.pop_back();
      }
      set_.pop_back();
    }
    if (made) take_off(*made);
  }

  // Both are of one parameter, and so of the same cores.
  static void add(Moves const& more, Moves& all) {
    for (std::size_t i = 0; i < all.size(); ++i) add(more[i], all[i]);
  }
  static void add(Moved const& more, Moved& all) {
    constexpr std::size_t kMany = 2000;
    const auto add_to = [](std::vector<std::uint32_t>& numbers, std::vector<std::uint32_t> const& others) {
      numbers.insert(numbers.end(), others.begin(), others.end());
      if (numbers.size() < kMany) return;
      std::sort(numbers.begin(), numbers.end());
      numbers.erase(std::unique(numbers.begin(), numbers.end()), numbers.end());
    };
    add_to(all.parameters, more.parameters);
    add_to(all.steps, more.steps);
  }

  // Of sets that change the same parameters the first by its values is kept.
  void consider() {
    std::vector<Choice> set = set_;
    std::sort(set.begin(), set.end());
    std::vector<std::uint32_t> parameters;
    parameters.reserve(set.size());
    for (Choice const& choice : set) parameters.push_back(choice.first);
    const auto [place, is_new] = sets_.emplace(std::move(parameters), set);
    if (!is_new) place->second = std::min(place->second, set);
  }

  // The best first; where nothing needs to be approved, that one alone.
  std::vector<std::vector<Choice>> in_order() {
    std::vector<std::pair<std::size_t, std::vector<Choice>>> all;
    for (auto const& [parameters, set] : sets_) {
      const std::size_t moves = count(make(changes_of(set)));
      for (const std::uint32_t parameter : parameters) take_off(parameter);
      all.emplace_back(moves, set);
      if (is_spent()) break;
    }
    std::stable_sort(all.begin(), all.end(), [](auto const& a, auto const& b) { return a.first < b.first; });
    std::vector<std::vector<Choice>> sets;
    for (auto& [moves, set] : all) sets.push_back(std::move(set));
    return sets;
  }

  // What is refused for other reasons than the rules of the cores is not made larger.
  void choose() {
    for (std::vector<Choice> const& set : in_order()) {
      std::vector<Change> changes = named(changes_of(set));
      if (!around_.approves(changes)) {
        spent_ += side(0).core.parameters().size();
        advice_.is_smallest = false;
        if (is_spent()) return;
        continue;
      }
      advice_.changes = std::move(changes);
      return verify();
    }
  }

  // Changes of what several cores share, as of one where it can be set.
  std::vector<Change> named(std::vector<Change> changes) {
    if (around_.count() == 1) return changes;
    const std::vector<Change> made = changes;
    make(made);
    for (Change& change : changes)
      if (const auto spot = enabled_spot(change.parameter)) change.parameter = around_.number(*spot);
    for (Change const& change : made) take_off(change.parameter);
    return changes;
  }

  // The changes are made to copies of what was given, all at once, and everything is looked at.
  void verify() {
    bool holds = true;
    for (auto const& [core, changes] : by_core(advice_.changes)) {
      Side& side = this->side(core);
      Instance copy = side.start;
      std::vector<std::uint32_t> moves = make_changes(copy, changes);
      const Insight insight(copy);
      if (core == 0) {
        advice_.moves = std::move(moves);
        for (Condition const& one : wish_) holds = holds && is_met(insight, one);
      }
      holds = holds && allows_all(side, insight);
      for (Change const& change : advice_.changes)
        if (const Spot spot = around_.spot(change.parameter); spot.core == core)
          holds = holds && copy.is_enabled(spot.parameter);
    }
    Core const& core = side(0).core;
    if (!holds) throw std::logic_error("advice that does not hold for " + core.name() + " " + core.version());
    advice_.outcome = Advice::Outcome::found;
    advice_.is_first = !is_spent();
  }

  static bool allows_all(Side const& side, Insight const& insight) {
    for (std::uint32_t step = 0; step < side.core.steps().size(); ++step)
      if (!side.baseline.allows_step(insight, step)) return false;
    for (std::uint32_t i = 0; i < side.core.parameters().size(); ++i) {
      if (!side.baseline.allows_range(insight, i)) return false;
      for (std::uint32_t search = 0; search < side.core.searches().size(); ++search)
        if (!side.baseline.allows_finding(insight, i, search)) return false;
    }
    return true;
  }

  Around& around_;
  Wish const& asked_;
  std::vector<std::unique_ptr<Side>> sides_;  // those that are looked at
  std::map<std::uint32_t, std::vector<Spot>> same_;
  std::vector<Condition> wish_;
  Effort effort_;
  std::chrono::duration<double> most_time_;
  std::chrono::steady_clock::time_point begin_ = std::chrono::steady_clock::now();
  Advice advice_{};
  std::uint64_t spent_ = 0;
  std::size_t size_ = 0;     // of the sets that are looked at
  std::vector<Choice> set_;  // made, in the order of the search
  std::vector<Moves> path_;  // by each of them
  std::set<std::vector<Choice>> seen_;
  std::map<std::vector<std::uint32_t>, std::vector<Choice>> sets_;  // that do it, by the parameters that they change
};

}  // namespace

RuleParts::RuleParts(Core const& core) : terms_(std::make_unique<Terms>(core)) {}
RuleParts::~RuleParts() = default;

Advice advise(Instance const& instance, Wish const& wish, Effort effort) {
  return advise(instance, wish, effort, RuleParts(instance.core()));
}

Advice advise(Instance const& instance, Wish const& wish, Effort effort, RuleParts const& parts) {
  Alone alone(instance, parts.terms());
  return advise(wish, effort, alone);
}

Advice advise(Wish const& wish, Effort effort, Around& around) { return Search(around, wish, effort).found(); }

std::uint32_t Around::number(Spot spot) const {
  std::size_t number = spot.parameter;
  for (std::uint32_t core = 0; core < spot.core; ++core) number += instance(core).core().parameters().size();
  return static_cast<std::uint32_t>(number);
}

Spot Around::spot(std::uint32_t number) const {
  Spot spot{0, number};
  for (; spot.core + 1 < count(); ++spot.core) {
    const auto own = static_cast<std::uint32_t>(instance(spot.core).core().parameters().size());
    if (spot.parameter < own) break;
    spot.parameter -= own;
  }
  return spot;
}

Record record_of(Core const& core, Wish const& wish, Advice const& advice) {
  return record_of(core, wish, advice, [&](std::uint32_t parameter) { return core.parameters()[parameter].name; });
}

Record record_of(Core const& core, Wish const& wish, Advice const& advice,
                 std::function<std::string(std::uint32_t)> const& name) {
  constexpr std::string_view kWishes[] = {"enabled", "permitted", "cleared"};
  constexpr std::string_view kOutcomes[] = {"fulfilled", "found", "none", "not within"};
  const bool is_found = advice.outcome == Advice::Outcome::found;
  Record record = Record::dictionary();
  record.set("wish", std::string(kWishes[static_cast<std::size_t>(wish.kind)]));
  record.set("parameter", core.parameters()[wish.parameter].name);
  if (wish.kind == Wish::Kind::cleared) record.set("message", wish.message);
  record.set("outcome", std::string(kOutcomes[static_cast<std::size_t>(advice.outcome)]));
  record.set("changes", record_of(advice.changes, name));
  record.set("verified", Record::truth(is_found));
  record.set("smallest", Record::truth(is_found && advice.is_smallest));
  record.set("first", Record::truth(advice.is_first));
  record.set("trials", std::to_string(advice.trials));
  Record moves = Record::list();
  for (const std::uint32_t parameter : advice.moves) moves.add(core.parameters()[parameter].name);
  record.set("moves", std::move(moves));
  return record;
}

}  // namespace kdi::cores
