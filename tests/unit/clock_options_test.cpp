// Words of the clocking commands to values.
#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <random>

#include "kdi/ip/HIPClocking.h"
#include "tests/support/decimal_comma.h"
#include "tests/support/random.h"

namespace {

using Ip_Clocking::HIPClockingUtils;

constexpr char const* kSchema =
    "-text <mandatory:string:\"\"> -number <optional:double:10.00> -count <optional:long:1> -flag "
    "<optional:bool:false> "
    "-list <optional:list:\"\"> -primtive <optional:string:0>";

// The values of kSchema's options, as the caller takes them over.
struct Values {
  std::unique_ptr<std::string> text, primitive;
  std::unique_ptr<double> number;
  std::unique_ptr<long> count;
  std::unique_ptr<bool> flag;
  std::unique_ptr<StrVec> list;
};

template <class Value>
std::unique_ptr<Value> taken(std::map<std::string, void*> const& values, char const* name) {
  return std::unique_ptr<Value>(static_cast<Value*>(values.at(name)));
}

bool parse(StrVec const& words, Values& to) {
  std::map<std::string, void*> values{{"stale", nullptr}};
  if (!HIPClockingUtils::parseArgs(kSchema, words, values)) {
    EXPECT_TRUE(values.empty());
    return false;
  }
  EXPECT_EQ(values.size(), 6U);
  to = {taken<std::string>(values, "-text"), taken<std::string>(values, "-primtive"),
        taken<double>(values, "-number"),    taken<long>(values, "-count"),
        taken<bool>(values, "-flag"),        taken<StrVec>(values, "-list")};
  return true;
}
bool parses(StrVec const& words) {
  Values ignored;
  return parse(words, ignored);
}

TEST(ParseArgs, GivesDefaultsToWhatIsNotGiven) {
  Values values;
  ASSERT_TRUE(parse({"-text", "a b"}, values));
  EXPECT_EQ(*values.text, "a b");
  EXPECT_EQ(*values.primitive, "0");
  EXPECT_EQ(*values.number, 10.0);
  EXPECT_EQ(*values.count, 1);
  EXPECT_FALSE(*values.flag);
  EXPECT_EQ(*values.list, StrVec{});
}

TEST(ParseArgs, TakesOptionsInAnyOrder) {
  Values values;
  ASSERT_TRUE(parse(
      {"-list", " 1,2  x,{}\t", "-flag", "YES", "-count", "-7", "-number", "-2.5e1", "-primtive", "-1", "-text", ""},
      values));
  EXPECT_EQ(*values.text, "");
  EXPECT_EQ(*values.primitive, "-1");
  EXPECT_EQ(*values.number, -25);
  EXPECT_EQ(*values.count, -7);
  EXPECT_TRUE(*values.flag);
  EXPECT_EQ(*values.list, (StrVec{"1", "2", "x", "{}"}));
}

TEST(ParseArgs, RefusesWordsThatDoNotFit) {
  EXPECT_TRUE(parses({"-text", "x"}));
  EXPECT_FALSE(parses({})) << "mandatory, not given";
  EXPECT_FALSE(parses({"-number", "1"})) << "mandatory, not given";
  EXPECT_FALSE(parses({"-text"})) << "no value";
  EXPECT_FALSE(parses({"-text", "x", "-number"})) << "no value";
  EXPECT_FALSE(parses({"-text", "-number", "1"})) << "no value";
  EXPECT_FALSE(parses({"-text", "-number", "-number", "1"})) << "an option is no value";
  EXPECT_FALSE(parses({"-text", "x", "-text", "x"})) << "twice";
  EXPECT_FALSE(parses({"-text", "x", "-other", "1"})) << "unknown";
  EXPECT_FALSE(parses({"-text", "x", "-num", "1"})) << "no abbreviations";
  EXPECT_FALSE(parses({"-text", "x", "-Number", "1"})) << "case counts";
  EXPECT_FALSE(parses({"-text", "x", "number", "1"})) << "no hyphen";
  EXPECT_FALSE(parses({"x", "-text", "x"})) << "a word too many";
}

TEST(ParseArgs, RefusesValuesOfAnotherType) {
  for (char const* word : {"", "x", "1x", " 1", "1 ", "inf", "nan", "1e999", "0x10", "1,5", "--1", "+-1", "{1}"})
    EXPECT_FALSE(parses({"-text", "x", "-number", word})) << word;
  for (char const* word : {"", "x", "1.0", "1e3", "99999999999999999999", " 1", "--1", "+-1", "0x1"})
    EXPECT_FALSE(parses({"-text", "x", "-count", word})) << word;
  for (char const* word : {"", "2", "tru", "wahr", " true", "-1"})
    EXPECT_FALSE(parses({"-text", "x", "-flag", word})) << word;
  for (char const* word : {"true", "True", "yes", "on", "1", "false", "NO", "off", "0"})
    EXPECT_TRUE(parses({"-text", "x", "-flag", word})) << word;
  for (char const* word : {"0", "-0", "+5", ".5", "5.", "1e-300", "1E5"})
    EXPECT_TRUE(parses({"-text", "x", "-number", word})) << word;
}

TEST(ParseArgs, RefusesASchemaOfAnotherForm) {
  const auto is_schema = [](std::string const& schema) {
    std::map<std::string, void*> values;
    return HIPClockingUtils::parseArgs(schema, {}, values);
  };
  EXPECT_TRUE(is_schema(""));
  EXPECT_TRUE(is_schema("  "));
  for (char const* schema :
       {"-a", "-a <optional>", "-a <optional:string>", "a <optional:string:x>", "- <optional:string:x>",
        "-a optional:string:x", "-a <maybe:string:x>", "-a <optional:int:1>", "-a <optional:long:x>",
        "-a <optional:double:\"\">", "-a <optional:string:x> -a <optional:string:x>", "-a <optional:string:x", "<> -a",
        "-a <optional:string:x> -b", "-a  <>", "-a <", "-a <:>", "-a <::>"}) {
    EXPECT_FALSE(is_schema(schema)) << schema;
  }
}

TEST(ParseArgs, ADefaultMayHoldColons) {
  std::map<std::string, void*> values;
  ASSERT_TRUE(HIPClockingUtils::parseArgs("-a <optional:string:x:y>", {}, values));
  EXPECT_EQ(*taken<std::string>(values, "-a"), "x:y");
}

// Shuffled, with one fault or none: parsed if there is none.
TEST(ParseArgs, FindsTheOneFault) {
  test_support::Seeded<std::mt19937> random(20);
  const auto below = [&random](unsigned n) { return static_cast<std::size_t>(random() % n); };
  for (int round = 0; round < 5000; ++round) {
    std::vector<std::pair<std::string, std::string>> given{{"-text", "t"},  {"-number", "1.5"}, {"-count", "3"},
                                                           {"-flag", "on"}, {"-list", "1 2,3"}, {"-primtive", "2"}};
    std::shuffle(given.begin() + 1, given.end(), random);
    given.resize(1 + below(6));
    std::shuffle(given.begin(), given.end(), random);
    StrVec words;
    for (auto const& [name, value] : given) words.insert(words.end(), {name, value});
    ASSERT_TRUE(parses(words)) << round;
    const std::size_t at = 2 * below(static_cast<unsigned>(given.size()));
    switch (below(5)) {
      case 0:  // a word is missing
        words.erase(words.begin() + static_cast<std::ptrdiff_t>(at + below(2)));
        break;
      case 1:  // twice
        words.insert(words.end(), {words[at], words[at + 1]});
        break;
      case 2:  // unknown
        words[at] += "_";
        break;
      case 3:  // another option's name as a value
        words[at + 1] = "-list";
        break;
      default:  // one word more
        words.insert(words.begin() + static_cast<std::ptrdiff_t>(at), "-text");
        break;
    }
    EXPECT_FALSE(parses(words)) << round << ": " << testing::PrintToString(words);
  }
}

TEST(ClockNumbers, AreWholeAndFinite) {
  double value = 7;
  for (char const* word : {"", " ", "x", "1 2", "nan", "inf", "1e999", "0x10", "1,5"})
    EXPECT_FALSE(HIPClockingUtils::validateAndConvertDouble(word, value)) << word;
  EXPECT_EQ(value, 7);
  EXPECT_TRUE(HIPClockingUtils::validateAndConvertDouble("-1.25e2", value));
  EXPECT_EQ(value, -125);
}

TEST(ClockNumbers, BecomeTextWithThreeDecimals) {
  std::string text;
  EXPECT_TRUE(HIPClockingUtils::convertDoubleToString(1.0625, text));
  EXPECT_EQ(text, "1.062");
  EXPECT_TRUE(HIPClockingUtils::convertDoubleToString(1e300, text));
  EXPECT_EQ(text.size(), 305U);
  EXPECT_FALSE(HIPClockingUtils::convertDoubleToString(INFINITY, text));
  EXPECT_FALSE(HIPClockingUtils::convertDoubleToString(NAN, text));
}

TEST(ClockNumbers, KnowNoLocale) {
  const DecimalComma comma;
  double value = 0;
  std::string text;
  EXPECT_TRUE(HIPClockingUtils::validateAndConvertDouble("1.5", value));
  EXPECT_EQ(value, 1.5);
  EXPECT_FALSE(HIPClockingUtils::validateAndConvertDouble("1,5", value));
  EXPECT_TRUE(HIPClockingUtils::convertDoubleToString(1234.5, text));
  EXPECT_EQ(text, "1234.500");
}

TEST(SpreadSpectrumWords, AreAModeAndAFrequency) {
  bool enabled = true;
  std::string mode, error;
  double frequency = 0;
  const auto read = [&](std::string text) {
    return HIPClockingUtils::validateSSArgs(text, enabled, mode, frequency, error);
  };
  EXPECT_TRUE(read(""));
  EXPECT_FALSE(enabled);
  EXPECT_TRUE(read(" CENTER_HIGH, 250 "));
  EXPECT_TRUE(enabled);
  EXPECT_EQ(mode, "CENTER_HIGH");
  EXPECT_EQ(frequency, 250);
  EXPECT_TRUE(read("NONE"));
  EXPECT_FALSE(enabled);
  for (char const* text :
       {"CENTER_HIGH", "CENTER_HIGH x", "CENTER_HIGH 0", "CENTER_HIGH -1", "CENTER_HIGH 1 2", "250"}) {
    EXPECT_FALSE(read(text)) << text;
    EXPECT_FALSE(enabled);
    EXPECT_EQ(error, "Ip_Clocking_Calc_M_D: Spread spectrum '" + std::string(text) +
                         "' needs to be a mode and a modulation frequency in kHz above 0, or NONE\n");
  }
}

}  // namespace
