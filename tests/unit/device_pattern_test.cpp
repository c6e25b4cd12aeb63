// Short forms of device files.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "platform/device/pattern.h"

namespace {

using namespace kdi::device;
using kdi::expand;
using kdi::fill;
using kdi::PatternError;
using Texts = std::vector<std::string>;

std::string fault_of(std::string const& pattern, std::size_t most = 100) {
  try {
    expand(pattern, most);
  } catch (PatternError const& error) {
    return error.what();
  }
  return "none";
}

TEST(NamePattern, StandsForItselfWithoutBraces) {
  EXPECT_EQ(expand("L0P", 1), Texts{"L0P"});
  EXPECT_EQ(expand("", 1), Texts{""});
}

TEST(NamePattern, LetsTheLastVaryFastest) {
  EXPECT_EQ(expand("L{0..1}{P,N}", 4), (Texts{"L0P", "L0N", "L1P", "L1N"}));
  EXPECT_EQ(expand("{9..11}", 3), (Texts{"9", "10", "11"}));
  EXPECT_EQ(expand("{7..7}x", 1), Texts{"7x"});
}

TEST(NamePattern, SaysWhatIsWrong) {
  for (char const* text : {"{", "}", "a{b", "a}b{", "{a{b}}", "}{"})
    EXPECT_EQ(fault_of(text), "braces in pairs that do not nest") << text;
  for (char const* text : {"{1..}", "{..1}", "{2..1}", "{a..b}", "{-1..1}", "{1..99999999999}", "{1...2}"})
    EXPECT_EQ(fault_of(text), "a range such as {4..7} of numbers that ascend") << text;
  for (char const* text : {"{}", "{a,}", "{,a}", "{a,,b}"})
    EXPECT_EQ(fault_of(text), "a range or words between braces, such as {4..7} or {P,N}") << text;
}

TEST(NamePattern, StopsBeforeItGrowsTooLong) {
  EXPECT_EQ(fault_of("{0..99}"), "none");
  EXPECT_EQ(fault_of("{0..100}"), "a pattern of at most 100 names");
  EXPECT_EQ(fault_of("{0..2147483647}"), "a pattern of at most 100 names");
  EXPECT_EQ(fault_of("{0..10}{0..10}"), "a pattern of at most 100 names");
  EXPECT_EQ(fault_of("{a,b}{a,b}{a,b}{a,b}{a,b}{a,b}{a,b}"), "a pattern of at most 100 names");
}

TEST(Balls, AreLetteredWithoutThoseThatLookAlike) {
  EXPECT_EQ(ball_name({0, 0}), "A1");
  EXPECT_EQ(ball_name({8, 11}), "J12");  // I is left out
  EXPECT_EQ(ball_name({19, 0}), "Y1");
  EXPECT_EQ(ball_name({20, 0}), "AA1");
  EXPECT_EQ(ball_name({41, 4}), "BB5");
  EXPECT_EQ(ball_name({419, 255}), "YY256");
}

TEST(Balls, ReadBackAsTheyAreNamed) {
  for (int row = 0; row < 420; ++row) {
    const BallRectangle one = ball_rectangle(ball_name({row, row % 256}));
    EXPECT_EQ(one.first.row, row);
    EXPECT_EQ(one.first.column, row % 256);
    EXPECT_EQ(one.size(), 1u);
  }
}

TEST(Balls, FillARectangleRowByRow) {
  Texts names;
  for (const Ball ball : ball_rectangle("H2:J3").balls()) names.push_back(ball_name(ball));
  EXPECT_EQ(names, (Texts{"H2", "H3", "J2", "J3"}));
}

TEST(Balls, OfAnotherFormAreRefused) {
  for (char const* text : {"", "A", "1", "A0", "A01", "I1", "AAA1", "A257", "a1", "A1:", ":A1", "A1:B", "A-1",
                           "A1:B2:C3", "A99999999999", "A1 "})
    EXPECT_THROW(ball_rectangle(text), PatternError) << text;
  EXPECT_THROW(ball_rectangle("B1:A1"), PatternError);
  EXPECT_THROW(ball_rectangle("A2:A1"), PatternError);
}

TEST(NameTemplate, TakesValuesByName) {
  EXPECT_EQ(fill("IO_{lane}_{site}", {{"lane", "T0"}, {"site", "L1P"}}), "IO_T0_L1P");
  EXPECT_EQ(fill("plain", {}), "plain");
  EXPECT_THROW(fill("{other}", {{"lane", "T0"}}), PatternError);
  EXPECT_THROW(fill("{lane", {{"lane", "T0"}}), PatternError);
}

}  // namespace
