#include "kdi/cores/Outputs.h"

#include <algorithm>
#include <tuple>

#include "platform/cores/insight.h"
#include "platform/cores/pads_found.h"

namespace kdi::cores {
namespace {

constexpr int kPowerPlaces = 3;

// The value of a rule; a fault is an error of the configuration.
Value value_of(Insight& insight, Rule const& rule) {
  const std::optional<Value> value = insight.evaluated(rule);
  if (!value) throw RegisterError("the rule at " + rule.place() + " has no value");
  return *value;
}

bool holds(Insight& insight, std::optional<Rule> const& rule) {
  return !rule || value_of(insight, *rule).cell().truth();
}

}  // namespace

PadFindings const& pad_findings(Instance const& instance) {
  std::vector<std::shared_ptr<SearchSection const>> const& searches = instance.core().searches();
  const auto number = std::find_if(searches.begin(), searches.end(),
                                   [&](auto const& search) { return search.get() == instance.core().pads().get(); });
  return dynamic_cast<PadFindings const&>(*instance.findings(static_cast<std::uint32_t>(number - searches.begin())));
}

std::vector<std::string> constraint_lines(RegisterMap const& map, Instance const& instance) {
  Insight insight(instance);
  std::vector<std::string> lines;
  for (DescribedConstraint const& described : map.constraints())
    if (holds(insight, described.when)) lines.push_back(value_of(insight, described.text).cell().text());
  return lines;
}

std::vector<PowerRow> power_rows(RegisterMap const& map, Instance const& instance) {
  Insight insight(instance);
  std::vector<PowerRow> rows;
  for (DescribedPower const& described : map.power()) {
    if (!holds(insight, described.when)) continue;
    const Value value = value_of(insight, described.milliwatts);
    const Decimal amount =
        value.cell().kind() == Kind::integer ? Decimal::of(value.cell().integer(), 0) : value.cell().decimal();
    if (amount.mantissa() != 0) rows.push_back({described.item, described.supply, amount.rounded(kPowerPlaces)});
  }
  return rows;
}

std::vector<PadInUse> pads_in_use(Instance const& instance) {
  std::vector<PadInUse> rows;
  if (instance.core().pads() == nullptr) return rows;
  for (PadFunction const& function : pad_findings(instance).functions)
    for (const std::uint32_t pad : function.groups[function.present].pads)
      for (PadBank const& bank : instance.core().pads()->banks)
        if (pad >= bank.offset && pad <= bank.offset + bank.last - bank.first)
          rows.push_back({bank.name, pad - bank.offset + bank.first, function.name, function.peripheral});
  std::stable_sort(rows.begin(), rows.end(), [](PadInUse const& a, PadInUse const& b) {
    return std::tie(a.bank, a.number) < std::tie(b.bank, b.number);
  });
  return rows;
}

}  // namespace kdi::cores
