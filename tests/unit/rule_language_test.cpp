// The language of rules: what it takes, what it answers, and what it says of mistakes.
#include <gtest/gtest.h>

#include <map>
#include <thread>

#include "kdi/cores/Rule.h"
#include "platform/cores/rules/code.h"
#include "platform/cores/rules/functions.h"
#include "platform/cores/rules/syntax.h"

namespace {

using namespace kdi::cores;

// Parameters by name, each with a value.
class Parameters : public Scope {
 public:
  Parameters() {
    const std::vector<std::string> modes = {"Single", "Dual Parallel", "Custom"};
    modes_ = modes;
    add("ON", Kind::truth, true);
    add("N", Kind::integer, 7);
    add("FREQ", Kind::decimal, Decimal::of(33333, 3));
    add("MODE", Kind::text, "Single", &modes_);
    add("NAME", Kind::text, "uart");
    add("PADS", *Type::list_of(Kind::integer), Value::list({3, 4, 5}));
    add("LOADS", *Type::dictionary_of(Kind::decimal),
        Value::dictionary({{"a", Decimal::of(15, 1)}, {"b", Decimal(2)}}));
    for (int row = 0; row < 3; ++row) {
      add("ROW" + std::to_string(row) + "_ON", Kind::truth, row != 1);
      add("ROW" + std::to_string(row) + "_MHZ", Kind::decimal, Decimal::of(15 + 10 * row, 1));
    }
    double_ = {"double_of", {Kind::integer}, Kind::integer, [](void* context, std::span<Cell const> arguments) {
                 ++*static_cast<int*>(context);
                 return Value(2 * arguments[0].integer());
               }};
  }

  std::optional<Symbol> symbol(std::string_view name) const override {
    const auto found = symbols_.find(name);
    return found == symbols_.end() ? std::nullopt : std::optional(found->second);
  }
  Function const* function(std::string_view name) const override { return name == "double_of" ? &double_ : nullptr; }
  std::string like(std::string_view name) const override { return name == "MODES" ? "MODE" : ""; }

  std::string value(std::string const& text) const { return run(Rule::compile(text, *this)); }
  std::string message(std::string const& text) const { return run(Rule::compile_template(text, *this)); }
  // The error with its column, from 1.
  std::string error(std::string const& text, std::optional<Type> wanted = std::nullopt) const {
    try {
      Rule::compile(text, *this, wanted);
    } catch (RuleError const& error) {
      return std::to_string(error.offset() + 1) + ": " + error.what();
    }
    return "none";
  }
  std::string fault(std::string const& text) const {
    const Rule rule = Rule::compile(text, *this);
    try {
      Machine().run(rule, slots_);
    } catch (RuleFault const& fault) {
      return fault.what();
    }
    return "none";
  }

  int calls() const { return calls_; }
  std::span<Cell const> slots() const { return slots_; }

 private:
  void add(std::string name, Type type, Value value, std::vector<std::string> const* texts = nullptr) {
    symbols_.emplace(std::move(name), Symbol{type, static_cast<std::uint32_t>(slots_.size()), texts});
    slots_.push_back(value.cell());
    values_.push_back(std::move(value));
  }
  std::string run(Rule const& rule) const { return Machine(&calls_).run(rule, slots_).text(); }

  std::vector<std::string> modes_;
  std::map<std::string, Symbol, std::less<>> symbols_;
  std::vector<Value> values_;
  std::vector<Cell> slots_;
  Function double_;
  mutable int calls_ = 0;
};

TEST(RuleLanguage, AnswersInEveryForm) {
  const Parameters p;
  const std::pair<char const*, char const*> answers[] = {
      {"1 + 2 * 3", "7"},
      {"(1 + 2) * 3", "9"},
      {"7 - 2 - 1", "4"},
      {"-7 div 2", "-4"},
      {"-7 mod 2", "1"},
      {"7 div -2", "-4"},
      {"7 mod -2", "-1"},
      {"FREQ * 3", "99.999"},
      {"FREQ + 1", "34.333"},
      {"quotient(FREQ, 3)", "11"},
      {"quotient(100, 3, 6)", "33.333333"},
      {"0.1 + 0.2 == 0.3", "true"},
      {"ON and N > 5", "true"},
      {"not ON or N == 7", "true"},
      {"not (ON and N == 7)", "false"},
      {"MODE == 'Single'", "true"},
      {"MODE in ['Dual Parallel', 'Custom']", "false"},
      {"N not in PADS", "true"},
      {"'a' in LOADS and 'c' not in LOADS", "true"},
      {"if N > 3 then 'many' else 'few'", "many"},
      {"let n = N + 1; n * n", "64"},
      {"PADS[1]", "4"},
      {"LOADS['a']", "1.5"},
      {"get(LOADS, 'c', 0)", "0"},
      {"[1, 2.5]", "[1, 2.5]"},
      {"PADS + [6]", "[3, 4, 5, 6]"},
      {"{'x': 1, 'y': 2}['y']", "2"},
      {"list(p in PADS if p > 3: p * 10)", "[40, 50]"},
      {"sum(p in PADS: p)", "12"},
      {"sum(l in values(LOADS): l)", "3.5"},
      {"count(p in PADS: p mod 2 == 1)", "2"},
      {"any(p in PADS: p == 4)", "true"},
      {"all(p in PADS: p < 5)", "false"},
      {"all(p in []: false)", "true"},
      {"list(p in PADS: list(q in PADS if q < p: q))", "[[], [3], [3, 4]]"},
      {"double_of(N)", "14"},
      {"'it''s' + ' ' + NAME", "it's uart"},
      {"'a' < 'b'", "true"},
      {"PADS == [3, 4, 5]", "true"},
      {"[] == PADS", "false"},
      {"any(r in {0..2}: ROW{r}_ON)", "true"},
      {"all(r in {0..2}: ROW{r}_ON)", "false"},
      {"all(r in {0..2} if ROW{r}_ON: ROW{r}_MHZ > 1)", "true"},
      {"any(r in {0..2} if ROW{r}_ON: ROW{r}_MHZ > 4)", "false"},
      {"count(r in {0..2}: ROW{r}_ON)", "2"},
      {"count(r in {0,2} if r > 0: ROW{r}_ON)", "1"},
      {"sum(r in {0..2}: ROW{r}_MHZ)", "7.5"},
      {"sum(r in {0..2} if ROW{r}_ON: ROW{r}_MHZ)", "5"},
      {"list(r in {0..2}: ROW{r}_MHZ)", "[1.5, 2.5, 3.5]"},
      {"list(r in {0..2} if ROW{r}_ON: r)", "[0, 2]"},
      {"list(r in {1..1}: ROW{r}_MHZ)", "[2.5]"},
      {"list(side in {ON,MHZ}: side)", "['ON', 'MHZ']"},
      {"list(side in {ROW0,ROW2}: {side}_MHZ)", "[1.5, 3.5]"},
      {"list(a in {0..1}: list(b in {0..1} if a != b: ROW{a}_MHZ - ROW{b}_MHZ))", "[[-1], [1]]"},
      {"any(r in {0..1}: ROW{r}_MHZ > 2) and any(r in {0..1}: {'x': r}['x'] == 1)", "true"},
      {"list(x in {'a': [1, 2]}['a']: x)", "[1, 2]"},
  };
  for (auto const& [text, answer] : answers) EXPECT_EQ(p.value(text), answer) << text;
}

TEST(RuleLanguage, HasFunctions) {
  const Parameters p;
  const std::pair<char const*, char const*> answers[] = {
      {"abs(-3) + abs(2)", "5"},
      {"abs(-2.5)", "2.5"},
      {"ceil(2.1) + ceil(-2.1)", "1"},
      {"floor(2.9) + floor(-2.1)", "-1"},
      {"concatenated(1, ' ', true, ' ', 2.5)", "1 true 2.5"},
      {"contains('abc', 'bc')", "true"},
      {"distinct([3, 1, 3, 2, 1])", "[3, 1, 2]"},
      {"ends_with('abc', 'bc') and not ends_with('abc', 'ab')", "true"},
      {"hex(255)", "ff"},
      {"hex(255, 4)", "00ff"},
      {"index_of(PADS, 5) - index_of(PADS, 9)", "3"},
      {"integer(4.0) + 1", "5"},
      {"is_number('1e3') and not is_number('x')", "true"},
      {"join(['a', 'b'], ', ')", "a, b"},
      {"join([], ', ')", ""},
      {"keys(LOADS)", "['a', 'b']"},
      {"length('abc') + length(PADS) + length(LOADS)", "8"},
      {"lower('AbC') + upper('AbC')", "abcABC"},
      {"max(1, 2.5, -1)", "2.5"},
      {"min(3, 2)", "2"},
      {"number('12.5', 0)", "12.5"},
      {"number('x', 7)", "7"},
      {"numbers(2, 4)", "[2, 3, 4]"},
      {"numbers(4, 2)", "[]"},
      {"part('abcdef', 2, 3)", "cde"},
      {"part('abc', -5, 99)", "abc"},
      {"power_of_two(10)", "1024"},
      {"replace('a-b-c', '-', '+')", "a+b+c"},
      {"replace('abc', '', '+')", "abc"},
      {"reversed(PADS)", "[5, 4, 3]"},
      {"round(2.345, 2)", "2.35"},
      {"round(2.5)", "3"},
      {"sorted(['b', 'a', 'c'])", "['a', 'b', 'c']"},
      {"split('a,b,,c', ',')", "['a', 'b', '', 'c']"},
      {"split('', ',')", "[]"},
      {"starts_with('abc', 'ab')", "true"},
      {"text(2.50)", "2.5"},
      {"values(LOADS)", "[1.5, 2]"},
  };
  std::map<std::string_view, int> used;
  for (auto const& [text, answer] : answers) {
    EXPECT_EQ(p.value(text), answer) << text;
    for (Builtin const& builtin : builtins())
      if (std::string_view(text).find(std::string(builtin.name) + "(") != std::string_view::npos) ++used[builtin.name];
  }
  used["quotient"] = used["get"] = 1;  // above
  for (Builtin const& builtin : builtins()) EXPECT_GT(used[builtin.name], 0) << builtin.name << " is not tried";
}

TEST(RuleLanguage, FunctionsStandByName) {
  for (std::size_t i = 1; i < builtins().size(); ++i) EXPECT_LT(builtins()[i - 1].name, builtins()[i].name);
}

TEST(RuleLanguage, EvaluatesOnlyWhatDecides) {
  const Parameters p;
  EXPECT_EQ(p.value("N == 7 or PADS[99] == 0"), "true");
  EXPECT_EQ(p.value("N == 8 and PADS[99] == 0"), "false");
  EXPECT_EQ(p.value("if ON then 1 else 1 div 0"), "1");
  EXPECT_EQ(p.value("any(p in PADS: p == 3 or 1 div (p - 4) == 0)"), "true");
  const int before = p.calls();
  p.value("not ON and double_of(1) == 2");
  EXPECT_EQ(p.calls(), before);
}

TEST(RuleLanguage, MessagesHoldValues) {
  const Parameters p;
  EXPECT_EQ(p.message("{NAME} needs {N + 1} pads, not {length(PADS)}"), "uart needs 8 pads, not 3");
  EXPECT_EQ(p.message("{{{N}}}"), "{7}");
  EXPECT_EQ(p.message("{if ON then 'a}b' else {'k': '{'}['k']}"), "a}b");
  EXPECT_EQ(p.message(""), "");
  EXPECT_EQ(p.message("plain 'text'"), "plain 'text'");
  for (char const* text : {"{N", "N}", "{}", "{PADS}", "{N}{'}"})
    EXPECT_THROW(Rule::compile_template(text, p), RuleError) << text;
}

TEST(RuleLanguage, MistakesAreToldWithTheirPlace) {
  const Parameters p;
  const std::pair<char const*, char const*> errors[] = {
      {"", "1: expected a value, found the end"},
      {"1 +", "4: expected a value, found the end"},
      {"1 2", "3: expected an operator or the end, found 2"},
      {"(1", "3: expected ), found the end"},
      {"[1, 2", "6: expected ], found the end"},
      {"'open", "1: a text that is not closed"},
      {"1 $ 2", "3: a character that means nothing here"},
      {"1.2.3", "1: expected a number, found 1.2.3"},
      {"99999999999999999999", "1: a number that 64 bits do not hold"},
      {"then", "1: expected a value, found then"},
      {"let if = 1; 2", "5: expected a name, found if"},
      {"let N = 1; N", "1: N is the name of a parameter already"},
      {"let x = 1 x", "11: expected ;, found x"},
      {"if ON then 1", "13: expected else, found the end"},
      {"MODES", "1: unknown name MODES; there is MODE"},
      {"NOWHERE", "1: unknown name NOWHERE"},
      {"nothing_of(1)", "1: unknown function nothing_of"},
      {"N and ON", "1: expected a value of type truth, found one of type integer"},
      {"ON + 1", "6: expected a value of type truth, found one of type integer"},
      {"ON + ON", "4: expected numbers on both sides of +, found values of type truth"},
      {"FREQ div 2", "6: div is for integers; quotient(number, divisor, places) divides decimal numbers"},
      {"-NAME", "2: expected a number, found a value of type text"},
      {"PADS < PADS", "6: values of type list of integer have no order"},
      {"N['a']", "2: expected a list or a dictionary, found a value of type integer"},
      {"PADS['a']", "6: expected a value of type integer, found one of type text"},
      {"1 in 2", "3: expected a list or a dictionary behind in, found a value of type integer"},
      {"'a' in PADS", "5: a value of type text is never in a value of type list of integer"},
      {"1 in LOADS", "1: a key is a text, found a value of type integer"},
      {"[1, 'a']", "5: expected a value of type integer, found one of type text"},
      {"{1: 2}", "2: expected a value of type text, found one of type integer"},
      {"MODE == 'Singel'", "9: MODE is never 'Singel'; it is one of Single, Dual Parallel, Custom"},
      {"'Tripple' != MODE", "1: MODE is never 'Tripple'; it is one of Single, Dual Parallel, Custom"},
      {"MODE in ['Single', 'Dual']", "20: MODE is never 'Dual'; it is one of Single, Dual Parallel, Custom"},
      {"length(1)", "1: expected length(text, list or dictionary), found arguments of types integer"},
      {"length()", "1: expected length(text, list or dictionary), found 0 arguments"},
      {"double_of(1.5)", "11: expected a value of type integer, found one of type decimal"},
      {"double_of()", "1: double_of takes 1 arguments, found 0"},
      {"sum(p in PADS: 'a')", "16: expected a number, found a value of type text"},
      {"all(p in N: true)", "10: expected a list, found a value of type integer"},
      {"list(PADS)", "10: expected in, found )"},
      {"list", "5: expected (, found the end"},
      {"list(1 in PADS: 1)", "6: expected a name for the elements, found 1"},
      {"any(r in {0..3}: ROW{r}_ON)", "18: unknown name ROW3_ON"},
      {"any(r in {3..0}: ROW{r}_ON)", "10: expected a range such as {4..7} of numbers that ascend"},
      {"any(r in {0..999}: true)", "10: expected a pattern of at most 500 names"},
      {"any(N in {0..1}: ON)", "1: N is the name of a parameter already"},
      {"any(r in {0..1}: any(r in {0..1}: ON))", "22: r stands for the rows around already"},
      {"all(r in {0..1}: ROW{r}_MHZ)", "18: expected a value of type truth, found one of type decimal"},
      {"list(r in {a,1}: r)", "18: expected a value of type text, found one of type integer"},
      {"ROW{r}_ON", "4: expected an operator or the end, found {"},
  };
  for (auto const& [text, error] : errors) EXPECT_EQ(p.error(text), error) << text;
  EXPECT_EQ(p.error("N", Kind::truth), "1: expected a value of type truth, found one of type integer");
  EXPECT_EQ(p.error(std::string("1\0 2", 4)), "2: a zero byte");
}

TEST(RuleLanguage, FunctionsTellTheirArguments) {
  const Parameters p;
  for (char const* const usage :
       {"contains(text, part)", "ends_with(text, end)", "get(dictionary, key, default)", "hex(integer, digits?)",
        "index_of(list, value)", "join(list, separator)", "number(text, default)", "numbers(first, last)",
        "part(text, first, count)", "quotient(number, divisor, places?)", "replace(text, search, replacement)",
        "round(number, places?)", "split(text, separator)", "starts_with(text, start)", "text(value)"}) {
    const std::string name = std::string(usage).substr(0, std::string(usage).find('('));
    EXPECT_EQ(p.error(name + "()"), std::string("1: expected ") + usage + ", found 0 arguments");
  }
}

TEST(RuleLanguage, MessagesHaveTheirBracesInPairs) {
  const Parameters p;
  const auto error_of = [&p](std::string const& text) {
    try {
      Rule::compile_template(text, p);
    } catch (RuleError const& error) {
      return std::to_string(error.offset() + 1) + ": " + error.what();
    }
    return std::string("none");
  };
  EXPECT_EQ(error_of("N is {N"), "6: a { without its }");
  EXPECT_EQ(error_of("N is N}"), "7: a } without its {");
  EXPECT_EQ(error_of("N is {{N}}"), "none");
}

// A scope whose only parameter has a number of its own.
class OneParameter : public Scope {
 public:
  explicit OneParameter(std::uint32_t slot) : slot_(slot) {}
  std::optional<Symbol> symbol(std::string_view) const override { return Symbol{Kind::integer, slot_}; }

 private:
  std::uint32_t slot_;
};

TEST(RuleLanguage, NestsAndCountsUpToItsLimits) {
  const Parameters p;
  std::string list = "1", dictionary = "1";
  for (int i = 0; i < 8; ++i) {
    list = "[" + list + "]";
    dictionary = "{'a': " + dictionary + "}";
  }
  EXPECT_EQ(p.error("length(" + list + ")"), "none");
  EXPECT_EQ(p.error("[" + list + "]"), "1: lists are nested too deeply");
  EXPECT_EQ(p.error("list(n in PADS: " + list + ")"), "1: lists are nested too deeply");
  EXPECT_EQ(p.error("length(" + dictionary + ")"), "none");
  EXPECT_EQ(p.error("{'a': " + dictionary + "}"), "1: dictionaries are nested too deeply");
  const auto error_at = [](std::uint32_t slot) {
    try {
      Rule::compile("A", OneParameter(slot));
    } catch (RuleError const& error) {
      return std::string(error.what());
    }
    return std::string("none");
  };
  EXPECT_EQ(error_at((1U << 30) - 1), "none");
  EXPECT_EQ(error_at(1U << 30), "too many parameters");
}

TEST(RuleLanguage, FaultsAreTold) {
  const Parameters p;
  const std::pair<char const*, char const*> faults[] = {
      {"1 div (N - 7)", "division by zero"},
      {"1 mod (N - 7)", "division by zero"},
      {"quotient(1, N - 7)", "division by zero"},
      {"9223372036854775807 + N", "a number too large"},
      {"-9223372036854775807 - N", "a number too large"},
      {"9223372036854775807 * N", "a number too large"},
      {"9223372036854775807.0 * N", "number too large or too fine"},
      {"PADS[3]", "no element 3 in a list of 3"},
      {"PADS[-1]", "no element -1 in a list of 3"},
      {"LOADS['c']", "no key 'c'"},
      {"integer(FREQ)", "33.333 is no integer"},
      {"round(FREQ, 19)", "places are from 0 to 18"},
      {"hex(-1)", "no such hexadecimal number"},
      {"power_of_two(63)", "a power of two from 0 to 62"},
      {"split('a', '')", "an empty separator"},
      {"numbers(1, 1000000)", "a list grows too long"},
  };
  for (auto const& [text, fault] : faults) EXPECT_EQ(p.fault(text), fault) << text;
}

TEST(RuleLanguage, HostileRulesEnd) {
  const Parameters p;
  const auto many = [](int count, std::string const& text) {
    std::string all;
    for (int i = 0; i < count; ++i) all += text;
    return all;
  };
  EXPECT_EQ(p.error(many(10000, "(") + "1" + many(10000, ")")).substr(0, 20), "201: nested too deep");
  EXPECT_EQ(p.error(many(10000, "not ") + "ON"), "801: nested too deeply");
  EXPECT_EQ(p.error(many(10000, "-") + "1").substr(5), "nested too deeply");
  EXPECT_EQ(p.error("1" + many(10000, " + 1")).find("nested too deeply") != std::string::npos, true);
  EXPECT_EQ(p.error(many(70000, " ")), "65537: longer than 65536 bytes");
  std::string nested = "ON";
  for (int i = 0; i < 60; ++i) nested = "any(r" + std::to_string(i) + " in {0..0}: " + nested + ")";
  const std::string error = p.error(nested);
  EXPECT_EQ(error.substr(error.find(' ') + 1), "too many rows");
  EXPECT_EQ(p.value("ON" + many(8000, " and ON")), "true");
  const std::string long_list = "let l = numbers(1, 10000); ";
  EXPECT_EQ(p.fault(long_list + "count(a in l: any(b in l: a + b == 0))"), "an evaluation takes too many steps");
  EXPECT_EQ(p.fault(long_list + "count(a in l: -a in l)"), "an evaluation takes too many steps");
  std::string doubled = "let t0 = 'abcdefghijklmnop'; ";
  for (int i = 0; i < 20; ++i) {
    const std::string before = "t" + std::to_string(i);
    doubled += "let t" + std::to_string(i + 1) + " = " + before + " + " + before + "; ";
  }
  EXPECT_EQ(p.fault(doubled + "t20"), "a text grows too long");
  EXPECT_EQ(
      p.fault("let t = join(list(n in numbers(1, 30000): 'abcdefgh'), ''); length(list(n in numbers(1, 1000): t + t))"),
      "an evaluation takes too much memory");
}

TEST(RuleLanguage, TellsWhatARuleReads) {
  const Parameters p;
  const Rule rule = Rule::compile("FREQ > 1 and (ON or ON) and any(p in PADS: p == N)", p);
  EXPECT_EQ(std::vector<std::uint32_t>(rule.reads().begin(), rule.reads().end()),
            (std::vector<std::uint32_t>{0, 1, 2, 5}));
  EXPECT_TRUE(Rule::compile("1 + 1", p).reads().empty());
}

TEST(RuleLanguage, WritesRulesPlainly) {
  const Parameters p;
  EXPECT_EQ(Rule::compile(" ( ( ON )and( N>3 ) )or(not(ON)) ", p).written(), "ON and N > 3 or not ON");
  EXPECT_EQ(Rule::compile("(1-(2-3))*-(4)", p).written(), "(1 - (2 - 3)) * -4");
  EXPECT_EQ(Rule::compile("not(N not in PADS)", p).written(), "not not N in PADS");
  EXPECT_EQ(Rule::compile("4.0 + FREQ", p).written(), "4.0 + FREQ");
  EXPECT_EQ(Rule::compile("not(any(r in {0..2}if(ROW{r}_ON):ROW{r}_MHZ>r))", p).written(),
            "not any(r in {0..2} if ROW{r}_ON: ROW{r}_MHZ > r)");
  EXPECT_EQ(Rule::compile("sum(a in {0,2}: sum(b in {1..2}: ROW{a}_MHZ*ROW{b}_MHZ))", p).written(),
            "sum(a in {0,2}: sum(b in {1..2}: ROW{a}_MHZ * ROW{b}_MHZ))");
}

// A rule that says of one parameter what may be said of it must not be taken for right of another.
TEST(RuleLanguage, RulesOfOneShapeAreCheckedEach) {
  const std::vector<std::string> gears = {"Low", "High"}, doors = {"Open", "Shut", "High"};
  class TwoTexts : public Scope {
   public:
    TwoTexts(std::vector<std::string> const& gears, std::vector<std::string> const& doors)
        : gear_{Kind::text, 0, &gears}, door_{Kind::text, 1, &doors} {}
    std::optional<Symbol> symbol(std::string_view name) const override {
      if (name == "GEAR") return gear_;
      return name == "DOOR" ? std::optional(door_) : std::nullopt;
    }
    std::optional<Symbol> aspect(std::string_view aspect, std::string_view name) const override {
      if (aspect == "given") return Symbol{Kind::truth, name == "GEAR" ? 2U : 3U};
      if (aspect == "device" && name == "gears") return Symbol{Kind::integer, 4};
      return std::nullopt;
    }

   private:
    Symbol gear_, door_;
  };
  const TwoTexts scope(gears, doors);
  Compiler compiler;
  const auto told = [&](std::string const& text) {
    try {
      return "reads " + std::to_string(Rule::compile(text, scope, Kind::truth, compiler).reads().back());
    } catch (RuleError const& error) {
      return std::string(error.what());
    }
  };
  EXPECT_EQ(told("GEAR == 'High'"), "reads 0");
  EXPECT_EQ(told("DOOR == 'High'"), "reads 1");
  EXPECT_EQ(told("GEAR in ['Low', 'High']"), "reads 0");
  EXPECT_EQ(told("DOOR in ['Low', 'High']"), "DOOR is never 'Low'; it is one of Open, Shut, High");
  EXPECT_EQ(told("GEAR == 'Low'"), "reads 0");
  EXPECT_EQ(told("DOOR == 'Low'"), "DOOR is never 'Low'; it is one of Open, Shut, High");
  EXPECT_EQ(told("given(GEAR)"), "reads 2");
  EXPECT_EQ(told("given(DOOR)"), "reads 3");
  EXPECT_EQ(told("given((GEAR))"), "reads 2");
  EXPECT_EQ(told("given((DOOR))"), "reads 3");
  EXPECT_EQ(told("let GEARS = 2; GEARS == 2 and DOOR == 'Shut'"), "reads 1");
  EXPECT_EQ(told("let GEAR = 2; GEAR == 2"), "GEAR is the name of a parameter already");
  EXPECT_EQ(told("device('gears') > 3"), "reads 4");
  EXPECT_EQ(told("device('doors') > 3"), "device('word') is for a word that is declared");
  EXPECT_EQ(told("device('gea''rs') > 3"), "device('word') is for a word that is declared");
  EXPECT_EQ(told("GEAR == DOOR"), "reads 1");
  EXPECT_EQ(told("DOOR == DOOR"), "reads 1");
  EXPECT_EQ(told("DOOR ? DOOR"), "a character that means nothing here");
}

TEST(RuleLanguage, OneRuleServesManyThreads) {
  const Parameters p;
  const Rule rule = Rule::compile("list(p in PADS: concatenated(NAME, ' ', p + N))", p);
  std::vector<std::thread> threads;
  std::vector<int> right(4);
  for (int& count : right)
    threads.emplace_back([&] {
      Machine machine;
      for (int i = 0; i < 500; ++i) count += machine.run(rule, p.slots()).text() == "['uart 10', 'uart 11', 'uart 12']";
    });
  for (std::thread& thread : threads) thread.join();
  for (const int count : right) EXPECT_EQ(count, 500);
}

TEST(RuleTypes, AreReadAndWritten) {
  for (char const* text : {"truth", "integer", "decimal", "text", "list of integer", "dictionary of list of text",
                           "list of dictionary of decimal"})
    EXPECT_EQ(Type::read(text)->text(), text);
  std::string deep = "text";
  for (int i = 0; i < Type::kMostDepth; ++i) deep = "list of " + deep;
  EXPECT_TRUE(Type::read(deep));
  for (std::string const& text : {std::string(), std::string("nothing"), std::string("list"), std::string("list of"),
                                  "list of " + deep, std::string(100000, 'l')})
    EXPECT_FALSE(Type::read(text)) << text;
}

TEST(RuleTypes, Fit) {
  const Type integers = *Type::list_of(Kind::integer), decimals = *Type::list_of(Kind::decimal);
  EXPECT_TRUE(integers.fits(decimals));
  EXPECT_FALSE(decimals.fits(integers));
  EXPECT_TRUE(Type::list_of(Type())->fits(*Type::list_of(integers)));
  EXPECT_FALSE(Type(Kind::text).fits(Kind::decimal));
  EXPECT_FALSE(Type::common(integers, *Type::dictionary_of(Kind::integer)));
  EXPECT_EQ(Type::common(integers, decimals), decimals);
}

}  // namespace
