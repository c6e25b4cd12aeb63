// Numbers as texts and texts as numbers, with a decimal point and without groups under every locale.
//
// For everything from the platform's libraries to the shell.
#pragma once

#include <locale.h>

#include <algorithm>
#include <charconv>
#include <cstdarg>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>

#include "kdi/common/KdiDoor.h"

namespace kdi::number {

// --------------------------------------------------------------------------------------------------------- reading

/// The text without its plus sign, which the readers below do not take.
constexpr std::string_view without_plus(std::string_view text) {
  return text.starts_with('+') && !text.starts_with("+-") ? text.substr(1) : text;
}

/// The number that the text begins with, which is taken off the text; nothing, and the text stays, if it begins with
/// none or no Number holds it. Decimal digits, a minus sign before them; for a floating-point Number also a fraction,
/// an exponent, `inf` and `nan`. No plus sign and no blanks.
template <class Number>
std::optional<Number> take(std::string_view& text) {
  Number value{};
  const auto [end, fault] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (fault != std::errc()) return std::nullopt;
  text.remove_prefix(static_cast<std::size_t>(end - text.data()));
  return value;
}

/// The whole text as such a number; nothing if there is more to it.
template <class Number>
std::optional<Number> whole(std::string_view text) {
  const auto value = take<Number>(text);
  return text.empty() ? value : std::nullopt;
}

/// What strtod and, in base 10, strtol make of the text in the C locale: the number behind blanks that it begins with,
/// 0 if it begins with none. A number that the type does not hold becomes the nearest that it does.
inline double leading_double(char const* text) {
  static const locale_t c_locale = newlocale(LC_ALL_MASK, "C", nullptr);
  return strtod_l(text, nullptr, c_locale);
}
inline long leading_long(char const* text) {
  static const locale_t c_locale = newlocale(LC_ALL_MASK, "C", nullptr);
  return strtol_l(text, nullptr, 10, c_locale);
}

/// The whole text as a number, but one that no Number holds becomes the nearest that it does.
template <class Number>
std::optional<Number> whole_or_nearest(std::string_view text) {
  Number value{};
  const auto [end, fault] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (fault == std::errc::invalid_argument || end != text.data() + text.size()) return std::nullopt;
  if (fault == std::errc()) return value;
  if constexpr (std::is_floating_point_v<Number>) return leading_double(std::string(text).c_str());
  return text.starts_with('-') ? std::numeric_limits<Number>::min() : std::numeric_limits<Number>::max();
}

/// The whole text as a number that may have a plus sign. What is too small for a double is 0; what no Number holds is
/// none, but for the words for infinity.
template <class Number>
std::optional<Number> whole_with_sign(std::string_view text) {
  const std::string_view digits = without_plus(text);
  if (const auto value = whole<Number>(digits)) return value;
  if constexpr (std::is_floating_point_v<Number>) {
    const auto nearest = whole_or_nearest<Number>(digits);
    if (nearest && *nearest - *nearest == 0) return nearest;  // finite
  }
  return std::nullopt;
}

/// The value, brought to the nearest that an int holds; of a fraction, the integer part; 0 for no number.
template <class Number>
constexpr int to_int(Number value) {
  using Wide = std::conditional_t<std::is_floating_point_v<Number>, double, std::int64_t>;
  if (value != value) return 0;
  return static_cast<int>(std::clamp<Wide>(value, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()));
}

inline int leading_int(char const* text) { return to_int(leading_long(text)); }

// --------------------------------------------------------------------------------------------------------- writing

namespace detail {

template <class... Format>
std::string text_of(std::size_t room, Format... format) {
  std::string text(room, '\0');
  char* const end = std::to_chars(text.data(), text.data() + room, format...).ptr;
  text.resize(static_cast<std::size_t>(end - text.data()));
  return text;
}

}  // namespace detail

/// printf's %.<decimals>f.
inline std::string fixed(double value, int decimals) {
  const auto room = std::numeric_limits<double>::max_exponent10 + static_cast<std::size_t>(decimals) + 8;
  return detail::text_of(room, value, std::chars_format::fixed, decimals);
}

/// printf's %.<digits>g, of which %g has 6: significant digits, with an exponent where the number is very large or very
/// small; at most 17, which tell every double from every other.
inline std::string general(double value, int digits = 6) {
  return detail::text_of(32, value, std::chars_format::general, digits);
}

/// The fewest digits that read back as `value`, with an exponent where that is shorter.
inline std::string shortest(double value) { return detail::text_of(32, value); }

/// The same, but without an exponent for figures of the size that quantities have: 0, and 1e-6 to below 1e12.
inline std::string plain(double value) {
  const double size = value < 0 ? -value : value;
  const bool is_usual = size == 0 || (size >= 1e-6 && size < 1e12);
  return detail::text_of(32, value, is_usual ? std::chars_format::fixed : std::chars_format::general);
}

/// Lower-case hexadecimal digits, zeros in front of fewer than `least`.
inline std::string hexadecimal(std::uint64_t value, std::size_t least) {
  const std::string digits = detail::text_of(16, value, 16);
  return std::string(least - std::min(least, digits.size()), '0') + digits;
}

// ---------------------------------------------------------------------------------------------- formats of a caller

/// What printf writes; the format itself where it cannot (a wide character that the locale has no bytes for).
[[gnu::format(printf, 1, 0)]] KDI_DOOR std::string vprinted(char const* format, va_list list);
[[gnu::format(printf, 1, 2)]] KDI_DOOR std::string printed(char const* format, ...);

/// While it lives, this thread's printf and strtod know a point and no groups. Letters stay as the process's locale has
/// them.
class KDI_DOOR PointNumbers {
 public:
  PointNumbers();
  PointNumbers(PointNumbers const&) = delete;
  PointNumbers& operator=(PointNumbers const&) = delete;
  ~PointNumbers();

 private:
  locale_t mine_ = nullptr;
  locale_t before_ = nullptr;
};

}  // namespace kdi::number
