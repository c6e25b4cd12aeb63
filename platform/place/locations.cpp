#include "platform/place/locations.h"

#include <algorithm>
#include <array>
#include <limits>
#include <set>

#include "kdi/common/KdiText.h"
#include "platform/place/dictionary.h"
#include "platform/place/words.h"

namespace kdi::place {
namespace {

constexpr std::size_t kFields = 6;
constexpr std::array<char const*, 3> kDirections = {"in", "out", "inout"};
constexpr std::array<char const*, 6> kRoles = {"Data", "Strobe", "ClkFwd", "InputClock", "Address", "Control"};

// The six fields; what is not told is empty.
std::array<std::string, kFields> fields_of(std::string const& place, std::string_view value, char const* form) {
  const std::vector<std::string_view> words = text::split(value, ',');
  if (words.size() != kFields) throw place + ": " + text::shown(value) + " has not the form " + form;
  std::array<std::string, kFields> fields;
  for (std::size_t i = 0; i < kFields; ++i)
    if (words[i] != "-") fields[i] = words[i];
  return fields;
}

std::string joined(std::array<std::string, kFields> fields) {
  for (std::string& field : fields)
    if (field.empty()) field = "-";
  return text::joined(fields, ",");
}

Location read_location(std::string const& place, std::string const& value) {
  Location at;
  if (value.find(',') == std::string::npos) {
    at.word = word_of(place, value);
    return at;
  }
  auto fields = fields_of(place, value, "bank,lane,nibble,site,ball,standard");
  if (!fields[0].empty()) at.bank = whole_of(place, fields[0], 0, std::numeric_limits<int>::max());
  at.lane = std::move(fields[1]);
  if (!fields[2].empty()) at.nibble = whole_of(place, fields[2], 0, std::numeric_limits<int>::max());
  at.site = std::move(fields[3]);
  at.ball = std::move(fields[4]);
  at.standard = std::move(fields[5]);
  return at;
}

template <class Pairs, class Read>
auto read_ports(std::string const& key, Pairs const& pairs, Read read) {
  std::map<std::string, decltype(read(std::string(), std::string()))> all;
  for (auto const& [name, value] : pairs) {
    const std::string port = unbraced(name);
    if (port.empty()) throw key + ": a port has no name";
    const std::string place = key + ": " + text::shortened(port);
    if (!all.emplace(port, read(place, unbraced(value))).second) throw place + " is there twice";
  }
  return all;
}

struct PadWords {
  int bank, nibble;
  std::string const &lane, &site, &ball, &pad;
};

PadWords words_of(planning::Layout const& layout, int pad) {
  planning::PlacedPad const& one = layout.pads[static_cast<std::size_t>(pad)];
  planning::PlacedLane const& lane = layout.lanes[static_cast<std::size_t>(one.lane)];
  return {layout.banks[static_cast<std::size_t>(lane.bank)].number,
          nibble_of(layout, pad),
          lane.name,
          one.site,
          one.ball,
          one.name};
}

bool is_at(PadWords const& pad, Location const& at) {
  if (!at.word.empty()) return at.word == pad.pad || (!pad.ball.empty() && at.word == pad.ball);
  return (at.bank < 0 || at.bank == pad.bank) && (at.lane.empty() || at.lane == pad.lane) &&
         (at.nibble < 0 || at.nibble == pad.nibble) && (at.site.empty() || at.site == pad.site) &&
         (at.ball.empty() || at.ball == pad.ball);
}

bool is_somewhere(Location const& at) {
  return !at.word.empty() || at.bank >= 0 || !at.lane.empty() || at.nibble >= 0 || !at.site.empty() || !at.ball.empty();
}

// Pads of the layout by what most locations tell: all that are asked of one port are few.
class Finder {
 public:
  explicit Finder(planning::Layout const& layout) : layout_(layout) {
    for (std::size_t pad = 0; pad < layout.pads.size(); ++pad) {
      by_name_.emplace(layout.pads[pad].name, static_cast<int>(pad));
      if (!layout.pads[pad].ball.empty()) by_name_.emplace(layout.pads[pad].ball, static_cast<int>(pad));
    }
  }

  int find(std::string const& place, Location const& at) const {
    std::string const& name = at.word.empty() ? at.ball : at.word;
    if (!name.empty()) {
      const auto known = by_name_.find(name);
      if (known == by_name_.end() || !is_at(words_of(layout_, known->second), at)) none(place, at);
      return known->second;
    }
    int found = -1;
    for (std::size_t pad = 0; pad < layout_.pads.size(); ++pad) {
      if (!is_at(words_of(layout_, static_cast<int>(pad)), at)) continue;
      if (found >= 0) throw place + ": " + text::shown(written(at)) + " tells of more than one pad";
      found = static_cast<int>(pad);
    }
    if (found < 0) none(place, at);
    return found;
  }

 private:
  [[noreturn]] static void none(std::string const& place, Location const& at) {
    throw place + ": there is no pad at " + text::shown(written(at));
  }
  planning::Layout const& layout_;
  std::map<std::string_view, int> by_name_;
};

// No pad twice.
class Taken {
 public:
  Taken(planning::Layout const& layout, std::string const& key) : layout_(layout), key_(key) {}
  void take(int pad, std::string const& port) {
    if (const auto [at, is_new] = by_.emplace(pad, port); !is_new)
      throw key_ + ": " + at->second + " and " + port + " are both on " +
          layout_.pads[static_cast<std::size_t>(pad)].name;
  }

 private:
  planning::Layout const& layout_;
  std::string const& key_;
  std::map<int, std::string> by_;
};

// First pad and pads of each nibble of a bank, in the order of the device.
std::vector<std::vector<int>> nibbles_of(planning::Layout const& layout, int bank) {
  planning::PlacedBank const& of = layout.banks[static_cast<std::size_t>(bank)];
  std::vector<std::vector<int>> nibbles;
  for (int index = of.first; index < of.first + of.lanes; ++index) {
    planning::PlacedLane const& lane = layout.lanes[static_cast<std::size_t>(index)];
    const std::size_t before = nibbles.size();
    for (int pad = lane.first; pad < lane.first + lane.pads; ++pad) {
      const std::size_t at = before + static_cast<std::size_t>(layout.pads[static_cast<std::size_t>(pad)].nibble);
      if (nibbles.size() <= at) nibbles.resize(at + 1);
      nibbles[at].push_back(pad);
    }
  }
  return nibbles;
}

}  // namespace

Locations read_locations(std::string const& key, std::string_view dictionary) {
  return read_ports(key, read_dictionary(dictionary, key), read_location);
}
Locations read_locations(std::string const& key, ParamMap const& map) { return read_ports(key, map, read_location); }

std::string written(Location const& at) {
  if (!at.word.empty()) return at.word;
  return joined({at.bank < 0 ? "" : std::to_string(at.bank), at.lane, at.nibble < 0 ? "" : std::to_string(at.nibble),
                 at.site, at.ball, at.standard});
}

PortPads pads_of(Locations const& locations, planning::Layout const& layout, std::string const& key) {
  PortPads pads;
  const Finder finder(layout);
  Taken taken(layout, key);
  for (auto const& [port, at] : locations) {
    if (!is_somewhere(at)) continue;  // nothing is told but perhaps a standard
    const int pad = finder.find(key + ": " + text::shortened(port), at);
    taken.take(pad, port);
    pads.emplace(port, pad);
  }
  return pads;
}

int nibble_of(planning::Layout const& layout, int pad) {
  planning::PlacedPad const& one = layout.pads[static_cast<std::size_t>(pad)];
  planning::PlacedLane const& lane = layout.lanes[static_cast<std::size_t>(one.lane)];
  int nibble = one.nibble;
  for (int index = layout.banks[static_cast<std::size_t>(lane.bank)].first; index < one.lane; ++index) {
    planning::PlacedLane const& before = layout.lanes[static_cast<std::size_t>(index)];
    if (before.pads > 0) nibble += layout.pads[static_cast<std::size_t>(before.first + before.pads - 1)].nibble + 1;
  }
  return nibble;
}

std::string nibble_name(planning::Layout const& layout, int pad) {
  return std::to_string(layout.banks[static_cast<std::size_t>(layout.bank_of_pad(pad))].number) + "_" +
         std::to_string(nibble_of(layout, pad));
}

OptionMap write_locations(PortPads const& pads, planning::Layout const& layout, StandardOf const& standard_of) {
  OptionMap plan;
  for (auto const& [port, pad] : pads) {
    const PadWords at = words_of(layout, pad);
    plan[port] =
        joined({std::to_string(at.bank), at.lane, std::to_string(at.nibble), at.site, at.ball, standard_of(port)});
  }
  return plan;
}

PinMap write_grouping(PortPads const& pads, planning::Layout const& layout) {
  std::map<int, std::string> port_on;
  std::set<int> banks;
  for (auto const& [port, pad] : pads) {
    port_on.emplace(pad, port);
    banks.insert(layout.bank_of_pad(pad));
  }
  PinMap grouping;
  for (const int bank : banks)
    for (std::vector<int> const& nibble : nibbles_of(layout, bank)) {
      StrList ports;
      bool is_used = false;
      for (const int pad : nibble) {
        const auto port = port_on.find(pad);
        is_used = is_used || port != port_on.end();
        ports.push_back(port == port_on.end() ? "-" : port->second);
      }
      if (is_used) grouping.emplace(nibble_name(layout, nibble[0]), std::move(ports));
    }
  return grouping;
}

PortPads read_grouping(PinMap const& grouping, planning::Layout const& layout, std::string const& key) {
  std::map<std::string, std::vector<int>> nibbles;
  for (std::size_t bank = 0; bank < layout.banks.size(); ++bank)
    for (std::vector<int>& nibble : nibbles_of(layout, static_cast<int>(bank)))
      nibbles.emplace(nibble_name(layout, nibble[0]), std::move(nibble));
  PortPads pads;
  for (auto const& [name, ports] : grouping) {
    const auto nibble = nibbles.find(name);
    if (nibble == nibbles.end()) throw key + ": there is no nibble " + text::shown(name);
    if (ports.size() != nibble->second.size())
      throw key + ": " + name + " has " + std::to_string(nibble->second.size()) + " sites and not " +
          std::to_string(ports.size());
    for (std::size_t i = 0; i < ports.size(); ++i)
      if (ports[i] != "-" && !pads.emplace(ports[i], nibble->second[i]).second)
        throw key + ": " + text::shown(ports[i]) + " is there twice";
  }
  return pads;
}

std::string written(PinInfo const& info) {
  return joined({info.role, info.direction, info.ball, info.pad, info.site, info.standard});
}

std::map<std::string, PinInfo> read_pin_info(std::string const& key, ParamMap const& map) {
  return read_ports(key, map, [](std::string const& place, std::string const& value) {
    auto fields = fields_of(place, value, "role,direction,ball,pad,site,standard");
    choice_of(place, fields[0], kRoles);
    choice_of(place, fields[1], kDirections);
    return PinInfo{std::move(fields[0]), std::move(fields[1]), std::move(fields[2]),
                   std::move(fields[3]), std::move(fields[4]), std::move(fields[5])};
  });
}

PortPads pads_of(std::map<std::string, PinInfo> const& info, planning::Layout const& layout, std::string const& key) {
  PortPads pads;
  const Finder finder(layout);
  Taken taken(layout, key);
  for (auto const& [port, pin] : info) {
    if (pin.ball.empty() && pin.pad.empty()) continue;
    const std::string place = key + ": " + text::shortened(port);
    Location at;
    at.word = pin.pad.empty() ? pin.ball : pin.pad;
    const int pad = finder.find(place, at);
    planning::PlacedPad const& found = layout.pads[static_cast<std::size_t>(pad)];
    if ((!pin.ball.empty() && pin.ball != found.ball) || (!pin.site.empty() && pin.site != found.site))
      throw place + ": " + text::shown(written(pin)) + " tells of more than one pad";
    taken.take(pad, port);
    pads.emplace(port, pad);
  }
  return pads;
}

std::map<std::string, std::string> read_translation(std::string const& key, std::string_view dictionary) {
  std::map<std::string, std::string> names;
  std::map<std::string, std::string> inside;
  for (auto const& [port, outside] : read_dictionary(dictionary, key)) {
    if (outside.empty()) throw key + ": " + text::shortened(port) + " has no name outside";
    if (const auto [other, is_new] = inside.emplace(outside, port); !is_new)
      throw key + ": " + other->second + " and " + port + " are both called " + text::shown(outside);
    names.emplace(port, outside);
  }
  return names;
}

std::map<std::string, std::vector<std::string>> read_strobe_map(std::string const& key, OptionMap const& map) {
  std::map<std::string, std::vector<std::string>> strobes;
  std::map<std::string, std::string> owners;
  for (auto const& [strobe, nibbles] : map)
    for (const std::string_view nibble : text::words(nibbles)) {
      const auto [owner, is_new] = owners.emplace(nibble, strobe);
      if (!is_new) throw key + ": " + strobe + " and " + owner->second + " both clock " + text::shown(nibble);
      strobes[strobe].emplace_back(nibble);
    }
  return strobes;
}

}  // namespace kdi::place
