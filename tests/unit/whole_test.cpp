// A core with its sub-cores as one: what is tried is what is then seen, what differs says in which sub-core, and what
// is carried is there afterwards.
#include "kdi/cores/Whole.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <set>

#include "tests/support/places.h"
#include "tests/support/random.h"
#include "tests/support/sanitized.h"

namespace {

using namespace kdi::cores;
using Values = std::vector<std::pair<std::string, std::string>>;

std::shared_ptr<Core const> core_of(std::string const& name, std::string const& version) {
  static std::map<std::string, std::shared_ptr<Core const>> read;
  std::shared_ptr<Core const>& core = read[name + "/" + version];
  if (!core) core = Core::read(places::data("cores"), name, version);
  return core;
}

class Whole {
 public:
  Whole(std::string const& core, std::string const& version) : configuration(core_of(core, version), {}, core_of) {}

  void set(Values const& values, Origin from = Origin::user) {
    std::vector<std::pair<Configuration::Place, std::string>> placed;
    for (auto const& [name, value] : values) placed.emplace_back(configuration.find(name).value(), value);
    configuration.set(placed, from);
  }
  std::string value(std::string const& name) {
    const auto place = configuration.find(name).value();
    return place.configuration->value(place.number);
  }

  Configuration configuration;
};

std::string text_at(Record const& entry, char const* key) {
  Record const* const found = entry.find(key);
  return found == nullptr ? "" : found->text();
}

// Entries of a list, by the parameter and the sub-core that it is of.
std::map<std::string, Record> entries(Record const& record, char const* list) {
  std::map<std::string, Record> all;
  for (Record const& entry : record.find(list)->items())
    all.emplace(text_at(entry, "sub_core") + ":" + text_at(entry, "parameter"), entry);
  return all;
}

TEST(WholeTrials, SayWhatThenIsSeen) {
  Whole wizard("ps_wizard", "1.0");
  test_support::Seeded<std::mt19937> random(1);
  const std::vector<Values> some = {
      {{"PS_PMC_CONFIG", "PS_UART0_PERIPHERAL_ENABLE 1 PS_UART0_PERIPHERAL_IO {PS_MIO 0 .. 1}"}},
      {{"PS_PMC_CONFIG_2", "SMON_OT 0"}, {"SMON_USER_TEMP", "0"}},
      {{"PS_PMC_CONFIG_1", "PS_SLR_ID 9 NONE 1"}},
      {{"SMON_ALARMS", "Off"}, {"PS_PMC_CONFIG_APPLIED", "1"}},
      {{"PS_PMC_CONFIG", ""}},
      {{"PS_PMC_CONFIG_3", "SMON_OT {"}}};
  int moves = 0, come = 0;
  for (int round = 0; round < (test_support::kSanitized ? 6 : 24); ++round) {
    Values const& values = some[random() % some.size()];
    const auto before = wizard.configuration.copy();
    const Record trial = try_values(wizard.configuration, values);
    // Nothing is made by it.
    EXPECT_TRUE(compare_whole(*before, wizard.configuration).find("differences")->items().empty());
    std::set<std::string> told, seen;
    for (Configuration::Told const& one : wizard.configuration.messages()) told.insert(one.due.text);
    wizard.set(values);
    for (auto const& [name, entry] : entries(compare_whole(*before, wizard.configuration), "differences"))
      seen.insert(name);
    std::set<std::string> tried;
    for (auto const& [name, entry] : entries(trial, "moves")) {
      if (name.ends_with("_INTERNAL")) continue;  // what they show is no value of the instance
      tried.insert(name);
      if (Record const* const value = entry.find("value")) {
        const std::string path = text_at(entry, "sub_core");
        Configuration& part = path.empty() ? wizard.configuration : *wizard.configuration.sub_core(path);
        EXPECT_EQ(text_at(*value, "after"), part.value(*part.core().find(text_at(entry, "parameter")))) << name;
      }
    }
    EXPECT_EQ(tried, seen);
    moves += static_cast<int>(tried.size());
    for (Configuration::Told const& one : wizard.configuration.messages())
      if (!told.contains(one.due.text)) {
        ++come;
        bool is_told = false;
        for (Record const& entry : trial.find("come")->items()) is_told |= text_at(entry, "text") == one.due.text;
        EXPECT_TRUE(is_told) << one.due.text;
      }
  }
  EXPECT_GT(moves, 10);
  EXPECT_GT(come, 1);
  EXPECT_THROW(try_values(wizard.configuration, {{"NONE", "1"}}), std::invalid_argument);
}

TEST(WholeComparisons, SayInWhichSubCore) {
  Whole first("ps_wizard", "1.0"), second("ps_wizard", "99.0");
  second.set({{"PS_PMC_CONFIG_2", "SMON_OT 0"}});
  const Record record = compare_whole(first.configuration, second.configuration);
  EXPECT_EQ(text_at(*record.find("second"), "version"), "99.0");
  const auto differences = entries(record, "differences");
  ASSERT_TRUE(differences.contains("pmcps_2:SMON_OT"));
  EXPECT_FALSE(differences.contains("pmcps_1:SMON_OT"));
  EXPECT_EQ(text_at(*differences.at("pmcps_2:SMON_OT").find("value"), "first"), "1");
  EXPECT_TRUE(differences.contains(":PS_PMC_CONFIG_2"));
  EXPECT_TRUE(differences.contains("pmcps_3:PS_USB1_PERIPHERAL_ENABLE"));  // the second alone has it
  std::map<std::string, std::string> sub_cores;
  for (Record const& one : record.find("sub_cores")->items())
    sub_cores.emplace(text_at(one, "sub_core"), text_at(one, "first") + " > " + text_at(one, "second"));
  EXPECT_EQ(sub_cores.at("pmcps_0"), "pmcps 1.0 > ps11 1.0");
  const Whole alone("psxl", "1.0"), wizard("psx_wizard", "1.0");
  sub_cores.clear();
  const Record other = compare_whole(wizard.configuration, alone.configuration);
  for (Record const& one : other.find("sub_cores")->items())
    sub_cores.emplace(text_at(one, "sub_core"), text_at(one, "first") + " > " + text_at(one, "second"));
  EXPECT_EQ(sub_cores, (std::map<std::string, std::string>{{"psxl_0", "psxl 1.0 > "}, {"cpm5n_0", "cpm5n 1.0 > "}}));
}

// From a core alone to the wizard that holds it, and back.
TEST(WholeCarrying, FindsTheSubCoreThatHasTheName) {
  Whole alone("psxl", "1.0"), wizard("psx_wizard", "1.0"), back("psxl", "1.0");
  alone.set({{"SMON_OT", "0"}, {"PSX_PCIE_RESET", "1"}});
  alone.set({{"SMON_ALARMS", "Off"}}, Origin::board);
  wizard.set({{"SMON_USER_TEMP", "0"}, {"CPM_CONFIG", "CPM_PCIE0_MODES DMA"}});
  const CarriedWhole carried = carry_whole(alone.configuration, wizard.configuration);
  EXPECT_EQ(wizard.value("PSX_PMCX_CONFIG"), "PSX_PCIE_RESET 1 SMON_ALARMS Off SMON_OT 0");
  EXPECT_EQ(wizard.value("CPM_CONFIG"), "");  // it had been given something else
  Configuration const& inner = *wizard.configuration.sub_core("psxl_0");
  EXPECT_EQ(inner.instance().origin(*inner.core().find("SMON_ALARMS")), Origin::board);
  const auto notes = entries(carried.record, "notes");
  ASSERT_EQ(notes.size(), 3u);
  EXPECT_EQ(text_at(notes.at(":SMON_OT"), "fate"), "kept");
  EXPECT_EQ(text_at(notes.at(":SMON_OT"), "now_in"), "psxl_0");
  carry_whole(wizard.configuration, back.configuration);
  EXPECT_TRUE(compare_whole(alone.configuration, back.configuration).find("differences")->items().empty());
}

TEST(WholeCarrying, SaysWhatIsLost) {
  Whole first("ps_wizard", "99.0"), second("ps_wizard", "1.0");
  first.set({{"PS_PMC_CONFIG_1", "SMON_OT 0 PS_USB1_PERIPHERAL_ENABLE 1 NONE x"}, {"PS_PMC_CONFIG_APPLIED", "1"}});
  const CarriedWhole carried = carry_whole(first.configuration, second.configuration);
  EXPECT_EQ(second.value("PS_PMC_CONFIG_1"), "SMON_OT 0");
  EXPECT_EQ(second.value("PS_PMC_CONFIG"), "");
  const auto notes = entries(carried.record, "notes");
  ASSERT_EQ(notes.size(), 4u);
  EXPECT_EQ(text_at(notes.at("pmcps_1:SMON_OT"), "fate"), "kept");
  EXPECT_EQ(notes.at("pmcps_1:SMON_OT").find("now_in"), nullptr);
  EXPECT_EQ(text_at(notes.at("pmcps_1:PS_USB1_PERIPHERAL_ENABLE"), "fate"), "retired");
  EXPECT_EQ(text_at(notes.at(":NONE"), "fate"), "retired");
  EXPECT_EQ(text_at(notes.at(":PS_PMC_CONFIG_APPLIED"), "fate"), "kept");
}

}  // namespace
