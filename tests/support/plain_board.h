// A board, as far as the pins of memory interfaces go: a table of pins, the lines of constraints, and the rules of
// docs/placement-rules.md in the plainest form. It shares no code with the planner, and is slow.
#pragma once

#include <algorithm>
#include <cstdlib>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace test_support::board {

/// A row of the table of pins.
struct Pin {
  std::string ball, pad, kind, lane, site, pair;  // the pad that it makes a pair with, or -
  int bank = 0, column = 0, row = 0, slr = 0, place = 0, nibble = 0;
  double vcco_min = 0, vcco_max = 0;
  std::string reach;
  bool positive = false, strobe = false, clock = false, impedance = false, reference = false, configuration = false;
};

/// A port family of the memory: which data bits go together. Figures, as a data sheet has them.
struct Family {
  std::string data, mask, strobe_p, strobe_n;
  int bits = 8, strobe_bits = 8, mask_bits = 8;
  bool forwarded = false;
};

struct Standard {
  std::string name;
  double vcco = 0;
  double vref = 0;  // 0: none
  bool differential = false, controlled = false;
  std::map<std::string, int> rates;
};

struct Taken {
  std::string ball, standard;
  bool is_input = false, owns_lane = false;
};

struct Facts {
  std::vector<Family> families;
  std::map<std::string, std::string> directions;  // by port
  std::map<std::string, Standard> standards;
  std::vector<Taken> taken;
  std::set<int> banks;  // selected; none: all
  int rate = 0;
  bool internal_reference = false;
};

struct Board {
  std::map<std::string, Pin> pins;  // by ball
};

inline Board read_board(std::string const& table) {
  Board board;
  std::istringstream lines(table);
  for (std::string line; std::getline(lines, line);) {
    std::istringstream in(line);
    Pin pin;
    in >> pin.ball >> pin.pad >> pin.bank >> pin.kind >> pin.column >> pin.row >> pin.slr >> pin.vcco_min >>
        pin.vcco_max >> pin.reach >> pin.lane >> pin.place >> pin.site >> pin.nibble >> pin.pair >> pin.positive >>
        pin.strobe >> pin.clock >> pin.impedance >> pin.reference >> pin.configuration;
    board.pins.emplace(pin.ball, pin);
  }
  return board;
}

/// What a signal is, by its port.
struct Role {
  int family = -1;  // -1: address or clock
  int group = -1;   // lane of the family
  int cell = -1;    // nibble of the group
  int set = -1;     // groups of one strobe
  bool strobe = false, system = false, negative = false;
  std::string mate;  // the other signal of a pair
};

class Checker {
 public:
  Checker(Board const& board, Facts const& facts) : board_(board), facts_(facts) {}

  /// Of constraint lines: `set_property PACKAGE_PIN A8 [get_ports {name}]`, and IOSTANDARD likewise.
  void read_constraints(std::vector<std::string> const& lines) {
    for (std::string const& line : lines) {
      std::istringstream in(line);
      std::string command, property, value, get, port;
      in >> command >> property >> value >> get >> port;
      if (command != "set_property" || get != "[get_ports") continue;
      const std::string name = port.substr(1, port.size() - 3);
      if (property == "PACKAGE_PIN") ball_of_[name] = value;
      if (property == "IOSTANDARD") standard_of_[name] = value;
    }
  }
  void put(std::string const& name, std::string const& ball, std::string const& standard) {
    ball_of_[name] = ball;
    standard_of_[name] = standard;
  }
  void drop(std::string const& name) {
    ball_of_.erase(name);
    standard_of_.erase(name);
  }

  /// Identifiers of the rules that are broken.
  std::set<std::string> broken() const {
    std::set<std::string> rules;
    pads(rules);
    banks(rules);
    pairs(rules);
    groups(rules);
    address(rules);
    system_clock(rules);
    whole(rules);
    return rules;
  }

  Role role(std::string const& name) const {
    Role role;
    const std::size_t open = name.find('[');
    const std::string port = name.substr(0, open);
    const int index = open == std::string::npos ? 0 : std::atoi(name.c_str() + open + 1);
    const std::string at = open == std::string::npos ? "" : name.substr(open);
    role.system = port.find("sys_clk") != std::string::npos;
    for (std::size_t f = 0; f < facts_.families.size(); ++f) {
      Family const& family = facts_.families[f];
      int bit = -1;
      if (port == family.data) bit = index;
      if (port == family.mask) bit = index * family.mask_bits;
      if (port == family.strobe_p || port == family.strobe_n) bit = index * family.strobe_bits;
      if (bit < 0) continue;
      role.family = static_cast<int>(f);
      role.group = bit / family.bits;
      role.cell = family.strobe_bits < family.bits ? bit % family.bits / family.strobe_bits : 0;
      role.set = bit / std::max(family.bits, family.strobe_bits);
      role.strobe = port == family.strobe_p || port == family.strobe_n;
      if (role.strobe) role.negative = port == family.strobe_n;
      if (role.strobe) role.mate = (role.negative ? family.strobe_p : family.strobe_n) + at;
      return role;
    }
    for (auto const& [p, n] : {std::pair{"_t", "_c"}, std::pair{"_p", "_n"}})
      for (const bool negative : {false, true}) {
        const std::string ending = negative ? n : p, other = negative ? p : n;
        if (port.size() < 2 || port.substr(port.size() - 2) != ending) continue;
        const std::string mate = port.substr(0, port.size() - 2) + other;
        if (facts_.directions.count(mate) == 0) continue;
        role.mate = mate + at;
        role.negative = negative;
      }
    return role;
  }

 private:
  Pin const* pin(std::string const& name) const {
    const auto ball = ball_of_.find(name);
    if (ball == ball_of_.end()) return nullptr;
    const auto at = board_.pins.find(ball->second);
    return at == board_.pins.end() ? nullptr : &at->second;
  }
  Standard const& standard(std::string const& name) const { return facts_.standards.at(standard_of_.at(name)); }
  std::string port(std::string const& name) const { return name.substr(0, name.find('[')); }
  bool is_input(std::string const& name) const { return facts_.directions.at(port(name)) != "out"; }

  bool any_controlled() const {
    for (auto const& [name, standard] : standard_of_)
      if (facts_.standards.at(standard).controlled) return true;
    return false;
  }
  bool needs_reference() const {
    for (auto const& [name, s] : standard_of_)
      if (is_input(name) && !facts_.standards.at(s).differential && facts_.standards.at(s).vref > 0) return true;
    return false;
  }

  void pads(std::set<std::string>& rules) const {
    std::map<std::string, int> uses;
    for (Taken const& one : facts_.taken) ++uses[one.ball];
    for (auto const& [name, ball] : ball_of_) {
      Pin const* const at = pin(name);
      if (at == nullptr) {
        rules.insert("pad-bonded");
        continue;
      }
      if (++uses[ball] > 1) rules.insert("pad-free");
      if (at->configuration) rules.insert("configuration-pad");
      if (at->impedance && any_controlled()) rules.insert("impedance-pad");
      if (at->reference && needs_reference() && !facts_.internal_reference) rules.insert("reference-pad");
    }
  }

  void banks(std::set<std::string>& rules) const {
    for (auto const& [name, ball] : ball_of_) {
      Pin const* const at = pin(name);
      if (at == nullptr) continue;
      if (!facts_.banks.empty() && facts_.banks.count(at->bank) == 0) rules.insert("bank-selection");
      if (standard_of_.count(name) == 0) {  // none that the bank has
        rules.insert("bank-kind");
        continue;
      }
      Standard const& own = standard(name);
      const Role what = role(name);
      const int rate = what.family >= 0                              ? facts_.rate
                       : own.name.find("LVCMOS") == 0 || what.system ? 0
                                                                     : facts_.rate / 2;
      if (own.rates.count(at->kind) == 0 || own.rates.at(at->kind) < rate) rules.insert("bank-kind");
      if (own.vcco < at->vcco_min || own.vcco > at->vcco_max) rules.insert("bank-voltage");
      for (Taken const& one : facts_.taken) {
        Pin const& other = board_.pins.at(one.ball);
        if (other.bank != at->bank) continue;
        if (other.impedance && any_controlled()) rules.insert("impedance-pad");
        if (other.reference && needs_reference() && !facts_.internal_reference) rules.insert("reference-pad");
        if (one.standard.empty()) continue;
        Standard const& theirs = facts_.standards.at(one.standard);
        if (theirs.vcco != own.vcco) rules.insert("bank-voltage");
        if (one.is_input && theirs.vref > 0 && !theirs.differential)
          for (auto const& [mine, standard] : standard_of_)
            if (is_input(mine) && facts_.standards.at(standard).vref > 0 &&
                !facts_.standards.at(standard).differential && facts_.standards.at(standard).vref != theirs.vref)
              rules.insert("bank-reference");
      }
    }
  }

  void pairs(std::set<std::string>& rules) const {
    for (auto const& [name, ball] : ball_of_) {
      const Role what = role(name);
      Pin const* const at = pin(name);
      if (what.mate.empty() || at == nullptr) continue;
      Pin const* const other = pin(what.mate);
      const bool well =
          at->pair != "-" && at->positive != what.negative && (other == nullptr || at->pair == other->pad);
      if (!well) rules.insert(what.strobe ? "strobe-pair" : "clock-pair");
    }
  }

  static std::string lane_key(Pin const& pin) { return std::to_string(pin.bank) + "/" + pin.lane; }

  void groups(std::set<std::string>& rules) const {
    std::map<std::string, std::set<std::string>> owners;                           // lane: groups
    std::map<std::pair<int, int>, std::set<std::string>> lanes;                    // group: lanes
    std::map<std::pair<int, int>, std::map<int, std::set<int>>> cells;             // group: cell: nibbles
    std::map<std::pair<int, int>, std::vector<std::pair<bool, Pin const*>>> sets;  // set: is of the strobe's group, pin
    for (auto const& [name, ball] : ball_of_) {
      const Role what = role(name);
      Pin const* const at = pin(name);
      if (at == nullptr || what.system) continue;
      owners[lane_key(*at)].insert(std::to_string(what.family) + "/" + std::to_string(what.group));
      if (what.family < 0) continue;
      Family const& family = facts_.families[static_cast<std::size_t>(what.family)];
      lanes[{what.family, what.group}].insert(lane_key(*at));
      if (what.strobe && !family.forwarded && !at->strobe) rules.insert("strobe-site");
      if (family.strobe_bits < family.bits) cells[{what.family, what.group}][what.cell].insert(at->nibble);
      const bool has_strobe = what.group * family.bits % family.strobe_bits == 0 || family.strobe_bits < family.bits;
      sets[{what.family, what.set}].emplace_back(has_strobe, at);
    }
    for (Taken const& one : facts_.taken)
      if (one.owns_lane) owners[lane_key(board_.pins.at(one.ball))].insert("another's");
    for (auto const& [lane, groups] : owners)
      if (groups.size() > 1) rules.insert("lane-owner");
    for (auto const& [group, all] : lanes)
      if (all.size() > 1) rules.insert("byte-in-lane");
    for (auto const& [group, by_cell] : cells) {
      if (lanes[group].size() > 1) continue;  // said already
      std::map<int, int> users;
      for (auto const& [cell, nibbles] : by_cell) {
        if (nibbles.size() > 1) rules.insert("nibble");
        for (const int nibble : nibbles)
          if (++users[nibble] > 1) rules.insert("nibble");
      }
    }
    for (auto const& [set, pins] : sets)
      for (auto const& [strobed, from] : pins)
        for (auto const& [other_strobed, to] : pins) {
          if (!strobed || other_strobed) continue;
          const int distance = std::abs(from->place - to->place);
          const bool near = from->reach == "bank" || distance == 0 || (from->reach == "neighbours" && distance == 1);
          if (from->bank != to->bank || !near) rules.insert("strobe-reach");
        }
  }

  void address(std::set<std::string>& rules) const {
    std::set<std::pair<int, int>> places;  // column, place
    for (auto const& [name, ball] : ball_of_) {
      const Role what = role(name);
      Pin const* const at = pin(name);
      if (at != nullptr && what.family < 0 && !what.system) places.insert({at->column, at->place});
    }
    if (places.empty() || places.begin()->first != places.rbegin()->first) return;
    if (places.rbegin()->second - places.begin()->second + 1 != static_cast<int>(places.size()))
      rules.insert("address-adjacent");
  }

  void system_clock(std::set<std::string>& rules) const {
    for (auto const& [name, ball] : ball_of_) {
      const Role what = role(name);
      Pin const* const at = pin(name);
      if (at == nullptr || !what.system) continue;
      if (!at->clock) rules.insert("system-clock-site");
      if (what.mate.empty() && (!at->positive || at->pair == "-")) rules.insert("system-clock-site");
      bool is_near = false;
      for (auto const& [other, ball_of_other] : ball_of_) {
        Pin const* const there = pin(other);
        if (there != nullptr && !role(other).system && there->column == at->column &&
            std::abs(there->row - at->row) <= 1)
          is_near = true;
      }
      if (!is_near) rules.insert("system-clock-near");
    }
  }

  void whole(std::set<std::string>& rules) const {
    std::set<int> columns, slrs, rows;
    std::set<std::string> kinds;
    for (auto const& [name, ball] : ball_of_)
      if (Pin const* const at = pin(name)) {
        columns.insert(at->column);
        slrs.insert(at->slr);
        kinds.insert(at->kind);
        rows.insert(at->row);
      }
    if (columns.size() > 1)
      rules.insert("one-column");
    else if (slrs.size() > 1)
      rules.insert("one-slr");
    else if (kinds.size() > 1)
      rules.insert("bank-kind");
    else if (!rows.empty() && *rows.rbegin() - *rows.begin() >= 5)
      rules.insert("banks-near");
  }

  Board const& board_;
  Facts const& facts_;
  std::map<std::string, std::string> ball_of_, standard_of_;
};

}  // namespace test_support::board
