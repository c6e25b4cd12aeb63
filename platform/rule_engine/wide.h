// Integers of any size that clock arithmetic comes to.
#pragma once

#include <boost/multiprecision/cpp_int.hpp>
#include <cmath>
#include <optional>

#include "kdi/rule_engine/host/Rates.h"

namespace kdi::gt::wide {

/// Wide enough for the product of four numbers of a Fraction and of all that settings multiply them with.
using Int = boost::multiprecision::number<boost::multiprecision::cpp_int_backend<
    512, 512, boost::multiprecision::signed_magnitude, boost::multiprecision::unchecked, void>>;

inline std::optional<Fraction> fraction(Int num, Int den) {
  const Int common = boost::multiprecision::gcd(num, den);
  num /= common;
  den /= common;
  static const Int kMost = Int(10'000'000'000) * 10'000'000'000;  // 10^20
  if (num > kMost || den > kMost) return std::nullopt;
  return gt::fraction(num.convert_to<Int128>(), den.convert_to<Int128>());
}

/// Of positive numbers; rounded once, to even.
inline double nearest_double(Int const& num, Int const& den) {
  const int shift = 70 - (static_cast<int>(msb(num)) - static_cast<int>(msb(den)));
  const Int scaled = shift >= 0 ? Int(num << shift) : num;
  const Int by = shift >= 0 ? den : Int(den << -shift);
  Int quotient = scaled / by;
  if (quotient * by != scaled) quotient |= 1;  // tells a half from what is more
  return std::ldexp(static_cast<double>(quotient.convert_to<Int128>()), -shift);
}

}  // namespace kdi::gt::wide
