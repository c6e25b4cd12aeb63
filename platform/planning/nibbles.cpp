#include "kdi/planning/Nibbles.h"

#include <algorithm>
#include <deque>
#include <string>

namespace kdi::planning {
namespace {

// From one nibble to all others, in the fewest hops.
std::vector<int> hops_from(int from, int count, device::StrobeWays const& ways) {
  std::vector<int> hops(static_cast<std::size_t>(count), -1);
  std::deque<int> next{from};
  hops[static_cast<std::size_t>(from)] = 0;
  while (!next.empty()) {
    const int at = next.front();
    next.pop_front();
    for (auto const& [a, b] : ways.ways)
      for (const auto& [here, there] : {std::pair{a, b}, std::pair{b, a}}) {
        if (here != at || there >= count || hops[static_cast<std::size_t>(there)] >= 0) continue;
        hops[static_cast<std::size_t>(there)] = hops[static_cast<std::size_t>(at)] + 1;
        next.push_back(there);
      }
  }
  return hops;
}

class Builder {
 public:
  explicit Builder(Layout const& layout) : layout_(layout) {
    map_.nibble_of_pad.assign(layout.pads.size(), -1);
    map_.bank_of.assign(layout.banks.size(), -1);
  }

  NibbleMap build() {
    for (std::size_t bank = 0; bank < layout_.banks.size(); ++bank)
      if (!layout_.banks[bank].ways.ways.empty()) add_bank(static_cast<int>(bank));
    number_triplets();
    return std::move(map_);
  }

 private:
  [[noreturn]] void too_large(PlacedBank const& bank, std::string const& what) const {
    throw "bank " + std::to_string(bank.number) + " has more than " + what;
  }

  void add_bank(int index) {
    PlacedBank const& bank = layout_.banks[static_cast<std::size_t>(index)];
    NibbleBank added;
    added.bank = index;
    added.first = static_cast<int>(map_.nibbles.size());
    for (int lane = bank.first; lane < bank.first + bank.lanes; ++lane) add_lane(index, lane, added.first);
    added.count = static_cast<int>(map_.nibbles.size()) - added.first;
    if (added.count > kMostNibblesOfBank) too_large(bank, std::to_string(kMostNibblesOfBank) + " nibbles");
    for (int nibble = 0; nibble < added.count; ++nibble)
      added.hops.push_back(hops_from(nibble, added.count, bank.ways));
    added.most_hops = bank.ways.most_hops;
    added.hop_ps = bank.ways.hop_ps;
    map_.bank_of[static_cast<std::size_t>(index)] = static_cast<int>(map_.banks.size());
    map_.banks.push_back(std::move(added));
  }

  void add_lane(int bank, int index, int first_of_bank) {
    PlacedLane const& lane = layout_.lanes[static_cast<std::size_t>(index)];
    const int first = static_cast<int>(map_.nibbles.size());
    int count = 0;
    for (int pad = lane.first; pad < lane.first + lane.pads; ++pad)
      count = std::max(count, layout_.pads[static_cast<std::size_t>(pad)].nibble + 1);
    for (int nibble = 0; nibble < count; ++nibble)
      map_.nibbles.push_back({bank, first - first_of_bank + nibble, index, {}});
    for (int pad = lane.first; pad < lane.first + lane.pads; ++pad) {
      const int nibble = first + layout_.pads[static_cast<std::size_t>(pad)].nibble;
      std::vector<int>& pads = map_.nibbles[static_cast<std::size_t>(nibble)].pads;
      if (pads.size() == static_cast<std::size_t>(kMostSitesOfNibble))
        too_large(layout_.banks[static_cast<std::size_t>(bank)],
                  std::to_string(kMostSitesOfNibble) + " sites in a nibble");
      pads.push_back(pad);
      map_.nibble_of_pad[static_cast<std::size_t>(pad)] = nibble;
    }
  }

  PlacedBank const& placed(std::size_t index) const {
    return layout_.banks[static_cast<std::size_t>(map_.banks[index].bank)];
  }

  // A bank that is in no triplet is one by itself.
  void number_triplets() {
    int triplet = -1;
    for (std::size_t first = 0; first < map_.banks.size();) {
      std::size_t end = first + 1;
      if (placed(first).triplet >= 0)
        while (end < map_.banks.size() && placed(end).triplet == placed(first).triplet &&
               placed(end).column == placed(first).column && placed(end).slr == placed(first).slr)
          ++end;
      std::size_t master = first;
      for (std::size_t bank = first; bank < end; ++bank)
        if (placed(bank).master) master = bank;
      ++triplet;
      for (std::size_t bank = first; bank < end; ++bank) {
        map_.banks[bank].triplet = triplet;
        map_.banks[bank].master = static_cast<int>(master);
      }
      first = end;
    }
  }

  Layout const& layout_;
  NibbleMap map_;
};

}  // namespace

NibbleMap nibble_map(Layout const& layout) { return Builder(layout).build(); }

}  // namespace kdi::planning
