// The transform against its plainly written recurrence, bit for bit, and against a direct transform within the growth
// of the recurrence's rounding errors.
#include "tcltasks/dsp/radix2_transform.h"

#include <fftw3.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdio>
#include <cstring>
#include <vector>

#include "tcltasks/dsp/fftalgorithm/fftalgorithm.h"
#include "tcltasks/dsp/vcualgorithm/vcualgorithm.h"
#include "tests/support/random_code.h"

namespace {

using Response = HSTVector<std::pair<double, double>>;
using fftalgorithm_init::FFTAlgorithmImp;
using vcualgorithm_init::VCUAlgorithmImp;

std::vector<double> random_samples(std::size_t n, unsigned seed) {
  test_support::Random random(seed);
  std::vector<double> samples(n);
  for (double& sample : samples) sample = random.below(2000001) / 1e6 - 1.0;
  return samples;
}

// Stage by stage, block by block, the factors made anew in each block.
Response plain(std::vector<double> const& samples) {
  const auto n = static_cast<unsigned>(samples.size());
  unsigned bits = 0;
  FFTAlgorithmImp::NumberOfBitsNeeded(n, bits);
  std::vector<double> real(n), imag(n, 0.0);
  for (unsigned i = 0; i < n; ++i) {
    unsigned j = 0;
    FFTAlgorithmImp::ReverseBits(i, bits, j);
    real[j] = samples[i];
  }
  unsigned half = 1;
  for (unsigned size = 2; size <= n; size *= 2) {
    const double delta = 2 * FFTAlgorithmImp::_PI / size;
    double cm1 = std::cos(-delta), cm2 = std::cos(-2 * delta), sm1 = std::sin(-delta), sm2 = std::sin(-2 * delta);
    if (size == 2) {
      cm1 = -1.0;
      cm2 = 1.0;
      sm1 = -1.2246467991473532e-16;
      sm2 = 2.4492935982947064e-16;
    }
    const double w = 2 * cm1;
    for (unsigned i = 0; i < n; i += size) {
      double ar2 = cm2, ar1 = cm1, ai2 = sm2, ai1 = sm1;
      for (unsigned j = i; j < i + half; ++j) {
        const double ar0 = w * ar1 - ar2;
        ar2 = ar1;
        ar1 = ar0;
        const double ai0 = w * ai1 - ai2;
        ai2 = ai1;
        ai1 = ai0;
        const unsigned k = j + half;
        const double tr = ar0 * real[k] - ai0 * imag[k];
        const double ti = ar0 * imag[k] + ai0 * real[k];
        real[k] = real[j] - tr;
        imag[k] = imag[j] - ti;
        real[j] += tr;
        imag[j] += ti;
      }
    }
    half = size;
  }
  Response response;
  for (unsigned i = 0; i <= n / 2; ++i) {
    double frequency = 0;
    FFTAlgorithmImp::Index_to_frequency(n, i, frequency);
    response.emplace_back(frequency, std::sqrt(real[i] * real[i] + imag[i] * imag[i]));
  }
  return response;
}

TEST(Radix2Transform, IsThePlainRecurrenceBitForBit) {
  for (unsigned bits = 1; bits <= 17; ++bits) {
    const auto samples = random_samples(std::size_t{1} << bits, bits);
    Response response;
    ASSERT_TRUE(FFTAlgorithmImp::GetFrequencyResponse(samples, response));
    const Response expected = plain(samples);
    ASSERT_EQ(response.size(), expected.size());
    EXPECT_EQ(std::memcmp(response.data(), expected.data(), response.size() * sizeof response[0]), 0)
        << bits << " bits";
  }
}

TEST(Radix2Transform, IsNearTheDirectTransform) {
  for (unsigned bits = 1; bits <= 11; ++bits) {
    const std::size_t n = std::size_t{1} << bits;
    const auto samples = random_samples(n, 100 + bits);
    Response response;
    ASSERT_TRUE(VCUAlgorithmImp::GetFrequencyResponse(samples, response));
    ASSERT_EQ(response.size(), n / 2 + 1);
    double norm = 0;
    for (double sample : samples) norm += sample * sample;
    // Errors of the recurrence grow with the square of its length at worst; this is well above what is seen.
    const double bound = 1e-16 * static_cast<double>(n) * static_cast<double>(n) * std::sqrt(norm) + 1e-15;
    for (std::size_t bin = 0; bin <= n / 2; ++bin) {
      std::complex<long double> sum = 0;
      for (std::size_t i = 0; i < n; ++i)
        sum += static_cast<long double>(samples[i]) *
               std::polar(1.0L, -2 * 3.14159265358979323846264338327950288L * static_cast<long double>((bin * i) % n) /
                                    static_cast<long double>(n));
      EXPECT_NEAR(response[bin].second, static_cast<double>(std::abs(sum)), bound) << "bin " << bin << " of " << n;
      EXPECT_EQ(response[bin].first, static_cast<double>(bin) / static_cast<double>(n));
    }
  }
}

// Errors against a library transform, whose own are some roundings. A factor of a stage of m comes out of up to m steps
// of the recurrence, and an error made in one grows in proportion to the steps that follow, so the whole grows with the
// square of n. The table stands in the documentation of the command.
TEST(Radix2Transform, ErrorGrowsNoFasterThanTheRecurrenceMakesIt) {
  std::printf("%9s %12s %12s\n", "n", "rms / rms", "largest / rms");
  for (unsigned bits = 6; bits <= 20; bits += 2) {
    const std::size_t n = std::size_t{1} << bits;
    std::vector<double> in = random_samples(n, 200 + bits);
    HSTVector<double> samples;
    for (double sample : in) samples.push_back(sample);
    std::vector<fftw_complex> out(n / 2 + 1);
    const fftw_plan plan = fftw_plan_dft_r2c_1d(static_cast<int>(n), in.data(), out.data(), FFTW_ESTIMATE);
    fftw_execute(plan);
    fftw_destroy_plan(plan);
    HSTVector<std::pair<double, double>> response;
    ASSERT_TRUE(dsp::Radix2Transform::GetFrequencyResponse(samples, response));
    double power = 0, error_power = 0, largest = 0;
    for (std::size_t i = 0; i <= n / 2; ++i) {
      const double magnitude = std::hypot(out[i][0], out[i][1]);
      const double error = std::fabs(response[i].second - magnitude);
      power += magnitude * magnitude;
      error_power += error * error;
      largest = std::max(largest, error);
    }
    const double rms = std::sqrt(power / static_cast<double>(n / 2 + 1));
    const double relative = std::sqrt(error_power / power);
    std::printf("%9zu %12.2e %12.2e\n", n, relative, largest / rms);
    EXPECT_LE(relative, 0x1p-58 * static_cast<double>(n) * static_cast<double>(n));
    EXPECT_LE(largest / rms, 0x1p-56 * static_cast<double>(n) * static_cast<double>(n));
  }
}

TEST(Radix2Transform, RefusesOtherCountsAndLeavesTheResponseAlone) {
  for (std::size_t n : {0U, 1U, 3U, 12U, 1000U}) {
    Response response{{1.0, 2.0}};
    EXPECT_FALSE(FFTAlgorithmImp::GetFrequencyResponse(std::vector<double>(n), response));
    EXPECT_EQ(response.size(), 1U);
  }
}

TEST(Radix2Transform, Helpers) {
  for (int n : {-2147483647 - 1, -4, 0, 1, 3, 6}) EXPECT_FALSE(FFTAlgorithmImp::IsPowerOfTwo(n)) << n;
  for (int n : {2, 4, 1 << 30}) EXPECT_TRUE(FFTAlgorithmImp::IsPowerOfTwo(n)) << n;
  unsigned bits = 77;
  EXPECT_FALSE(FFTAlgorithmImp::NumberOfBitsNeeded(1, bits));
  EXPECT_EQ(bits, 77U);
  EXPECT_TRUE(FFTAlgorithmImp::NumberOfBitsNeeded(1024, bits));
  EXPECT_EQ(bits, 10U);
  EXPECT_TRUE(VCUAlgorithmImp::NumberOfBitsNeeded(12, bits));
  EXPECT_EQ(bits, 2U);
  unsigned reversed = 0;
  EXPECT_TRUE(VCUAlgorithmImp::ReverseBits(0b1101, 4, reversed));
  EXPECT_EQ(reversed, 0b1011U);
  EXPECT_TRUE(FFTAlgorithmImp::ReverseBits(0b10001, 3, reversed));
  EXPECT_EQ(reversed, 0b100U);
  double frequency = 9;
  const auto at = [&](unsigned n, unsigned index) {
    EXPECT_TRUE(FFTAlgorithmImp::Index_to_frequency(n, index, frequency));
    return frequency;
  };
  EXPECT_EQ(at(8, 4), 0.5);
  EXPECT_EQ(at(8, 5), -0.375);
  EXPECT_EQ(at(8, 0), 0.0);
  EXPECT_EQ(at(8, 8), 0.0);
  EXPECT_EQ(VCUAlgorithmImp::_PI, 3.14159265358979323846);
}

}  // namespace
