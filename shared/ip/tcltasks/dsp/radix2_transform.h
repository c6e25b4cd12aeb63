// Frequency response of a sequence of samples by a radix-2 transform. FFTAlgorithmImp and VCUAlgorithmImp are this
// class under two names.
#pragma once

#include <utility>

#include "kdi/common/HSTVector.h"

namespace dsp {

/// Decimation in time with twiddle factors made by recurrence: factor k of a stage comes from the two before it,
/// f(k) = 2 cos(step) f(k - 1) - f(k - 2), started from cos and sin of one and two steps. The rounding errors of the
/// recurrence grow along a stage, so the result is less exact than a table of sines would give; scripts compare these
/// values, so every operation is kept. What is free is the order of visits: each stage's factors are computed once, and
/// the blocks are walked depth first, so that a long transform stays in the caches.
///
/// No scaling, no window, no zero extension. Frequencies are fractions of the sample rate. No state.
class Radix2Transform {
 public:
  static constexpr double _PI = 3.14159265358979323846;

  /// Whether `n` is 2 or more and has one bit set.
  static bool IsPowerOfTwo(int const& n);

  /// Index of the lowest bit set in `n`; for a power of two, its logarithm. False for `n` below 2, leaving `bits`
  /// alone.
  static bool NumberOfBitsNeeded(unsigned int const& n, unsigned int& bits);

  /// The low `bits` bits of `index` in reverse order. Always true.
  static bool ReverseBits(unsigned int const& index, unsigned int const& bits, unsigned int& reversed);

  /// Frequency of bin `index` of `n`: index / n up to n / 2, negative above, 0 from n on. Always true.
  static bool Index_to_frequency(unsigned int const& n, unsigned int const& index, double& frequency);

  /// Appends n / 2 + 1 pairs of frequency (0 to 0.5) and magnitude to `response`. False, with `response` left alone, if
  /// the number of samples is no power of two.
  static bool GetFrequencyResponse(HSTVector<double> const& samples, HSTVector<std::pair<double, double>>& response);
};

}  // namespace dsp
