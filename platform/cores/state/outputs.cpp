#include "kdi/cores/Outputs.h"

#include <algorithm>
#include <tuple>

#include "kdi/common/KdiNumber.h"
#include "kdi/common/KdiText.h"
#include "platform/cores/search/pads_found.h"
#include "platform/cores/state/insight.h"

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

constexpr char kController[] = "pmc_data", kMonitor[] = "sysmon_npi", kLow[] = "lpd_data", kFull[] = "fpd_data";

// The controller first, then its monitor, then the low-power domain, which the other one depends on; of a block with
// PCIe what its links begin with before what they serve.
std::size_t rank(std::string const& output) {
  constexpr std::string_view kOrder[] = {kController,    kMonitor,        kLow,          kFull,
                                         "cpm_pre_data", "cpm_post_data", "cpm_win_data"};
  return static_cast<std::size_t>(std::find(std::begin(kOrder), std::end(kOrder), output) - std::begin(kOrder));
}

// The file in which an output of the description stands. A block with PCIe has three of its own and no others.
std::string file_of(Core const& core, std::string const& output, bool merged) {
  if (core.name().starts_with("cpm")) return output.starts_with("cpm_") ? output : "cpm_pre_data";
  const bool is_controllers = output == kMonitor || (merged && (output == kLow || output == kFull));
  return is_controllers ? kController : output;
}

}  // namespace

std::vector<OutputsOfFile> outputs_by_file(Core const& core, RegisterMap const& map, bool merged) {
  std::vector<std::string> outputs = map.outputs();
  std::stable_sort(outputs.begin(), outputs.end(),
                   [](std::string const& a, std::string const& b) { return rank(a) < rank(b); });
  std::vector<OutputsOfFile> files;
  for (std::string const& output : outputs) {
    const std::string name = file_of(core, output, merged);
    auto file = std::find_if(files.begin(), files.end(), [&](OutputsOfFile const& one) { return one.file == name; });
    if (file == files.end()) file = files.insert(file, {name, {}});
    file->outputs.push_back(output);
  }
  return files;
}

std::string mask_definitions(RegisterMap const& map, std::string const& core) {
  const std::string guard = text::uppered(core) + "_MASK_DEFINITIONS_H";
  std::string text =
      "/* Addresses of registers, and masks of their fields. */\n#ifndef " + guard + "\n#define " + guard + "\n\n";
  const auto define = [&](std::string const& name, std::uint32_t value) {
    text += "#define " + name + " 0x" + number::hexadecimal(value, 8) + "u\n";
  };
  for (Register const& reg : map.registers()) {
    const std::string name = map.blocks()[reg.block].name + "_" + reg.name;
    define(name + "_ADDRESS", reg.address);
    for (RegisterField const& field : reg.fields) define(name + "_" + field.name + "_MASK", field.mask());
  }
  return text + "\n#endif\n";
}

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
