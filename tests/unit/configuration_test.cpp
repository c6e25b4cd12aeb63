// Composite parameters and sub-cores: text and members are one state, whichever way it is set.
#include "kdi/cores/Configuration.h"

#include <gtest/gtest.h>
#include <tcl.h>

#include <algorithm>
#include <random>

#include "kdi/common/KdiJson.h"
#include "platform/cores/state/tcl_words.h"
#include "tests/support/random.h"

namespace {

using namespace kdi::cores;

// ------------------------------------------------------------------------------------------------------------- words

std::optional<std::vector<std::string>> words_by_tcl(std::string const& list) {
  int count = 0;
  char const** words = nullptr;
  if (Tcl_SplitList(nullptr, list.c_str(), &count, &words) != TCL_OK) return std::nullopt;
  std::vector<std::string> copies(words, words + count);
  Tcl_Free(reinterpret_cast<char*>(words));
  return copies;
}

std::string random_text(std::mt19937& random, std::string_view characters, std::size_t most) {
  std::string text;
  for (std::size_t n = random() % (most + 1); n > 0; --n) text += characters[random() % characters.size()];
  return text;
}

TEST(TclWords, AreReadAsTclReadsThem) {
  test_support::Seeded<std::mt19937> random(1);
  int lists = 0, broken = 0;
  for (int i = 0; i < 20000; ++i) {
    const std::string text = random_text(random, "ab {} {}\"\t\n;$[]#", 12);
    const auto words = words_of(text);
    ASSERT_EQ(words, words_by_tcl(text)) << text;
    (words ? lists : broken) += 1;
  }
  EXPECT_GT(lists, 1000);
  EXPECT_GT(broken, 1000);
  EXPECT_EQ(words_of("a\\ b \\{c d\\n"), (std::vector<std::string>{"a b", "{c", "d\n"}));
}

TEST(TclWords, ComeBackAsTheyWere) {
  test_support::Seeded<std::mt19937> random(2);
  for (int i = 0; i < 20000; ++i) {
    std::vector<std::string> words;
    std::string list;
    for (std::size_t n = random() % 4; n > 0; --n) {
      words.push_back(random_text(random, "ab {}\"\\\t\n;$[]#", 8));
      list += (list.empty() ? "" : " ") + as_word(words.back());
    }
    ASSERT_EQ(words_of(list), words) << list;
    ASSERT_EQ(words_by_tcl(list), words) << list;
  }
}

// -------------------------------------------------------------------------------------------------------- composites

std::string parameter(std::string const& name, std::string const& type, std::string const& default_text,
                      std::string const& more = "") {
  return "{\"name\": \"" + name + "\", \"type\": \"" + type +
         "\", \"widget\": \"EDIT\", \"description\": \"d\", \"default\": \"" + default_text + "\"" + more + "}";
}

constexpr int kMembers = 8;

// Members that enable and bound one another, beside what holds them.
std::string description(std::string const& composites, std::string const& more = "") {
  std::string text = R"({"format": 1, "core": "made", "version": "1.0", "parameters": [)" +
                     parameter("ALL", "text", "") + "," + parameter("ALL_INTERNAL", "text", "") + "," +
                     parameter("MEASURED", "text", "") + "," + parameter("SINGLE", "integer", "0") + "," +
                     parameter("P_SUM", "integer", "0", R"(, "derived": "P_A0 + P_A1")");
  for (int i = 0; i < kMembers; ++i) {
    const std::string n = std::to_string(i), before = std::to_string(i - 1);
    text += "," + parameter("P_A" + n, "integer", "1", i == 0 ? "" : R"(, "range": "[0, P_A)" + before + R"( + 9]")");
    text += "," + parameter("P_T" + n, "text", "none", R"(, "skips": true, "enabled": "P_A)" + n + R"( > 2")");
  }
  return text + R"(], "composites": [)" + composites + "]" + more + "}";
}

constexpr char kAll[] = R"({"name": "ALL", "internal": "ALL_INTERNAL", "starts_with": ["P_"]})";
constexpr char kMeasured[] =
    R"({"name": "MEASURED", "members": [{"each": {"n": "{0..7}"}, "parameter": "P_A${n}", "key_word": "supply.${n}.name"}]})";

std::shared_ptr<Core const> none(std::string const&, std::string const&) { return nullptr; }

class Made {
 public:
  explicit Made(Facts const& facts = {}, std::string const& composites = std::string(kAll) + "," + kMeasured)
      : configuration(Core::parse(description(composites), "made.json"), facts, none) {}

  std::vector<std::string> set(std::vector<std::pair<std::string, std::string>> const& values) {
    std::vector<std::pair<Configuration::Place, std::string>> placed;
    for (auto const& [name, value] : values) placed.emplace_back(configuration.find(name).value(), value);
    return configuration.set(placed);
  }
  std::string value(std::string const& name) {
    const auto place = configuration.find(name).value();
    return place.configuration->value(place.number);
  }
  std::vector<std::string> texts() {
    std::vector<std::string> all;
    for (auto const& told : configuration.messages()) all.push_back(told.due.text);
    return all;
  }
  /// Everything that can be seen.
  std::string state() {
    std::string all;
    Instance const& instance = configuration.instance();
    for (std::uint32_t i = 0; i < configuration.core().parameters().size(); ++i)
      all += configuration.core().parameters()[i].name + "=" + configuration.value(i) + "|" + configuration.backup(i) +
             "|" + (instance.is_enabled(i) ? "on" : "off") + "|" + std::string(word_of(instance.origin(i))) + "\n";
    for (std::string const& text : texts()) all += text + "\n";
    return all;
  }

  Configuration configuration;
};

TEST(Composites, TextAndMembersAreOneState) {
  Made made;
  EXPECT_EQ(made.value("ALL"), "");
  EXPECT_EQ(made.set({{"P_A1", "7"}, {"P_T1", "a b"}}),
            (std::vector<std::string>{"P_A1", "P_T1", "ALL", "P_SUM", "P_A2"}));
  EXPECT_EQ(made.value("ALL"), "P_A1 7 P_T1 {a b}");
  const auto moved = made.set({{"ALL", "P_A0 4 P_A1 7"}});
  EXPECT_EQ(made.value("P_T1"), "none");  // what the text does not name is taken back
  EXPECT_EQ(made.value("P_A0"), "4");
  EXPECT_NE(std::find(moved.begin(), moved.end(), "P_T1"), moved.end());
  EXPECT_NE(std::find(moved.begin(), moved.end(), "ALL"), moved.end());
  made.set({{"P_A0", "5"}, {"ALL", "P_A0 4 P_A2 3"}});
  EXPECT_EQ(made.value("ALL"), "P_A0 5 P_A2 3");  // the member that is named alone counts
  made.set({{"ALL", "{P_A0 4} {P_T0 {x y}}"}});
  EXPECT_EQ(made.value("ALL"), "P_A0 4 P_T0 {x y}");
  made.set({{"ALL", "P_A3"}});
  EXPECT_EQ(made.texts(), (std::vector<std::string>{"PARAM P_A3:: is out of range  { 0,10 }"}));
  EXPECT_EQ(made.value("ALL"), "P_A3 {}");
  made.set({{"ALL", ""}});
  EXPECT_TRUE(made.configuration.is_default());
  EXPECT_EQ(made.state(), Made().state());
}

TEST(Composites, WhatIsNoMemberIsKeptAndTold) {
  Made made;
  made.set({{"ALL", "Z 1 P_A0 2 SINGLE 3"}});
  EXPECT_EQ(made.value("ALL"), "P_A0 2 SINGLE 3 Z 1");
  EXPECT_EQ(made.texts(), (std::vector<std::string>{"ALL has no member \"SINGLE\"", "ALL has no member \"Z\""}));
  EXPECT_EQ(made.value("SINGLE"), "0");
  made.set({{"ALL", "P_A0 2"}});
  EXPECT_EQ(made.texts(), std::vector<std::string>());
  made.configuration.take_all_back();
  EXPECT_EQ(made.state(), Made().state());
}

// Nor is anything that is given beside it; and it is told where the text is broken, until the next change.
TEST(Composites, ATextThatIsNoListIsNotTaken) {
  Made made(Facts{{"supply.0.name", "VCC"}});
  made.set({{"P_A0", "5"}, {"P_T0", "x"}});
  const std::string before = made.state();
  const std::string start = "ALL is no list of names and values: ";
  const std::pair<std::string, std::string> broken[] = {
      {"P_A0 {2", "a brace is not closed in the word at byte 5, \"{2\""},
      {"P_A0 2 P_T0 \"a b", "a quote is not closed in the word at byte 12, \"\"a b\""},
      {"P_A0 {2}3 P_T0 y", "no blank stands behind a closing brace or quote in the word at byte 5, \"{2}3 P_T0 y\""},
      {"P_A1 3 MEASURED {VCC \"7}", "in MEASURED: a quote is not closed in the word at byte 4, \"\"7\""}};
  for (auto const& [text, told] : broken) {
    EXPECT_EQ(made.set({{"SINGLE", "4"}, {"ALL", text}, {"P_A1", "2"}}), std::vector<std::string>());
    EXPECT_EQ(made.texts(), std::vector<std::string>{start + told});
    made.configuration.set({});
    EXPECT_EQ(made.state(), before) << text;
  }
  EXPECT_EQ(made.set({{"ALL_INTERNAL", "{"}}), std::vector<std::string>());
  EXPECT_EQ(made.texts().size(), 1u);
  made.set({{"P_A0", "6"}});
  EXPECT_EQ(made.texts(), std::vector<std::string>());
}

// Texts within texts without end are texts of one another no further than one deep.
TEST(Composites, HostileDepthsEnd) {
  Made made;
  std::string text;
  for (int depth = 0; depth < 20000; ++depth) text += depth % 2 == 0 ? "MEASURED {" : "ALL {";
  text += "P_A0 2" + std::string(20000, '}');
  made.set({{"ALL", text}});
  EXPECT_EQ(made.value("P_A0"), "1");
  EXPECT_EQ(made.texts().size(), 1u);
}

TEST(Composites, KeysMayBeTheDevicesOwn) {
  Made made(Facts{{"supply.1.name", "VCC AUX"}, {"supply.0.name", "VCC"}});
  made.set({{"P_A0", "5"}, {"P_A1", "6"}, {"P_A2", "7"}});
  EXPECT_EQ(made.value("MEASURED"), "VCC 5 {VCC AUX} 6");  // the device has no third supply
  made.set({{"MEASURED", "{VCC AUX} 8"}});
  EXPECT_EQ(made.value("ALL"), "P_A1 8 P_A2 7");
  // A composite in the text of another one stands for its members.
  made.set({{"ALL", "MEASURED {VCC 3} P_A2 4"}});
  EXPECT_EQ(made.value("ALL"), "P_A0 3 P_A2 4");
  EXPECT_TRUE(made.texts().empty());
}

TEST(Composites, KeysAreTheDevicesWhereThereIsOne) {
  const std::string composites =
      R"({"name": "MEASURED", "members": [{"each": {"n": "{0..7}"}, "parameter": "P_A${n}", "key_word": "supply.${n}.name", )"
      R"("key": "SUPPLY_${n}"}]})";
  Made without({}, composites);
  without.set({{"P_A1", "3"}, {"MEASURED", "SUPPLY_0 4 VCC 5"}});
  EXPECT_EQ(without.value("MEASURED"), "SUPPLY_0 4 SUPPLY_1 3 VCC 5");
  EXPECT_EQ(without.texts(), (std::vector<std::string>{"MEASURED has no member \"VCC\""}));
  Made with({{"supply.0.name", "VCC"}, {"supply.1.name", "AUX"}}, composites);
  with.set({{"P_A1", "3"}, {"P_A2", "3"}, {"MEASURED", "SUPPLY_0 4 VCC 5"}});
  EXPECT_EQ(with.value("MEASURED"), "AUX 3 SUPPLY_0 4 VCC 5");
  EXPECT_EQ(with.value("P_A0"), "5");
  EXPECT_EQ(with.texts(), (std::vector<std::string>{"MEASURED has no member \"SUPPLY_0\""}));
}

TEST(Composites, AnInternalTextShowsAllValues) {
  Made made;
  made.set({{"P_A0", "5"}, {"P_T0", "x"}});
  const std::string text = made.value("ALL_INTERNAL");
  EXPECT_EQ(text, "P_A0 5 P_A1 1 P_A2 1 P_A3 1 P_A4 1 P_A5 1 P_A6 1 P_A7 1 P_T0 x");
  Made other;
  other.set({{"ALL_INTERNAL", text}});
  EXPECT_EQ(other.state(), made.state());
  other.set({{"ALL_INTERNAL", text}, {"ALL", "P_A0 6"}});  // what the user gives counts
  EXPECT_EQ(other.value("ALL"), "P_A0 6");
}

// What was read may be given back: nothing is given that was not, and what a disabled member was given stays.
TEST(Composites, AnInternalTextThatWasReadChangesNothing) {
  Made made;
  made.set({{"P_A0", "1"}, {"P_A1", "7"}, {"P_T1", "x"}, {"P_T0", "kept"}, {"P_A2", "99"}});
  const std::string before = made.state(), text = made.value("ALL_INTERNAL");
  EXPECT_EQ(made.set({{"ALL_INTERNAL", text}}), std::vector<std::string>());
  EXPECT_EQ(made.state(), before);
  EXPECT_EQ(made.value("ALL"), "P_A0 1 P_A1 7 P_A2 99 P_T0 kept P_T1 x");
  // One value of it changed, one no longer named, one that is its default now.
  const auto change = [&](std::string const& from, std::string const& to) {
    std::string changed = text;
    changed.replace(changed.find(from), from.size(), to);
    made.set({{"ALL_INTERNAL", changed}});
  };
  change("P_A1 7", "P_A1 8");
  EXPECT_EQ(made.value("ALL"), "P_A0 1 P_A1 8 P_A2 99 P_T0 kept P_T1 x");
  change("P_A1 7 ", "");
  EXPECT_EQ(made.value("ALL"), "P_A0 1 P_A2 99 P_T0 kept P_T1 x");
  made.set({{"P_A1", "7"}});
  change("P_A1 7", "P_A1 1");
  EXPECT_EQ(made.value("ALL"), "P_A0 1 P_A2 99 P_T0 kept P_T1 x");
}

// Members at random, some out of range and some with characters that lists have to quote.
std::vector<std::pair<std::string, std::string>> random_members(std::mt19937& random) {
  std::map<std::string, std::string> members;
  for (std::size_t n = random() % 6; n > 0; --n) {
    const std::string i = std::to_string(random() % kMembers);
    if (random() % 2 == 0)
      members["P_A" + i] = std::to_string(static_cast<int>(random() % 40) - 5);
    else
      members["P_T" + i] = random_text(random, "ab {}\"\\;$", 5);
  }
  return {members.begin(), members.end()};
}

TEST(Composites, ByTextByMembersAndInAnyOrder) {
  test_support::Seeded<std::mt19937> random(3);
  int told = 0;
  for (int round = 0; round < 60; ++round) {
    SCOPED_TRACE(round);
    auto members = random_members(random);
    Made by_members;
    std::shuffle(members.begin(), members.end(), random);
    for (auto const& one : members) by_members.set({one});
    const std::string text = by_members.value("ALL"), state = by_members.state();
    told += static_cast<int>(by_members.texts().size());

    Made by_text;
    by_text.set(random_members(random));  // whatever was before
    by_text.set({{"ALL", text}});
    ASSERT_EQ(by_text.state(), state);
    by_text.set({{"ALL", by_text.value("ALL")}});
    ASSERT_EQ(by_text.state(), state);

    Made at_once;
    std::shuffle(members.begin(), members.end(), random);
    at_once.set(members);
    ASSERT_EQ(at_once.state(), state);
    at_once.configuration.take_all_back();
    ASSERT_EQ(at_once.state(), Made().state());

    // Through the internal text the values in effect are the same, where none was out of range.
    if (!by_members.texts().empty()) continue;
    Made by_internal;
    by_internal.set({{"ALL_INTERNAL", by_members.value("ALL_INTERNAL")}});
    ASSERT_EQ(by_internal.value("ALL_INTERNAL"), by_members.value("ALL_INTERNAL"));
  }
  EXPECT_GT(told, 10);
}

// --------------------------------------------------------------------------------------------------------- sub-cores

std::shared_ptr<Core const> inner(std::string const& name, std::string const& version) {
  EXPECT_EQ(version, "2.0");
  if (name != "inner") return nullptr;
  return Core::parse(R"({"format": 1, "core": "inner", "version": "2.0", "parameters": [)" +
                         parameter("I_A", "integer", "1", R"(, "limits": ["0", "9"], "user_names": ["OLD_A"])") + "," +
                         parameter("I_B", "integer", "0", R"(, "derived": "I_A * 2")") + "]}",
                     "inner.json");
}

constexpr char kSubCores[] = R"(, "sub_cores": [{"name": "inner_0", "core": "inner", "version": "2.0"},
                                             {"name": "inner_1", "core": "inner", "version": "2.0"}])";
constexpr char kOfSubCores[] =
    R"({"name": "ALL", "sub_core": "inner_0"}, {"name": "MEASURED", "internal": "ALL_INTERNAL", "sub_core": "inner_1"})";

TEST(SubCores, AreConfiguredThroughTheirTexts) {
  Configuration whole(Core::parse(description(kOfSubCores, kSubCores), "made.json"), {}, inner);
  const auto at = [&](char const* name) { return whole.find(name).value(); };
  EXPECT_EQ(whole.set({{at("ALL"), "I_A 4"}, {at("MEASURED"), "OLD_A 12"}}),
            (std::vector<std::string>{"I_A", "I_B", "ALL", "MEASURED"}));
  EXPECT_EQ(whole.sub_core("inner_0")->value(0), "4");
  EXPECT_EQ(whole.sub_core("inner_0")->value(1), "8");
  EXPECT_EQ(whole.value(at("MEASURED").number), "I_A 12");
  EXPECT_EQ(whole.value(at("ALL_INTERNAL").number), "I_A 12");
  ASSERT_EQ(whole.messages().size(), 1u);
  EXPECT_EQ(whole.messages()[0].parameter, "I_A");
  EXPECT_EQ(whole.messages()[0].due.text, "PARAM I_A::12 is out of range  { 0,9 }");
  // A parameter of a sub-core is found by its name, and shows in the text.
  EXPECT_EQ(at("CONFIG.OLD_A").configuration, whole.sub_core("inner_0"));
  EXPECT_EQ(whole.set({{at("I_A"), "5"}}), (std::vector<std::string>{"I_A", "I_B", "ALL"}));
  EXPECT_EQ(whole.value(at("ALL").number), "I_A 5");
  EXPECT_EQ(whole.sub_core("none"), nullptr);
  whole.take_all_back();
  EXPECT_TRUE(whole.is_default());
  EXPECT_EQ(whole.value(at("ALL").number), "");
}

// A text with members of the core's own and all of a sub-core's: what both have they are given both, whichever way.
TEST(SubCores, ShareATextWithTheCoresOwn) {
  const auto twin = [](std::string const& name, std::string const&) {
    return Core::parse(R"({"format": 1, "core": ")" + name + R"(", "version": "2.0", "parameters": [)" +
                           parameter("P_A0", "integer", "1", R"(, "limits": ["0", "9"])") + "," +
                           parameter("I_A", "integer", "1",
                                     R"(, "range": "[0, P_A0)"
                                     R"( + 5]")") +
                           "]}",
                       "inner.json");
  };
  const auto core = Core::parse(
      description(R"({"name": "ALL", "internal": "ALL_INTERNAL", "starts_with": ["P_A"], "sub_core": "inner_0"})",
                  R"(, "sub_cores": [{"name": "inner_0", "core": "inner", "version": "2.0"}])"),
      "made.json");
  Configuration whole(core, {}, twin);
  const auto set = [&](std::vector<std::pair<char const*, char const*>> const& values) {
    std::vector<std::pair<Configuration::Place, std::string>> placed;
    for (auto const& [name, value] : values) placed.emplace_back(whole.find(name).value(), value);
    return whole.set(placed);
  };
  const auto value = [&](char const* name) { return whole.value(whole.find(name).value().number); };
  Configuration& inner = *whole.sub_core("inner_0");
  set({{"P_A0", "4"}});
  EXPECT_EQ(inner.value(0), "4");
  EXPECT_EQ(value("ALL"), "P_A0 4");
  set({{"ALL", "I_A 9 P_A0 5 P_A1 3"}});
  EXPECT_EQ(inner.value(0) + inner.value(1) + value("P_A0") + value("P_A1"), "5953");
  whole.set({{{&inner, 0}, "6"}});
  EXPECT_EQ(value("P_A0"), "6");
  EXPECT_EQ(value("ALL"), "I_A 9 P_A0 6 P_A1 3");
  EXPECT_EQ(value("ALL_INTERNAL"), "I_A 9 P_A0 6 P_A1 3 P_A2 1 P_A3 1 P_A4 1 P_A5 1 P_A6 1 P_A7 1");
  EXPECT_EQ(set({{"ALL_INTERNAL", value("ALL_INTERNAL").c_str()}}), std::vector<std::string>());
  const auto copy = whole.copy();
  copy->set({{copy->find("P_A0").value(), "7"}});
  EXPECT_EQ(copy->sub_core("inner_0")->value(0), "7");
  EXPECT_EQ(inner.value(0), "6");
  set({{"ALL", "P_A1 3"}});
  EXPECT_EQ(inner.value(0) + value("P_A0") + value("P_A1"), "113");
  EXPECT_FALSE(inner.instance().given(0));
}

TEST(SubCores, MayBeAnotherOnAnotherDevice) {
  const auto named = [](std::string const& name, std::string const& version) {
    return Core::parse(R"({"format": 1, "core": ")" + name + R"(", "version": ")" + version + R"(", "parameters": []})",
                       "inner.json");
  };
  const auto core =
      Core::parse(description(R"({"name": "ALL", "sub_core": "inner"})",
                              R"(, "sub_cores": [{"name": "inner", "first_of": [)"
                              R"({"core": "one", "version": "2.0"}, {"core": "two", "version": "1.0"}]}])"),
                  "made.json");
  const auto on = [&](Facts const& facts) -> std::string {
    Configuration whole(core, facts, named);
    const auto all = whole.find("ALL").value();
    EXPECT_EQ(whole.value(all.number), "");
    Configuration const* const inner = whole.sub_core("inner");
    return inner == nullptr ? "none" : inner->core().name() + " " + inner->core().version();
  };
  EXPECT_EQ(on({}), "one 2.0");
  EXPECT_EQ(on({{"slr.count", "1"}}), "one 2.0");
  EXPECT_EQ(on({{"cores", "one two"}, {"core.one.versions", "2.0 3.0"}, {"core.two.versions", ""}}), "one 2.0");
  EXPECT_EQ(on({{"cores", "one two"}, {"core.one.versions", "1.0"}, {"core.two.versions", ""}}), "two 1.0");
  EXPECT_EQ(on({{"cores", "two"}, {"core.two.versions", "1.0"}}), "two 1.0");
  EXPECT_EQ(on({{"cores", "three"}, {"core.three.versions", "1.0"}}), "none");
}

TEST(SubCores, HaveToBeThere) {
  const auto core = Core::parse(description(kOfSubCores, kSubCores), "made.json");
  const auto fault = [&](Configuration::Descriptions const& descriptions) -> std::string {
    try {
      Configuration whole(core, {}, descriptions);
    } catch (std::runtime_error const& error) {
      return error.what();
    }
    return "none";
  };
  EXPECT_EQ(fault(none), "made 1.0: its sub-core inner 2.0 has no description");
  EXPECT_EQ(fault([&](std::string const&, std::string const&) { return core; }),
            "made 1.0: sub-cores that are nested without end");
}

TEST(SubCores, SlipsAreToldWithTheirPlace) {
  std::string many;
  for (int i = 0; i <= 100; ++i) many += std::string(i == 0 ? "" : ", ") + R"({"core": "c", "version": "1"})";
  const std::pair<std::string, char const*> slips[] = {
      {R"("core": "c", "first_of": [{"core": "c", "version": "1"}])",
       "made.json:1: sub_cores[0].core: expected no core beside first_of, found the text \"c\""},
      {R"("version": "1", "first_of": [{"core": "c", "version": "1"}])",
       "made.json:1: sub_cores[0].version: expected no version beside first_of, found the text \"1\""},
      {R"("first_of": [])", "made.json:1: sub_cores[0].first_of: expected at least one core, found a list"},
      {R"("first_of": [)" + many + "]", "made.json:1: sub_cores[0].first_of: expected at most 100 cores, found a list"},
      {R"("first_of": [{"core": "c"}])",
       "made.json:1: sub_cores[0].first_of[0]: expected a field \"version\", found none"},
  };
  for (auto const& [fields, expected] : slips) try {
      Core::parse(description(kAll, R"(, "sub_cores": [{"name": "x", )" + fields + "}]"), "made.json");
      ADD_FAILURE() << fields;
    } catch (kdi::JsonError const& error) {
      EXPECT_STREQ(error.what(), expected);
    }
}

TEST(Composites, SlipsAreToldWithTheirPlace) {
  const auto fault = [](std::string const& composites) -> std::string {
    try {
      Core::parse(description(composites), "made.json");
    } catch (kdi::JsonError const& error) {
      return error.what();
    }
    return "none";
  };
  const std::pair<std::string, char const*> slips[] = {
      {R"({"name": "NONE", "starts_with": ["P_"]})",
       "made.json:1: composites[0].name: expected the name of a parameter, found the text \"NONE\""},
      {R"({"name": "SINGLE", "starts_with": ["P_"]})",
       "made.json:1: composites[0].name: expected a parameter of type text with an empty default, without values, "
       "range "
       "and derived rule, found the text \"SINGLE\""},
      {R"({"name": "ALL", "internal": "ALL", "starts_with": ["P_"]})",
       "made.json:1: composites[0].internal: expected a parameter that holds the members of one composite, found the "
       "text \"ALL\""},
      {R"({"name": "ALL"})",
       "made.json:1: composites[0]: expected members, or starts_with and sub_core, found an object"},
      {R"({"name": "ALL", "sub_core": "x"})",
       "made.json:1: composites[0].sub_core: expected the name of a sub-core, found the text \"x\""},
      {R"({"name": "ALL", "starts_with": ["Q_"]})",
       "made.json:1: composites[0].starts_with: expected the beginnings of names of parameters, found a list"},
      {R"({"name": "ALL", "members": [{"parameter": "ALL"}]})",
       "made.json:1: composites[0].members[0].parameter: expected the name of a parameter that is no composite, found "
       "the text \"ALL\""},
      {R"({"name": "ALL", "members": [{"parameter": "P_A0", "key": "a", "key_word": "b"}, {"parameter": "P_A1", "key": "a"}]})",
       "made.json:1: composites[0].members: expected members with keys of their own, found a list"},
      {R"({"name": "ALL", "members": [{"parameter": "P_A0", "key": "a"}, {"parameter": "P_A1", "key": "a"}]})",
       "made.json:1: composites[0].members: expected members with keys of their own, found a list"},
  };
  for (auto const& [composites, expected] : slips) EXPECT_EQ(fault(composites), expected);
}

// ----------------------------------------------------------------------------------------------------------- presets

constexpr char kPresets[] = R"~(, "presets": [
  {"name": "fast", "description": "the most", "settings": {"P_A0": "9", "P_T0": "x"}},
  {"name": "slow", "description": "the least", "settings": {"P_A0": "0"}}],
 "boards": [{"name": "desk", "description": "a board", "settings": {"SINGLE": "4", "ALL": "P_A0 7"}}])~";

TEST(Presets, AreGivenAsFromThere) {
  Configuration whole(Core::parse(description(kAll, kPresets), "made.json"), {}, none);
  Presets const& presets = whole.core().presets();
  ASSERT_EQ(presets.presets.size(), 2u);
  EXPECT_EQ(presets.presets[1].description, "the least");
  EXPECT_EQ(whole.set_preset("fast"), (std::vector<std::string>{"P_A0", "P_T0", "ALL", "P_SUM", "P_A1"}));
  EXPECT_EQ(whole.instance().origin(whole.find("P_A0")->number), Origin::preset);
  EXPECT_EQ(whole.value(whole.find("ALL")->number), "P_A0 9 P_T0 x");
  EXPECT_EQ(whole.set_preset("none"), std::nullopt);
  EXPECT_EQ(whole.set_board("fast"), std::nullopt);
  ASSERT_TRUE(whole.set_board("desk"));
  EXPECT_EQ(whole.instance().origin(whole.find("SINGLE")->number), Origin::board);
  EXPECT_EQ(whole.instance().origin(whole.find("P_A0")->number), Origin::board);  // through the text
  EXPECT_EQ(whole.value(whole.find("P_A0")->number), "7");
  whole.set({{whole.find("P_A0").value(), "7"}});
  EXPECT_EQ(whole.instance().origin(whole.find("P_A0")->number), Origin::user);
}

std::string with_mode(std::string const& sections) {
  return R"({"format": 1, "core": "made", "version": "1.0", "parameters": [)" + parameter("A", "truth", "0") + "," +
         parameter("N", "integer", "1") + "," + parameter("SUM", "integer", "1", R"(, "derived": "N")") + "," +
         parameter("MODE", "text", "None", R"(, "values": ["None", "Safe", "Safer", "Custom"])") + "]" + sections + "}";
}

TEST(Presets, ChoicesStandForSettings) {
  const auto core = Core::parse(with_mode(R"(, "sub_presets": [{"parameter": "MODE", "choices": [
    {"value": "Safe", "info": "one", "settings": {"A": "1"}},
    {"value": "Safer", "info": "two", "settings": {"A": "1", "N": "5"}}]}])"),
                                "made.json");
  ASSERT_EQ(core->presets().sub_presets.size(), 1u);
  SubPreset const& mode = core->presets().sub_presets[0];
  EXPECT_EQ(mode.name, "MODE");
  EXPECT_EQ(mode.members, (std::vector<std::uint32_t>{0, 1}));
  ASSERT_EQ(mode.choices.size(), 2u);
  EXPECT_EQ(mode.choices[1].description, "two");
  EXPECT_EQ(mode.choices[1].settings[1].text, "5");
}

TEST(Presets, SlipsAreToldWithTheirPlace) {
  const auto fault = [](std::string const& sections) -> std::string {
    try {
      Core::parse(with_mode(", " + sections), "made.json");
    } catch (kdi::JsonError const& error) {
      return error.what();
    }
    return "none";
  };
  const auto preset = [](std::string const& settings) {
    return R"("presets": [{"name": "p", "description": "d", "settings": {)" + settings + "}}]";
  };
  const auto choice = [](std::string const& first, std::string const& second) {
    return R"("sub_presets": [{"parameter": ")" + first + R"(", "choices": [{"value": ")" + second +
           R"(", "info": "i", "settings": {"A": "1"}}]}])";
  };
  const std::string at = "made.json:1: ";
  EXPECT_EQ(fault(preset("")),
            at + "presets[0].settings: expected at least one parameter with its value, found an object");
  EXPECT_EQ(fault(preset(R"("B": "1")")),
            at + "presets[0].settings.B: expected the name of a parameter that users may set, found the text \"1\"");
  EXPECT_EQ(fault(preset(R"("SUM": "1")")),
            at + "presets[0].settings.SUM: expected the name of a parameter that users may set, found the text \"1\"");
  EXPECT_EQ(fault(preset(R"("A": "2")")),
            at + "presets[0].settings.A: expected a value of type truth, found the text \"2\"");
  EXPECT_EQ(fault(preset(R"("MODE": "2")")),
            at + "presets[0].settings.MODE: expected one of the values of MODE, found the text \"2\"");
  EXPECT_EQ(fault(choice("N", "1")),
            at + "sub_presets[0].parameter: expected the name of a parameter with values, found the text \"N\"");
  EXPECT_EQ(fault(choice("MODE", "Unsafe")),
            at + "sub_presets[0].choices[0].value: expected a value of MODE that is no choice yet, found the text "
                 "\"Unsafe\"");
  EXPECT_EQ(fault(R"("measurements": {"enabled": "N", "parameters": [], "dictionaries": []})"),
            at + "measurements.enabled: expected the name of a truth, found the text \"N\"");
}

}  // namespace
