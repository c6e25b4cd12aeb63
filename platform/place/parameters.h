// A plan as parameters of a core (`generateMapParams`, `generateMapData`), and the dictionary of a core's interfaces.
//
// Parameters, each a word:
//   NUM_BANKS 2                     banks with ports
//   BANKS 700,701                   their numbers, ascending
//   NIBBLE_700_3 clk,-,d[0],...     ports of a nibble or octad in the order of sites, `-` where free
//   STANDARD_700_3 POD12,-,...      their standards
//   STROBE_700_3 clk                the strobe port by which it is clocked, of nibbles that are
//   BIT_SLIP_700_3 2                bits by which its words are moved, of nibbles of buses that are captured by strobes
#pragma once

#include <map>
#include <string>
#include <vector>

#include "kdi/common/KdiTypes.h"
#include "platform/place/locations.h"

namespace kdi::place {

/// What is said of a plan.
struct PlanWords {
  PortPads pads;
  std::map<std::string, std::string> standards;             ///< by port; a port without one is missing
  std::map<std::string, std::vector<std::string>> strobes;  ///< by strobe port: nibbles
  std::map<std::string, int> bit_slips{};                   ///< by nibble: bits by which its words are moved

  bool operator==(PlanWords const&) const = default;
};

OptionMap write_parameters(PlanWords const& plan, planning::Layout const& layout);
/// The same plan, nibbles of a strobe in the order of their names. Throws a std::string for what is none, or does not
/// agree with itself.
PlanWords read_parameters(OptionMap const& parameters, planning::Layout const& layout, std::string const& key);

/// A port of an interface of a core.
struct InterfacePort {
  std::string name;
  std::string direction;  ///< in, out, inout
  int width = 1;
  std::string role;

  bool operator==(InterfacePort const&) const = default;
};
struct CoreInterface {
  std::string name;
  std::vector<InterfacePort> ports;

  bool operator==(CoreInterface const&) const = default;
};
/// `interface {name {port {dir in width 8 role Data} ...} ...}`.
std::string write_interfaces(std::vector<CoreInterface> const& interfaces);
std::vector<CoreInterface> read_interfaces(std::string const& key, std::string_view dictionary);

}  // namespace kdi::place
