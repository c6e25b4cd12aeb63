// What plans for pads should be, by trying everything. Shares with the library the form of requests and plans alone.
#pragma once

#include <algorithm>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "kdi/cores/Pads.h"

namespace plain_pads {

using namespace kdi::cores;

enum class Rule { free, fewest_moved, fewest_given_up };

class PlainPads {
 public:
  explicit PlainPads(std::vector<PadFunction> const& functions) : functions_(functions) {
    for (std::size_t f = 0; f < functions.size(); ++f) by_name_[functions[f].peripheral][functions[f].name] = f;
  }

  std::optional<PadPlan> best(Rule rule) {
    best_.reset();
    std::vector<std::optional<std::size_t>> groups(functions_.size());
    choose(0, groups, rule);
    if (!best_) return std::nullopt;
    PadPlan plan;
    plan.groups = best_->second;
    for (auto const& [name, own] : by_name_) {
      const int kind = kind_of(own, plan.groups);
      if (kind == 1) plan.moved.push_back(name);
      if (kind == 2) plan.given_up.push_back(name);
    }
    plan.least_given_up = plan.given_up.size();
    return plan;
  }

 private:
  using Groups = std::vector<std::optional<std::size_t>>;
  using Functions = std::map<std::string, std::size_t>;
  using Cost = std::tuple<int, int, std::vector<std::pair<int, std::vector<std::size_t>>>>;

  void choose(std::size_t f, Groups& groups, Rule rule) {
    if (f == functions_.size()) {
      judge(groups, rule);
      return;
    }
    for (std::size_t g = 0; g < functions_[f].groups.size(); ++g) {
      groups[f] = g;
      choose(f + 1, groups, rule);
    }
    groups[f].reset();
    if (rule != Rule::free) choose(f + 1, groups, rule);
  }

  // 0: stays, 1: moves, 2: is given up.
  int kind_of(Functions const& own, Groups const& groups) const {
    int kind = 0;
    for (auto const& [name, f] : own) {
      if (!groups[f]) return 2;
      if (*groups[f] != functions_[f].present) kind = 1;
    }
    return kind;
  }

  void judge(Groups const& groups, Rule rule) {
    std::set<std::uint32_t> taken;
    int moved = 0, given_up = 0;
    std::vector<std::pair<int, std::vector<std::size_t>>> row;
    for (std::size_t f = 0; f < functions_.size(); ++f) {
      if (!groups[f]) continue;
      PadGroup const& group = functions_[f].groups[*groups[f]];
      if (group.closed) return;
      for (const std::uint32_t pad : std::set<std::uint32_t>(group.pads.begin(), group.pads.end()))
        if (!taken.insert(pad).second) return;
    }
    for (auto const& [peripheral, own] : by_name_) {
      const int kind = kind_of(own, groups);
      moved += kind == 1;
      given_up += kind == 2;
      std::vector<std::size_t> seats;
      for (auto const& [name, f] : own) {
        if (kind == 2 && groups[f]) return;  // given up whole
        if (kind != 2) seats.push_back(*groups[f] == functions_[f].present ? 0 : *groups[f] + 1);
      }
      row.emplace_back(kind, seats);
    }
    Cost cost = rule == Rule::fewest_given_up ? Cost{given_up, moved, row} : Cost{moved, given_up, row};
    if (!best_ || cost < best_->first) best_.emplace(std::move(cost), groups);
  }

  std::vector<PadFunction> const& functions_;
  std::map<std::string, Functions> by_name_;
  std::optional<std::pair<Cost, Groups>> best_;
};

}  // namespace plain_pads
