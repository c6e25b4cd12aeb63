#include "tools/ducddc/fir_design.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <stdexcept>

#include "tools/ducddc/cos_pi.h"
#include "tools/ducddc/minimax.h"

namespace fir {
namespace {

constexpr int kLongest = 2047;
constexpr int kPointsPerTerm = 32;   // of the grid on which M-th band filters are fitted
constexpr double kDelicate = 1e-6;   // errors below would not survive the short way from polynomial to taps
constexpr double kHopeless = 1e-14;  // an error that no exchange tells from rounding
constexpr double kFinest = 232;      // dB; smaller errors do not stand out from rounding

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

double narrowest_gap(std::vector<Band> const& bands) {
  double gap = 0.5;
  for (std::size_t i = 1; i < bands.size(); ++i) gap = std::min(gap, bands[i].low - bands[i - 1].high);
  return gap;
}

// Coefficients of cos(2 pi order f) for the orders first, first + stride ... that give the amplitude wanted at the
// nodes, where it is known. To follow a polynomial far from its nodes instead would cost digits.
std::vector<double> coefficients_at_nodes(Approximation const& found, int first, int stride,
                                          double (*amplitude_of)(double value, double frequency)) {
  const std::size_t n = found.frequencies.size();
  std::vector<double> matrix(n * n), right_side(n);
  for (std::size_t row = 0; row < n; ++row) {
    const double f = found.frequencies[row];
    for (std::size_t k = 0; k < n; ++k) matrix[row * n + k] = 2.0 * (first + stride * static_cast<int>(k)) * f;
    cos_pi(&matrix[row * n], n, &matrix[row * n]);
    right_side[row] = amplitude_of(found.polynomial.values[row], f);
  }
  return solve(std::move(matrix), std::move(right_side));
}

// Taps of the amplitude sum_k a_k cos(2 pi k f) that goes through P at the n + 1 frequencies j / (2n + 1).
std::vector<double> taps_of(Interpolant const& polynomial, int half) {
  const int length = 2 * half + 1;
  std::vector<double> value(static_cast<std::size_t>(half) + 1);
  std::vector<double> cosine(static_cast<std::size_t>(length));
  for (int j = 0; j < length; ++j) cosine[static_cast<std::size_t>(j)] = cos_pi(2.0 * j / length);
  for (int j = 0; j <= half; ++j) value[static_cast<std::size_t>(j)] = polynomial(cosine[static_cast<std::size_t>(j)]);
  std::vector<double> taps(static_cast<std::size_t>(length));
  for (int k = 0; k <= half; ++k) {
    double sum = 0;
    int at = half * k % length;  // j k, less as many lengths as are in it
    for (int j = half; j >= 1; --j) {
      sum += value[static_cast<std::size_t>(j)] * cosine[static_cast<std::size_t>(at)];
      at -= k;
      if (at < 0) at += length;
    }
    const double tap = (value[0] + 2 * sum) / length;
    taps[static_cast<std::size_t>(half - k)] = taps[static_cast<std::size_t>(half + k)] = tap;
  }
  return taps;
}

// A design, or the reason for none: the demand is too easy for that many taps.
struct Attempt {
  std::optional<Design> design;
  double least_error = 0;  // that any filter of the length has, where it is known
};

// Designs a filter of at most `length` taps, as long as its error stands out from rounding, and pads it.
template <class IsLength, class Try>
Design padded(int length, double gap, IsLength is_length, Try try_length) {
  for (int used = std::min(length, estimated_length(gap, kHopeless)); used >= 3;) {
    if (!is_length(used)) {
      used -= 2;
      continue;
    }
    Attempt attempt = try_length(used);
    if (!attempt.design) {
      // Attenuation in dB is nearly proportional to the length.
      const double attenuation = attempt.least_error > 0 ? -20 * std::log10(attempt.least_error) : 0;
      const int shorter =
          attenuation > kFinest ? static_cast<int>(used * std::max(kFinest / attenuation, 0.9)) | 1 : used;
      used = std::min(shorter, used - 2);
      continue;
    }
    Design design = std::move(*attempt.design);
    if (used < length) {
      const auto pad = static_cast<std::size_t>((length - used) / 2);
      design.taps.insert(design.taps.begin(), pad, 0.0);
      design.taps.insert(design.taps.end(), pad, 0.0);
      design.note = "the error is under what double precision resolves; " + std::to_string(used) +
                    " of the taps reach it, the others are 0";
    }
    return design;
  }
  throw std::runtime_error("no filter that short tells errors from rounding");
}

// Whether an exchange came to rest. One that did not, where rounding is not the reason, is a failure.
bool came_to_rest(Approximation const& found) {
  if (!found.converged && !found.is_too_easy()) throw std::runtime_error("the exchange finds no rest for this demand");
  return found.converged;
}

Attempt try_equiripple(int length, std::vector<Band> const& bands) {
  const int half = (length - 1) / 2;
  Demand demand;
  for (Band const& band : bands) demand.bands.emplace_back(band.low, band.high);
  demand.at = [&](std::size_t band, double, double cosine) {
    return Target{cosine, bands[band].desired, bands[band].weight};
  };
  const Approximation found = remez_exchange(demand, half + 1);
  if (!came_to_rest(found)) return {std::nullopt, found.least_error};
  std::vector<double> taps;
  if (found.error > kDelicate) {
    taps = taps_of(found.polynomial, half);
  } else {
    const std::vector<double> cosines = coefficients_at_nodes(found, 0, 1, [](double value, double) { return value; });
    taps.resize(static_cast<std::size_t>(length));
    const auto centre = static_cast<std::size_t>(half);
    taps[centre] = cosines[0];
    for (std::size_t k = 1; k <= centre; ++k) taps[centre - k] = taps[centre + k] = cosines[k] / 2;
  }
  return {Design{std::move(taps), found.error, found.iterations, {}}};
}

Attempt try_halfband(int length, double edge) {
  // A(f) = 1/2 + cos(2 pi f) P(cos(4 pi f)): it is enough to bring the second term to 1/2 over the pass-band, for the
  // stop-band is its mirror.
  const int count = (length + 1) / 4;
  Demand demand;
  demand.bands.emplace_back(0, edge);
  demand.turns = 4;
  demand.at = [](std::size_t, double f, double cosine) {
    const double factor = cos_pi(2 * f);
    return Target{cosine, 0.5 / factor, factor};
  };
  const Approximation found = remez_exchange(demand, count);
  if (!came_to_rest(found)) return {std::nullopt, found.least_error};
  const std::vector<double> odd =
      coefficients_at_nodes(found, 1, 2, [](double value, double f) { return value * cos_pi(2 * f); });
  std::vector<double> taps(static_cast<std::size_t>(length), 0.0);
  const auto centre = static_cast<std::size_t>(length / 2);
  taps[centre] = 0.5;
  for (std::size_t k = 0; k < odd.size(); ++k) taps[centre - 2 * k - 1] = taps[centre + 2 * k + 1] = odd[k] / 2;
  return {Design{std::move(taps), found.error, found.iterations, {}}};
}

Attempt try_nyquist(int factor, int length, double edge) {
  const int half = (length - 1) / 2;
  std::vector<int> orders;
  for (int k = 1; k <= half; ++k)
    if (k % factor != 0) orders.push_back(k);
  const int images = factor / 2;
  const auto points = static_cast<std::size_t>(kPointsPerTerm) * (orders.size() + 1) / static_cast<std::size_t>(images);
  std::vector<double> frequencies;
  for (int image = 1; image <= images; ++image)
    for (std::size_t i = 0; i <= points; ++i) {
      const double along = 2 * static_cast<double>(i) / static_cast<double>(points) - 1;
      frequencies.push_back(static_cast<double>(image) / factor + edge * along);
    }
  const LinearFit fit = stiefel_exchange(
      frequencies.size(), orders.size(),
      [&](std::size_t point, std::size_t term) { return 2 * cos_pi(2.0 * orders[term] * frequencies[point]); },
      [&](std::size_t) { return -1.0 / factor; });
  // Far more taps than the demand needs are spent on errors that do not show, at the price of huge gains between the
  // images. That is no filter.
  for (double tap : fit.coefficients)
    if (half > factor && std::fabs(tap) >= 1.0 / factor) return {};
  std::vector<double> taps(static_cast<std::size_t>(length), 0.0);
  const auto centre = static_cast<std::size_t>(half);
  taps[centre] = 1.0 / factor;
  for (std::size_t i = 0; i < orders.size(); ++i) {
    const auto offset = static_cast<std::size_t>(orders[i]);
    taps[centre - offset] = taps[centre + offset] = fit.coefficients[i];
  }
  return {Design{std::move(taps), fit.error, fit.iterations, {}}};
}

}  // namespace

Design equiripple(int length, std::vector<Band> const& bands) {
  if (length < 3 || length > kLongest || length % 2 == 0) throw std::invalid_argument("length must be odd, 3 to 2047");
  check_bands(bands);
  return padded(
      length, narrowest_gap(bands), [](int) { return true; }, [&](int used) { return try_equiripple(used, bands); });
}

Design nyquist(int factor, int length, double edge) {
  if (factor != 2 && factor != 3 && factor != 5) throw std::invalid_argument("the factor is 2, 3 or 5");
  if (!is_nyquist_length(factor, length))
    throw std::invalid_argument("an M-th band filter has 2m + 1 taps, m no multiple of M");
  if (!(edge > 0 && edge < 0.5 / factor)) throw std::invalid_argument("the edge is between 0 and 1/(2M)");
  return padded(
      length, 1.0 / factor - 2 * edge, [&](int used) { return is_nyquist_length(factor, used); },
      [&](int used) { return factor == 2 ? try_halfband(used, edge) : try_nyquist(factor, used, edge); });
}

bool is_nyquist_length(int factor, int length) {
  const int half = (length - 1) / 2;
  if (length < 3 || length % 2 == 0 || length > kLongest) return false;
  return factor == 1 || half % factor != 0;
}

int estimated_length(double gap, double ripple) {
  const double length = (-20 * std::log10(ripple) - 13) / (14.6 * gap) + 1;
  return std::clamp(static_cast<int>(std::min(length, static_cast<double>(kLongest))), 3, kLongest) | 1;
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
