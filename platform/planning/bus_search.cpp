// The levels of the objective, one after the other.
#include "platform/planning/bus_search.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <map>
#include <numeric>
#include <optional>
#include <utility>

namespace kdi::planning {
namespace {

constexpr int kNoPlan = INT_MAX;
constexpr std::size_t kFewBanks = 16;
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
    now_.costs.resize(at(problem.selections()) * kFlags, kNoPlan);
    next_ = now_;
  }

  bool is_possible() {
    least_banks_and_hops();
    return least_ != kNoPlan;
  }

  std::optional<BusPlan> run() {
    if (!is_possible()) return std::nullopt;
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

  // Costs by selection and flags, and those that are reached.
  struct Reached {
    std::vector<int> costs;  // kNoPlan for all others
    std::vector<std::pair<Selection, int>> all;
  };

  int& cost_of(Reached& reached, Selection some, int flags) const {
    return reached.costs[at(some) * kFlags + at(flags)];
  }

  // Where the buses are that a walk has not reached when it leaves a bank.
  enum class Left { in_walk, behind, anywhere };

  // What these take at least, by selection.
  std::vector<int> const& least_left(Left where, Room const& room, std::size_t bank, std::size_t end) {
    const std::size_t all = parts_[at(room.part)].banks.size();
    if (where == Left::anywhere) return rest(at(room.part), 0, all);
    return rest(at(room.part), bank + 1, where == Left::in_walk ? end : all);
  }

  // Walks banks of a part, whole triplets but for what is out of the room, from what is reached in `now_`. What then
  // takes more than `bound_` is left out.
  void walk(BusPart const& part, std::size_t begin, std::size_t end, Room const& room, Left where) {
    const int clock_bank = room.clock_pad < 0 ? -1 : bank_of_pad(room.clock_pad);
    const int clock_triplet = clock_bank < 0 ? -1 : problem_.map().banks[at(clock_bank)].triplet;
    // Of a room that is large what is behind is told by what is up to one of few ends, for which that is known.
    const std::size_t known_end =
        end - begin <= kFewBanks ? end : std::min((end / kFewBanks + 1) * kFewBanks, part.banks.size());
    // How many banks of a triplet are used counts where the user has a limit.
    const int most_of_triplet = problem_.request().most_banks_of_triplet;
    const bool counts_used = most_of_triplet < kBanksOfTriplet;
    int triplet = -1;
    for (std::size_t i = begin; i < end; ++i) {
      const int bank = part.banks[i];
      std::vector<int> const& left = least_left(where, room, i, known_end);
      NibbleBank const& here = problem_.map().banks[at(bank)];
      const bool is_new_triplet = here.triplet != triplet;
      triplet = here.triplet;
      const bool is_clock_triplet = triplet == clock_triplet;
      const bool has_decided = decided_.used[at(bank)] != 0;
      const NibbleSet open = open_nibbles(bank, room);
      fitting_.assign(1, {0, 0});
      if (open != 0) {
        std::vector<std::pair<Selection, Hops>> const& all =
            problem_.fits(bank, open, bank == clock_bank ? room.clock_pad : -1, kinds_beside(bank, clock_bank));
        for (auto const& one : all)
          if (problem_.adds(0, one.first, decided_.left)) fitting_.push_back(one);
      }
      const bool is_last_of_triplet = i + 1 == end || problem_.map().banks[at(part.banks[i + 1])].triplet != triplet;
      next_.all.clear();
      for (auto const& [some, flags] : now_.all) {
        const int cost = std::exchange(cost_of(now_, some, flags), kNoPlan);
        const int used_before = is_new_triplet ? 0 : flags / 2;
        for (auto const& [more, hops] : fitting_) {
          if (!problem_.adds(some, more, decided_.left)) continue;
          const bool has_bus = has_decided || more > 0;
          const bool is_used = has_bus || bank == clock_bank;
          const int used = used_before + (is_used && counts_used ? 1 : 0);
          if (used > most_of_triplet) continue;
          const bool clock_is_fine = (!is_new_triplet && flags % 2 != 0) || (is_clock_triplet && has_bus);
          if (is_last_of_triplet && is_clock_triplet && !clock_is_fine) continue;
          const int cost_then = cost + hops + (is_used ? kBank : 0);
          const int least_then = left[at(decided_.left - some - more)];
          if (least_then == kNoPlan || cost_then + least_then > bound_) continue;
          const int flags_then = is_last_of_triplet ? 0 : used * 2 + (clock_is_fine ? 1 : 0);
          int& least = cost_of(next_, some + more, flags_then);
          if (least == kNoPlan) next_.all.emplace_back(some + more, flags_then);
          least = std::min(least, cost_then);
        }
      }
      std::swap(now_, next_);
    }
  }

  // By selection what it takes at least to have that in banks of a part from `bank` to before `end`: without a system
  // clock, and whatever the limits of triplets are. Known from the end on.
  std::vector<int> const& rest(std::size_t part, std::size_t bank, std::size_t end) {
    const Selection whole = problem_.selections() - 1;
    std::vector<std::vector<int>>& known = rests_[{part, end}];
    if (known.empty()) {
      known.emplace_back(at(whole) + 1, kNoPlan);
      known[0][0] = 0;
    }
    while (known.size() <= end - bank) {
      std::vector<int> const& behind = known.back();
      std::vector<int> here = behind;
      const int next = parts_[part].banks[end - known.size()];
      const NibbleSet all = (1u << problem_.map().banks[at(next)].count) - 1;
      for (auto const& [more, hops] : problem_.fits(next, all, -1, (1u << problem_.kinds().size()) - 1))
        for (Selection some = 0; some + more <= whole; ++some) {
          if (behind[at(some)] == kNoPlan || !problem_.adds(some, more, whole)) continue;
          int& least = here[at(some + more)];
          least = std::min(least, behind[at(some)] + hops + kBank);
        }
      known.push_back(std::move(here));
    }
    return known[end - bank];
  }

  void start(int cost) {
    now_.all.assign(1, {0, 0});
    cost_of(now_, 0, 0) = cost;
  }

  // What is reached, by selection; a walk can be started after it.
  std::vector<int> take_reached() {
    std::vector<int> costs(at(decided_.left) + 1, kNoPlan);
    for (auto const& [some, flags] : now_.all) costs[at(some)] = std::exchange(cost_of(now_, some, flags), kNoPlan);
    return costs;
  }

  int within_limit(int cost) const {
    const int most = problem_.request().most_banks;
    return most > 0 && cost != kNoPlan && cost / kBank > most ? kNoPlan : cost;
  }

  // Those of a part's banks that have a lane in the room.
  std::pair<std::size_t, std::size_t> banks_in(Room const& room) const {
    BusPart const& part = parts_[at(room.part)];
    const auto begin = std::partition_point(part.banks.begin(), part.banks.end(), [&](int bank) {
      return problem_.lane_position(bank, problem_.map().banks[at(bank)].count - 1) < room.first;
    });
    const auto end = std::partition_point(begin, part.banks.end(),
                                          [&](int bank) { return problem_.lane_position(bank, 0) <= room.last; });
    return {static_cast<std::size_t>(begin - part.banks.begin()), static_cast<std::size_t>(end - part.banks.begin())};
  }

  // The least of banks and hops with the buses that are left, those that are decided included; bank after bank.
  int least_in(Room const& room) {
    if (room.clock_pad >= 0) {
      const int position = problem_.layout().lane_of_pad(room.clock_pad).position;
      if (position < room.first || position > room.last) return kNoPlan;
    }
    const auto [begin, end] = banks_in(room);
    if (end - begin <= kFewBanks) {
      const int least = rest(at(room.part), begin, end)[at(decided_.left)];
      if (least == kNoPlan || decided_.hops + least > bound_) return kNoPlan;
    }
    start(decided_.hops);
    walk(parts_[at(room.part)], begin, end, room, Left::in_walk);
    return within_limit(take_reached().back());
  }

  // The same of a whole part for each pad of the system clock, which changes nothing but its own triplet: so what is
  // reached before that and behind it is found once.
  void least_with_clocks(std::size_t index, std::vector<int> const& clock_pads) {
    BusPart const& part = parts_[index];
    std::vector<std::size_t> firsts;  // of triplets
    for (std::size_t i = 0; i < part.banks.size(); ++i)
      if (i == 0 ||
          problem_.map().banks[at(part.banks[i])].triplet != problem_.map().banks[at(part.banks[i - 1])].triplet)
        firsts.push_back(i);
    const std::size_t triplets = firsts.size();
    firsts.push_back(part.banks.size());
    const Room without{static_cast<int>(index), -1, 0, INT_MAX};
    std::vector<std::vector<int>> before(triplets + 1), behind(triplets + 1);
    const auto resume = [&](std::vector<int> const& costs) {
      now_.all.clear();
      for (std::size_t some = 0; some < costs.size(); ++some) {
        if (costs[some] == kNoPlan) continue;
        now_.all.emplace_back(static_cast<Selection>(some), 0);
        cost_of(now_, static_cast<Selection>(some), 0) = costs[some];
      }
    };
    start(0);
    before[0] = behind[triplets] = take_reached();
    for (std::size_t i = 0; i < triplets; ++i) {
      resume(before[i]);
      walk(part, firsts[i], firsts[i + 1], without, Left::behind);
      before[i + 1] = take_reached();
    }
    for (std::size_t i = triplets; i-- > 0;) {
      resume(behind[i + 1]);
      walk(part, firsts[i], firsts[i + 1], without, Left::anywhere);
      behind[i] = take_reached();
    }
    for (const int clock_pad : clock_pads) {
      const Room room{static_cast<int>(index), clock_pad, 0, INT_MAX};
      const auto own = std::lower_bound(part.banks.begin(), part.banks.end(), bank_of_pad(clock_pad));
      const std::size_t triplet = static_cast<std::size_t>(
          std::upper_bound(firsts.begin(), firsts.end() - 1, static_cast<std::size_t>(own - part.banks.begin())) -
          firsts.begin() - 1);
      resume(before[triplet]);
      walk(part, firsts[triplet], firsts[triplet + 1], room, Left::behind);
      const std::vector<int> reached = take_reached();
      int least = kNoPlan;
      for (std::size_t some = 0; some < reached.size(); ++some) {
        const int rest = behind[triplet + 1][reached.size() - 1 - some];
        if (reached[some] != kNoPlan && rest != kNoPlan) least = std::min(least, reached[some] + rest);
      }
      take_room(room, within_limit(least));
    }
  }

  void take_room(Room const& room, int cost) {
    if (cost < least_) rooms_.clear();
    if (cost != kNoPlan && cost <= least_) rooms_.push_back(room);
    least_ = std::min(least_, cost);
    bound_ = std::min(bound_, least_);
  }

  void least_in_part(std::size_t part) {
    const int index = static_cast<int>(part);
    if (problem_.request().system_clock == SystemClock::none) {
      const Room room{index, -1, 0, INT_MAX};
      take_room(room, least_in(room));
    } else if (const std::vector<int> clock_pads = clock_choices(problem_, parts_[part]); !clock_pads.empty()) {
      least_with_clocks(part, clock_pads);
    }
  }

  // With what there has to be without a system clock and limits of triplets, which mostly is enough, then with any
  // number of hops, then with ever more banks: what takes more is not walked. Each bus and the clock is in one bank, so
  // there are no more of them.
  void least_banks_and_hops() {
    const int limit = problem_.request().most_banks;
    const int most = std::min(static_cast<int>(problem_.request().buses.size()) + 1, limit > 0 ? limit : INT_MAX);
    const auto least_of = [&](std::size_t part) { return rest(part, 0, parts_[part].banks.size()).back(); };
    int least = kNoPlan;
    for (std::size_t part = 0; part < parts_.size(); ++part) least = std::min(least, least_of(part));
    if (least == kNoPlan) return;
    const auto within = [&](int bound) {
      bound_ = bound;
      for (std::size_t part = 0; part < parts_.size(); ++part)
        if (least_of(part) <= bound_) least_in_part(part);
    };
    const int banks = least / kBank;
    if (banks <= most) within(least);
    for (int more = 0, tried = banks - 1; least_ == kNoPlan && tried < most; more = 2 * more + 1) {
      tried = std::min(banks + more, most);
      within((tried + 1) * kBank - 1);
    }
  }

  // Rooms of so many lanes in which the least is possible; the first one only, or all.
  std::vector<Room> rooms_of(int lanes, bool all) {
    std::vector<Room> rooms;
    for (Room const& whole : rooms_) {
      std::vector<int> const& positions = positions_[at(whole.part)];
      auto first = positions.begin(), end = positions.end();
      if (whole.clock_pad >= 0) {  // which is in the room
        const int clock = problem_.layout().lane_of_pad(whole.clock_pad).position;
        first = std::lower_bound(positions.begin(), positions.end(), clock - lanes + 1);
        end = std::upper_bound(first, positions.end(), clock);
      }
      for (; first != end; ++first) {
        const Room room{whole.part, whole.clock_pad, *first, *first + lanes - 1};
        if (least_in(room) != least_) continue;
        rooms.push_back(room);
        if (!all) return rooms;
      }
    }
    return rooms;
  }

  // Twice as many until there are enough: a walk takes as long as its room is large, and few interfaces need a large
  // part of a large device.
  void least_lanes() {
    int whole = 0;
    for (BusPart const& part : parts_) {
      std::vector<int> positions;
      for (const int bank : part.banks)
        for (int nibble = 0; nibble < problem_.map().banks[at(bank)].count; ++nibble)
          positions.push_back(problem_.lane_position(bank, nibble));
      std::sort(positions.begin(), positions.end());
      positions.erase(std::unique(positions.begin(), positions.end()), positions.end());
      if (!positions.empty()) whole = std::max(whole, positions.back() - positions.front() + 1);
      positions_.push_back(std::move(positions));
    }
    int too_few = 0, enough = 1;
    while (enough < whole && rooms_of(enough, false).empty()) {
      too_few = enough;
      enough = std::min(2 * enough, whole);
    }
    while (enough - too_few > 1) {
      const int middle = too_few + (enough - too_few) / 2;
      (rooms_of(middle, false).empty() ? too_few : enough) = middle;
    }
    rooms_ = rooms_of(enough, true);
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

  // Whether the least is still possible in a room with a bus on pads.
  bool is_possible(Room const& room, int bus, Choice const& choice) {
    const KindSet kinds = decided_.kinds[at(choice.bank)];
    decided_.kinds[at(choice.bank)] |= 1u << problem_.kind_of(bus);
    decide(bus, choice, 1);
    const bool is_fine = least_in(room) == least_;
    decide(bus, choice, -1);
    decided_.kinds[at(choice.bank)] = kinds;
    return is_fine;
  }

  // The least pads of a bus in a room with which the least is still possible. Those of a bank come before all of the
  // next one, so the first bank that has any has the least.
  void least_pads_in(Room const& room, int bus, Choice& best) {
    const int clock_bank = room.clock_pad < 0 ? -1 : bank_of_pad(room.clock_pad);
    const KindSet own = 1u << problem_.kind_of(bus);
    std::vector<int> const& banks = parts_[at(room.part)].banks;
    const auto [begin, end] = banks_in(room);
    for (std::size_t i = begin; i < end && (best.bank < 0 || banks[i] <= best.bank); ++i) {
      const int bank = banks[i];
      const NibbleSet open = open_nibbles(bank, room);
      if (open == 0 || (kinds_beside(bank, clock_bank) & own) == 0) continue;
      std::vector<Choice> choices;
      problem_.each_placing(bus, bank, open, bank == clock_bank ? room.clock_pad : -1, least_ % kBank - decided_.hops,
                            [&](BusPlacing&& placing) {
                              if (best.bank < 0 || placing.pads < best.placing.pads)
                                choices.push_back({bank, std::move(placing)});
                            });
      std::sort(choices.begin(), choices.end(),
                [](Choice const& a, Choice const& b) { return a.placing.pads < b.placing.pads; });
      // What is left to others is what counts: where that is too little, less is as well.
      std::vector<std::pair<NibbleSet, Hops>> too_much;
      for (Choice& choice : choices) {
        BusPlacing const& placing = choice.placing;
        if (std::any_of(too_much.begin(), too_much.end(), [&](auto const& other) {
              return (other.first & ~placing.nibbles) == 0 && other.second <= placing.hops;
            }))
          continue;
        if (is_possible(room, bus, choice)) {
          best = std::move(choice);
          return;
        }
        too_much.emplace_back(placing.nibbles, placing.hops);
      }
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
  Reached now_, next_;  // none between calls
  std::vector<std::pair<Selection, Hops>> fitting_;
  std::map<std::pair<std::size_t, std::size_t>, std::vector<std::vector<int>>> rests_;  // by part and end
  int bound_ = kNoPlan;                                                                 // what takes more is of no use
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

namespace {

// What the pads that are asked for break, in words; of a pair that is asked for by half the other half is asked for as
// well.
std::string fault_of_wishes(BusRequest const& request, BusInterface const& wanted) {
  if (request.pad_of_signal.empty()) return {};
  std::vector<int> wishes = request.pad_of_signal;
  for (std::size_t i = 0; i < wishes.size(); ++i) {
    const int partner = wanted.signals[i].partner;
    if (wishes[i] < 0 || partner < 0 || wishes[at(partner)] >= 0) continue;
    wishes[at(partner)] = request.layout->pads[at(wishes[i])].partner;
  }
  const std::vector<Violation> broken = bus_violations(request, wanted, wishes);
  return broken.empty() ? std::string() : broken[0].text;
}

}  // namespace

bool can_place_buses(BusRequest const& request, BusInterface const& wanted, KnownFits* known) {
  if (!fault_of_wishes(request, wanted).empty()) return false;
  const BusProblem problem(request, wanted, known);
  const std::vector<BusPart> parts = parts_of(*request.nibbles, *request.layout);
  return Search(problem, parts, wanted).is_possible();
}

BusResult place_buses(BusRequest const& request, BusInterface const& wanted) {
  BusResult result;
  if (std::string fault = fault_of_wishes(request, wanted); !fault.empty()) {
    result.refutation.emplace().pinned = std::move(fault);
    return result;
  }
  const BusProblem problem(request, wanted);
  const std::vector<BusPart> parts = parts_of(*request.nibbles, *request.layout);
  result.plan = Search(problem, parts, wanted).run();
  if (!result.plan) result.refutation = refute_buses(problem, parts);
  return result;
}

}  // namespace kdi::planning
