// Exact numbers for clock synthesis: frequencies, dividers and errors are fractions, so that two settings tie on every
// machine or on none.
#pragma once

#include <compare>
#include <cstdint>
#include <span>
#include <string>

namespace kdi::clocking {

__extension__ typedef __int128 Int128;
__extension__ typedef unsigned __int128 Uint128;

/// A reduced fraction of two 64-bit integers, the denominator positive.
///
/// Products are taken in 128 bits and reduced before they are stored. A result that 64 bits do not hold throws
/// std::overflow_error, a zero denominator std::domain_error; comparisons are always exact and never throw.
class Rational {
 public:
  constexpr Rational() = default;
  constexpr Rational(std::int64_t value) : num_(value) {}  // NOLINT: an integer is a fraction
  Rational(std::int64_t num, std::int64_t den) : Rational(of(num, den)) {}

  /// num / den, reduced.
  static Rational of(Int128 num, Int128 den);

  /// The multiple of 1 / `den` (1 to 10^6) nearest to `value`, halves away from zero. Throws std::overflow_error for
  /// values that are not finite or too large.
  static Rational nearest(double value, std::int64_t den);

  constexpr std::int64_t num() const { return num_; }
  constexpr std::int64_t den() const { return den_; }
  double to_double() const { return static_cast<double>(num_) / static_cast<double>(den_); }
  bool is_zero() const { return num_ == 0; }

  /// The largest integer not above the value, and the smallest not below it.
  std::int64_t floor() const;
  std::int64_t ceil() const;

  /// Decimal digits, rounded half away from zero to at most `decimals` (0 to 9) places, no trailing zeros.
  std::string text(int decimals = 6) const;

  friend Rational operator+(Rational const& a, Rational const& b);
  friend Rational operator-(Rational const& a, Rational const& b);
  friend Rational operator*(Rational const& a, Rational const& b);
  friend Rational operator/(Rational const& a, Rational const& b);
  friend Rational operator-(Rational const& a) { return Rational(0) - a; }
  friend bool operator==(Rational const& a, Rational const& b) { return a.num_ == b.num_ && a.den_ == b.den_; }
  friend std::strong_ordering operator<=>(Rational const& a, Rational const& b) {
    return static_cast<Int128>(a.num_) * b.den_ <=> static_cast<Int128>(b.num_) * a.den_;
  }

 private:
  std::int64_t num_ = 0;
  std::int64_t den_ = 1;
};

Rational abs(Rational const& value);

/// Whether sum(a) < sum(b), == or >, exactly: the sums are formed in integers as wide as they need to be. All terms at
/// least 0.
std::strong_ordering compare_sums(std::span<Rational const> a, std::span<Rational const> b);

}  // namespace kdi::clocking
