// The form of the command table's files: what they may leave out and share, and how a fault in them is told.
#include "host/kdish/command_reader.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>

#include "host/kdish/command_table.h"
#include "host/kdish/help.h"
#include "host/kdish/reference.h"
#include "kdi/common/KdiFile.h"
#include "kdi/common/KdiJson.h"
#include "tests/support/golden.h"
#include "tests/support/places.h"
#include "tests/support/scratch.h"

namespace {

using kdish::Command;
using kdish::Shape;
using kdish::Table;
using Texts = std::vector<std::string>;

constexpr char const* kHead = R"({"format": 2, "title": "T", "summary": "s", "library": "l", )";
// What no entry does without.
constexpr char const* kWhole =
    R"("summary": "s", "result": "r", "shape": "text", "example": {"script": "a", "result": ""})";

std::string entry(std::string const& name, std::string const& fields = {}) {
  return "\"" + name + "\": {" + fields + (fields.empty() ? "" : ", ") + kWhole + "}";
}
std::string file_of(std::string const& commands, std::string const& before = {}) {
  return kHead + before + (before.empty() ? "" : ", ") + "\"commands\": {" + commands + "}}";
}

std::unique_ptr<Table> table_of(std::string const& text) {
  const Scratch folder;
  folder.file("some.json", text);
  return std::make_unique<Table>(Texts{folder.folder()});
}

std::string fault_of(std::string const& text) {
  const Scratch folder;
  folder.file("some.json", text);
  try {
    const Table table({folder.folder()});
  } catch (kdi::JsonError const& error) {
    return std::string(error.what()).substr(folder.folder().size() + 1);
  }
  return "none";
}

// ------------------------------------------------------------------------------------------------ files

TEST(CommandFiles, AFileIsAFamily) {
  const auto table = table_of(file_of(entry("n::a", R"("names": ["n::a", "m::a"],
    "words": [{"name": "w", "type": "part", "meaning": "m", "optional": true, "repeated": true}],
    "options": [{"name": "-o", "type": "text", "meaning": "m", "required": true},
                {"name": "-f", "type": "flag", "meaning": "m"}])")));
  ASSERT_NE(table->command("::m::a"), nullptr);
  EXPECT_EQ(table->command("m::a"), table->command("n::a"));
  EXPECT_EQ(table->command("n::a")->usage(), "-o value ?w ...? ?-f?");
  EXPECT_EQ(table->command("n::a")->page, table->page("some"));
  EXPECT_EQ(table->page("some")->family, table->family("some"));
  EXPECT_EQ(table->command("a"), nullptr);
}

TEST(CommandFiles, TheFirstFolderWithAFileCounts) {
  const Scratch near;
  const Scratch far;
  near.file("f.json", file_of(entry("near")));
  far.file("f.json", file_of(entry("far")));
  far.file("g.json", file_of(entry("other")));
  const Table table({near.folder(), far.folder()});
  EXPECT_NE(table.command("near"), nullptr);
  EXPECT_EQ(table.command("far"), nullptr);
  EXPECT_NE(table.command("other"), nullptr);
  try {
    const Table none({near.path("nothing")});
    ADD_FAILURE() << "a folder that is not there";
  } catch (kdi::FileError const& error) {
    EXPECT_EQ(error.what(), near.path("nothing") + ": is no directory");
  }
}

TEST(CommandFiles, AFamilyMayHavePages) {
  const auto table = table_of(std::string(kHead) + R"("defaults": {"wrong_count": "of all"}, "pages": {
    "one": {"title": "O", "summary": "s", "commands": {)" +
                              entry("a") + R"(}},
    "two": {"title": "T", "summary": "s", "defaults": {"wrong_count": "of two"}, "commands": {)" +
                              entry("b") + "}}}}");
  ASSERT_NE(table->page("some/two"), nullptr);
  EXPECT_EQ(table->page("some"), nullptr);
  EXPECT_EQ(table->command("a")->page, table->page("some/one"));
  EXPECT_EQ(table->command("a")->wrong_count_text("a"), "of all");
  EXPECT_EQ(table->command("b")->wrong_count_text("b"), "of two");
}

// ------------------------------------------------------------------------------------------------ names

TEST(CommandNames, AreMadeFromTheFilesWaysOfNaming) {
  const auto table = table_of(file_of(entry("x") + ", " + entry("y", R"("naming": "one")"),
                                      R"("naming": {"both": ["v1::*", "v2_*_end"], "one": ["v2_*_end"]},
                                         "defaults": {"naming": "both"})"));
  EXPECT_EQ(table->command("v1::x")->names, (Texts{"v1::x", "v2_x_end"}));
  EXPECT_EQ(table->command("v2_x_end")->base, "x");
  EXPECT_EQ(table->command("v2_y_end")->names, Texts{"v2_y_end"});
  EXPECT_EQ(table->commands().size(), 3U);
}

TEST(CommandNames, TheWordsOfACallAreOneElement) {
  const auto table = table_of(file_of(entry("x", R"("wrong_count": "{bad words} {words}")")));
  Command const& command = *table->command("x");
  EXPECT_EQ(command.wrong_count_text("x"), "{bad words} x");
  EXPECT_EQ(command.wrong_count_text("x", {"a", "b"}), "{bad words} {x a b}");
  ASSERT_FALSE(command.failures_of("x").empty());
  EXPECT_EQ(command.failures_of("x")[0].text, "{bad words} ");
  EXPECT_EQ(command.failures_of("x")[0].then, "the list of the words of the call");
}

TEST(CommandNames, AreFilledIntoWhatIsRaisedAndRun) {
  const auto table = table_of(file_of(
      R"("x": {"naming": "both", "summary": "s", "words": [{"name": "w", "type": "text", "meaning": "m"}],
               "wrong_count": {"v1::*": "one {base} {3}", "v2_*": "two {name}"}, "result": "r", "shape": "text",
               "example": {"setup": "{name} 0", "script": "{name} 1", "result": "{base} {other}"},
               "errors": [{"when": "w", "text": "{base} fails\n", "script": "{call}"}]})",
      R"("naming": {"both": ["v1::*", "v2_*"]})"));
  Command const& command = *table->command("v1::x");
  EXPECT_EQ(command.wrong_count_text("v1::x", {"a", "b", "c"}), "one x c");
  EXPECT_EQ(command.wrong_count_text("v1::x", {"a", "b"}), "one x ");
  EXPECT_EQ(command.wrong_count_text("v2_x"), "two v2_x");
  EXPECT_EQ(command.example_of("v2_x").setup, "v2_x 0");
  EXPECT_EQ(command.example_of("v2_x").script, "v2_x 1");
  EXPECT_EQ(command.example_of("v2_x").result, "x {other}");
  const auto failures = command.failures_of("v2_x");
  ASSERT_EQ(failures.size(), 2U);
  EXPECT_EQ(failures[0].when, "other than 1 word");
  EXPECT_EQ(failures[1].text, "x fails\n");
  EXPECT_EQ(failures[1].script, "v2_x w1");
  EXPECT_EQ(failures[1].shown().text, "x fails");
  EXPECT_EQ(failures[1].shown().then, "a line feed");
}

// ------------------------------------------------------------------------------------------------ counts

std::string count_of(std::string const& fields) {
  const auto table = table_of(file_of(entry("n::a", fields)));
  Command const& command = *table->command("n::a");
  const kdish::WordCount count = command.word_count();
  return std::to_string(count.least) + " " +
         (count.most == kdish::WordCount::kAny ? "any" : std::to_string(count.most)) +
         (count.in_twos ? " in twos" : "") + " " + command.wrong_count_text("n::a");
}

TEST(CommandCounts, FollowFromWordsAndOptions) {
  EXPECT_EQ(count_of(""), R"(0 0 wrong # args: should be "n::a")");
  const std::string words = R"("words": [{"name": "w", "type": "text", "meaning": "m"},
    {"name": "v", "type": "text", "meaning": "m", "optional": true}])";
  EXPECT_EQ(count_of(words), R"(1 2 wrong # args: should be "n::a w ?v?")");
  EXPECT_EQ(count_of(words + R"(, "surplus": "ignored")"), "1 any n::a : Not enough arguments");
  EXPECT_EQ(count_of(words + R"(, "wrong_count": "{base}!")"), "1 2 n::a!");
  EXPECT_EQ(count_of(R"("words": [{"name": "w", "type": "text", "meaning": "m", "repeated": true}])"),
            R"(1 any wrong # args: should be "n::a w ...")");
  EXPECT_EQ(count_of(R"("options": [{"name": "-o", "type": "text", "meaning": "m", "required": true},
    {"name": "-f", "type": "flag", "meaning": "m"}])"),
            R"(2 3 wrong # args: should be "n::a -o value ?-f?")");
}

TEST(CommandCounts, PairsMayCountWhole) {
  const std::string pairs = R"("words": [{"name": "w", "type": "text", "meaning": "m"},
    {"name": "key", "type": "pairs", "meaning": "m")";
  EXPECT_EQ(count_of(pairs + "}]"), R"(2 any wrong # args: should be "n::a w key value ?key value ...?")");
  EXPECT_EQ(count_of(pairs + R"(, "optional": true}], "odd": "refused")"),
            R"(1 any in twos wrong # args: should be "n::a w ?key value ...?")");
  EXPECT_EQ(count_of(pairs + R"(}], "odd": "refused")"),
            R"(3 any in twos wrong # args: should be "n::a w key value ?key value ...?")");
  const kdish::WordCount count{3, kdish::WordCount::kAny, true};
  EXPECT_TRUE(count.allows(3) && count.allows(5) && !count.allows(2) && !count.allows(4));
  EXPECT_TRUE((kdish::WordCount{1, 2}.allows(2)) && !(kdish::WordCount{1, 2}.allows(3)));
}

// ------------------------------------------------------------------------------------------------ groups

TEST(CommandGroups, AreReadWhereTheyAreNamed) {
  const auto table = table_of(file_of(
      R"("a": {"words": ["two", {"use": "w", "name": "other", "optional": true}], "options": ["-o"],
               "summary": "s", "shape": "truths", "example": {"script": "a", "result": ""},
               "errors": [{"use": "bad", "script": "a x"}], "notes": ["told here", {"use": "told"}]},
         "b": {"words": [{"name": "d", "type": "dict", "meaning": "m", "keys": ["all", {"more": "m"}]}],
               "summary": "s", "shape": {"dict": {"x": "truths", "y?": "truths"}}, "result": "Own.",
               "example": {"script": "b", "result": ""}})",
      R"("groups": {
           "words": {"w": {"type": "text", "meaning": "m", "values": ["p", "q"]},
                     "two": ["w", {"name": "v", "type": "file", "meaning": "m"}]},
           "options": {"-o": {"type": "text", "meaning": "m"}},
           "keys": {"all": ["some", {"k2": "m"}], "some": {"k1": "m"}},
           "shapes": {"truths": {"shape": {"list": "boolean"}, "result": "Truths."}},
           "errors": {"bad": {"when": "it is bad", "text": "bad"}},
           "notes": {"told": "told there"}})"));
  Command const& a = *table->command("a");
  EXPECT_EQ(a.usage(), "w v ?other? ?-o value?");
  EXPECT_EQ(a.words[2].values, (Texts{"p", "q"}));
  EXPECT_EQ(a.result, "Truths.");
  EXPECT_EQ(a.shape.kind, Shape::Kind::list);
  EXPECT_EQ(a.errors.at(0).text + a.errors.at(0).script, "bada x");
  EXPECT_EQ(a.notes, (Texts{"told here", "told there"}));
  Command const& b = *table->command("b");
  EXPECT_EQ(b.result, "Own.");
  EXPECT_EQ(kdish::shape_words(b.shape), R"({"x": [boolean, ...], "y"?: [boolean, ...]})");
  Texts keys;
  for (kdish::Key const& key : b.words.at(0).keys) keys.push_back(key.name);
  EXPECT_EQ(keys, (Texts{"k1", "k2", "more"}));
}

TEST(CommandGroups, OfAnotherFamilyAreNamedWithIt) {
  const Scratch folder;
  folder.file("far.json", file_of(entry("f", R"("words": ["inner"])"), R"("groups": {"words": {
    "inner": {"type": "text", "meaning": "m"}, "outer": ["inner", {"name": "v", "type": "text", "meaning": "m"}]}})"));
  folder.file("near.json", file_of(entry("n", R"("words": ["far/outer"])")));
  EXPECT_EQ(Table({folder.folder()}).command("n")->usage(), "inner v");
}

TEST(CommandGroups, AKeyMayBeOfSomeCommandsOnly) {
  const auto table =
      table_of(file_of(entry("x", R"("naming": "both", "words": ["w"])") + ", " + entry("y", R"("words": ["w"])"),
                       R"("naming": {"both": ["v1::*", "v2::*"]}, "groups": {
        "words": {"w": {"type": "dict", "meaning": "m", "keys": "k"}},
        "keys": {"k": {"all": "m", "new": {"meaning": "m", "only": ["v2::*"]}}}})"));
  std::vector<kdish::Key> const& keys = table->command("v1::x")->words[0].keys;
  ASSERT_EQ(keys.size(), 2U);
  EXPECT_TRUE(keys[0].is_of("v1::x") && keys[0].is_of("v2::x"));
  EXPECT_TRUE(!keys[1].is_of("v1::x") && keys[1].is_of("v2::x"));
  EXPECT_EQ(table->command("y")->words[0].keys.size(), 1U) << "none of y's names has it";
}

// ------------------------------------------------------------------------------------------------ faults

TEST(CommandFaults, NameFileLineAndField) {
  EXPECT_EQ(fault_of(file_of(entry("a"))), "none");
  EXPECT_EQ(fault_of("{\n\"format\": 1}"), "some.json:2: format: expected an integer from 2 to 2, found the number 1");
  EXPECT_EQ(fault_of(file_of("\n" + entry("a", R"("word": [])"))).substr(0, 32), "some.json:2: commands.a.word: ex");
  EXPECT_EQ(fault_of(file_of(entry("a", "\n\"words\": [\n\"nobody\"]"))),
            "some.json:3: commands.a.words[0]: expected a group among the words, found the text \"nobody\"");
  EXPECT_EQ(fault_of(file_of(entry("a", R"("words": ["w"])"),
                             "\"groups\": {\"words\": {\n\"w\": {\"type\": \"texts\", "
                             "\"meaning\": \"m\"}}}"))
                .substr(0, 47),
            "some.json:2: groups.words.w.type: expected one ");
}

// What the reader expected in place of a fault.
std::string expected_in(std::string const& text) {
  const std::string fault = fault_of(text);
  const std::size_t begin = fault.find("expected ");
  if (begin == std::string::npos) return fault;
  const std::size_t from = begin + 9;
  return fault.substr(from, fault.rfind(", found ") - from);
}
std::string expected_in_entry(std::string const& fields, std::string const& before = {}) {
  return expected_in(file_of(entry("a", fields), before));
}

TEST(CommandFaults, AreFoundInWords) {
  const std::string word = R"({"name": "w", "type": "text", "meaning": "m"})";
  const auto words = [](std::string const& items) { return expected_in_entry("\"words\": [" + items + "]"); };
  const auto field = [&](std::string const& type, std::string const& more) {
    return words(R"({"name": "w", "type": ")" + type + R"(", "meaning": "m", )" + more + "}");
  };
  EXPECT_EQ(words(word), "none");
  EXPECT_EQ(words(word + ", " + word), "something that is not there yet");
  EXPECT_EQ(expected_in_entry("\"words\": " + word), "a list");
  EXPECT_EQ(words(R"({"name": "w", "type": "flag", "meaning": "m"})"), "a type of words; flags are options");
  EXPECT_EQ(words(R"({"name": "w", "type": "text"})"), "a field \"meaning\"");
  EXPECT_EQ(words(R"({"type": "text", "meaning": "m"})"), "a field \"name\"");
  EXPECT_EQ(words(R"({"name": "v", "type": "pairs", "meaning": "m"}, )" + word),
            "nothing behind words that stand for all that follow");
  EXPECT_EQ(field("text", R"("keys": {"k": "m"})"), "no keys for this type");
  EXPECT_EQ(field("dict", R"("keys": {"k": ""})"), "words");
  EXPECT_EQ(field("dict", R"("keys": [{"k": "m"}, {"k": "n"}])"), "a key that is not there yet");
  const auto option = [](std::string const& name, std::string const& type) {
    return expected_in_entry(R"("options": [{"name": ")" + name + R"(", "type": ")" + type + R"(", "meaning": "m"}])");
  };
  EXPECT_EQ(option("-o", "text"), "none");
  EXPECT_EQ(option("o", "text"), "a name that begins with -");
  EXPECT_EQ(option("-o", "pairs"), "a type of one value");
}

TEST(CommandFaults, AreFoundInNames) {
  EXPECT_EQ(expected_in_entry(R"("names": [])"), "a command with a name");
  EXPECT_EQ(expected_in_entry(R"("names": ["::a"])"), "names without :: in front");
  EXPECT_EQ(expected_in_entry(R"("names": ["a", "a"])"), "names that have no other entry");
  EXPECT_EQ(expected_in_entry(R"("naming": "none")"), "one of the file's ways of naming");
  EXPECT_EQ(expected_in_entry(R"("naming": "x")", R"("naming": {"x": ["v1"]})"), "a name with * for what differs");
}

TEST(CommandFaults, AreFoundInEntries) {
  EXPECT_EQ(expected_in_entry(R"("surplus": "taken")"), "one of refused, ignored");
  EXPECT_EQ(expected_in_entry(
                R"("odd": "refused", "words": [{"name": "w", "type": "text", "meaning": "m", "optional": true}])"),
            "words of which only names and values may be left out");
  EXPECT_EQ(expected_in_entry(R"("wrong_count": {"b*": "t"})"), "the names of some of the entry's commands");
  EXPECT_EQ(expected_in_entry(R"("wrong_count": {"a": "t", "a*": "t"})"), "names that have no other text");
  EXPECT_EQ(expected_in_entry(R"("names": ["a", "b"], "wrong_count": {"a": "t"})"), "a text for b");
  EXPECT_EQ(expected_in_entry(R"("names": ["a", "b"], "wrong_count": {"a": "t", "b": "u"})"), "none");
  EXPECT_EQ(expected_in_entry("", R"("more": "notes.md")"), "a path that begins with docs/");
  EXPECT_EQ(expected_in_entry("", R"("pages": {})"), "no commands beside pages");
  EXPECT_NE(expected_in_entry("", R"("defaults": {"summary": "s"})"), "none");
}

TEST(CommandFaults, AreFoundInGroups) {
  const auto fault = [](std::string const& words, std::string const& groups) {
    return fault_of(file_of(entry("a", "\"words\": [" + words + "]"), "\"groups\": {" + groups + "}"));
  };
  const std::string word = R"({"type": "text", "meaning": "m"})";
  EXPECT_EQ(fault("\"w\"", "\"words\": {\"w\": " + word + "}"), "none");
  EXPECT_NE(fault("\"w\"", "\"words\": {\"w\": " + word + ", \"v\": " + word + "}").find("a group that a command uses"),
            std::string::npos);
  EXPECT_NE(fault("\"w\"", R"("words": {"w": ["w"]})").find("expected a group that does not lead back to itself"),
            std::string::npos);
  EXPECT_NE(fault(R"({"use": "w", "name": "x"})",
                  "\"words\": {\"w\": [\"v\", \"u\"], \"v\": " + word + ", \"u\": " + word + "}")
                .find("a group of one"),
            std::string::npos);
  EXPECT_NE(fault("\"w\"", "\"word\": {\"w\": " + word + "}"), "none") << "no such kind of group";
  EXPECT_NE(fault("\"gone/w\"", "\"words\": {}").find("a group among the words"), std::string::npos);
  const std::string keyed = R"("words": {"w": {"type": "dict", "meaning": "m", "keys": "k"}}, "keys": )";
  EXPECT_EQ(fault("\"w\"", keyed + R"({"k": {"x": {"meaning": "m", "only": ["a"]}}})"), "none");
  EXPECT_NE(
      fault("\"w\"", keyed + R"({"k": {"x": {"meaning": "m", "only": ["b"]}}})").find("names of commands that have it"),
      std::string::npos);
}

TEST(CommandFaults, AreFoundInShapes) {
  const auto shape = [](std::string const& text) {
    return fault_of(file_of(R"("a": {"summary": "s", "result": "r", "shape": )" + text +
                            R"(, "example": {"script": "a", "result": ""}})"));
  };
  EXPECT_EQ(shape(R"({"dict": {"a?": "integer", "*": {"list": "text"}}})"), "none");
  constexpr char const* kFaults[][2] = {
      {R"("word")", "a group among the shapes"},
      {R"({"dict": {}})", "a part at least"},
      {R"({"list": "text", "tuple": {"a": "text"}})", "one of list, tuple, dict, either"},
      {"{}", "one of list, tuple, dict, either"},
      {R"({"either": ["text"]})", "two shapes at least"},
      {R"({"list": "truths"})", "a group among the shapes"}};
  for (auto const& [wrong, expected] : kFaults)
    EXPECT_NE(shape(wrong).find(std::string("expected ") + expected + ", found"), std::string::npos) << shape(wrong);
}

// ------------------------------------------------------------------------------------------------ a large family

// A made-up family of 62 entries in two versions, most of them with flat names as well: what a large one looks like.
std::string const kPlanner = places::source("tests/support/commands");

TEST(ALargeFamily, IsAFewLinesForACommand) {
  const Table table({kPlanner});
  EXPECT_EQ(table.entries().size(), 62U);
  EXPECT_EQ(table.commands().size(), 145U);
  std::ifstream file(kPlanner + "/planner.json");
  const auto lines = std::count(std::istreambuf_iterator<char>(file), {}, '\n');
  EXPECT_LE(lines, 10 * 62) << "groups and all";
  EXPECT_EQ(table.command("planner_planner_v2_0_select_bytes_upgrade")->names.size(), 2U);
  EXPECT_EQ(table.command("planner::planner_v2_0::period_of_part"), nullptr) << "of the newest version only";
}

TEST(ALargeFamily, IsToldByPages) {
  const Table table({kPlanner});
  const std::string family = kdish::topic_help(table, "planner");
  EXPECT_NE(family.find("\n  planner/lanes     Which group of signals goes into which lane (16 commands)\n"),
            std::string::npos)
      << family;
  const std::string page = kdish::topic_help(table, "planner/instance");
  EXPECT_NE(page.find("\nplanner::planner_v2_0::NAME, planner::planner_v2_1::NAME\n  rename "), std::string::npos)
      << page;
  const std::string command = kdish::topic_help(table, "planner::planner_v2_0::customise");
  EXPECT_NE(command.find("\n  % planner::planner_v2_0::customise m -parameter width\n"), std::string::npos) << command;
  EXPECT_EQ(command.find("-mirrored"), std::string::npos) << "a name of the other version";

  const auto pages = kdish::reference_pages(table);
  EXPECT_EQ(pages.size(), 7U) << "an index, an overview, and five pages";
  std::string const& lanes = pages.at("planner-lanes.md");
  EXPECT_NE(lanes.find("\nNames: those of [`"), std::string::npos) << "a table of names stands on a page once";
}

TEST(ALargeFamily, CountsWordsAsEachVersionDoes) {
  const Table table({kPlanner});
  Command const& clocking = *table.command("planner::planner_v2_1::clocking_parameters");
  EXPECT_EQ(clocking.wrong_count_text("planner::planner_v2_0::clocking_parameters"),
            "clocking_parameters_v2_0: Not enough arguments");
  EXPECT_EQ(clocking.word_count().least, 5U);
  EXPECT_EQ(clocking.word_count().most, kdish::WordCount::kAny);
  EXPECT_TRUE(table.command("planner::planner_v2_0::customise")->word_count().in_twos);
}

// ------------------------------------------------------------------------------------------------ whole texts

TEST(ASmallFamily, IsToldInHelpWordForWord) {
  const Table table({places::source("tests/support/small_table")});
  std::string all = kdish::families_help(table);
  for (std::string topic : {"valve", "valve/setting", "valve/looking", "*all"}) {
    all += "\n% help " + topic + "\n" + kdish::topic_help(table, topic);
  }
  for (auto const& [name, command] : table.commands())
    all += "\n% help " + name + "\n" + kdish::topic_help(table, name);
  test_support::expect_golden("shell/help.txt", all);
}

TEST(ASmallFamily, IsToldInTheReferenceWordForWord) {
  const Table table({places::source("tests/support/small_table")});
  std::string all;
  for (auto const& [name, text] : kdish::reference_pages(table)) all += "==== " + name + "\n" + text;
  test_support::expect_golden("shell/reference.md", all);
}

}  // namespace
