#include <charconv>
#include <cmath>
#include <numeric>

#include "kdi/common/KdiNumber.h"
#include "kdi/common/KdiText.h"
#include "kdi/rule_engine/host/Rates.h"
#include "platform/rule_engine/wide.h"

namespace kdi::gt {
namespace {

constexpr Int128 power_of_ten(int exponent) {
  Int128 power = 1;
  for (int i = 0; i < exponent; ++i) power *= 10;
  return power;
}
constexpr Int128 kBound = power_of_ten(20);

Int128 common_divisor(Int128 a, Int128 b) {
  while (b != 0) {
    constexpr Int128 kSmall = std::numeric_limits<std::int64_t>::max();
    if (a <= kSmall && b <= kSmall) return std::gcd(static_cast<std::int64_t>(a), static_cast<std::int64_t>(b));
    const Int128 rest = a % b;
    a = b;
    b = rest;
  }
  return a;
}

// A decimal as digits and a power of ten; nothing for more digits than fit, and for 0.
std::optional<Fraction> read_decimal(std::string_view text) {
  Int128 digits = 0;
  int places = 0;
  bool is_behind_point = false, has_digit = false;
  std::size_t at = 0;
  for (; at < text.size() && (text::is_digit(text[at]) || (text[at] == '.' && !is_behind_point)); ++at) {
    if (text[at] == '.') {
      is_behind_point = true;
      continue;
    }
    has_digit = true;
    if (digits > kBound / 10 - 1) return std::nullopt;
    digits = digits * 10 + (text[at] - '0');
    places += is_behind_point ? 1 : 0;
  }
  if (!has_digit || digits == 0) return std::nullopt;
  if (at < text.size()) {
    if (text[at] != 'e' && text[at] != 'E') return std::nullopt;
    const auto exponent = number::whole_with_sign<int>(text.substr(at + 1));
    if (!exponent || *exponent > 30 || *exponent < -30) return std::nullopt;
    places -= *exponent;
  }
  for (; places > 0 && digits % 10 == 0; --places) digits /= 10;
  if (places > 20 || places < -20) return std::nullopt;
  if (places >= 0) return fraction(digits, power_of_ten(places));
  if (digits > kBound / power_of_ten(-places)) return std::nullopt;
  return fraction(digits * power_of_ten(-places), 1);
}

bool is_usual(Fraction const& value) { return value.num * 1000 >= value.den && value.num / 1'000'000 <= value.den; }

std::string digits_of(Int128 value) {
  std::string digits;
  do {
    digits.insert(digits.begin(), static_cast<char>('0' + static_cast<int>(value % 10)));
    value /= 10;
  } while (value != 0);
  return digits;
}

}  // namespace

std::optional<Fraction> fraction(Int128 num, Int128 den) {
  if (num <= 0 || den <= 0) return std::nullopt;
  const Int128 common = common_divisor(num, den);
  num /= common;
  den /= common;
  // 10^20 itself is the denominator of twenty places.
  if (num > kBound || den > kBound) return std::nullopt;
  return Fraction{num, den};
}

std::optional<Fraction> read_fraction(std::string_view text) {
  const std::size_t slash = text.find('/');
  auto value = read_decimal(text.substr(0, slash));
  if (value && slash != std::string_view::npos) {
    const auto by = read_decimal(text.substr(slash + 1));
    value = by ? times(*value, by->den, by->num) : std::nullopt;
  }
  return value && is_usual(*value) ? value : std::nullopt;
}

std::optional<Fraction> shortest_fraction(double number) {
  if (!(number > 0) || !std::isfinite(number)) return std::nullopt;
  return read_fraction(number::shortest(number));
}

double nearest_double(Fraction const& value) {
  return wide::nearest_double(wide::Int(value.num), wide::Int(value.den));
}

std::optional<Fraction> times(Fraction const& value, Int128 num, Int128 den) {
  if (num <= 0 || den <= 0) return std::nullopt;
  return wide::fraction(wide::Int(value.num) * num, wide::Int(value.den) * den);
}

bool less(Fraction const& a, Fraction const& b) { return wide::Int(a.num) * b.den < wide::Int(b.num) * a.den; }

std::string exact_text(Fraction const& value) {
  Int128 rest = value.den;
  int twos = 0, fives = 0;
  for (; rest % 2 == 0; rest /= 2) ++twos;
  for (; rest % 5 == 0; rest /= 5) ++fives;
  const int places = std::max(twos, fives);
  if (rest != 1 || places > 18) return digits_of(value.num) + "/" + digits_of(value.den);
  std::string text = digits_of(value.num / value.den);
  Int128 left = value.num % value.den;
  if (left != 0) text += '.';
  for (; left != 0; left %= value.den) {
    left *= 10;
    text += static_cast<char>('0' + static_cast<int>(left / value.den));
  }
  return text;
}

}  // namespace kdi::gt
