#include "kdi/planning/Memory.h"

#include <algorithm>
#include <map>
#include <memory>
#include <mutex>
#include <tuple>

#include "kdi/common/KdiDataDir.h"
#include "kdi/common/KdiJson.h"
#include "kdi/common/KdiNumber.h"
#include "kdi/common/KdiText.h"
#include "kdi/ddr/SpeedBins.h"
#include "kdi/planning/Standards.h"
#include "platform/planning/data.h"

namespace kdi::planning {
namespace {

constexpr int kMostBits = 1024;
constexpr int kHighestRate = 1000000;
constexpr std::pair<char const*, SignalClass> kClasses[] = {{"data", SignalClass::data},
                                                            {"mask", SignalClass::mask},
                                                            {"strobe", SignalClass::strobe},
                                                            {"address", SignalClass::address},
                                                            {"clock", SignalClass::clock},
                                                            {"control", SignalClass::control},
                                                            {"system_clock", SignalClass::system_clock}};

StandardSet read_standards(JsonValue value) {
  value.allow_only({"bank_kinds", "voltage_v", "data", "strobe", "address", "clock", "control", "system_clock"});
  StandardSet set;
  set.bank_kinds = data::texts(value, "bank_kinds");
  if (set.bank_kinds.empty()) value.refuse("kinds of banks");
  set.voltage_v = data::volts(value.member("voltage_v"));
  for (auto const& [name, what] : kClasses) {
    const JsonValue given = value.member(what == SignalClass::mask ? "data" : name);  // a mask travels with its data
    IoStandard const* const standard = find_standard(given.text());
    if (standard == nullptr) given.refuse("the name of an I/O standard");
    if (number::whole<double>(standard->vcco_v) != number::whole<double>(set.voltage_v))
      given.refuse("a standard of the voltage " + set.voltage_v);
    for (std::string const& kind : set.bank_kinds)
      if (!standard->rate_mbps.contains(kind)) given.refuse("a standard that banks of the kind " + kind + " have");
    set.standards.push_back(standard->name);
  }
  return set;
}

ByWidth read_by_width(JsonValue object, char const* name) {
  ByWidth values;
  const auto list = object.find(name);
  if (!list) return values;
  for (const JsonValue pair : list->items()) {
    if (pair.items().size() != 2) pair.refuse("a width of devices and a number of bits");
    values.emplace_back(data::whole(pair.items()[0], 1, kMostBits), data::whole(pair.items()[1], 1, kMostBits));
  }
  return values;
}

std::pair<std::string, std::string> read_pair(JsonValue list) {
  if (list.items().size() != 2) list.refuse("two names, of the positive and the negative signal");
  return {std::string(list.items()[0].text()), std::string(list.items()[1].text())};
}

std::string direction_of(JsonValue object, char const* name, std::string const& unless) {
  const auto value = object.find(name);
  if (!value) return unless;
  constexpr char const* kWords[] = {"in", "out", "inout"};
  return kWords[value->choice({"in", "out", "inout"})];
}

LaneKind read_lane(JsonValue value) {
  value.allow_only({"group", "bits", "data", "direction", "mask", "mask_direction", "mask_needed", "mask_bits",
                    "strobes", "forwarded", "strobe_bits"});
  LaneKind lane;
  lane.group = value.member("group").text();
  lane.bits = data::whole(value.member("bits"), 1, 64);
  lane.data = value.member("data").text();
  lane.direction = direction_of(value, "direction", "inout");
  lane.mask = data::text(value, "mask");
  lane.mask_direction = direction_of(value, "mask_direction", lane.direction);
  lane.mask_needed = data::flag(value, "mask_needed");
  lane.mask_bits = read_by_width(value, "mask_bits");
  const auto forwarded = value.find("forwarded");
  lane.forwarded = forwarded.has_value();
  lane.strobe = read_pair(forwarded ? *forwarded : value.member("strobes"));
  lane.strobe_bits = read_by_width(value, "strobe_bits");
  return lane;
}

AddressPort read_port(JsonValue value) {
  value.allow_only({"port", "pair", "count", "direction", "class"});
  AddressPort port;
  if (const auto pair = value.find("pair")) {
    std::tie(port.port, port.negative) = read_pair(*pair);
    port.what = SignalClass::clock;
  } else {
    port.port = value.member("port").text();
  }
  const JsonValue count = value.member("count");
  port.count = count.is_number() ? std::to_string(count.integer(1, kMostBits)) : count.text();
  port.direction = direction_of(value, "direction", "out");
  if (const auto what = value.find("class")) {
    what->choice({"control"});
    port.what = SignalClass::control;
  }
  return port;
}

Geometry read_geometry(JsonValue value) {
  value.allow_only({"density_mbit", "width", "rows", "columns", "bank_bits", "group_bits"});
  return {value.member("density_mbit").integer(1, 1 << 20),
          data::whole(value.member("width"), 1, kMostBits),
          data::whole(value.member("rows"), 1, 64),
          data::whole(value.member("columns"), 1, 64),
          data::whole(value.member("bank_bits"), 0, 16),
          value.find("group_bits") ? data::whole(value.member("group_bits"), 0, 16) : 0};
}

MemoryPart read_reference_part(JsonValue value, std::string const& type) {
  value.allow_only({"name", "rate_mbps", "width", "address_bits"});
  MemoryPart part;
  part.name = value.member("name").text();
  part.type = type;
  part.rate_mbps = data::whole(value.member("rate_mbps"), 1, kHighestRate);
  part.width = data::whole(value.member("width"), 1, kMostBits);
  part.address_bits = data::whole(value.member("address_bits"), 1, 64);
  return part;
}

template <class Read>
void read_list(JsonValue root, char const* name, Read read) {
  if (const auto list = root.find(name))
    for (const JsonValue value : list->items()) read(value);
}

std::vector<int> read_numbers(JsonValue list) {
  std::vector<int> numbers;
  for (const JsonValue value : list.items()) numbers.push_back(data::whole(value, 1, kMostBits));
  if (numbers.empty()) list.refuse("a number at least");
  return numbers;
}

using Kinds = std::map<std::string, MemoryKind, std::less<>>;

Kinds const& kinds() {
  static std::mutex mutex;
  static Kinds const* all = nullptr;  // never destroyed: lent as plain pointers
  const std::lock_guard lock(mutex);
  if (all != nullptr) return *all;
  auto read = std::make_unique<Kinds>();
  for (std::string const& directory : data_directories("memory"))
    for (std::string const& name : list_directory(directory, ".json")) {
      const std::string stem = name.substr(0, name.size() - 5);
      if (read->contains(stem)) continue;  // the first root that has it counts
      read->emplace(stem, read_memory(JsonFile(directory + "/" + name), stem));
    }
  all = read.release();
  return *all;
}

// ------------------------------------------------------------------------------------------------------------- parts

std::string base_name(MemoryKind const& kind, ddr::SpeedBin const& bin, Geometry const& geometry) {
  return kind.type + "-" + bin.name + "-" + number::plain(static_cast<double>(geometry.density_mbit) / 1024) + "Gb-x" +
         std::to_string(geometry.width);
}

// Ranks that a module may have, and the names of what is built of one kind of device.
template <class Use>
void for_each_form(MemoryKind const& kind, Use use) {
  for (const int stack : kind.stack_heights) {
    const std::string high = stack == 1 ? "" : "-" + std::to_string(stack) + "h";
    use(high, std::string(), 1, stack);
    for (std::string const& module : kind.modules)
      for (int ranks = 1; ranks <= kind.ranks_max; ranks *= 2)
        use("-" + module + "-" + std::to_string(ranks) + "r" + high, module, ranks, stack);
  }
}

}  // namespace

MemoryKind read_memory(JsonFile const& file, std::string const& stem) {
  const JsonValue root = file.root();
  root.allow_only({"format", "type", "source", "prefix", "timing", "period_max_ps", "burst", "devices", "channel_bits",
                   "modules", "ranks_max", "stack_heights", "standards", "lanes", "address", "address_bits_min",
                   "geometry", "reference_parts"});
  root.member("format").integer(1, 1);
  MemoryKind kind;
  kind.type = root.member("type").text();
  if (kind.type != stem) root.member("type").refuse("the name of the file, " + text::quoted(stem));
  kind.source = root.member("source").text();
  kind.prefix = root.member("prefix").text();
  kind.timing = data::text(root, "timing");
  if (!kind.timing.empty() && ddr::find_type(kind.timing) == nullptr)
    root.member("timing").refuse("a type of memory whose timing is known");
  kind.period_max_ps = data::whole(root.member("period_max_ps"), 1, 1000000);
  kind.burst = data::whole(root.member("burst"), 1, 64);
  kind.devices = read_numbers(root.member("devices"));
  if (const auto bits = root.find("channel_bits")) kind.channel_bits = data::whole(*bits, 8, kMostBits);
  kind.modules = data::texts(root, "modules");
  kind.ranks_max = data::whole(root.member("ranks_max"), 1, 64);
  kind.stack_heights = read_numbers(root.member("stack_heights"));
  read_list(root, "standards", [&](JsonValue value) { kind.standards.push_back(read_standards(value)); });
  read_list(root, "lanes", [&](JsonValue value) { kind.lanes.push_back(read_lane(value)); });
  read_list(root, "address", [&](JsonValue value) { kind.address.push_back(read_port(value)); });
  if (const auto least = root.find("address_bits_min")) kind.address_bits_min = data::whole(*least, 1, 64);
  read_list(root, "geometry", [&](JsonValue value) { kind.geometry.push_back(read_geometry(value)); });
  read_list(root, "reference_parts",
            [&](JsonValue value) { kind.reference_parts.push_back(read_reference_part(value, kind.type)); });
  if (kind.standards.empty() || kind.lanes.empty() || kind.address.empty())
    root.refuse("standards, lanes and address signals");
  return kind;
}

std::optional<MemoryPart> MemoryKind::part(std::string_view name) const {
  for (MemoryPart const& one : reference_parts)
    if (one.name == name) return one;
  if (timing.empty()) return std::nullopt;
  std::optional<MemoryPart> found;
  for (ddr::SpeedBin const& bin : ddr::find_type(timing)->speed_bins())
    for (Geometry const& one : geometry) {
      const std::string base = base_name(*this, bin, one);
      if (found || !name.starts_with(base)) continue;
      for_each_form(*this, [&](std::string const& ending, std::string const& module, int ranks, int stack) {
        if (name.substr(base.size()) != ending) return;
        found = MemoryPart{std::string(name),
                           type,
                           bin.name,
                           static_cast<int>(bin.rate_mtps),
                           one.density_mbit,
                           one.width,
                           module,
                           ranks,
                           stack,
                           one.rows,
                           one.columns,
                           one.bank_bits,
                           one.group_bits};
      });
    }
  return found;
}

std::vector<std::string> MemoryKind::part_names() const {
  std::vector<std::string> names;
  for (MemoryPart const& one : reference_parts) names.push_back(one.name);
  if (timing.empty()) return names;
  for (ddr::SpeedBin const& bin : ddr::find_type(timing)->speed_bins())
    for (Geometry const& one : geometry)
      for_each_form(*this, [&](std::string const& ending, std::string const&, int, int) {
        names.push_back(base_name(*this, bin, one) + ending);
      });
  return names;
}

std::vector<std::string> memory_types() {
  std::vector<std::string> names;
  for (auto const& [name, kind] : kinds()) names.push_back(name);
  return names;
}

MemoryKind const* find_memory(std::string_view type) {
  const auto at = kinds().find(type);
  return at == kinds().end() ? nullptr : &at->second;
}

std::optional<int> by_width(ByWidth const& values, int width) {
  for (auto const& [of, value] : values)
    if (of == width) return value;
  return std::nullopt;
}

}  // namespace kdi::planning
