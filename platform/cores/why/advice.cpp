#include "kdi/cores/Advice.h"

#include <algorithm>
#include <chrono>
#include <map>
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
  std::vector<Message> const& messages = start.core().parameters()[parameter].messages;
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

// Looks at sets of candidates by increasing size. A set is made larger only by a change that it lacks: each condition
// that it does not meet has a list of changes of which every larger set that meets it has one.
class Search {
 public:
  Search(Instance const& instance, Wish const& wish, Effort effort, Terms& terms, Approval const& approval)
      : approval_(approval),
        start_(computed(instance)),
        state_(start_),
        insight_(state_),
        core_(start_.core()),
        candidates_(start_, terms, wish.kind == Wish::Kind::permitted ? wish.parameter : Core::kNoStep, wished(wish)),
        baseline_(start_),
        needs_(core_, terms, candidates_, baseline_),
        wish_(conditions_of(start_, wish)),
        effort_(effort),
        most_time_(effort.most_seconds) {}

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
  std::vector<Value> wished(Wish const& wish) const {
    const std::optional<Value> value =
        read_value(core_.parameters()[wish.parameter].type, start_.backup(wish.parameter));
    return value && wish.kind == Wish::Kind::permitted ? std::vector{*value} : std::vector<Value>();
  }

  bool is_spent() const {
    if (spent_ > effort_.most_rules) return true;
    return effort_.most_seconds > 0 && std::chrono::steady_clock::now() - begin_ > most_time_;
  }

  Change change_of(Choice const& choice) {
    return {choice.first, candidates_.of(choice.first)[choice.second].text, Origin::user};
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
    std::vector<std::uint32_t> parameters, steps;
  };

  Moved make(std::vector<Change> const& changes) {
    Moved moved;
    moved.parameters = make_changes(state_, changes);
    moved.steps = insight_.ran();
    spent_ += kRulesOfTrial + moved.parameters.size() / 4;
    for (const std::uint32_t step : moved.steps) spent_ += core_.steps()[step].searches ? kRulesOfSearch : 1;
    return moved;
  }

  void take_off(std::uint32_t parameter) { make({given_to(start_, parameter)}); }

  bool is_fulfilled() const {
    return std::all_of(wish_.begin(), wish_.end(), [&](Condition const& wish) { return is_met(insight_, wish); });
  }

  // Calls use(condition) for what is not met until it returns false.
  template <class Use>
  void each_unmet(Use use) const {
    for (Condition const& wish : wish_)
      if (!is_met(insight_, wish) && !use(wish)) return;
    for (Choice const& choice : set_)
      if (!state_.is_enabled(choice.first) && !use({Condition::Kind::enabled, choice.first})) return;
    for (Moved const& moved : path_) {
      for (const std::uint32_t step : moved.steps)
        if (!baseline_.allows_step(insight_, step) && !use(against(step))) return;
      for (const std::uint32_t parameter : moved.parameters) {
        if (!baseline_.allows_range(insight_, parameter) && !use({Condition::Kind::in_range, parameter})) return;
        for (std::uint32_t search = 0; search < core_.searches().size(); ++search)
          if (!baseline_.allows_finding(insight_, parameter, search) &&
              !use({Condition::Kind::finding, parameter, search}))
            return;
      }
    }
  }

  Condition against(std::uint32_t number) const {
    if (!insight_.fault(number).empty()) return {Condition::Kind::no_fault, number};
    Step const& step = core_.steps()[number];
    return {Condition::Kind::message, step.parameter, step.message};
  }

  bool meets_all() const {
    bool all = true;
    each_unmet([&](Condition const&) { return all = false; });
    return all;
  }

  // --- sets

  // The changes that the set lacks: with one to go those that every condition needs, else those of the condition that
  // has the fewest.
  std::vector<Choice> lacking() {
    constexpr int kMostConditions = 6;
    std::vector<Condition> unmet;
    each_unmet([&](Condition const& condition) {
      unmet.push_back(condition);
      return unmet.size() < kMostConditions;
    });
    const bool is_last = set_.size() + 1 == size_;
    std::optional<std::vector<Choice>> fewest;
    for (Condition const& condition : unmet) {
      std::vector<Choice> needed = needs_.of(state_, condition, spent_);
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
    Moved left;
    for (Choice const& choice : lacking()) {
      if (is_spent()) break;
      if (made && *made != choice.first) {
        take_off(*made);
        made.reset();
      }
      set_.push_back(choice);
      if (is_new()) {
        ++advice_.trials;
        Moved moved = make({change_of(choice)});
        if (made) add(left, moved);
        made = choice.first;
        path_.push_back(std::move(moved));
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
      const std::size_t moves = make(changes_of(set)).parameters.size();
      for (const std::uint32_t parameter : parameters) take_off(parameter);
      all.emplace_back(moves, set);
      if (is_spent()) break;
    }
    std::stable_sort(all.begin(), all.end(), [](auto const& a, auto const& b) { return a.first < b.first; });
    std::vector<std::vector<Choice>> sets;
    for (auto& [moves, set] : all) sets.push_back(std::move(set));
    return sets;
  }

  // What was refused elsewhere is not made larger here.
  void choose() {
    for (std::vector<Choice> const& set : in_order()) {
      std::vector<Change> changes = changes_of(set);
      if (approval_ && !approval_(changes)) {
        spent_ += core_.parameters().size();
        advice_.is_smallest = false;
        if (is_spent()) return;
        continue;
      }
      advice_.changes = std::move(changes);
      return verify();
    }
  }

  // The changes are made to a copy of what was given, all at once, and everything is looked at.
  void verify() {
    Instance copy = start_;
    advice_.moves = make_changes(copy, advice_.changes);
    const Insight insight(copy);
    bool holds = std::all_of(wish_.begin(), wish_.end(), [&](Condition const& one) { return is_met(insight, one); });
    for (std::uint32_t step = 0; step < core_.steps().size(); ++step)
      holds = holds && baseline_.allows_step(insight, step);
    for (std::uint32_t i = 0; i < core_.parameters().size(); ++i) {
      holds = holds && baseline_.allows_range(insight, i);
      for (std::uint32_t search = 0; search < core_.searches().size(); ++search)
        holds = holds && baseline_.allows_finding(insight, i, search);
    }
    for (Change const& change : advice_.changes) holds = holds && copy.is_enabled(change.parameter);
    if (!holds) throw std::logic_error("advice that does not hold for " + core_.name() + " " + core_.version());
    advice_.outcome = Advice::Outcome::found;
    advice_.is_first = !is_spent();
  }

  Approval const& approval_;
  const Instance start_;
  Instance state_;
  Insight insight_;
  Core const& core_;
  Candidates candidates_;
  Baseline baseline_;
  Needs needs_;
  std::vector<Condition> wish_;
  Effort effort_;
  std::chrono::duration<double> most_time_;
  std::chrono::steady_clock::time_point begin_ = std::chrono::steady_clock::now();
  Advice advice_{};
  std::uint64_t spent_ = 0;
  std::size_t size_ = 0;     // of the sets that are looked at
  std::vector<Choice> set_;  // made to state_, in the order of the search
  std::vector<Moved> path_;  // by each of them
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
  return advise(instance, wish, effort, parts, Approval());
}

Advice advise(Instance const& instance, Wish const& wish, Effort effort, RuleParts const& parts,
              Approval const& approval) {
  return Search(instance, wish, effort, parts.terms(), approval).found();
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
