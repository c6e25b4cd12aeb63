// Rules in words, form by form and function by function.
#include <gtest/gtest.h>

#include "kdi/cores/Core.h"

namespace {

using kdi::cores::Core;
using kdi::cores::Rule;

// The words of a rule of a core with truths A, B, C, integers N, M, a decimal number D and texts S, T.
std::string words(std::string const& rule, char const* type, Rule::Said said) {
  const std::string list = std::string(type).starts_with("list") ? "range" : "derived";
  const auto described = [](std::string const& name, std::string const& kind, std::string const& preset,
                            std::string const& more = "") {
    return R"({"name": ")" + name + R"(", "type": ")" + kind +
           R"(", "widget": "EDIT", "description": "one", "default": ")" + preset + "\"" + more + "}";
  };
  std::string text =
      R"({"format": 1, "core": "made", "version": "1.0", "device": [{"word": "pads", "type": "integer", "without": "78"},
{"word": "fast", "type": "truth", "without": "1"}], "parameters": [)";
  for (char const* const name : {"A", "B", "C"}) text += described(name, "truth", "0") + ",";
  for (char const* const name : {"N", "M"}) text += described(name, "integer", "1") + ",";
  text += described("D", "decimal", "1.5") + ",";
  for (char const* const name : {"S", "T"}) text += described(name, "text", "x") + ",";
  const std::string own = list == "range" ? std::string(type).substr(8) : type;
  text += described("X", own,
                    own == "text"    ? "x"
                    : own == "truth" ? "0"
                                     : "1",
                    ", \"" + list + "\": \"" + rule + "\"") +
          "]}";
  const auto core = Core::parse(text, "made.json");
  auto const& parameter = core->parameters().back();
  return (list == "range" ? parameter.range : parameter.derived)->in_words(said);
}

struct Case {
  char const* rule;
  char const* words;
};

TEST(RuleWords, OfConditions) {
  for (auto const& [rule, expected] : std::initializer_list<Case>{
           {"true", "always"},
           {"false", "never"},
           {"A", "A is on"},
           {"not A", "A is off"},
           {"A and B and not C", "A is on and B is on and C is off"},
           {"A and (B or C)", "A is on and (B is on or C is on)"},
           {"not (A or B)", "A is off and B is off"},
           {"not (A and B) or C", "A is off or B is off or C is on"},
           {"N == 1", "N is 1"},
           {"not (N == 1)", "N is not 1"},
           {"N != M", "N is not M"},
           {"N < 2 or N > 3", "N is below 2 or N is above 3"},
           {"N <= 2 and N >= 1", "N is at most 2 and N is at least 1"},
           {"not (N < 2) and not (N > 3)", "N is at least 2 and N is at most 3"},
           {"not (N <= 2) or not (N >= 1)", "N is above 2 or N is below 1"},
           {"S != ''", "S is not empty"},
           {"S in ['a', 'b']", "S is 'a' or 'b'"},
           {"S not in ['a', 'b']", "S is not 'a' or 'b'"},
           {"N in numbers(1, M)", "N is among the integers from 1 to M"},
           {"A == B", "A is B"},
           {"A == (N > 1)", "both or neither of (A is on) and (N is above 1)"},
           {"(S == 'x') != (T == 'x')", "one alone of (S is 'x') and (T is 'x')"},
           {"if A then B else C", "(if A is on: B is on; otherwise: C is on)"},
           {"let n = N + 1; n > 2", "n is above 2, where n is N + 1"},
           {"any(n in [1, 2]: n == N)", "for some n among 1 and 2: n is N"},
           {"all(n in [1, 2] if n > 1: n == N)", "for every n among 1 and 2 where n is above 1: n is N"},
           {"not any(n in [1, 2]: n == N)", "not for some n among 1 and 2: n is N"},
           {"any(x in {A,B}: {x} and C)", "for some x of {A,B}: {x} is on and C is on"},
           {"A or all(x in {B,C} if A: not {x})", "A is on or (for every x of {B,C} where A is on: {x} is off)"},
           {"count(x in {A,B,C}: {x}) > 1", "how many x of {A,B,C} have {x} is on is above 1"},
           {"enabled(S)", "S is enabled"},
           {"not enabled(S)", "S is disabled"},
           {"given(S)", "S is given by the user"},
           {"not given(S)", "S is not given by the user"},
           {"user(A)", "the user's A is on"},
           {"not user(A)", "the user's A is off"},
           {"device('fast')", "the device has 'fast'"},
           {"not device('fast')", "the device does not have 'fast'"},
           {"contains(S, 'x')", "S contains 'x'"},
           {"not contains(S, 'x')", "S does not contain 'x'"},
           {"starts_with(S, T)", "S begins with T"},
           {"not starts_with(S, T)", "S does not begin with T"},
           {"ends_with(S, 'x')", "S ends with 'x'"},
           {"not ends_with(S, 'x')", "S does not end with 'x'"},
           {"is_number(S)", "S is a number"},
           {"not is_number(S)", "S is no number"},
           {"get({'a': true}, S, false)", "get({'a': true}, S, false) is so"},
           {"not get({'a': true}, S, false)", "get({'a': true}, S, false) is not so"},
       })
    EXPECT_EQ(words(rule, "truth", Rule::Said::condition), expected) << rule;
}

TEST(RuleWords, OfNumbersAndTexts) {
  EXPECT_EQ(words("A and B", "truth", Rule::Said::value), "whether A is on and B is on");
  for (auto const& [rule, expected] : std::initializer_list<Case>{
           {"if A then 1 else N", "1 if A is on, otherwise N"},
           {"2 * (N + M) - 1", "(2 × (N + M)) − 1"},
           {"abs(N - M) * 2", "(the size of (N − M)) × 2"},
           {"-N", "-N"},
           {"N div 2", "N divided by 2, rounded down"},
           {"N mod 4", "the rest of N divided by 4"},
           {"abs(N)", "the size of N"},
           {"min(N, M)", "the least of N and M"},
           {"max(N, M, 1)", "the greatest of N, M and 1"},
           {"floor(D)", "D rounded down"},
           {"ceil(D)", "D rounded up"},
           {"integer(round(D))", "D rounded"},
           {"integer(round(D, 1) * 10)", "(D rounded to 1 places) × 10"},
           {"integer(quotient(N, M))", "N divided by M, rounded"},
           {"integer(quotient(N, M, 0))", "N divided by M, rounded to 0 places"},
           {"integer(number(S, 1))", "the number in S (else 1)"},
           {"power_of_two(N)", "2 to the power of N"},
           {"length(S)", "the length of S"},
           {"index_of(['a', 'b'], S)", "the place of S in 'a' and 'b'"},
           {"get({'a': 1}, S, 2)", "what {'a': 1} has for S (else 2)"},
           {"[1, 2][N]", "entry N of (1 and 2)"},
           {"count(n in [1, 2]: n == N)", "how many n among 1 and 2 have n is N"},
           {"sum(n in [1, 2]: n)", "the sum of all n among 1 and 2"},
           {"sum(n in [1, 2]: n * 2)", "the sum of n × 2 over all n among 1 and 2"},
           {"user(N)", "the user's N"},
           {"device('pads')", "the device's 'pads'"},
           {"let n = N; n + n", "n + n, where n is N"},
       })
    EXPECT_EQ(words(rule, "integer", Rule::Said::value), expected) << rule;
  for (auto const& [rule, expected] : std::initializer_list<Case>{
           {"hex(N)", "N in hexadecimal"},
           {"hex(N, 4)", "N in hexadecimal of 4 digits"},
           {"text(N)", "N"},
           {"concatenated('x', N)", "'x' followed by N"},
           {"part(S, 0, 2)", "2 characters of S from number 0"},
           {"replace(S, 'a', 'b')", "S with 'b' for 'a'"},
           {"lower(S)", "S in small letters"},
           {"upper(S)", "S in capitals"},
           {"join(['a', S], ' ')", "'a' and S joined by ' '"},
       })
    EXPECT_EQ(words(rule, "text", Rule::Said::value), expected) << rule;
}

TEST(RuleWords, OfLists) {
  EXPECT_EQ(words("if A then [1, 8] else [1, N]", "list of integer", Rule::Said::limits),
            "from 1 to 8 if A is on, otherwise from 1 to N");
  for (auto const& [rule, expected] : std::initializer_list<Case>{
           {"[1, 2, N]", "1, 2 and N"},
           {"numbers(1, M)", "the integers from 1 to M"},
           {"distinct([1, N])", "1 and N, each once"},
           {"sorted([1, N])", "1 and N in order"},
           {"reversed([1, N])", "1 and N from last to first"},
           {"values({'a': 1})", "the values of {'a': 1}"},
           {"list(n in [1, 2] if A: n)", "every n among 1 and 2 where A is on"},
           {"list(n in [1, 2]: n * N)", "n × N for every n among 1 and 2"},
           {"if A then [1] else []", "1 if A is on, otherwise nothing"},
       })
    EXPECT_EQ(words(rule, "list of integer", Rule::Said::value), expected) << rule;
  EXPECT_EQ(words("split(S, ',')", "list of text", Rule::Said::value), "the pieces of S between ','");
  EXPECT_EQ(words("keys({'x': 1})", "list of text", Rule::Said::value), "the keys of {'x': 1}");
}

}  // namespace
