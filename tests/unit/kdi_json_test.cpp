// JSON files: values by name and type, and the place of what is wrong.
#include <gtest/gtest.h>
#include <sys/mman.h>

#include <cmath>
#include <iterator>
#include <map>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "kdi/common/KdiJson.h"
#include "kdi/common/KdiJsonText.h"
#include "tests/support/decimal_comma.h"
#include "tests/support/random.h"
#include "tests/support/scratch.h"

namespace {

kdi::JsonFile file_of(std::string const& text) { return kdi::JsonFile(text, "f"); }

template <class Action>
std::string fault_of(std::string const& text, Action action) {
  try {
    const kdi::JsonFile file = file_of(text);
    action(file.root());
  } catch (kdi::JsonError const& error) {
    return error.what();
  }
  return "no fault";
}
std::string fault_of(std::string const& text) {
  return fault_of(text, [](kdi::JsonValue) {});
}

TEST(JsonFile, AnswersByNameAndType) {
  const kdi::JsonFile file = file_of(
      R"({"t": true, "i": -7, "d": 2.5e1, "s": "\u00e4\n", "l": [1, [], {}], "n": null, "": {"b": 1, "a": 2}})");
  const kdi::JsonValue root = file.root();
  EXPECT_TRUE(root.member("t").boolean());
  EXPECT_EQ(root.member("i").integer(), -7);
  EXPECT_EQ(root.member("i").number(), -7.0);
  EXPECT_EQ(root.member("d").number(), 25.0);
  EXPECT_EQ(root.member("s").text(), "\xC3\xA4\n");
  EXPECT_EQ(root.member("s").choice({"x", "\xC3\xA4\n"}), 1U);
  EXPECT_EQ(root.member("l").items().size(), 3U);
  EXPECT_TRUE(root.member("l").items()[1].items().empty());
  EXPECT_TRUE(root.member("n").is_null());
  EXPECT_FALSE(root.find("x").has_value());
  std::string order;
  for (const kdi::JsonValue value : root.member("").members())
    order += std::string(value.name()) + std::to_string(value.integer());
  EXPECT_EQ(order, "b1a2");
  EXPECT_TRUE(root.is_object() && root.member("l").is_list() && root.member("t").is_boolean());
  EXPECT_TRUE(root.member("i").is_number() && root.member("d").is_number() && root.member("s").is_text());
  EXPECT_FALSE(root.is_list() || root.member("l").is_object() || root.member("s").is_number());
}

TEST(JsonFile, KnowsTheLineOfEveryValue) {
  // each value stands on the line that it tells of; a number at the end of its line is the hard one
  const kdi::JsonFile file = file_of("\n[2,\n3\n,4, [\n5,\r\n6.5\r\n,7], {\"a\"\n:\n10\n}\n,\"13\", 13]\n");
  const auto items = file.root().items();
  EXPECT_EQ(file.root().line(), 2);
  EXPECT_EQ(items[0].line(), 2);
  EXPECT_EQ(items[1].line(), 3);
  EXPECT_EQ(items[2].line(), 4);
  EXPECT_EQ(items[3].items()[0].line(), 5);
  EXPECT_EQ(items[3].items()[1].line(), 6);
  EXPECT_EQ(items[3].items()[2].line(), 7);
  EXPECT_EQ(items[4].line(), 7);
  EXPECT_EQ(items[4].member("a").line(), 9);
  EXPECT_EQ(items[5].line(), 11);
  EXPECT_EQ(items[6].line(), 11);
}

TEST(JsonFile, NamesPlaceAndAcceptedForm) {
  const std::string text = "{\"p\": [\n{\"x\": \"no\"},\n{\"y\": 99, \"z\": 1.5}]}";
  const auto first = [](kdi::JsonValue root) { return root.member("p").items()[0]; };
  const auto second = [](kdi::JsonValue root) { return root.member("p").items()[1]; };
  EXPECT_EQ(fault_of(text, [&](auto r) { first(r).member("x").boolean(); }),
            "f:2: p[0].x: expected true or false, found the text \"no\"");
  EXPECT_EQ(fault_of(text,
                     [&](auto r) {
                       first(r).member("x").choice({"a", "b"});
                     }),
            "f:2: p[0].x: expected one of a, b, found the text \"no\"");
  EXPECT_EQ(fault_of(text, [&](auto r) { second(r).member("y").integer(1, 64); }),
            "f:3: p[1].y: expected an integer from 1 to 64, found the number 99");
  EXPECT_EQ(fault_of(text, [&](auto r) { second(r).member("y").integer(100); }),
            "f:3: p[1].y: expected an integer of at least 100, found the number 99");
  EXPECT_EQ(fault_of(text, [&](auto r) { second(r).member("z").integer(); }),
            "f:3: p[1].z: expected an integer, found the number 1.5");
  EXPECT_EQ(fault_of(text, [&](auto r) { second(r).member("z").number(-0.5, 1.25); }),
            "f:3: p[1].z: expected a number from -0.5 to 1.25, found the number 1.5");
  EXPECT_EQ(fault_of(text, [&](auto r) { second(r).member("z").text(); }),
            "f:3: p[1].z: expected a text, found the number 1.5");
  EXPECT_EQ(fault_of(text, [&](auto r) { second(r).member("w"); }), "f:3: p[1]: expected a field \"w\", found none");
  EXPECT_EQ(fault_of(text,
                     [&](auto r) {
                       second(r).allow_only({"y", "x"});
                     }),
            "f:3: p[1].z: expected one of y, x as the field's name");
  EXPECT_EQ(fault_of(text, [](auto r) { r.items(); }), "f:1: top level: expected a list, found an object");
  EXPECT_EQ(fault_of(text, [](auto r) { r.member("p").find("x"); }), "f:1: p: expected an object, found a list");
  EXPECT_EQ(fault_of("[null]", [](auto r) { r.items()[0].refuse("something"); }),
            "f:1: [0]: expected something, found null");
}

TEST(JsonFile, IsRefusedWhenItIsNoJson) {
  EXPECT_EQ(fault_of(""),
            "f:1: top level: expected JSON, found a syntax error while parsing value - unexpected end of "
            "input; expected '[', '{', or a literal");
  EXPECT_EQ(fault_of("[1,\n2,\n]").substr(0, 36), "f:3: top level: expected JSON, found");
  EXPECT_EQ(fault_of("{\"a\":\n{\"b\": [1,\n\n2 3]}}").substr(0, 30), "f:4: a.b: expected JSON, found");
  for (std::string const text : {"// a\n1", "[1] 2", "{'a': 1}", "[01]", "[1.]", "[+1]", "nul", "\"\xFF\"", "\"\n\"",
                                 "[1e999]", "{\"a\" 1}", "{1: 2}", "NaN", "[", "{", "\"", "[\"\\ud800\"]", "/* */ 1"})
    EXPECT_NE(fault_of(text).find("expected JSON, found a"), std::string::npos) << text << " gave " << fault_of(text);
  EXPECT_EQ(fault_of(std::string("[\0]", 3)).substr(0, 5), "f:1: ");
}

TEST(JsonFile, IsRefusedWhenANameStandsTwice) {
  EXPECT_EQ(fault_of("{\"b\": 1,\n\"a\": {},\n\"b\": 2}"),
            "f:3: b: expected each name once, found it on line 1 before");
}

TEST(JsonFile, ReadsIntegersToTheLastDigit) {
  const kdi::JsonFile file = file_of("[9223372036854775807, -9223372036854775808, 9223372036854775808, 1e3, -0, 5.0]");
  const auto items = file.root().items();
  EXPECT_EQ(items[0].integer(), INT64_MAX);
  EXPECT_EQ(items[1].integer(), INT64_MIN);
  EXPECT_THROW(items[2].integer(), kdi::JsonError);
  EXPECT_EQ(items[2].number(), 9223372036854775808.0);
  EXPECT_THROW(items[3].integer(), kdi::JsonError);
  EXPECT_EQ(items[4].integer(), 0);
  EXPECT_THROW(items[5].integer(), kdi::JsonError);
}

TEST(JsonFile, ShowsStrangeTextsOnOneShortLine) {
  const std::string text = "[\"a\\nb" + std::string(54, 'x') + "\\u00e4\\u00e4\\u00e4tail\"]";
  EXPECT_EQ(fault_of(text, [](auto r) { r.items()[0].integer(); }),
            "f:1: [0]: expected an integer, found the text \"a?b" + std::string(54, 'x') + "\xC3\xA4...\"");
}

TEST(JsonFile, ABadFileIsNotRepeatedInItsError) {
  const std::string much(300'000, 'x');
  for (std::string const& text :
       {"[\"" + much, "[tru" + much, "{\"" + much + "\": 1}", "{\"" + much + "\": " + much, "\"" + much + "\"",
        std::string(much.size(), '[') + "x", "[" + std::string(much.size(), '1') + "]"}) {
    const std::string fault = fault_of(text, [](auto r) { r.allow_only({"name"}); });
    EXPECT_LT(fault.size(), 400U) << fault.substr(0, 1000);
    EXPECT_TRUE(fault.starts_with("f:1: ")) << fault.substr(0, 1000);
  }
}

TEST(JsonFile, MayBeNestedDeeply) {
  constexpr int kDeep = 1000000;
  const kdi::JsonFile file = file_of(std::string(kDeep, '[') + std::string(kDeep, ']'));
  kdi::JsonValue value = file.root();
  int depth = 1;
  for (; !value.items().empty(); value = value.items()[0]) ++depth;
  EXPECT_EQ(depth, kDeep);
  EXPECT_NE(fault_of(std::string(kDeep, '[')), "no fault");
}

TEST(JsonFile, IsReadFromDisk) {
  const Scratch scratch;
  const std::string path = scratch.file("a.json", "\xEF\xBB\xBF{\"a\":\n[]}");
  kdi::JsonFile file(path);
  kdi::JsonFile moved = std::move(file);
  EXPECT_EQ(moved.root().member("a").place(), path + ":2: a");
  EXPECT_THROW(kdi::JsonFile(scratch.path("b.json")), kdi::FileError);
  EXPECT_THROW(kdi::JsonFile(scratch.folder()), kdi::FileError);
  EXPECT_THROW(kdi::JsonFile(path, 5), kdi::FileError);
}

TEST(JsonFile, ReadsNumbersAlikeUnderADecimalComma) {
  test_support::Seeded<std::mt19937_64> random(7);
  std::vector<double> values;
  std::ostringstream text;
  text.imbue(std::locale::classic());
  text.precision(17);
  text << "[0.5";
  for (int i = 0; i < 1000; ++i) {
    values.push_back(std::ldexp(static_cast<double>(random() >> 11U), static_cast<int>(random() % 200) - 150));
    text << "," << std::scientific << values.back();
  }
  text << "]";
  const DecimalComma comma;
  const auto check = [&] {
    const kdi::JsonFile file = file_of(text.str());
    const auto items = file.root().items();
    for (std::size_t i = 0; i < values.size(); ++i) ASSERT_EQ(items[i + 1].number(), values[i]);
  };
  check();
  EXPECT_EQ(fault_of("[1234567.5]", [](auto r) { r.items()[0].number(0.25, 1500.5); }),
            "f:1: [0]: expected a number from 0.25 to 1500.5, found the number 1234567.5");
  EXPECT_NE(fault_of("[1,5.5,]"), "no fault");
  EXPECT_STREQ(std::localeconv()->decimal_point, ",");
}

// Texts stay where the file has them, those with escapes in front of their closing quote.
TEST(JsonFile, TextsWithEscapesLeaveWhatStandsRoundThem) {
  const kdi::JsonFile file = file_of(
      "{\"\\u0061\\n\\n\": \"\\u0000\\n\\ud834\\udd1e\\\\\", \"plain\": [\"\", \"\\t\", \"x\"],\n"
      " \"q\\\"\": \"\\\"\"}");
  const kdi::JsonValue root = file.root();
  ASSERT_EQ(root.members().size(), 3U);
  EXPECT_EQ(root.members()[0].name(), "a\n\n");
  EXPECT_EQ(root.member("a\n\n").text(), std::string_view("\0\n\xF0\x9D\x84\x9E\\", 7));
  const kdi::JsonRange texts = root.member("plain").items();
  EXPECT_EQ(texts[0].text(), "");
  EXPECT_EQ(texts[1].text(), "\t");
  EXPECT_EQ(texts[2].text(), "x");
  EXPECT_EQ(root.member("plain").line(), 1);
  EXPECT_EQ(root.member("q\"").text(), "\"");
  EXPECT_EQ(root.member("q\"").line(), 2);  // breaks that were escaped are none of the file
}

// Random trees, written and read back, against the trees themselves.
TEST(JsonFile, ReadsBackWhatWasWritten) {
  constexpr int kRounds = 200;
  test_support::Random random(27);
  for (int round = 0; round < kRounds; ++round) {
    const auto text = [&] {
      constexpr std::string_view kCharacters[] = {"a", "b", "\n", "\"", "\\", "\xC3\xA4", std::string_view("\0", 1)};
      std::string made;
      for (std::size_t i = random.below(6); i > 0; --i) made += kCharacters[random.below(std::size(kCharacters))];
      return made;
    };
    std::map<std::string, std::vector<std::string>> lists;
    int line = 1;
    std::map<std::string, int> lines;
    std::string written = "{";
    for (std::size_t i = random.below(30); i > 0; --i) {
      const std::string name = text();
      if (lists.contains(name)) continue;
      written += lists.empty() ? "" : ",";
      if (random.below(2) == 0) {
        written += '\n';
        ++line;
      }
      lines[name] = line;
      kdi::text::append_json_text(written, name);
      written += ": [";
      std::vector<std::string>& list = lists[name];
      for (std::size_t j = random.below(4); j > 0; --j) {
        list.push_back(text());
        kdi::text::append_json_text(written += list.size() > 1 ? "," : "", list.back());
      }
      written += "]";
    }
    const kdi::JsonFile file = file_of(written + "}");
    ASSERT_EQ(file.root().members().size(), lists.size()) << written;
    for (auto const& [name, list] : lists) {
      const kdi::JsonValue value = file.root().member(name);
      EXPECT_EQ(value.name(), name);
      EXPECT_EQ(value.line(), lines.at(name)) << written;
      ASSERT_EQ(value.items().size(), list.size()) << written;
      for (std::size_t i = 0; i < list.size(); ++i) EXPECT_EQ(value.items()[i].text(), list[i]);
    }
    EXPECT_FALSE(file.root().find("none").has_value());
  }
}

// Its values are counted in 32 bits. No such text is in memory: it is refused before any of it is looked at.
TEST(JsonFile, TextsOfMoreThanFourGibibytesAreRefused) {
  constexpr std::size_t kBytes = (std::size_t{1} << 32U) + 1;
  void* const bytes = ::mmap(nullptr, kBytes, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  ASSERT_NE(bytes, MAP_FAILED);
  try {
    const kdi::JsonFile file(std::string_view(static_cast<char const*>(bytes), kBytes), "huge.json");
    ADD_FAILURE();
  } catch (kdi::JsonError const& error) {
    EXPECT_STREQ(error.what(), "huge.json: has more than 4 GiB");
  }
  ::munmap(bytes, kBytes);
}

}  // namespace
