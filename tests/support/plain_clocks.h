// What a clock search should answer, by trying everything: all settings of all PLLs, and all dividers of all clocks.
// Shares with the library the form of requests and answers alone.
#pragma once

#include <algorithm>
#include <boost/multiprecision/cpp_int.hpp>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "kdi/cores/Clocks.h"

namespace plain_clocks {

using namespace kdi::cores;
using Number = boost::multiprecision::cpp_rational;

inline Number number(Decimal mhz) {
  Number value = mhz.mantissa();
  for (int i = 0; i < mhz.places(); ++i) value /= 10;
  return value;
}

inline Number number(Fraction const& fraction) {
  return Number(boost::multiprecision::cpp_int(fraction.num)) / Number(boost::multiprecision::cpp_int(fraction.den));
}

/// One PLL, set or not used.
struct Set {
  bool used = false;
  std::size_t reference = 0;
  int feedback = 0, divider = 0, crossing = 0;
  Number vco = 0;

  auto row() const { return std::tuple(!used, reference, feedback, divider, crossing); }
};

/// What a clock makes of it.
struct Got {
  std::size_t source;
  std::vector<int> dividers;
  Number actual, error;
};

class PlainClocks {
 public:
  explicit PlainClocks(ClockRequest const& request) : request_(request) {
    for (Pll const& pll : request.plls) settings_.push_back(all_of(pll));
    for (Clock const& clock : request.clocks) {
      std::vector<std::vector<std::optional<Got>>> by_pll;
      for (std::size_t p = 0; p < request.plls.size(); ++p) {
        std::vector<std::optional<Got>>& got = by_pll.emplace_back();
        for (Set const& set : settings_[p]) got.push_back(best(clock, p, &set));
      }
      got_.push_back(std::move(by_pll));
      on_references_.push_back(best(clock, request.plls.size(), nullptr));
    }
    for (std::size_t i = 0; i < request.clocks.size(); ++i) by_name_.push_back(i);
    std::sort(by_name_.begin(), by_name_.end(),
              [&](std::size_t a, std::size_t b) { return request.clocks[a].name < request.clocks[b].name; });
    for (std::size_t i = 0; i < request.plls.size(); ++i) plls_by_name_.push_back(i);
    std::sort(plls_by_name_.begin(), plls_by_name_.end(),
              [&](std::size_t a, std::size_t b) { return request.plls[a].name < request.plls[b].name; });
  }

  ClockAnswer answer() {
    std::optional<Judged> best;
    for_each_row([&](std::vector<std::size_t> const& row) {
      Judged judged = judge(row, best);
      if (judged.is_worth && (!best || is_before(judged, *best))) best = std::move(judged);
    });
    return told(*best);
  }

  /// The lowest frequency that a clock can have at all, and beside these others while it stays within its limit.
  std::optional<Number> lowest(std::size_t clock, std::vector<std::size_t> const& others, bool within_limit) {
    std::optional<Number> least;
    for_each_row([&](std::vector<std::size_t> const& row) {
      if (!std::all_of(others.begin(), others.end(), [&](std::size_t c) { return got(c, row).has_value(); })) return;
      for_each_division(clock, row, [&](Number const& mhz) {
        if (within_limit && request_.clocks[clock].most && mhz > number(*request_.clocks[clock].most)) return;
        if (!least || mhz < *least) least = mhz;
      });
    });
    return least;
  }

 private:
  struct Judged {
    std::vector<std::size_t> row;
    std::vector<bool> unmet;  // by name
    int unmet_count = 0;      // the fewest, before all else
    Number worst = 0, sum = 0, power = 0;
    int used = 0;
    bool is_worth = true;
  };

  std::vector<Set> all_of(Pll const& pll) const {
    std::vector<Set> all{Set{}};
    for (std::size_t r = 0; r < pll.references.size(); ++r)
      for (const int feedback : pll.feedback)
        for (const int divider : pll.output_dividers)
          for (const int crossing : pll.crossing ? pll.crossing->dividers : std::vector<int>{0}) {
            Set set{true, r, feedback, divider, crossing, reference(pll.references[r]) * feedback};
            const bool is_in = set.vco >= number(pll.vco_least) && set.vco <= number(pll.vco_most) && set.vco > 0;
            if (is_in && !(pll.most && set.vco / divider > number(*pll.most))) all.push_back(set);
          }
    return all;
  }

  Number reference(std::string const& name) const {
    for (ClockReference const& known : request_.references)
      if (known.name == name) return number(known.mhz);
    return 0;
  }

  // The frequency of a clock's source, if it is of this PLL (or a reference for none).
  std::optional<Number> source(std::string const& name, std::size_t p, Set const* set) const {
    if (set == nullptr) {
      const Number mhz = reference(name);
      return mhz > 0 ? std::optional(mhz) : std::nullopt;
    }
    Pll const& pll = request_.plls[p];
    if (!set->used) return std::nullopt;
    if (pll.name == name) return set->vco / set->divider;
    if (!pll.crossing || pll.crossing->name != name) return std::nullopt;
    const Number mhz = set->vco / set->divider / set->crossing;
    return pll.crossing->most && mhz > number(*pll.crossing->most) ? std::nullopt : std::optional(mhz);
  }

  template <class Use>
  static void for_each_dividers(std::vector<std::vector<int>> const& stages, Use use) {
    std::vector<int> chosen;
    const std::function<void(std::size_t)> fill = [&](std::size_t stage) {
      if (stage == stages.size()) {
        use(chosen);
        return;
      }
      for (const int divider : stages[stage]) {
        chosen.push_back(divider);
        fill(stage + 1);
        chosen.pop_back();
      }
    };
    fill(0);
  }

  static Number divided(Number mhz, std::vector<int> const& dividers) {
    for (const int divider : dividers) mhz /= divider;
    return mhz;
  }

  std::optional<Got> best(Clock const& clock, std::size_t p, Set const* set) const {
    std::optional<Got> best;
    const Number requested = number(clock.requested);
    for (std::size_t s = 0; s < clock.sources.size(); ++s) {
      const std::optional<Number> mhz = source(clock.sources[s], p, set);
      if (!mhz) continue;
      for_each_dividers(clock.stages, [&](std::vector<int> const& dividers) {
        const Number actual = divided(*mhz, dividers);
        if ((clock.most && actual > number(*clock.most)) || (!clock.may_exceed && actual > requested)) return;
        const Number error = abs(actual - requested) / requested;
        if (!best || error < best->error || (error == best->error && s == best->source && actual < best->actual))
          best = Got{s, dividers, actual, error};
      });
    }
    return best;
  }

  template <class Use>
  void for_each_division(std::size_t clock, std::vector<std::size_t> const& row, Use use) const {
    Clock const& asked = request_.clocks[clock];
    for (std::string const& name : asked.sources)
      for (std::size_t p = 0; p <= row.size(); ++p) {
        const auto mhz = source(name, p, p < row.size() ? &settings_[p][row[p]] : nullptr);
        if (mhz) for_each_dividers(asked.stages, [&](std::vector<int> const& d) { use(divided(*mhz, d)); });
      }
  }

  // The best of what a clock has with these settings; of equal ones that with the first source.
  std::optional<Got> got(std::size_t clock, std::vector<std::size_t> const& row) const {
    std::optional<Got> best = on_references_[clock];
    for (std::size_t p = 0; p < row.size(); ++p) {
      std::optional<Got> const& other = got_[clock][p][row[p]];
      if (other &&
          (!best || other->error < best->error || (other->error == best->error && other->source < best->source)))
        best = other;
    }
    return best;
  }

  template <class Use>
  void for_each_row(Use use) const {
    std::vector<std::size_t> row(settings_.size(), 0);
    while (true) {
      use(row);
      std::size_t p = 0;
      while (p < row.size() && ++row[p] == settings_[p].size()) row[p++] = 0;
      if (p == row.size()) return;
    }
  }

  Judged judge(std::vector<std::size_t> const& row, std::optional<Judged> const& best) const {
    Judged judged{row, {}, 0, 0, 0, 0, 0, true};
    std::vector<Number const*> errors;
    for (const std::size_t clock : by_name_) {
      Got const* least = on_references_[clock] ? &*on_references_[clock] : nullptr;
      for (std::size_t p = 0; p < row.size(); ++p) {
        std::optional<Got> const& other = got_[clock][p][row[p]];
        if (other && (least == nullptr || other->error < least->error)) least = &*other;
      }
      judged.unmet.push_back(least == nullptr);
      judged.unmet_count += least == nullptr;
      if (least != nullptr) errors.push_back(&least->error);
    }
    for (Number const* const error : errors) judged.worst = std::max(judged.worst, *error);
    // Sums take time, and most are not asked for.
    judged.is_worth =
        !best || judged.unmet_count < best->unmet_count ||
        (judged.unmet_count == best->unmet_count && (judged.unmet != best->unmet || judged.worst <= best->worst));
    if (!judged.is_worth) return judged;
    for (Number const* const error : errors) judged.sum += *error;
    for (std::size_t p = 0; p < row.size(); ++p) {
      judged.used += settings_[p][row[p]].used;
      judged.power += settings_[p][row[p]].vco;
    }
    return judged;
  }

  bool is_before(Judged const& a, Judged const& b) const {
    if (a.unmet_count != b.unmet_count) return a.unmet_count < b.unmet_count;
    if (a.unmet != b.unmet) return a.unmet < b.unmet;  // those that are met first
    if (a.worst != b.worst) return a.worst < b.worst;
    if (a.sum != b.sum) return a.sum < b.sum;
    if (a.used != b.used) return a.used < b.used;
    if (a.power != b.power) return a.power < b.power;
    for (const std::size_t p : plls_by_name_)
      if (a.row[p] != b.row[p]) return settings_[p][a.row[p]].row() < settings_[p][b.row[p]].row();
    return false;
  }

  static Fraction fraction(Number const& value) {
    return Fraction::of(static_cast<Int128>(boost::multiprecision::numerator(value)),
                        static_cast<Int128>(boost::multiprecision::denominator(value)));
  }

  ClockAnswer told(Judged const& best) const {
    ClockAnswer answer;
    for (std::size_t p = 0; p < best.row.size(); ++p) {
      Set const& set = settings_[p][best.row[p]];
      PllSetting setting;
      if (set.used)
        setting = {
            true, set.reference, set.feedback, set.divider, 0, fraction(set.vco), fraction(set.vco / set.divider)};
      answer.plls.push_back(setting);
    }
    for (std::size_t c = 0; c < request_.clocks.size(); ++c) {
      const std::optional<Got> own = got(c, best.row);
      ClockSetting setting;
      if (own) {
        setting = {true, own->source, own->dividers, fraction(own->actual), fraction(own->error)};
        for (std::size_t p = 0; p < request_.plls.size(); ++p)
          if (request_.plls[p].crossing && request_.plls[p].crossing->name == request_.clocks[c].sources[own->source])
            answer.plls[p].crossing = settings_[p][best.row[p]].crossing;
      }
      answer.clocks.push_back(setting);
    }
    return answer;
  }

  ClockRequest const& request_;
  std::vector<std::vector<Set>> settings_;                         // by PLL
  std::vector<std::vector<std::vector<std::optional<Got>>>> got_;  // by clock, PLL and setting
  std::vector<std::optional<Got>> on_references_;                  // by clock
  std::vector<std::size_t> by_name_, plls_by_name_;
};

}  // namespace plain_clocks
