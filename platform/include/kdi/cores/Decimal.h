// Exact decimal numbers: what users write, rules compute and files show is the same number.
#pragma once

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "kdi/common/KdiDoor.h"

namespace kdi::cores {

__extension__ typedef __int128 Int128;

namespace detail {

/// 10^0 to 10^18, all that 64 bits hold.
inline constexpr std::array<std::int64_t, 19> kPowers = [] {
  std::array<std::int64_t, 19> powers{1};
  for (std::size_t i = 1; i < powers.size(); ++i) powers[i] = powers[i - 1] * 10;
  return powers;
}();

}  // namespace detail

/// A number m * 10^-s with a 64-bit m and s from 0 to 18, held with the least s, so that equal numbers are equal
/// members.
///
/// Sums and products are exact. One that does not fit throws std::overflow_error; comparisons are exact and never
/// throw.
class KDI_DOOR Decimal {
 public:
  static constexpr int kMostPlaces = 18;

  constexpr Decimal() = default;
  constexpr Decimal(std::int64_t whole) : mantissa_(whole) {}  // NOLINT: an integer is a decimal number

  /// mantissa * 10^-places, for places from -36 to 36.
  static Decimal of(Int128 mantissa, int places);

  /// The whole of `text`: digits with an optional sign, point and exponent (`-12.5`, `.5`, `1e-3`), at most
  /// 100 characters. Nothing for any other text and for a number that does not fit.
  static std::optional<Decimal> read(std::string_view text);

  /// a / b rounded half away from zero to `places` (0 to 18). Throws std::domain_error if b is 0.
  static Decimal quotient(Decimal a, Decimal b, int places);

  constexpr std::int64_t mantissa() const { return mantissa_; }
  constexpr int places() const { return places_; }
  constexpr bool is_whole() const { return places_ == 0; }

  /// The largest integer not above the number, the smallest not below it.
  std::int64_t floor() const;
  std::int64_t ceil() const;
  /// The nearest number of at most `places` (0 to 18), halves away from zero.
  Decimal rounded(int places) const;

  /// Digits, with a point only where something follows it: `12.5`, `-0.001`, `7`.
  std::string text() const;

  friend KDI_DOOR Decimal operator+(Decimal a, Decimal b);
  friend KDI_DOOR Decimal operator-(Decimal a, Decimal b);
  friend KDI_DOOR Decimal operator*(Decimal a, Decimal b);
  friend constexpr bool operator==(Decimal a, Decimal b) = default;
  friend constexpr std::strong_ordering operator<=>(Decimal a, Decimal b) {
    if (a.places_ == b.places_) return a.mantissa_ <=> b.mantissa_;
    return static_cast<Int128>(a.mantissa_) * detail::kPowers[b.places_] <=>
           static_cast<Int128>(b.mantissa_) * detail::kPowers[a.places_];
  }

 private:
  friend class Cell;
  static Decimal of_small(std::int64_t mantissa, int places);

  std::int64_t mantissa_ = 0;
  std::uint8_t places_ = 0;
};

}  // namespace kdi::cores
