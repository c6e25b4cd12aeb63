// Buses of an interface, and the ports that they make.
//
// As a dictionary (BUS_CONFIG_DATA; BUSES of the settings) a bus is a name and a dictionary of fields:
//   {rx {ROLE Data DIRECTION RX WIDTH 16 STROBE clk} clk {ROLE Strobe DIRECTION RX}}
// In the map of maps it stands under its role, its fields in the order of bus_fields() with commas between them, the
// last ones left out or `-`:
//   Data {rx RX,16,clk} Strobe {clk RX}
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "kdi/common/KdiTypes.h"

namespace kdi::place {

enum class BusRole { data, strobe, clk_fwd, input_clock };
enum class BusDirection { rx, tx, bidir };

/// As scripts write them; the reader throws a std::string for a word that is none.
std::string_view word_of(BusRole role);
std::string_view word_of(BusDirection direction);

struct Bus {
  std::string name;
  BusRole role = BusRole::data;
  BusDirection direction = BusDirection::rx;
  int width = 1;       ///< signals, a differential pair counting once
  std::string strobe;  ///< the bus that clocks it; empty: none is named
  bool differential = false;
  int ratio = 0;            ///< bits of a pin in one period of the clock inside; 0: as the interface has it
  std::string standard;     ///< empty: as the interface has it
  std::string bias;         ///< DC_BIAS_n; empty: as the interface has it
  int bit_slip = 0;         ///< bits by which its words are moved
  std::string termination;  ///< of inputs: a word of the standard, or NONE; empty: the standard's first

  bool operator==(Bus const&) const = default;
};
using Buses = std::vector<Bus>;

/// The fields behind the role, in the order of the form with commas.
std::span<char const* const> bus_fields();

/// Both check that names are such, that a named strobe is one of the buses and clocks (role Strobe, ClkFwd or
/// InputClock), that no two ports have one name. `key` is for messages.
Buses read_buses(std::string const& key, std::string_view dictionary);
/// Of the map of maps: those under roles.
Buses read_buses(MultiMap const& map);
std::string write_buses(Buses const& buses);
/// Adds the roles to a map of maps.
void write_buses(Buses const& buses, MultiMap& map);

/// A signal of a bus at the edge of the chip.
struct BusPort {
  std::string name;  ///< clk, clk_p, rx[3], rx_n[3]
  int bus = 0;
  int index = 0;     ///< in the bus
  int partner = -1;  ///< of a pair: index in the list
  bool negative = false;
};
/// Bus by bus, by index, of a pair the positive one first. A bus of one signal has no index in its name.
std::vector<BusPort> ports_of(Buses const& buses);

}  // namespace kdi::place
