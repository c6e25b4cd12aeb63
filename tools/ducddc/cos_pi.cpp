#include "tools/ducddc/cos_pi.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numbers>

#include "tools/ducddc/registers.h"

namespace fir {
namespace {

using EightWhole [[gnu::vector_size(kTogether * sizeof(int))]] = int;

// Sum of t^k (-1)^k / factorial, by Horner's rule. Terms up to angles of pi/4, where the next one is below 2^-60.
template <class Number, std::size_t N>
[[gnu::always_inline]] inline void add_series(double const (&reciprocals)[N], Number const& square, Number& sum) {
  for (std::size_t k = N; k-- > 0;) sum = reciprocals[k] - square * sum;
}

constexpr double kEven[] = {1,
                            1 / 2.0,
                            1 / 24.0,
                            1 / 720.0,
                            1 / 40320.0,
                            1 / 3628800.0,
                            1 / 479001600.0,
                            1 / 87178291200.0,
                            1 / 20922789888000.0};
constexpr double kOdd[] = {1,
                           1 / 6.0,
                           1 / 120.0,
                           1 / 5040.0,
                           1 / 362880.0,
                           1 / 39916800.0,
                           1 / 6227020800.0,
                           1 / 1307674368000.0,
                           1 / 355687428096000.0};

}  // namespace

double cos_pi(double x) {
  x = std::fabs(x);
  x -= 2 * std::floor(x / 2);  // 0 to 2, exact
  if (x > 1) x = 2 - x;        // 0 to 1
  const bool negative = x > 0.5;
  if (negative) x = 1 - x;  // 0 to 1/2
  const bool as_sine = x > 0.25;
  if (as_sine) x = 0.5 - x;  // 0 to 1/4
  const double angle = std::numbers::pi * x;
  double sum = 0;
  if (as_sine)
    add_series(kOdd, angle * angle, sum);
  else
    add_series(kEven, angle * angle, sum);
  const double value = as_sine ? angle * sum : sum;
  return negative ? -value : value;
}

IN_WIDE_REGISTERS
void cos_pi(double const* x, std::size_t count, double* cosines) {
  for (std::size_t first = 0; first < count; first += kTogether) {
    const std::size_t own = std::min(kTogether, count - first);
    Eight at;
    if (own == kTogether)
      std::memcpy(&at, x + first, sizeof at);
    else
      for (std::size_t i = 0; i < kTogether; ++i) at[i] = x[first + std::min(i, own - 1)];
    at = at < 0 ? -at : at;
    // the steps of the other one, each for all
    at -= 2 * __builtin_convertvector(__builtin_convertvector(at / 2, EightWhole), Eight);
    at = at > 1 ? 2 - at : at;
    const auto negative = at > 0.5;
    at = negative ? 1 - at : at;
    const auto as_sine = at > 0.25;
    at = as_sine ? 0.5 - at : at;
    const Eight angle = std::numbers::pi * at, square = angle * angle;
    Eight odd{}, even{};
    add_series(kOdd, square, odd);
    add_series(kEven, square, even);
    Eight value = as_sine ? angle * odd : even;
    value = negative ? -value : value;
    std::memcpy(cosines + first, &value, own * sizeof(double));
  }
}

}  // namespace fir
