// Settings of a transceiver's PLLs by trying all of them, in units of a tenth of a Hz or bit/s: what the solver has to
// agree with. Where a fraction has too many bits for that, all pairs of PLL, M and D with both feedbacks next to the
// ideal one, or, where its ranges forbid these, the ends of what they allow: the error of a pair grows with the
// distance of the feedback from the ideal one on either side, so that no other feedback of the pair can win.
#pragma once

#include <cstdint>
#include <optional>
#include <tuple>
#include <vector>

#include "kdi/rule_engine/host/Rates.h"

namespace plain_rates {

using kdi::gt::Int128;
using kdi::gt::Setting;

constexpr std::int64_t kUnit = 10;  // in a Hz

struct Request {
  std::int64_t rate = 0;       // tenths of bit/s
  std::int64_t reference = 0;  // tenths of Hz
  int bits = 1;
  int pll = -1;
  bool takes_fraction = true;
  kdi::gt::Aim aim = kdi::gt::Aim::jitter;
  kdi::gt::Bounds symbols;
};

struct Candidate {
  Setting setting;
  std::int64_t k = 0;  // in 2^-bits
  int fraction_bits = 0;
  Int128 error = 0;  // over S M D
  Int128 per = 1;
};

class Truth {
 public:
  Truth(kdi::gt::Kind const& kind, Request const& request) : kind_(kind), request_(request) {
    for (auto const& band : kind.rates)
      if (request.rate >= band.least * kUnit && request.rate <= band.most * kUnit) band_ = &band;
  }

  bool is_legal() const {
    return band_ != nullptr && request_.rate >= request_.symbols.least * kUnit * request_.bits &&
           request_.rate <= request_.symbols.most * kUnit * request_.bits &&
           request_.reference >= kind_.reference.least * kUnit && request_.reference <= kind_.reference.most * kUnit;
  }

  /// Visits each candidate; `all_counts`: each feedback that there is, otherwise those next to the ideal one.
  template <class Visit>
  void visit(bool all_counts, Visit visit) const {
    for (int p = 0; p < static_cast<int>(kind_.plls.size()); ++p) {
      if (request_.pll >= 0 && p != request_.pll) continue;
      auto const& pll = kind_.plls[static_cast<std::size_t>(p)];
      const int bits = request_.takes_fraction ? pll.fraction_bits : 0;
      const std::int64_t one = std::int64_t{1} << bits;
      for (std::int64_t m = pll.reference_divide.least; m <= pll.reference_divide.most; ++m) {
        if (request_.reference < pll.pfd.least * kUnit * m || request_.reference > pll.pfd.most * kUnit * m) continue;
        for (const int divide : pll.output_divides) {
          const auto offer = [&](std::int64_t k) {
            if (side(pll, bits, m, divide, k) == 0) visit(candidate(p, bits, m, divide, k));
          };
          const std::int64_t first = pll.feedback.least * one, last = pll.feedback.most * one;
          if (all_counts) {
            for (std::int64_t k = first; k <= last; ++k) offer(k);
            continue;
          }
          // Bounds of what is allowed, by halving: below them something is too low, above them too high.
          const auto find = [&](auto is_before) {
            std::int64_t low = first, high = last + 1;
            while (low < high) {
              const std::int64_t middle = low + (high - low) / 2;
              if (is_before(middle))
                low = middle + 1;
              else
                high = middle;
            }
            return low;
          };
          const std::int64_t least = find([&](std::int64_t k) { return side(pll, bits, m, divide, k) < 0; });
          const std::int64_t most = find([&](std::int64_t k) { return side(pll, bits, m, divide, k) <= 0; }) - 1;
          if (least > most) continue;
          const auto ideal = static_cast<std::int64_t>(static_cast<Int128>(request_.rate) * one * m * divide /
                                                       (static_cast<Int128>(2 * request_.bits) * request_.reference));
          for (const std::int64_t k : {ideal, ideal + 1}) offer(std::min(std::max(k, least), most));
        }
      }
    }
  }

  std::optional<Candidate> best(bool all_counts) const {
    std::optional<Candidate> best;
    if (is_legal())
      visit(all_counts, [&](Candidate const& one) {
        if (!best || is_before(one, *best)) best = one;
      });
    return best;
  }

  std::vector<Setting> exact() const {
    std::vector<Setting> all;
    if (is_legal())
      visit(true, [&](Candidate const& one) {
        if (one.error == 0) all.push_back(one.setting);
      });
    return all;
  }

 private:
  // -1: the feedback is too low for some range, 1: too high, 0: allowed.
  int side(kdi::gt::Pll const& pll, int bits, std::int64_t m, int divide, std::int64_t k) const {
    const Int128 vco = static_cast<Int128>(request_.reference) * k;  // over S M
    const Int128 per = (static_cast<Int128>(m) << bits) * kUnit;
    int low = 0, high = 0;
    const auto look = [&](Int128 value, Int128 over, kdi::gt::Bounds bounds) {
      low |= value < over * bounds.least ? 1 : 0;
      high |= value > over * bounds.most ? 1 : 0;
    };
    look(vco, per, pll.vco);
    look(2 * vco, per * divide, request_.symbols);
    for (auto const& divider : kind_.dividers)
      if (divider.divide == divide) look(2 * vco, per * divide, divider.symbols);
    look(2 * request_.bits * vco, per * divide, *band_);
    return low != 0 ? -1 : high != 0 ? 1 : 0;  // where no feedback is allowed either answer will do
  }

  Candidate candidate(int p, int bits, std::int64_t m, int divide, std::int64_t k) const {
    Candidate one;
    one.setting = {p, static_cast<int>(m), k >> bits, k & ((std::int64_t{1} << bits) - 1), divide};
    one.k = k;
    one.fraction_bits = bits;
    one.per = (static_cast<Int128>(m) * divide) << bits;
    one.error =
        static_cast<Int128>(2 * request_.bits) * request_.reference * k - static_cast<Int128>(request_.rate) * one.per;
    if (one.error < 0) one.error = -one.error;
    return one;
  }

  bool is_before(Candidate const& a, Candidate const& b) const {
    const Int128 left = a.error * b.per, right = b.error * a.per;
    if (left != right) return left < right;
    const bool a_fraction = a.setting.numerator != 0, b_fraction = b.setting.numerator != 0;
    if (a_fraction != b_fraction) return b_fraction;
    const Int128 a_vco = (static_cast<Int128>(a.k) << b.fraction_bits) * b.setting.reference_divide;
    const Int128 b_vco = (static_cast<Int128>(b.k) << a.fraction_bits) * a.setting.reference_divide;
    if (a_vco != b_vco) return (a_vco > b_vco) == (request_.aim == kdi::gt::Aim::jitter);
    const auto rest = [](Candidate const& one) {
      return std::tuple(one.setting.reference_divide, one.setting.pll, one.setting.output_divide, one.k);
    };
    return rest(a) < rest(b);
  }

  kdi::gt::Kind const& kind_;
  Request request_;
  kdi::gt::Bounds const* band_ = nullptr;
};

}  // namespace plain_rates
