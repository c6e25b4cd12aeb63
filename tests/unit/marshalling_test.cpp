// The three marshalling utilities: what they share, and what a script sees differently.
#include <gtest/gtest.h>

#include <random>

#include "kdi/tcl/command.h"
#include "tcltasks/frame/kelvane_config_util.h"
#include "tcltasks/frame/mutils_util.h"
#include "tcltasks/frame/zorvan_util.h"
#include "tests/support/random.h"

namespace {

namespace kelvane = kelvane_config::util;
namespace zorvan_util = zorvan::util;
namespace memory = mutils::util;

class Marshalling : public testing::Test {
 protected:
  Marshalling() : interp_(Tcl_CreateInterp()) {}
  ~Marshalling() override { Tcl_DeleteInterp(interp_); }

  std::string result() const { return Tcl_GetStringResult(interp_); }

  Tcl_Interp* interp_;
};

// Words of a command, held as long as this lives.
class Words {
 public:
  Words(std::initializer_list<char const*> words) {
    for (char const* word : words) held_.emplace_back(Tcl_NewStringObj(word, -1));
    for (tcl::ObjRef const& one : held_) objects_.push_back(one.get());
  }
  int count() const { return static_cast<int>(objects_.size()); }
  Tcl_Obj* const* data() const { return objects_.data(); }
  Tcl_Obj* operator[](std::size_t i) const { return objects_[i]; }

 private:
  std::vector<tcl::ObjRef> held_;
  std::vector<Tcl_Obj*> objects_;
};

// ------------------------------------------------------------------------------------------------- check_args

constexpr char const* kUsage = "wrong arguments:  -context { ctxpar val ... }, -info ";

struct Slots {
  Tcl_Obj* context = nullptr;
  Tcl_Obj* info = nullptr;
};

int check_two(Tcl_Interp* interp, Words const& words, Slots& values) {
  return kelvane::check_args(interp, words.count(), words.data(), kUsage, "-context", values.context, "-info",
                             values.info);
}

TEST_F(Marshalling, CheckArgsTakesThePairsInAnyOrder) {
  const Words words{"cmd", "-info", "speed", "-context", "a b"};
  Slots values;
  EXPECT_EQ(check_two(interp_, words, values), TCL_OK);
  EXPECT_EQ(values.context, words[4]);
  EXPECT_EQ(values.info, words[2]);
  for (std::size_t i = 0; i < 5; ++i) {  // scripts rely on it
    ASSERT_NE(words[i]->typePtr, nullptr) << i;
    EXPECT_STREQ(words[i]->typePtr->name, "list") << i;
  }
}

TEST_F(Marshalling, CheckArgsFailsWithTheSameTwoElementsWhateverIsWrong) {
  const auto failure = [&](Words const& words) {
    Slots values;
    EXPECT_EQ(check_two(interp_, words, values), TCL_ERROR);
    int length = 0;
    Tcl_ListObjLength(nullptr, Tcl_GetObjResult(interp_), &length);
    EXPECT_EQ(length, 2);
    return result();
  };
  const std::string usage = std::string("{") + kUsage + "}";
  EXPECT_EQ(failure({"cmd"}), usage + " cmd");
  EXPECT_EQ(failure({"cmd", "-info", "x", "-info", "y"}), usage + " {cmd -info x -info y}");
  EXPECT_EQ(failure({"cmd", "-info", "x", "-other", "y"}), usage + " {cmd -info x -other y}");
  EXPECT_EQ(failure({"cmd", "-info", "x", "-context"}), usage + " {cmd -info x -context}");
  EXPECT_EQ(failure({"cmd", "-info", "x", "-context", "y", "-info", "z"}), usage + " {cmd -info x -context y -info z}");
  EXPECT_EQ(failure({"cmd", "-info", "x"}), usage + " {cmd -info x}");
}

TEST_F(Marshalling, CheckArgsEmptiesItsSlotsAndFillsThoseBeforeTheFault) {
  const Words first_bad{"cmd", "-other", "x", "-info", "y"};
  Slots values{first_bad[0], first_bad[0]};
  EXPECT_EQ(check_two(interp_, first_bad, values), TCL_ERROR);
  EXPECT_EQ(values.context, nullptr);
  EXPECT_EQ(values.info, nullptr);
  const Words second_bad{"cmd", "-info", "y", "-other", "x"};
  EXPECT_EQ(check_two(interp_, second_bad, values), TCL_ERROR);
  EXPECT_EQ(values.context, nullptr);
  EXPECT_EQ(values.info, second_bad[2]);
}

TEST_F(Marshalling, CheckArgsMindsNoWordThatIsNoList) {
  const Words words{"cmd", "-context", "{", "-info", "}"};
  Slots values;
  EXPECT_EQ(check_two(interp_, words, values), TCL_OK);
  EXPECT_EQ(result(), "");
}

TEST_F(Marshalling, CheckArgsTakesOneToFourPairs) {
  const Words words{"cmd", "-d", "4", "-c", "3", "-b", "2", "-a", "1"};
  Tcl_Obj *a = nullptr, *b = nullptr, *c = nullptr, *d = nullptr;
  EXPECT_EQ(kelvane::check_args(interp_, 9, words.data(), "u", "-a", a, "-b", b, "-c", c, "-d", d), TCL_OK);
  EXPECT_EQ(std::vector<Tcl_Obj*>({a, b, c, d}), std::vector<Tcl_Obj*>({words[8], words[6], words[4], words[2]}));
  EXPECT_EQ(zorvan_util::check_args(interp_, 7, words.data(), "u", "-d", d, "-c", c, "-b", b), TCL_OK);
  EXPECT_EQ(zorvan_util::check_args(interp_, 3, words.data(), "u", "-d", d), TCL_OK);
  EXPECT_EQ(zorvan_util::check_args(interp_, 5, words.data(), "u", "-d", d), TCL_ERROR);
}

// ------------------------------------------------------------------------------------------- results and errors

TEST_F(Marshalling, ErrorsComeBareOrWithTheWordsOfTheCommand) {
  const Words words{"cmd", "a b"};
  EXPECT_EQ(zorvan_util::set_tcl_error(interp_, "plain text"), TCL_ERROR);
  EXPECT_EQ(result(), "plain text");
  EXPECT_EQ(kelvane::set_tcl_error(interp_, 2, words.data(), "plain text"), TCL_ERROR);
  EXPECT_EQ(result(), "{plain text} {cmd {a b}}");
  EXPECT_EQ(zorvan_util::set_tcl_error(interp_, 2, words.data(), std::vector<std::string>{"one", "two three"}),
            TCL_ERROR);
  EXPECT_EQ(result(), "{one {two three}} {cmd {a b}}");
  EXPECT_EQ(memory::set_tcl_error(interp_, "plain text"), TCL_ERROR);
  EXPECT_EQ(result(), "plain text");
}

TEST_F(Marshalling, ErrorResultsAreLedByErrors) {
  EXPECT_EQ(kelvane::set_tcl_error(interp_, RawResult{}, ParamMap{}), TCL_ERROR);
  EXPECT_EQ(result(), "Errors {}");
  const RawResult results{{"A", {{"1", "2"}, {"3"}}}, {"Z", {}}};
  EXPECT_EQ(zorvan_util::set_tcl_error(interp_, results, {{"b", "bad value"}, {"a", "x"}}), TCL_ERROR);
  EXPECT_EQ(result(), "Errors {a x b {bad value}} A {{1 2} 3} Z {}");
}

TEST_F(Marshalling, ResultsOfContainers) {
  EXPECT_EQ(kelvane::set_tcl_result(interp_, RawResult{{"key", {{"a", "b"}, {"c", "d"}}}, {"key2", {{"e"}}}}), TCL_OK);
  EXPECT_EQ(result(), "key {{a b} {c d}} key2 e");
  EXPECT_EQ(zorvan_util::set_tcl_result(interp_, std::vector<std::vector<std::string>>{{"a", "b c"}, {}}), TCL_OK);
  EXPECT_EQ(result(), "{a {b c}} {}");
  EXPECT_EQ(kelvane::set_tcl_result(interp_, std::list<std::string>{"a", "b c"}), TCL_OK);
  EXPECT_EQ(result(), "a {b c}");
  EXPECT_EQ(kelvane::set_tcl_result(interp_, std::list<std::string>{}), TCL_OK);
  EXPECT_EQ(result(), "");
  EXPECT_EQ(kelvane::set_tcl_result(interp_, RawResult{}), TCL_OK);
  EXPECT_EQ(result(), "");
}

TEST_F(Marshalling, ASingleTextIsBareInTwoUtilitiesAndAListInTheThird) {
  kelvane::set_tcl_result(interp_, "a b");
  EXPECT_EQ(result(), "a b");
  zorvan_util::set_tcl_result(interp_, std::string("a b"));
  EXPECT_EQ(result(), "a b");
  EXPECT_EQ(memory::set_tcl_result(interp_, std::string("a b")), TCL_OK);
  EXPECT_EQ(result(), "{a b}");
}

TEST_F(Marshalling, MemoryResultsAreLists) {
  memory::set_tcl_result(interp_, -7);
  EXPECT_EQ(result(), "-7");
  memory::set_tcl_result(interp_, true);
  EXPECT_EQ(result(), "true");
  memory::set_tcl_result(interp_, false);
  EXPECT_EQ(result(), "false");
  memory::set_tcl_result(interp_, ParamMap{{"n", "v w"}, {"m", ""}});
  EXPECT_EQ(result(), "m {} n {v w}");
  memory::set_tcl_result(interp_, HSTVector<std::string>{"x", "y z"});
  EXPECT_EQ(result(), "x {y z}");
  memory::set_tcl_result(interp_,
                         std::map<std::string, HSTVector<std::string>>{{"k", {"a", "b"}}, {"l", {}}, {"m", {"c d"}}});
  EXPECT_EQ(result(), "k a b l m {c d}");
}

// --------------------------------------------------------------------------------------------- Tcl to containers

TEST_F(Marshalling, ReadsTextsNumbersSetsAndMaps) {
  const Words words{"a b a", "12x", "no number", "k v k2 v2 k w", "k v odd", "{"};
  std::string text;
  kelvane::tcl2cpp(interp_, words[0], text);
  EXPECT_EQ(text, "a b a");
  int number = 5;
  kelvane::tcl2cpp(interp_, words[1], number);
  EXPECT_EQ(number, 12);
  kelvane::tcl2cpp(interp_, words[2], number);
  EXPECT_EQ(number, 0);
  std::set<std::string> set{"old"};
  zorvan_util::tcl2cpp(interp_, words[0], set);
  EXPECT_EQ(set, (std::set<std::string>{"a", "b"}));
  ParamMap map{{"old", "x"}};
  zorvan_util::tcl2cpp(interp_, words[3], map);
  EXPECT_EQ(map, (ParamMap{{"k", "w"}, {"k2", "v2"}}));
  kelvane::tcl2cpp(interp_, words[4], map);
  EXPECT_EQ(map, (ParamMap{{"k", "v"}}));
  kelvane::tcl2cpp(interp_, words[5], map);
  EXPECT_TRUE(map.empty());
  set = {"old"};
  kelvane::tcl2cpp(interp_, words[5], set);
  EXPECT_TRUE(set.empty());
}

TEST_F(Marshalling, NumbersAreCutToTheWidthOfAnInt) {
  const std::pair<char const*, int> numbers[] = {{"2147483647", 2147483647},
                                                 {"2147483648", -2147483647 - 1},
                                                 {"-2147483648", -2147483647 - 1},
                                                 {"-2147483649", 2147483647},
                                                 {"4294967301", 5},
                                                 {"-4294967301", -5},
                                                 {"9223372036854775807", -1},
                                                 {"99999999999999999999", -1},  // as far as 64 bits go
                                                 {"-99999999999999999999", 0},
                                                 {" 7", 7},
                                                 {"+7", 7},
                                                 {"0x10", 0},
                                                 {"-", 0},
                                                 {"", 0}};
  for (auto const& [text, expected] : numbers) {
    const Words word{text};
    int number = 5;
    kelvane::tcl2cpp(interp_, word[0], number);
    EXPECT_EQ(number, expected) << text;
  }
}

TEST_F(Marshalling, TextsEndAtTheirZero) {
  const std::string text("a\0b", 3);
  kelvane::set_tcl_result(interp_, text);
  EXPECT_EQ(result(), "a");
  EXPECT_EQ(Tcl_GetCharLength(Tcl_GetObjResult(interp_)), 1);
  memory::set_tcl_result(interp_, HSTVector<std::string>{text, ""});
  EXPECT_EQ(result(), "a {}");
  memory::set_tcl_result(interp_, ParamMap{{text, text}});
  EXPECT_EQ(result(), "a a");
  kelvane::set_tcl_result(interp_, RawResult{{text, {{text}}}});
  EXPECT_EQ(result(), "a a");
}

TEST_F(Marshalling, WordsOfAnyLengthAreTaken) {
  const std::string length(1 << 20, 'x');
  const Words words{"cmd", "-context", length.c_str()};
  Tcl_Obj* value = nullptr;
  EXPECT_EQ(zorvan_util::check_args(interp_, words.count(), words.data(), "u", "-context", value), TCL_OK);
  EXPECT_EQ(value, words[2]);
  EXPECT_EQ(memory::tcl2cpp(2, words.data() + 1).at("-context"), length);
  std::set<std::string> elements;
  kelvane::tcl2cpp(interp_, words[2], elements);
  EXPECT_EQ(elements, std::set<std::string>{length});
  std::string name = length;
  name += "DQ[0]";
  const Words pins{name.c_str(), "a", "b"};
  int count = 0;
  EXPECT_EQ(memory::tcl2cpp(3, pins.data(), count).at(name), (std::vector<std::string>{"a", "b"}));
}

TEST_F(Marshalling, ReadsWordsOfTheMemoryCommands) {
  const Words words{"-Part", "XC", "-part", "Yc", "-ODD"};
  EXPECT_EQ(memory::tcl2cpp(words[1]), "XC");
  EXPECT_EQ(memory::tcl2cppString(words[1]), "XC");
  EXPECT_EQ(memory::tcl2cpp(4, words.data()), (ParamMap{{"-part", "Yc"}}));
  EXPECT_EQ(memory::tcl2cppString(4, words.data()), (ParamMap{{"-part", "Yc"}}));
  EXPECT_EQ(memory::tcl2cppWithExactKey(4, words.data()), (ParamMap{{"-Part", "XC"}, {"-part", "Yc"}}));
  EXPECT_EQ(memory::tcl2cppWithExactKey(5, words.data()).size(), 2U);  // the last name has no value
  EXPECT_TRUE(memory::tcl2cpp(0, words.data()).empty());
  EXPECT_TRUE(memory::tcl2cpp(-1, words.data()).empty());
  int count = 3;
  EXPECT_EQ(memory::tcl2cpp(count, 2, words.data()), (std::vector<std::string>{"-Part", "XC"}));
  EXPECT_EQ(count, 5);
}

TEST_F(Marshalling, ReadsAPinTable) {
  using Table = std::map<std::string, std::vector<std::string>>;
  const Words words{"DQ[0]", "a", "b", "DQ[1]", "c", "d", "-opt", "v"};
  int count = 1;
  EXPECT_EQ(memory::tcl2cpp(8, words.data(), count), (Table{{"DQ[0]", {"a", "b"}}, {"DQ[1]", {"c", "d"}}}));
  EXPECT_EQ(count, 8);
  const Words value_first{"x", "DQ[0]", "a", "b"};
  count = 0;
  EXPECT_TRUE(memory::tcl2cpp(4, value_first.data(), count).empty());
  EXPECT_EQ(count, 1);
  const Words names{"Address/Ctrl-0", "a", "D[1]", "b", "c", "Q[2]", "d", "e", "Q-3", "f", "g"};
  count = 0;
  EXPECT_EQ(memory::tcl2cpp(11, names.data(), count),
            (Table{{"D[1]", {"a", "b", "c"}}, {"Q[2]", {"d", "e"}}, {"Q-3", {"f", "g"}}}));
  EXPECT_EQ(count, 11);
  count = 0;
  EXPECT_TRUE(memory::tcl2cpp(0, names.data(), count).empty());
  EXPECT_EQ(count, 0);
  EXPECT_TRUE(memory::tcl2cpp(-1, names.data(), count).empty());
  EXPECT_EQ(count, 0);
  // A name alone, with one value, with two, and what the third makes of it.
  for (auto const& [objc, table] : {std::pair(1, Table{}),
                                    {2, Table{}},
                                    {3, Table{{"DQ[0]", {"a", "b"}}}},
                                    {6, Table{{"DQ[0]", {"a", "b"}}, {"DQ[1]", {"c", "d"}}}}}) {
    count = 0;
    EXPECT_EQ(memory::tcl2cpp(objc, words.data(), count), table);
    EXPECT_EQ(count, objc);
  }
  // What holds a name's part anywhere is a name, also where a value is expected; letters count.
  const Words inside{"DQ[0]", "aQ-b", "c", "d[0]", "x", "y"};
  count = 0;
  EXPECT_EQ(memory::tcl2cpp(6, inside.data(), count), (Table{{"aQ-b", {"c", "d[0]"}}}));
  EXPECT_EQ(count, 5);
  count = 0;
  EXPECT_EQ(memory::tcl2cpp(7, words.data(), count).size(), 2U);
  EXPECT_EQ(count, 7) << "the word that ends the table is counted";
}

TEST_F(Marshalling, ReadsAMapOfMaps) {
  const Words words{"TEMPLATE",     "a b {Input Clock}",
                    "PINS",         "a 1  b {Clk Fwd}",
                    "EMPTY",        "",
                    "ONE",          "word",
                    "EDGES",        " a 1 ",
                    "ODD",          "a 1 b",
                    "PINS",         "c {Input Clock}",
                    "WITHOUT VALUE"};
  EXPECT_EQ(memory::tcl2cppMultiLevelMap(15, words.data()), (MultiMap{{"TEMPLATE", {{"TEMPLATE", "a b InputClock"}}},
                                                                      {"PINS", {{"c", "InputClock"}}},
                                                                      {"EMPTY", {}},
                                                                      {"ONE", {}},
                                                                      {"EDGES", {{"", "a"}, {"1", ""}}},
                                                                      {"ODD", {{"a", "1"}}}}));
  EXPECT_EQ(memory::tcl2cppMultiLevelMap(4, words.data()).at("PINS"), (ParamMap{{"a", "1"}, {"b", "ClkFwd"}}));
  EXPECT_TRUE(memory::tcl2cppMultiLevelMap(0, words.data()).empty());
}

TEST(KeyFolding, MakesOptionsOfTheParametersOfAController) {
  ParamMap out{{"-kept", "1"}, {"-part", "old"}};
  memory::uniquifyMapFormat({{"C0.DDR4_TimePeriod", "a"},
                             {"c0.lpddr3_x", "b"},
                             {"c0.ddr3_y", "c"},
                             {"c0.rld3_z", "d"},
                             {"c0.qdriip_u", "e"},
                             {"c0.qdriv_v", "f"},
                             {"c0.w", "g"},
                             {"-c0.ddr4_s", "h"},
                             {"-Part", "new"}},
                            out);
  EXPECT_EQ(out, (ParamMap{{"-kept", "1"},
                           {"-part", "new"},
                           {"-timeperiod", "a"},
                           {"-x", "b"},
                           {"-y", "c"},
                           {"-z", "d"},
                           {"-u", "e"},
                           {"-v", "f"},
                           {"-w", "g"},
                           {"--s", "h"}}));
}

TEST(KeyFolding, TheLaterOfKeysThatBecomeOneWins) {
  ParamMap out;
  memory::uniquifyMapFormat({{"C0.X", "first"}, {"c0.x", "second"}}, out);
  EXPECT_EQ(out, (ParamMap{{"-x", "second"}}));
}

// ----------------------------------------------------------------------------------------------- brace groups

TEST(BraceGroups, AreRecognised) {
  EXPECT_TRUE(kelvane::isCombinedParam("a {b}"));
  EXPECT_TRUE(kelvane::isCombinedParam("{"));
  EXPECT_FALSE(kelvane::isCombinedParam("a b}"));
  EXPECT_FALSE(kelvane::isCombinedParam(""));
}

TEST(BraceGroups, CloseWhereTheCountComesBack) {
  EXPECT_EQ(kelvane::getClosingBraceIndex("{a{b}c}", 0), 6);
  EXPECT_EQ(kelvane::getClosingBraceIndex("{a{b}c}", 2), 4);
  EXPECT_EQ(kelvane::getClosingBraceIndex("{a", 0), -1);
  EXPECT_EQ(kelvane::getClosingBraceIndex("{a}", 3), -1);
  EXPECT_EQ(kelvane::getClosingBraceIndex("{a}", 99), -1);
  EXPECT_EQ(kelvane::getClosingBraceIndex("{a}", -1), -1);
}

std::vector<std::string> split(std::string const& text) {
  std::vector<std::string> tokens;
  kelvane::parseParamValueDictWithBraces(text, tokens);
  return tokens;
}

TEST(BraceGroups, AreSplitFromWords) {
  using Tokens = std::vector<std::string>;
  EXPECT_EQ(split(""), Tokens{});
  EXPECT_EQ(split("a  b"), (Tokens{"a", "b"}));
  EXPECT_EQ(split("{a"), (Tokens{"a"}));
  EXPECT_EQ(split("x {y z} w"), (Tokens{"x", "{y z}", "w"}));
  EXPECT_EQ(split("ab{c}d e"), (Tokens{"{c}", "abd", "e"}));
  EXPECT_EQ(split("a\tb\nc"), (Tokens{"a\tb", "c"}));
  Tokens kept{"old"};
  kelvane::parseParamValueDictWithBraces("new", kept);
  EXPECT_EQ(kept, (Tokens{"old", "new"}));
}

// The scan as it is told, looking each closing brace up on its own.
std::vector<std::string> slow_split(std::string const& text) {
  std::vector<std::string> tokens;
  std::string word;
  for (std::size_t i = 0; i < text.size();) {
    const int close = text[i] == '{' ? kelvane::getClosingBraceIndex(text, static_cast<int>(i)) : -1;
    if (text[i] == ' ' || text[i] == '\n') {
      if (!word.empty()) tokens.push_back(word);
      word.clear();
      ++i;
    } else if (text[i] == '{' && close < 0) {
      ++i;
    } else if (text[i] == '{') {
      tokens.push_back(text.substr(i, static_cast<std::size_t>(close) - i + 1));
      i = static_cast<std::size_t>(close) + 1;
    } else {
      word += text[i++];
    }
  }
  if (!word.empty()) tokens.push_back(word);
  return tokens;
}

TEST(BraceGroups, AreSplitAsByThePlainScan) {
  for (unsigned seed = 1; seed <= 20000; ++seed) {
    test_support::Seeded<std::mt19937> random(seed);
    std::string text;
    for (unsigned i = random() % 24; i > 0; --i) text += "ab {}\n{}\t"[random() % 9];
    ASSERT_EQ(split(text), slow_split(text)) << text;
  }
}

// ------------------------------------------------------------------------------------------------------ options

TEST(Options, AreFoundByTheirNameWithAHyphen) {
  EXPECT_EQ(memory::get({{"-part", "x"}}, "part"), "x");
  try {
    memory::get({{"part", "x"}}, "part");
    FAIL();
  } catch (std::string const& text) {
    EXPECT_EQ(text, "Internal Error: needle 'part' not passed from TCL to C++");
  }
}

TEST(Options, TextsAreReplacedInPlace) {
  std::string text = "aXbXX";
  memory::ReplaceStringInPlace(text, "X", "XX");
  EXPECT_EQ(text, "aXXbXXXX");
  memory::ReplaceStringInPlace(text, "XX", "");
  EXPECT_EQ(text, "ab");
  memory::ReplaceStringInPlace(text, "", "y");
  EXPECT_EQ(text, "ab");
  EXPECT_EQ(memory::intToStr(-2147483647 - 1), "-2147483648");
  std::string long_text;
  for (int i = 0; i < 1000000; ++i) long_text += "c0.";
  memory::ReplaceStringInPlace(long_text, "c0.", "-");  // would take minutes if what stands behind were moved each time
  EXPECT_EQ(long_text, std::string(1000000, '-'));
}

}  // namespace
