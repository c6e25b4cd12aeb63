#include "tcltasks/dsp/radix2_transform.h"

#include <sys/mman.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdlib>
#include <limits>
#include <memory>
#include <new>

namespace dsp {
namespace {

// The points of a transform and its factors. Not zeroed: every element is written before it is read.
//
// The four arrays start in different cache sets. They are walked side by side, and a transform's points stand a power
// of two apart, so arrays that start alike would push each other out of the cache.
class Workspace {
 public:
  explicit Workspace(std::size_t n)
      : storage_(allocate((4 * n + 3 * kStagger) * sizeof(double))),
        real(storage_.get()),
        imag(real + n + kStagger),
        factor_real(imag + n + kStagger),
        factor_imag(factor_real + n + kStagger) {}

 private:
  static constexpr std::size_t kStagger = 128;  // doubles
  static constexpr std::size_t kHugePage = std::size_t{1} << 21;

  struct Release {
    void operator()(double* storage) const { std::free(storage); }
  };

  // Long workspaces ask for huge pages: taking them from the system page by page would cost as much as the transform.
  static double* allocate(std::size_t bytes) {
    const std::size_t whole = (bytes + kHugePage - 1) / kHugePage * kHugePage;
    void* const storage = whole > kHugePage ? std::aligned_alloc(kHugePage, whole) : std::malloc(bytes);
    if (storage == nullptr) throw std::bad_alloc();
    if (whole > kHugePage) madvise(storage, whole, MADV_HUGEPAGE);
    return static_cast<double*>(storage);
  }

  std::unique_ptr<double[], Release> storage_;

 public:
  double* const real;
  double* const imag;
  double* const factor_real;
  double* const factor_imag;
};

// The factors of all stages: those of the stage with blocks of 2 x half at half to 2 x half - 1.
void make_factors(std::size_t n, Workspace const& work) {
  for (std::size_t half = 1; half < n; half *= 2) {
    const double delta = 2 * Radix2Transform::_PI / static_cast<double>(2 * half);
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
      work.factor_real[half + j] = ar0;
      work.factor_imag[half + j] = ai0;
    }
  }
}

// Writes the samples in bit-reversed order. Long sequences go through a tile, so that both sides are read and written
// in runs.
void bit_reverse(HSTVector<double> const& samples, unsigned bits, double* out) {
  constexpr unsigned kTileBits = 5;
  constexpr unsigned kTile = 1U << kTileBits;
  const std::size_t n = samples.size();
  const auto reversed = [](unsigned index, unsigned width) {
    unsigned result = 0;
    Radix2Transform::ReverseBits(index, width, result);
    return result;
  };
  if (bits < 2 * kTileBits) {
    for (unsigned i = 0; i < n; ++i) out[reversed(i, bits)] = samples[i];
    return;
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
}

// One butterfly with the factor (ar, ai).
inline void butterfly(double ar, double ai, double& real_j, double& imag_j, double& real_k, double& imag_k) {
  const double tr = ar * real_k - ai * imag_k;
  const double ti = ar * imag_k + ai * real_k;
  real_k = real_j - tr;
  imag_k = imag_j - ti;
  real_j += tr;
  imag_j += ti;
}

// Joins two transforms of `half` points into one.
void join_two(double* real, double* imag, std::size_t half, Workspace const& work) {
  double const* const ar = &work.factor_real[half];
  double const* const ai = &work.factor_imag[half];
  for (std::size_t j = 0; j < half; ++j) butterfly(ar[j], ai[j], real[j], imag[j], real[j + half], imag[j + half]);
}

// Joins four transforms of `quarter` points into one: two stages while their points are at hand.
void join_four(double* __restrict real, double* __restrict imag, std::size_t quarter, Workspace const& work) {
  double const* __restrict const ar1 = &work.factor_real[quarter];
  double const* __restrict const ai1 = &work.factor_imag[quarter];
  double const* __restrict const ar2 = &work.factor_real[2 * quarter];
  double const* __restrict const ai2 = &work.factor_imag[2 * quarter];
  double* __restrict const r1 = real + quarter;
  double* __restrict const i1 = imag + quarter;
  double* __restrict const r2 = real + 2 * quarter;
  double* __restrict const i2 = imag + 2 * quarter;
  double* __restrict const r3 = real + 3 * quarter;
  double* __restrict const i3 = imag + 3 * quarter;
  for (std::size_t j = 0; j < quarter; ++j) {
    double re[4] = {real[j], r1[j], r2[j], r3[j]};
    double im[4] = {imag[j], i1[j], i2[j], i3[j]};
    butterfly(ar1[j], ai1[j], re[0], im[0], re[1], im[1]);
    butterfly(ar1[j], ai1[j], re[2], im[2], re[3], im[3]);
    butterfly(ar2[j], ai2[j], re[0], im[0], re[2], im[2]);
    butterfly(ar2[j + quarter], ai2[j + quarter], re[1], im[1], re[3], im[3]);
    real[j] = re[0], r1[j] = re[1], r2[j] = re[2], r3[j] = re[3];
    imag[j] = im[0], i1[j] = im[1], i2[j] = im[2], i3[j] = im[3];
  }
}

constexpr std::size_t kCacheSized = 1024;  // points of a block that is walked stage by stage

void transform(double* real, double* imag, std::size_t n, Workspace const& work) {
  if (n > kCacheSized) {
    for (std::size_t part = 0; part < 4; ++part) transform(real + part * (n / 4), imag + part * (n / 4), n / 4, work);
    join_four(real, imag, n / 4, work);
    return;
  }
  std::size_t done = 1;  // points of the transforms that are there
  for (; done * 4 <= n; done *= 4)
    for (std::size_t block = 0; block < n; block += 4 * done) join_four(real + block, imag + block, done, work);
  if (done < n) join_two(real, imag, done, work);
}

}  // namespace

bool Radix2Transform::IsPowerOfTwo(int const& n) { return n >= 2 && std::has_single_bit(static_cast<unsigned>(n)); }

bool Radix2Transform::NumberOfBitsNeeded(unsigned int const& n, unsigned int& bits) {
  if (n < 2) return false;
  bits = static_cast<unsigned>(std::countr_zero(n));
  return true;
}

bool Radix2Transform::ReverseBits(unsigned int const& index, unsigned int const& bits, unsigned int& reversed) {
  unsigned rest = index;
  unsigned result = 0;
  for (unsigned i = 0; i < bits; ++i, rest >>= 1) result = (result << 1) | (rest & 1);
  reversed = result;
  return true;
}

bool Radix2Transform::Index_to_frequency(unsigned int const& n, unsigned int const& index, double& frequency) {
  if (index >= n)
    frequency = 0.0;
  else if (index <= n / 2)
    frequency = static_cast<double>(index) / n;
  else
    frequency = -static_cast<double>(n - index) / n;
  return true;
}

bool Radix2Transform::GetFrequencyResponse(HSTVector<double> const& samples,
                                           HSTVector<std::pair<double, double>>& response) {
  if (samples.size() > static_cast<std::size_t>(std::numeric_limits<int>::max())) return false;
  const auto n = static_cast<unsigned>(samples.size());
  unsigned bits = 0;
  if (!IsPowerOfTwo(static_cast<int>(n)) || !NumberOfBitsNeeded(n, bits)) return false;

  const Workspace work(n);
  double* const real = work.real;
  double* const imag = work.imag;
  make_factors(n, work);
  bit_reverse(samples, bits, real);
  std::fill_n(imag, n, 0.0);
  transform(real, imag, n, work);

  const std::size_t first = response.size();
  response.resize(first + n / 2 + 1);
  const double step = 1.0 / n;  // exact, and so is each multiple: n is a power of two
  for (unsigned i = 0; i <= n / 2; ++i)
    response[first + i] = {i * step, std::sqrt(real[i] * real[i] + imag[i] * imag[i])};
  return true;
}

}  // namespace dsp
