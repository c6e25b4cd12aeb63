#include "platform/corepages/subject.h"

#include <algorithm>
#include <map>
#include <set>

#include "kdi/cores/Explain.h"
#include "kdi/cores/Whole.h"

namespace kdi::corepages {
namespace {

using cores::Configuration;
using cores::Core;

// What the search of a section found at its latest run; null if it never had an answer.
template <class Found, class Section>
Found const* findings_of(Configuration const& configuration, std::shared_ptr<Section const> const& section) {
  auto const& searches = configuration.core().searches();
  const auto place = std::find(searches.begin(), searches.end(), section);
  if (section == nullptr || place == searches.end()) return nullptr;
  // A search has findings of its own kind alone.
  return static_cast<Found const*>(
      configuration.instance().findings(static_cast<std::uint32_t>(place - searches.begin())).get());
}

// The texts of composites show what others are given.
std::set<std::uint32_t> composites_of(Core const& core) {
  std::set<std::uint32_t> all;
  for (cores::Composite const& one : core.composites()) {
    all.insert(one.parameter);
    if (one.internal) all.insert(*one.internal);
  }
  return all;
}

std::vector<Row> rows_of(Configuration const& configuration, std::vector<Notice> const& notices) {
  std::set<std::uint32_t> out_of_range;
  for (Notice const& notice : notices)
    if (notice.due.name == "range") out_of_range.insert(notice.due.parameter);
  const std::set<std::uint32_t> composites = composites_of(configuration.core());
  cores::Instance const& instance = configuration.instance();
  const cores::RuleParts parts(configuration.core());
  std::vector<Row> rows;
  for (std::uint32_t i = 0; i < configuration.core().parameters().size(); ++i) {
    cores::Parameter const& parameter = configuration.core().parameters()[i];
    Row row{i,
            &parameter,
            configuration.value(i),
            cores::value_text(parameter.default_value),
            instance.origin(i),
            instance.is_enabled(i),
            instance.given(i).has_value() && !composites.contains(i),
            false,
            out_of_range.contains(i),
            cores::explain(instance, i, cores::Effort{0, 0, 0}, parts)};
    const bool is_skipped = parameter.skips && !row.enabled;
    const bool is_other = !composites.contains(i) && !is_skipped && row.value != row.default_value;
    row.differs = row.given || is_other;
    rows.push_back(std::move(row));
  }
  return rows;
}

std::vector<Notice> notices_of(Configuration& configuration) {
  std::vector<Notice> all;
  Core const& core = configuration.core();
  for (cores::Due& due : configuration.own_messages()) {
    std::string name = due.parameter == cores::Due::kNoParameter ? core.name() : core.parameters()[due.parameter].name;
    all.push_back({std::move(due), std::move(name), std::nullopt});
  }
  std::stable_sort(all.begin(), all.end(),
                   [](Notice const& a, Notice const& b) { return a.due.severity > b.due.severity; });
  return all;
}

void collect(Configuration& configuration, std::string const& path, std::vector<Unit>& units) {
  Core const& core = configuration.core();
  Unit unit{path, &configuration, Links(core, path), {}, notices_of(configuration), core.clocks(), core.pads()};
  unit.rows = rows_of(configuration, unit.notices);
  unit.clock_findings = findings_of<cores::ClockFindings>(configuration, unit.clocks);
  unit.pad_findings = findings_of<cores::PadFindings>(configuration, unit.pads);
  units.push_back(std::move(unit));
  for (cores::SubCore const& sub : core.sub_cores())
    if (Configuration* const inner = configuration.sub_core(sub.name))
      collect(*inner, path.empty() ? sub.name : path + " " + sub.name, units);
}

// What the engine itself can tell of a message: not of a definition, nor of the text of a composite.
bool can_be_explained(Notice const& notice, Core const& core) {
  if (notice.due.parameter == cores::Due::kNoParameter) return false;
  if (notice.due.name == "range" || notice.due.name == "rule") return true;
  for (auto const& search : core.searches())
    if (search->message() == notice.due.name) return true;
  auto const& messages = core.parameters()[notice.due.parameter].messages();
  return std::any_of(messages.begin(), messages.end(),
                     [&](cores::Message const& one) { return one.name == notice.due.name; });
}

void explain_notices(std::vector<Unit>& units, Bounds const& bounds) {
  std::uint32_t advised = 0;
  using cores::Severity;
  std::map<cores::Core const*, cores::RuleParts> parts;
  for (const Severity severity : {Severity::error, Severity::critical_warning, Severity::warning, Severity::info})
    for (Unit& unit : units)
      for (Notice& notice : unit.notices) {
        if (notice.due.severity != severity || !can_be_explained(notice, unit.core())) continue;
        notice.is_advised = advised < bounds.most_advised;
        advised += notice.is_advised ? 1 : 0;
        const cores::Effort effort =
            notice.is_advised ? cores::Effort{bounds.most_rules, 3, 0} : cores::Effort{0, 0, 0};
        notice.why = cores::explain_whole(*units[0].configuration, *units[0].configuration,
                                          {unit.configuration, notice.due.parameter}, notice.due.name, effort,
                                          parts.try_emplace(&unit.core(), unit.core()).first->second);
      }
}

}  // namespace

std::vector<Unit> units_of(Configuration& configuration, Bounds const& bounds) {
  std::vector<Unit> units;
  collect(configuration, "", units);
  explain_notices(units, bounds);
  return units;
}

}  // namespace kdi::corepages
