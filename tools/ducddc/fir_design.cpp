#include "fir_design.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <stdexcept>

#include "cos_pi.h"
#include "minimax.h"

namespace fir {
namespace {

constexpr int kLongest = 2047;
constexpr int kPointsPerCoefficient = 16;
constexpr double kFinest = 1e-13;

// Points of [low, high] for `per_unit` points a unit of frequency, both ends among them.
std::size_t points_in(double low, double high, double per_unit) {
  return std::max<std::size_t>(3, static_cast<std::size_t>(std::ceil((high - low) * per_unit)) + 1);
}

// The frequency of point i of n from low to high.
double at(double low, double high, std::size_t i, std::size_t n) {
  return i + 1 == n ? high : low + (high - low) * static_cast<double>(i) / static_cast<double>(n - 1);
}

void check_bands(std::vector<Band> const& bands) {
  if (bands.empty()) throw std::invalid_argument("no band");
  double last = -1;
  for (Band const& band : bands) {
    if (!(band.low > last && band.low >= 0 && band.high > band.low && band.high <= 0.5 && band.weight > 0 &&
          std::isfinite(band.desired) && std::isfinite(band.weight)))
      throw std::invalid_argument("bands must ascend within 0 to 0.5 and have a weight above 0");
    last = band.high;
  }
}

// Attenuation in dB that the classic estimate gives for a two-band demand of narrowest gap `gap`.
double estimated_attenuation(int length, double gap) { return 14.6 * gap * (length - 1) + 13; }

double narrowest_gap(std::vector<Band> const& bands) {
  double gap = 0.5;
  for (std::size_t i = 1; i < bands.size(); ++i) gap = std::min(gap, bands[i].low - bands[i - 1].high);
  return gap;
}

// Taps of the amplitude sum_k a_k cos(2 pi k f) that goes through P at the n + 1 frequencies j / (2n + 1).
std::vector<double> taps_of(Interpolant const& polynomial, int half) {
  const int length = 2 * half + 1;
  std::vector<double> value(static_cast<std::size_t>(half) + 1);
  for (int j = 0; j <= half; ++j) value[static_cast<std::size_t>(j)] = polynomial(cos_pi(2.0 * j / length));
  std::vector<double> cosine(static_cast<std::size_t>(length));
  for (int j = 0; j < length; ++j) cosine[static_cast<std::size_t>(j)] = cos_pi(2.0 * j / length);
  std::vector<double> taps(static_cast<std::size_t>(length));
  for (int k = 0; k <= half; ++k) {
    double sum = 0;
    for (int j = half; j >= 1; --j)
      sum += value[static_cast<std::size_t>(j)] * cosine[static_cast<std::size_t>(j * k % length)];
    const double tap = (value[0] + 2 * sum) / length;
    taps[static_cast<std::size_t>(half - k)] = taps[static_cast<std::size_t>(half + k)] = tap;
  }
  return taps;
}

std::optional<Design> try_equiripple(int length, std::vector<Band> const& bands) {
  const int half = (length - 1) / 2;
  double width = 0;
  for (Band const& band : bands) width += band.high - band.low;
  const double per_unit = kPointsPerCoefficient * (half + 1) / width;
  Demand demand;
  for (Band const& band : bands) {
    const std::size_t n = points_in(band.low, band.high, per_unit);
    for (std::size_t i = 0; i < n; ++i)
      demand.add(cos_pi(2 * at(band.low, band.high, i, n)), band.desired, band.weight, i + 1 == n);
  }
  const Approximation found = remez_exchange(demand, half + 1);
  if (!found.converged) return std::nullopt;
  return Design{taps_of(found.polynomial, half), found.error, found.iterations, {}};
}

}  // namespace

Design equiripple(int length, std::vector<Band> const& bands) {
  if (length < 3 || length > kLongest || length % 2 == 0) throw std::invalid_argument("length must be odd, 3 to 2047");
  check_bands(bands);
  // Under the resolution of doubles the exchange has nothing left to compare, so a filter that would get there is
  // designed as long as still makes a difference.
  const double gap = narrowest_gap(bands);
  int used = length;
  while (used > 3 && estimated_attenuation(used, gap) > 250) used -= 2;
  for (;; used -= std::max(2, used / 16 * 2)) {
    used = std::max(used, 3);
    if (auto design = try_equiripple(used, bands); design && (design->ripple > kFinest || used == length)) {
      if (used < length) {
        const auto pad = static_cast<std::size_t>((length - used) / 2);
        design->taps.insert(design->taps.begin(), pad, 0.0);
        design->taps.insert(design->taps.end(), pad, 0.0);
        design->note = "ripple is under the resolution of double precision; " + std::to_string(used) +
                       " of the taps reach it, the others are 0";
      }
      return *design;
    }
    if (used == 3) throw std::runtime_error("the exchange does not converge for this demand");
  }
}

Design halfband(int length, double edge) {
  if (!is_nyquist_length(2, length)) throw std::invalid_argument("a half-band filter has 4k - 1 taps");
  if (!(edge > 0 && edge < 0.25)) throw std::invalid_argument("a half-band edge is between 0 and 1/4");
  // A(f) = 1/2 + cos(2 pi f) P(cos(4 pi f)): it is enough to bring the second term to 1/2 over the pass-band, for the
  // stop-band is its mirror.
  const int count = (length + 1) / 4;
  const double per_unit = kPointsPerCoefficient * count / edge;
  Demand demand;
  const std::size_t n = points_in(0, edge, per_unit);
  for (std::size_t i = 0; i < n; ++i) {
    const double f = at(0, edge, i, n);
    const double factor = cos_pi(2 * f);
    demand.add(cos_pi(4 * f), 0.5 / factor, factor, i + 1 == n);
  }
  const Approximation found = remez_exchange(demand, count);
  if (!found.converged) throw std::runtime_error("the exchange does not converge for this half-band filter");

  // cos(2 pi f) P(cos(4 pi f)) is sum_k 2 h[2k + 1] cos(2 pi (2k + 1) f): as many unknowns as points of its period.
  const int period = 2 * count;
  std::vector<double> taps(static_cast<std::size_t>(length), 0.0);
  const auto centre = static_cast<std::size_t>(length / 2);
  taps[centre] = 0.5;
  for (int k = 0; k < count; ++k) {
    double sum = 0;
    for (int j = 0; j < count; ++j) {
      const double turn = (2.0 * j + 1) / (4.0 * period);  // frequencies (2j + 1) / (8 count), where cosines are orthogonal
      sum += cos_pi(2 * turn) * found.polynomial(cos_pi(4 * turn)) * cos_pi(2 * (2 * k + 1) * turn);
    }
    const double tap = sum / count;
    const auto offset = static_cast<std::size_t>(2 * k + 1);
    taps[centre - offset] = taps[centre + offset] = tap;
  }
  return {std::move(taps), found.error, found.iterations, {}};
}

Design nyquist(int factor, int length, double edge) {
  if (factor == 2) return halfband(length, edge);
  const int half = (length - 1) / 2;
  if (factor < 2 || !is_nyquist_length(factor, length))
    throw std::invalid_argument("an M-th band filter has 2m + 1 taps, m no multiple of M");
  if (!(edge > 0 && edge < 0.5 / factor)) throw std::invalid_argument("the edge is between 0 and 1/(2M)");
  std::vector<int> orders;
  for (int k = 1; k <= half; ++k)
    if (k % factor != 0) orders.push_back(k);
  double width = 0;
  for (int image = 1; 2 * image <= factor; ++image) width += 2 * edge;
  const double per_unit = kPointsPerCoefficient * static_cast<double>(orders.size() + 1) / width;
  std::vector<double> frequencies;
  for (int image = 1; 2 * image <= factor; ++image) {
    const double low = static_cast<double>(image) / factor - edge;
    const double high = std::min(0.5, static_cast<double>(image) / factor + edge);
    const std::size_t n = points_in(low, high, per_unit);
    for (std::size_t i = 0; i < n; ++i) frequencies.push_back(at(low, high, i, n));
  }
  const LinearFit fit = stiefel_exchange(
      frequencies.size(), orders.size(),
      [&](std::size_t point, std::size_t term) { return 2 * cos_pi(2.0 * orders[term] * frequencies[point]); },
      [&](std::size_t) { return -1.0 / factor; });
  std::vector<double> taps(static_cast<std::size_t>(length), 0.0);
  const auto centre = static_cast<std::size_t>(half);
  taps[centre] = 1.0 / factor;
  for (std::size_t i = 0; i < orders.size(); ++i) {
    const auto offset = static_cast<std::size_t>(orders[i]);
    taps[centre - offset] = taps[centre + offset] = fit.coefficients[i];
  }
  return {std::move(taps), fit.error, fit.iterations, {}};
}

bool is_nyquist_length(int factor, int length) {
  const int half = (length - 1) / 2;
  if (length < 3 || length % 2 == 0 || length > kLongest) return false;
  return factor == 1 || half % factor != 0;
}

bool is_hopeless(int length, double gap, double ripple) {
  constexpr double kMargin = 40;  // dB, several times what the estimate is off by
  return estimated_attenuation(length, gap) + kMargin < -20 * std::log10(ripple);
}

std::vector<double> quantise(std::vector<double> const& taps, int bits) {
  double largest = 0;
  for (double tap : taps) largest = std::max(largest, std::fabs(tap));
  if (largest == 0) return taps;
  int exponent = 0;
  const double mantissa = std::frexp(largest, &exponent);  // largest = mantissa 2^exponent, 1/2 <= mantissa < 1
  if (mantissa == 0.5) --exponent;
  const double unit = std::ldexp(1.0, exponent - (bits - 1));
  const double top = std::ldexp(1.0, bits - 1) - 1;
  std::vector<double> rounded;
  rounded.reserve(taps.size());
  for (double tap : taps) rounded.push_back(std::clamp(std::round(tap / unit), -top - 1, top) * unit);
  return rounded;
}

double amplitude(std::vector<double> const& taps, double frequency) {
  const std::size_t centre = taps.size() / 2;
  double sum = taps[centre];
  for (std::size_t k = 1; k <= centre; ++k)
    sum += 2 * taps[centre + k] * cos_pi(2 * static_cast<double>(k) * frequency);
  return sum;
}

}  // namespace fir
