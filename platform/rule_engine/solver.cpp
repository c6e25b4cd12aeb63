// Both searches look at pairs of a PLL with M and D. Where the rate comes out exactly, the VCO is rate D / (2 bits),
// the same for all M, and whether N + K / 2^B is of few enough bits is a matter of what divides D M: no number is
// divided. Where it does not, a pair's best is the feedback next to the ideal one on either side, brought into what its
// ranges allow; a pair is looked at exactly only if an estimate leaves it a chance.
#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

#include "kdi/common/KdiNumber.h"
#include "kdi/rule_engine/host/Rates.h"
#include "platform/rule_engine/wide.h"

namespace kdi::gt {
namespace {

using wide::Int;

constexpr std::int64_t kGiga = 1'000'000'000, kMega = 1'000'000;

// Whether a * b <= c * d and the like, for factors whose product 128 bits may not hold.
bool at_most(Int128 a, Int128 b, Int128 c, Int128 d) {
  Int128 left = 0, right = 0;
  if (!__builtin_mul_overflow(a, b, &left) && !__builtin_mul_overflow(c, d, &right)) return left <= right;
  return Int(a) * b <= Int(c) * d;
}

// Whether value * unit, a frequency, times up / down is within the bounds.
bool within(Fraction const& value, std::int64_t unit, Int128 up, Int128 down, Bounds bounds) {
  const Int128 num = value.num * unit, den = value.den;  // below 10^29
  return at_most(num, up, den * down, bounds.most) && at_most(den * down, bounds.least, num, up);
}

bool divider_has(Kind const& kind, int divide, Fraction const& gbps, int bits) {
  return within(gbps, kGiga, 1, bits, kind.divider(divide)->symbols);
}

Bounds const* band_of(Kind const& kind, Fraction const& gbps) {
  for (Bounds const& band : kind.rates)
    if (within(gbps, kGiga, 1, 1, band)) return &band;
  return nullptr;
}

// The ratio of the feedback to D M: rate / (2 bits reference) in lowest terms.
struct Ratio {
  Int num, den;
};
Ratio ratio_of(Request const& request) {
  Int num = Int(request.gbps.num) * request.reference_mhz.den * 1000;
  Int den = Int(request.gbps.den) * request.reference_mhz.num * (2 * request.modulation->bits);
  const Int common = gcd(num, den);
  return {num / common, den / common};
}
/// The denominator of that ratio, if D M may undo it: at most 2^62.
std::optional<std::int64_t> small_denominator(Request const& request) {
  Int128 num = 0, den = 0;
  const auto& rate = request.gbps;
  const auto& reference = request.reference_mhz;
  if (__builtin_mul_overflow(rate.num * 1000, reference.den, &num) ||
      __builtin_mul_overflow(rate.den * 2 * request.modulation->bits, reference.num, &den)) {
    const Int big = ratio_of(request).den;
    if (big > std::numeric_limits<std::int64_t>::max() / 2) return std::nullopt;
    return big.convert_to<std::int64_t>();
  }
  for (Int128 a = num, b = den;;) {
    if (b == 0) {
      den /= a;
      break;
    }
    constexpr Int128 kSmall = std::numeric_limits<std::int64_t>::max();
    if (a <= kSmall && b <= kSmall) {
      den /= std::gcd(static_cast<std::int64_t>(a), static_cast<std::int64_t>(b));
      break;
    }
    const Int128 rest = a % b;
    a = b;
    b = rest;
  }
  if (den > std::numeric_limits<std::int64_t>::max() / 2) return std::nullopt;
  return static_cast<std::int64_t>(den);
}

bool takes(Request const& request, int pll) { return request.pll < 0 || request.pll == pll; }

// The VCO's part that settings differ in, (N + K / 2^B) / M, exactly.
std::strong_ordering compare_vco(Kind const& kind, Setting const& a, Setting const& b) {
  const auto part = [&](Setting const& s) {
    return (static_cast<Int128>(s.feedback) << 24) +
           (static_cast<Int128>(s.numerator) << (24 - kind.plls[static_cast<std::size_t>(s.pll)].fraction_bits));
  };
  return part(a) * b.reference_divide <=> part(b) * a.reference_divide;
}

bool is_better(Kind const& kind, Aim aim, Setting const& a, Setting const& b) {
  const bool a_fraction = a.numerator != 0, b_fraction = b.numerator != 0;
  if (a_fraction != b_fraction) return b_fraction;
  const auto vco = compare_vco(kind, a, b);
  if (vco != 0) return (vco > 0) == (aim == Aim::jitter);
  if (a.reference_divide != b.reference_divide) return a.reference_divide < b.reference_divide;
  if (a.pll != b.pll) return a.pll < b.pll;
  if (a.output_divide != b.output_divide) return a.output_divide < b.output_divide;
  return std::pair(a.feedback, a.numerator) < std::pair(b.feedback, b.numerator);
}

// Calls found(setting) for each setting that gives the rate exactly. The rate, the reference and the modulation are
// within their ranges.
template <class Found>
void for_each_exact(Kind const& kind, Request const& request, Found found) {
  const auto denominator = small_denominator(request);
  if (!denominator) return;
  const int bits = request.modulation->bits;
  for (int index = 0; index < static_cast<int>(kind.plls.size()); ++index) {
    Pll const& pll = kind.plls[static_cast<std::size_t>(index)];
    if (!takes(request, index)) continue;
    const int fraction_bits = request.takes_fraction ? pll.fraction_bits : 0;
    // D M has to be a multiple of what the fraction's bits leave.
    const int twos = std::min(__builtin_ctzll(static_cast<unsigned long long>(*denominator)), fraction_bits);
    const std::int64_t needed = *denominator >> twos;
    for (const int divide : pll.output_divides) {
      if (!within(request.gbps, kGiga, divide, Int128{2} * bits, pll.vco) ||
          !divider_has(kind, divide, request.gbps, bits))
        continue;
      for (std::int64_t m = pll.reference_divide.least; m <= pll.reference_divide.most; ++m) {
        if ((divide * m) % needed != 0 || !within(request.reference_mhz, kMega, 1, m, pll.pfd)) continue;
        // Feedback: rate D M / (2 bits reference), a multiple of 2^-fraction_bits.
        Int128 num = 0, den = 0;
        const auto& rate = request.gbps;
        const auto& reference = request.reference_mhz;
        Int128 whole = 0;
        if (!__builtin_mul_overflow(rate.num * 1000, reference.den, &num) &&
            !__builtin_mul_overflow(num, (static_cast<Int128>(divide) * m) << fraction_bits, &num) &&
            !__builtin_mul_overflow(rate.den * 2 * bits, reference.num, &den)) {
          whole = num / den;
        } else {
          const Ratio ratio = ratio_of(request);
          whole = Int((ratio.num * divide * m << fraction_bits) / ratio.den).convert_to<Int128>();
        }
        if (whole < static_cast<Int128>(pll.feedback.least) << fraction_bits ||
            whole > static_cast<Int128>(pll.feedback.most) << fraction_bits)
          continue;
        found(Setting{index, static_cast<int>(m), static_cast<std::int64_t>(whole >> fraction_bits),
                      static_cast<std::int64_t>(whole & ((Int128{1} << fraction_bits) - 1)), divide});
      }
    }
  }
}

// --------------------------------------------------------------------------------------------------- nearest settings

template <class Number>
Number ceiling(Number const& num, Number const& den) {
  return Number((num + den - 1) / den);
}

// The feedback counts k (in 2^-bits) of a pair of PLL, M and D that all ranges allow: from first to last.
template <class Number>
struct Counts {
  Number first, last;
  bool is_empty() const { return first > last; }
  // num / den times k is within the bounds.
  void narrow(Number const& num, Number const& den, Bounds bounds) {
    first = std::max(first, ceiling(Number(den * bounds.least), num));
    last = std::min(last, Number(den * bounds.most / num));
  }
};

// Whether a b < c d and the like.
std::strong_ordering compare_products(Int const& a, Int const& b, Int const& c, Int const& d) {
  const Int left = a * b, right = c * d;
  return left < right    ? std::strong_ordering::less
         : left == right ? std::strong_ordering::equal
                         : std::strong_ordering::greater;
}
std::strong_ordering compare_products(Int128 a, Int128 b, Int128 c, Int128 d) {
  Int128 left = 0, right = 0;
  if (!__builtin_mul_overflow(a, b, &left) && !__builtin_mul_overflow(c, d, &right)) return left <=> right;
  return compare_products(Int(a), Int(b), Int(c), Int(d));
}

double as_double(Int const& value) { return value.convert_to<double>(); }
double as_double(Int128 value) { return static_cast<double>(value); }
std::int64_t as_count(Int const& value) { return value.convert_to<std::int64_t>(); }
std::int64_t as_count(Int128 value) { return static_cast<std::int64_t>(value); }

/// Numbers are of 128 bits where those of the request are short, which they nearly always are.
template <class Number>
class Nearest {
 public:
  /// `num` / `den` is rate / (2 bits reference) in lowest terms.
  Nearest(Kind const& kind, Request const& request, Bounds const& band, Number num, Number den)
      : kind_(kind),
        request_(request),
        band_(band),
        num_(num),
        den_(den),
        hertz_(Number(request.reference_mhz.num) * kMega),
        gbps_(static_cast<double>(request.gbps.num) / static_cast<double>(request.gbps.den)) {}

  void search() {
    const int count = static_cast<int>(kind_.plls.size());
    for (int index = 0; index < count; ++index) {
      Pll const& pll = kind_.plls[static_cast<std::size_t>(index)];
      if (!takes(request_, index)) continue;
      for (const int divide : pll.output_divides) {
        if (!has_chance(pll, divide)) continue;
        for (std::int64_t m = pll.reference_divide.least; m <= pll.reference_divide.most; ++m)
          if (within(request_.reference_mhz, kMega, 1, m, pll.pfd)) look_at(index, pll, m, divide);
      }
    }
  }

  std::optional<Setting> best;
  double ppm() const { return sign_ * relative_ * 1e6; }

 private:
  // The least error that the VCO leaves a divider, with room for rounding.
  bool has_chance(Pll const& pll, int divide) const {
    if (!best) return true;
    const double vco = gbps_ * 1e9 * divide / (2 * request_.modulation->bits);
    const double beyond = std::max(static_cast<double>(pll.vco.least) - vco, vco - static_cast<double>(pll.vco.most));
    return beyond / vco < relative_ * (1 + 1e-9) + 1e-12;
  }

  struct Pair {
    Pll const& pll;
    int fraction_bits;
    Number per;  // of the reference's denominator: times 2^bits M
    int divide;
  };

  template <class Look>
  void ranges(Pair const& pair, Look look) const {
    const Number by_divide = pair.per * pair.divide;
    look(hertz_, pair.per, pair.pll.vco);
    look(Number(hertz_ * 2), by_divide, kind_.divider(pair.divide)->symbols);
    look(Number(hertz_ * 2), by_divide, request_.modulation->symbols);
    look(Number(hertz_ * (2 * request_.modulation->bits)), by_divide, band_);
  }

  bool allows(Pair const& pair, Number const& k) const {
    bool is_allowed = k >= Number(pair.pll.feedback.least) << pair.fraction_bits && k <= Number(pair.pll.feedback.most)
                                                                                             << pair.fraction_bits;
    ranges(pair, [&](Number const& num, Number const& den, Bounds bounds) {
      const Number value = num * k;
      is_allowed = is_allowed && value >= den * bounds.least && value <= den * bounds.most;
    });
    return is_allowed;
  }

  Counts<Number> counts_allowed(Pair const& pair) const {
    Counts<Number> counts{Number(pair.pll.feedback.least) << pair.fraction_bits, Number(pair.pll.feedback.most)
                                                                                     << pair.fraction_bits};
    ranges(pair, [&](Number const& num, Number const& den, Bounds bounds) { counts.narrow(num, den, bounds); });
    return counts;
  }

  void look_at(int index, Pll const& pll, std::int64_t m, int divide) {
    const int bits = request_.takes_fraction ? pll.fraction_bits : 0;
    const Number per = Number(m * divide) << bits;
    const Number target = num_ * per;
    const Number below = target / den_;
    const Pair pair{pll, bits, Number(request_.reference_mhz.den) * (Number(m) << bits), divide};
    Number sides[2] = {below, Number(below + 1)};
    if (!allows(pair, sides[0]) || !allows(pair, sides[1])) {
      const Counts<Number> counts = counts_allowed(pair);
      if (counts.is_empty()) return;
      for (Number& k : sides) k = std::clamp(k, counts.first, counts.last);
    }
    for (Number const& k : sides) offer(index, static_cast<int>(m), divide, bits, k, per, Number(k * den_ - target));
  }

  // An error of the rate is, all in all, |difference| / per: the rest is the same for all settings.
  void offer(int index, int m, int divide, int bits, Number const& k, Number const& per, Number const& difference) {
    const Number miss = difference < 0 ? Number(-difference) : difference;
    const Number whole = k >> bits;
    const Setting setting{index, m, as_count(whole), as_count(Number(k - (whole << bits))), divide};
    if (best) {
      const auto order = compare_products(miss, per_, miss_, per);
      if (order > 0 || (order == 0 && !is_better(kind_, request_.aim, setting, *best))) return;
    }
    best = setting;
    miss_ = miss;
    per_ = per;
    sign_ = difference < 0 ? -1 : 1;
    relative_ = as_double(miss) / as_double(per) / as_double(num_);
  }

  Kind const& kind_;
  Request const& request_;
  Bounds const& band_;
  Number num_, den_, hertz_;
  double gbps_;
  Number miss_ = 0, per_ = 1;
  double relative_ = 0;
  int sign_ = 1;
};

template <class Number>
Answer nearest_of(Kind const& kind, Request const& request, Bounds const& band, Number const& num, Number const& den) {
  Nearest<Number> nearest(kind, request, band, num, den);
  nearest.search();
  return {nearest.best, false, nearest.best ? nearest.ppm() : 0};
}

Answer nearest_setting(Kind const& kind, Request const& request) {
  constexpr Int128 kShort = Int128{1} << 62, kShortDenominator = Int128{1} << 46;
  const Ratio ratio = ratio_of(request);
  Bounds const& band = *band_of(kind, request.gbps);
  if (ratio.num < kShort && ratio.den < kShort && request.reference_mhz.num < kShort &&
      request.reference_mhz.den < kShortDenominator)
    return nearest_of<Int128>(kind, request, band, ratio.num.convert_to<Int128>(), ratio.den.convert_to<Int128>());
  return nearest_of<Int>(kind, request, band, ratio.num, ratio.den);
}

std::string mhz_text(Bounds bounds) {
  return number::plain(static_cast<double>(bounds.least) / 1e6) + " to " +
         number::plain(static_cast<double>(bounds.most) / 1e6) + " MHz";
}

bool is_legal(Kind const& kind, Request const& request) {
  return has_rate(kind, request.gbps) && has_symbols(*request.modulation, request.gbps) &&
         within(request.reference_mhz, kMega, 1, 1, kind.reference);
}

// Why no setting can be looked for; empty if one can.
std::string refusal(Kind const& kind, Request const& request) {
  if (!has_rate(kind, request.gbps))
    return kind.name + " " + kind.grade + " has no band with " + exact_text(request.gbps) + " Gb/s";
  if (!has_symbols(*request.modulation, request.gbps))
    return request.modulation->name + " of " + kind.name + " has no symbol rate for " + exact_text(request.gbps) +
           " Gb/s";
  if (!within(request.reference_mhz, kMega, 1, 1, kind.reference))
    return "the reference clock " + exact_text(request.reference_mhz) + " MHz is outside " + mhz_text(kind.reference);
  return {};
}

std::optional<Setting> best_exact(Kind const& kind, Request const& request) {
  std::optional<Setting> best;
  for_each_exact(kind, request, [&](Setting const& setting) {
    if (!best || is_better(kind, request.aim, setting, *best)) best = setting;
  });
  return best;
}

}  // namespace

bool has_rate(Kind const& kind, Fraction const& gbps) { return band_of(kind, gbps) != nullptr; }

bool has_symbols(Modulation const& modulation, Fraction const& gbps) {
  return within(gbps, kGiga, 1, modulation.bits, modulation.symbols);
}

Modulation const* modulation_for(Kind const& kind, Fraction const& gbps) {
  if (!has_rate(kind, gbps)) return nullptr;
  for (Modulation const& modulation : kind.modulations)
    if (has_symbols(modulation, gbps)) return &modulation;
  return nullptr;
}

Answer solve(Kind const& kind, Request const& request) {
  if (!is_legal(kind, request)) return {};
  if (const auto exact = best_exact(kind, request)) return {exact, true, 0};
  return nearest_setting(kind, request);
}

std::string reason_of(Kind const& kind, Request const& request, Answer const& answer) {
  if (answer.is_exact) return {};
  std::string refused = refusal(kind, request);
  if (!refused.empty()) return refused;
  const std::string wanted = exact_text(request.gbps) + " Gb/s", from = exact_text(request.reference_mhz) + " MHz";
  if (!answer.best) return "no PLL of " + kind.name + " " + kind.grade + " reaches " + wanted + " from " + from;
  return "no setting gives " + wanted + " exactly from " + from + "; the nearest is off by " +
         number::plain(answer.ppm) + " ppm";
}

std::vector<Setting> exact_settings(Kind const& kind, Request const& request) {
  std::vector<Setting> all;
  if (!is_legal(kind, request)) return all;
  for_each_exact(kind, request, [&](Setting const& setting) { all.push_back(setting); });
  std::sort(all.begin(), all.end(),
            [&](Setting const& a, Setting const& b) { return is_better(kind, request.aim, a, b); });
  return all;
}

std::optional<Fraction> vco_mhz_of(Kind const& kind, Setting const& setting, Fraction const& reference_mhz) {
  const int bits = kind.plls[static_cast<std::size_t>(setting.pll)].fraction_bits;
  const Int128 count = (static_cast<Int128>(setting.feedback) << bits) + setting.numerator;
  return times(reference_mhz, count, static_cast<Int128>(setting.reference_divide) << bits);
}

std::optional<Fraction> gbps_of(Kind const& kind, Setting const& setting, Fraction const& reference_mhz, int bits) {
  const auto vco = vco_mhz_of(kind, setting, reference_mhz);
  return vco ? times(*vco, Int128{2} * bits, static_cast<Int128>(setting.output_divide) * 1000) : std::nullopt;
}

// ------------------------------------------------------------------------------------------------- actual references

namespace {

// The counts of the feedback, in steps of its fraction, that a PLL permits with a reference divider: the detector's and
// the reference's ranges hold. Its VCO is vco / per times a reference of 1 Hz; both fall as the count rises. With a
// numerator the counts are those that end in it, a whole divider apart.
struct FeedbackCounts {
  Counts<Int> permitted;
  Int step, vco, per;
};

FeedbackCounts feedback_counts(Kind const& kind, Pll const& pll, Fraction const& gbps, int bits, std::int64_t m,
                               int divide, std::optional<std::int64_t> numerator) {
  const Int one = Int(1) << pll.fraction_bits;
  FeedbackCounts all{{one * pll.feedback.least, one * pll.feedback.most},
                     numerator ? one : Int(1),
                     Int(gbps.num) * kGiga * divide * one,
                     Int(gbps.den) * 2 * bits};
  Counts<Int>& counts = all.permitted;
  const auto narrow = [&](Int const& num, Bounds bounds) {
    counts.first = std::max(counts.first, ceiling(num, Int(all.per * bounds.most)));
    counts.last = std::min(counts.last, Int(num / (all.per * bounds.least)));
  };
  narrow(all.vco, pll.pfd);
  narrow(all.vco * m, kind.reference);
  if (numerator) {
    const auto onto = [&](Int const& count) { return ceiling(Int(count - *numerator), one) * one + *numerator; };
    counts.first = counts.first <= *numerator ? Int(*numerator) : Int(onto(counts.first));
    const Int above = onto(counts.last);
    counts.last = above == counts.last ? above : Int(above - one);
  }
  return all;
}

// The reference nearest to the wanted one of those offered; of two as near the lower.
class NearestReference {
 public:
  NearestReference(Kind const& kind, Fraction const& gbps, int bits, Fraction const& wanted_mhz)
      : kind_(kind), gbps_(gbps), bits_(bits), wanted_mhz_(wanted_mhz) {}

  // The two counts around the one that would give the wanted reference.
  void offer_around(FeedbackCounts const& counts, int pll, std::int64_t m, int divide) {
    Counts<Int> const& permitted = counts.permitted;
    if (permitted.is_empty()) return;
    const Int ideal_num = counts.vco * m * wanted_mhz_.den, ideal_den = counts.per * wanted_mhz_.num * kMega;
    const Int steps = ideal_num < permitted.first * ideal_den
                          ? Int(0)
                          : Int((ideal_num - permitted.first * ideal_den) / (ideal_den * counts.step));
    for (int side = 0; side < 2; ++side)
      offer(pll, static_cast<int>(m), divide,
            std::clamp(Int(permitted.first + (steps + side) * counts.step), permitted.first, permitted.last));
  }

  std::optional<ActualReference> const& best() const { return best_; }

 private:
  void offer(int index, int m, int divide, Int const& k) {
    Pll const& pll = kind_.plls[static_cast<std::size_t>(index)];
    // reference = rate M D 2^B / (2 bits k)
    const auto mhz =
        wide::fraction((Int(gbps_.num) * 1000 * m * divide) << pll.fraction_bits, Int(gbps_.den) * 2 * bits_ * k);
    if (!mhz) return;
    const Int off_num = abs(Int(Int(mhz->num) * wanted_mhz_.den - Int(wanted_mhz_.num) * mhz->den));
    const Int off_den = Int(mhz->den) * wanted_mhz_.den;
    if (best_) {
      const Int left = off_num * off_den_, right = off_num_ * off_den;
      if (left > right || (left == right && !less(*mhz, best_->mhz))) return;
    }
    const Int whole = k >> pll.fraction_bits;
    best_ = {*mhz,
             {index, m, whole.convert_to<std::int64_t>(),
              Int(k - (whole << pll.fraction_bits)).convert_to<std::int64_t>(), divide}};
    off_num_ = off_num;
    off_den_ = off_den;
  }

  Kind const& kind_;
  Fraction const gbps_;
  int bits_;
  Fraction const wanted_mhz_;
  std::optional<ActualReference> best_;
  Int off_num_, off_den_;  // of |reference - wanted|
};

}  // namespace

std::optional<ActualReference> actual_reference(Kind const& kind, Fraction const& gbps, int bits,
                                                Fraction const& wanted_mhz, std::optional<std::int64_t> numerator) {
  if (!has_rate(kind, gbps)) return std::nullopt;
  NearestReference nearest(kind, gbps, bits, wanted_mhz);
  for (int index = 0; index < static_cast<int>(kind.plls.size()); ++index) {
    Pll const& pll = kind.plls[static_cast<std::size_t>(index)];
    if (numerator && *numerator >> pll.fraction_bits != 0) continue;
    for (const int divide : pll.output_divides) {
      if (!within(gbps, kGiga, divide, Int128{2} * bits, pll.vco) || !divider_has(kind, divide, gbps, bits)) continue;
      for (std::int64_t m = pll.reference_divide.least; m <= pll.reference_divide.most; ++m)
        nearest.offer_around(feedback_counts(kind, pll, gbps, bits, m, divide, numerator), index, m, divide);
    }
  }
  return nearest.best();
}

// ------------------------------------------------------------------------------------------------------ output clocks

namespace {

// The clocks that a lane of the request can give, each as often as it comes about.
class ClocksOfLane {
 public:
  ClocksOfLane(Kind const& kind, ClockRequest const& request) : kind_(kind), request_(request) {}

  void add_lane(Fraction const& gbps, std::optional<Fraction> const& vco_mhz) {
    for (OutputClock const& clock : kind_.clocks)
      if ((request_.reference_mhz ? clock.is_tx : clock.is_rx) &&
          (request_.source.empty() || clock.name == request_.source))
        if (const auto from = source_of(clock, gbps, vco_mhz)) add_divided(clock, *from);
  }

  // Ascending, each once.
  std::vector<Fraction> ascending() && {
    std::sort(all_.begin(), all_.end(), less);
    all_.erase(std::unique(all_.begin(), all_.end()), all_.end());
    return std::move(all_);
  }

 private:
  std::optional<Fraction> source_of(OutputClock const& clock, Fraction const& gbps,
                                    std::optional<Fraction> const& vco_mhz) const {
    switch (clock.from) {
      case OutputClock::From::rate:
        return times(gbps, 1000, clock.and_by);
      case OutputClock::From::symbols:
        return times(gbps, 1000, Int128{clock.and_by} * request_.modulation->bits);
      case OutputClock::From::reference:
        return times(*request_.reference_mhz, 1, clock.and_by);
      case OutputClock::From::vco:
        return times(*vco_mhz, 1, clock.and_by);
    }
    return std::nullopt;
  }

  void add_divided(OutputClock const& clock, Fraction const& from) {
    switch (clock.by) {
      case OutputClock::By::none:
        return add(from, 1, 1);
      case OutputClock::By::internal_width:
        for (Widths const& widths : kind_.widths)
          if (request_.internal_width == 0 || widths.internal == request_.internal_width) add(from, 1, widths.internal);
        return;
      case OutputClock::By::programmable:
        if (request_.divide_halves != 0) return add(from, 2, request_.divide_halves);
        for (std::int64_t halves = kind_.programmable_halves.least; halves <= kind_.programmable_halves.most; ++halves)
          add(from, 2, halves);
    }
  }

  void add(Fraction const& mhz, std::int64_t by, std::int64_t divide) {
    const auto clock = times(mhz, by, divide);
    if (clock && within(*clock, kMega, 1, 1, {1, kind_.output_clock_most})) all_.push_back(*clock);
  }

  Kind const& kind_;
  ClockRequest const& request_;
  std::vector<Fraction> all_;
};

// Rates in Gb/s and VCOs in MHz that serve the request, each pair once: many settings share them, and nothing else of a
// setting counts for its clocks. Where none is exact, those of the nearest setting.
std::vector<std::pair<Fraction, Fraction>> rates_and_vcos(Kind const& kind, ClockRequest const& request) {
  Request rate;
  rate.gbps = request.gbps;
  rate.reference_mhz = *request.reference_mhz;
  rate.modulation = request.modulation;
  rate.pll = request.pll;
  auto settings = exact_settings(kind, rate);
  if (settings.empty())
    if (const auto best = solve(kind, rate).best) settings.push_back(*best);
  std::vector<std::pair<Fraction, Fraction>> all;
  for (Setting const& setting : settings) {
    const auto vco = vco_mhz_of(kind, setting, *request.reference_mhz);
    const auto gbps = gbps_of(kind, setting, *request.reference_mhz, request.modulation->bits);
    if (vco && gbps && std::find(all.begin(), all.end(), std::pair(*gbps, *vco)) == all.end())
      all.emplace_back(*gbps, *vco);
  }
  return all;
}

}  // namespace

std::vector<Fraction> output_clocks(Kind const& kind, ClockRequest const& request) {
  ClocksOfLane clocks(kind, request);
  if (!request.reference_mhz)
    clocks.add_lane(request.gbps, std::nullopt);
  else
    for (auto const& [gbps, vco] : rates_and_vcos(kind, request)) clocks.add_lane(gbps, vco);
  return std::move(clocks).ascending();
}

}  // namespace kdi::gt
