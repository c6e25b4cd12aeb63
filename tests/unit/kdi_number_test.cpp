// Numbers as texts and texts as numbers, the same under every locale: each reader and each form is held against the C
// library's in the C locale, in that locale and in one with a decimal comma.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "kdi/common/KdiNumber.h"
#include "tests/support/decimal_comma.h"
#include "tests/support/random.h"

namespace {

namespace number = kdi::number;

constexpr double kInfinity = std::numeric_limits<double>::infinity();

// Doubles of all sizes, by their bits, and some that are awkward to round.
std::vector<double> many_values() {
  std::vector<double> values = {0,    -0.0,   0.5,     1.5,      2.5,     0.125, 1e-6, 9.999999e-7, 999999999999.5,
                                1e12, 1e-310, 1.7e308, -1234567, 0.00005, 1e22,  100,  123456,      1234565};
  test_support::Seeded<std::mt19937_64> random(20240611);
  while (values.size() < 500) {
    const std::uint64_t bits = random();
    double value = 0;
    static_assert(sizeof value == sizeof bits);
    std::memcpy(&value, &bits, sizeof value);
    if (std::isfinite(value)) values.push_back(value);
  }
  return values;
}

// What printf writes in the C locale, told before another one is set.
struct Printed {
  double value;
  std::string fixed0, fixed3, fixed6, general, general17;
};
std::vector<Printed> printed_in_c() {
  std::vector<Printed> all;
  for (const double value : many_values()) {
    const auto print = [value](char const* format) {
      char text[400];
      std::snprintf(text, sizeof text, format, value);
      return std::string(text);
    };
    all.push_back({value, print("%.0f"), print("%.3f"), print("%.6f"), print("%g"), print("%.17g")});
  }
  return all;
}

void expect_forms(std::vector<Printed> const& expected) {
  for (Printed const& one : expected) {
    EXPECT_EQ(number::fixed(one.value, 0), one.fixed0);
    EXPECT_EQ(number::fixed(one.value, 3), one.fixed3);
    EXPECT_EQ(number::fixed(one.value, 6), one.fixed6);
    EXPECT_EQ(number::general(one.value), one.general);
    EXPECT_EQ(number::general(one.value, 17), one.general17);
    EXPECT_EQ(number::whole<double>(number::shortest(one.value)), one.value);
    EXPECT_EQ(number::whole<double>(number::plain(one.value)), one.value);
  }
}

TEST(Number, WritesAsPrintfDoesInTheCLocale) { expect_forms(printed_in_c()); }

TEST(Number, WritesTheSameWithADecimalComma) {
  const std::vector<Printed> expected = printed_in_c();
  const DecimalComma german;
  ASSERT_EQ(number::printed("%.1f", 0.5), "0,5");  // the locale is one
  expect_forms(expected);
}

TEST(Number, ShortestHasTheFewestDigits) {
  EXPECT_EQ(number::shortest(0.1), "0.1");
  EXPECT_EQ(number::shortest(1e300), "1e+300");
  EXPECT_EQ(number::shortest(-2), "-2");
}

TEST(Number, PlainHasNoExponentForUsualFigures) {
  EXPECT_EQ(number::plain(0), "0");
  EXPECT_EQ(number::plain(1e-6), "0.000001");
  EXPECT_EQ(number::plain(-999999999999.0), "-999999999999");
  EXPECT_EQ(number::plain(1e12), "1e+12");
  EXPECT_EQ(number::plain(1e-7), "1e-07");
  EXPECT_EQ(number::plain(1.2345678901234567e-6).find('e'), std::string::npos);
}

TEST(Number, WritesInfinityAndNoNumber) {
  EXPECT_EQ(number::fixed(kInfinity, 3), "inf");
  EXPECT_EQ(number::fixed(-kInfinity, 3), "-inf");
  EXPECT_EQ(number::general(std::nan("")), "nan");
  EXPECT_EQ(number::fixed(std::numeric_limits<double>::lowest(), 6).size(), 1U + 309U + 1U + 6U);
}

TEST(Number, WritesHexadecimal) {
  EXPECT_EQ(number::hexadecimal(0, 4), "0000");
  EXPECT_EQ(number::hexadecimal(0x1F, 4), "001f");
  EXPECT_EQ(number::hexadecimal(0x12345, 4), "12345");
  EXPECT_EQ(number::hexadecimal(~std::uint64_t{0}, 1), "ffffffffffffffff");
}

void expect_readers() {
  EXPECT_EQ(number::whole<double>("1.5"), 1.5);
  EXPECT_EQ(number::whole<double>("-1e3"), -1000);
  EXPECT_EQ(number::whole<double>("inf"), kInfinity);
  for (char const* text : {"", " 1", "1 ", "+1", "1,5", "0x10", "1e999", "1e-999", "-", "e5", "."})
    EXPECT_EQ(number::whole<double>(text), std::nullopt) << text;

  EXPECT_EQ(number::whole<int>("-2147483648"), std::numeric_limits<int>::min());
  EXPECT_EQ(number::whole<std::int64_t>("9223372036854775807"), std::numeric_limits<std::int64_t>::max());
  for (char const* text : {"", " 1", "1.", "1.5", "+1", "1e3", "2147483648", "--1", "0x1"})
    EXPECT_EQ(number::whole<int>(text), std::nullopt) << text;

  EXPECT_EQ(number::whole_or_nearest<int>("99999999999999999999"), std::numeric_limits<int>::max());
  EXPECT_EQ(number::whole_or_nearest<int>("-2147483649"), std::numeric_limits<int>::min());
  EXPECT_EQ(number::whole_or_nearest<int>("-7"), -7);
  EXPECT_EQ(number::whole_or_nearest<double>("-1e999"), -kInfinity);
  EXPECT_EQ(number::whole_or_nearest<double>("1e-999"), 0);
  EXPECT_EQ(number::whole_or_nearest<double>("0.5"), 0.5);
  for (char const* text : {"", "+1", "99999999999x", "1e999 "})
    EXPECT_EQ(number::whole_or_nearest<double>(text), std::nullopt) << text;
  EXPECT_EQ(number::whole_or_nearest<int>("1e3"), std::nullopt);

  EXPECT_EQ(number::leading_double(" \t+1.5V"), 1.5);
  EXPECT_EQ(number::leading_double("1,5"), 1);
  EXPECT_EQ(number::leading_double("0x10"), 16);
  EXPECT_EQ(number::leading_double("infinite"), kInfinity);
  EXPECT_EQ(number::leading_double("1e999"), kInfinity);
  EXPECT_EQ(number::leading_double("x"), 0);
  EXPECT_EQ(number::leading_long(" +12.7"), 12);
  EXPECT_EQ(number::leading_long("1.234"), 1);
  EXPECT_EQ(number::leading_long("x"), 0);
  EXPECT_EQ(number::leading_long("99999999999999999999"), std::numeric_limits<long>::max());
  EXPECT_EQ(number::leading_int("-99999999999"), std::numeric_limits<int>::min());
}

TEST(Number, Reads) { expect_readers(); }

TEST(Number, ReadsTheSameWithADecimalComma) {
  const DecimalComma german;
  expect_readers();
}

TEST(Number, TakesANumberOffAText) {
  std::string_view text = "12-7x";
  EXPECT_EQ(number::take<int>(text), 12);
  EXPECT_EQ(number::take<int>(text), -7);
  EXPECT_EQ(number::take<int>(text), std::nullopt);
  EXPECT_EQ(text, "x");
  text = "99999999999";
  EXPECT_EQ(number::take<int>(text), std::nullopt);
  EXPECT_EQ(text, "99999999999");
}

TEST(Number, DropsOnePlusSign) {
  EXPECT_EQ(number::without_plus("+1"), "1");
  EXPECT_EQ(number::without_plus("1"), "1");
  EXPECT_EQ(number::without_plus("+-1"), "+-1");
  EXPECT_EQ(number::without_plus("++1"), "+1");
  EXPECT_EQ(number::without_plus("+"), "");
}

TEST(Number, BringsValuesToTheNearestInt) {
  EXPECT_EQ(number::to_int(2.9), 2);
  EXPECT_EQ(number::to_int(-2.9), -2);
  EXPECT_EQ(number::to_int(1e300), std::numeric_limits<int>::max());
  EXPECT_EQ(number::to_int(-kInfinity), std::numeric_limits<int>::min());
  EXPECT_EQ(number::to_int(std::nan("")), 0);
  EXPECT_EQ(number::to_int(std::numeric_limits<long>::min()), std::numeric_limits<int>::min());
  EXPECT_EQ(number::to_int(7), 7);
}

TEST(Number, PrintsAFormatOfACaller) {
  EXPECT_EQ(number::printed("%d %s", 7, "seven"), "7 seven");
  EXPECT_EQ(number::printed("%s", std::string(5000, 'x').c_str()), std::string(5000, 'x'));
  EXPECT_EQ(number::printed("%s", ""), "");
}

TEST(Number, PrintsAPointWhileAsked) {
  const DecimalComma german;
  EXPECT_EQ(number::printed("%.2f", 1234.5), "1234,50");
  {
    const number::PointNumbers points;
    EXPECT_EQ(number::printed("%.2f", 1234.5), "1234.50");
    EXPECT_EQ(std::strtod("1.5", nullptr), 1.5);
  }
  EXPECT_EQ(number::printed("%.2f", 1234.5), "1234,50");
}

}  // namespace
