#include "platform/ip/clocking/cover.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <set>
#include <stdexcept>
#include <utility>

#include "platform/ip/clocking/search.h"

namespace kdi::clocking {
namespace {

using Mask = std::uint32_t;

Mask bit(std::size_t index) { return Mask{1} << index; }

// What one setting of M and D can make: outputs that the first counter takes, and those that the others take as well.
struct Reach {
  Mask first = 0;
  Mask others = 0;
  bool operator<(Reach const& other) const { return std::pair(first, others) < std::pair(other.first, other.others); }

  // Whether one primitive with this setting makes them all, its number of counters apart.
  bool makes(Mask outputs) const {
    const Mask missing = outputs & ~others;
    return missing == 0 || (std::has_single_bit(missing) && (missing & first) != 0);
  }
};

bool is_alike(OutputSpec const& a, OutputSpec const& b) {
  return a.divider.min == b.divider.min && a.divider.max == b.divider.max && a.divider.step == b.divider.step &&
         a.divider.fraction == b.divider.fraction && a.divider.fraction_min == b.divider.fraction_min &&
         a.frequency_hz.min == b.frequency_hz.min && a.frequency_hz.max == b.frequency_hz.max;
}

bool offers(OutputSpec const& first, OutputSpec const& other) {
  if (first.frequency_hz.min > other.frequency_hz.min || first.frequency_hz.max < other.frequency_hz.max) return false;
  for (bool whole_only : {true, false})
    if (!std::ranges::includes(counter_values(first.divider, whole_only), counter_values(other.divider, whole_only)))
      return false;
  return true;
}

class Covering {
 public:
  Covering(Primitive const& primitive, CoverRequest const& request)
      : primitive_(primitive),
        request_(request),
        capacity_(static_cast<int>(primitive.outputs.size())),
        all_(static_cast<Mask>((std::uint64_t{1} << request.outputs.size()) - 1)) {
    for (std::size_t input = 0; input < request.inputs_hz.size(); ++input) collect(input);
  }

  // Outputs that no primitive makes from any input.
  Mask hopeless() const {
    Mask reached = 0;
    for (Reach const& reach : reaches_) reached |= reach.first | reach.others;
    return all_ & ~reached;
  }

  // A smallest set of groups; by dynamic programming over the sets of outputs still to make.
  std::vector<Mask> exact() const {
    const std::vector<bool> feasible = feasible_sets();
    std::vector<std::uint8_t> fewest(std::size_t{all_} + 1, 0);
    std::vector<Mask> choice(std::size_t{all_} + 1, 0);
    for (Mask left = 1; left <= all_; ++left) {
      // The lowest output left has to be in some group; the group is chosen among the sets that hold it.
      const Mask lowest = left & (~left + 1), rest = left ^ lowest;
      fewest[left] = UINT8_MAX;
      for (Mask others = rest;; others = (others - 1) & rest) {
        const Mask group = others | lowest;
        if (feasible[group] && fewest[left ^ group] + 1 < fewest[left]) {
          fewest[left] = static_cast<std::uint8_t>(fewest[left ^ group] + 1);
          choice[left] = group;
        }
        if (others == 0) break;
      }
    }
    std::vector<Mask> groups;
    for (Mask left = all_; left != 0; left ^= choice[left]) groups.push_back(choice[left]);
    return groups;
  }

  // Always the group that makes most of what is left.
  std::vector<Mask> greedy() const {
    std::vector<Mask> groups;
    for (Mask left = all_; left != 0; left &= ~groups.back()) {
      Mask best = 0;
      for (Reach const& reach : reaches_) {
        Mask group = reach.others & left;
        if (const Mask special = reach.first & left & ~group; special != 0) group |= special & (~special + 1);
        // Too many for the counters: the last ones wait. The one that needs the first counter may be among them.
        while (std::popcount(group) > capacity_) group ^= std::bit_floor(group);
        if (std::popcount(group) > std::popcount(best)) best = group;
      }
      groups.push_back(best);
    }
    return groups;
  }

  // Outputs of which no two fit on one primitive need one each; and counters are limited.
  std::size_t lower_bound() const {
    std::vector<std::size_t> apart;
    for (std::size_t i = 0; i < request_.outputs.size(); ++i)
      if (std::ranges::none_of(apart, [&](std::size_t other) { return is_feasible(bit(i) | bit(other)); }))
        apart.push_back(i);
    const std::size_t by_count = (request_.outputs.size() + primitive_.outputs.size() - 1) / primitive_.outputs.size();
    return std::max(apart.size(), by_count);
  }

  // The best setting for the group over inputs and over which output takes the first counter.
  CoverGroup solve_group(Mask group) const {
    std::vector<std::size_t> members;
    for (std::size_t i = 0; i < request_.outputs.size(); ++i)
      if ((group & bit(i)) != 0) members.push_back(i);
    std::optional<CoverGroup> best;
    for (std::size_t input = 0; input < request_.inputs_hz.size(); ++input)
      for (std::size_t leading = 0; leading < members.size(); ++leading) {
        CoverGroup candidate{input, members, {}};
        std::rotate(candidate.outputs.begin(), candidate.outputs.begin() + static_cast<std::ptrdiff_t>(leading),
                    candidate.outputs.begin() + static_cast<std::ptrdiff_t>(leading) + 1);
        Request request = with_input(input);
        for (std::size_t i : candidate.outputs) request.outputs.push_back(request_.outputs[i]);
        Search search(primitive_, request);
        const auto setting = search.best();
        if (!setting) continue;
        candidate.solution = search.describe(*setting);
        if (!best || candidate.solution.worst_error < best->solution.worst_error) best = candidate;
      }
    return *best;
  }

  Request with_input(std::size_t input) const {
    Request request = request_.options;
    request.input_hz = request_.inputs_hz[input];
    request.second_input_hz.reset();
    request.high_speed_hz.reset();
    request.outputs.clear();
    return request;
  }

 private:
  void collect(std::size_t input) {
    const Request request = with_input(input);
    const Search search(primitive_, request);
    struct Pair {
      OutputSearch first;
      OutputSearch other;
    };
    std::vector<Pair> outputs;
    const int other = primitive_.outputs.size() > 1 ? 1 : 0;
    for (auto const& output : request_.outputs)
      outputs.push_back(
          {OutputSearch(primitive_, request, output, 0), OutputSearch(primitive_, request, output, other)});
    std::vector<Reach> reaches;  // of the loop, by its multipliers
    for (Search::Loop const& loop : search.loops()) {
      reaches.assign(static_cast<std::size_t>(loop.m_high - loop.m_low) + 1, {});
      for (std::size_t i = 0; i < outputs.size(); ++i)
        for_each_near(search.multipliers(), loop, outputs[i].first, [&](int m) {
          constexpr double kAnyError = 1e300;
          double error = 0;
          Reach& reach = reaches[static_cast<std::size_t>(m - loop.m_low)];
          if (outputs[i].first.pick(m, loop.d, kAnyError, error) == ValueSet::kNone) return;
          reach.first |= bit(i);
          if (outputs[i].other.pick(m, loop.d, kAnyError, error) != ValueSet::kNone) reach.others |= bit(i);
        });
      for (Reach const& reach : reaches)
        if (reach.first != 0) reaches_.insert(reach);
    }
  }

  // Visits the multipliers with which some divider of the output comes within the tolerance, and few others.
  template <class Visit>
  void for_each_near(ValueSet const& multipliers, Search::Loop const& loop, OutputSearch const& output,
                     Visit visit) const {
    constexpr double kAny = 1e6;     // no tolerance is larger
    constexpr double kDoubt = 1e-9;  // of the double precision here; pick() decides
    const double slack = request_.options.tolerance ? request_.options.tolerance->to_double() + kDoubt : kAny;
    const auto to_counter = [](double value) { return static_cast<int>(std::clamp(value, 0.0, 1e9)); };
    int next = loop.m_low;
    for (int o = output.at_least(to_counter(output.ideal(loop.m_low, loop.d) / (1 + slack) - 1));
         o != ValueSet::kNone && next <= loop.m_high; o = output.at_least(o + 1)) {
      const double aim = output.ideal_m(o, loop.d);
      if (aim * (1 - slack) > loop.m_high + 1) break;
      const int stop = std::min(loop.m_high, to_counter(std::ceil(aim * (1 + slack))));
      int m = multipliers.at_least(std::max(next, to_counter(std::floor(aim * (1 - slack)))));
      for (; m != ValueSet::kNone && m <= stop; m = multipliers.at_least(m + 1)) visit(m);
      next = std::max(next, stop + 1);
    }
  }

  bool is_feasible(Mask group) const {
    return std::popcount(group) <= capacity_ &&
           std::ranges::any_of(reaches_, [group](Reach const& reach) { return reach.makes(group); });
  }

  std::vector<bool> feasible_sets() const {
    std::vector<bool> feasible(std::size_t{all_} + 1, false);
    for (Mask group = 1; group <= all_; ++group) feasible[group] = is_feasible(group);
    return feasible;
  }

  Primitive const& primitive_;
  CoverRequest const& request_;
  int capacity_;
  Mask all_;
  std::set<Reach> reaches_;
};

std::optional<std::string> check(Primitive const& primitive, CoverRequest const& request) {
  if (auto fault = kdi::clocking::check(primitive)) return fault;
  for (std::size_t i = 2; i < primitive.outputs.size(); ++i)
    if (!is_alike(primitive.outputs[1], primitive.outputs[i]))
      return "outputs 1 and " + std::to_string(i) + " of the primitive differ; only the first counter may be special";
  if (primitive.outputs.size() > 1 && !offers(primitive.outputs[0], primitive.outputs[1]))
    return "output 0 of the primitive does not offer all that output 1 does";
  const auto outside = [](char const* field, std::size_t count, std::size_t most) {
    return std::to_string(count) + " " + field + " are outside 1 to " + std::to_string(most);
  };
  if (request.inputs_hz.empty() || request.inputs_hz.size() > kMaxCoverInputs)
    return outside("inputs", request.inputs_hz.size(), kMaxCoverInputs);
  if (request.outputs.empty() || request.outputs.size() > kMaxCoverOutputs)
    return outside("outputs", request.outputs.size(), kMaxCoverOutputs);
  for (std::size_t input = 0; input < request.inputs_hz.size(); ++input)
    for (std::size_t i = 0; i < request.outputs.size(); ++i) {
      Request single = request.options;
      single.input_hz = request.inputs_hz[input];
      single.second_input_hz.reset();
      single.high_speed_hz.reset();
      single.outputs = {request.outputs[i]};
      if (auto fault = kdi::clocking::check(primitive, single))
        return "input " + std::to_string(input) + ", clock " + std::to_string(i) + ": " + *fault;
    }
  return std::nullopt;
}

}  // namespace

Cover minimal_primitives(Primitive const& primitive, CoverRequest const& request) {
  Cover cover;
  if (auto fault = check(primitive, request)) {
    cover.message = *fault;
    return cover;
  }
  try {
    const Covering covering(primitive, request);
    if (const Mask hopeless = covering.hopeless(); hopeless != 0) {
      const auto index = static_cast<std::size_t>(std::countr_zero(hopeless));
      cover.message = "clock " + std::to_string(index) + ", " + (request.outputs[index].frequency_hz / 1000000).text() +
                      " MHz, cannot be made from any of the inputs";
      return cover;
    }
    const bool is_exact = request.outputs.size() <= kExactCoverOutputs;
    for (Mask group : is_exact ? covering.exact() : covering.greedy())
      cover.groups.push_back(covering.solve_group(group));
    cover.at_least = is_exact ? cover.groups.size() : covering.lower_bound();
    cover.is_minimal = cover.groups.size() == cover.at_least;
    if (!cover.is_minimal)
      cover.message = "with more than " + std::to_string(kExactCoverOutputs) +
                      " clocks the number is only bounded: " + std::to_string(cover.groups.size()) +
                      " primitives do, at least " + std::to_string(cover.at_least) + " are needed";
  } catch (std::overflow_error const&) {
    cover.groups.clear();
    cover.message = kTooFine;
  }
  return cover;
}

}  // namespace kdi::clocking
