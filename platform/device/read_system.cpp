// Processing systems of a device file: their clocks by speed grade, and what their monitor measures.
#include "platform/device/reading.h"

namespace kdi::device {
namespace {

constexpr std::size_t kMostPlls = 32;
constexpr std::size_t kMostSupplies = 1000;
constexpr int kMostSatellites = 1000;

using Plls = std::vector<SystemPll>;

// One PLL, into the list of each speed grade.
void read_pll(JsonValue value, std::vector<SpeedGrade>& grades, std::vector<Plls>& by_grade) {
  value.allow_only({"name", "feedback", "output_divides", "limits"});
  SystemPll pll;
  pll.name = word(value.member("name"));
  pll.feedback = counter(value.member("feedback"));
  pll.output_divides = ascending(value.member("output_divides"), 100000);
  std::size_t at = 0;
  for_each_grade(value.member("limits"), grades, [&](SpeedGrade&, JsonValue limits) {
    limits.allow_only({"reference_mhz", "vco_mhz", "output_max_mhz"});
    pll.reference_mhz = range(limits.member("reference_mhz"), 1e-6);
    pll.vco_mhz = range(limits.member("vco_mhz"), 1e-6);
    pll.output_max_mhz = quantity(limits.member("output_max_mhz"), 1e-6);
    const bool can_run = pll.reference_mhz.max * pll.feedback.max >= pll.vco_mhz.min &&
                         pll.reference_mhz.min * pll.feedback.min <= pll.vco_mhz.max;
    if (!can_run) limits.member("vco_mhz").refuse("a range that reference and feedback reach");
    by_grade[at++].push_back(pll);
  });
}

std::vector<Plls> read_plls(JsonValue list, std::vector<SpeedGrade>& grades) {
  std::vector<Plls> by_grade(grades.size());
  UniqueNames names;
  if (list.items().size() > kMostPlls) list.refuse("at most 32 PLLs");
  for (const JsonValue value : list.items()) {
    read_pll(value, grades, by_grade);
    names.add(value.member("name"), value.member("name").text());
  }
  return by_grade;
}

std::vector<SystemDivider> read_dividers(JsonValue list) {
  std::vector<SystemDivider> dividers;
  UniqueNames names;
  for (const JsonValue value : list.items()) {
    value.allow_only({"name", "divide"});
    dividers.push_back({word(value.member("name")), counter(value.member("divide"))});
    names.add(value.member("name"), dividers.back().name);
  }
  return dividers;
}

// Every speed grade names the same clocks.
std::vector<std::map<std::string, double>> read_clocks(JsonValue limits, std::vector<SpeedGrade>& grades) {
  std::vector<std::map<std::string, double>> by_grade;
  for_each_grade(limits, grades, [&](SpeedGrade&, JsonValue clocks) {
    by_grade.push_back(quantities(clocks));
    for (const JsonValue clock : clocks.members()) {
      if (!is_word(clock.name())) clock.refuse("a clock whose name is a word");
      if (by_grade.front().count(std::string(clock.name())) == 0)
        clock.refuse("a clock that the first speed grade has");
    }
    if (by_grade.back().size() != by_grade.front().size()) clocks.refuse("all clocks of the first speed grade");
  });
  return by_grade;
}

// The supply of each I/O bank of the device, at the most that the bank takes.
void add_bank_supplies(JsonValue pattern, Device const& device, SystemMonitor& monitor, UniqueNames& names) {
  for (IoBank const& bank : device.banks) {
    std::string name = with_pattern(pattern, [&] {
      return fill(pattern.text(), {{"bank", std::to_string(bank.number)}});
    });
    if (!is_word(name)) pattern.refuse("a pattern of words");
    names.add(pattern, name);
    monitor.supplies.push_back({std::move(name), bank.vcco_v.max});
  }
}

SystemMonitor read_monitor(JsonValue object, Device const& device) {
  object.allow_only({"first_supply", "supplies", "bank_supply", "satellites"});
  SystemMonitor monitor;
  UniqueNames unique;
  monitor.first_supply = whole(object.member("first_supply"), 0, 1000);
  for (const JsonValue value : object.member("supplies").items()) {
    value.allow_only({"names", "volts"});
    const double volts = value.member("volts").number(0, 100);
    for (std::string& name : expand_names(value.member("names"))) {
      unique.add(value.member("names"), name);
      monitor.supplies.push_back({std::move(name), volts});
    }
  }
  if (const auto pattern = object.find("bank_supply")) add_bank_supplies(*pattern, device, monitor, unique);
  if (monitor.supplies.size() > kMostSupplies) object.member("supplies").refuse("at most 1000 supplies");
  monitor.satellites = whole(object.member("satellites"), 0, kMostSatellites);
  return monitor;
}

}  // namespace

void read_processing_systems(JsonValue list, Device& device) {
  UniqueNames kinds;
  for (const JsonValue value : list.items()) {
    value.allow_only({"kind", "plls", "dividers", "clocks_max_mhz", "monitor"});
    const std::string kind = word(value.member("kind"));
    kinds.add(value.member("kind"), kind);
    std::vector<Plls> plls = read_plls(value.member("plls"), device.speed_grades);
    std::vector<SystemDivider> dividers = read_dividers(value.member("dividers"));
    auto clocks = read_clocks(value.member("clocks_max_mhz"), device.speed_grades);
    SystemMonitor monitor = read_monitor(value.member("monitor"), device);
    if (!device.processing_system || device.processing_system->kind != kind) continue;
    device.processing_system->dividers = std::move(dividers);
    device.processing_system->monitor = std::move(monitor);
    for (std::size_t i = 0; i < device.speed_grades.size(); ++i) {
      device.speed_grades[i].system_plls = std::move(plls[i]);
      device.speed_grades[i].system_clocks = std::move(clocks[i]);
    }
  }
}

}  // namespace kdi::device
