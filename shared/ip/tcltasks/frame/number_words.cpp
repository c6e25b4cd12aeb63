#include "tcltasks/frame/number_words.h"

#include <locale.h>

#include <algorithm>
#include <boost/lexical_cast/bad_lexical_cast.hpp>
#include <charconv>
#include <clocale>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <type_traits>

namespace frame {
namespace {

constexpr int kLeast = std::numeric_limits<int>::min();
constexpr int kMost = std::numeric_limits<int>::max();

template <class Number>
Number whole(std::string_view word) {
  // from_chars takes no plus sign
  if (word.starts_with('+') && !word.starts_with("+-")) word.remove_prefix(1);
  Number value{};
  const auto [end, fault] = std::from_chars(word.data(), word.data() + word.size(), value);
  if (end != word.data() + word.size()) throw boost::bad_lexical_cast();
  if (fault == std::errc()) return value;
  // What is too small for a double is 0; what is too large for the type is no number.
  if constexpr (std::is_floating_point_v<Number>) {
    value = leading_double(std::string(word).c_str());
    if (fault == std::errc::result_out_of_range && std::isfinite(value)) return value;
  }
  throw boost::bad_lexical_cast();
}

}  // namespace

double leading_double(char const* word) {
  static const locale_t c_locale = newlocale(LC_ALL_MASK, "C", nullptr);
  return strtod_l(word, nullptr, c_locale);
}

int leading_int(char const* word) {
  return static_cast<int>(std::clamp<long>(std::strtol(word, nullptr, 10), kLeast, kMost));
}

double whole_double(std::string_view word) { return whole<double>(word); }
int whole_int(std::string_view word) { return whole<int>(word); }

int truncated(double value) {
  if (std::isnan(value)) return 0;
  return static_cast<int>(std::clamp<double>(value, kLeast, kMost));
}

std::string fixed(double value, int decimals) {
  std::string text(std::numeric_limits<double>::max_exponent10 + decimals + 8, '\0');
  text.resize(static_cast<std::size_t>(
      std::to_chars(text.data(), text.data() + text.size(), value, std::chars_format::fixed, decimals).ptr -
      text.data()));
  return text;
}

}  // namespace frame
