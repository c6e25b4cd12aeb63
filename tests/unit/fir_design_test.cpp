// The filter designer against truths that know nothing of it: the alternation theorem, the general exchange on a finer
// grid, and the C library's cosine.
#include "tools/ducddc/fir_design.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <random>
#include <stdexcept>

#include "tests/support/random.h"
#include "tools/ducddc/cos_pi.h"
#include "tools/ducddc/minimax.h"

namespace {

using fir::Band;
using fir::Design;

struct Extent {
  double largest = 0;    // weighted error
  int alternations = 0;  // extrema of alternating sign that reach nearly the largest
};

// The error of a filter over its bands, on a grid of 200 points for each tap.
Extent extent_of(Design const& design, std::vector<Band> const& bands, double nearly = 0.98) {
  std::vector<double> errors;
  const double step = 0.5 / (200.0 * static_cast<double>(design.taps.size()));
  for (Band const& band : bands) {
    const int points = std::max(2, static_cast<int>((band.high - band.low) / step));
    for (int i = 0; i <= points; ++i) {
      const double f = band.low + (band.high - band.low) * i / points;
      errors.push_back(band.weight * (fir::amplitude(design.taps, f) - band.desired));
    }
  }
  Extent extent;
  for (double error : errors) extent.largest = std::max(extent.largest, std::fabs(error));
  int last = 0;
  for (double error : errors) {
    if (std::fabs(error) < nearly * extent.largest) continue;
    const int sign = error < 0 ? -1 : 1;
    extent.alternations += sign != last;
    last = sign;
  }
  return extent;
}

TEST(CosPi, AgreesWithTheLibrary) {
  test_support::Seeded<std::mt19937_64> random(3);
  for (int i = 0; i < 200000; ++i) {
    const double x = std::uniform_real_distribution<>(-300, 300)(random);
    // The argument times pi is rounded in the peer, by up to half a unit of 2^-43.
    EXPECT_NEAR(fir::cos_pi(x), static_cast<double>(std::cos(std::numbers::pi_v<long double> * x)), 4e-16);
  }
  EXPECT_EQ(fir::cos_pi(0), 1);
  EXPECT_EQ(fir::cos_pi(0.5), 0);
  EXPECT_EQ(fir::cos_pi(-1), -1);
  EXPECT_EQ(fir::cos_pi(1.5), 0);
}

TEST(Equiripple, AlternatesAsTheTheoremDemands) {
  test_support::Seeded<std::mt19937_64> random(5);
  for (int i = 0; i < 300; ++i) {
    const int length = 11 + 2 * static_cast<int>(random() % 60);
    const double pass = std::uniform_real_distribution<>(0.02, 0.4)(random);
    const double gap = std::uniform_real_distribution<>(0.6, 4.0)(random) / length;
    if (pass + gap > 0.49) continue;
    const std::vector<Band> bands{{0, pass, 1}, {pass + gap, 0.5, 0, std::uniform_real_distribution<>(0.2, 5)(random)}};
    const Design design = fir::equiripple(length, bands);
    SCOPED_TRACE(testing::Message() << length << " taps, pass " << pass << ", gap " << gap);
    ASSERT_EQ(design.taps.size(), static_cast<std::size_t>(length));
    for (int k = 0; k < length; ++k)
      ASSERT_EQ(design.taps[static_cast<std::size_t>(k)], design.taps[static_cast<std::size_t>(length - 1 - k)]);
    const Extent extent = extent_of(design, bands);
    EXPECT_GE(extent.alternations, (length + 1) / 2 + 1);
    EXPECT_NEAR(extent.largest, design.ripple, 0.004 * design.ripple);
  }
}

// The best fit on a set of points is never worse than any other filter there, and the general exchange finds it another
// way.
TEST(Equiripple, EqualsTheGeneralExchange) {
  for (int length : {7, 15, 31, 45}) {
    const std::vector<Band> bands{{0, 0.11, 1}, {0.17, 0.28, 0, 2}, {0.35, 0.5, 0.5}};
    const Design design = fir::equiripple(length, bands);
    std::vector<double> frequency;
    std::vector<Band> band_of;
    for (Band const& band : bands)
      for (int i = 0; i <= 1200; ++i) {
        frequency.push_back(band.low + (band.high - band.low) * i / 1200);
        band_of.push_back(band);
      }
    const fir::LinearFit fit = fir::stiefel_exchange(
        frequency.size(), static_cast<std::size_t>(length / 2 + 1),
        [&](std::size_t i, std::size_t k) {
          return band_of[i].weight * std::cos(2 * std::numbers::pi * static_cast<double>(k) * frequency[i]);
        },
        [&](std::size_t i) { return band_of[i].weight * band_of[i].desired; });
    EXPECT_NEAR(design.ripple, fit.error, 0.003 * fit.error) << length;
    EXPECT_NEAR(extent_of(design, bands).largest, fit.error, 0.003 * fit.error) << length;
  }
}

TEST(Equiripple, SaysWhenADemandIsTooEasy) {
  const Design design = fir::equiripple(499, {{0, 0.1, 1}, {0.3, 0.5, 0}});
  EXPECT_EQ(design.taps.size(), 499u);
  EXPECT_FALSE(design.note.empty());
  EXPECT_LT(extent_of(design, {{0, 0.1, 1}, {0.3, 0.5, 0}}).largest, 1e-11);
}

TEST(Equiripple, RefusesWhatIsNoDemand) {
  EXPECT_THROW(fir::equiripple(10, {{0, 0.1, 1}, {0.2, 0.5, 0}}), std::invalid_argument);
  EXPECT_THROW(fir::equiripple(1, {{0, 0.1, 1}, {0.2, 0.5, 0}}), std::invalid_argument);
  EXPECT_THROW(fir::equiripple(4097, {{0, 0.1, 1}, {0.2, 0.5, 0}}), std::invalid_argument);
  EXPECT_THROW(fir::equiripple(11, {}), std::invalid_argument);
  EXPECT_THROW(fir::equiripple(11, {{0, 0.2, 1}, {0.2, 0.5, 0}}), std::invalid_argument);
  EXPECT_THROW(fir::equiripple(11, {{0, 0.2, 1}, {0.3, 0.6, 0}}), std::invalid_argument);
  EXPECT_THROW(fir::equiripple(11, {{0, 0.2, 1, 0}, {0.3, 0.5, 0}}), std::invalid_argument);
  EXPECT_THROW(fir::equiripple(11, {{0, NAN, 1}, {0.3, 0.5, 0}}), std::invalid_argument);
  EXPECT_THROW(fir::nyquist(2, 9, 0.1), std::invalid_argument);
  EXPECT_THROW(fir::nyquist(2, 11, 0.25), std::invalid_argument);
  EXPECT_THROW(fir::nyquist(3, 13, 0.1), std::invalid_argument);  // its last taps would be zeros
  EXPECT_THROW(fir::nyquist(3, 11, 0.2), std::invalid_argument);
}

// Zeros and middle are exact, the images are held down evenly, and the images of A itself sum to 1.
TEST(Nyquist, HasItsZerosAndItsSum) {
  for (int factor : {2, 3, 5})
    for (int length : {7, 11, 19, 27, 35, 47}) {
      if (!fir::is_nyquist_length(factor, length)) continue;
      for (double share : {0.2, 0.5, 0.8}) {
        const double edge = share / (2 * factor);
        const Design design = fir::nyquist(factor, length, edge);
        SCOPED_TRACE(testing::Message() << factor << ", " << length << " taps, edge " << edge);
        const auto centre = static_cast<std::size_t>(length / 2);
        EXPECT_EQ(design.taps[centre], 1.0 / factor);
        for (std::size_t k = static_cast<std::size_t>(factor); k <= centre; k += static_cast<std::size_t>(factor))
          EXPECT_EQ(design.taps[centre + k], 0.0);
        double stop = 0, pass = 0;
        for (int i = 0; i <= 400; ++i) {
          const double f = edge * i / 400;
          double sum = 0;
          for (int image = 0; image < factor; ++image) {
            const double value = fir::amplitude(design.taps, f + static_cast<double>(image) / factor);
            sum += value;
            if (image > 0) stop = std::max(stop, std::fabs(value));
          }
          EXPECT_NEAR(sum, 1, 1e-12);
          pass = std::max(pass, std::fabs(fir::amplitude(design.taps, f) - 1));
        }
        EXPECT_NEAR(stop, design.ripple, 0.004 * design.ripple + 1e-12);
        EXPECT_LE(pass, (factor - 1) * stop * 1.0001 + 1e-12);
      }
    }
}

// Half-band filters by the odd-cosine trick and by the general exchange are the same filters.
TEST(Halfband, EqualsTheGeneralExchange) {
  for (int length : {7, 15, 31}) {
    const double edge = 0.18;
    const Design design = fir::nyquist(2, length, edge);
    const fir::LinearFit fit = fir::stiefel_exchange(
        3001, static_cast<std::size_t>((length + 1) / 4),
        [&](std::size_t i, std::size_t k) {
          return 2 *
                 std::cos(2 * std::numbers::pi * static_cast<double>(2 * k + 1) * edge * static_cast<double>(i) / 3000);
        },
        [](std::size_t) { return 0.5; });
    EXPECT_NEAR(design.ripple, fit.error, 0.002 * fit.error);
    for (std::size_t k = 0; k < fit.coefficients.size(); ++k)
      EXPECT_NEAR(design.taps[static_cast<std::size_t>(length / 2) + 2 * k + 1], fit.coefficients[k], 0.01 * fit.error);
  }
}

TEST(Quantise, RoundsToEighteenBits) {
  const std::vector<double> taps{-0.1, 0.0, 0.3, 0.5, 0.3, 0.0, -0.1};
  const std::vector<double> rounded = fir::quantise(taps, 18);
  EXPECT_EQ(rounded[3], 0.5 - std::ldexp(1.0, -18));
  EXPECT_EQ(rounded[1], 0.0);
  EXPECT_EQ(rounded[2] * 262144, std::round(0.3 * 262144));
  EXPECT_EQ(rounded[0] * 262144, std::round(-0.1 * 262144));
  EXPECT_EQ(fir::quantise({0.0, 0.0}, 18), (std::vector<double>{0.0, 0.0}));
  EXPECT_EQ(fir::quantise({0.75}, 3), (std::vector<double>{0.75}));
  EXPECT_EQ(fir::quantise({1.0}, 3), (std::vector<double>{0.75}));
}

TEST(StiefelExchange, RefusesTooFewPoints) {
  const auto one = [](auto...) { return 1.0; };
  EXPECT_THROW(fir::stiefel_exchange(2, 2, one, one), std::invalid_argument);
  EXPECT_THROW(fir::stiefel_exchange(5, 2, one, one), std::runtime_error);  // two equal columns
}

}  // namespace
