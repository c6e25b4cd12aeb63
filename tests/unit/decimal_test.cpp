// Exact decimal numbers, against fractions of any size.
#include "kdi/cores/Decimal.h"

#include <gtest/gtest.h>

#include <boost/multiprecision/cpp_int.hpp>
#include <limits>
#include <stdexcept>

#include "tests/support/random.h"

namespace {

using kdi::cores::Decimal;
using Integer = boost::multiprecision::cpp_int;
using Fraction = boost::multiprecision::cpp_rational;

constexpr std::int64_t kLeast = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max();

Integer power(int exponent) { return boost::multiprecision::pow(Integer(10), static_cast<unsigned>(exponent)); }
Fraction fraction(Decimal number) { return Fraction(Integer(number.mantissa()), power(number.places())); }

// Whether 64 bits and 18 places hold the value.
bool fits(Fraction const& value) {
  Integer numerator = boost::multiprecision::numerator(value);
  const Integer denominator = boost::multiprecision::denominator(value);
  for (int places = 0; places <= Decimal::kMostPlaces; ++places, numerator *= 10)
    if (numerator % denominator == 0) return numerator / denominator <= kMost && numerator / denominator >= kLeast;
  return false;
}

Fraction rounded(Fraction const& value, int places) {
  const Fraction scaled = value * power(places);
  const bool negative = scaled < 0;
  const Fraction size = negative ? Fraction(-scaled) : scaled;
  const Fraction up = size + Fraction(1, 2);
  const Integer whole = boost::multiprecision::numerator(up) / boost::multiprecision::denominator(up);
  return Fraction(negative ? Integer(-whole) : whole, power(places));
}

// Of all sizes: few digits and many, near the ends and near powers of ten.
class Numbers {
 public:
  explicit Numbers(std::uint64_t seed) : random_(seed) {}
  Decimal next() {
    std::int64_t mantissa = static_cast<std::int64_t>(random_()) >> (random_() % 64);
    if (random_() % 8 == 0) mantissa = random_() % 2 == 0 ? kMost : kLeast;
    return Decimal::of(mantissa, static_cast<int>(random_() % (Decimal::kMostPlaces + 1)));
  }

 private:
  std::mt19937_64 random_;
};

template <class Compute>
void expect_exact(Compute compute, Fraction const& truth) {
  try {
    const Decimal number = compute();
    EXPECT_EQ(fraction(number), truth);
  } catch (std::overflow_error const&) {
    EXPECT_FALSE(fits(truth));
  }
}

TEST(Decimals, SumsProductsAndOrderAreExact) {
  Numbers numbers(1);
  for (int i = 0; i < 20000; ++i) {
    const Decimal a = numbers.next(), b = numbers.next();
    SCOPED_TRACE(a.text() + " and " + b.text());
    expect_exact([&] { return a + b; }, fraction(a) + fraction(b));
    expect_exact([&] { return a - b; }, fraction(a) - fraction(b));
    expect_exact([&] { return a * b; }, fraction(a) * fraction(b));
    EXPECT_EQ(a < b, fraction(a) < fraction(b));
    EXPECT_EQ(a == b, fraction(a) == fraction(b));
  }
}

TEST(Decimals, RoundHalvesAwayFromZero) {
  Numbers numbers(2);
  for (int i = 0; i < 5000; ++i) {
    const Decimal a = numbers.next();
    for (int places = 0; places <= Decimal::kMostPlaces; places += 3)
      expect_exact([&] { return a.rounded(places); },
                   places >= a.places() ? fraction(a) : rounded(fraction(a), places));
    EXPECT_LE(a.floor(), fraction(a));
    EXPECT_GT(Fraction(a.floor()) + 1, fraction(a));
    EXPECT_GE(a.ceil(), fraction(a));
    EXPECT_LT(Fraction(a.ceil()) - 1, fraction(a));
  }
  EXPECT_EQ(Decimal::of(5, 1).rounded(0), Decimal(1));
  EXPECT_EQ(Decimal::of(-5, 1).rounded(0), Decimal(-1));
  EXPECT_EQ(Decimal::of(49, 2).rounded(0), Decimal(0));
}

TEST(Decimals, QuotientsAreRounded) {
  test_support::Seeded<std::mt19937_64> random(3);
  for (int i = 0; i < 20000; ++i) {
    const auto small = [&] {
      return Decimal::of(static_cast<std::int64_t>(random() % 2'000'001) - 1'000'000, static_cast<int>(random() % 7));
    };
    const Decimal a = small(), b = small();
    const int places = static_cast<int>(random() % 10);
    if (b == Decimal()) {
      EXPECT_THROW(Decimal::quotient(a, b, places), std::domain_error);
    } else {
      SCOPED_TRACE(a.text() + " / " + b.text());
      EXPECT_EQ(fraction(Decimal::quotient(a, b, places)), rounded(fraction(a) / fraction(b), places));
    }
  }
}

TEST(Decimals, TextsReadBack) {
  Numbers numbers(4);
  for (int i = 0; i < 20000; ++i) {
    const Decimal a = numbers.next();
    const auto read = Decimal::read(a.text());
    ASSERT_TRUE(read) << a.text();
    EXPECT_EQ(*read, a);
  }
}

TEST(Decimals, AreReadInEveryForm) {
  const std::pair<char const*, Decimal> read[] = {{"0", Decimal()},
                                                  {"-0", Decimal()},
                                                  {"+7", 7},
                                                  {".5", Decimal::of(5, 1)},
                                                  {"5.", 5},
                                                  {"1e3", 1000},
                                                  {"1.5E-2", Decimal::of(15, 3)},
                                                  {"0.50", Decimal::of(5, 1)},
                                                  {"-12.25", Decimal::of(-1225, 2)},
                                                  {"0e99", Decimal()},
                                                  {"9223372036854775807", kMost},
                                                  {"-9223372036854775808", kLeast},
                                                  {"0.000000000000000001", Decimal::of(1, 18)},
                                                  {"100000000000000000000e-18", 100}};
  for (auto const& [text, number] : read) {
    const auto found = Decimal::read(text);
    ASSERT_TRUE(found) << text;
    EXPECT_EQ(*found, number) << text;
  }
  for (char const* text : {"",
                           "-",
                           "+",
                           ".",
                           "1.2.3",
                           "1e",
                           "1e+",
                           "e5",
                           "0x10",
                           "1,5",
                           " 1",
                           "1 ",
                           "nan",
                           "inf",
                           "--1",
                           "9223372036854775808",
                           "0.0000000000000000001",
                           "1e19",
                           "1e1000",
                           "1e99999999999"})
    EXPECT_FALSE(Decimal::read(text)) << text;
  EXPECT_FALSE(Decimal::read(std::string(101, '0')));
}

TEST(Decimals, EqualNumbersAreEqualMembers) {
  EXPECT_EQ(Decimal::of(1500, 3), Decimal::of(15, 1));
  EXPECT_EQ(Decimal::of(1500, 3).places(), 1);
  EXPECT_EQ(Decimal::of(12, -2), Decimal(1200));
  EXPECT_EQ(Decimal::of(0, 18).places(), 0);
  EXPECT_EQ(Decimal::of(-5, 3).text(), "-0.005");
}

}  // namespace
