#include "platform/ippcw/core_outputs.h"

#include <algorithm>
#include <cmath>
#include <map>

#include "kdi/cdo/Cdo.h"
#include "kdi/common/HPAParamMgr.h"
#include "kdi/common/KdiJsonText.h"
#include "kdi/common/KdiNumber.h"
#include "kdi/common/KdiText.h"
#include "kdi/cores/Outputs.h"
#include "kdi/ip/SystemPower.h"
#include "kdi/ippcw/host/MonitorData.h"

namespace hardip_eng {
namespace {

using kdi::cores::Configuration;
using kdi::cores::Measurement;
using kdi::cores::outputs_by_file;
using kdi::cores::RegisterCommand;
using kdi::cores::RegisterImage;
using kdi::cores::RegisterMap;
using kdi::text::json_text;

constexpr char kController[] = "pmc_data";
constexpr char kMonitor[] = "sysmon_npi";
constexpr char kNetworkClock[] = "noc_clock";
constexpr char kOtherController[] = "pmc_data_slr_";  // and the number of its region
constexpr char kMonitorBlock[] = "SYSMON";

std::shared_ptr<RegisterMap const> map_of(OutputCore const& core) {
  return RegisterMap::of(core.configuration.instance().shared_core());
}

std::string member(std::string_view name, std::string const& value) { return json_text(name) + ": " + value; }

// Rows of a list, one a line.
std::string json_list(std::vector<std::string> const& rows, std::string const& indent) {
  if (rows.empty()) return "[]";
  std::string text = "[";
  for (std::size_t i = 0; i < rows.size(); ++i) text += (i == 0 ? "\n" : ",\n") + indent + "  " + rows[i];
  return text + "\n" + indent + "]";
}

// A processing system, which has the monitor, whatever it measures.
bool has_monitor(kdi::cores::Core const& core) {
  using kdi::cores::Interface;
  const Interface interface = core.interface();
  return interface != Interface::fixed && interface != Interface::block && interface != Interface::staged &&
         interface != Interface::earlier;
}

std::string head(OutputCore const& core) {
  return "{\n  \"format\": 1,\n  " + member("instance", json_text(core.instance_name)) + ",\n  " +
         member("core", json_text(core.configuration.core().name())) + ",\n  " +
         member("version", json_text(core.configuration.core().version())) + ",\n  " +
         member("part", json_text(core.part == nullptr ? "" : core.part->name)) + ",\n  ";
}

// --- commands

bool is_cpm(OutputCore const& core) { return core.configuration.core().name().starts_with("cpm"); }

// Commands, each with what it sets.
struct Remarked {
  kdi::cdo::Commands commands;
  std::vector<std::string> remarks;

  void add(RegisterMap const& map, std::vector<RegisterCommand> const& more) {
    for (RegisterCommand const& command : more) {
      commands.push_back(command.command);
      remarks.push_back(kdi::cores::words_of(map, command));
    }
  }
  std::string text() const {
    return kdi::cdo::to_text(commands, [&](std::size_t i) { return remarks[i]; });
  }
};

}  // namespace

kdi::cdo::Commands all_commands(OutputCore const& core) {
  const auto map = map_of(core);
  const RegisterImage image(*map, core.configuration.instance());
  std::vector<std::string> order;
  for (auto const& [file, outputs] : outputs_by_file(core.configuration.core(), *map, true))
    order.insert(order.end(), outputs.begin(), outputs.end());
  return kdi::cores::plain(image.commands(order));
}

std::string monitor_commands(OutputCore const& core) {
  const auto map = map_of(core);
  Remarked monitor;
  monitor.add(*map, RegisterImage(*map, core.configuration.instance()).commands(kMonitor));
  return monitor.commands.empty() ? std::string() : monitor.text();
}

// --- texts

std::string constraints_text(OutputCore const& core) {
  std::string text;
  for (std::string const& line : kdi::cores::constraint_lines(*map_of(core), core.configuration.instance()))
    text += line + "\n";
  return text;
}

namespace {

using kdi::power::SystemItem;
using kdi::power::SystemPower;

// The value of the parameter whose name ends so; empty if there is none.
std::string value_behind(Configuration const& configuration, std::string const& end) {
  auto const& all = configuration.core().parameters();
  for (std::uint32_t i = 0; i < all.size(); ++i)
    if (all[i].name.ends_with(end)) return configuration.value(i);
  return {};
}

// Rows of items and sums of supplies, in mW.
class PowerRows {
 public:
  void add(std::vector<SystemItem> const& items, char const* kind) {
    for (SystemItem const& one : items) {
      const kdi::cores::Decimal milliwatts = kdi::cores::Decimal::of(std::llround(one.milliwatts * 1000), 3);
      rows_.push_back("{" + member("item", json_text(one.item)) + ", " + member("kind", json_text(kind)) + ", " +
                      member("supply", json_text(one.supply)) + ", " + member("milliwatts", milliwatts.text()) + "}");
      sums_[one.supply] = sums_[one.supply] + milliwatts;
      total_ = total_ + milliwatts;
    }
  }
  std::string text() const {
    std::vector<std::string> supplies;
    for (auto const& [supply, sum] : sums_)
      supplies.push_back("{" + member("supply", json_text(supply)) + ", " + member("milliwatts", sum.text()) + "}");
    return member("total", total_.text()) + ",\n  " + member("supplies", json_list(supplies, "  ")) + ",\n  " +
           member("items", json_list(rows_, "  "));
  }

 private:
  std::vector<std::string> rows_;
  std::map<std::string, kdi::cores::Decimal> sums_;
  kdi::cores::Decimal total_;
};

}  // namespace

namespace {

// Of the pads in use and what draws besides; none without a part.
std::optional<SystemPower> power_of(OutputCore const& core, std::vector<kdi::cores::PadInUse> const& in_use,
                                    std::vector<SystemItem> const& dynamic) {
  if (core.part == nullptr) return std::nullopt;
  std::vector<kdi::power::SystemPad> pads;
  for (kdi::cores::PadInUse const& pad : in_use) pads.push_back({pad.bank, pad.number, pad.function});
  return kdi::power::system_power(*core.part, dynamic, pads,
                                  [&](std::string const& end) { return value_behind(core.configuration, end); });
}

std::string milliwatts_text(double milliwatts) {
  return kdi::cores::Decimal::of(std::llround(milliwatts * 1000), 3).text();
}

}  // namespace

// Leakage and pads are those of a whole processing system: once, with the core of the master's region.
std::string power_text(OutputCore const& core) {
  std::vector<SystemItem> dynamic;
  for (kdi::cores::PowerRow const& row : kdi::cores::power_rows(*map_of(core), core.configuration.instance()))
    dynamic.push_back({row.item, row.supply, kdi::number::whole<double>(row.milliwatts.text()).value_or(0)});
  const auto power = power_of(core, kdi::cores::pads_in_use(core.configuration.instance()), dynamic);
  PowerRows rows;
  rows.add(power ? power->dynamic : dynamic, "dynamic");
  if (power && core.region == 0 && has_monitor(core.configuration.core())) rows.add(power->leakage, "leakage");
  if (power) rows.add(power->pads, "pads");
  if (power) rows.add(power->terminations, "terminations");
  const std::string conditions = power ? member("junction_c", kdi::number::plain(power->junction_c)) + ",\n  " +
                                             member("core_v", kdi::number::plain(power->core_v)) + ",\n  "
                                       : std::string();
  return head(core) + conditions + rows.text() + "\n}\n";
}

std::string pads_text(OutputCore const& core) {
  const std::vector<kdi::cores::PadInUse> in_use = kdi::cores::pads_in_use(core.configuration.instance());
  const auto power = power_of(core, in_use, {});
  std::vector<std::string> rows;
  for (std::size_t i = 0; i < in_use.size(); ++i) {
    kdi::cores::PadInUse const& pad = in_use[i];
    std::string row = "{" + member("pad", json_text(pad.bank + " " + std::to_string(pad.number))) + ", " +
                      member("function", json_text(pad.function)) + ", " +
                      member("peripheral", json_text(pad.peripheral));
    if (power && !power->levels[i].supply.empty()) {
      kdi::power::PadLevels const& levels = power->levels[i];
      row += ", " + member("standard", json_text(levels.standard)) + ", " + member("supply", json_text(levels.supply)) +
             ", " + member("milliwatts", milliwatts_text(levels.milliwatts)) + ", " +
             member("termination_milliwatts", milliwatts_text(levels.termination_milliwatts));
    }
    rows.push_back(row + "}");
  }
  return head(core) + member("pads", json_list(rows, "  ")) + "\n}\n";
}

// --- the system monitor

namespace {

kdi::device::SystemMonitor const* monitor_of(OutputCore const& core) {
  if (core.part == nullptr || !core.part->device->processing_system) return nullptr;
  auto const& monitor = core.part->device->processing_system->monitor;
  return monitor ? &*monitor : nullptr;
}

// The supply with a number, as the device names it; null if there is none.
kdi::device::SystemMonitor::Supply const* supply_of(kdi::device::SystemMonitor const* monitor,
                                                    std::string const& number) {
  const auto place = kdi::number::whole<std::size_t>(number);
  if (monitor == nullptr || !place || *place < static_cast<std::size_t>(monitor->first_supply)) return nullptr;
  const std::size_t index = *place - static_cast<std::size_t>(monitor->first_supply);
  return index < monitor->supplies.size() ? &monitor->supplies[index] : nullptr;
}

// Those that are on.
std::vector<Measurement const*> measured(Configuration const& configuration) {
  std::vector<Measurement const*> on;
  for (Measurement const& one : configuration.core().presets().measurements.all)
    if (configuration.value(one.enabled) == "1") on.push_back(&one);
  return on;
}

MonitorMeasurement measurement_of(OutputCore const& core, Measurement const& one) {
  std::vector<kdi::cores::Parameter> const& parameters = core.configuration.core().parameters();
  MonitorMeasurement told{parameters[one.enabled].name, {}, {}};
  if (!one.parameters.empty())
    if (auto const* const supply = supply_of(monitor_of(core), core.configuration.value(one.parameters.front())))
      told.supply = supply->name;
  for (const std::uint32_t number : one.parameters)
    told.parameters.emplace_back(parameters[number].name, core.configuration.value(number));
  return told;
}

std::vector<std::pair<std::string, std::uint32_t>> monitor_words(RegisterMap const& map, RegisterImage const& image) {
  std::vector<std::pair<std::string, std::uint32_t>> words;
  for (std::uint32_t i = 0; i < map.registers().size(); ++i)
    if (map.blocks()[map.registers()[i].block].name == kMonitorBlock) words.emplace_back(map.name(i), image.word(i));
  return words;
}

std::string monitor_json(OutputCore const& core, RegisterMap const& map, RegisterImage const& image) {
  Configuration const& configuration = core.configuration;
  MonitorData data{core.instance_name,
                   configuration.core().name(),
                   configuration.core().version(),
                   core.part == nullptr ? "" : core.part->name,
                   {},
                   {},
                   monitor_words(map, image)};
  for (Measurement const* const one : measured(configuration)) data.measurements.push_back(measurement_of(core, *one));
  for (const std::uint32_t number : configuration.core().presets().measurements.dictionaries)
    data.dictionaries.emplace_back(configuration.core().parameters()[number].name, configuration.value(number));
  return monitor_data_text(data);
}

}  // namespace

std::vector<std::pair<std::string, std::string>> monitor_registers(OutputCore const& core) {
  const auto map = map_of(core);
  std::vector<std::pair<std::string, std::string>> registers;
  for (auto const& [name, word] : monitor_words(*map, RegisterImage(*map, core.configuration.instance())))
    registers.emplace_back(name, "0x" + kdi::number::hexadecimal(word, 8));
  return registers;
}

std::string monitor_json(OutputCore const& core) {
  const auto map = map_of(core);
  return monitor_json(core, *map, RegisterImage(*map, core.configuration.instance()));
}

// Measurements go round the sensors of their region, that of its monitor itself being the first.
std::string satellites_csv(OutputCore const& core) {
  kdi::device::SystemMonitor const* const monitor = monitor_of(core);
  std::vector<SatelliteRow> rows;
  const std::size_t sensors = monitor == nullptr ? 1 : static_cast<std::size_t>(monitor->satellites) + 1;
  const std::size_t before = static_cast<std::size_t>(core.region) * sensors;
  for (Measurement const* const one : measured(core.configuration)) {
    const std::string number = one->parameters.empty() ? "" : core.configuration.value(one->parameters.front());
    auto const* const supply = supply_of(monitor, number);
    rows.push_back({static_cast<unsigned>(before + rows.size() % sensors),
                    core.configuration.core().parameters()[one->enabled].name, number,
                    supply == nullptr ? "" : supply->name, supply == nullptr ? "" : kdi::number::plain(supply->volts)});
  }
  return satellites_text(rows);
}

// --- files

OutputNames names_of(kdi::cores::Core const& core) {
  HPAParamMgr& parameters = HPAParamMgr::getParamMgr();
  const bool is_plain = core.name() == "pspmc" || core.name() == "ps_pmc" || core.name() == "tavrel_cips";
  return {!is_plain || parameters.getValueIfExistAsBool("cips.genHumanReadableCDO", false),
          parameters.getValueIfExistAsBool("cips.mergePMCLPDCdo", false)};
}

namespace {

// Those of some devices alone: without commands there is no such file.
bool is_optional(std::string const& file) { return file == kNetworkClock || file.starts_with(kOtherController); }

// Files of commands, by the names that they have beside others.
class CommandFiles {
 public:
  Remarked& file(std::string const& name) {
    for (auto& [known, content] : files_)
      if (known == name) return content;
    return files_.emplace_back(name, Remarked()).second;
  }
  void write_to(std::vector<OutputFile>& all, std::string const& prefix) const {
    for (auto const& [name, content] : files_) {
      if (content.commands.empty() && is_optional(name)) continue;
      all.push_back({prefix + name + ".cdo", content.text()});
      if (name == kController) all.push_back({prefix + "pmc_cdo.bin", kdi::cdo::to_binary(content.commands)});
    }
  }

 private:
  std::vector<std::pair<std::string, Remarked>> files_;
};

}  // namespace

std::vector<OutputFile> design_files(OutputCore const& core, OutputNames names) {
  const auto map = map_of(core);
  const RegisterImage image(*map, core.configuration.instance());
  const std::string prefix = is_cpm(core)          ? "temp/" + core.instance_name + "/"
                             : names.with_instance ? core.instance_name + "_"
                                                   : "";
  CommandFiles commands;
  for (auto const& [file, outputs] : outputs_by_file(core.configuration.core(), *map, names.merged))
    commands.file(file).add(*map, image.commands(outputs));
  std::vector<OutputFile> files;
  commands.write_to(files, prefix);
  if (!has_monitor(core.configuration.core())) return files;
  files.push_back({prefix + "sysmon_data.json", monitor_json(core, *map, image)});
  files.push_back({prefix + "sysmon_satellite.csv", satellites_csv(core)});
  return files;
}

// A region that is not the master's has a controller and no power domains, and does not set the clock of the network.
std::vector<OutputFile> joint_files(std::vector<OutputCore> const& cores, std::string const& instance_name,
                                    OutputNames names) {
  CommandFiles commands;
  std::vector<std::string> monitors;
  std::string satellites;
  for (OutputCore const& core : cores) {
    if (is_cpm(core)) continue;
    const auto map = map_of(core);
    const RegisterImage image(*map, core.configuration.instance());
    const std::string controller = kOtherController + std::to_string(core.region);
    for (auto const& [file, outputs] :
         outputs_by_file(core.configuration.core(), *map, names.merged || core.region > 0))
      if (core.region == 0)
        commands.file(file).add(*map, image.commands(outputs));
      else if (file == kController)
        commands.file(controller).add(*map, image.commands(outputs));
    if (!has_monitor(core.configuration.core())) continue;
    monitors.push_back(monitor_json(core, *map, image));
    const std::string rows = satellites_csv(core);
    satellites += satellites.empty() ? rows : rows.substr(rows.find('\n') + 1);
  }
  std::vector<OutputFile> files;
  const std::string prefix = instance_name + "_";
  commands.write_to(files, prefix);
  if (monitors.empty()) return files;
  files.push_back({prefix + "sysmon_data.json", joined_texts(monitors)});
  files.push_back({prefix + "sysmon_satellite.csv", satellites});
  return files;
}

// Of several cores: JSON becomes a list, lines stand below one another.
std::string joined_texts(std::vector<std::string> const& texts) {
  if (texts.size() == 1) return texts.front();
  const bool is_json = !texts.empty() && texts.front().starts_with('{');
  return is_json ? "[" + kdi::text::joined(texts, ",") + "]\n" : kdi::text::joined(texts, "");
}

}  // namespace hardip_eng
