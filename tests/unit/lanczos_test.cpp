// Scaler coefficients against the same formulas in another arithmetic: every single-precision step is taken in double
// precision and rounded to 24 bits by hand.
#include "tcltasks/dsp/v_scaler/lanczos.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <limits>
#include <sstream>
#include <vector>

#include "tests/support/scratch.h"

namespace {

// To 24 significant bits, ties to even. Two roundings equal one: a double holds more than twice the bits of a float.
double round24(double x) {
  if (x == 0 || !std::isfinite(x)) return x;
  int exponent = 0;
  const double mantissa = std::frexp(x, &exponent);
  return std::ldexp(std::nearbyint(std::ldexp(mantissa, 24)), exponent - 24);
}

constexpr double kPi = 3.14159265358979;

double slow_sine(double x) {
  const double r = round24((x - kPi) / kPi);
  const double y = round24(x - r * kPi);
  const double q = -round24(y * y);
  const double p3 = round24(y * q), p5 = round24(p3 * q), p7 = round24(p5 * q), p9 = round24(p7 * q);
  const double p11 = round24(q * p9);
  double sum = y;
  for (auto const& [power, factorial] :
       {std::pair(p3, 6.0), {p5, 120.0}, {p7, 5040.0}, {p9, 362880.0}, {p11, 39916800.0}})
    sum = round24(sum + round24(power / factorial));
  return sum;
}

double slow_lanczos(double x, int a) {
  if (x < -a || x > a) return 0;
  if (x == 0) return 1;
  const double s1 = slow_sine(round24(x * kPi));
  const double s2 = slow_sine(round24((x * kPi) / a));
  return round24(round24(round24(a * s2) * s1) / (x * x * 9.869604401089338));
}

std::vector<int> slow_row(double phase, int taps) {
  const int half = taps / 2;
  std::vector<double> values;
  double sum = 0;
  for (int i = -half; i < taps - half; ++i) {
    values.push_back(slow_lanczos(round24(i + phase), half));
    sum = round24(sum + values.back());
  }
  std::vector<int> row;
  for (double value : values) {
    const double scaled = round24(round24(value * 16384.0) / sum) + 0.5;
    row.push_back(std::isfinite(scaled) ? static_cast<int>(std::trunc(scaled)) : 0);
  }
  return row;
}

TEST(Lanczos, EqualsTheFormulasInAnotherArithmetic) {
  for (int taps = 2; taps <= 24; ++taps)
    for (int phases : {1, 2, 3, 7, 16, 64})
      for (int p = 0; p < phases; ++p) {
        const auto phase = static_cast<float>(p / static_cast<double>(phases));
        std::vector<int> row(static_cast<std::size_t>(taps));
        v_scaler::get_lanczos_coeffs(phase, row.data(), taps);
        ASSERT_EQ(row, slow_row(phase, taps)) << taps << " taps, phase " << p << " of " << phases;
      }
  for (double x = -9; x < 9; x += 0.0137) {
    const auto single = static_cast<float>(x);
    EXPECT_EQ(v_scaler::sine(single), slow_sine(single));
    EXPECT_EQ(v_scaler::lanczos(single, 4), slow_lanczos(single, 4));
  }
}

TEST(Lanczos, HasItsEdges) {
  for (int a : {1, 2, 6}) {
    EXPECT_EQ(v_scaler::lanczos(0.0F, a), 1.0F);
    const auto limit = static_cast<float>(a);
    EXPECT_EQ(v_scaler::lanczos(std::nextafter(limit, 100.0F), a), 0.0F);
    EXPECT_EQ(v_scaler::lanczos(-limit - 1, a), 0.0F);
    EXPECT_EQ(v_scaler::lanczos(limit, a), slow_lanczos(a, a));
  }
  std::vector<int> row(6);
  v_scaler::get_lanczos_coeffs(0.0F, row.data(), 6);
  EXPECT_EQ(std::max_element(row.begin(), row.end()) - row.begin(), 3);
  int untouched = 5;
  v_scaler::get_lanczos_coeffs(0.0F, &untouched, 0);
  v_scaler::get_lanczos_coeffs(0.0F, &untouched, -3);
  EXPECT_EQ(untouched, 5);
  v_scaler::get_lanczos_coeffs(0.5F, &untouched, 1);  // the sum of the row is 0
  EXPECT_EQ(untouched, 0);
}

TEST(Lanczos, TablesAreZeroedAndFreed) {
  v_scaler::coefs_struct coefs;
  ASSERT_EQ(v_scaler::alloc_coefs_buff(&coefs, 3, 2), 0);
  EXPECT_EQ(coefs.v_chroma[1][2], 0);
  v_scaler::dealloc_coefs_buff(&coefs, 3, 2);
  EXPECT_EQ(coefs.h_luma, nullptr);
}

TEST(Lanczos, NamesOfChromaFormats) {
  EXPECT_EQ(v_scaler::getChromaFormatValue("YUV420"), 0);
  EXPECT_EQ(v_scaler::getChromaFormatValue("YUV422"), 1);
  EXPECT_EQ(v_scaler::getChromaFormatValue("YUV444"), 2);
  EXPECT_EQ(v_scaler::getChromaFormatValue("RGB"), 3);
  EXPECT_EQ(v_scaler::getChromaFormatValue("other"), 0);
}

TEST(Lanczos, RefusesSizesThatMakeNoTable) {
  const auto supported = [](int hp, int vp, int ht, int vt, int mp, int sets) {
    return v_scaler::are_sizes_supported(hp, vp, ht, vt, mp, 0, 0, 0, sets);
  };
  EXPECT_TRUE(supported(64, 64, 12, 12, 64, 1));
  EXPECT_TRUE(supported(8192, 0, 8192, 0, 8192, 1));  // 2^26 entries
  EXPECT_FALSE(supported(8192, 0, 8193, 0, 8192, 1));
  EXPECT_FALSE(supported(65, 64, 12, 12, 64, 1));
  EXPECT_FALSE(supported(64, 65, 12, 12, 64, 1));
  EXPECT_FALSE(supported(-1, 0, 1, 1, 1, 1));
  EXPECT_FALSE(supported(1, 1, 1, 1, 1, -1));
  EXPECT_FALSE(supported(1, 1, 2147483647, 1, 2147483647, 2147483647));
  EXPECT_TRUE(supported(0, 0, 0, 0, 0, 1 << 26));  // no entries, but as many rounds as there are sets
  EXPECT_FALSE(supported(0, 0, 0, 0, 0, (1 << 26) + 1));
  EXPECT_FALSE(supported(0, 0, 0, 0, 1000, 2147483647));
  EXPECT_FALSE(supported(0, 0, 0, 0, 2147483647, 1));
  EXPECT_EQ(v_scaler::CreateCoefsMatrix(2, 2, 2, 2, 1, 0, 0, 0, 1, "unused"), "");
}

// What the process has had in memory at most, in kilobytes.
long most_memory() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss;
}

TEST(Lanczos, MemoryDoesNotGrowWithTheFile) {
  const Scratch folder;
  v_scaler::CreateCoefsMatrix(1, 1, 2, 2, 1, 1, 1, 0, 1, folder.path("small"));
  const long before = most_memory();
  constexpr int kPhases = 1 << 21;
  v_scaler::CreateCoefsMatrix(0, 0, 1, 1, kPhases, 0, 0, 0, 1, folder.path("large"));
  EXPECT_LT(most_memory() - before, 20'000);
  constexpr std::size_t kHeader = 62;
  EXPECT_EQ(std::filesystem::file_size(folder.path("large.coe")), kHeader + std::size_t{3} * kPhases);
}

TEST(Lanczos, ADeviceThatIsFullIsAnErrorAndNoFile) {
  if (!std::filesystem::exists("/dev/full")) GTEST_SKIP();
  const std::string link = testing::TempDir() + "/full_device";
  std::filesystem::remove(link + ".coe");
  std::filesystem::create_symlink("/dev/full", link + ".coe");
  EXPECT_THROW(v_scaler::CreateCoefsMatrix(4, 4, 4, 4, 4, 0, 0, 0, 1, link), std::runtime_error);
  EXPECT_FALSE(std::filesystem::is_symlink(link + ".coe"));
}

}  // namespace
