#include "platform/planning/bus_tables.h"

#include <algorithm>
#include <bit>
#include <utility>

namespace kdi::planning {
namespace {

using Role = BusSignal::Role;
constexpr int kBitsOfCount = 5;  // counts up to 12, and a bit above that tells a sum that is too large

bool is_alike(Bus const& a, Bus const& b) {
  return std::tie(a.direction, a.width, a.standard, a.clock, a.clock_standard, a.rate_mbps, a.ratio, a.bias) ==
         std::tie(b.direction, b.width, b.standard, b.clock, b.clock_standard, b.rate_mbps, b.ratio, b.bias);
}

template <class Number>
std::size_t at(Number number) {
  return static_cast<std::size_t>(number);
}

}  // namespace

BusProblem::BusProblem(BusRequest const& request, BusInterface const& wanted, KnownFits* known)
    : request_(request), wanted_(wanted), needs_(bus_needs(request, wanted)), known_(known != nullptr ? *known : own_) {
  take_wishes();
  sort_kinds();
  read_banks();
  const std::string buses = text_of_buses();
  for (std::size_t bank = 0; bank < map().banks.size(); ++bank)
    states_.push_back(buses + state_of(static_cast<int>(bank)));
}

// All of the buses but their names.
std::string BusProblem::text_of_buses() const {
  std::string text = request_.system_clock_standard;
  for (Bus const& bus : request_.buses) {
    text += "\n" + bus.standard + " " + bus.clock_standard + " " + bus.bias;
    for (const int number :
         {static_cast<int>(bus.direction), static_cast<int>(bus.clock), bus.width, bus.rate_mbps, bus.ratio})
      text += " " + std::to_string(number);
  }
  return text + "\n";
}

// What a bank is, and what of it is free for which bus; numbers are small but for the delay.
std::string BusProblem::state_of(int index) const {
  NibbleBank const& bank = map().banks[at(index)];
  std::string state = std::to_string(bank.hop_ps) + " ";
  const auto put = [&](int number) { state += static_cast<char>(number); };
  const auto put_site = [&](int pad) {
    put(nibble_of(pad) - bank.first);
    put(static_cast<int>(bit_of(pad)));
  };
  put(bank.count);
  put(bank.most_hops);
  for (std::vector<int> const& from : bank.hops)
    for (const int hops : from) put(hops);
  for (int nibble = bank.first; nibble < bank.first + bank.count; ++nibble) {
    put(static_cast<int>(map().nibbles[at(nibble)].pads.size()));
    put(static_cast<int>(usable_[at(nibble)]));
    put(owned_[at(nibble)] ? 1 : 0);
    for (const int pad : map().nibbles[at(nibble)].pads) {
      PlacedPad const& placed = layout().pads[at(pad)];
      put((placed.strobe ? 1 : 0) + (placed.positive ? 2 : 0) + (placed.partner >= 0 ? 4 : 0));
      if (placed.partner >= 0) put_site(placed.partner);
    }
  }
  for (const bool barred : barred_[at(index)]) put(barred ? 1 : 0);
  for (std::size_t i = 0; i < wish_.size(); ++i) {
    if (wish_[i] < 0) continue;
    state += " " + std::to_string(i) + ":";
    const int nibble = nibble_of(wish_[i]);
    if (nibble >= bank.first && nibble < bank.first + bank.count) put_site(wish_[i]);
  }
  return state;
}

void BusProblem::take_wishes() {
  wish_ = request_.pad_of_signal;
  wish_.resize(wanted_.signals.size(), -1);
  for (std::size_t i = 0; i < wish_.size(); ++i) {
    const int partner = wanted_.signals[i].partner;
    if (wish_[i] >= 0 && partner >= 0) wish_[at(partner)] = layout().pads[at(wish_[i])].partner;
  }
  first_signal_.assign(request_.buses.size(), -1);
  for (std::size_t i = wanted_.signals.size(); i-- > 0;)
    if (wanted_.signals[i].bus >= 0) first_signal_[at(wanted_.signals[i].bus)] = static_cast<int>(i);
}

void BusProblem::sort_kinds() {
  std::vector<bool> has_wish(request_.buses.size());
  for (std::size_t i = 0; i < wish_.size(); ++i)
    if (wish_[i] >= 0 && wanted_.signals[i].bus >= 0) has_wish[at(wanted_.signals[i].bus)] = true;
  for (std::size_t bus = 0; bus < request_.buses.size(); ++bus) {
    const auto same = std::find_if(kinds_.begin(), kinds_.end(), [&](BusKind const& kind) {
      const std::size_t first = at(kind.buses[0]);
      return !has_wish[first] && !has_wish[bus] && is_alike(request_.buses[first], request_.buses[bus]);
    });
    kind_of_.push_back(static_cast<int>(same - kinds_.begin()));
    if (same == kinds_.end())
      kinds_.push_back({{static_cast<int>(bus)}, 0});
    else
      same->buses.push_back(static_cast<int>(bus));
  }
  packed_ = {0};
  for (std::size_t kind = 0; kind < kinds_.size(); ++kind) {
    kinds_[kind].step = static_cast<int>(packed_.size());
    const std::vector<std::uint64_t> without = packed_;
    for (std::size_t count = 1; count <= kinds_[kind].buses.size(); ++count)
      for (const std::uint64_t others : without)
        packed_.push_back(others | std::uint64_t{count} << (kBitsOfCount * kind));
    guards_ |= std::uint64_t{1} << (kBitsOfCount * kind + kBitsOfCount - 1);
  }
  for (BusKind const& kind : kinds_) {
    KindSet fine = 0;
    for (std::size_t other = 0; other < kinds_.size(); ++other)
      if (bus_conflict(request_, kind.buses[0], kinds_[other].buses[0]).rule.empty()) fine |= 1u << other;
    beside_clock_ |= bus_conflict(request_, kSystemClockBus, kind.buses[0]).rule.empty() ? 1u << beside_.size() : 0;
    beside_.push_back(fine);
  }
}

int BusProblem::count(Selection selection, int kind) const {
  return static_cast<int>(packed_[at(selection)] >> (kBitsOfCount * kind) & ((1u << kBitsOfCount) - 1));
}

unsigned BusProblem::bit_of(int pad) const {
  std::vector<int> const& pads = map().nibbles[at(nibble_of(pad))].pads;
  return 1u << (std::find(pads.begin(), pads.end(), pad) - pads.begin());
}

void BusProblem::read_banks() {
  const auto taken = taken_by_bank(request_);
  std::vector<bool> is_gone(layout().pads.size());
  owned_.assign(map().nibbles.size(), false);
  for (TakenPad const& one : request_.taken) {
    is_gone[at(one.pad)] = true;
    if (one.owns_lane)
      for (const int nibble : nibbles_owned(request_, one)) owned_[at(nibble)] = true;
  }
  for (const int pad : wish_)
    if (pad >= 0) is_gone[at(pad)] = true;
  for (Nibble const& nibble : map().nibbles) {
    unsigned open = 0;
    for (std::size_t site = 0; site < nibble.pads.size(); ++site)
      if (!is_gone[at(nibble.pads[site])] &&
          pad_fault(layout().pads[at(nibble.pads[site])], needs_, request_.internal_reference).empty())
        open |= 1u << site;
    usable_.push_back(open);
  }
  for (NibbleBank const& bank : map().banks) {
    std::vector<bool> barred;
    for (int bus = 0; bus <= static_cast<int>(request_.buses.size()); ++bus) {
      const int which = bus < static_cast<int>(request_.buses.size()) ? bus : kSystemClockBus;
      barred.push_back(!bus_bank_fault(request_, needs_, which, bank.bank, taken[at(bank.bank)]).rule.empty());
    }
    barred_.push_back(std::move(barred));
  }
}

int BusProblem::lane_position(int bank, int nibble) const {
  return layout().lanes[at(map().nibbles[at(map().banks[at(bank)].first + nibble)].lane)].position;
}

std::vector<int> BusProblem::clock_pads(int index) const {
  NibbleBank const& bank = map().banks[at(index)];
  std::vector<int> pads;
  if (bank.master != index || barred_[at(index)].back()) return pads;
  const bool is_pair = request_.system_clock == SystemClock::differential;
  const int signal = static_cast<int>(wanted_.signals.size()) - (is_pair ? 2 : 1);
  const int wish = wish_[at(signal)];
  for (int nibble = bank.first; nibble < bank.first + bank.count; ++nibble)
    for (const int pad : map().nibbles[at(nibble)].pads) {
      PlacedPad const& placed = layout().pads[at(pad)];
      if (!placed.clock || !placed.positive || (is_pair && placed.partner < 0)) continue;
      const bool is_open = (usable_[at(nibble)] & bit_of(pad)) != 0 &&
                           (!is_pair || (usable_[at(nibble_of(placed.partner))] & bit_of(placed.partner)) != 0);
      if (wish >= 0 ? wish == pad : is_open) pads.push_back(pad);
    }
  return pads;
}

unsigned BusProblem::clock_mask(int pad) const {
  unsigned mask = bit_of(pad);
  if (request_.system_clock == SystemClock::differential) mask |= bit_of(layout().pads[at(pad)].partner);
  return mask;
}

BusProblem::View BusProblem::view(int bus, int index, int clock_pad) const {
  NibbleBank const& bank = map().banks[at(index)];
  Bus const& wanted = request_.buses[at(bus)];
  View view;
  view.is_barred = barred_[at(index)][at(bus)];
  view.is_pair = is_differential(wanted.standard);
  view.has_clock = wanted.clock != BusClock::none;
  view.clocks.resize(at(bank.count));
  view.pinned_data.resize(at(bank.count));
  const auto in_bank = [&](int pad) {
    return nibble_of(pad) >= bank.first && nibble_of(pad) < bank.first + bank.count;
  };
  for (int nibble = 0; nibble < bank.count; ++nibble) {
    unsigned open = owned_[at(bank.first + nibble)] ? 0 : usable_[at(bank.first + nibble)];
    if (clock_pad >= 0 && nibble_of(clock_pad) == bank.first + nibble) open &= ~clock_mask(clock_pad);
    view.open.push_back(open);
  }
  int pinned_clock = -1;
  for (std::size_t i = at(first_signal_[at(bus)]); i < wanted_.signals.size() && wanted_.signals[i].bus == bus; ++i) {
    BusSignal const& signal = wanted_.signals[i];
    if (signal.negative) continue;
    if (signal.role == Role::data && wish_[i] < 0) ++view.to_place;
    if (wish_[i] < 0) continue;
    if (!in_bank(wish_[i])) {
      view.is_barred = true;
      return view;
    }
    const int nibble = nibble_of(wish_[i]) - bank.first;
    view.pinned |= 1u << nibble;
    if (signal.role == Role::data)
      ++view.pinned_data[at(nibble)];
    else
      pinned_clock = wish_[i];
  }
  if (!view.has_clock) return view;
  const bool is_pair = is_differential(wanted.clock_standard);
  for (int nibble = 0; nibble < bank.count; ++nibble)
    for (const int pad : map().nibbles[at(bank.first + nibble)].pads) {
      PlacedPad const& placed = layout().pads[at(pad)];
      if (wanted.clock == BusClock::strobe && (!placed.strobe || !placed.positive)) continue;
      if (is_pair && (placed.partner < 0 || !placed.positive)) continue;
      const unsigned mask = bit_of(pad) | (is_pair ? bit_of(placed.partner) : 0);
      if (pinned_clock >= 0) {
        if (pinned_clock == pad) view.clocks[at(nibble)].push_back({pad, 0});
      } else if ((view.open[at(nibble)] & mask) == mask) {
        view.clocks[at(nibble)].push_back({pad, mask});
      }
    }
  return view;
}

// Data signals that have room in a nibble, of which `open` is left.
int BusProblem::room(View const& view, unsigned open, int nibble) const {
  if (!view.is_pair) return std::popcount(open);
  std::vector<int> const& pads = map().nibbles[at(nibble)].pads;
  int pairs = 0;
  for (std::size_t site = 0; site < pads.size(); ++site) {
    PlacedPad const& pad = layout().pads[at(pads[site])];
    if ((open >> site & 1) != 0 && pad.positive && pad.partner >= 0 && (open & bit_of(pad.partner)) != 0) ++pairs;
  }
  return pairs;
}

bool BusProblem::reaches(Bus const& bus, NibbleBank const& bank, int hops) const {
  if (bus.clock != BusClock::strobe) return true;
  return hops >= 0 && hops <= bank.most_hops && bit_slip(bus, bank, hops) < bus.ratio;
}

// By the set of nibbles that have its signals; of buses that are alike the same.
std::vector<Hops> const& BusProblem::way_costs(int bus, int index, int clock_pad) const {
  const auto [known, is_new] = costs_.try_emplace({kind_of(bus), index, clock_pad});
  std::vector<Hops>& costs = known->second;
  if (!is_new) return costs;
  NibbleBank const& bank = map().banks[at(index)];
  Bus const& wanted = request_.buses[at(bus)];
  const View seen = view(bus, index, clock_pad);
  const NibbleSet sets = 1u << bank.count;
  costs.assign(sets, kNoWay);
  if (seen.is_barred) return costs;
  std::vector<int> rooms;
  NibbleSet able = 0, pinned_data = 0;
  for (int nibble = 0; nibble < bank.count; ++nibble) {
    rooms.push_back(room(seen, seen.open[at(nibble)], bank.first + nibble));
    if (rooms.back() > 0 || seen.pinned_data[at(nibble)] > 0) able |= 1u << nibble;
    if (seen.pinned_data[at(nibble)] > 0) pinned_data |= 1u << nibble;
  }
  std::vector<int> all(sets);  // room of a set
  for (NibbleSet set = 1; set < sets; ++set) all[set] = all[set & (set - 1)] + rooms[at(std::countr_zero(set))];
  const auto is_good = [&](NibbleSet bare, int room_of_all) {
    return (bare & ~able) == 0 && room_of_all >= seen.to_place && std::popcount(bare & ~pinned_data) <= seen.to_place;
  };
  if (!seen.has_clock) {
    for (NibbleSet set = 1; set < sets; ++set)
      if ((seen.pinned & ~set) == 0 && is_good(set, all[set])) costs[set] = 0;
    return costs;
  }
  for (int home = 0; home < bank.count; ++home) {
    if (seen.clocks[at(home)].empty()) continue;
    int beside = 0;
    for (Site const& site : seen.clocks[at(home)])
      beside = std::max(beside, room(seen, seen.open[at(home)] & ~site.mask, bank.first + home));
    NibbleSet reach = 0;
    for (int nibble = 0; nibble < bank.count; ++nibble)
      if (reaches(wanted, bank, bank.hops[at(home)][at(nibble)])) reach |= 1u << nibble;
    for (NibbleSet set = 1; set < sets; ++set) {
      if ((set >> home & 1) == 0 || (set & ~reach) != 0 || (seen.pinned & ~set) != 0) continue;
      if (!is_good(set & ~(1u << home), all[set] - rooms[at(home)] + beside)) continue;
      int hops = 0;
      if (wanted.clock == BusClock::strobe)
        for (int nibble = 0; nibble < bank.count; ++nibble)
          if ((set >> nibble & 1) != 0) hops += bank.hops[at(home)][at(nibble)];
      costs[set] = std::min(costs[set], static_cast<Hops>(hops));
    }
  }
  return costs;
}

// Those of which none lies in another with as few hops.
std::vector<std::pair<NibbleSet, Hops>> const& BusProblem::least_ways(int kind, int bank, int clock_pad) const {
  const auto [known, is_new] = ways_.try_emplace({kind, bank, clock_pad});
  std::vector<std::pair<NibbleSet, Hops>>& least = known->second;
  if (!is_new) return least;
  std::vector<Hops> const& costs = way_costs(kinds_[at(kind)].buses[0], bank, clock_pad);
  std::vector<std::pair<NibbleSet, Hops>> all;
  for (NibbleSet set = 1; set < costs.size(); ++set)
    if (costs[set] != kNoWay) all.emplace_back(set, costs[set]);
  std::sort(all.begin(), all.end(), [](auto const& a, auto const& b) {
    return std::pair(std::popcount(a.first), a.first) < std::pair(std::popcount(b.first), b.first);
  });
  for (auto const& one : all)
    if (std::none_of(least.begin(), least.end(),
                     [&](auto const& other) { return (other.first & ~one.first) == 0 && other.second <= one.second; }))
      least.push_back(one);
  return least;
}

Fits const& BusProblem::fits(int bank, NibbleSet open, int clock_pad, KindSet kinds) const {
  const auto [own, is_new] = fits_.try_emplace({bank, open, clock_pad, kinds}, nullptr);
  if (!is_new) return *own->second;
  std::string state = states_[at(bank)] + " " + std::to_string(open) + " " + std::to_string(kinds);
  if (clock_pad >= 0)
    state += " " + std::to_string(nibble_of(clock_pad) - map().banks[at(bank)].first) + " " +
             std::to_string(clock_mask(clock_pad));
  const auto [known, is_first] = known_.try_emplace(std::move(state));
  if (is_first) known->second = found_fits(bank, open, clock_pad, kinds);
  own->second = &known->second;
  return known->second;
}

Fits BusProblem::found_fits(int bank, NibbleSet open, int clock_pad, KindSet kinds) const {
  Fits fits;
  struct Packed {
    Selection selection = 0;
    KindSet fine = 0;                              // that can be beside
    std::vector<std::pair<NibbleSet, Hops>> uses;  // each set once
  };
  std::vector<Packed> all{{0, kinds, {{0, 0}}}};
  std::vector<Hops> best(std::size_t{1} << map().banks[at(bank)].count, kNoWay);
  // Kind after kind, with one more of it as long as any fits.
  for (std::size_t kind = 0; kind < kinds_.size(); ++kind) {
    if ((kinds >> kind & 1) == 0) continue;
    std::vector<std::pair<NibbleSet, Hops>> ways;
    for (auto const& way : least_ways(static_cast<int>(kind), bank, clock_pad))
      if ((way.first & ~open) == 0) ways.push_back(way);
    if (ways.empty()) continue;
    std::size_t begin = 0;
    for (std::size_t count = 0; count < kinds_[kind].buses.size(); ++count) {
      const std::size_t end = all.size();
      for (; begin < end; ++begin) {
        if ((all[begin].fine >> kind & 1) == 0) continue;
        Packed more{all[begin].selection + kinds_[kind].step, all[begin].fine & beside(static_cast<int>(kind)), {}};
        std::vector<NibbleSet> reached;
        for (auto const& [used, hops] : all[begin].uses)
          for (auto const& [way, extra] : ways) {
            if ((used & way) != 0) continue;
            Hops& least = best[used | way];
            if (least == kNoWay) reached.push_back(used | way);
            least = std::min(least, static_cast<Hops>(hops + extra));
          }
        for (const NibbleSet set : reached) more.uses.emplace_back(set, std::exchange(best[set], kNoWay));
        if (!more.uses.empty()) all.push_back(std::move(more));
      }
    }
  }
  for (std::size_t i = 1; i < all.size(); ++i) {
    Hops least = kNoWay;
    for (auto const& [used, hops] : all[i].uses) least = std::min(least, hops);
    fits.emplace_back(all[i].selection, least);
  }
  return fits;
}

// The least pads, a signal at least in each nibble.
bool BusProblem::fill(View const& view, int bus, int index, NibbleSet nibbles, Site const& clock, int clock_nibble,
                      BusPlacing& placing) const {
  NibbleBank const& bank = map().banks[at(index)];
  std::vector<std::pair<int, int>> slots;  // pad, nibble
  int bare = 0;
  std::vector<bool> is_bare(at(bank.count));
  for (int nibble = 0; nibble < bank.count; ++nibble) {
    if ((nibbles >> nibble & 1) == 0) continue;
    const bool has_one = nibble == clock_nibble || view.pinned_data[at(nibble)] > 0;
    is_bare[at(nibble)] = !has_one;
    bare += has_one ? 0 : 1;
    const unsigned open = view.open[at(nibble)] & ~(nibble == clock_nibble ? clock.mask : 0);
    std::vector<int> const& pads = map().nibbles[at(bank.first + nibble)].pads;
    for (std::size_t site = 0; site < pads.size(); ++site) {
      PlacedPad const& pad = layout().pads[at(pads[site])];
      if ((open >> site & 1) == 0) continue;
      if (view.is_pair && (!pad.positive || pad.partner < 0 || (open & bit_of(pad.partner)) == 0)) continue;
      slots.emplace_back(pads[site], nibble);
    }
  }
  if (static_cast<int>(slots.size()) < view.to_place || bare > view.to_place) return false;
  std::sort(slots.begin(), slots.end());
  int left = view.to_place;
  std::vector<int> chosen;
  for (auto const& [pad, nibble] : slots) {
    if (left == 0) break;
    if (!is_bare[at(nibble)] && left == bare) continue;  // the rest is for nibbles that have none yet
    if (is_bare[at(nibble)]) --bare;
    is_bare[at(nibble)] = false;
    chosen.push_back(pad);
    --left;
  }
  if (left > 0 || bare > 0) return false;
  std::size_t next = 0;
  placing.pads.clear();
  for (std::size_t i = at(first_signal_[at(bus)]); i < wanted_.signals.size() && wanted_.signals[i].bus == bus; ++i) {
    BusSignal const& signal = wanted_.signals[i];
    if (signal.negative)
      placing.pads.push_back(layout().pads[at(placing.pads.back())].partner);
    else if (wish_[i] >= 0)
      placing.pads.push_back(wish_[i]);
    else
      placing.pads.push_back(signal.role == Role::data ? chosen[next++] : clock.pad);
  }
  return true;
}

void BusProblem::each_placing(int bus, int index, NibbleSet open, int clock_pad, int most_hops,
                              std::function<void(BusPlacing&&)> const& take) const {
  NibbleBank const& bank = map().banks[at(index)];
  Bus const& wanted = request_.buses[at(bus)];
  const View seen = view(bus, index, clock_pad);
  if (seen.is_barred) return;
  std::vector<Hops> const& costs = way_costs(bus, index, clock_pad);
  for (NibbleSet set = 1; set < costs.size(); ++set) {
    if (costs[set] == kNoWay || costs[set] > most_hops || (set & ~open) != 0) continue;
    if (!seen.has_clock) {
      BusPlacing placing{set, 0, {}};
      if (fill(seen, bus, index, set, {}, -1, placing)) take(std::move(placing));
      continue;
    }
    for (int home = 0; home < bank.count; ++home) {
      if ((set >> home & 1) == 0) continue;
      int hops = 0;
      bool reached = true;
      for (int nibble = 0; nibble < bank.count; ++nibble) {
        if ((set >> nibble & 1) == 0) continue;
        const int way = bank.hops[at(home)][at(nibble)];
        reached = reached && reaches(wanted, bank, way);
        hops += wanted.clock == BusClock::strobe ? way : 0;
      }
      if (!reached || hops > most_hops) continue;
      for (Site const& site : seen.clocks[at(home)]) {
        BusPlacing placing{set, static_cast<Hops>(hops), {}};
        if (fill(seen, bus, index, set, site, home, placing)) take(std::move(placing));
      }
    }
  }
}

}  // namespace kdi::planning
