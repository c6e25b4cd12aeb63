// What was seen of the rules of a core: truths both ways, messages raised, values that vary. And goals: a core with the
// rules of another as the conditions of parameters, so that advice finds what makes each true or false.
#pragma once

#include <filesystem>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "kdi/cores/Advice.h"
#include "tests/support/plain_core.h"
#include "tests/support/scratch.h"

namespace plain_rules {

/// A rule of a core, by the name of what it is for: `UART0_BAUD enabled`, `UART0_BAUD message too_fast`.
struct NamedRule {
  std::string name;
  Rule const* rule;
};

inline std::vector<NamedRule> rules_of(Core const& core) {
  std::vector<NamedRule> all;
  const auto add = [&](std::string const& name, auto const& rule) {
    if constexpr (std::is_same_v<std::decay_t<decltype(rule)>, Rule>)
      all.push_back({name, &rule});
    else if (rule)
      all.push_back({name, &*rule});
  };
  for (Definition const& one : core.definitions()) add("definition " + one.name, one.rule);
  for (Parameter const& one : core.parameters()) {
    add(one.name + " enabled", one.enabled);
    add(one.name + " range", one.range);
    add(one.name + " derived", one.derived);
    for (Message const& message : one.messages()) add(one.name + " message " + message.name, message.when);
  }
  for_each_rule_of_searches(core, add);
  return all;
}

/// Whether nothing that users or devices say has a part in the rule: what it comes to is one value.
inline bool is_constant(Core const& core, Rule const& rule) {
  for (const std::uint32_t slot : rule.reads()) {
    OptionalRule of;
    if (slot >= core.definition_slot(0))
      of = core.definitions()[slot - core.definition_slot(0)].rule;
    else if (slot >= core.fact_slot(0) || slot % Core::kSlots != Core::kEnabled)
      return false;
    else
      of = core.parameters()[slot / Core::kSlots].enabled;
    if (of && !is_constant(core, *of)) return false;
  }
  return true;
}

/// What may be seen of a rule: that it is true, that it is false, and of others that they come to more than one value.
/// A constant has nothing to be seen, unless it is the condition of a message, which is then no condition.
struct Sight {
  NamedRule of;
  std::string what;  ///< `true`, `false` or `varies`
  bool is_seen;
};

inline std::vector<Sight> sights(PlainRules& rules) {
  std::vector<Sight> all;
  for (NamedRule const& named : rules_of(rules.core())) {
    if (is_constant(rules.core(), *named.rule) && named.name.find(" message ") == std::string::npos) continue;
    PlainRules::Parsed const& parsed = rules.parsed(*named.rule);
    if (named.rule->type() == Type(Kind::truth)) {
      const unsigned seen = parsed.seen[parsed.syntax.root];
      all.push_back({named, "true", (seen & 1U) != 0});
      all.push_back({named, "false", (seen & 2U) != 0});
    } else {
      all.push_back({named, "varies", parsed.varies});
    }
  }
  return all;
}

/// A core with goals: each is met where the truth is what is wanted of it, or where what varies is another than at
/// first.
struct Goals {
  std::shared_ptr<Core const> core;
  std::vector<Sight> wanted;
  std::uint32_t first_parameter;     ///< of the truths
  std::vector<std::uint32_t> place;  ///< by wanted: of the parameter, or the definition
  bool is_truth(std::size_t goal) const { return wanted[goal].what != "varies"; }
};

/// The messages of the core have no part in it: some are to be raised.
inline Goals goals_of(Core const& core, std::vector<Sight> wanted, std::string const& cores) {
  const Scratch scratch;
  for (auto const& entry : std::filesystem::directory_iterator(cores))
    std::filesystem::create_directory_symlink(entry.path(), scratch.path(entry.path().filename()));
  const auto quoted = [](std::string const& text) {
    std::string all = "\"";
    for (const char c : text) all += c == '"' || c == '\\' ? std::string{'\\', c} : std::string(1, c);
    return all + '"';
  };
  const auto added = [](std::string& list, std::string const& item) { list += (list.empty() ? "" : ",\n") + item; };
  std::string changed, parameters, definitions;
  for (Parameter const& parameter : core.parameters())
    if (!parameter.messages().empty()) added(changed, R"({"name": ")" + parameter.name + R"(", "messages": []})");
  Goals goals{nullptr, std::move(wanted), static_cast<std::uint32_t>(core.parameters().size()), {}};
  auto parameter = goals.first_parameter;
  auto definition = static_cast<std::uint32_t>(core.definitions().size());
  for (Sight const& sight : goals.wanted) {
    const std::string rule = sight.of.rule->written();
    if (sight.what == "varies") {
      added(definitions, "\"GOAL_" + std::to_string(definition) + "\": " + quoted(rule));
      goals.place.push_back(definition++);
    } else {
      added(parameters,
            R"({"name": "GOAL_)" + std::to_string(parameter) +
                R"(", "type": "truth", "widget": "EDIT", "description": "one", "default": "0", "enabled": )" +
                quoted((sight.what == "false" ? "not (" : "(") + rule + ")") + "}");
      goals.place.push_back(parameter++);
    }
  }
  scratch.file("goals/1.0.json", R"({"format": 1, "core": "goals", "version": "1.0", "extends": ")" + core.name() +
                                     "/" + core.version() + "\", \"changed\": [" + changed + "], \"parameters\": [" +
                                     parameters + "], \"definitions\": {" + definitions + "}}");
  goals.core = Core::read(scratch.folder(), "goals", "1.0");
  return goals;
}

/// What makes the truths among these what is wanted of them, beginning with what is given to `instance`, for those that
/// advice finds something for.
inline std::vector<std::vector<Change>> ways_to(Goals const& goals, Instance const& instance, Facts const& facts) {
  Instance start(goals.core, facts);
  std::vector<Change> given;
  for (std::uint32_t i = 0; i < instance.core().parameters().size(); ++i)
    if (instance.given(i)) given.push_back({i, instance.given(i)});
  make_changes(start, given);
  std::vector<std::vector<Change>> ways;
  for (std::size_t i = 0; i < goals.wanted.size(); ++i) {
    if (!goals.is_truth(i)) continue;
    constexpr Effort kEffort{100'000, 3, 0};
    const Advice advice = advise(start, {Wish::Kind::enabled, goals.place[i]}, kEffort);
    if (advice.outcome == Advice::Outcome::found) ways.push_back(advice.changes);
  }
  return ways;
}

}  // namespace plain_rules
