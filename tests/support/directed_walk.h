// Walks through the configurations of a core towards goals: each step changes what has a part in one that was not met
// yet, to values that the rules on the way name.
#pragma once

#include <algorithm>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "kdi/cores/Changes.h"
#include "tests/support/core_texts.h"
#include "tests/support/seen_rules.h"

namespace plain_rules {

class DirectedWalk {
 public:
  struct Way {
    Facts facts;
    std::vector<Change> changes;
  };

  DirectedWalk(PlainRules& rules, Goals const& goals, unsigned seed)
      : rules_(rules), goals_(goals), core_(*goals.core), random_(seed) {
    for (NamedRule const& named : rules_of(rules.core())) note_literals(*named.rule, *named.rule, 0);
    Instance const plain(goals.core);
    for (std::size_t goal = 0; goal < goals.wanted.size(); ++goal) {
      cones_.push_back(cone_of(goal));
      if (!cones_.back().empty()) open_.push_back(goal);
      first_.push_back(goals.is_truth(goal) ? Value() : plain.definition(goals.place[goal]));
    }
  }

  /// So many steps; what met a goal first.
  std::vector<Way> run(int steps) {
    constexpr int kOfOne = 60, kTowardsOne = 15;
    std::vector<Way> ways;
    for (int begun = 0; begun < steps && !open_.empty(); begun += kOfOne) {
      const Facts facts = below(3) == 0 ? Facts() : some_facts(random_, core_);
      Instance instance(goals_.core, facts);
      if (!ways.empty() && below(3) == 0) make_changes(instance, one_of(random_, ways).changes);
      if (below(4) == 0) make_changes(instance, by_hand(instance));
      meet(instance, facts, ways);
      std::size_t goal = 0;
      for (int step = 0; step < kOfOne && !open_.empty(); ++step) {
        if (step % kTowardsOne == 0) goal = one_of(random_, open_);
        make_changes(instance, some_changes(instance, cones_[goal]));
        meet(instance, facts, ways);
      }
    }
    return ways;
  }

 private:
  std::uint64_t below(std::uint64_t bound) { return random_() % bound; }

  // --- which parameters have a part in a goal, the nearest first

  std::vector<std::uint32_t> cone_of(std::size_t goal) const {
    std::vector<std::uint32_t> slots = {goals_.is_truth(goal) ? Core::slot(goals_.place[goal], Core::kEnabled)
                                                              : core_.definition_slot(goals_.place[goal])};
    std::set<std::uint32_t> known(slots.begin(), slots.end()), parameters;
    std::vector<std::uint32_t> cone;
    for (std::size_t at = 0; at < slots.size(); ++at) {
      const auto parameter = parameter_of(slots[at]);
      if (parameter && core_.is_settable(*parameter) && parameters.insert(*parameter).second)
        cone.push_back(*parameter);
      const std::uint32_t step = core_.writer(slots[at]);
      if (step == Core::kNoStep) continue;
      for (const std::uint32_t slot : core_.reads(step))
        if (known.insert(slot).second) slots.push_back(slot);
    }
    return cone;
  }

  std::optional<std::uint32_t> parameter_of(std::uint32_t slot) const {
    std::uint32_t number = 0;
    if (slot < core_.fact_slot(0))
      number = slot / Core::kSlots;
    else if (slot >= core_.search_slot(0))
      number = slot - core_.search_slot(0);
    else if (slot >= core_.range_slot(0))
      number = slot - core_.range_slot(0);
    else
      return std::nullopt;
    return number < goals_.first_parameter ? std::optional(number) : std::nullopt;
  }

  // --- which values rules name

  // The constants of `rule` are for all that `reader`, which is the rule or a definition in it, reads.
  void note_literals(Rule const& rule, Rule const& reader, int depth) {
    Core const& core = rules_.core();
    constexpr int kDeepest = 3;
    for (const std::uint32_t slot : reader.reads())
      if (slot >= core.definition_slot(0)) {
        Rule const& definition = core.definitions()[slot - core.definition_slot(0)].rule;
        if (depth < kDeepest) note_literals(rule, definition, depth + 1);
      } else if (slot < core.fact_slot(0)) {
        auto& literals = literals_[slot / Core::kSlots];
        for (Expression const& node : rules_.parsed(rule).syntax.nodes)
          if (node.form == Form::literal) literals.insert(node.value.text());
      }
  }

  std::string some_text(Instance const& instance, std::uint32_t i) {
    Parameter const& parameter = core_.parameters()[i];
    const std::uint64_t sort = below(8);
    if (parameter.type == Type(Kind::truth)) return sort < 5 ? "1" : "0";
    auto const& literals = literals_[i];
    if (sort < 4 || literals.empty()) return valid_text(random_, instance, i);
    std::string const& literal = *std::next(literals.begin(), static_cast<long>(below(literals.size())));
    if (sort == 4) return valid_text(random_, instance, static_cast<std::uint32_t>(below(goals_.first_parameter)));
    if (!parameter.type.is_number()) return sort == 5 ? literal : spliced(value_text(parameter.default_value), literal);
    const auto number = Decimal::read(literal);
    if (!number) return valid_text(random_, instance, i);
    try {
      return (*number + Decimal(static_cast<std::int64_t>(below(3)) - 1)).text();
    } catch (std::overflow_error const&) {
      return literal;
    }
  }

  // A text with another one somewhere in it, in place of as much.
  std::string spliced(std::string text, std::string const& literal) {
    const std::size_t at = below(2) == 0 ? 0 : below(text.size() + 1);
    text.replace(at, literal.size(), literal);
    if (below(4) == 0) text += literal;
    return text;
  }

  // --- steps

  std::vector<Change> some_changes(Instance const& instance, std::vector<std::uint32_t> const& cone) {
    std::map<std::uint32_t, Change> changes;
    for (std::uint64_t count = 1 + below(3); count > 0; --count) {
      // Mostly what is near.
      const std::uint64_t within = 1 + below(below(2) == 0 ? std::min<std::size_t>(cone.size(), 12) : cone.size());
      const std::uint32_t i = cone[below(within)];
      changes.insert_or_assign(i, below(12) == 0 ? Change{i, std::nullopt} : Change{i, some_text(instance, i)});
    }
    std::vector<Change> all;
    for (auto const& [i, change] : changes) all.push_back(change);
    return all;
  }

  // Clocks set by hand, with dividers from all over their ranges.
  std::vector<Change> by_hand(Instance const& instance) {
    std::vector<Change> changes;
    const auto clocks = core_.clocks();
    if (clocks == nullptr || !clocks->manual) return {};
    for (const std::uint32_t slot : clocks->manual->reads())
      if (const auto parameter = parameter_of(slot)) changes.push_back({*parameter, "1"});
    for (std::uint32_t i = 0; i < goals_.first_parameter; ++i)
      if (core_.parameters()[i].search && below(2) == 0) changes.push_back({i, valid_text(random_, instance, i)});
    return changes;
  }

  void meet(Instance const& instance, Facts const& facts, std::vector<Way>& ways) {
    const std::size_t before = open_.size();
    open_.erase(std::remove_if(open_.begin(), open_.end(),
                               [&](std::size_t goal) {
                                 const std::uint32_t place = goals_.place[goal];
                                 return goals_.is_truth(goal) ? instance.is_enabled(place)
                                                              : !(instance.definition(place) == first_[goal]);
                               }),
                open_.end());
    if (open_.size() == before) return;
    Way& way = ways.emplace_back(Way{facts, {}});
    for (std::uint32_t i = 0; i < goals_.first_parameter; ++i)
      if (instance.given(i)) way.changes.push_back({i, instance.given(i)});
  }

  PlainRules& rules_;
  Goals const& goals_;
  Core const& core_;
  std::mt19937_64 random_;
  std::vector<std::vector<std::uint32_t>> cones_;  // by goal
  std::vector<Value> first_;
  std::vector<std::size_t> open_;
  std::map<std::uint32_t, std::set<std::string>> literals_;  // by parameter
};

}  // namespace plain_rules
