// I/O banks and packages of a device file.
#include <algorithm>
#include <cmath>
#include <set>
#include <utility>

#include "kdi/common/KdiText.h"
#include "platform/device/reading.h"

namespace kdi::device {
namespace {

// A layout is a bank that has sites in place of pad names, to be repeated for each bank of its kind.
constexpr int kMostRows = 10000;
constexpr double kMostDelay = 10000;

struct Layout {
  JsonValue pad_name;
  IoBank bank;
};

int index_of(std::vector<Pad> const& pads, std::string const& name) {
  const auto at = std::find_if(pads.begin(), pads.end(), [&](Pad const& pad) { return pad.name == name; });
  return at == pads.end() ? -1 : static_cast<int>(at - pads.begin());
}

// Marks the sites of the optional list `sites` by `mark`.
void mark_sites(std::optional<JsonValue> sites, std::vector<Pad>& pads, bool Pad::*mark) {
  if (!sites) return;
  for (std::string const& site : expand_names(*sites)) {
    const int at = index_of(pads, site);
    if (at < 0) sites->refuse("sites of the lane (" + site + " is none)");
    pads[static_cast<std::size_t>(at)].*mark = true;
  }
}

// One lane of a layout, but for its name.
std::vector<Pad> read_lane(JsonValue value, PadBudget& budget) {
  std::vector<Pad> pads;
  UniqueNames sites;
  int nibble = 0;
  for (const JsonValue list : value.member("nibbles").items()) {
    std::vector<std::string> names = expand_names(list);
    budget.take(list, names.size());
    for (std::string& site : names) {
      sites.add(list, site);
      Pad& pad = pads.emplace_back();
      pad.name = std::move(site);
      pad.nibble = nibble;
    }
    ++nibble;
  }
  if (pads.empty()) value.member("nibbles").refuse("at least one nibble");
  pair_pads(pads);
  mark_sites(value.find("strobe"), pads, &Pad::strobe);
  mark_sites(value.find("clock"), pads, &Pad::clock);
  return pads;
}

// Marks the pads of the optional list `places`, each a lane and a site: `T0.S`.
void mark_places(std::optional<JsonValue> places, std::vector<ByteLane>& lanes, bool Pad::*mark) {
  if (!places) return;
  for (std::string const& place : expand_names(*places)) {
    Pad* marked = nullptr;
    for (ByteLane& lane : lanes)
      for (Pad& pad : lane.pads)
        if (lane.name + "." + pad.name == place) marked = &pad;
    if (marked == nullptr) places->refuse("lanes and sites of the layout, as T0.S (" + place + " is none)");
    marked->*mark = true;
  }
}

// Lists of pins carry no lengths: what names a group of signals is told by these pieces, which nothing else may have.
void refuse_group_names(JsonValue value, std::string const& name) {
  for (char const* const piece : {"DQ[", "Address/Ctrl-", "D[", "Q[", "Q-"})
    if (name.find(piece) != std::string::npos)
      value.refuse("names without " + text::quoted(piece) + ", which groups of signals have (" + name + ")");
}

int nibbles_of(IoBank const& bank) {
  int count = 0;
  for (ByteLane const& lane : bank.lanes) {
    int last = 0;
    for (Pad const& pad : lane.pads) last = std::max(last, pad.nibble);
    count += last + 1;
  }
  return count;
}

StrobeWays read_ways(JsonValue value, IoBank const& bank) {
  constexpr int kMostHops = 64, kMostHopPs = 1000000;
  value.allow_only({"ways", "most_hops", "hop_ps"});
  StrobeWays read;
  const int last = nibbles_of(bank) - 1;
  for (const JsonValue way : value.member("ways").items()) {
    const auto ends = way.items();
    if (ends.size() != 2) way.refuse("the numbers of two nibbles");
    read.ways.emplace_back(static_cast<int>(ends[0].integer(0, last)), static_cast<int>(ends[1].integer(0, last)));
    if (read.ways.back().first == read.ways.back().second) way.refuse("two nibbles");
  }
  read.most_hops = static_cast<int>(value.member("most_hops").integer(1, kMostHops));
  read.hop_ps = static_cast<int>(value.member("hop_ps").integer(0, kMostHopPs));
  return read;
}

Layout read_layout(JsonValue value, PadBudget& budget) {
  value.allow_only({"name", "kind", "vcco_v", "pad_name", "lanes", "strobe_reach", "strobe_ways", "impedance",
                    "reference", "configuration"});
  Layout layout{value.member("pad_name"), {}};
  layout.bank.kind = word(value.member("kind"));
  layout.bank.vcco_v = range(value.member("vcco_v"));
  UniqueNames lanes;
  for (const JsonValue lane : value.member("lanes").items()) {
    lane.allow_only({"names", "nibbles", "strobe", "clock"});
    const std::vector<Pad> lane_pads = read_lane(lane, budget);
    for (std::string const& name : expand_names(lane.member("names"))) {
      lanes.add(lane.member("names"), name);
      refuse_group_names(lane.member("names"), name);
      budget.take(lane, lane_pads.size());
      layout.bank.lanes.push_back({name, lane_pads});
    }
  }
  if (layout.bank.lanes.empty()) value.member("lanes").refuse("at least one lane");
  if (const auto reach = value.find("strobe_reach"))
    layout.bank.strobe_reach = static_cast<StrobeReach>(reach->choice({"lane", "neighbours", "bank"}));
  if (const auto ways = value.find("strobe_ways")) layout.bank.strobe_ways = read_ways(*ways, layout.bank);
  mark_places(value.find("impedance"), layout.bank.lanes, &Pad::impedance);
  mark_places(value.find("reference"), layout.bank.lanes, &Pad::reference);
  mark_places(value.find("configuration"), layout.bank.lanes, &Pad::configuration);
  return layout;
}

std::map<std::string, Layout, std::less<>> read_layouts(JsonValue list, PadBudget& budget) {
  std::map<std::string, Layout, std::less<>> layouts;
  UniqueNames names;
  for (const JsonValue value : list.items()) {
    const JsonValue name = value.member("name");
    names.add(name, word(name));
    layouts.emplace(name.text(), read_layout(value, budget));
  }
  return layouts;
}

// Puts names in place of the sites of a layout.
void name_pads(Layout const& layout, IoBank& bank, UniqueNames& names, PadBudget& budget) {
  PlaceValues values{{"bank", std::to_string(bank.number)}};
  for (ByteLane& lane : bank.lanes) {
    budget.take(layout.pad_name, lane.pads.size());
    values["lane"] = lane.name;
    for (Pad& pad : lane.pads) {
      pad.site = std::move(pad.name);
      values["site"] = pad.site;
      pad.name = with_pattern(layout.pad_name, [&] { return fill(layout.pad_name.text(), values); });
      names.add(layout.pad_name, pad.name);
      refuse_group_names(layout.pad_name, pad.name);
    }
  }
}

// What a package says of all its pins.
struct Bonding {
  std::optional<BallRectangle> grid;
  double centre_ps = 0;
  double per_ball_ps = 0;
  std::map<std::string, double> of_pins;  ///< those that are known one by one

  /// From a ball to the die, which sits in the middle: along rows and columns, as the traces run.
  double delay_ps(Ball ball) const {
    if (!grid) return 0;
    if (const auto known = of_pins.find(ball_name(ball)); known != of_pins.end()) return known->second;
    const double rows = std::abs(ball.row - (grid->first.row + grid->last.row) / 2.0);
    const double columns = std::abs(ball.column - (grid->first.column + grid->last.column) / 2.0);
    return centre_ps + per_ball_ps * (rows + columns);
  }
};

Bonding read_bonding(JsonValue package) {
  Bonding bonding;
  if (const auto text = package.find("grid"))
    bonding.grid = with_pattern(*text, [&] { return ball_rectangle(text->text()); });
  if (const auto delay = package.find("delay_ps")) {
    delay->allow_only({"centre", "per_ball", "pins"});
    if (!bonding.grid) delay->refuse("a package with a grid");
    bonding.centre_ps = delay->member("centre").number(0, kMostDelay);
    bonding.per_ball_ps = delay->member("per_ball").number(0, kMostDelay);
    if (const auto pins = delay->find("pins"))
      for (const JsonValue pin : pins->members()) {
        const BallRectangle ball = with_pattern(pin, [&] { return ball_rectangle(pin.name()); });
        if (ball.balls().size() != 1 || !bonding.grid->contains(ball.first))
          pin.refuse("the name of a ball of the grid");
        bonding.of_pins.emplace(pin.name(), pin.number(0, kMostDelay));
      }
  }
  return bonding;
}

// The pins of one entry of a package, handed out in order.
class PinSource {
 public:
  PinSource(JsonValue entry, Bonding const& bonding, std::size_t pads) : entry_(entry), by_pad_(!entry.find("pins")) {
    if (by_pad_) return;
    const JsonValue list = entry.member("pins");
    for (const JsonValue value : list.items()) {
      const BallRectangle balls = with_pattern(value, [&] { return ball_rectangle(value.text()); });
      if (bonding.grid && !(bonding.grid->contains(balls.first) && bonding.grid->contains(balls.last)))
        value.refuse("balls of the package's grid");
      for (const Ball ball : balls.balls()) {
        names_.push_back(ball_name(ball));
        delays_.push_back(bonding.delay_ps(ball));
      }
    }
    if (names_.size() != pads)
      list.refuse("as many balls as there are pads, " + std::to_string(pads) + " (here " +
                  std::to_string(names_.size()) + ")");
  }

  /// Leads a pin to `pad`.
  void lead(Pad& pad, PinSite site, Package& package) {
    pad.pin = by_pad_ ? pad.name : names_[used_];
    pad.delay_ps = by_pad_ ? 0 : delays_[used_];
    ++used_;
    if (!package.pins.emplace(pad.pin, site).second) entry_.refuse("pins of one pad each (" + pad.pin + " has two)");
  }

 private:
  JsonValue entry_;
  bool by_pad_;
  std::vector<std::string> names_;
  std::vector<double> delays_;
  std::size_t used_ = 0;
};

// The banks or quads `numbers` of the die, which the package may not have yet.
template <class Block>
std::vector<Block> take_blocks(JsonValue list, std::vector<Block> const& of_die, std::vector<Block> const& taken) {
  const auto find = [](std::vector<Block> const& blocks, int number) {
    return std::find_if(blocks.begin(), blocks.end(), [&](Block const& each) { return each.number == number; });
  };
  std::vector<Block> blocks;
  for (const int number : expand_numbers(list)) {
    const auto at = find(of_die, number);
    if (at == of_die.end()) list.refuse("numbers that the die has (it has no " + std::to_string(number) + ")");
    if (find(taken, number) != taken.end())
      list.refuse("numbers that the package does not have yet (it has " + std::to_string(number) + ")");
    blocks.push_back(*at);
  }
  return blocks;
}

// Names of the lanes that an entry leaves without pins.
std::set<std::string> lanes_without_pins(JsonValue entry, std::vector<IoBank> const& banks) {
  std::set<std::string> names;
  const auto list = entry.find("without_lanes");
  if (!list) return names;
  for (std::string const& name : expand_names(*list)) {
    for (IoBank const& bank : banks)
      if (std::none_of(bank.lanes.begin(), bank.lanes.end(), [&](ByteLane const& lane) { return lane.name == name; }))
        list->refuse("lanes of all the banks (" + std::to_string(bank.number) + " has no " + name + ")");
    names.insert(name);
  }
  return names;
}

void bond_banks(JsonValue entry, Bonding const& bonding, Device const& device, Package& package, PadBudget& budget) {
  std::vector<IoBank> banks = take_blocks(entry.member("banks"), device.banks, package.banks);
  const std::set<std::string> without = lanes_without_pins(entry, banks);
  std::size_t pads = 0;
  for (IoBank const& bank : banks)
    for (ByteLane const& lane : bank.lanes)
      if (without.count(lane.name) == 0) pads += lane.pads.size();
  budget.take(entry, pads);
  PinSource pins(entry, bonding, pads);
  for (IoBank& bank : banks) {
    for (std::size_t lane = 0; lane < bank.lanes.size(); ++lane) {
      if (without.count(bank.lanes[lane].name) != 0) continue;
      std::vector<Pad>& all = bank.lanes[lane].pads;
      for (std::size_t i = 0; i < all.size(); ++i)
        pins.lead(all[i], {PinSite::Kind::io_bank, bank.number, static_cast<int>(lane), static_cast<int>(i)}, package);
    }
    package.banks.push_back(std::move(bank));
  }
}

void bond_quads(JsonValue entry, Bonding const& bonding, Device const& device, Package& package, PadBudget& budget) {
  std::vector<Quad> quads = take_blocks(entry.member("quads"), device.quads, package.quads);
  std::size_t pads = 0;
  for (Quad const& quad : quads) pads += quad.pads.size();
  budget.take(entry, pads);
  PinSource pins(entry, bonding, pads);
  for (Quad& quad : quads) {
    for (std::size_t i = 0; i < quad.pads.size(); ++i)
      pins.lead(quad.pads[i], {PinSite::Kind::quad, quad.number, 0, static_cast<int>(i)}, package);
    package.quads.push_back(std::move(quad));
  }
}

template <class Block>
void sort_by_number(std::vector<Block>& blocks) {
  std::sort(blocks.begin(), blocks.end(), [](Block const& a, Block const& b) { return a.number < b.number; });
}

Package read_package(JsonValue value, Device const& device, PadBudget& budget) {
  value.allow_only({"name", "grid", "delay_ps", "properties", "bonded"});
  Package package;
  package.name = word(value.member("name"));
  package.properties = properties(value.find("properties"));
  const Bonding bonding = read_bonding(value);
  for (const JsonValue entry : value.member("bonded").items()) {
    if (entry.find("quads")) {
      entry.allow_only({"quads", "pins"});
      bond_quads(entry, bonding, device, package, budget);
    } else {
      entry.allow_only({"banks", "pins", "without_lanes"});
      bond_banks(entry, bonding, device, package, budget);
    }
  }
  sort_by_number(package.banks);
  sort_by_number(package.quads);
  return package;
}

}  // namespace

void pair_pads(std::vector<Pad>& pads) {
  std::map<std::string, std::size_t> places;
  for (std::size_t i = 0; i < pads.size(); ++i) places.emplace(pads[i].name, i);
  for (std::size_t i = 0; i < pads.size(); ++i) {
    std::string name = pads[i].name;
    if (name.back() != 'P') continue;
    name.back() = 'N';
    const auto other = places.find(name);
    if (other == places.end()) continue;
    Pad& negative = pads[other->second];
    negative.partner = static_cast<int>(i);
    negative.positive = false;
    pads[i].partner = static_cast<int>(other->second);
  }
}

void PadBudget::take(JsonValue value, std::size_t pads) {
  used_ += pads;
  if (used_ > kMostPads)
    value.refuse("a device of at most " + std::to_string(kMostPads) + " pads and pins in all its packages");
}

namespace {

// Three by three, in the order in which the banks are listed.
void join_triplets(JsonValue entry, std::vector<IoBank*> const& banks, std::set<int>& known) {
  constexpr std::size_t kBanks = 3;
  const auto first = entry.find("triplets");
  if (!first) return;
  first->allow_only({"first", "master"});
  const int number = whole(first->member("first"), 0, kMostNumber);
  const int master = whole(first->member("master"), 0, static_cast<int>(kBanks) - 1);
  if (banks.empty() || banks.size() % kBanks != 0 || banks.front()->column < 0)
    first->refuse("banks in threes that have a column and a row");
  for (std::size_t i = 0; i < banks.size(); ++i) {
    banks[i]->triplet = number + static_cast<int>(i / kBanks);
    banks[i]->master = static_cast<int>(i % kBanks) == master;
    if (i % kBanks == 0 && !known.insert(banks[i]->triplet).second)
      first->member("first").refuse("triplets that no other banks make (" + std::to_string(banks[i]->triplet) +
                                    " is there)");
  }
}

}  // namespace

void read_clock_regions(std::optional<JsonValue> object, Device& device) {
  if (!object) return;
  object->allow_only({"column_ps", "row_ps", "slr_ps"});
  ClockRegions regions;
  regions.column_ps = object->member("column_ps").number(0, kMostDelay);
  regions.row_ps = object->member("row_ps").number(0, kMostDelay);
  regions.slr_ps = object->member("slr_ps").number(0, kMostDelay);
  for (IoBank const& bank : device.banks) {
    regions.columns = std::max(regions.columns, bank.column + 1);
    regions.rows = std::max(regions.rows, bank.row + 1);
  }
  if (regions.columns > 0) device.clock_regions = regions;
}

void read_banks(JsonValue layouts_list, JsonValue list, Device& device, UniqueNames& pad_names, PadBudget& budget) {
  const std::map<std::string, Layout, std::less<>> layouts = read_layouts(layouts_list, budget);
  std::set<std::pair<int, int>> places;
  std::set<int> triplets;
  for (const JsonValue value : list.items()) {
    value.allow_only({"numbers", "layout", "slr", "column", "row", "triplets"});
    const auto layout = layouts.find(value.member("layout").text());
    if (layout == layouts.end()) value.member("layout").refuse("the name of a bank layout");
    const int slr = read_slr(value.member("slr"), device);
    const auto column = value.find("column");
    const auto row = value.find("row");
    if (column.has_value() != row.has_value()) (column ? *column : *row).refuse("a column and a row, or neither");
    int next_row = row ? whole(*row, 0, kMostRows) : -1;
    const std::size_t first_bank = device.banks.size();
    for (const int number : expand_numbers(value.member("numbers"))) {
      IoBank bank = layout->second.bank;
      bank.number = number;
      bank.slr = slr;
      if (column) {
        bank.column = whole(*column, 0, kMostRows);
        bank.row = next_row++;
        if (!places.emplace(bank.column, bank.row).second) row->refuse("a place in the column for each bank");
      }
      name_pads(layout->second, bank, pad_names, budget);
      device.banks.push_back(std::move(bank));
    }
    std::vector<IoBank*> of_entry;
    for (std::size_t bank = first_bank; bank < device.banks.size(); ++bank) of_entry.push_back(&device.banks[bank]);
    join_triplets(value, of_entry, triplets);
  }
  sort_by_number(device.banks);
  for (std::size_t i = 1; i < device.banks.size(); ++i)
    if (device.banks[i - 1].number == device.banks[i].number)
      list.refuse("banks of different numbers (" + std::to_string(device.banks[i].number) + " occurs twice)");
}

void read_packages(JsonValue list, Device& device, PadBudget& budget) {
  UniqueNames names;
  for (const JsonValue value : list.items()) {
    device.packages.push_back(read_package(value, device, budget));
    names.add(value.member("name"), device.packages.back().name);
  }
  if (device.packages.empty()) list.refuse("at least one package");
}

}  // namespace kdi::device
