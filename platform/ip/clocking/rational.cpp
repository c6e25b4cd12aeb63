#include "platform/ip/clocking/rational.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <stdexcept>
#include <vector>

#include "kdi/common/KdiWide.h"

namespace kdi::clocking {
namespace {

Uint128 magnitude(Int128 value) { return value < 0 ? -static_cast<Uint128>(value) : static_cast<Uint128>(value); }

Uint128 gcd(Uint128 a, Uint128 b) {
  while (b > std::numeric_limits<std::uint64_t>::max()) {
    const Uint128 rest = a % b;
    a = b;
    b = rest;
  }
  if (b == 0) return a;
  // From here on both fit in 64 bits after one step, where division is several times faster.
  auto low = static_cast<std::uint64_t>(a % b);
  auto high = static_cast<std::uint64_t>(b);
  while (low != 0) {
    const std::uint64_t rest = high % low;
    high = low;
    low = rest;
  }
  return high;
}

wide::FractionSum total(std::span<Rational const> terms) {
  wide::FractionSum sum;
  for (Rational const& term : terms) sum.add(wide::limbs(magnitude(term.num())), wide::limbs(magnitude(term.den())));
  return sum;
}

}  // namespace

Rational Rational::of(Int128 num, Int128 den) {
  if (den == 0) throw std::domain_error("a fraction with denominator 0");
  const Uint128 common = gcd(magnitude(num), magnitude(den));
  const Uint128 top = magnitude(num) / common, bottom = magnitude(den) / common;
  constexpr Uint128 kLargest = std::numeric_limits<std::int64_t>::max();
  if (top > kLargest || bottom > kLargest) throw std::overflow_error("a fraction that 64 bits do not hold");
  Rational result;
  result.num_ = static_cast<std::int64_t>(top);
  if ((num < 0) != (den < 0)) result.num_ = -result.num_;
  result.den_ = static_cast<std::int64_t>(bottom);
  return result;
}

Rational Rational::nearest(double value, std::int64_t den) {
  const double scaled = std::round(value * static_cast<double>(den));
  if (!(std::abs(scaled) < 9.0e18)) throw std::overflow_error("a number that is not finite or too large");
  return of(static_cast<std::int64_t>(scaled), den);
}

std::int64_t Rational::floor() const {
  const std::int64_t quotient = num_ / den_;
  return num_ % den_ < 0 ? quotient - 1 : quotient;
}

std::int64_t Rational::ceil() const {
  const std::int64_t quotient = num_ / den_;
  return num_ % den_ > 0 ? quotient + 1 : quotient;
}

std::string Rational::text(int decimals) const {
  Uint128 scale = 1;
  for (int i = 0; i < decimals; ++i) scale *= 10;
  const auto bottom = static_cast<Uint128>(den_);
  const Uint128 scaled = (magnitude(num_) * scale * 2 + bottom) / (bottom * 2);
  std::string reversed;  // last digit first
  Uint128 rest = scaled;
  for (int i = 0; i < decimals || rest != 0 || i == decimals; ++i, rest /= 10) {
    if (i == decimals && !reversed.empty()) reversed += '.';
    const char digit = static_cast<char>('0' + static_cast<int>(rest % 10));
    if (i >= decimals || digit != '0' || !reversed.empty()) reversed += digit;  // no trailing zeros
  }
  if (num_ < 0 && scaled != 0) reversed += '-';
  return {reversed.rbegin(), reversed.rend()};
}

Rational operator+(Rational const& a, Rational const& b) {
  return Rational::of(static_cast<Int128>(a.num_) * b.den_ + static_cast<Int128>(b.num_) * a.den_,
                      static_cast<Int128>(a.den_) * b.den_);
}
Rational operator-(Rational const& a, Rational const& b) {
  return Rational::of(static_cast<Int128>(a.num_) * b.den_ - static_cast<Int128>(b.num_) * a.den_,
                      static_cast<Int128>(a.den_) * b.den_);
}
Rational operator*(Rational const& a, Rational const& b) {
  return Rational::of(static_cast<Int128>(a.num_) * b.num_, static_cast<Int128>(a.den_) * b.den_);
}
Rational operator/(Rational const& a, Rational const& b) {
  return Rational::of(static_cast<Int128>(a.num_) * b.den_, static_cast<Int128>(a.den_) * b.num_);
}

Rational abs(Rational const& value) { return value.num() < 0 ? -value : value; }

std::strong_ordering compare_sums(std::span<Rational const> a, std::span<Rational const> b) {
  if (std::ranges::equal(a, b)) return std::strong_ordering::equal;
  return total(a) <=> total(b);
}

}  // namespace kdi::clocking
