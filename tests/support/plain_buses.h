// A board, as far as buses in nibbles go: a table of pins, the lines of constraints, and the rules of
// docs/placement-rules.md in the plainest form. It shares no code with the planner, and is slow.
#pragma once

#include <algorithm>
#include <cstdlib>
#include <map>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace test_support::buses {

struct Pin {
  std::string ball, pad, kind, lane, mate;  // mate: the pad that it makes a pair with, or -
  int bank = 0, column = 0, row = 0, slr = 0, place = 0, nibble = 0;
  double vcco_min = 0, vcco_max = 0;
  bool positive = false, strobe = false, clock = false, impedance = false, reference = false, configuration = false;
};

/// A bank as a data book has it.
struct BankFacts {
  int column = 0, slr = 0, triplet = 0, nibbles = 0;
  bool master = false;
  std::set<std::pair<int, int>> ways;  // both ways
  int most_hops = 0, hop_ps = 0;
};

struct Standard {
  double vcco = 0, vref = 0;  // vref 0: none
  bool differential = false, controlled = false;
  std::map<std::string, int> rates;
};

struct BusFacts {
  std::string name, standard, clock_standard, bias;
  char direction = 'r';  // r, t, b
  char clock = 'n';      // n, s, f
  int width = 1, rate = 0, ratio = 1;
};

struct TakenFacts {
  std::string ball, standard;
  bool is_input = false, owns = false, of_bus = false;
};

struct Facts {
  std::vector<BusFacts> buses;
  std::string system_standard;  // empty: no system clock
  std::map<std::string, Standard> standards;
  std::vector<TakenFacts> taken;
  std::set<int> banks;  // selected; none: all
  int most_banks = 0, most_of_triplet = 3;
  bool internal_reference = false;
  std::map<std::string, std::string> wishes;  // signal: ball
};

struct Board {
  std::map<std::string, Pin> pins;  // by ball
  std::map<int, BankFacts> banks;   // those of nibbles, with and without pins
};

/// What a signal is, by its name.
struct Role {
  int bus = -1;     // -1: the system clock
  char what = 'd';  // d data, s strobe, f clock that is sent, c system clock
  bool is_pair = false, negative = false;
  std::string mate, standard;
};

class Checker {
 public:
  Checker(Board const& board, Facts const& facts) : board_(board), facts_(facts) { name_signals(); }

  /// Of constraint lines: `set_property PACKAGE_PIN A8 [get_ports {name}]`.
  void read_constraints(std::vector<std::string> const& lines) {
    for (std::string const& line : lines) {
      std::istringstream in(line);
      std::string command, property, value, get, port;
      in >> command >> property >> value >> get >> port;
      if (command != "set_property" || get != "[get_ports" || property != "PACKAGE_PIN") continue;
      put(port.substr(1, port.size() - 3), value);
    }
  }
  void put(std::string const& name, std::string const& ball) { ball_of_[name] = ball; }
  void drop(std::string const& name) { ball_of_.erase(name); }

  std::map<std::string, Role> const& signals() const { return *roles_; }
  bool is_whole() const { return ball_of_.size() == roles_->size(); }

  /// Identifiers of the rules that are broken.
  std::set<std::string> broken() const {
    std::set<std::string> rules;
    for (auto const& [name, ball] : ball_of_)
      if (board_.pins.count(ball) == 0 || roles_->count(name) == 0) return {"pad-bonded"};
    pads(rules);
    banks(rules);
    pairs(rules);
    nibbles(rules);
    strobes(rules);
    system_clock(rules);
    whole(rules);
    return rules;
  }

  int hops(Pin const& from, Pin const& to) const { return way(board_.banks.at(from.bank), from.nibble, to.nibble); }

  /// In hops; -1 if there is none.
  static int way(BankFacts const& bank, int from, int to) {
    std::set<int> seen{from};
    for (int hops = 0; hops < 64; ++hops) {
      if (seen.count(to) != 0) return hops;
      std::set<int> more = seen;
      for (auto const& [a, b] : bank.ways)
        if (seen.count(a) != 0) more.insert(b);
      if (more == seen) return -1;
      seen = more;
    }
    return -1;
  }

 private:
  Pin const& pin(std::string const& name) const { return board_.pins.at(ball_of_.at(name)); }
  Role const& role(std::string const& name) const { return roles_->at(name); }
  Standard const& standard(std::string const& name) const { return facts_.standards.at(name); }

  void name_signal(std::string const& port, std::string const& index, Role role) {
    role.is_pair = standard(role.standard).differential;
    if (!role.is_pair) {
      (*roles_)[port + index] = role;
      return;
    }
    role.mate = port + "_n" + index;
    (*roles_)[port + "_p" + index] = role;
    role.mate = port + "_p" + index;
    role.negative = true;
    (*roles_)[port + "_n" + index] = role;
  }

  void name_signals() {
    for (std::size_t i = 0; i < facts_.buses.size(); ++i) {
      BusFacts const& bus = facts_.buses[i];
      const int at = static_cast<int>(i);
      if (bus.clock == 's') name_signal(bus.name + "_strobe", "", {at, 's', false, false, "", bus.clock_standard});
      if (bus.clock == 'f') name_signal(bus.name + "_clk", "", {at, 'f', false, false, "", bus.clock_standard});
      for (int bit = 0; bit < bus.width; ++bit)
        name_signal(bus.name, "[" + std::to_string(bit) + "]", {at, 'd', false, false, "", bus.standard});
    }
    if (!facts_.system_standard.empty())
      name_signal("sys_clk", "", {-1, 'c', false, false, "", facts_.system_standard});
  }

  bool is_input(Role const& role) const {
    return role.bus < 0 || facts_.buses[static_cast<std::size_t>(role.bus)].direction != 't';
  }
  // Needs of the whole interface.
  bool needs_impedance() const {
    return std::any_of(roles_->begin(), roles_->end(),
                       [&](auto const& one) { return standard(one.second.standard).controlled; });
  }
  double reference(Role const& role) const {
    Standard const& of = standard(role.standard);
    return is_input(role) && !of.differential ? of.vref : 0;
  }
  bool needs_reference() const {
    return !facts_.internal_reference &&
           std::any_of(roles_->begin(), roles_->end(), [&](auto const& one) { return reference(one.second) > 0; });
  }

  void pads(std::set<std::string>& rules) const {
    std::set<std::string> seen;
    for (auto const& [name, ball] : ball_of_) {
      Pin const& at = pin(name);
      if (!seen.insert(ball).second) rules.insert("pad-free");
      for (TakenFacts const& taken : facts_.taken) {
        if (taken.ball == ball) rules.insert("pad-free");
        Pin const& other = board_.pins.at(taken.ball);
        const bool is_beside = taken.of_bus ? other.nibble == at.nibble : other.lane == at.lane;
        if (taken.owns && other.bank == at.bank && is_beside && role(name).bus >= 0) rules.insert("nibble-owner");
      }
      if (at.configuration) rules.insert("configuration-pad");
      if (at.impedance && needs_impedance()) rules.insert("impedance-pad");
      if (at.reference && needs_reference()) rules.insert("reference-pad");
      const auto wish = facts_.wishes.find(name);
      if (wish != facts_.wishes.end() && wish->second != ball) rules.insert("as-asked");
    }
  }

  void banks(std::set<std::string>& rules) const {
    for (auto const& [name, ball] : ball_of_) {
      Pin const& at = pin(name);
      Standard const& of = standard(role(name).standard);
      if (!facts_.banks.empty() && facts_.banks.count(at.bank) == 0) {
        rules.insert("bank-selection");
        continue;
      }
      if (board_.banks.count(at.bank) == 0) {
        rules.insert("bank-kind");
        continue;
      }
      const int rate = role(name).bus < 0 ? 0 : facts_.buses[static_cast<std::size_t>(role(name).bus)].rate;
      const auto fastest = of.rates.find(at.kind);
      if (fastest == of.rates.end() || fastest->second < rate) {
        rules.insert("bank-kind");
        continue;
      }
      if (of.vcco < at.vcco_min || of.vcco > at.vcco_max) {
        rules.insert("bank-voltage");
        continue;
      }
      BankFacts const& bank = board_.banks.at(at.bank);
      bool has_clock = false;
      for (auto const& [other, pin_of] : board_.pins) {
        const auto facts = board_.banks.find(pin_of.bank);
        has_clock =
            has_clock || (facts != board_.banks.end() && facts->second.triplet == bank.triplet && facts->second.master);
      }
      if (!has_clock) {
        rules.insert("shadow-bank");
        continue;
      }
      for (TakenFacts const& taken : facts_.taken) {
        Pin const& other = board_.pins.at(taken.ball);
        if (other.bank != at.bank) continue;
        if (needs_impedance() && other.impedance) rules.insert("impedance-pad");
        if (needs_reference() && other.reference) rules.insert("reference-pad");
        if (taken.standard.empty()) continue;
        Standard const& theirs = standard(taken.standard);
        if (theirs.vcco != of.vcco) rules.insert("bank-voltage");
        if (taken.is_input && !theirs.differential && theirs.vref > 0 && reference(role(name)) > 0 &&
            theirs.vref != reference(role(name)))
          rules.insert("bank-reference");
      }
      for (auto const& [second, other_ball] : ball_of_)
        if (pin(second).bank == at.bank) together(role(name), role(second), rules);
    }
  }

  void together(Role const& a, Role const& b, std::set<std::string>& rules) const {
    if (standard(a.standard).vcco != standard(b.standard).vcco) rules.insert("bank-voltage");
    if (reference(a) > 0 && reference(b) > 0 && reference(a) != reference(b)) rules.insert("bank-reference");
    if (a.bus < 0 || b.bus < 0) return;
    BusFacts const& first = facts_.buses[static_cast<std::size_t>(a.bus)];
    BusFacts const& second = facts_.buses[static_cast<std::size_t>(b.bus)];
    int slow = std::min(first.rate, second.rate);
    while (slow < std::max(first.rate, second.rate)) slow *= 2;
    if (slow != std::max(first.rate, second.rate)) rules.insert("bank-rate");
    if (!first.bias.empty() && !second.bias.empty() && first.bias != second.bias) rules.insert("bank-bias");
  }

  void pairs(std::set<std::string>& rules) const {
    for (auto const& [name, ball] : ball_of_) {
      Role const& one = role(name);
      if (!one.is_pair) continue;
      Pin const& at = pin(name);
      bool good = at.mate != "-" && at.positive != one.negative;
      if (ball_of_.count(one.mate) != 0) good = good && pin(one.mate).pad == at.mate;
      if (!good) rules.insert(one.what == 'd' ? "data-pair" : one.what == 's' ? "strobe-pair" : "clock-pair");
    }
  }

  void nibbles(std::set<std::string>& rules) const {
    for (auto const& [a, ball_a] : ball_of_)
      for (auto const& [b, ball_b] : ball_of_) {
        if (role(a).bus < 0 || role(b).bus < 0) continue;
        const bool same_nibble = pin(a).bank == pin(b).bank && pin(a).nibble == pin(b).nibble;
        if (same_nibble && board_.banks.count(pin(a).bank) != 0 && role(a).bus != role(b).bus)
          rules.insert("nibble-owner");
        if (role(a).bus == role(b).bus && pin(a).bank != pin(b).bank) rules.insert("bus-in-bank");
      }
  }

  void strobes(std::set<std::string>& rules) const {
    for (auto const& [name, ball] : ball_of_) {
      Role const& one = role(name);
      if (one.what != 's' || one.negative) continue;
      Pin const& at = pin(name);
      if (board_.banks.count(at.bank) == 0) continue;
      if (!at.strobe || !at.positive) rules.insert("strobe-site");
      BankFacts const& bank = board_.banks.at(at.bank);
      BusFacts const& bus = facts_.buses[static_cast<std::size_t>(one.bus)];
      for (auto const& [data, ball_of_data] : ball_of_) {
        if (role(data).bus != one.bus || role(data).what != 'd' || pin(data).bank != at.bank) continue;
        const int far = hops(at, pin(data));
        if (far < 0 || far > bank.most_hops) {
          rules.insert("strobe-hops");
          continue;
        }
        // In bits, rounded down; the fabric turns a word by fewer than it has.
        const double late = static_cast<double>(far) * bank.hop_ps * bus.rate / 1e6;
        if (late >= bus.ratio) rules.insert("bit-slip");
      }
    }
  }

  void system_clock(std::set<std::string>& rules) const {
    for (auto const& [name, ball] : ball_of_) {
      Role const& one = role(name);
      if (one.what != 'c' || one.negative) continue;
      Pin const& at = pin(name);
      if (board_.banks.count(at.bank) == 0) continue;
      if (!at.clock || !at.positive) rules.insert("system-clock-site");
      BankFacts const& bank = board_.banks.at(at.bank);
      bool has_bus = false;
      for (auto const& [other, other_ball] : ball_of_) {
        const auto facts = board_.banks.find(pin(other).bank);
        has_bus =
            has_bus || (role(other).bus >= 0 && facts != board_.banks.end() && facts->second.triplet == bank.triplet);
      }
      if (!bank.master || (is_whole() && !has_bus)) rules.insert("system-clock-master");
    }
  }

  void whole(std::set<std::string>& rules) const {
    std::set<int> columns, slrs, banks;
    std::map<int, std::set<int>> triplets;
    for (auto const& [name, ball] : ball_of_) {
      columns.insert(pin(name).column);
      slrs.insert(pin(name).slr);
      banks.insert(pin(name).bank);
      if (const auto facts = board_.banks.find(pin(name).bank); facts != board_.banks.end())
        triplets[facts->second.triplet].insert(pin(name).bank);
    }
    if (columns.size() > 1) rules.insert("one-column");
    if (columns.size() <= 1 && slrs.size() > 1) rules.insert("one-slr");
    if (facts_.most_banks > 0 && static_cast<int>(banks.size()) > facts_.most_banks) rules.insert("bank-limit");
    for (auto const& [triplet, of] : triplets)
      if (static_cast<int>(of.size()) > facts_.most_of_triplet) rules.insert("triplet-banks");
  }

  Board const& board_;
  Facts const& facts_;
  std::shared_ptr<std::map<std::string, Role>> roles_ =
      std::make_shared<std::map<std::string, Role>>();  // of copies too
  std::map<std::string, std::string> ball_of_;
};

}  // namespace test_support::buses
