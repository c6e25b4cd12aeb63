// The words that controllers answer with are those that data/commands tells, each with its type and unit, and no
// others.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "kdi/common/KdiJson.h"
#include "kdi/common/KdiNumber.h"
#include "kdi/common/KdiText.h"
#include "kdi/coregen/memory_v1.h"
#include "kdi/planning/Memory.h"
#include "platform/coregen/setup.h"
#include "tests/support/places.h"

namespace {

using memory::memory_v1::HIPMigInstance;
using memory::memory_v1::HIPMigIPMgr;

struct Word {
  std::string type, meaning;
  std::set<std::string> values;
};
using Words = std::map<std::string, Word>;

Words told(std::string const& group) {
  static const kdi::JsonFile file(places::data("commands/memory.json"));
  Words words;
  for (const kdi::JsonValue key : file.root().member("groups").member("keys").member(group).members()) {
    Word& word = words[std::string(key.name())];
    word.type = key.member("type").text();
    word.meaning = key.member("meaning").text();
    if (const auto values = key.find("values"))
      for (const kdi::JsonValue value : values->items()) word.values.insert(std::string(value.text()));
  }
  return words;
}

bool fits(Word const& word, std::string const& value) {
  if (!word.values.empty() && !word.values.contains(value)) return false;
  if (word.type == "integer") return kdi::number::whole<int>(value).has_value();
  if (word.type == "number") return kdi::number::whole<double>(value).has_value();
  return true;
}

// Answers against the words of a group: no other key, each value of its type, and, at the end, each word once at least.
class Answers {
 public:
  explicit Answers(std::string const& group) : words_(told(group)) {
    for (auto const& [key, word] : words_) {
      EXPECT_FALSE(word.meaning.empty()) << key;
      const bool counts = word.type == "integer" || word.type == "number";
      constexpr char const* kUnits[] = {", ps", ", MHz", ", Hz", ", ppm", ", bit", ", a count", ", clocks"};
      EXPECT_TRUE(!counts || std::any_of(std::begin(kUnits), std::end(kUnits),
                                         [&word = word](char const* unit) {
                                           return word.meaning.find(unit) != std::string::npos;
                                         }))
          << key << " has no unit";
    }
  }

  void look_at(OptionMap const& answer, std::string const& type) {
    const std::string prefix = "C0." + kdi::text::uppered(kdi::planning::find_memory(type)->prefix) + "_";
    for (auto const& [key, value] : answer) {
      const std::string name = key.starts_with(prefix) ? "C0.<memory>_" + key.substr(prefix.size()) : key;
      const auto word = words_.find(name);
      ASSERT_NE(word, words_.end()) << key << " is not told";
      EXPECT_TRUE(fits(word->second, value)) << key << " is " << value;
      seen_.insert(name);
    }
  }

  void expect_all_seen(std::set<std::string> const& but = {}) const {
    for (auto const& [key, word] : words_) EXPECT_TRUE(seen_.contains(key) || but.contains(key)) << key;
  }

 private:
  Words words_;
  std::set<std::string> seen_;
};

constexpr char const* kParts[] = {"zrv7030-f676-2-c", "zrv9010-f900-2-e", "brvn6112-c2209-2LHP-e-S"};

// Calls use(instance, type) for each type that some device drives.
template <class Use>
void for_each_type(Use use) {
  for (char const* const part : kParts)
    for (std::string const& type : kdi::planning::memory_types()) {
      try {
        HIPMigIPMgr::loadMigPkgData({{"-instance_name", "w"}, {"-part", part}, {"-controllertype", type}});
      } catch (std::string const&) {
        continue;  // one that the device does not drive
      }
      use(*HIPMigIPMgr::getIPInstance("w"), type);
    }
  HIPMigIPMgr::releasePkgData({{"-instance_name", "w"}});
}

TEST(ControllerWords, WhatIsKnownOfMemories) {
  Answers model("model_words"), limits("limit_words");
  std::set<std::string> types;
  for_each_type([&](HIPMigInstance& instance, std::string const& type) {
    types.insert(type);
    model.look_at(instance.getmodelParams(type, {}), type);
    limits.look_at(instance.getMinMaxPeriodOfMemoryType(type, {}), type);
    if (type != "DDR4") return;
    // A die that is chosen, and what a module has.
    for (char const* const part : {"DDR4-2400R-8Gb-x8-4h", "DDR4-2400R-8Gb-x8-rdimm-2r"})
      model.look_at(instance.getmodelParams(type, {{"-memorypart", part}}), type);
  });
  EXPECT_EQ(types.size(), kdi::planning::memory_types().size());
  model.expect_all_seen();
  limits.expect_all_seen();
}

TEST(ControllerWords, HowClocksAreMade) {
  Answers clocks("clock_words");
  for_each_type([&](HIPMigInstance& instance, std::string const& type) {
    const std::string period = instance.getMinMaxPeriodOfMemoryType(type, {}).at("max");
    const MigEnabledRange inputs = instance.getInputClockPeriodValues({{"-timeperiod", period}});
    if (inputs.range.empty()) return;
    clocks.look_at(instance.getClockingModelParams(
                       {{"-inputclockperiod", inputs.range[0]}, {"-controllertype", type}, {"-timeperiod", period}}),
                   type);
  });
  clocks.expect_all_seen();
}

// The words in the first column of the tables under a heading of the page.
std::set<std::string> words_under(std::string const& heading) {
  std::ifstream page(places::source("docs/memory-controllers.md"));
  EXPECT_TRUE(page);
  std::set<std::string> words;
  bool is_there = false;
  for (std::string line; std::getline(page, line);) {
    if (line.starts_with("## ")) is_there = line == "## " + heading;
    if (!is_there || !line.starts_with("| `")) continue;
    const std::string cell = line.substr(0, line.find(" |", 2));
    for (std::size_t at = cell.find('`'); at != std::string::npos;) {
      const std::size_t end = cell.find('`', at + 1);
      words.insert(cell.substr(at + 1, end - at - 1));
      at = cell.find('`', end + 1);
    }
  }
  return words;
}

// The page has the same words as the help, and no others.
TEST(ControllerWords, StandOnThePage) {
  constexpr char const* kGroups[][2] = {
      {"settings", "Parameters"}, {"clock_words", "Clocks"}, {"model_words", "What is known of a memory"}};
  for (auto const& [group, heading] : kGroups) {
    std::set<std::string> words;
    for (auto const& [key, word] : told(group)) {
      const std::string prefix = "C0.<memory>_";
      const std::string begin = heading == std::string("Clocks") ? "C0.<prefix>_" : "";
      words.insert(key.starts_with(prefix) ? begin + key.substr(prefix.size()) : key);
    }
    EXPECT_EQ(words_under(heading), words) << group;
  }
}

// Pairs of key and value in a text that Tcl reads as a dictionary, whose values may stand in braces.
std::set<std::string> keys_of(std::string const& dictionary) {
  std::set<std::string> keys;
  int depth = 0, element = 0;
  std::string word;
  for (const char c : dictionary + " ") {
    depth += c == '{' ? 1 : c == '}' ? -1 : 0;
    if (c != ' ' || depth > 0) {
      word += c;
    } else if (!word.empty()) {
      if (element++ % 2 == 0) keys.insert(word);
      word.clear();
    }
  }
  return keys;
}

TEST(ControllerWords, WhatBanksAndSignalsAreToldBy) {
  std::set<std::string> told_of_banks;
  for (auto const& [key, word] : told("bank_words"))
    if (const std::string begin = "<bank> "; key.starts_with(begin)) told_of_banks.insert(key.substr(begin.size()));
  EXPECT_EQ(told_of_banks.size() + 1, told("bank_words").size());
  EXPECT_EQ(told("loc_words").size(), 1u);
  HIPMigIPMgr::loadMigPkgData(
      {{"-instance_name", "w"}, {"-part", kParts[1]}, {"-controllertype", "DDR4"}, {"-datawidth", "8"}});
  HIPMigInstance& instance = *HIPMigIPMgr::getIPInstance("w");
  const OptionMap banks = instance.getBankSelModelParams("DDR4", "", {});
  EXPECT_GT(banks.size(), 3u);
  for (auto const& [bank, words] : banks) EXPECT_EQ(keys_of(words), told_of_banks) << bank;
  const OptionMap pads = instance.getLocModelParams("c0_sys_clk_p", {});
  ASSERT_EQ(pads.size(), 1u);
  EXPECT_EQ(pads.begin()->first, "c0_sys_clk_p");
  EXPECT_FALSE(pads.begin()->second.empty());
  HIPMigIPMgr::releasePkgData({{"-instance_name", "w"}});
}

// Parameters are told as options, and each value that one permits is of its type.
TEST(ControllerWords, WhatParametersCanBe) {
  const Words settings = told("settings");
  std::set<std::string> there;
  for (kdi::coregen::Parameter const& parameter : kdi::coregen::parameters()) there.insert(parameter.key);
  for (auto const& [key, word] : settings) EXPECT_TRUE(there.contains(key)) << key;
  EXPECT_EQ(settings.size(), there.size());
  EXPECT_EQ(told("range_words").size(), 2u);
  for_each_type([&](HIPMigInstance&, std::string const& type) {
    for (auto const& [key, word] : settings) {
      const MigEnabledRange permitted = HIPMigIPMgr::doCustomize("w", {{"-parameter", key}});
      for (std::string const& value : permitted.range)
        for (const std::string_view end : kdi::text::split(value, key == "-timeperiod" ? ':' : '\n'))
          EXPECT_TRUE(fits(word, std::string(end))) << type << " " << key << " " << value;
    }
  });
}

}  // namespace
