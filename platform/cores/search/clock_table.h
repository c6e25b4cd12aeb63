// The errors of all demands on all settings, and whether settings can cover demands within a bound.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <set>
#include <utility>
#include <vector>

#include "platform/cores/search/clock_problem.h"

namespace kdi::cores {

constexpr std::size_t kMostDemands = 256;

/// A set of demands.
class Bits {
 public:
  void add(std::size_t i) { words_[i / 64] |= std::uint64_t{1} << i % 64; }
  bool has(std::size_t i) const { return (words_[i / 64] >> i % 64 & 1) != 0; }
  bool empty() const { return (words_[0] | words_[1] | words_[2] | words_[3]) == 0; }
  int count() const {
    int total = 0;
    for (const std::uint64_t word : words_)
      if (word != 0) total += std::popcount(word);
    return total;
  }
  bool within(Bits const& other) const { return (*this - other).empty(); }
  std::uint64_t word(std::size_t number) const { return words_[number]; }
  std::size_t fullest_word() const {
    const auto fuller = [](std::uint64_t a, std::uint64_t b) { return std::popcount(a) < std::popcount(b); };
    return static_cast<std::size_t>(std::max_element(words_.begin(), words_.end(), fuller) - words_.begin());
  }
  template <class Use>
  void for_each(Use use) const {
    for (std::size_t i = 0; i < words_.size(); ++i)
      for (std::uint64_t rest = words_[i]; rest != 0; rest &= rest - 1)
        use(i * 64 + static_cast<std::size_t>(std::countr_zero(rest)));
  }
  friend Bits operator-(Bits const& a, Bits const& b) {
    return combined(a, b, [](std::uint64_t x, std::uint64_t y) { return x & ~y; });
  }
  friend Bits operator|(Bits const& a, Bits const& b) {
    return combined(a, b, [](std::uint64_t x, std::uint64_t y) { return x | y; });
  }
  friend Bits operator&(Bits const& a, Bits const& b) {
    return combined(a, b, [](std::uint64_t x, std::uint64_t y) { return x & y; });
  }
  friend auto operator<=>(Bits const& a, Bits const& b) = default;

 private:
  template <class Operation>
  static Bits combined(Bits const& a, Bits const& b, Operation operation) {
    Bits result;
    for (std::size_t i = 0; i < a.words_.size(); ++i) result.words_[i] = operation(a.words_[i], b.words_[i]);
    return result;
  }
  std::array<std::uint64_t, 4> words_{};
};

/// What each setting of each PLL covers, and what is covered whatever they are.
struct Cover {
  Bits always;
  std::vector<std::vector<Bits>> plls;
};

using Choices = std::vector<std::uint32_t>;  ///< by PLL: a setting, or kUnused
constexpr std::uint32_t kUnused = ~0U;

/// The error of each demand on each setting, as keys.
struct Table {
  std::size_t demands = 0;
  std::vector<std::vector<std::int64_t>> keys;  ///< by PLL: demand by demand for each setting
  std::vector<std::int64_t> base;               ///< by demand: on references

  std::int64_t const* row(std::size_t pll, std::size_t choice) const { return keys[pll].data() + choice * demands; }
  std::size_t choices(std::size_t pll) const { return demands == 0 ? 0 : keys[pll].size() / demands; }
};

Table table_of(ClockProblem const& problem);

/// Calls use(setting, value) for each setting of the PLL in turn, with the least that value_of(frequency) is of what
/// the demand takes from it. Nothing is called if it takes nothing.
template <class ValueOf, class Use>
void for_each_setting(ClockProblem const& problem, Demand const& demand, std::size_t pll, ValueOf value_of, Use use) {
  const auto takes = [&](Demand::Source::Kind kind) {
    return std::any_of(demand.sources.begin(), demand.sources.end(),
                       [&](Demand::Source const& source) { return source.kind == kind && source.number == pll; });
  };
  const bool output = takes(Demand::Source::Kind::output), crossing = takes(Demand::Source::Kind::crossing);
  if (!output && !crossing) return;
  std::vector<PllChoice> const& choices = problem.choices[pll];
  std::int64_t of_output = kNone;  // that of the setting before, which mostly has the same
  for (std::size_t c = 0; c < choices.size(); ++c) {
    PllChoice const& choice = choices[c];
    std::int64_t least = kNone;
    if (output) {
      const bool is_new = c == 0 || choice.output.den != choices[c - 1].output.den || choice.vco != choices[c - 1].vco;
      least = of_output = is_new ? value_of(choice.output) : of_output;
    }
    if (crossing && choice.crossed) least = std::min<std::int64_t>(least, value_of(*choice.crossed));
    use(c, least);
  }
}

// --- rows of settings

/// The sum of the frequencies of the oscillators in use.
Int128 power_of(ClockProblem const& problem, Choices const& made);
/// Whether `a` comes before `b` as rows of settings.
bool is_first(ClockProblem const& problem, Choices const& a, Choices const& b);
/// Of PLLs that are alike (as first_alike() tells), the settings in the order in which rows are told apart; what is not
/// in use comes last.
Choices in_order(ClockProblem const& problem, std::vector<std::size_t> const& alike, Choices made);
/// Which errors are at most so much.
Cover cover_of(Table const& table, std::int64_t most);

/// Whether one setting for each PLL covers all that is wanted.
class Covering {
 public:
  explicit Covering(Cover const& cover);

  /// The settings that do; nothing if none do.
  std::optional<Choices> covers(Bits const& wanted);

 private:
  // A setting and what it covers.
  struct Covered {
    Bits set;
    std::uint32_t choice;
    int count;
  };

  // What is left to decide after so many decisions.
  struct Level {
    std::vector<std::size_t> left;                 // PLLs
    std::vector<std::vector<std::uint32_t>> sets;  // by PLL: numbers of those that are not ruled out
  };

  static std::vector<Covered> greatest(std::vector<Bits> const& sets);
  bool can(std::size_t depth, Bits const& open);
  bool propagate(Level& level, Bits const& open) const;
  bool branch(std::size_t depth, Bits const& open);
  std::size_t rarest(Level const& level, Bits const& open) const;
  std::vector<std::uint32_t> ways(Level const& level, std::size_t p, std::size_t demand, Bits const& open) const;

  Bits always_;
  std::vector<std::vector<Covered>> plls_;
  std::vector<Level> levels_;
  // What the PLLs left, as bits, cannot cover.
  std::set<std::pair<std::uint32_t, Bits>> failed_;
  Choices choices_;
};

}  // namespace kdi::cores
