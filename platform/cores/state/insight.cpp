#include "platform/cores/state/insight.h"

#include <algorithm>

#include "kdi/common/KdiText.h"

namespace kdi::cores {

Due told_out_of_range(Instance const& instance, std::uint32_t parameter) {
  Parameter const& described = instance.core().parameters()[parameter];
  std::vector<std::string> range = instance.range(parameter);
  if (range.empty() && described.widget == Widget::checkbox) range = {"0", "1"};
  return {parameter, "range", Severity::error,
          instance.words().out_of_range(described.name, instance.backup(parameter), text::joined(range, ","))};
}

std::optional<Value> Insight::evaluated(Rule const& rule) {
  try {
    return machine_.run(rule, instance_.cells_);
  } catch (RuleFault const&) {
    return std::nullopt;
  }
}

bool Insight::is_permitted(std::uint32_t parameter) const {
  const std::optional<Value> shown = read_value(core().parameters()[parameter].type, instance_.backup(parameter));
  return shown && permits(parameter, *shown);
}

bool Insight::has_finding(std::uint32_t parameter, std::uint32_t search, bool errors_alone) const {
  std::vector<Finding> const& findings = instance_.findings_[search]->messages;
  return std::any_of(findings.begin(), findings.end(), [&](Finding const& finding) {
    return finding.parameter == parameter && (finding.is_error || !errors_alone);
  });
}

std::vector<Due> Insight::messages(std::uint32_t parameter) {
  Parameter const& described = core().parameters()[parameter];
  std::vector<Due> due;
  for (auto const& [step, fault] : instance_.faults_)
    if (is_of(core().steps()[step], parameter))
      due.push_back({parameter, "rule", Severity::error, described.name + ": " + fault});
  if (is_out_of_range(parameter)) due.push_back(told_out_of_range(instance_, parameter));
  instance_.add_findings(parameter, due);
  for (std::uint32_t m = 0; m < described.messages().size(); ++m) {
    if (!holds(parameter, m)) continue;
    Message const& message = described.messages()[m];
    const std::optional<Value> words = evaluated(message.text);
    due.push_back({parameter, message.name, message.severity, words ? words->text() : described.name});
  }
  return due;
}

std::uint32_t all_slots(Core const& core) {
  return core.search_slot(static_cast<std::uint32_t>(core.parameters().size()));
}

bool is_of(Step const& step, std::uint32_t parameter) {
  return step.kind != Step::Kind::definition && step.kind != Step::Kind::search && step.parameter == parameter;
}

Rule const* rule_of(Core const& core, Step const& step) {
  switch (step.kind) {
    case Step::Kind::definition:
      return &core.definitions()[step.parameter].rule;
    case Step::Kind::enabled:
      return core.parameters()[step.parameter].enabled.get();
    case Step::Kind::range:
      return core.parameters()[step.parameter].range.get();
    case Step::Kind::value:
      return core.parameters()[step.parameter].derived.get();
    case Step::Kind::message:
      return &core.parameters()[step.parameter].messages()[step.message].when;
    case Step::Kind::search:
      return nullptr;
  }
  return nullptr;
}

std::string slot_name(Core const& core, std::uint32_t slot) {
  const std::uint32_t parameter = slot / Core::kSlots;
  if (slot >= core.definition_slot(0)) return core.definitions()[slot - core.definition_slot(0)].name;
  if (slot >= core.fact_slot(0)) return "device('" + core.facts()[slot - core.fact_slot(0)].word + "')";
  const KeptText name = core.parameters()[parameter].name;
  constexpr std::string_view kAspects[] = {"", "user", "given", "enabled"};
  const std::string_view aspect = kAspects[slot % Core::kSlots];
  return aspect.empty() ? std::string(name) : std::string(aspect) + "(" + name + ")";
}

std::string_view step_name(Step const& step) {
  constexpr std::string_view kNames[] = {"enabled", "range", "value", "definition", "message", "search"};
  return kNames[static_cast<std::size_t>(step.kind)];
}

}  // namespace kdi::cores
