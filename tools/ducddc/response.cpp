#include "tools/ducddc/response.h"

#include <algorithm>
#include <cmath>

namespace fir {

double largest_error(std::vector<double> const& taps, Band const& band) {
  constexpr int kPointsPerTap = 16;
  constexpr int kNarrowings = 40;
  const auto error = [&](double f) { return band.weight * std::fabs(amplitude(taps, f) - band.desired); };
  const int cells =
      std::max(8, static_cast<int>(kPointsPerTap * static_cast<double>(taps.size()) * (band.high - band.low) * 2));
  const double cell = (band.high - band.low) / cells;
  std::vector<double> errors;
  for (int i = 0; i <= cells; ++i) errors.push_back(error(i == cells ? band.high : band.low + cell * i));
  double largest = 0;
  for (int i = 0; i <= cells; ++i) {
    const auto at = static_cast<std::size_t>(i);
    largest = std::max(largest, errors[at]);
    if (i == 0 || i == cells || errors[at] < errors[at - 1] || errors[at] < errors[at + 1]) continue;
    double low = band.low + cell * (i - 1), high = band.low + cell * (i + 1);
    for (int step = 0; step < kNarrowings; ++step) {  // thirds: the error has one top between two points of the grid
      const double third = (high - low) / 3;
      (error(low + third) < error(high - third) ? low : high) +=
          error(low + third) < error(high - third) ? third : -third;
    }
    largest = std::max(largest, error((low + high) / 2));
  }
  return largest;
}

}  // namespace fir
