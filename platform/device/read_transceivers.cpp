// Transceiver types and quads of a device file.
#include <algorithm>

#include "platform/device/reading.h"

namespace kdi::device {
namespace {

struct TypePads {
  JsonValue pad_name;
  std::vector<std::string> sites;
};

TransceiverPll read_pll(JsonValue value) {
  value.allow_only({"name", "shared", "feedback", "reference_divide", "output_divides", "fraction_bits"});
  TransceiverPll pll;
  pll.name = word(value.member("name"));
  pll.shared = value.member("shared").boolean();
  pll.feedback = counter(value.member("feedback"));
  pll.reference_divide = counter(value.member("reference_divide"));
  pll.output_divides = ascending(value.member("output_divides"), 1024);
  if (const auto bits = value.find("fraction_bits")) pll.fraction_bits = whole(*bits, 0, 62);
  return pll;
}

Transceiver read_type(JsonValue value) {
  value.allow_only({"type", "channels_per_quad", "pads", "pad_name", "plls", "internal_widths", "user_widths",
                    "encodings", "modulations", "limits"});
  Transceiver transceiver;
  transceiver.type = word(value.member("type"));
  transceiver.channels_per_quad = whole(value.member("channels_per_quad"), 1, 64);
  UniqueNames names;
  for (const JsonValue pll : value.member("plls").items()) {
    transceiver.plls.push_back(read_pll(pll));
    names.add(pll.member("name"), transceiver.plls.back().name);
  }
  transceiver.internal_widths = ascending(value.member("internal_widths"), 4096);
  transceiver.user_widths = ascending(value.member("user_widths"), 4096);
  transceiver.encodings = words(value.member("encodings"));
  transceiver.modulations = words(value.member("modulations"));
  return transceiver;
}

void read_limits(JsonValue limits, Transceiver& transceiver) {
  limits.allow_only({"line_rate_gbps", "reference_mhz", "vco_ghz"});
  transceiver.line_rate_gbps.clear();
  for (const JsonValue value : limits.member("line_rate_gbps").items()) {
    const Range rates = range(value, 1e-6);
    if (!transceiver.line_rate_gbps.empty() && transceiver.line_rate_gbps.back().max >= rates.min)
      value.refuse("line rates above those before");
    transceiver.line_rate_gbps.push_back(rates);
  }
  if (transceiver.line_rate_gbps.empty()) limits.member("line_rate_gbps").refuse("at least one range");
  transceiver.reference_mhz = range(limits.member("reference_mhz"), 1e-6);
  const JsonValue vco = limits.member("vco_ghz");
  for (TransceiverPll& pll : transceiver.plls) pll.vco_ghz = range(vco.member(pll.name), 1e-6);
  for (const JsonValue value : vco.members())
    if (std::none_of(transceiver.plls.begin(), transceiver.plls.end(),
                     [&](TransceiverPll const& pll) { return pll.name == value.name(); }))
      value.refuse("the name of one of the transceiver's PLLs");
}

Quad make_quad(int number, std::string const& type, TypePads const& pads, UniqueNames& names, PadBudget& budget) {
  Quad quad;
  quad.number = number;
  quad.type = type;
  for (std::string const& site : pads.sites) quad.pads.emplace_back().name = site;
  pair_pads(quad.pads);
  budget.take(pads.pad_name, quad.pads.size());
  PlaceValues values{{"type", type}, {"quad", std::to_string(number)}};
  for (Pad& pad : quad.pads) {
    values["site"] = std::move(pad.name);
    pad.name = with_pattern(pads.pad_name, [&] { return fill(pads.pad_name.text(), values); });
    names.add(pads.pad_name, pad.name);
  }
  return quad;
}

bool has_number(Device const& device, int number) {
  const auto same = [&](auto const& block) { return block.number == number; };
  return std::any_of(device.banks.begin(), device.banks.end(), same) ||
         std::any_of(device.quads.begin(), device.quads.end(), same);
}

void read_quads(JsonValue list, std::map<std::string, TypePads> const& types, Device& device, UniqueNames& pad_names,
                PadBudget& budget) {
  for (const JsonValue value : list.items()) {
    value.allow_only({"numbers", "type", "slr"});
    const auto type = types.find(std::string(value.member("type").text()));
    if (type == types.end()) value.member("type").refuse("the type of a transceiver");
    const int slr = read_slr(value.member("slr"), device);
    for (const int number : expand_numbers(value.member("numbers"))) {
      if (has_number(device, number))
        value.member("numbers").refuse("numbers that no bank and no other quad has (" + std::to_string(number) +
                                       " is taken)");
      device.quads.push_back(make_quad(number, type->first, type->second, pad_names, budget));
      device.quads.back().slr = slr;
    }
  }
  std::sort(device.quads.begin(), device.quads.end(), [](Quad const& a, Quad const& b) { return a.number < b.number; });
}

}  // namespace

void read_transceivers(JsonValue list, std::optional<JsonValue> quads, Device& device, UniqueNames& pad_names,
                       PadBudget& budget) {
  std::map<std::string, TypePads> types;
  std::vector<std::pair<JsonValue, Transceiver>> all;
  for (const JsonValue value : list.items()) {
    Transceiver transceiver = read_type(value);
    TypePads pads{value.member("pad_name"), expand_names(value.member("pads"))};
    budget.take(value.member("pads"), pads.sites.size());
    if (!types.emplace(transceiver.type, std::move(pads)).second)
      value.member("type").refuse("a type that does not occur twice");
    all.emplace_back(value, std::move(transceiver));
  }
  if (quads) read_quads(*quads, types, device, pad_names, budget);
  for (auto& [value, transceiver] : all) {
    // A type that the device has no quad of is one that it does not have.
    const bool there = std::any_of(device.quads.begin(), device.quads.end(),
                                   [type = transceiver.type](Quad const& quad) { return quad.type == type; });
    for_each_grade(value.member("limits"), device.speed_grades, [&, &each = transceiver](auto& grade, auto limits) {
      read_limits(limits, each);
      if (there) grade.transceivers.push_back(each);
    });
  }
}

}  // namespace kdi::device
