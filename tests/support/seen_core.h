// Everything that can be asked about an instance of a core, and the same computed anew, to be held against each other.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "tests/support/plain_core.h"

namespace plain_rules {

struct Seen {
  std::string value, backup;
  bool enabled;
  std::vector<std::string> range;
  Origin origin;
  std::vector<PlainCore::Said> messages;
  friend bool operator==(Seen const&, Seen const&) = default;
};

/// By parameter, and how many definitions and searches have a fault.
using SeenCore = std::pair<std::vector<Seen>, int>;

inline SeenCore seen(Instance& instance) {
  SeenCore all;
  for (std::uint32_t i = 0; i < instance.core().parameters().size(); ++i)
    all.first.push_back(
        {instance.value(i), instance.backup(i), instance.is_enabled(i), instance.range(i), instance.origin(i), {}});
  for (Due const& due : instance.messages()) {
    if (due.parameter == Due::kNoParameter) {
      ++all.second;
      continue;
    }
    const bool is_own = due.name == "rule" || due.name == "range";
    const bool has_fault = due.text.rfind(instance.core().parameters()[due.parameter].name + ": ", 0) == 0;
    all.first.at(due.parameter)
        .messages.push_back({due.name, due.severity,
                             is_own      ? ""
                             : has_fault ? "(fault)"
                                         : due.text});
  }
  return all;
}

inline std::vector<std::optional<std::string>> given(Instance const& instance) {
  std::vector<std::optional<std::string>> all;
  for (std::uint32_t i = 0; i < instance.core().parameters().size(); ++i) all.push_back(instance.given(i));
  return all;
}

inline SeenCore computed_anew(PlainRules& rules, std::vector<std::optional<std::string>> const& given,
                              Facts const& facts = {}) {
  PlainCore plain(rules, given, facts);
  SeenCore all;
  for (std::uint32_t i = 0; i < given.size(); ++i)
    all.first.push_back(
        {plain.value(i), plain.backup(i), plain.is_enabled(i), plain.range(i), plain.origin(i), plain.messages(i)});
  all.second = plain.other_faults();
  plain.look_at_searches();
  return all;
}

/// The first one, in words; empty if there is none.
inline std::string difference(Core const& core, SeenCore const& a, SeenCore const& b) {
  const auto show = [](Seen const& seen) {
    std::string text = seen.value + " | " + seen.backup + " | " + (seen.enabled ? "on" : "off") + " | " +
                       std::string(word_of(seen.origin)) + " | ";
    for (std::string const& one : seen.range) text += one + ",";
    for (PlainCore::Said const& said : seen.messages)
      text += " " + said.name + " (" + std::string(tag_of(said.severity)) + "): " + said.text;
    return text;
  };
  for (std::uint32_t i = 0; i < a.first.size(); ++i)
    if (a.first[i] != b.first[i])
      return core.parameters()[i].name + ": " + show(a.first[i]) + "\n against " + show(b.first[i]);
  if (a.second == b.second) return "";
  return std::to_string(a.second) + " faults of definitions and searches against " + std::to_string(b.second);
}

}  // namespace plain_rules
