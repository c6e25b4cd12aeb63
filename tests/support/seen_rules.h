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
    for (Message const& message : one.messages) add(one.name + " message " + message.name, message.when);
  }
  for_each_rule_of_searches(core, add);
  return all;
}

/// What may be seen of a rule: that it is true, that it is false, and of others that they come to more than one value.
struct Sight {
  NamedRule of;
  std::string what;  ///< `true`, `false` or `varies`
  bool is_seen;
};

inline std::vector<Sight> sights(PlainRules& rules) {
  std::vector<Sight> all;
  for (NamedRule const& named : rules_of(rules.core())) {
    PlainRules::Parsed const& parsed = rules.parsed(*named.rule);
    if (named.rule->type() == Type(Kind::truth)) {
      const unsigned seen = parsed.seen[parsed.syntax.root];
      all.push_back({named, "true", (seen & 1U) != 0});
      all.push_back({named, "false", (seen & 2U) != 0});
    } else if (!named.rule->reads().empty()) {
      all.push_back({named, "varies", parsed.varies});
    }
  }
  return all;
}

/// What makes each of these truths what is wanted of it, beginning with what is given to `instance`, for those that
/// advice finds something for. Messages count for nothing here: some are to be raised.
inline std::vector<std::vector<Change>> ways_to(std::vector<Sight> const& wanted, std::string const& cores,
                                                Instance const& instance, Facts const& facts) {
  const Scratch scratch;
  for (auto const& entry : std::filesystem::directory_iterator(cores))
    std::filesystem::create_directory_symlink(entry.path(), scratch.path(entry.path().filename()));
  Core const& core = instance.core();
  std::string changed, goals;
  for (Parameter const& parameter : core.parameters())
    if (!parameter.messages.empty())
      changed += (changed.empty() ? "" : ",\n") + (R"({"name": ")" + parameter.name + R"(", "messages": []})");
  const auto escaped = [](std::string const& text) {
    std::string all;
    for (const char c : text) all += c == '"' || c == '\\' ? std::string{'\\', c} : std::string(1, c);
    return all;
  };
  for (std::size_t i = 0; i < wanted.size(); ++i)
    goals += (i == 0 ? "" : ",\n") + (R"({"name": "GOAL_)" + std::to_string(i)) +
             R"(", "type": "truth", "widget": "EDIT", "description": "one", "default": "0", "enabled": ")" +
             (wanted[i].what == "false" ? "not (" : "(") + escaped(wanted[i].of.rule->written()) + ")\"}";
  scratch.file("goals/1.0.json", R"({"format": 1, "core": "goals", "version": "1.0", "extends": ")" + core.name() +
                                     "/" + core.version() + "\", \"changed\": [" + changed + "], \"parameters\": [" +
                                     goals + "]}");
  Instance start(Core::read(scratch.folder(), "goals", "1.0"), facts);
  std::vector<Change> given;
  for (std::uint32_t i = 0; i < core.parameters().size(); ++i)
    if (instance.given(i)) given.push_back({i, instance.given(i)});
  make_changes(start, given);
  std::vector<std::vector<Change>> ways;
  for (std::size_t i = 0; i < wanted.size(); ++i) {
    constexpr Effort kEffort{100'000, 3, 0};
    const auto goal = static_cast<std::uint32_t>(core.parameters().size() + i);
    const Advice advice = advise(start, {Wish::Kind::enabled, goal}, kEffort);
    if (advice.outcome == Advice::Outcome::found) ways.push_back(advice.changes);
  }
  return ways;
}

}  // namespace plain_rules
