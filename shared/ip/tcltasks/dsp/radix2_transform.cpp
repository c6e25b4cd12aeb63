#include "dsp/radix2_transform.h"

#include <bit>
#include <cmath>
#include <cstddef>
#include <limits>
#include <vector>

namespace dsp {
namespace {

struct complex_arrays {
  std::vector<double> real;
  std::vector<double> imag;
};

// The factors of all stages: those of the stage with blocks of 2 x half at half to 2 x half - 1.
complex_arrays make_factors(std::size_t n) {
  complex_arrays factors{std::vector<double>(n), std::vector<double>(n)};
  for (std::size_t half = 1; half < n; half *= 2) {
    const double delta = 2 * radix2_transform::_PI / static_cast<double>(2 * half);
    double ar1 = std::cos(-delta), ai1 = std::sin(-delta);
    double ar2 = std::cos(-2 * delta), ai2 = std::sin(-2 * delta);
    const double w = 2 * ar1;
    for (std::size_t j = 0; j < half; ++j) {
      const double ar0 = w * ar1 - ar2;
      ar2 = ar1;
      ar1 = ar0;
      const double ai0 = w * ai1 - ai2;
      ai2 = ai1;
      ai1 = ai0;
      factors.real[half + j] = ar0;
      factors.imag[half + j] = ai0;
    }
  }
  return factors;
}

// The samples in bit-reversed order. Long sequences go through a tile, so that both sides are read and written in runs.
std::vector<double> bit_reversed(HSTVector<double> const& samples, unsigned bits) {
  constexpr unsigned kTileBits = 5;
  constexpr unsigned kTile = 1U << kTileBits;
  const std::size_t n = samples.size();
  std::vector<double> out(n);
  const auto reversed = [](unsigned index, unsigned width) {
    unsigned result = 0;
    radix2_transform::ReverseBits(index, width, result);
    return result;
  };
  if (bits < 2 * kTileBits) {
    for (unsigned i = 0; i < n; ++i) out[reversed(i, bits)] = samples[i];
    return out;
  }
  // index = high, middle, low, with kTileBits bits in high and low
  const unsigned middle_bits = bits - 2 * kTileBits;
  unsigned flip[kTile];
  for (unsigned i = 0; i < kTile; ++i) flip[i] = reversed(i, kTileBits);
  double tile[kTile][kTile];
  for (unsigned middle = 0; middle < (1U << middle_bits); ++middle) {
    const std::size_t in_base = std::size_t{middle} << kTileBits;
    const std::size_t out_base = std::size_t{reversed(middle, middle_bits)} << kTileBits;
    const unsigned high_shift = middle_bits + kTileBits;
    for (unsigned high = 0; high < kTile; ++high)
      for (unsigned low = 0; low < kTile; ++low)
        tile[flip[low]][flip[high]] = samples[(std::size_t{high} << high_shift) + in_base + low];
    for (unsigned high = 0; high < kTile; ++high)
      for (unsigned low = 0; low < kTile; ++low)
        out[(std::size_t{high} << high_shift) + out_base + low] = tile[high][low];
  }
  return out;
}

// Joins two transforms of `half` points into one.
void join(double* real, double* imag, std::size_t half, complex_arrays const& factors) {
  double const* const ar = &factors.real[half];
  double const* const ai = &factors.imag[half];
  for (std::size_t j = 0; j < half; ++j) {
    const std::size_t k = j + half;
    const double tr = ar[j] * real[k] - ai[j] * imag[k];
    const double ti = ar[j] * imag[k] + ai[j] * real[k];
    real[k] = real[j] - tr;
    imag[k] = imag[j] - ti;
    real[j] += tr;
    imag[j] += ti;
  }
}

constexpr std::size_t kCacheSized = 2048;  // points of a block that is walked stage by stage

void transform(double* real, double* imag, std::size_t n, complex_arrays const& factors) {
  if (n > kCacheSized) {
    transform(real, imag, n / 2, factors);
    transform(real + n / 2, imag + n / 2, n / 2, factors);
    join(real, imag, n / 2, factors);
    return;
  }
  for (std::size_t half = 1; half < n; half *= 2)
    for (std::size_t block = 0; block < n; block += 2 * half) join(real + block, imag + block, half, factors);
}

}  // namespace

bool radix2_transform::IsPowerOfTwo(int const& n) { return n >= 2 && std::has_single_bit(static_cast<unsigned>(n)); }

bool radix2_transform::NumberOfBitsNeeded(unsigned int const& n, unsigned int& bits) {
  if (n < 2) return false;
  bits = static_cast<unsigned>(std::countr_zero(n));
  return true;
}

bool radix2_transform::ReverseBits(unsigned int const& index, unsigned int const& bits, unsigned int& reversed) {
  unsigned rest = index;
  unsigned result = 0;
  for (unsigned i = 0; i < bits; ++i, rest >>= 1) result = (result << 1) | (rest & 1);
  reversed = result;
  return true;
}

bool radix2_transform::Index_to_frequency(unsigned int const& n, unsigned int const& index, double& frequency) {
  if (index >= n)
    frequency = 0.0;
  else if (index <= n / 2)
    frequency = static_cast<double>(index) / n;
  else
    frequency = -static_cast<double>(n - index) / n;
  return true;
}

bool radix2_transform::GetFrequencyResponse(HSTVector<double> samples, HSTVector<std::pair<double, double>>& response) {
  if (samples.size() > static_cast<std::size_t>(std::numeric_limits<int>::max())) return false;
  const auto n = static_cast<unsigned>(samples.size());
  unsigned bits = 0;
  if (!IsPowerOfTwo(static_cast<int>(n)) || !NumberOfBitsNeeded(n, bits)) return false;

  std::vector<double> real = bit_reversed(samples, bits);
  std::vector<double> imag(n, 0.0);
  transform(real.data(), imag.data(), n, make_factors(n));

  response.reserve(response.size() + n / 2 + 1);
  for (unsigned i = 0; i <= n / 2; ++i) {
    double frequency = 0;
    Index_to_frequency(n, i, frequency);
    response.emplace_back(frequency, std::sqrt(real[i] * real[i] + imag[i] * imag[i]));
  }
  return true;
}

}  // namespace dsp
