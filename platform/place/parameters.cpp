#include "platform/place/parameters.h"

#include <array>
#include <set>

#include "kdi/common/KdiText.h"
#include "platform/place/dictionary.h"
#include "platform/place/words.h"

namespace kdi::place {
namespace {

constexpr std::string_view kNibble = "NIBBLE_", kStandard = "STANDARD_", kStrobe = "STROBE_", kBitSlip = "BIT_SLIP_";
constexpr int kMostSlip = 1 << 16;
constexpr std::array<char const*, 3> kDirections = {"in", "out", "inout"};
constexpr int kWidest = 1 << 16;

std::set<int> banks_of(PortPads const& pads, planning::Layout const& layout) {
  std::set<int> banks;
  for (auto const& [port, pad] : pads)
    banks.insert(layout.banks[static_cast<std::size_t>(layout.bank_of_pad(pad))].number);
  return banks;
}

std::string numbers(std::set<int> const& banks) {
  std::vector<std::string> words;
  words.reserve(banks.size());
  for (const int bank : banks) words.push_back(std::to_string(bank));
  return text::joined(words, ",");
}

StrList fields_of(std::string const& value) {
  StrList fields;
  for (const std::string_view field : text::split(value, ',')) fields.push_back(std::string(field));
  return fields;
}

// The rest of a name behind its beginning.
bool takes(std::string const& name, std::string_view beginning, std::string& rest) {
  if (!name.starts_with(beginning)) return false;
  rest = name.substr(beginning.size());
  return true;
}

}  // namespace

OptionMap write_parameters(PlanWords const& plan, planning::Layout const& layout) {
  OptionMap parameters;
  const std::set<int> banks = banks_of(plan.pads, layout);
  parameters["NUM_BANKS"] = std::to_string(banks.size());
  parameters["BANKS"] = numbers(banks);
  for (auto const& [nibble, ports] : write_grouping(plan.pads, layout)) {
    std::vector<std::string> standards;
    for (std::string const& port : ports) {
      const auto standard = plan.standards.find(port);
      standards.push_back(standard == plan.standards.end() ? "-" : standard->second);
    }
    parameters[std::string(kNibble) + nibble] = text::joined(ports, ",");
    parameters[std::string(kStandard) + nibble] = text::joined(standards, ",");
  }
  for (auto const& [strobe, nibbles] : plan.strobes)
    for (std::string const& nibble : nibbles) parameters[std::string(kStrobe) + nibble] = strobe;
  for (auto const& [nibble, bits] : plan.bit_slips) parameters[std::string(kBitSlip) + nibble] = std::to_string(bits);
  return parameters;
}

PlanWords read_parameters(OptionMap const& parameters, planning::Layout const& layout, std::string const& key) {
  PlanWords plan;
  PinMap grouping;
  std::string rest;
  for (auto const& [name, value] : parameters)
    if (takes(name, kNibble, rest))
      grouping[rest] = fields_of(value);
    else if (takes(name, kStrobe, rest))
      plan.strobes[value].push_back(rest);
    else if (takes(name, kBitSlip, rest))
      plan.bit_slips[rest] = whole_of(key + ": " + name, value, 0, kMostSlip);
    else if (!takes(name, kStandard, rest) && name != "NUM_BANKS" && name != "BANKS")
      throw key + ": nothing is called " + text::shown(name);
  plan.pads = read_grouping(grouping, layout, key);
  for (auto const& [nibble, ports] : grouping) {
    const auto value = parameters.find(std::string(kStandard) + nibble);
    const StrList standards = value == parameters.end() ? StrList() : fields_of(value->second);
    if (standards.size() != ports.size())
      throw key + ": " + std::string(kStandard) + nibble + " has not as many fields as " + std::string(kNibble) +
          nibble;
    for (std::size_t i = 0; i < ports.size(); ++i)
      if (ports[i] != "-" && standards[i] != "-") plan.standards[ports[i]] = standards[i];
  }
  for (auto const& [strobe, nibbles] : plan.strobes) {
    if (!plan.pads.contains(strobe)) throw key + ": the strobe " + text::shown(strobe) + " is on no pad";
    for (std::string const& nibble : nibbles)
      if (!grouping.contains(nibble))
        throw key + ": the strobe " + strobe + " clocks " + text::shown(nibble) + " where nothing is";
  }
  const std::set<int> banks = banks_of(plan.pads, layout);
  const auto is = [&](char const* name, std::string const& value) {
    const auto told = parameters.find(name);
    if (told == parameters.end() || told->second != value)
      throw key + ": " + name + " is not " + text::quoted(value) + ", which the ports take";
  };
  is("NUM_BANKS", std::to_string(banks.size()));
  is("BANKS", numbers(banks));
  return plan;
}

std::string write_interfaces(std::vector<CoreInterface> const& interfaces) {
  Pairs all;
  for (CoreInterface const& interface : interfaces) {
    Pairs ports;
    for (InterfacePort const& port : interface.ports)
      ports.emplace_back(
          port.name,
          write_dictionary({{"dir", port.direction}, {"width", std::to_string(port.width)}, {"role", port.role}}));
    all.emplace_back(interface.name, write_dictionary(ports));
  }
  return write_dictionary({{"interface", write_dictionary(all)}});
}

std::vector<CoreInterface> read_interfaces(std::string const& key, std::string_view dictionary) {
  std::vector<CoreInterface> interfaces;
  const Pairs whole = read_dictionary(dictionary, key);
  if (whole.size() != 1 || whole[0].first != "interface") throw key + ": there is not one key, \"interface\"";
  for (auto const& [name, ports] : read_dictionary(whole[0].second, key)) {
    CoreInterface interface {
      name, {}
    };
    const std::string place = key + ": " + name;
    for (auto const& [port, fields] : read_dictionary(ports, place)) {
      InterfacePort one{port, {}, 0, {}};
      const std::string at = place + " " + port;
      for (auto const& [field, value] : read_dictionary(fields, at))
        if (field == "dir")
          one.direction = kDirections[choice_of(at + " dir", value, kDirections)];
        else if (field == "width")
          one.width = whole_of(at + " width", value, 1, kWidest);
        else if (field == "role")
          one.role = value;
        else
          throw at + ": nothing is called " + text::shown(field);
      if (one.direction.empty() || one.width == 0 || one.role.empty()) throw at + ": dir, width and role are needed";
      interface.ports.push_back(std::move(one));
    }
    interfaces.push_back(std::move(interface));
  }
  return interfaces;
}

}  // namespace kdi::place
