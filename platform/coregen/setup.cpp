#include "platform/coregen/setup.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <mutex>

#include "kdi/common/ComMsgMgr.h"
#include "kdi/common/KdiNumber.h"
#include "kdi/common/KdiText.h"
#include "kdi/ddr/SpeedBins.h"
#include "platform/coregen/clocking.h"
#include "platform/coregen/periods.h"

namespace kdi::coregen {
namespace {

using planning::MemoryKind;
using planning::MemoryPart;

Permitted listed(std::vector<std::string> values) { return {std::move(values)}; }
Permitted within(double min, double max) { return {{}, true, min, max}; }

std::string shown(Permitted const& permitted) {
  if (permitted.is_range) return number::plain(permitted.min) + " to " + number::plain(permitted.max);
  return text::shortened(text::joined(permitted.values, " "));
}

// The permitted value that is meant; words count without regard to case.
std::string const* match(Permitted const& permitted, std::string const& value) {
  for (std::string const& one : permitted.values)
    if (text::lowered(one) == text::lowered(value)) return &one;
  return nullptr;
}

// ---------------------------------------------------------------------------------------------------- type and part

device::MemoryInterface const* interface_to(device::MemoryController const& controller, std::string const& type) {
  for (device::MemoryInterface const& one : controller.interfaces)
    if (one.type == type) return &one;
  return nullptr;
}

Permitted types(Setup const& before) {
  Permitted permitted;
  for (std::string const& type : planning::memory_types())
    for (device::MemoryController const& controller : before.part->speed->memory_controllers)
      if (interface_to(controller, type) != nullptr) {
        permitted.values.push_back(type);
        break;
      }
  if (permitted.values.empty() || before.part->speed->clock_primitives.empty())
    throw "part " + text::shown(before.part->name) + " has no controller for a memory that is known";
  return permitted;
}
std::string preferred_type(Setup const& before) {
  const std::vector<std::string> all = types(before).values;
  return std::find(all.begin(), all.end(), "DDR4") != all.end() ? "DDR4" : all[0];
}
void set_type(Setup& setup, std::string const& value) { setup.kind = &find_kind(value); }

Permitted controllers(Setup const& before) {
  Permitted permitted;
  for (device::MemoryController const& one : before.part->speed->memory_controllers)
    if (interface_to(one, before.kind->type) != nullptr) permitted.values.push_back(one.name);
  return permitted;
}
std::string preferred_controller(Setup const& before) {
  for (device::MemoryController const& one : before.part->speed->memory_controllers)
    if (!one.hard && interface_to(one, before.kind->type) != nullptr) return one.name;
  return controllers(before).values[0];
}
void set_controller(Setup& setup, std::string const& value) {
  setup.controller = setup.part->memory_controller(value);
  setup.interface = interface_to(*setup.controller, setup.kind->type);
}

// The parts of a type, made once: there are thousands.
struct Parts {
  std::vector<std::string> names;
  std::vector<MemoryPart> usual;  ///< of each speed bin a component of the middle width
};
Parts const& parts_of(MemoryKind const& kind) {
  static std::mutex mutex;
  static auto* const all = new std::map<MemoryKind const*, Parts>;  // never destroyed
  const std::lock_guard lock(mutex);
  const auto [at, is_new] = all->try_emplace(&kind);
  Parts& parts = at->second;
  if (!is_new) return parts;
  parts.names = kind.part_names();
  const std::string end = "-x" + std::to_string(kind.devices[kind.devices.size() / 2]);
  if (!kind.timing.empty())
    for (ddr::SpeedBin const& bin : ddr::find_type(kind.timing)->speed_bins()) {
      const std::string begin = kind.type + "-" + bin.name + "-";
      const auto name = std::find_if(parts.names.begin(), parts.names.end(), [&](std::string const& one) {
        return one.starts_with(begin) && one.ends_with(end);
      });
      if (name != parts.names.end()) parts.usual.push_back(*kind.part(*name));
    }
  return parts;
}

Permitted memory_parts(Setup const& before) {
  Permitted permitted;
  if (const auto own = before.custom_parts->find(before.kind->type); own != before.custom_parts->end())
    for (auto const& [name, part] : own->second) permitted.values.push_back(name);
  const auto is_module = [&](std::string const& name) {
    return std::any_of(before.kind->modules.begin(), before.kind->modules.end(),
                       [&](std::string const& module) { return name.find("-" + module + "-") != std::string::npos; });
  };
  for (std::string const& name : parts_of(*before.kind).names)
    if (before.interface->modules || !is_module(name)) permitted.values.push_back(name);
  return permitted;
}
// A part that is as fast as the controller, of the usual width, by itself.
std::string preferred_part(Setup const& before) {
  const double fastest = before.interface->rate_mbps.max;
  MemoryPart const* best = nullptr;
  for (std::vector<MemoryPart> const* const list : {&before.kind->reference_parts, &parts_of(*before.kind).usual})
    for (MemoryPart const& one : *list)
      if (best == nullptr || (one.rate_mbps > best->rate_mbps && one.rate_mbps <= fastest)) best = &one;
  return best == nullptr ? parts_of(*before.kind).names.at(0) : best->name;
}
std::string take_part(Setup& setup, std::string const& value) {
  try {
    setup.memory = find_memory_part(*setup.kind, *setup.custom_parts, value);
  } catch (std::string const& refusal) {
    return refusal;
  }
  if (!setup.memory.module.empty() && !setup.interface->modules)
    return "the controller " + setup.controller->name + " has no modules of " + setup.kind->type;
  return {};
}

// ------------------------------------------------------------------------------------------------------------- shape

bool is_module(Setup const& setup) { return !setup.memory.module.empty(); }

Permitted slots(Setup const& before) {
  return listed(is_module(before) ? std::vector<std::string>{"Single", "Dual"} : std::vector<std::string>{"Single"});
}
void set_slots(Setup& setup, std::string const& value) { setup.slots = value == "Dual" ? 2 : 1; }

Permitted ranks(Setup const& before) {
  if (is_module(before)) return listed({std::to_string(before.memory.ranks)});
  Permitted permitted;
  const int most = std::min(before.kind->ranks_max, before.interface->ranks_max);
  for (int count = 1; count <= most; count *= 2) permitted.values.push_back(std::to_string(count));
  return permitted;
}
void set_ranks(Setup& setup, std::string const& value) { setup.ranks = *number::whole<int>(value); }

Permitted widths(Setup const& before) {
  Permitted permitted;
  for (const int width : before.interface->data_widths)
    if (width % before.memory.width == 0 && (!is_module(before) || width == 64 || width == 72))
      permitted.values.push_back(std::to_string(width));
  return permitted;
}
std::string preferred_width(Setup const& before) {
  constexpr int kUsual = 64;
  std::string best;
  for (std::string const& value : widths(before).values)
    if (best.empty() || *number::whole<int>(value) <= kUsual) best = value;
  return best;
}
void set_width(Setup& setup, std::string const& value) { setup.width = *number::whole<int>(value); }

// A checksum takes 8 of 72 or of 40 bits.
bool has_room_for_checksum(Setup const& setup) {
  return setup.interface->ecc && (setup.width == 72 || setup.width == 40);
}
Permitted truths(bool may_be, bool must_be = false) {
  if (must_be) return listed({"true"});
  return listed(may_be ? std::vector<std::string>{"true", "false"} : std::vector<std::string>{"false"});
}
Permitted eccs(Setup const& before) { return truths(has_room_for_checksum(before)); }
void set_ecc(Setup& setup, std::string const& value) { setup.ecc = value == "true"; }

// Devices of four bits have no masks, and what a checksum covers is not masked.
Permitted masks(Setup const& before) {
  bool may_be = before.memory.width != 4 && !before.ecc, must_be = false;
  bool has_mask = false;
  for (planning::LaneKind const& lane : before.kind->lanes) {
    has_mask = has_mask || !lane.mask.empty();
    must_be = must_be || lane.mask_needed;
  }
  return truths(may_be && has_mask, must_be);
}
void set_mask(Setup& setup, std::string const& value) { setup.data_mask = value == "true"; }

Permitted strobe_bits(Setup const& before) {
  Permitted permitted;
  for (planning::LaneKind const& lane : before.kind->lanes)
    if (const auto bits = planning::by_width(lane.strobe_bits, before.memory.width); bits && !lane.forwarded) {
      const std::string value = std::to_string(*bits);
      if (match(permitted, value) == nullptr) permitted.values.push_back(value);
    }
  return permitted;
}
void set_strobe_bits(Setup& setup, std::string const& value) { setup.bits_per_strobe = *number::whole<int>(value); }

// ------------------------------------------------------------------------------------------------------------ clocks

Permitted ratios(Setup const& before) {
  Permitted permitted;
  std::vector<int> const& all = before.interface->clock_ratios;
  for (auto ratio = all.rbegin(); ratio != all.rend(); ++ratio)
    permitted.values.push_back(std::to_string(*ratio) + ":1");
  return permitted;
}
void set_ratio(Setup& setup, std::string const& value) {
  setup.ratio = *number::whole<int>(std::string_view(value).substr(0, value.find(':')));
}

Permitted periods(Setup const& before) {
  const Periods found = periods_of(before);
  return within(found.min.ps, found.max.ps);
}
std::string take_period(Setup& setup, std::string const& value) {
  const auto period = number::whole<double>(value);
  if (!period) return "no number of ps";
  const Periods limits = periods_of(setup);
  if (!(*period >= limits.min.ps && *period <= limits.max.ps))  // no number is neither
    return "outside " + std::to_string(limits.min.ps) + " (" + limits.min.by + ") to " + std::to_string(limits.max.ps) +
           " (" + limits.max.by + ")";
  setup.period_ps = *period;
  return {};
}
std::string preferred_period(Setup const& before) { return std::to_string(periods_of(before).min.ps); }

Permitted input_periods(Setup const& before) {
  Permitted permitted;
  for (const double period : input_periods_ps(before)) permitted.values.push_back(number::plain(period));
  return permitted;
}
std::string take_input_period(Setup& setup, std::string const& value) {
  if (value.empty()) return {};
  const auto period = number::whole<double>(value);
  if (!period || !(*period > 0 && *period <= 1e6)) return "no number of ps above 0 and up to 1000000";
  try {
    const double error = setting_from(setup, *period).error_ppm;
    if (error > kExactPpm) return "the memory's clock comes with an error of " + number::fixed(error, 3) + " ppm";
  } catch (std::string const&) {
    return "the memory's clock cannot be made from it";
  }
  setup.input_period_ps = *period;
  return {};
}
std::string no_preference(Setup const&) { return {}; }

Permitted system_clocks(Setup const&) { return listed({"Differential", "Single-Ended", "No_Buffer"}); }
void set_system_clock(Setup& setup, std::string const& value) {
  using planning::SystemClock;
  setup.system_clock = value == "Differential" ? SystemClock::differential
                       : value == "No_Buffer"  ? SystemClock::none
                                               : SystemClock::single_ended;
}

Permitted voltages(Setup const& before) {
  Permitted permitted;
  std::vector<std::string> const& kinds = before.interface->bank_kinds;
  for (planning::StandardSet const& set : before.kind->standards) {
    const bool fits = kinds.empty() || std::any_of(kinds.begin(), kinds.end(), [&](std::string const& kind) {
                        return std::find(set.bank_kinds.begin(), set.bank_kinds.end(), kind) != set.bank_kinds.end();
                      });
    const std::string value = set.voltage_v + "V";
    if (fits && match(permitted, value) == nullptr) permitted.values.push_back(value);
  }
  return permitted;
}
void set_voltage(Setup& setup, std::string const& value) { setup.voltage = value; }

Permitted references(Setup const&) { return listed({"false", "true"}); }
void set_reference(Setup& setup, std::string const& value) { setup.internal_reference = value == "true"; }

// ---------------------------------------------------------------------------------------------------------- latencies

constexpr int kMoreClocks = 4;  // a latency may be longer than it has to be
// Whole clocks of a time: not one more for less than 26 thousandths of one, since periods are rounded
// (JESD79-4B, 13.5).
constexpr double kNextClock = 0.974;
constexpr double kRoundedPs = 1;  // a period in whole ps is of a clock up to so much slower

std::vector<std::string> from(int least, int step = 1) {
  std::vector<std::string> values;
  for (int i = 0; i <= kMoreClocks; ++i) values.push_back(std::to_string(least + i * step));
  return values;
}

int clocks_of(Setup const& setup, std::string const& figure, int unless) {
  std::string const* const value = figure_of(setup, figure);
  return value == nullptr ? unless : *number::whole<int>(*value);
}

Permitted latencies(Setup const& setup, char const* of_clock, bool is_read) {
  if (setup.kind->timing.empty()) return {};
  ddr::MemoryType const* const type = ddr::find_type(setup.kind->timing);
  if (is_read)
    if (std::string const* const tAA = figure_of(setup, "tAA_ns"))
      if (const double ns = number::whole<double>(*tAA).value_or(0); ns > 0) {
        const int step = clocks_of(setup, "RL_step_nCK", 1);
        const int least = std::max(clocks_of(setup, "RL_least_nCK", 1),
                                   static_cast<int>(std::floor(ns * 1000 / setup.period_ps + kNextClock)));
        return listed(from((least + step - 1) / step * step, step));
      }
  if (const int less = clocks_of(setup, "RL_over_WL_nCK", 0); !is_read && less > 0)
    return listed({std::to_string(setup.read_latency - less)});
  std::string const* const figure = type->figure_at(1e6 / (setup.period_ps + kRoundedPs), of_clock);
  return figure == nullptr ? Permitted{} : listed(from(*number::whole<int>(*figure)));
}
Permitted read_latencies(Setup const& before) { return latencies(before, "RL_nCK", true); }
Permitted write_latencies(Setup const& before) { return latencies(before, "WL_nCK", false); }
void set_read_latency(Setup& setup, std::string const& value) { setup.read_latency = *number::whole<int>(value); }
void set_write_latency(Setup& setup, std::string const& value) { setup.write_latency = *number::whole<int>(value); }

// -------------------------------------------------------------------------------------------------------------- table

template <Permitted (*permitted)(Setup const&), void (*set)(Setup&, std::string const&)>
std::string take(Setup& setup, std::string const& value) {
  const Permitted all = permitted(setup);
  std::string const* const found = match(all, value);
  if (found == nullptr) return all.values.empty() ? std::string("nothing is permitted") : "none of " + shown(all);
  set(setup, *found);
  return {};
}

constexpr Parameter kParameters[] = {
    {kType, types, take<types, set_type>, preferred_type},
    {"-controller", controllers, take<controllers, set_controller>, preferred_controller},
    {kMemoryPart, memory_parts, take_part, preferred_part},
    {"-slot", slots, take<slots, set_slots>, nullptr},
    {"-ranks", ranks, take<ranks, set_ranks>, nullptr},
    {"-datawidth", widths, take<widths, set_width>, preferred_width},
    {"-ecc", eccs, take<eccs, set_ecc>, nullptr},
    {"-datamask", masks, take<masks, set_mask>, nullptr},
    {"-databitsperstrobe", strobe_bits, take<strobe_bits, set_strobe_bits>, nullptr},
    {"-phyclockratio", ratios, take<ratios, set_ratio>, nullptr},
    {"-timeperiod", periods, take_period, preferred_period},
    {"-caslatency", read_latencies, take<read_latencies, set_read_latency>, nullptr},
    {"-caswritelatency", write_latencies, take<write_latencies, set_write_latency>, nullptr},
    {"-inputclockperiod", input_periods, take_input_period, no_preference},
    {"-systemclock", system_clocks, take<system_clocks, set_system_clock>, nullptr},
    {"-memoryvoltage", voltages, take<voltages, set_voltage>, nullptr},
    {"-internalvref", references, take<references, set_reference>, nullptr},
};

// Takes what its parameter prefers; nothing where it can be nothing.
std::string prefer(Parameter const& parameter, Setup& setup) {
  if (parameter.preferred != nullptr) {
    const std::string value = parameter.preferred(setup);
    return value.empty() ? std::string() : parameter.take(setup, value);
  }
  const Permitted permitted = parameter.permitted(setup);
  return permitted.values.empty() ? std::string() : parameter.take(setup, permitted.values[0]);
}

std::string named(Parameter const& parameter, std::string const& value, std::string const& refusal) {
  std::string finding = std::string(parameter.key + 1) + " " + text::shown(value) + ": " + refusal;
  std::replace(finding.begin(), finding.end(), ',', ' ');
  return finding;
}

Resolved resolve_until(Surroundings const& surroundings, OptionMap const& options, Parameter const* end) {
  Resolved resolved;
  Setup& setup = resolved.setup;
  setup.part = &surroundings.part;
  setup.custom_parts = &surroundings.custom_parts;
  for (Parameter const& parameter : kParameters) {
    if (&parameter == end) break;
    std::string refusal;
    const auto given = options.find(parameter.key);
    const bool is_given = given != options.end() && !given->second.empty();
    if (is_given) {
      refusal = parameter.take(setup, given->second);
      if (refusal.empty()) continue;
      resolved.findings.push_back(named(parameter, given->second, refusal));
    }
    refusal = prefer(parameter, setup);
    if (refusal.empty()) continue;
    if (!is_given) resolved.findings.push_back(named(parameter, "", refusal));
    // What comes behind stands on this: without it there is nothing to be said.
    if (setup.kind == nullptr || setup.interface == nullptr || setup.memory.width == 0) throw resolved.findings.back();
  }
  return resolved;
}

}  // namespace

std::span<Parameter const> parameters() { return kParameters; }

Parameter const* find_parameter(std::string const& key) {
  for (Parameter const& parameter : kParameters)
    if (key == parameter.key) return &parameter;
  return nullptr;
}

namespace {
// How far a name is from a word, of which the begin alone is compared: names are shorter.
std::size_t distance(std::string const& word, char const* name) {
  return text::edit_distance(std::string_view(word).substr(0, 64), name);
}
}  // namespace

Parameter const& nearest_parameter(std::string const& key) {
  return *std::min_element(std::begin(kParameters), std::end(kParameters), [&](Parameter const& a, Parameter const& b) {
    return distance(key, a.key) < distance(key, b.key);
  });
}

Resolved resolve(Surroundings const& surroundings, OptionMap const& options) {
  return resolve_until(surroundings, options, nullptr);
}

Setup resolve_before(Surroundings const& surroundings, OptionMap const& options, Parameter const& parameter) {
  return resolve_until(surroundings, options, &parameter).setup;
}

Setup required_setup(Surroundings const& surroundings, OptionMap options, OptionMap const& asked) {
  for (auto const& [key, value] : asked)
    if (find_parameter(key) != nullptr) options.insert_or_assign(key, value);
  Resolved resolved = resolve(surroundings, options);
  if (!resolved.findings.empty()) throw resolved.findings[0];
  return std::move(resolved.setup);
}

Setup setup_with(Surroundings const& surroundings, OptionMap options, char const* key, std::string const& value) {
  options.insert_or_assign(key, value);
  Resolved resolved = resolve(surroundings, options);
  const std::string about = std::string(key + 1) + " ";
  for (std::string const& finding : resolved.findings)
    if (finding.starts_with(about)) throw finding;
  return std::move(resolved.setup);
}

void keep_known(OptionMap& options, std::span<char const* const> others) {
  for (auto option = options.begin(); option != options.end();) {
    std::string const& key = option->first;
    const bool is_other = std::find(others.begin(), others.end(), key) != others.end();
    if (is_other || find_parameter(key) != nullptr) {
      ++option;
      continue;
    }
    char const* nearest = nearest_parameter(key).key;
    for (char const* const other : others)
      if (distance(key, other) < distance(key, nearest)) nearest = other;
    ComMsgMgr::sendMsg::eval(1, __FILE__, __LINE__, "coregen", ComMsgMgr::MSG_WARNING,
                             "no parameter of a memory controller is called %s; the nearest is %s",
                             text::shown(key).c_str(), nearest);
    option = options.erase(option);
  }
}

std::string const* figure_of(Setup const& setup, std::string const& name) {
  if (setup.kind->timing.empty()) return nullptr;
  if (const auto own = setup.custom_parts->find(setup.kind->type); own != setup.custom_parts->end())
    if (const auto part = own->second.find(setup.memory.name); part != own->second.end())
      if (const auto value = part->second.attributes.find(name); value != part->second.attributes.end())
        return &value->second;
  return ddr::find_type(setup.kind->timing)->figure(setup.memory.bin, name);
}

MemoryPart find_memory_part(MemoryKind const& kind, CustomParts const& custom, std::string const& name) {
  if (const auto own = custom.find(kind.type); own != custom.end())
    if (const auto part = own->second.find(name); part != own->second.end()) return part->second.part;
  for (MemoryPart const& usual : parts_of(kind).usual)
    if (usual.name == name) return usual;
  if (auto part = kind.part(name)) return *part;
  throw "no memory part of the type " + kind.type + " is called " + text::shown(name);
}

MemoryKind const& find_kind(std::string const& type) {
  MemoryKind const* const kind = planning::find_memory(type);
  if (kind == nullptr)
    throw "no type of memory is called " + text::shown(type) + "; there are " +
        text::joined(planning::memory_types(), " ");
  return *kind;
}

}  // namespace kdi::coregen
