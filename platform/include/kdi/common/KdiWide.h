// Natural numbers of any width, for the comparisons that have to be exact whatever they are of.
#pragma once

#include <algorithm>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace kdi::wide {

__extension__ typedef unsigned __int128 Uint128;

/// A natural number, least significant limb first, no leading zero limbs.
using Limbs = std::vector<std::uint64_t>;

inline Limbs product(Limbs const& a, Limbs const& b) {
  Limbs result(a.size() + b.size(), 0);
  for (std::size_t i = 0; i < a.size(); ++i) {
    Uint128 carry = 0;
    for (std::size_t j = 0; j < b.size() || carry != 0; ++j) {
      carry += static_cast<Uint128>(a[i]) * (j < b.size() ? b[j] : 0) + result[i + j];
      result[i + j] = static_cast<std::uint64_t>(carry);
      carry >>= 64;
    }
  }
  while (!result.empty() && result.back() == 0) result.pop_back();
  return result;
}

inline Limbs sum(Limbs a, Limbs const& b) {
  a.resize(std::max(a.size(), b.size()) + 1, 0);
  Uint128 carry = 0;
  for (std::size_t i = 0; i < a.size(); ++i) {
    carry += static_cast<Uint128>(a[i]) + (i < b.size() ? b[i] : 0);
    a[i] = static_cast<std::uint64_t>(carry);
    carry >>= 64;
  }
  while (!a.empty() && a.back() == 0) a.pop_back();
  return a;
}

inline std::strong_ordering compare(Limbs const& a, Limbs const& b) {
  if (a.size() != b.size()) return a.size() <=> b.size();
  return std::lexicographical_compare_three_way(a.rbegin(), a.rend(), b.rbegin(), b.rend());
}

inline Limbs limbs(Uint128 value) {
  Limbs result{static_cast<std::uint64_t>(value), static_cast<std::uint64_t>(value >> 64)};
  while (!result.empty() && result.back() == 0) result.pop_back();
  return result;
}

/// A sum of fractions, exact; not reduced.
class FractionSum {
 public:
  /// Adds num / den; den above 0.
  void add(Limbs const& num, Limbs const& den) {
    if (num.empty()) return;
    num_ = sum(product(num_, den), product(num, den_));
    den_ = product(den_, den);
  }
  friend std::strong_ordering operator<=>(FractionSum const& a, FractionSum const& b) {
    return compare(product(a.num_, b.den_), product(b.num_, a.den_));
  }

 private:
  Limbs num_;
  Limbs den_{1};
};

}  // namespace kdi::wide
