// Whether a proof that buses have no place is one. It shares no code with the planner.
#pragma once

#include <algorithm>
#include <map>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "tests/support/random_buses.h"

namespace test_support::buses {

/// What is said of a bank is tried with all sets of nibbles, and then all choices of what is said.
class RefutationCheck {
  using Set = unsigned;

 public:
  explicit RefutationCheck(Question const& question)
      : question_(question), board_(question.board), facts_(question.facts), empty_(board_, facts_) {
    for (auto const& [ball, pin] : board_.pins) ball_of_pad_[pin.pad] = ball;
  }

  /// Empty if it is a proof; else what is wrong with it.
  std::string fault(planning::BusRefutation const& why) {
    if (!why.pinned.empty()) return pinned();
    std::set<std::pair<int, int>> parts;
    for (auto const& [number, bank] : board_.banks) parts.insert({bank.column, bank.slr});
    for (auto const& [column, slr] : parts) {
      const auto part = std::find_if(why.parts.begin(), why.parts.end(), [&, c = column, s = slr](auto const& one) {
        return one.column == c && one.slr == s;
      });
      if (part == why.parts.end()) return "a part is missing";
      std::map<int, std::vector<Set>> most;  // by number of the bank
      for (auto const& [number, bank] : board_.banks) {
        if (bank.column != column || bank.slr != slr) continue;
        const auto of = std::find_if(part->banks.begin(), part->banks.end(),
                                     [&, n = number](auto const& one) { return number_of(one) == n; });
        most[number] = of == part->banks.end() ? std::vector<Set>{} : of->most;
        const std::string fault = bank_fault(most[number], number, "");
        if (!fault.empty()) return fault;
      }
      if (facts_.system_standard.empty()) {
        const std::string fault = choice_fault(most, "");
        if (!fault.empty()) return fault;
        continue;
      }
      for (std::string const& clock : clock_balls(column, slr)) {
        const auto one = std::find_if(part->clocks.begin(), part->clocks.end(),
                                      [&](auto const& each) { return question_.pad(each.pad).ball == clock; });
        if (one == part->clocks.end()) return "the clock on " + clock + " is missing";
        const int own = board_.pins.at(clock).bank;
        if (number_of(one->bank) != own) return "the clock on " + clock + " is in another bank";
        std::string fault = bank_fault(one->bank.most, own, clock);
        if (!fault.empty()) return fault;
        std::map<int, std::vector<Set>> beside = most;
        beside[own] = one->bank.most;
        fault = choice_fault(beside, clock);
        if (!fault.empty()) return fault;
      }
    }
    return {};
  }

 private:
  int number_of(planning::BusRefutation::BankFits const& one) const {
    return question_.layout.banks[static_cast<std::size_t>(one.bank)].number;
  }

  std::string pinned() const {
    Checker checker = empty_;
    for (auto const& [name, ball] : facts_.wishes) {
      if (ball.empty()) return {};
      checker.put(name, ball);
      // The other half of a pair goes along.
      Role const& role = checker.signals().at(name);
      if (!role.is_pair || facts_.wishes.count(role.mate) != 0) continue;
      const auto pin = board_.pins.find(ball);
      if (pin == board_.pins.end() || pin->second.mate == "-") return {};
      const auto mate = std::find_if(board_.pins.begin(), board_.pins.end(),
                                     [&](auto const& each) { return each.second.pad == pin->second.mate; });
      if (mate == board_.pins.end()) return {};
      checker.put(role.mate, mate->first);
    }
    if (!checker.broken().empty()) return {};
    // A bus goes whole where one of its signals is asked for.
    for (auto const& [name, ball] : facts_.wishes) {
      const int bus = roles().at(name).bus, number = board_.pins.at(ball).bank;
      if (bus >= 0 && board_.banks.count(number) != 0 && !bus_may(bus, number, "")) return {};
    }
    return "what is asked for breaks no rule";
  }

  // Whether signals by themselves can be on pads: nothing but what is asked of single signals and banks.
  bool is_fine(std::vector<std::pair<std::string, std::string>> const& seats) const {
    Checker checker = empty_;
    for (auto const& [name, ball] : seats) checker.put(name, ball);
    std::set<std::string> rules = checker.broken();
    return rules.empty();
  }

  std::vector<std::string> clock_balls(int column, int slr) const {
    std::vector<std::string> balls;
    const bool is_pair = facts_.standards.at(facts_.system_standard).differential;
    for (auto const& [ball, pin] : board_.pins) {
      if (pin.column != column || pin.slr != slr || board_.banks.count(pin.bank) == 0) continue;
      std::vector<std::pair<std::string, std::string>> seats{{is_pair ? "sys_clk_p" : "sys_clk", ball}};
      if (is_pair) {
        const std::string mate = ball_of(pin.mate);
        if (mate.empty()) continue;
        seats.push_back({"sys_clk_n", mate});
      }
      bool wished = true;
      // Nothing else is asked for there, nor the other half of a pair.
      for (auto const& [name, at] : seats)
        for (auto const& [other, wish] : facts_.wishes) {
          const bool is_mate = roles().at(other).is_pair && ball_of(board_.pins.at(wish).mate) == at;
          if ((wish == at && other != name) || (is_mate && roles().at(other).mate != name)) wished = false;
        }
      if (wished && is_fine(seats)) balls.push_back(ball);
    }
    return balls;
  }

  std::string ball_of(std::string const& pad) const {
    const auto ball = ball_of_pad_.find(pad);
    return ball == ball_of_pad_.end() ? "" : ball->second;
  }

  // ------------------------------------------------------------------------------------------------------ a bank

  struct BankView {
    std::vector<std::set<std::string>> balls;  // by nibble: those that anything may be on
    std::vector<std::vector<Set>> holds;       // by bus: sets of nibbles that have room, none in another
  };

  static std::set<std::string> mates(std::set<std::string> const& balls, Board const& board) {
    std::set<std::string> firsts;
    for (std::string const& ball : balls) {
      Pin const& pin = board.pins.at(ball);
      if (!pin.positive || pin.mate == "-") continue;
      for (std::string const& other : balls)
        if (board.pins.at(other).pad == pin.mate) firsts.insert(ball);
    }
    return firsts;
  }

  int room(std::set<std::string> const& balls, bool is_pair) const {
    return static_cast<int>(is_pair ? mates(balls, board_).size() : balls.size());
  }

  // A place of the strobe or clock of a bus, and how much room it leaves in each nibble that it reaches.
  struct Option {
    Set home = 0;  // none: the bus has neither
    std::vector<int> rooms;
  };
  struct Options {
    std::vector<Option> all;
    int wanted = 0;      // data signals that are free to be anywhere
    Set asked = 0;       // nibbles that it has to have
    Set asked_data = 0;  // those with data, which the strobe has to reach
  };

  Set reach_of(BusFacts const& bus, BankFacts const& bank, int home) const {
    Set reach = 0;
    for (int nibble = 0; nibble < bank.nibbles; ++nibble) {
      const int hops = Checker::way(bank, home, nibble);
      const bool late = static_cast<double>(hops) * bank.hop_ps * bus.rate / 1e6 >= bus.ratio;
      if (bus.clock != 's' || (hops >= 0 && hops <= bank.most_hops && !late)) reach |= Set{1} << nibble;
    }
    return reach;
  }

  Options options(int index, BankView const& view, int number) const {
    BusFacts const& bus = facts_.buses[static_cast<std::size_t>(index)];
    BankFacts const& bank = board_.banks.at(number);
    const bool is_pair = facts_.standards.at(bus.standard).differential;
    const bool clock_is_pair = bus.clock != 'n' && facts_.standards.at(bus.clock_standard).differential;
    Options found;
    found.wanted = bus.width;
    std::string clock_wish;
    for (auto const& [name, ball] : facts_.wishes) {
      Role const& role = roles().at(name);
      if (role.bus != index) continue;
      Pin const& at = board_.pins.at(ball);
      if (at.bank != number) return {};
      if (role.negative && facts_.wishes.count(role.mate) != 0) continue;
      found.asked |= Set{1} << at.nibble;
      if (role.what != 'd') {
        clock_wish = role.negative ? ball_of(at.mate) : ball;
      } else {
        --found.wanted;
        found.asked_data |= Set{1} << at.nibble;
      }
    }
    std::vector<int> rooms;
    for (auto const& balls : view.balls) rooms.push_back(room(balls, is_pair));
    if (bus.clock == 'n') {
      found.all.push_back({0, rooms});
      return found;
    }
    for (int home = 0; home < bank.nibbles; ++home) {
      const Set reach = reach_of(bus, bank, home);
      if ((found.asked_data & ~reach) != 0) continue;
      const auto add = [&](std::set<std::string> const& left) {
        Option option{Set{1} << home, rooms};
        option.rooms[static_cast<std::size_t>(home)] = room(left, is_pair);
        for (int nibble = 0; nibble < bank.nibbles; ++nibble)
          if ((reach >> nibble & 1) == 0) option.rooms[static_cast<std::size_t>(nibble)] = 0;
        found.all.push_back(std::move(option));
      };
      std::set<std::string> const& open = view.balls[static_cast<std::size_t>(home)];
      if (!clock_wish.empty()) {
        if (board_.pins.at(clock_wish).nibble == home) add(open);
        continue;
      }
      for (std::string const& ball : open) {
        Pin const& at = board_.pins.at(ball);
        if (bus.clock == 's' && (!at.strobe || !at.positive)) continue;
        std::set<std::string> left = open;
        left.erase(ball);
        if (clock_is_pair && (!at.positive || left.erase(ball_of(at.mate)) == 0)) continue;
        add(left);
      }
    }
    return found;
  }

  // Whether a bus has room in the nibbles of a set, using some or all of them.
  static bool holds(Options const& options, Set set) {
    if ((options.asked & ~set) != 0) return false;
    return std::any_of(options.all.begin(), options.all.end(), [&](Option const& option) {
      int rooms = 0;
      for (std::size_t nibble = 0; nibble < option.rooms.size(); ++nibble)
        if ((set >> nibble & 1) != 0) rooms += option.rooms[nibble];
      return (option.home & ~set) == 0 && rooms >= options.wanted;
    });
  }

  std::map<std::string, Role> const& roles() const { return empty_.signals(); }

  bool bus_may(int index, int number, std::string const& clock) const {
    // On some pin of the bank, beside the clock: what is said of whole banks.
    BusFacts const& bus = facts_.buses[static_cast<std::size_t>(index)];
    const bool is_pair = facts_.standards.at(bus.standard).differential;
    static const std::set<std::string> kOfBanks{"bank-kind",   "bank-voltage",  "bank-reference", "bank-selection",
                                                "shadow-bank", "impedance-pad", "reference-pad"};
    for (auto const& [ball, pin] : board_.pins) {
      if (pin.bank != number || pin.impedance || pin.reference) continue;
      Checker checker = empty_;
      checker.put(bus.name + (is_pair ? "_p" : "") + "[0]", ball);
      if (bus.clock != 'n') {
        const bool clock_is_pair = facts_.standards.at(bus.clock_standard).differential;
        checker.put(bus.name + (bus.clock == 's' ? "_strobe" : "_clk") + (clock_is_pair ? "_p" : ""), ball);
      }
      if (!clock.empty() && board_.pins.at(clock).bank == number)
        checker.put(facts_.standards.at(facts_.system_standard).differential ? "sys_clk_p" : "sys_clk", clock);
      for (std::string const& rule : checker.broken())
        if (kOfBanks.count(rule) != 0) return false;
      return true;
    }
    return false;
  }

  bool together(int a, int b, int number) const {
    static const std::set<std::string> kOfTwo{"bank-voltage", "bank-reference", "bank-rate", "bank-bias"};
    for (auto const& [ball, pin] : board_.pins) {
      if (pin.bank != number) continue;
      Checker checker = empty_;
      for (const int index : {a, b}) {
        BusFacts const& bus = facts_.buses[static_cast<std::size_t>(index)];
        checker.put(bus.name + (facts_.standards.at(bus.standard).differential ? "_p" : "") + "[0]", ball);
        if (bus.clock == 'n') continue;
        checker.put(bus.name + (bus.clock == 's' ? "_strobe" : "_clk") +
                        (facts_.standards.at(bus.clock_standard).differential ? "_p" : ""),
                    ball);
      }
      for (std::string const& rule : checker.broken())
        if (kOfTwo.count(rule) != 0) return false;
      return true;
    }
    return true;
  }

  BankView view(int number, std::string const& clock) const {
    BankView view;
    BankFacts const& bank = board_.banks.at(number);
    view.balls.resize(static_cast<std::size_t>(bank.nibbles));
    std::set<std::string> gone;
    for (TakenFacts const& taken : facts_.taken) gone.insert(taken.ball);
    for (auto const& [name, ball] : facts_.wishes) {
      gone.insert(ball);
      if (roles().at(name).is_pair) gone.insert(ball_of(board_.pins.at(ball).mate));
    }
    if (!clock.empty()) {
      gone.insert(clock);
      if (facts_.standards.at(facts_.system_standard).differential) gone.insert(ball_of(board_.pins.at(clock).mate));
    }
    for (auto const& [ball, pin] : board_.pins) {
      if (pin.bank != number || gone.count(ball) != 0 || pin.configuration) continue;
      bool owned = false;
      for (TakenFacts const& taken : facts_.taken) {
        Pin const& other = board_.pins.at(taken.ball);
        const bool is_beside = taken.of_bus ? other.nibble == pin.nibble : other.lane == pin.lane;
        owned = owned || (taken.owns && other.bank == number && is_beside);
      }
      bool controlled = false, referenced = false;
      for (auto const& [name, role] : roles()) {
        Standard const& of = facts_.standards.at(role.standard);
        controlled = controlled || of.controlled;
        const bool is_input = role.bus < 0 || facts_.buses[static_cast<std::size_t>(role.bus)].direction != 't';
        referenced = referenced || (is_input && !of.differential && of.vref > 0 && !facts_.internal_reference);
      }
      if (owned || (pin.impedance && controlled) || (pin.reference && referenced)) continue;
      view.balls[static_cast<std::size_t>(pin.nibble)].insert(ball);
    }
    for (std::size_t bus = 0; bus < facts_.buses.size(); ++bus) {
      std::vector<Set> least;
      std::vector<Set> sets;
      for (Set set = 1; set < 1u << bank.nibbles; ++set) sets.push_back(set);
      std::stable_sort(sets.begin(), sets.end(),
                       [](Set a, Set b) { return __builtin_popcount(a) < __builtin_popcount(b); });
      const Options choices = options(static_cast<int>(bus), view, number);
      if (bus_may(static_cast<int>(bus), number, clock))
        for (const Set set : sets) {
          const bool known = std::any_of(least.begin(), least.end(), [&](Set other) { return (other & ~set) == 0; });
          if (!known && holds(choices, set)) least.push_back(set);
        }
      view.holds.push_back(std::move(least));
    }
    return view;
  }

  bool pack(std::vector<std::vector<Set>> const& holds, Set buses, Set used) const {
    if (buses == 0) return true;
    const int bus = __builtin_ctz(buses);
    for (const Set way : holds[static_cast<std::size_t>(bus)])
      if ((way & used) == 0 && pack(holds, buses & (buses - 1), used | way)) return true;
    return false;
  }

  // Buses that differ in nothing but the name, and that nobody has asked to be anywhere, count alike.
  bool is_alike(std::size_t a, std::size_t b) const {
    BusFacts x = facts_.buses[a];
    BusFacts const& y = facts_.buses[b];
    for (auto const& [name, ball] : facts_.wishes)
      if (roles().at(name).bus == static_cast<int>(a) || roles().at(name).bus == static_cast<int>(b)) return a == b;
    x.name = y.name;
    return std::tie(x.standard, x.clock_standard, x.bias, x.direction, x.clock, x.width, x.rate, x.ratio) ==
           std::tie(y.standard, y.clock_standard, y.bias, y.direction, y.clock, y.width, y.rate, y.ratio);
  }

  // The same number of each sort, the first ones.
  Set sorted(Set buses) const {
    Set first = 0;
    for (std::size_t bus = 0; bus < facts_.buses.size(); ++bus) {
      if ((buses >> bus & 1) == 0) continue;
      for (std::size_t other = 0; other <= bus; ++other)
        if ((first >> other & 1) == 0 && is_alike(other, bus)) {
          first |= Set{1} << other;
          break;
        }
    }
    return first;
  }

  std::string bank_fault(std::vector<Set> const& said, int number, std::string const& clock) const {
    const BankView here = view(number, clock);
    const Set all = (Set{1} << facts_.buses.size()) - 1;
    for (Set buses = 1; buses <= all; ++buses) {
      if (sorted(buses) != buses) continue;
      const bool is_said = std::any_of(said.begin(), said.end(), [&](Set most) { return (buses & ~most) == 0; });
      if (is_said || !pack(here.holds, buses, 0)) continue;
      bool fine = true;
      for (std::size_t a = 0; a < facts_.buses.size(); ++a)
        for (std::size_t b = 0; b < a; ++b)
          if ((buses >> a & 1) != 0 && (buses >> b & 1) != 0)
            fine = fine && together(static_cast<int>(a), static_cast<int>(b), number);
      if (fine) return "bank " + std::to_string(number) + " has room for more than is said";
    }
    return {};
  }

  // ---------------------------------------------------------------------------------------------- choices of banks

  std::string choice_fault(std::map<int, std::vector<Set>> const& said, std::string const& clock) const {
    std::vector<std::pair<int, std::vector<Set>>> banks(said.begin(), said.end());  // by triplet
    std::stable_sort(banks.begin(), banks.end(), [&](auto const& a, auto const& b) {
      return board_.banks.at(a.first).triplet < board_.banks.at(b.first).triplet;
    });
    // By what is placed, banks, those of the triplet, and whether the clock's triplet has a bus.
    std::set<std::tuple<Set, int, int, bool>> states{{0, 0, 0, clock.empty()}};
    int triplet = -1;
    for (auto const& [number, most] : banks) {
      const int own = board_.banks.at(number).triplet;
      const bool clock_here = !clock.empty() && board_.pins.at(clock).bank == number;
      const bool near_clock = !clock.empty() && board_.banks.at(board_.pins.at(clock).bank).triplet == own;
      std::set<std::tuple<Set, int, int, bool>> then;
      for (auto [placed, count, of_triplet, good] : states) {
        if (own != triplet) of_triplet = 0;
        std::set<Set> choices{0};
        for (const Set one : most)
          for (Set part = one; part != 0; part = (part - 1) & one)
            if (sorted(part) == part) choices.insert(part);
        for (const Set choice : choices) {
          const bool used = choice != 0 || clock_here;
          const int now = of_triplet + (used ? 1 : 0), banks_now = count + (used ? 1 : 0);
          if (now > facts_.most_of_triplet || (facts_.most_banks > 0 && banks_now > facts_.most_banks)) continue;
          const Set sum = add(placed, choice);
          if (sum == kTooMany) continue;
          then.insert({sum, banks_now, now, good || (near_clock && choice != 0)});
        }
      }
      states = std::move(then);
      triplet = own;
    }
    const Set all = (Set{1} << facts_.buses.size()) - 1;
    for (auto const& [placed, count, of_triplet, good] : states)
      if (placed == all && good) return "what is said has a place for all buses";
    return {};
  }

  static constexpr Set kTooMany = ~Set{0};

  // The sum, as the first ones of each sort.
  Set add(Set placed, Set more) const {
    for (std::size_t bus = 0; bus < facts_.buses.size(); ++bus) {
      if ((more >> bus & 1) == 0) continue;
      bool found = false;
      for (std::size_t other = 0; other < facts_.buses.size() && !found; ++other)
        if ((placed >> other & 1) == 0 && is_alike(other, bus)) {
          placed |= Set{1} << other;
          found = true;
        }
      if (!found) return kTooMany;
    }
    return placed;
  }

  Question const& question_;
  Board const& board_;
  Facts const& facts_;
  Checker empty_;
  std::map<std::string, std::string> ball_of_pad_;
};

}  // namespace test_support::buses
