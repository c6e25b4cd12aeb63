#include "tools/ducddc/cos_pi.h"

#include <cmath>
#include <iterator>
#include <numbers>

namespace fir {
namespace {

// Sum of t^k (-1)^k / factorial, by Horner's rule. Terms up to angles of pi/4, where the next one is below 2^-60.
template <std::size_t N>
double alternating_series(double const (&factorials)[N], double square) {
  double sum = 0;
  for (std::size_t k = N; k-- > 0;) sum = 1 / factorials[k] - square * sum;
  return sum;
}

constexpr double kEven[] = {1, 2, 24, 720, 40320, 3628800, 479001600, 87178291200.0, 20922789888000.0};
constexpr double kOdd[] = {1, 6, 120, 5040, 362880, 39916800, 6227020800.0, 1307674368000.0, 355687428096000.0};

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
  const double value =
      as_sine ? angle * alternating_series(kOdd, angle * angle) : alternating_series(kEven, angle * angle);
  return negative ? -value : value;
}

}  // namespace fir
