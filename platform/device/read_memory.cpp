// Block memories and memory controllers of a device file.
#include <algorithm>
#include <cstdint>

#include "platform/device/reading.h"

namespace kdi::device {
namespace {

constexpr int kMostWidth = 4096;

// [[depth, width], ...], each of no more than `bits` bits.
std::vector<Aspect> read_aspects(JsonValue list, int bits) {
  std::vector<Aspect> aspects;
  for (const JsonValue value : list.items()) {
    const JsonRange sides = value.items();
    if (sides.size() != 2) value.refuse("a depth in words and a width in bits");
    const Aspect aspect{whole(sides[0], 1, bits), whole(sides[1], 1, kMostWidth)};
    if (std::int64_t{aspect.depth_words} * aspect.width_bits > bits)
      value.refuse("a shape of at most " + std::to_string(bits) + " bits");
    if (std::count(aspects.begin(), aspects.end(), aspect) != 0) value.refuse("a shape that does not occur twice");
    aspects.push_back(aspect);
  }
  return aspects;
}

MemoryInterface read_interface(JsonValue value) {
  value.allow_only({"type", "data_widths", "clock_ratios", "ranks_max", "ecc", "modules", "bank_kinds", "limits"});
  MemoryInterface memory;
  memory.type = word(value.member("type"));
  memory.data_widths = ascending(value.member("data_widths"), kMostWidth);
  memory.clock_ratios = ascending(value.member("clock_ratios"), 64);
  memory.ranks_max = whole(value.member("ranks_max"), 1, 64);
  memory.ecc = value.member("ecc").boolean();
  memory.modules = value.member("modules").boolean();
  memory.bank_kinds = words(value.member("bank_kinds"));
  return memory;
}

// Adds the sites of the file to the controllers, the same ones in each speed grade.
void add_sites(JsonValue list, Device& device) {
  UniqueNames names;
  std::set<int> banks;
  for (const JsonValue value : list.items()) {
    value.allow_only({"controller", "name", "slr", "banks"});
    ControllerSite site;
    site.name = word(value.member("name"));
    names.add(value.member("name"), site.name);
    site.slr = read_slr(value.member("slr"), device);
    const JsonValue bank_list = value.member("banks");
    if (!bank_list.items().empty()) site.banks = expand_numbers(bank_list);
    for (const int number : site.banks) {
      const auto at = std::find_if(device.banks.begin(), device.banks.end(),
                                   [&](IoBank const& bank) { return bank.number == number; });
      if (at == device.banks.end() || at->slr != site.slr)
        bank_list.refuse("banks of the site's SLR (" + std::to_string(number) + " is none)");
      if (!banks.insert(number).second)
        bank_list.refuse("banks of one site alone (" + std::to_string(number) + " has another)");
    }
    std::string const& owner = word(value.member("controller"));
    for (SpeedGrade& grade : device.speed_grades) {
      const auto at = std::find_if(grade.memory_controllers.begin(), grade.memory_controllers.end(),
                                   [&](MemoryController const& each) { return each.name == owner && each.hard; });
      if (at == grade.memory_controllers.end()) value.member("controller").refuse("a controller that is hard");
      at->sites.push_back(site);
    }
  }
}

}  // namespace

void read_block_memories(JsonValue list, Counts& counts, std::vector<SpeedGrade>& grades) {
  UniqueNames names;
  for (const JsonValue value : list.items()) {
    value.allow_only({"name", "bits", "cascade", "ecc", "single_port", "simple_dual_port", "true_dual_port", "limits"});
    BlockMemory memory;
    memory.name = word(value.member("name"));
    names.add(value.member("name"), memory.name);
    memory.count = counts.of(memory.name);
    memory.bits = whole(value.member("bits"), 1, 1 << 30);
    memory.cascade = whole(value.member("cascade"), 1, 4096);
    memory.ecc = value.member("ecc").boolean();
    memory.single_port = read_aspects(value.member("single_port"), memory.bits);
    memory.simple_dual_port = read_aspects(value.member("simple_dual_port"), memory.bits);
    memory.true_dual_port = read_aspects(value.member("true_dual_port"), memory.bits);
    for_each_grade(value.member("limits"), grades, [&](SpeedGrade& grade, JsonValue limits) {
      limits.allow_only({"clock_max_mhz"});
      memory.clock_max_mhz = quantity(limits.member("clock_max_mhz"), 1e-6);
      if (memory.count > 0) grade.block_memories.push_back(memory);
    });
  }
}

void read_memory_controllers(JsonValue list, std::optional<JsonValue> sites, Device& device) {
  UniqueNames names;
  for (const JsonValue value : list.items()) {
    value.allow_only({"name", "hard", "interfaces"});
    MemoryController controller;
    controller.name = word(value.member("name"));
    names.add(value.member("name"), controller.name);
    controller.hard = value.member("hard").boolean();
    for (SpeedGrade& grade : device.speed_grades) grade.memory_controllers.push_back(controller);
    UniqueNames types;
    for (const JsonValue entry : value.member("interfaces").items()) {
      MemoryInterface memory = read_interface(entry);
      types.add(entry.member("type"), memory.type);
      for_each_grade(entry.member("limits"), device.speed_grades, [&](SpeedGrade& grade, JsonValue limits) {
        limits.allow_only({"rate_mbps"});
        memory.rate_mbps = range(limits.member("rate_mbps"), 1e-6);
        grade.memory_controllers.back().interfaces.push_back(memory);
      });
    }
    if (value.member("interfaces").items().empty()) value.member("interfaces").refuse("at least one interface");
  }
  if (sites) add_sites(*sites, device);
  // A controller in silicon that has no site is one that the device does not have.
  for (SpeedGrade& grade : device.speed_grades)
    grade.memory_controllers.erase(
        std::remove_if(grade.memory_controllers.begin(), grade.memory_controllers.end(),
                       [](MemoryController const& each) { return each.hard && each.sites.empty(); }),
        grade.memory_controllers.end());
}

}  // namespace kdi::device
