#include "kdi/cores/Decimal.h"

#include <array>
#include <limits>
#include <stdexcept>

#include "kdi/common/KdiText.h"

namespace kdi::cores {
namespace {

constexpr int kMostPower = 36;
constexpr std::size_t kLongestText = 100;

constexpr std::array<Int128, kMostPower + 1> kPowers = [] {
  std::array<Int128, kMostPower + 1> powers{};
  powers[0] = 1;
  for (std::size_t i = 1; i < powers.size(); ++i) powers[i] = powers[i - 1] * 10;
  return powers;
}();

Int128 power(int exponent) { return kPowers[static_cast<std::size_t>(exponent)]; }

[[noreturn]] void too_large() { throw std::overflow_error("number too large or too fine"); }

Int128 scaled(Int128 value, int exponent) {
  Int128 product = 0;
  if (exponent > kMostPower || __builtin_mul_overflow(value, power(exponent), &product)) too_large();
  return product;
}

// value / divisor, halves away from zero; the divisor is above 0
Int128 rounded_quotient(Int128 value, Int128 divisor) {
  const Int128 quotient = value / divisor, rest = value % divisor;
  const Int128 size = rest < 0 ? -rest : rest;
  if (size < divisor - size) return quotient;
  return value < 0 ? quotient - 1 : quotient + 1;
}

using text::is_digit;

}  // namespace

Decimal Decimal::of(Int128 mantissa, int places) {
  if (mantissa == 0) return {};
  // Nearly all numbers; 128 bits divide slowly.
  if (mantissa == static_cast<std::int64_t>(mantissa) && places >= 0 && places <= kMostPlaces)
    return of_small(static_cast<std::int64_t>(mantissa), places);
  while (places > 0 && mantissa % 10 == 0) {
    mantissa /= 10;
    --places;
  }
  if (places < 0) {
    mantissa = scaled(mantissa, -places);
    places = 0;
  }
  if (places > kMostPlaces || mantissa > std::numeric_limits<std::int64_t>::max() ||
      mantissa < std::numeric_limits<std::int64_t>::min())
    too_large();
  Decimal number;
  number.mantissa_ = static_cast<std::int64_t>(mantissa);
  number.places_ = static_cast<std::uint8_t>(places);
  return number;
}

Decimal Decimal::of_small(std::int64_t mantissa, int places) {
  for (; places > 0 && mantissa % 10 == 0; --places) mantissa /= 10;
  Decimal number;
  number.mantissa_ = mantissa;
  number.places_ = static_cast<std::uint8_t>(places);
  return number;
}

std::optional<Decimal> Decimal::read(std::string_view text) {
  if (text.size() > kLongestText) return std::nullopt;
  const bool negative = text.starts_with('-');
  if (negative || text.starts_with('+')) text.remove_prefix(1);
  Int128 mantissa = 0;
  int places = 0, digits = 0;
  bool behind_point = false;
  std::size_t at = 0;
  for (; at < text.size() && (is_digit(text[at]) || (text[at] == '.' && !behind_point)); ++at) {
    if (text[at] == '.') {
      behind_point = true;
      continue;
    }
    ++digits;
    if (behind_point && text.find_first_not_of('0', at) == std::string_view::npos) continue;  // trailing zeros
    mantissa = mantissa * 10 + (text[at] - '0');
    if (behind_point) ++places;
    if (mantissa > power(30) || places > kMostPower) return std::nullopt;
  }
  if (digits == 0) return std::nullopt;
  if (at < text.size()) {
    if (text[at] != 'e' && text[at] != 'E') return std::nullopt;
    ++at;
    const bool down = at < text.size() && text[at] == '-';
    if (at < text.size() && (text[at] == '-' || text[at] == '+')) ++at;
    if (at == text.size()) return std::nullopt;
    int exponent = 0;
    for (; at < text.size(); ++at) {
      if (!is_digit(text[at]) || exponent > 100) return std::nullopt;
      exponent = exponent * 10 + (text[at] - '0');
    }
    places += down ? exponent : -exponent;
    if (mantissa == 0) return Decimal();
    if (places > kMostPower || places < -kMostPower) return std::nullopt;
  }
  try {
    return of(negative ? -mantissa : mantissa, places);
  } catch (std::overflow_error const&) {
    return std::nullopt;
  }
}

Decimal Decimal::quotient(Decimal a, Decimal b, int places) {
  if (b.mantissa_ == 0) throw std::domain_error("division by zero");
  // a / b = (ma / mb) * 10^(sb - sa), wanted in units of 10^-places
  const int exponent = places + b.places_ - a.places_;
  Int128 numerator = a.mantissa_, denominator = b.mantissa_;
  if (exponent >= 0)
    numerator = scaled(numerator, exponent);
  else
    denominator = scaled(denominator, -exponent);
  if (denominator < 0) {
    numerator = -numerator;
    denominator = -denominator;
  }
  return of(rounded_quotient(numerator, denominator), places);
}

std::int64_t Decimal::floor() const {
  const std::int64_t unit = static_cast<std::int64_t>(power(places_));
  const std::int64_t whole = mantissa_ / unit;
  return mantissa_ % unit < 0 ? whole - 1 : whole;
}

std::int64_t Decimal::ceil() const {
  const std::int64_t unit = static_cast<std::int64_t>(power(places_));
  const std::int64_t whole = mantissa_ / unit;
  return mantissa_ % unit > 0 ? whole + 1 : whole;
}

Decimal Decimal::rounded(int places) const {
  return places >= places_ ? *this : of(rounded_quotient(mantissa_, power(places_ - places)), places);
}

std::string Decimal::text() const {
  std::string all = std::to_string(mantissa_);
  if (places_ == 0) return all;
  const std::string_view sign = mantissa_ < 0 ? "-" : "";
  std::string digits = all.substr(sign.size());
  if (digits.size() <= places_) digits = std::string(places_ + 1 - digits.size(), '0') + digits;
  const std::size_t whole = digits.size() - places_;
  return std::string(sign) + digits.substr(0, whole) + "." + digits.substr(whole);
}

Decimal operator+(Decimal a, Decimal b) {
  const int places = a.places_ > b.places_ ? a.places_ : b.places_;
  return Decimal::of(a.mantissa_ * power(places - a.places_) + b.mantissa_ * power(places - b.places_), places);
}

Decimal operator-(Decimal a, Decimal b) {
  const int places = a.places_ > b.places_ ? a.places_ : b.places_;
  return Decimal::of(a.mantissa_ * power(places - a.places_) - b.mantissa_ * power(places - b.places_), places);
}

Decimal operator*(Decimal a, Decimal b) {
  return Decimal::of(static_cast<Int128>(a.mantissa_) * b.mantissa_, a.places_ + b.places_);
}

}  // namespace kdi::cores
