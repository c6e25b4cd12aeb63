// Where ports are: the words of plans (PORT_LOCS, default plans, groupings, PIN_INFO, TRANSLATED_PORTS) and pads of a
// layout.
//
//   const PortPads pads = pads_of(read_locations("PORT_LOCS", text), layout, "PORT_LOCS");
//   write_locations(pads, layout, standard_of)
#pragma once

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "kdi/common/KdiTypes.h"
#include "kdi/planning/Layout.h"

namespace kdi::place {

/// A place as a user tells it: `bank,lane,nibble,site,ball,standard`, `-` or nothing for a field that is not told; or
/// one word, the name of a pad or ball.
struct Location {
  int bank = -1;  ///< number
  std::string lane;
  int nibble = -1;  ///< of the bank
  std::string site;
  std::string ball;
  std::string standard;
  std::string word;  ///< in place of all of these

  bool operator==(Location const&) const = default;
};
using Locations = std::map<std::string, Location>;  ///< by port

/// Of a dictionary; `key` is for messages, as everywhere here.
Locations read_locations(std::string const& key, std::string_view dictionary);
/// Of an inner map of the map of maps, in whose names braces may be left.
Locations read_locations(std::string const& key, ParamMap const& map);
std::string written(Location const& location);

using PortPads = std::map<std::string, int>;  ///< port: pad of the layout

/// The pads. What is told of a place has to be so of one pad alone, and of that no two ports.
PortPads pads_of(Locations const& locations, planning::Layout const& layout, std::string const& key);

/// Number of the nibble (or octad) of a pad in its bank.
int nibble_of(planning::Layout const& layout, int pad);
/// `700_3`.
std::string nibble_name(planning::Layout const& layout, int pad);

using StandardOf = std::function<std::string(std::string const& port)>;
/// A default plan; PORT_LOCS takes it.
OptionMap write_locations(PortPads const& pads, planning::Layout const& layout, StandardOf const& standard_of);

/// By nibble of those with a port the ports in the order of sites, `-` where free.
PinMap write_grouping(PortPads const& pads, planning::Layout const& layout);
PortPads read_grouping(PinMap const& grouping, planning::Layout const& layout, std::string const& key);

/// What is told of a port beside its place: `role,direction,ball,pad,site,standard`.
struct PinInfo {
  std::string role;       ///< Data, Strobe, ClkFwd, InputClock; of memories also Address, Control
  std::string direction;  ///< in, out, inout
  std::string ball, pad, site, standard;

  bool operator==(PinInfo const&) const = default;
};
std::string written(PinInfo const& info);
std::map<std::string, PinInfo> read_pin_info(std::string const& key, ParamMap const& map);
/// The pads that it tells of.
PortPads pads_of(std::map<std::string, PinInfo> const& info, planning::Layout const& layout, std::string const& key);

/// Ports inside: their names outside. No two have one name.
std::map<std::string, std::string> read_translation(std::string const& key, std::string_view dictionary);

/// By strobe port the nibbles that it clocks, with blanks between them, in the order of hops; and back.
std::map<std::string, std::vector<std::string>> read_strobe_map(std::string const& key, OptionMap const& map);

}  // namespace kdi::place
