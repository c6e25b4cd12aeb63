#include "platform/place/buses.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <map>
#include <set>

#include "kdi/common/KdiNumber.h"
#include "kdi/common/KdiText.h"
#include "platform/place/dictionary.h"
#include "platform/place/settings.h"
#include "platform/place/words.h"

namespace kdi::place {
namespace {

constexpr std::array<char const*, 4> kRoles = {"Data", "Strobe", "ClkFwd", "InputClock"};
constexpr std::array<char const*, 3> kDirections = {"RX", "TX", "BIDIR"};
constexpr std::array<char const*, 9> kFields = {"DIRECTION",   "WIDTH",   "STROBE",   "DIFFERENTIAL", "RATIO",
                                                "IO_STANDARD", "DC_BIAS", "BIT_SLIP", "TERMINATION"};
constexpr int kMostBuses = 256;

// `-` and nothing stand for what is not told.
bool is_unset(std::string const& value) { return value.empty() || value == "-"; }

void take_field(Bus& bus, std::string const& place, std::string_view field, std::string const& value) {
  const std::string at = place + " " + std::string(field);
  if (field == "DIRECTION")
    bus.direction = static_cast<BusDirection>(choice_of(at, value, kDirections));
  else if (field == "WIDTH")
    bus.width = whole_of(at, value, 1, kMostBusWidth);
  else if (field == "STROBE")
    bus.strobe = value;
  else if (field == "DIFFERENTIAL")
    bus.differential = truth_of(at, value);
  else if (field == "RATIO")
    bus.ratio = ratio_of(at, value);
  else if (field == "IO_STANDARD")
    bus.standard = word_of(at, value);
  else if (field == "DC_BIAS")
    bus.bias = word_of(at, value);
  else if (field == "TERMINATION")
    bus.termination = word_of(at, value);
  else
    bus.bit_slip = whole_of(at, value, 0, kMostRatio - 1);
}

std::string field_of(Bus const& bus, std::string_view field) {
  if (field == "DIRECTION") return std::string(word_of(bus.direction));
  if (field == "WIDTH") return bus.width == 1 ? "" : std::to_string(bus.width);
  if (field == "STROBE") return bus.strobe;
  if (field == "DIFFERENTIAL") return bus.differential ? "true" : "";
  if (field == "RATIO") return bus.ratio == 0 ? "" : std::to_string(bus.ratio) + ":1";
  if (field == "IO_STANDARD") return bus.standard;
  if (field == "DC_BIAS") return bus.bias;
  if (field == "TERMINATION") return bus.termination;
  return bus.bit_slip == 0 ? "" : std::to_string(bus.bit_slip);
}

void check(Buses const& buses, std::string const& key) {
  if (buses.size() > kMostBuses) throw key + ": more than " + std::to_string(kMostBuses) + " buses";
  for (Bus const& bus : buses) {
    if (bus.strobe.empty()) continue;
    const auto at =
        std::find_if(buses.begin(), buses.end(), [&](Bus const& other) { return other.name == bus.strobe; });
    if (at == buses.end()) throw key + ": " + bus.name + " STROBE: there is no bus " + text::shown(bus.strobe);
    if (at->role == BusRole::data)
      throw key + ": " + bus.name + " STROBE: the bus " + bus.strobe + " has the role Data";
  }
  std::set<std::string> names;
  for (BusPort const& port : ports_of(buses))
    if (!names.insert(port.name).second) throw key + ": two buses have the port " + text::shown(port.name);
}

std::string checked_name(std::string const& key, std::string const& name) {
  if (!is_name(name)) throw key + ": " + text::shown(name) + " is no name of a bus: letters, digits and _";
  return name;
}

}  // namespace

std::string_view word_of(BusRole role) { return kRoles[static_cast<std::size_t>(role)]; }
std::string_view word_of(BusDirection direction) { return kDirections[static_cast<std::size_t>(direction)]; }
std::span<char const* const> bus_fields() { return kFields; }

Buses read_buses(std::string const& key, std::string_view dictionary) {
  Buses buses;
  for (auto const& [name, fields] : read_dictionary(dictionary, key)) {
    Bus bus;
    bus.name = checked_name(key, name);
    const std::string place = key + ": " + name;
    for (auto const& [field, value] : read_dictionary(fields, place)) {
      if (is_unset(value)) continue;
      if (field == "ROLE") {
        // With the blank that people write, too.
        const std::string role = value == "Clk Fwd" ? "ClkFwd" : value == "Input Clock" ? "InputClock" : value;
        bus.role = static_cast<BusRole>(choice_of(place + " ROLE", role, kRoles));
      } else if (std::find_if(kFields.begin(), kFields.end(),
                              [&field = field](char const* one) { return field == one; }) != kFields.end()) {
        take_field(bus, place, field, value);
      } else {
        std::vector<std::string> names(kFields.begin(), kFields.end());
        names.emplace_back("ROLE");
        warn_of_unknown(place, field, names);
      }
    }
    buses.push_back(std::move(bus));
  }
  check(buses, key);
  return buses;
}

Buses read_buses(MultiMap const& map) {
  Buses buses;
  std::set<std::string> names;
  for (std::size_t role = 0; role < kRoles.size(); ++role) {
    const auto of_role = map.find(kRoles[role]);
    if (of_role == map.end()) continue;
    for (auto const& [word, fields] : of_role->second) {
      Bus bus;
      bus.name = checked_name(kRoles[role], unbraced(word));
      bus.role = static_cast<BusRole>(role);
      const std::string place = std::string(kRoles[role]) + ": " + bus.name;
      if (!names.insert(bus.name).second) throw place + ": there is another bus of that name";
      const std::string unwrapped = unbraced(fields);
      const std::vector<std::string_view> values = text::split(unwrapped, ',');
      if (values.size() > kFields.size())
        throw place + ": there are " + std::to_string(kFields.size()) + " fields, not " + std::to_string(values.size());
      for (std::size_t i = 0; i < values.size(); ++i)
        if (const std::string value(values[i]); !is_unset(value)) take_field(bus, place, kFields[i], value);
      buses.push_back(std::move(bus));
    }
  }
  check(buses, "buses");
  return buses;
}

std::string write_buses(Buses const& buses) {
  Pairs all;
  for (Bus const& bus : buses) {
    Pairs fields{{"ROLE", std::string(word_of(bus.role))}};
    for (char const* const field : kFields)
      if (std::string value = field_of(bus, field); !value.empty()) fields.emplace_back(field, std::move(value));
    all.emplace_back(bus.name, write_dictionary(fields));
  }
  return write_dictionary(all);
}

void write_buses(Buses const& buses, MultiMap& map) {
  for (Bus const& bus : buses) {
    std::string fields;
    for (char const* const field : kFields) {
      const std::string value = field_of(bus, field);
      fields += (fields.empty() ? "" : ",") + (value.empty() ? "-" : value);
    }
    while (fields.ends_with(",-")) fields.resize(fields.size() - 2);
    map[std::string(word_of(bus.role))][bus.name] = fields;
  }
}

std::vector<BusPort> ports_of(Buses const& buses) {
  std::vector<BusPort> ports;
  for (std::size_t bus = 0; bus < buses.size(); ++bus)
    for (int index = 0; index < buses[bus].width; ++index) {
      const std::string place = buses[bus].width == 1 ? "" : "[" + std::to_string(index) + "]";
      const int first = static_cast<int>(ports.size());
      if (!buses[bus].differential) {
        ports.push_back({buses[bus].name + place, static_cast<int>(bus), index, -1, false});
        continue;
      }
      ports.push_back({buses[bus].name + "_p" + place, static_cast<int>(bus), index, first + 1, false});
      ports.push_back({buses[bus].name + "_n" + place, static_cast<int>(bus), index, first, true});
    }
  return ports;
}

}  // namespace kdi::place
