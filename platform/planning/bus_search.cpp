// The levels of the objective, one after the other.
#include "platform/planning/bus_search.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <numeric>
#include <optional>
#include <utility>

namespace kdi::planning {
namespace {

constexpr int kNoPlan = INT_MAX;
constexpr int kBank = 1 << 16;  // banks count before hops

template <class Number>
std::size_t at(Number number) {
  return static_cast<std::size_t>(number);
}

// What an interface may be in: a part, the system clock on a pad, lanes from `first` to `last`.
struct Room {
  int part = 0;
  int clock_pad = -1;
  int first = 0;
  int last = INT_MAX;
};

// Buses that have their pads.
struct Decided {
  std::vector<NibbleSet> used;  // by bank of the map
  std::vector<KindSet> kinds;
  int hops = 0;
  Selection left = 0;
};

class Search {
 public:
  Search(BusProblem const& problem, std::vector<BusPart> const& parts, BusInterface const& wanted)
      : problem_(problem), parts_(parts), wanted_(wanted) {
    decided_.used.resize(problem.map().banks.size());
    decided_.kinds.resize(problem.map().banks.size());
    decided_.left = problem.selections() - 1;
    now_.resize(at(problem.selections()) * kFlags, kNoPlan);
    next_ = now_;
  }

  std::optional<BusPlan> run() {
    least_banks_and_hops();
    if (least_ == kNoPlan) return std::nullopt;
    least_lanes();
    least_off_centre();
    BusPlan plan;
    plan.pad_of_signal.resize(wanted_.signals.size(), -1);
    std::size_t signal = 0;
    for (std::size_t bus = 0; bus < problem_.request().buses.size(); ++bus)
      for (const int pad : least_pads(static_cast<int>(bus))) plan.pad_of_signal[signal++] = pad;
    if (signal < plan.pad_of_signal.size()) {
      int least = INT_MAX;
      for (Room const& room : rooms_) least = std::min(least, room.clock_pad);
      plan.pad_of_signal[signal++] = least;
      if (signal < plan.pad_of_signal.size()) plan.pad_of_signal[signal] = problem_.layout().pads[at(least)].partner;
    }
    plan.objective = bus_objective_of(problem_.request(), wanted_, plan.pad_of_signal);
    return plan;
  }

 private:
  // Of a bank of the part that is walked: how many of its triplet are used, and whether a bus is in the clock's.
  static constexpr int kFlags = (kBanksOfTriplet + 1) * 2;

  NibbleSet open_nibbles(int bank, Room const& room) const {
    NibbleSet open = 0;
    for (int nibble = 0; nibble < problem_.map().banks[at(bank)].count; ++nibble) {
      const int position = problem_.lane_position(bank, nibble);
      if (position >= room.first && position <= room.last) open |= 1u << nibble;
    }
    return open & ~decided_.used[at(bank)];
  }

  int bank_of_pad(int pad) const { return problem_.map().bank_of[at(problem_.layout().bank_of_pad(pad))]; }

  KindSet kinds_beside(int bank, int clock_bank) const {
    KindSet fine = bank == clock_bank ? problem_.beside_clock() : ~0u;
    for (std::size_t kind = 0; kind < problem_.kinds().size(); ++kind)
      if ((decided_.kinds[at(bank)] >> kind & 1) != 0) fine &= problem_.beside(static_cast<int>(kind));
    return fine & ((1u << problem_.kinds().size()) - 1);
  }

  // The least of banks and hops with the buses that are left, those that are decided included; bank after bank.
  int least_in(Room const& room) {
    BusPart const& part = parts_[at(room.part)];
    const int clock_bank = room.clock_pad < 0 ? -1 : bank_of_pad(room.clock_pad);
    const int clock_triplet = clock_bank < 0 ? -1 : problem_.map().banks[at(clock_bank)].triplet;
    if (clock_bank >= 0) {
      const int position = problem_.layout().lane_of_pad(room.clock_pad).position;
      if (position < room.first || position > room.last) return kNoPlan;
    }
    std::vector<std::pair<Selection, int>> reached{{0, 0}};  // with flags
    now_[0] = decided_.hops;
    int triplet = -1;
    for (const int bank : part.banks) {
      NibbleBank const& here = problem_.map().banks[at(bank)];
      const bool is_new_triplet = here.triplet != triplet;
      triplet = here.triplet;
      const bool is_clock_triplet = triplet == clock_triplet;
      const bool has_decided = decided_.used[at(bank)] != 0;
      const NibbleSet open = open_nibbles(bank, room);
      std::vector<std::pair<Selection, Hops>> fits{{0, 0}};
      if (open != 0) {
        std::vector<Hops> const& all =
            problem_.fits(bank, open, bank == clock_bank ? room.clock_pad : -1, kinds_beside(bank, clock_bank));
        for (Selection more = 1; more <= decided_.left; ++more)
          if (all[at(more)] != kNoWay && problem_.adds(0, more, decided_.left)) fits.emplace_back(more, all[at(more)]);
      }
      const bool is_last_of_triplet =
          bank == part.banks.back() || problem_.map().banks[at(bank) + 1].triplet != triplet;
      std::vector<std::pair<Selection, int>> then;
      for (auto const& [some, flags] : reached) {
        const int cost = now_[at(some) * kFlags + at(flags)];
        now_[at(some) * kFlags + at(flags)] = kNoPlan;
        const int used_before = is_new_triplet ? 0 : flags / 2;
        for (auto const& [more, hops] : fits) {
          if (!problem_.adds(some, more, decided_.left)) continue;
          const bool has_bus = has_decided || more > 0;
          const bool is_used = has_bus || bank == clock_bank;
          const int used = used_before + (is_used ? 1 : 0);
          if (used > problem_.request().most_banks_of_triplet) continue;
          const bool clock_is_fine = (!is_new_triplet && flags % 2 != 0) || (is_clock_triplet && has_bus);
          if (is_last_of_triplet && is_clock_triplet && !clock_is_fine) continue;
          const int flags_then = is_last_of_triplet ? 0 : used * 2 + (clock_is_fine ? 1 : 0);
          const int cost_then = cost + hops + (is_used ? kBank : 0);
          int& least = next_[at(some + more) * kFlags + at(flags_then)];
          if (least == kNoPlan) then.emplace_back(some + more, flags_then);
          least = std::min(least, cost_then);
        }
      }
      std::swap(now_, next_);
      reached = std::move(then);
    }
    int least = kNoPlan;
    for (auto const& [some, flags] : reached) {
      int& cost = now_[at(some) * kFlags + at(flags)];
      if (some == decided_.left) least = std::min(least, cost);
      cost = kNoPlan;
    }
    const int most = problem_.request().most_banks;
    return most > 0 && least != kNoPlan && least / kBank > most ? kNoPlan : least;
  }

  void least_banks_and_hops() {
    for (std::size_t part = 0; part < parts_.size(); ++part)
      for (const int clock_pad : clock_choices(problem_, parts_[part])) {
        const Room room{static_cast<int>(part), clock_pad, 0, INT_MAX};
        const int cost = least_in(room);
        if (cost < least_) rooms_.clear();
        if (cost != kNoPlan && cost <= least_) rooms_.push_back(room);
        least_ = std::min(least_, cost);
      }
  }

  // Rooms of so many lanes in which the least is possible; the first one only, or all.
  std::vector<Room> rooms_of(int lanes, bool all) {
    std::vector<Room> rooms;
    for (Room const& whole : rooms_)
      for (const int first : positions_[at(whole.part)]) {
        const Room room{whole.part, whole.clock_pad, first, first + lanes - 1};
        if (least_in(room) != least_) continue;
        rooms.push_back(room);
        if (!all) return rooms;
      }
    return rooms;
  }

  void least_lanes() {
    int most = 0;
    for (BusPart const& part : parts_) {
      std::vector<int> positions;
      for (const int bank : part.banks)
        for (int nibble = 0; nibble < problem_.map().banks[at(bank)].count; ++nibble)
          positions.push_back(problem_.lane_position(bank, nibble));
      std::sort(positions.begin(), positions.end());
      positions.erase(std::unique(positions.begin(), positions.end()), positions.end());
      if (!positions.empty()) most = std::max(most, positions.back() - positions.front() + 1);
      positions_.push_back(std::move(positions));
    }
    int too_few = 0;
    while (most - too_few > 1) {
      const int middle = too_few + (most - too_few) / 2;
      (rooms_of(middle, false).empty() ? too_few : most) = middle;
    }
    rooms_ = rooms_of(most, true);
  }

  int off_centre(Room const& room) const {
    if (room.clock_pad < 0) return 0;
    return std::abs(2 * problem_.layout().lane_of_pad(room.clock_pad).position - room.first - room.last);
  }

  void least_off_centre() {
    int least = INT_MAX;
    for (Room const& room : rooms_) least = std::min(least, off_centre(room));
    rooms_.erase(
        std::remove_if(rooms_.begin(), rooms_.end(), [&](Room const& room) { return off_centre(room) > least; }),
        rooms_.end());
  }

  struct Choice {
    int bank = -1;
    BusPlacing placing;
  };

  void decide(int bus, Choice const& choice, int sign) {
    const int kind = problem_.kind_of(bus);
    decided_.used[at(choice.bank)] ^= choice.placing.nibbles;
    decided_.hops += sign * choice.placing.hops;
    decided_.left -= sign * problem_.kinds()[at(kind)].step;
  }

  // The least pads of a bus in a room with which the least is still possible.
  void least_pads_in(Room const& room, int bus, Choice& best) {
    std::vector<Choice> choices;
    const int clock_bank = room.clock_pad < 0 ? -1 : bank_of_pad(room.clock_pad);
    const KindSet own = 1u << problem_.kind_of(bus);
    for (const int bank : parts_[at(room.part)].banks) {
      const NibbleSet open = open_nibbles(bank, room);
      if (open == 0 || (kinds_beside(bank, clock_bank) & own) == 0) continue;
      problem_.each_placing(bus, bank, open, bank == clock_bank ? room.clock_pad : -1, least_ % kBank - decided_.hops,
                            [&](BusPlacing&& placing) {
                              if (best.bank < 0 || placing.pads < best.placing.pads)
                                choices.push_back({bank, std::move(placing)});
                            });
    }
    std::vector<std::size_t> order(choices.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::sort(order.begin(), order.end(),
              [&](std::size_t a, std::size_t b) { return choices[a].placing.pads < choices[b].placing.pads; });
    for (const std::size_t index : order) {
      Choice& choice = choices[index];
      const KindSet kinds = decided_.kinds[at(choice.bank)];
      decided_.kinds[at(choice.bank)] |= own;
      decide(bus, choice, 1);
      const bool is_fine = least_in(room) == least_;
      decide(bus, choice, -1);
      decided_.kinds[at(choice.bank)] = kinds;
      if (!is_fine) continue;
      best = std::move(choice);
      return;
    }
  }

  std::vector<int> least_pads(int bus) {
    Choice best;
    for (Room const& room : rooms_) least_pads_in(room, bus, best);
    decided_.kinds[at(best.bank)] |= 1u << problem_.kind_of(bus);
    decide(bus, best, 1);
    // A room stays if it can have these pads, the system clock on none of them.
    rooms_.erase(std::remove_if(rooms_.begin(), rooms_.end(),
                                [&](Room const& room) { return !holds(room, best) || least_in(room) != least_; }),
                 rooms_.end());
    return best.placing.pads;
  }

  bool holds(Room const& room, Choice const& choice) const {
    std::vector<int> const& banks = parts_[at(room.part)].banks;
    if (std::find(banks.begin(), banks.end(), choice.bank) == banks.end()) return false;
    if (room.clock_pad >= 0) {
      const bool is_pair = problem_.request().system_clock == SystemClock::differential;
      const int partner = is_pair ? problem_.layout().pads[at(room.clock_pad)].partner : room.clock_pad;
      for (const int pad : choice.placing.pads)
        if (pad == room.clock_pad || pad == partner) return false;
      const int clock_bank = bank_of_pad(room.clock_pad);
      if (clock_bank == choice.bank && (decided_.kinds[at(clock_bank)] & ~problem_.beside_clock()) != 0) return false;
    }
    for (int nibble = 0; nibble < problem_.map().banks[at(choice.bank)].count; ++nibble) {
      const int position = problem_.lane_position(choice.bank, nibble);
      if ((choice.placing.nibbles >> nibble & 1) != 0 && (position < room.first || position > room.last)) return false;
    }
    return true;
  }

  BusProblem const& problem_;
  std::vector<BusPart> const& parts_;
  BusInterface const& wanted_;
  Decided decided_;
  std::vector<int> now_, next_;  // by selection and flags; kNoPlan between calls
  std::vector<Room> rooms_;
  std::vector<std::vector<int>> positions_;  // of lanes, by part
  int least_ = kNoPlan;
};

}  // namespace

std::vector<BusPart> parts_of(NibbleMap const& map, Layout const& layout) {
  std::vector<BusPart> parts;
  for (std::size_t i = 0; i < map.banks.size(); ++i) {
    PlacedBank const& bank = layout.banks[at(map.banks[i].bank)];
    if (parts.empty() || parts.back().column != bank.column || parts.back().slr != bank.slr)
      parts.push_back({bank.column, bank.slr, {}});
    parts.back().banks.push_back(static_cast<int>(i));
  }
  return parts;
}

std::vector<int> clock_choices(BusProblem const& problem, BusPart const& part) {
  if (problem.request().system_clock == SystemClock::none) return {-1};
  std::vector<int> pads;
  for (const int bank : part.banks)
    for (const int pad : problem.clock_pads(bank)) pads.push_back(pad);
  return pads;
}

BusResult place_buses(BusRequest const& request, BusInterface const& wanted) {
  BusResult result;
  if (!request.pad_of_signal.empty()) {
    // Of a pair that is asked for by half the other half is asked for as well.
    std::vector<int> wishes = request.pad_of_signal;
    for (std::size_t i = 0; i < wishes.size(); ++i) {
      const int partner = wanted.signals[i].partner;
      if (wishes[i] < 0 || partner < 0 || wishes[at(partner)] >= 0) continue;
      wishes[at(partner)] = request.layout->pads[at(wishes[i])].partner;
    }
    const std::vector<Violation> broken = bus_violations(request, wanted, wishes);
    if (!broken.empty()) {
      result.refutation.emplace().pinned = broken[0].text;
      return result;
    }
  }
  const BusProblem problem(request, wanted);
  const std::vector<BusPart> parts = parts_of(*request.nibbles, *request.layout);
  result.plan = Search(problem, parts, wanted).run();
  if (!result.plan) result.refutation = refute_buses(problem, parts);
  return result;
}

}  // namespace kdi::planning
