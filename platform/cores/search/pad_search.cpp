// The seats of functions on pads, as choices of which no two take one place: of each peripheral whether it stays, moves
// or is given up, and of each of its functions the group. What a peripheral and its functions have to agree on are
// places as well, which nobody can see: so the ways to seat a peripheral are never counted up, however many they are.
// Peripherals that have no pads in common are decided apart.
#include <algorithm>
#include <array>
#include <bit>
#include <map>
#include <numeric>
#include <set>
#include <utility>

#include "kdi/cores/Pads.h"
#include "platform/cores/search/pad_choices.h"

namespace kdi::cores {
namespace {

constexpr std::uint32_t kMostPads = 256;
constexpr std::size_t kMostFunctions = 1000;

class PadSet {
 public:
  void add(std::uint32_t pad) { words_[pad / 64] |= std::uint64_t{1} << pad % 64; }
  void add(PadSet const& other) {
    for (std::size_t i = 0; i < words_.size(); ++i) words_[i] |= other.words_[i];
  }
  bool meets(PadSet const& other) const { return !common(other).empty(); }
  bool within(PadSet const& other) const { return common(other) == *this; }
  bool empty() const { return (words_[0] | words_[1] | words_[2] | words_[3]) == 0; }
  PadSet common(PadSet const& other) const {
    PadSet result;
    for (std::size_t i = 0; i < words_.size(); ++i) result.words_[i] = words_[i] & other.words_[i];
    return result;
  }
  std::vector<std::uint32_t> pads() const {
    std::vector<std::uint32_t> all;
    for (std::uint32_t i = 0; i < words_.size(); ++i)
      for (std::uint64_t rest = words_[i]; rest != 0; rest &= rest - 1)
        all.push_back(i * 64 + static_cast<std::uint32_t>(std::countr_zero(rest)));
    return all;
  }
  friend bool operator==(PadSet const&, PadSet const&) = default;

 private:
  std::array<std::uint64_t, kMostPads / 64> words_{};
};

PadSet set_of(PadGroup const& group) {
  PadSet set;
  for (const std::uint32_t pad : group.pads) {
    if (pad >= kMostPads) throw PadError("pads are numbered from 0 to 255");
    set.add(pad);
  }
  return set;
}

void check(std::vector<PadFunction> const& functions) {
  if (functions.size() > kMostFunctions) throw PadError("at most 1000 functions");
  std::set<std::string> names;
  for (PadFunction const& function : functions) {
    if (!names.insert(function.name).second) throw PadError("two functions are called " + function.name);
    if (function.present >= function.groups.size()) throw PadError(function.name + " sits on none of its groups");
    for (PadGroup const& group : function.groups) set_of(group);
  }
}

// ------------------------------------------------------------------------------------------------------------ choices

// What is to be least, beside how many are given up.
struct Aim {
  int moved, given_up;  ///< the cost of each
};
constexpr Aim kGiveUpFewest{0, 1};
constexpr Aim kMoveFewest{1, 0};

struct Seat {
  std::size_t function, group;
};

struct Option {
  bool moves = false, gives_up = false;
  std::vector<std::uint32_t> places;  // pads, and behind them what has to be agreed on
  std::vector<Seat> seats;
};

using Choice = std::vector<Option>;  // the preferred first

struct Peripheral {
  std::string name;
  std::vector<std::size_t> functions;  // by name
};

// The groups that a function may take.
struct Groups {
  std::size_t function;
  bool may_stay;
  std::vector<std::pair<std::size_t, PadSet>> all;  // the present one first; none that takes all pads of one before it
};

// Choices that say where a peripheral sits.
class PeripheralChoices {
 public:
  PeripheralChoices(std::vector<PadFunction> const& functions, bool may_move, bool may_give_up)
      : functions_(functions), may_move_(may_move), may_give_up_(may_give_up) {}

  void add(Peripheral const& peripheral) {
    Option fixed;  // what functions with a single group take
    PadSet taken;
    std::vector<Groups> open;
    bool fits = true;
    for (const std::size_t function : peripheral.functions) {
      Groups groups = groups_of(function);
      if (groups.all.size() > 1) {
        open.push_back(std::move(groups));
        continue;
      }
      fits = fits && !groups.all.empty() && !groups.all.front().second.meets(taken);
      if (!fits) break;
      taken.add(groups.all.front().second);
      fixed.seats.push_back({function, groups.all.front().first});
      fixed.moves = fixed.moves || !groups.may_stay;
    }
    fixed.places = taken.pads();
    if (!fits)
      add_one({});
    else if (open.empty())
      add_one({fixed});
    else if (open.size() == 1)
      add_one(ways(fixed, taken, open.front()));
    else
      add_several(fixed, open);
  }

  std::vector<Choice> const& all() const { return all_; }
  std::uint32_t places() const { return places_; }

 private:
  Groups groups_of(std::size_t number) const {
    PadFunction const& function = functions_[number];
    Groups groups{number, false, {}};
    const auto add = [&](std::size_t g) {
      const PadSet pads = set_of(function.groups[g]);
      const auto serves = [&](auto const& before) { return before.second.within(pads); };
      if (!function.groups[g].closed && std::none_of(groups.all.begin(), groups.all.end(), serves))
        groups.all.emplace_back(g, pads);
    };
    add(function.present);
    groups.may_stay = !groups.all.empty();
    for (std::size_t g = 0; g < function.groups.size() && may_move_; ++g) add(g);
    return groups;
  }

  void add_one(Choice choice) {
    if (may_give_up_) choice.push_back({false, true, {}, {}});
    all_.push_back(std::move(choice));
  }

  // Each group of a function beside what the others take.
  Choice ways(Option const& fixed, PadSet const& taken, Groups const& groups) const {
    Choice choice;
    for (auto const& [g, pads] : groups.all) {
      if (pads.meets(taken)) continue;
      Option& option = choice.emplace_back(fixed);
      PadSet whole = taken;
      whole.add(pads);
      option.places = whole.pads();
      option.seats.push_back({groups.function, g});
      option.moves = option.moves || g != functions_[groups.function].present;
    }
    return choice;
  }

  // Whether it stays, moves or is given up; then each function. What does not go together shares a place: to stay with
  // a group that is not the present one, to be given up with any group, and to have none with not being given up.
  void add_several(Option const& fixed, std::vector<Groups> const& open) {
    Option stay = fixed, move = fixed, give_up{false, true, {}, {}};
    bool may_stay = !fixed.moves;
    move.moves = true;
    const std::size_t kinds = all_.size();
    all_.emplace_back();
    for (Groups const& groups : open) {
      const std::uint32_t elsewhere = places_++, somewhere = places_++, nowhere = places_++;
      may_stay = may_stay && groups.may_stay;
      stay.places.push_back(elsewhere);
      Choice& choice = all_.emplace_back();
      for (auto const& [g, pads] : groups.all) {
        Option& option = choice.emplace_back(Option{false, false, pads.pads(), {{groups.function, g}}});
        if (g != functions_[groups.function].present) option.places.push_back(elsewhere);
        option.places.push_back(somewhere);
      }
      if (!may_give_up_) continue;
      stay.places.push_back(nowhere);
      move.places.push_back(nowhere);
      give_up.places.insert(give_up.places.end(), {elsewhere, somewhere});
      choice.push_back({false, false, {nowhere}, {}});
    }
    if (may_stay) all_[kinds].push_back(std::move(stay));
    all_[kinds].push_back(std::move(move));
    if (may_give_up_) all_[kinds].push_back(std::move(give_up));
  }

  std::vector<PadFunction> const& functions_;
  bool may_move_, may_give_up_;
  std::vector<Choice> all_;
  std::uint32_t places_ = kMostPads;
};

std::vector<Peripheral> peripherals_of(std::vector<PadFunction> const& functions) {
  std::map<std::string, std::map<std::string, std::size_t>> by_name;
  for (std::size_t f = 0; f < functions.size(); ++f) by_name[functions[f].peripheral].emplace(functions[f].name, f);
  std::vector<Peripheral> all;
  for (auto const& [name, own] : by_name) {
    Peripheral& peripheral = all.emplace_back(Peripheral{name, {}});
    for (auto const& [function, number] : own) peripheral.functions.push_back(number);
  }
  return all;
}

// ------------------------------------------------------------------------------------------------------------- plans

class Planner {
 public:
  Planner(std::vector<PadFunction> const& functions, bool may_move, bool may_give_up, int steps)
      : functions_(functions), effort_(std::max(1, steps)) {
    check(functions);
    peripherals_ = peripherals_of(functions);
    PeripheralChoices choices(functions, may_move, may_give_up);
    for (Peripheral const& peripheral : peripherals_) choices.add(peripheral);
    choices_ = choices.all();
    chosen_.resize(choices_.size());
    find_parts(choices.places());
  }

  // Without giving up; false if that cannot be.
  bool seat_all() {
    return std::all_of(parts_.begin(), parts_.end(), [&](Part const& part) {
      return decide(part, first_least_of(request(part, kMoveFewest), effort_)).has_value();
    });
  }

  void give_up_only() {
    for (Part const& part : parts_)
      least_given_up_ += *decide(part, first_least_of(or_give_up(part, kGiveUpFewest), effort_));
  }

  void give_up_fewest() {
    for (Part const& part : parts_) {
      const PadChosen fewest = least_of(or_give_up(part, kGiveUpFewest), effort_);
      least_given_up_ += fewest.bound;
      PadChoices choices = request(part, kMoveFewest);
      choices.known = fewest.plan;
      choices.budget = 0;
      for (std::size_t i = 0; i < part.size(); ++i)
        *choices.budget += choices_[part[i]][(*fewest.plan)[i]].gives_up ? 1 : 0;
      decide(part, first_least_of(choices, effort_));
    }
  }

  PadPlan plan() const {
    PadPlan plan;
    plan.groups.resize(functions_.size());
    plan.unproven_within = effort_.is_spent() ? effort_.steps() : 0;
    plan.least_given_up = static_cast<std::size_t>(least_given_up_);
    for (std::size_t c = 0; c < choices_.size(); ++c)
      for (Seat const& seat : choices_[c][chosen_[c]].seats) plan.groups[seat.function] = seat.group;
    for (Peripheral const& peripheral : peripherals_) {
      std::vector<std::size_t> const& own = peripheral.functions;
      if (!plan.groups[own.front()])
        plan.given_up.push_back(peripheral.name);
      else if (std::any_of(own.begin(), own.end(),
                           [&](std::size_t f) { return *plan.groups[f] != functions_[f].present; }))
        plan.moved.push_back(peripheral.name);
    }
    return plan;
  }

 private:
  using Part = std::vector<std::size_t>;  // of the choices

  PadChoices request(Part const& part, Aim aim) const {
    PadChoices choices;
    for (const std::size_t c : part) {
      choices.options.emplace_back();
      for (Option const& option : choices_[c])
        choices.options.back().push_back({option.moves      ? aim.moved
                                          : option.gives_up ? aim.given_up
                                                            : 0,
                                          option.gives_up, option.places});
    }
    return choices;
  }

  // To be given up is everybody's last option.
  PadChoices or_give_up(Part const& part, Aim aim) const {
    PadChoices choices = request(part, aim);
    choices.known.emplace();
    for (auto const& options : choices.options) choices.known->push_back(options.size() - 1);
    return choices;
  }

  // Takes what was found, and returns what it costs at least; nothing if there is none.
  std::optional<int> decide(Part const& part, PadChosen const& found) {
    if (!found.plan) {
      if (effort_.is_spent())
        throw PadEffortError("no free assignment was found, nor proven not to be, within " +
                             std::to_string(effort_.steps()) + " steps");
      return std::nullopt;
    }
    for (std::size_t i = 0; i < part.size(); ++i) chosen_[part[i]] = (*found.plan)[i];
    return found.bound;
  }

  // Choices that some place may bring together, by way of others or not.
  void find_parts(std::uint32_t places) {
    std::vector<std::size_t> head(choices_.size());
    std::iota(head.begin(), head.end(), std::size_t{0});
    const auto find = [&](std::size_t c) {
      while (head[c] != c) c = head[c] = head[head[c]];
      return c;
    };
    std::vector<std::size_t> first(places, choices_.size());
    for (std::size_t c = 0; c < choices_.size(); ++c)
      for (Option const& option : choices_[c])
        for (const std::uint32_t place : option.places) {
          if (first[place] == choices_.size()) first[place] = c;
          const std::size_t a = find(first[place]), b = find(c);
          head[std::max(a, b)] = std::min(a, b);
        }
    std::map<std::size_t, Part> by_head;
    for (std::size_t c = 0; c < choices_.size(); ++c) by_head[find(c)].push_back(c);
    for (auto& [number, part] : by_head) parts_.push_back(std::move(part));
  }

  std::vector<PadFunction> const& functions_;
  std::vector<Peripheral> peripherals_;
  std::vector<Choice> choices_;
  std::vector<Part> parts_;
  std::vector<std::size_t> chosen_;  // by choice: an option
  PadEffort effort_;
  int least_given_up_ = 0;
};

}  // namespace

std::string text_of(PadPlan const& plan) {
  if (plan.unproven_within == 0) return {};
  return "not proven within " + std::to_string(plan.unproven_within) + " steps: gives up " +
         std::to_string(plan.given_up.size()) + ", at least " + std::to_string(plan.least_given_up) +
         " have to be given up; moves " + std::to_string(plan.moved.size());
}

std::vector<PadConflict> conflicts(std::vector<PadFunction> const& functions) {
  check(functions);
  std::vector<PadSet> seats;
  for (PadFunction const& function : functions) seats.push_back(set_of(function.groups[function.present]));
  std::vector<PadConflict> all;
  for (std::size_t a = 0; a < functions.size(); ++a)
    for (std::size_t b = a + 1; b < functions.size(); ++b)
      if (seats[a].meets(seats[b])) all.push_back({a, b, seats[a].common(seats[b]).pads()});
  return all;
}

std::optional<PadPlan> free_assignment(std::vector<PadFunction> const& functions, int steps) {
  Planner planner(functions, true, false, steps);
  return planner.seat_all() ? std::optional(planner.plan()) : std::nullopt;
}

PadPlan nearest_repair(std::vector<PadFunction> const& functions, PadRepair repair, int steps) {
  const bool may_move = repair == PadRepair::fewest_given_up;  // nobody has to, if others may be given up
  Planner planner(functions, may_move, true, steps);
  if (may_move)
    planner.give_up_fewest();
  else
    planner.give_up_only();
  return planner.plan();
}

}  // namespace kdi::cores
