// Obstacles are the smallest set with an element of each group that is known to be needed, until one is enough: a set
// that is too little, with all beside it that is too little still, shows such a group in what it has not.
#include <bit>
#include <climits>
#include <cstdlib>
#include <map>
#include <set>

#include "kdi/common/KdiText.h"
#include "kdi/planning/BusDiagnosis.h"
#include "platform/planning/bus_facts.h"
#include "platform/planning/bus_search.h"
#include "platform/planning/steps.h"

namespace kdi::planning {
namespace {

constexpr int kMostPlans = 400;
constexpr int kMostTogether = 3;  // elements of a set that is proven to be the smallest

/// A request whose signals are known by name, since changes number them anew.
struct Wish {
  BusRequest request;
  std::map<std::string, int> pads;  // by signal
  std::vector<int> other_banks;
};

BusRequest request_of(Wish const& wish) {
  BusRequest request = wish.request;
  const BusInterface wanted = bus_interface_of(request);
  if (wish.pads.empty()) return request;
  for (BusSignal const& signal : wanted.signals) {
    const auto pad = wish.pads.find(signal.name);
    request.pad_of_signal.push_back(pad == wish.pads.end() ? -1 : pad->second);
  }
  return request;
}

Wish wish_of(BusRequest const& request, std::vector<int> const& other_banks) {
  Wish wish{request, {}, other_banks};
  wish.request.pad_of_signal.clear();
  const BusInterface wanted = bus_interface_of(wish.request);
  for (std::size_t i = 0; i < request.pad_of_signal.size(); ++i)
    if (request.pad_of_signal[i] >= 0) wish.pads.emplace(wanted.signals[i].name, request.pad_of_signal[i]);
  return wish;
}

/// Buses, and perhaps the system clock, of which a pad is asked for; with the names of these signals.
std::map<int, std::vector<std::string>> asked_by_bus(Wish const& wish) {
  std::map<int, std::vector<std::string>> asked;
  for (BusSignal const& signal : bus_interface_of(wish.request).signals)
    if (wish.pads.contains(signal.name)) asked[signal.bus].push_back(signal.name);
  return asked;
}

bool needs_system_clock(BusRequest const& request) {
  return std::any_of(request.buses.begin(), request.buses.end(), [](Bus const& bus) {
    return bus.clock == BusClock::none && bus.direction != BusDirection::transmit;
  });
}

void select_all(Wish& wish) {
  wish.request.banks.insert(wish.request.banks.end(), wish.other_banks.begin(), wish.other_banks.end());
}

void forget(Wish& wish, std::vector<std::string> const& signals) {
  for (std::string const& name : signals) wish.pads.erase(name);
}

std::string name_of(BusRequest const& request, int bus) {
  return bus < 0 ? "the system clock" : request.buses[static_cast<std::size_t>(bus)].name;
}

class Planner {
 public:
  bool is_possible(Wish const& wish) {
    if (wish.request.buses.empty()) return true;
    ++plans_;
    try {
      const BusRequest request = request_of(wish);
      return can_place_buses(request, bus_interface_of(request), &known_);
    } catch (std::string const&) {
      return false;  // no such bus
    }
  }
  int plans() const { return plans_; }

 private:
  KnownFits known_;
  int plans_ = 0;
};

// ------------------------------------------------------------------------------------------------------- obstacles

struct Element {
  Obstacle obstacle;
  std::function<void(Wish&)> leave_out;
};

std::vector<Element> elements_of(Wish const& wish) {
  BusRequest const& request = wish.request;
  std::vector<Element> elements;
  const auto add = [&](std::string rule, std::string text, std::function<void(Wish&)> leave_out) {
    elements.push_back({{std::move(rule), std::move(text)}, std::move(leave_out)});
  };
  for (auto const& [bus, signals] : asked_by_bus(wish))
    add("as-asked", "the pads that are asked for, of " + name_of(request, bus),
        [names = signals](Wish& one) { forget(one, names); });
  if (!wish.other_banks.empty()) add("bank-selection", "the banks that are selected", select_all);
  if (request.most_banks > 0)
    add("bank-limit", "at most " + std::to_string(request.most_banks) + " banks",
        [](Wish& one) { one.request.most_banks = 0; });
  if (request.most_banks_of_triplet < kBanksOfTriplet)
    add("triplet-banks", "at most " + std::to_string(request.most_banks_of_triplet) + " banks of a triplet",
        [](Wish& one) { one.request.most_banks_of_triplet = kBanksOfTriplet; });
  if (!request.internal_reference)
    add("reference-pad", "the reference voltage that comes from outside",
        [](Wish& one) { one.request.internal_reference = true; });
  if (request.system_clock != SystemClock::none && !needs_system_clock(request))
    add("system-clock-site", "the pads of the system clock",
        [](Wish& one) { one.request.system_clock = SystemClock::none; });
  if (!request.taken.empty())
    add("pad-free", "the pads that others have", [](Wish& one) { one.request.taken.clear(); });
  for (Bus const& bus : request.buses)
    add("nibble-owner", bus.name + ", which has nibbles of its own", [name = bus.name](Wish& one) {
      std::erase_if(one.request.buses, [&](Bus const& other) { return other.name == name; });
    });
  return elements;
}

class Obstacles {
  using Set = std::uint32_t;  // of elements

 public:
  Obstacles(Wish const& wish, Planner& planner) : wish_(wish), planner_(planner), elements_(elements_of(wish)) {}

  void find(BusDiagnosis& diagnosis) {
    const Set all = (Set{1} << elements_.size()) - 1;
    std::optional<Set> without;
    while (planner_.plans() < kMostPlans) {
      without = smallest();
      if (!without || is_possible(*without)) break;
      groups_.push_back(all & ~largest(*without, all));
    }
    diagnosis.is_smallest = without && planner_.plans() < kMostPlans;
    if (!diagnosis.is_smallest) without = irreducible(all);
    for (std::size_t i = 0; i < elements_.size(); ++i)
      if ((*without >> i & 1) != 0) diagnosis.obstacles.push_back(elements_[i].obstacle);
  }

  /// Whether a bus may be one without which alone there is a plan. Where it is not, no other form of it helps either.
  bool may_help(std::size_t bus) const {
    const Set one = Set{1} << (elements_.size() - wish_.request.buses.size() + bus);
    return std::all_of(groups_.begin(), groups_.end(), [&](Set group) { return (group & one) != 0; });
  }

 private:
  bool is_possible(Set without) {
    Wish wish = wish_;
    for (std::size_t i = 0; i < elements_.size(); ++i)
      if ((without >> i & 1) != 0) elements_[i].leave_out(wish);
    return planner_.is_possible(wish);
  }

  // The first by the order of elements, of few elements.
  std::optional<Set> smallest() const {
    const auto hits = [&](Set set) {
      return std::all_of(groups_.begin(), groups_.end(), [&](Set group) { return (group & set) != 0; });
    };
    const auto of = [&](auto self, Set set, std::size_t from, int left) -> std::optional<Set> {
      if (left == 0) return hits(set) ? std::optional(set) : std::nullopt;
      for (std::size_t i = from; i < elements_.size(); ++i)
        if (const auto found = self(self, set | Set{1} << i, i + 1, left - 1)) return found;
      return std::nullopt;
    };
    for (int size = groups_.empty() ? 0 : 1; size <= kMostTogether; ++size)
      if (const auto found = of(of, 0, 0, size)) return found;
    return std::nullopt;
  }

  // A set that is too little with all that can be put to it, in halves.
  Set largest(Set without, Set all) {
    const auto put = [&](auto self, Set more) -> void {
      more &= ~without;
      if (more == 0) return;
      if (!is_possible(without | more)) {
        without |= more;
        return;
      }
      if (std::has_single_bit(more)) return;
      Set half = 0;
      for (Set left = more; std::popcount(half) < std::popcount(more) / 2; left &= left - 1) half |= left & -left;
      self(self, half);
      self(self, more & ~half);
    };
    put(put, all);
    return without;
  }

  Set irreducible(Set without) {
    for (std::size_t i = elements_.size(); i-- > 0;)
      if (const Set fewer = without & ~(Set{1} << i); is_possible(fewer)) without = fewer;
    return without;
  }

  Wish const& wish_;
  Planner& planner_;
  std::vector<Element> elements_;
  std::vector<Set> groups_;  // of which an element is needed
};

// ------------------------------------------------------------------------------------------------- nearest plans

using Steps = std::vector<Step<Wish>>;

Steps other_orders(Wish const& wish) {
  Steps steps;
  for (auto const& [bus, signals] : asked_by_bus(wish))
    steps.push_back({name_of(wish.request, bus) + " on other pads than asked for",
                     [names = signals](Wish& one) { forget(one, names); }});
  if (steps.size() > 1) steps.push_back({"all on other pads than asked for", [](Wish& one) { one.pads.clear(); }});
  return steps;
}

// Those nearest to the ones that are selected: one by one where few are, then ever more together.
Steps more_banks(Wish const& wish) {
  constexpr std::size_t kSingly = 4;
  Layout const& layout = *wish.request.layout;
  const auto at = [&](int number) -> PlacedBank const& {
    return layout.banks[static_cast<std::size_t>(layout.bank_of_number(number))];
  };
  std::vector<std::pair<int, int>> others;  // distance, number
  for (const int number : wish.other_banks) {
    int distance = 1000;
    for (const int selected : wish.request.banks)
      if (at(selected).column == at(number).column)
        distance = std::min(distance, std::abs(at(selected).row - at(number).row));
    others.emplace_back(distance, number);
  }
  std::sort(others.begin(), others.end());
  Steps steps;
  const auto add = [&](std::vector<int> const& banks) {
    std::vector<std::string> names;
    for (const int bank : banks) names.push_back(std::to_string(bank));
    steps.push_back(
        {(banks.size() == 1 ? "bank " : "banks ") + text::joined(names, " ") + " as well",
         [banks](Wish& one) { one.request.banks.insert(one.request.banks.end(), banks.begin(), banks.end()); }});
  };
  for (std::size_t i = 0; i < std::min(kSingly, others.size()); ++i) add({others[i].second});
  for (std::size_t count = 2; others.size() > 1; count = std::min(2 * count, others.size())) {
    std::vector<int> banks;
    for (std::size_t i = 0; i < count; ++i) banks.push_back(others[i].second);
    add(banks);
    if (count == others.size()) break;
  }
  return steps;
}

Steps wider_limits(Wish const& wish) {
  Steps steps;
  if (wish.request.most_banks == 0) return steps;
  for (int banks = wish.request.most_banks + 1; banks <= static_cast<int>(wish.request.buses.size()) + 1; ++banks)
    steps.push_back({std::to_string(banks) + " banks instead of " + std::to_string(wish.request.most_banks),
                     [banks](Wish& one) { one.request.most_banks = banks; }});
  return steps;
}

Steps more_of_triplets(Wish const& wish) {
  Steps steps;
  const int before = wish.request.most_banks_of_triplet;
  for (int banks = before + 1; banks <= kBanksOfTriplet; ++banks)
    steps.push_back({std::to_string(banks) + " banks of a triplet instead of " + std::to_string(before),
                     [banks](Wish& one) { one.request.most_banks_of_triplet = banks; }});
  return steps;
}

Steps inner_reference(Wish const& wish) {
  if (wish.request.internal_reference) return {};
  return {{"the reference voltage made inside", [](Wish& one) { one.request.internal_reference = true; }}};
}

Steps no_clock(Wish const& wish) {
  if (wish.request.system_clock == SystemClock::none || needs_system_clock(wish.request)) return {};
  return {{"a system clock from within the device", [](Wish& one) {
             one.request.system_clock = SystemClock::none;
             for (char const* const name : {"sys_clk", "sys_clk_p", "sys_clk_n"}) one.pads.erase(name);
           }}};
}

std::size_t index_of(Wish const& wish, std::string const& bus) {
  std::vector<Bus> const& buses = wish.request.buses;
  return static_cast<std::size_t>(
      std::find_if(buses.begin(), buses.end(), [&](Bus const& one) { return one.name == bus; }) - buses.begin());
}

// The parts are as wide as each other but for one signal, and are clocked each by its own.
void split(Wish& wish, std::string const& name, int parts) {
  const std::size_t at = index_of(wish, name);
  const Bus whole = wish.request.buses[at];
  wish.request.buses.erase(wish.request.buses.begin() + static_cast<std::ptrdiff_t>(at));
  for (int part = parts; part-- > 0;) {
    Bus one = whole;
    one.name += "_" + std::to_string(part);
    one.width = whole.width / parts + (part < whole.width % parts ? 1 : 0);
    wish.request.buses.insert(wish.request.buses.begin() + static_cast<std::ptrdiff_t>(at), one);
  }
}

Steps splits(Wish const& wish, std::vector<std::size_t> const& buses) {
  constexpr int kMostParts = 4;
  Steps steps;
  for (const int parts : {2, 3, kMostParts})
    for (const std::size_t i : buses) {
      Bus const& bus = wish.request.buses[i];
      if (bus.width < parts || wish.request.buses.size() + static_cast<std::size_t>(parts) > kMostBuses + 1) continue;
      steps.push_back({bus.name + " as " + std::to_string(parts) + " buses",
                       [name = bus.name, parts](Wish& one) { split(one, name, parts); }});
    }
  return steps;
}

Steps slower(Wish const& wish) {
  Steps steps;
  for (int divisor = 2; divisor <= 16; divisor *= 2) {
    bool is_whole = true;
    for (Bus const& bus : wish.request.buses) is_whole = is_whole && bus.rate_mbps % divisor == 0;
    if (!is_whole) break;
    steps.push_back({"a rate divided by " + std::to_string(divisor), [divisor](Wish& one) {
                       for (Bus& bus : one.request.buses) bus.rate_mbps /= divisor;
                     }});
  }
  return steps;
}

Steps freed_pads(Wish const& wish) {
  Layout const& layout = *wish.request.layout;
  std::set<int> banks;
  for (TakenPad const& one : wish.request.taken) banks.insert(layout.bank_of_pad(one.pad));
  Steps steps;
  for (const int bank : banks)
    steps.push_back(
        {"without the pads of others in bank " + std::to_string(layout.banks[static_cast<std::size_t>(bank)].number),
         [bank](Wish& one) {
           std::erase_if(one.request.taken,
                         [&](TakenPad const& pad) { return one.request.layout->bank_of_pad(pad.pad) == bank; });
         }});
  if (banks.size() > 1) steps.push_back({"without the pads of others", [](Wish& one) { one.request.taken.clear(); }});
  return steps;
}

void narrow(Wish& wish, std::string const& name, int width) { wish.request.buses[index_of(wish, name)].width = width; }

// Of all buses that do when they are narrower the one that loses the fewest signals: what has a plan has one with fewer
// as well.
Steps narrower(Wish const& wish, std::vector<std::size_t> const& buses, Planner& planner) {
  Steps steps;
  int least = INT_MAX;
  for (const std::size_t i : buses) {
    Bus const& bus = wish.request.buses[i];
    const auto is_possible = [&](int width) {
      Wish one = wish;
      narrow(one, bus.name, width);
      return planner.is_possible(one);
    };
    if (bus.width == 1 || !is_possible(1)) continue;
    int enough = 1, too_many = bus.width;
    while (too_many - enough > 1) {
      const int middle = enough + (too_many - enough) / 2;
      (is_possible(middle) ? enough : too_many) = middle;
    }
    if (bus.width - enough >= least) continue;
    least = bus.width - enough;
    steps = {{bus.name + " with " + std::to_string(enough) + " signals instead of " + std::to_string(bus.width),
              [name = bus.name, enough](Wish& one) { narrow(one, name, enough); }}};
  }
  return steps;
}

/// `buses` are those of which another form may help.
std::vector<NearBusPlan> nearest(Wish const& wish, std::vector<std::size_t> const& buses, Planner& planner) {
  std::vector<StepKind<Wish>> kinds = {{"order", other_orders(wish), true, true},
                                       {"bank", more_banks(wish)},
                                       {"limit", wider_limits(wish)},
                                       {"triplet", more_of_triplets(wish)},
                                       {"reference", inner_reference(wish)},
                                       {"clock", no_clock(wish)},
                                       {"split", splits(wish, buses), false},
                                       {"slower", slower(wish)},
                                       {"narrower", narrower(wish, buses, planner)},
                                       {"others", freed_pads(wish), true, true}};
  std::erase_if(kinds, [](StepKind<Wish> const& kind) { return kind.steps.empty(); });
  const auto is_possible = [&](Wish const& one) { return planner.is_possible(one); };
  const auto planned = [](Wish const& one, std::string change, std::string text) -> std::optional<NearBusPlan> {
    BusRequest request = request_of(one);
    BusResult result = place_buses(request, bus_interface_of(request));
    if (!result.plan) return std::nullopt;
    return NearBusPlan{std::move(change), std::move(text), std::move(request), std::move(*result.plan)};
  };
  const auto first = [&](auto const& one, auto const& kind) { return first_possible(one, kind, is_possible); };
  std::vector<NearBusPlan> plans = nearest_by_one<NearBusPlan>(wish, kinds, first, planned);
  return plans.empty() ? nearest_by_several<NearBusPlan>(wish, kinds, is_possible, first, planned) : plans;
}

}  // namespace

BusDiagnosis diagnose_buses(BusRequest const& request, std::vector<int> const& other_banks) {
  const Wish wish = wish_of(request, other_banks);
  BusDiagnosis diagnosis;
  Planner planner;
  diagnosis.is_possible = planner.is_possible(wish);
  if (!diagnosis.is_possible) {
    Obstacles obstacles(wish, planner);
    obstacles.find(diagnosis);
    const auto asked = asked_by_bus(wish);  // of these the signals stay as they are
    std::vector<std::size_t> buses;
    for (std::size_t i = 0; i < wish.request.buses.size(); ++i)
      if (!asked.contains(static_cast<int>(i)) && obstacles.may_help(i)) buses.push_back(i);
    diagnosis.nearest = nearest(wish, buses, planner);
  }
  diagnosis.plans = planner.plans();
  return diagnosis;
}

}  // namespace kdi::planning
