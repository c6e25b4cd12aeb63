#include "platform/cores/search/clock_parting.h"

#include <algorithm>
#include <array>
#include <bit>
#include <limits>
#include <numeric>

namespace kdi::cores {
namespace {

// Parts are taken as many at once as a wide word has numbers: those of the three first demands.
constexpr std::size_t kLow = 3, kLanes = 1U << kLow;
constexpr std::int32_t kFar = 1 << 29;  // above all sums

// The errors of all parts with one setting: of those among the first three demands, and of the others.
struct PartSums {
  std::array<std::int32_t, kLanes> low;
  std::array<std::int32_t, 1U << (PartedBound::kMostParted - kLow)> high;

  PartSums() {}  // what is not set is not looked at

  void set(std::int32_t const* errors, std::size_t demands, std::int32_t saved) {
    const auto fill = [&](std::int32_t* sums, std::size_t from, std::size_t count) {
      for (std::size_t n = 1; n < std::size_t{1} << count; ++n)
        sums[n] = sums[n & (n - 1)] + errors[from + static_cast<std::size_t>(std::countr_zero(n))];
    };
    low[0] = -saved;
    high[0] = 0;
    fill(low.data(), 0, kLow);
    fill(high.data(), kLow, demands - kLow);
  }
};

[[gnu::always_inline]] inline void lower_parts(std::int32_t* least, PartSums const& sums, std::size_t parts) {
  for (std::size_t h = 0; h < parts / kLanes; ++h)
    for (std::size_t n = 0; n < kLanes; ++n)
      least[h * kLanes + n] = std::min(least[h * kLanes + n], sums.low[n] + sums.high[h]);
}

[[gnu::always_inline]] inline std::int32_t least_beside(std::int32_t const* others, PartSums const& sums,
                                                        std::size_t parts) {
  std::array<std::int32_t, kLanes> least{};
  least.fill(std::numeric_limits<std::int32_t>::max());
  for (std::size_t h = 0; h < parts / kLanes; ++h)
    for (std::size_t n = 0; n < kLanes; ++n)
      least[n] = std::min(least[n], sums.low[n] + sums.high[h] + others[h * kLanes + n]);
  return *std::min_element(least.begin(), least.end());
}

// `shifted` has, for each eight parts of b and each part t of the first three demands, what b is without t.
[[gnu::always_inline]] inline void join(std::int32_t* least, std::int32_t const* a, std::int32_t const* shifted,
                                        std::size_t parts) {
  for (std::size_t high = 0; high < parts / kLanes; ++high) {
    std::array<std::int32_t, kLanes> best{};
    best.fill(kFar);
    for (std::size_t own = high;; own = (own - 1) & high) {
      std::int32_t const* const of_a = a + own * kLanes;
      std::int32_t const* const of_b = shifted + (high ^ own) * kLanes * kLanes;
      for (std::size_t t = 0; t < kLanes; ++t)
        for (std::size_t n = 0; n < kLanes; ++n) best[n] = std::min(best[n], of_a[t] + of_b[t * kLanes + n]);
      if (own == 0) break;
    }
    std::copy(best.begin(), best.end(), least + high * kLanes);
  }
}

// Where the processor has wider words than all of its kind do, they are worth ways of their own.
#if defined(__x86_64__)
[[gnu::target("avx2")]] void wide_lower_parts(std::int32_t* least, PartSums const& sums, std::size_t parts) {
  lower_parts(least, sums, parts);
}
[[gnu::target("avx2")]] std::int32_t wide_least_beside(std::int32_t const* others, PartSums const& sums,
                                                       std::size_t parts) {
  return least_beside(others, sums, parts);
}
[[gnu::target("avx2")]] void wide_join(std::int32_t* least, std::int32_t const* a, std::int32_t const* shifted,
                                       std::size_t parts) {
  join(least, a, shifted, parts);
}
bool has_wide_words() {
  static const bool has = __builtin_cpu_supports("avx2") != 0;
  return has;
}
#else
void wide_lower_parts(std::int32_t* least, PartSums const& sums, std::size_t parts) { lower_parts(least, sums, parts); }
std::int32_t wide_least_beside(std::int32_t const* others, PartSums const& sums, std::size_t parts) {
  return least_beside(others, sums, parts);
}
void wide_join(std::int32_t* least, std::int32_t const* a, std::int32_t const* shifted, std::size_t parts) {
  join(least, a, shifted, parts);
}
bool has_wide_words() { return false; }
#endif

}  // namespace

void PartedBound::begin(std::vector<std::int32_t> const& prices, std::vector<std::int32_t> const& limits,
                        std::size_t most_parted) {
  prices_ = prices;
  limits_ = limits;
  plls_.clear();
  pairs_.clear();
  parted_.resize(prices.size());
  std::iota(parted_.begin(), parted_.end(), std::size_t{0});
  std::stable_sort(parted_.begin(), parted_.end(), [&](std::size_t a, std::size_t b) { return prices[a] > prices[b]; });
  parted_.resize(std::min(parted_.size(), most_parted));
  for (const std::size_t i : parted_) prices_[i] = 0;
  unparted_ = std::accumulate(prices_.begin(), prices_.end(), std::int64_t{0});
}

void PartedBound::add_plls(int count) { plls_.emplace_back().count = count; }

void PartedBound::add_setting(std::int32_t const* row) {
  Plls& plls = plls_.back();
  for (const std::size_t i : parted_) plls.errors.push_back(std::min(limits_[i], row[i]));
  std::int32_t saved = 0;
  for (std::size_t i = 0; i < prices_.size(); ++i) saved += std::max(0, prices_[i] - row[i]);
  plls.saved.push_back(saved);
}

std::int64_t PartedBound::bound() {
  for (Plls& plls : plls_) find_least(plls);
  join_others();
  Plls const& first = plls_.front();
  std::int32_t least = kFar;
  for (std::size_t part = 0; part < first.least.size(); ++part)
    least = std::min(least, first.least[part] + first.others[part]);
  return unparted_ + least;
}

std::int64_t PartedBound::bound_with(std::size_t plls, std::size_t setting) {
  Plls const& own = plls_[plls];
  PartSums sums;
  sums.set(own.errors.data() + setting * parted_.size(), parted_.size(), own.saved[setting]);
  steps_ += own.others.size() / kLanes;
  return unparted_ + (has_wide_words() ? wide_least_beside : least_beside)(own.others.data(), sums, own.others.size());
}

void PartedBound::find_least(Plls& plls) {
  plls.least.assign(std::size_t{1} << parted_.size(), kFar);
  steps_ += plls.saved.size() * plls.least.size() / kLanes;
  PartSums sums;
  for (std::size_t n = 0; n < plls.saved.size(); ++n) {
    sums.set(plls.errors.data() + n * parted_.size(), parted_.size(), plls.saved[n]);
    (has_wide_words() ? wide_lower_parts : lower_parts)(plls.least.data(), sums, plls.least.size());
  }
}

PartedBound::Sums PartedBound::joined(Sums const& a, Sums const& b) {
  if (a.empty() || b.empty()) return a.empty() ? b : a;
  shifted_.resize(b.size() * kLanes);
  std::int32_t* to = shifted_.data();
  for (std::size_t high = 0; high < b.size(); high += kLanes)
    for (std::size_t t = 0; t < kLanes; ++t)
      for (std::size_t n = 0; n < kLanes; ++n) *to++ = (n & t) == t ? b[high + (n ^ t)] : kFar;
  std::uint64_t pairs = kLanes;
  for (std::size_t n = kLow; n < parted_.size(); ++n) pairs *= 3;
  steps_ += pairs;
  Sums least(a.size());
  (has_wide_words() ? wide_join : join)(least.data(), a.data(), shifted_.data(), a.size());
  return least;
}

// Of PLLs that have the same settings, all but one are beside that one.
void PartedBound::join_others() {
  const std::size_t count = plls_.size();
  std::vector<Sums> all(count), behind(count + 1);
  for (std::size_t p = count; p-- > 0;) {
    for (int n = 1; n < plls_[p].count; ++n) plls_[p].others = joined(plls_[p].others, plls_[p].least);
    all[p] = joined(plls_[p].others, plls_[p].least);
    if (p > 0) behind[p] = joined(all[p], behind[p + 1]);
  }
  Sums before;
  for (std::size_t p = 0; p < count; ++p) {
    Sums& others = plls_[p].others;
    others = joined(joined(others, before), behind[p + 1]);
    turn(others, plls_[p].least.size());
    if (p + 1 < count) before = joined(before, all[p]);
  }
}

// From what others take to what they leave. With no other they leave all.
void PartedBound::turn(Sums& others, std::size_t parts) {
  if (others.empty()) {
    others.assign(parts, kFar);
    others.front() = 0;
  }
  std::reverse(others.begin(), others.end());
}

// ------------------------------------------------------------------------------------------------------------ pairs

void PartedBound::set(std::size_t plls, std::int32_t const* row, std::vector<std::int32_t> const& prices) {
  made_.plls = plls;
  made_.unparted = std::accumulate(prices.begin(), prices.end(), std::int64_t{0});
  for (std::size_t n = 0; n < parted_.size(); ++n) {
    const std::size_t i = parted_[n];
    made_.prices[n] = prices[i];
    made_.limits[n] = std::min(limits_[i], row[i]);
    made_.unparted -= prices[i];
  }
}

std::int64_t PartedBound::bound_beside(std::size_t plls, std::int32_t const* row, std::int64_t saved) {
  Sums const& others = others_of(made_.plls, plls);
  std::array<std::int32_t, kMostParted> errors{};
  for (std::size_t n = 0; n < parted_.size(); ++n) {
    const std::int32_t own = row[parted_[n]];
    errors[n] = std::min(made_.limits[n], own);
    saved -= std::max(0, made_.prices[n] - own);
  }
  PartSums sums;
  sums.set(errors.data(), parted_.size(), static_cast<std::int32_t>(saved));
  steps_ += others.size() / kLanes;
  return made_.unparted + (has_wide_words() ? wide_least_beside : least_beside)(others.data(), sums, others.size());
}

PartedBound::Sums const& PartedBound::others_of(std::size_t a, std::size_t b) {
  pairs_.resize(plls_.size() * plls_.size());
  Sums& others = pairs_[std::min(a, b) * plls_.size() + std::max(a, b)];
  if (!others.empty()) return others;
  for (std::size_t p = 0; p < plls_.size(); ++p)
    for (int n = (p == a ? 1 : 0) + (p == b ? 1 : 0); n < plls_[p].count; ++n) others = joined(others, plls_[p].least);
  turn(others, plls_.front().least.size());
  return others;
}

}  // namespace kdi::cores
