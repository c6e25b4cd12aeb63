// A core with its sub-cores as one: what is tried is what is then seen, what differs says in which sub-core, and what
// is carried is there afterwards.
#include "kdi/cores/Whole.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <random>
#include <set>
#include <tuple>

#include "platform/cores/why/advice_parts.h"
#include "tests/support/made_up_core.h"
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

std::map<std::string, std::string> members_of(Record const& difference) {
  std::map<std::string, std::string> members;
  for (Record const& reason : difference.find("reasons")->items())
    if (text_at(reason, "kind") == "member")
      members.emplace(text_at(reason, "name"), text_at(reason, "first") + " > " + text_at(reason, "second"));
  return members;
}

TEST(WholeComparisons, TellWhatInternalTextsShow) {
  Whole first("ps_wizard", "1.0"), second("ps_wizard", "1.0"), newer("ps_wizard", "99.0");
  first.set({{"PS_PMC_CONFIG_2", "SMON_USER_TEMP 0"}});
  second.set({{"PS_PMC_CONFIG_2", "SMON_OT 0 NONE x PS_UART0_PERIPHERAL_ENABLE 1"}});
  second.set({{"PS_PMC_CONFIG", "OTHER {"}});
  const Record record = compare_whole(first.configuration, second.configuration);
  const auto differences = entries(record, "differences");
  Record const& text = differences.at(":PS_PMC_CONFIG_2_INTERNAL");
  EXPECT_EQ(text_at(*text.find("value"), "first"), first.value("PS_PMC_CONFIG_2_INTERNAL"));
  EXPECT_EQ(text_at(*text.find("value"), "second"), second.value("PS_PMC_CONFIG_2_INTERNAL"));
  const auto members = members_of(text);
  EXPECT_EQ(members.at("SMON_USER_TEMP"), "0 > 1");
  EXPECT_EQ(members.at("SMON_OT"), "1 > 0");
  Configuration& region = *second.configuration.sub_core("pmcps_2");
  int told_twice = 0;
  for (auto const& [name, difference] : differences) {
    if (!name.starts_with("pmcps_2:") || difference.find("value") == nullptr) continue;
    const std::uint32_t number = *region.core().find(name.substr(8));
    if (region.is_composite(number) || !region.core().is_settable(number)) continue;
    ++told_twice;
    EXPECT_TRUE(members.contains(name.substr(8))) << name;
  }
  EXPECT_GT(told_twice, 2);
  EXPECT_FALSE(differences.contains(":PS_PMC_CONFIG_1_INTERNAL"));
  // Messages about texts are told as all others.
  std::set<std::string> told;
  for (Record const& one : record.find("only_second")->items())
    if (text_at(one, "parameter").starts_with("PS_PMC_CONFIG")) told.insert(text_at(one, "message"));
  EXPECT_EQ(told, (std::set<std::string>{"list", "unknown"}));
  // A member that one of them alone shows.
  const Record other = compare_whole(first.configuration, newer.configuration);
  EXPECT_EQ(members_of(entries(other, "differences").at(":PS_PMC_CONFIG_INTERNAL")).at("PS_USB1_PERIPHERAL_ENABLE"),
            " > 0");
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

// ------------------------------------------------------------------------------------------------------------ advice

std::multiset<std::string> errors_of(Configuration& whole) {
  std::multiset<std::string> errors;
  for (Configuration::Told const& told : whole.messages())
    if (told.due.severity == Severity::error) errors.insert(told.parameter + " " + told.due.name);
  return errors;
}

// Follows the first advice of the record as a user does, by the names that it has. Returns whether there was one.
bool follow(Whole& whole, Record const& record) {
  for (Record const& advice : record.find("advice")->items()) {
    if (text_at(advice, "outcome") != "found") continue;
    EXPECT_EQ(text_at(advice, "smallest"), "1") << record.json();
    Values given;
    std::vector<Configuration::Place> taken;
    for (Record const& change : advice.find("changes")->items()) {
      const std::string name = text_at(change, "parameter");
      if (text_at(change, "change") == "set")
        given.emplace_back(name, text_at(change, "value"));
      else
        taken.push_back(whole.configuration.find(name).value());
    }
    whole.configuration.take_back(taken);
    whole.set(given);
    return true;
  }
  return false;
}

void expect_advice(Whole& whole, Configuration::Place place, int& followed) {
  const std::string name = whole.configuration.name_of(place);
  if (place.configuration->instance().is_enabled(place.number)) return;
  const Record record = explain_whole(whole.configuration, whole.configuration, place);
  const auto before = whole.configuration.copy();
  const std::multiset<std::string> errors = errors_of(whole.configuration);
  if (!follow(whole, record)) return;
  ++followed;
  EXPECT_TRUE(place.configuration->instance().is_enabled(place.number)) << name << record.json();
  for (std::string const& error : errors_of(whole.configuration))
    EXPECT_LE(errors_of(whole.configuration).count(error), errors.count(error))
        << name << ": " << error << record.json();
  carry_whole(*before, whole.configuration);
}

TEST(WholeAdvice, HoldsForAllCoresAndNamesWhatItChanges) {
  int followed = 0;
  // The port is the wizard's and the block's, and the block alone asks for an interface.
  Whole smaller("tavrel_cips", "1.0");
  expect_advice(smaller, smaller.configuration.find("CPM_PCIE1_PORT_TYPE").value(), followed);
  // The mode is the name of two parameters, of which the block's is meant.
  Whole larger("psx_wizard", "1.0");
  const auto place = larger.configuration.find("CPM_PCIE1_BAR1_SIZE").value();
  expect_advice(larger, place, followed);
  EXPECT_EQ(followed, 2);
  const Record record = explain_whole(larger.configuration, larger.configuration, place);
  Record const& first = record.find("advice")->items().at(0).find("changes")->items().at(0);
  EXPECT_EQ(text_at(first, "parameter"), "cpm5n_0.CPM_PCIE1_MODES");
  // Within the block the plain name is the block's.
  const Record within = explain_whole(larger.configuration, *larger.configuration.sub_core("cpm5n_0"), place);
  Record const& same = within.find("advice")->items().at(0).find("changes")->items().at(0);
  EXPECT_EQ(text_at(same, "parameter"), "CPM_PCIE1_MODES");
}

// Conflicts that there are already hide no new one of the same pads.
TEST(WholeAdvice, HoldsWhateverWasGiven) {
  const int rounds = std::getenv("IPTASKS_LONG") != nullptr ? 60 : 1;
  int followed = 0;
  for (auto const& [core, version] :
       {std::pair("tavrel_cips", "3.4"), {"psx_wizard", "1.0"}, {"ps_wizard", "1.0"}, {"pmcps", "1.0"}})
    for (int round = 0; round < rounds; ++round) {
      test_support::Seeded<std::mt19937> random(static_cast<unsigned>(round + 1));
      Whole whole(core, version);
      std::vector<Configuration::Place> all;
      for (Configuration* const one : whole.configuration.all_of_it())
        for (std::uint32_t i = 0; i < one->core().parameters().size(); ++i)
          if (!one->is_composite(i)) all.push_back({one, i});
      std::vector<std::pair<Configuration::Place, std::string>> given;
      for (int i = 0; i < 25; ++i) {
        const Configuration::Place place = all[random() % all.size()];
        const std::vector<std::string> range = place.configuration->instance().range(place.number);
        if (place.configuration->core().is_settable(place.number))
          given.emplace_back(place, range.empty() ? "1" : range[random() % range.size()]);
      }
      whole.configuration.set(given);
      for (int i = 0; i < (test_support::kSanitized ? 2 : 12); ++i)
        expect_advice(whole, all[random() % all.size()], followed);
    }
  EXPECT_GT(followed, test_support::kSanitized ? 0 : 8);
  if (rounds > 1) std::printf("%d advices followed\n", followed);
}

// --- smallest, held against all sets

// A core with another one in it, of which the first parameters are given the same.
class MadeUpPair {
 public:
  static constexpr std::size_t kShared = 3;

  explicit MadeUpPair(std::uint64_t seed) : random_(seed) {
    const std::string outer = test_support::MadeUpCore(seed, 6).text();
    for (std::uint64_t other = seed * 1000;; ++other) {
      inner_ = Core::parse(test_support::MadeUpCore(other, 6).text(), "inner.json");
      if (are_alike(*Core::parse(outer, "outer.json"), *inner_)) break;
    }
    std::string text = outer.substr(0, outer.rfind("]}"));
    text += R"(,{"name": "TEXT", "type": "text", "widget": "EDIT", "description": "d", "default": ""}],
      "sub_cores": [{"name": "inner_0", "core": "made", "version": "1.0"}],
      "composites": [{"name": "TEXT", "sub_core": "inner_0", "starts_with": ["P0", "P1", "P2"]}]})";
    whole = std::make_unique<Configuration>(Core::parse(text, "outer.json"), Facts(),
                                            [&](std::string const&, std::string const&) { return inner_; });
    test_support::MadeUpCore values(seed + 1, 1);
    std::vector<std::pair<Configuration::Place, std::string>> given;
    for (Configuration* const one : whole->all_of_it())
      for (std::uint32_t i = 0; i < one->core().parameters().size(); ++i)
        if (!one->is_composite(i) && one->core().is_settable(i) && random_() % 3 == 0)
          given.emplace_back(Configuration::Place{one, i}, values.value(one->core().parameters()[i]));
    whole->set(given);
  }

  std::unique_ptr<Configuration> whole;

 private:
  static bool are_alike(Core const& outer, Core const& inner) {
    for (std::size_t i = 0; i < kShared; ++i)
      if (!(outer.parameters()[i].type == inner.parameters()[i].type)) return false;
    return true;
  }

  std::mt19937_64 random_;
  std::shared_ptr<Core const> inner_;
};

using ErrorsOfCores = std::multiset<std::tuple<std::size_t, std::uint32_t, std::string>>;
ErrorsOfCores errors_by_core(Configuration& whole) {
  ErrorsOfCores errors;
  const std::vector<Configuration*> all = whole.all_of_it();
  for (std::size_t i = 0; i < all.size(); ++i)
    for (Due const& due : all[i]->own_messages())
      if (due.severity == Severity::error) errors.emplace(i, due.parameter, due.name == "rule" ? due.text : due.name);
  return errors;
}

// All sets of changes to the two cores, each tried on a copy.
class AllSets {
 public:
  using Candidate = kdi::cores::Candidate;
  struct Try {
    std::size_t core;
    std::uint32_t parameter;
    std::optional<std::string> text;
  };

  AllSets(Configuration& whole, Configuration::Place place, Wish wish)
      : whole_(whole.copy()), wish_(std::move(wish)), before_(errors_by_core(*whole_)) {
    const std::vector<Configuration*> all = whole.all_of_it();
    core_ = static_cast<std::size_t>(std::find(all.begin(), all.end(), place.configuration) - all.begin());
    for (const std::size_t core : {core_, 1 - core_}) add_candidates(all, core, place);
  }

  // Whether a set of this size does it.
  bool any_of(std::size_t size) {
    std::vector<Try> set;
    return extend(0, size, set);
  }

 private:
  // What is shared counts for the core that is asked, with the values that the other one has it from.
  void add_candidates(std::vector<Configuration*> const& all, std::size_t core, Configuration::Place place) {
    Configuration& one = *all[core];
    const bool keeps = wish_.kind == Wish::Kind::permitted && core == core_;
    std::vector<Value> wished;
    if (keeps)
      if (const auto value = read_value(one.core().parameters()[place.number].type, one.backup(place.number)))
        wished = {*value};
    const auto others = std::make_shared<Terms>(all[1 - core]->core());
    const auto other = std::make_shared<Candidates>(all[1 - core]->instance(), *others, Core::kNoStep);
    Terms terms(one.core());
    Candidates candidates(one.instance(), terms, keeps ? place.number : Core::kNoStep, wished,
                          {[](std::uint32_t) -> std::vector<Candidate> const* { return nullptr; },
                           [&](std::uint32_t parameter, std::vector<Value>& values) {
                             bool counts = false;
                             for (Configuration::Place const& same : whole_of(all)->same_as({&one, parameter}))
                               if (same.configuration != &one) counts |= other->collect(same.number, values);
                             return counts;
                           }});
    for (std::uint32_t i = 0; i < one.core().parameters().size(); ++i) {
      if (one.is_composite(i) || (core != core_ && all[0]->same_as({&one, i}).size() > 1)) continue;
      for (Candidate const& candidate : candidates.of(i)) tries_.push_back({core, i, candidate.text});
    }
  }
  static Configuration* whole_of(std::vector<Configuration*> const& all) { return all[0]; }

  bool extend(std::size_t from, std::size_t more, std::vector<Try>& set) {
    if (more == 0) return holds(set);
    for (std::size_t i = from; i < tries_.size(); ++i) {
      const bool is_again = std::any_of(set.begin(), set.end(), [&](Try const& one) {
        return one.core == tries_[i].core && one.parameter == tries_[i].parameter;
      });
      if (is_again) continue;
      set.push_back(tries_[i]);
      if (extend(i + 1, more - 1, set)) return true;
      set.pop_back();
    }
    return false;
  }

  bool holds(std::vector<Try> const& set) const {
    const auto copy = whole_->copy();
    const std::vector<Configuration*> all = copy->all_of_it();
    std::vector<Configuration::Place> taken;
    std::vector<std::pair<Configuration::Place, std::string>> given;
    for (Try const& one : set)
      if (one.text)
        given.emplace_back(Configuration::Place{all[one.core], one.parameter}, *one.text);
      else
        taken.push_back({all[one.core], one.parameter});
    copy->take_back(taken);
    copy->set(given);
    for (Try const& one : set) {
      const auto same = copy->same_as({all[one.core], one.parameter});
      const bool is_enabled = std::any_of(same.begin(), same.end(), [](Configuration::Place const& place) {
        return place.configuration->instance().is_enabled(place.number);
      });
      if (!is_enabled) return false;
    }
    const ErrorsOfCores after = errors_by_core(*copy);
    if (!std::includes(before_.begin(), before_.end(), after.begin(), after.end())) return false;
    Configuration& at = *all[core_];
    if (wish_.kind == Wish::Kind::enabled) return at.instance().is_enabled(wish_.parameter);
    if (wish_.kind == Wish::Kind::permitted) return Insight(at.instance()).is_permitted(wish_.parameter);
    for (Due const& due : at.own_messages())
      if (due.parameter == wish_.parameter && due.name == wish_.message) return false;
    return true;
  }

  std::unique_ptr<Configuration> whole_;
  Wish wish_;
  ErrorsOfCores before_;
  std::size_t core_ = 0;
  std::vector<Try> tries_;
};

struct ProvenFigures {
  int asked = 0, found = 0, none = 0, elsewhere = 0, larger = 0;
};

// Every wish of the pair is held against all sets that are smaller, up to two changes.
void expect_smallest(std::uint64_t seed, std::size_t most, ProvenFigures& figures) {
  MadeUpPair pair(seed);
  for (Configuration* const one : pair.whole->all_of_it()) {
    std::vector<Wish> wishes;
    for (std::uint32_t i = 0; i < one->core().parameters().size(); ++i) {
      if (one->is_composite(i)) continue;
      if (!one->instance().is_enabled(i)) wishes.push_back({Wish::Kind::enabled, i});
      if (!Insight(one->instance()).is_permitted(i)) wishes.push_back({Wish::Kind::permitted, i});
    }
    for (Due const& due : one->own_messages())
      if (due.name == "clash") wishes.push_back({Wish::Kind::cleared, due.parameter, due.name});
    for (Wish const& wish : wishes) {
      const Configuration::Place place{one, wish.parameter};
      const Record record = wish.kind == Wish::Kind::cleared
                                ? explain_whole(*pair.whole, *pair.whole, place, wish.message)
                                : explain_whole(*pair.whole, *pair.whole, place);
      constexpr char const* kWishes[] = {"enabled", "permitted", "cleared"};
      for (Record const& advice : record.find("advice")->items()) {
        if (text_at(advice, "wish") != kWishes[static_cast<int>(wish.kind)]) continue;
        ++figures.asked;
        const bool is_found = text_at(advice, "outcome") == "found";
        EXPECT_TRUE(is_found || text_at(advice, "outcome") == "none") << seed << record.json();
        const std::size_t size = is_found ? advice.find("changes")->items().size() : 4;
        is_found ? ++figures.found : ++figures.none;
        EXPECT_EQ(text_at(advice, "smallest"), is_found ? "1" : "0") << seed << record.json();
        for (Record const& change : advice.find("changes")->items())
          figures.elsewhere += pair.whole->find(text_at(change, "parameter"))->configuration != one;
        AllSets all(*pair.whole, place, wish);
        for (std::size_t smaller = 1; smaller < size && smaller <= most; ++smaller)
          EXPECT_FALSE(all.any_of(smaller)) << seed << ": " << smaller << record.json();
        EXPECT_TRUE(size > most || all.any_of(size)) << seed << record.json();
        figures.larger += is_found && size > 1;
      }
    }
  }
}

TEST(WholeAdvice, IsTheSmallestOfAllCoresTogether) {
  const bool is_long = std::getenv("IPTASKS_LONG") != nullptr;
  ProvenFigures figures;
  const std::uint64_t seeds = is_long ? 200 : test_support::kSanitized ? 6 : 20;
  for (std::uint64_t seed = 1; seed <= seeds; ++seed) expect_smallest(seed, is_long ? 3 : 2, figures);
  EXPECT_GT(figures.found, 10);
  EXPECT_GT(figures.elsewhere, test_support::kSanitized ? -1 : 0);
  std::printf("%d asked: %d found, %d of them larger than one, %d none; %d changes in the other core\n", figures.asked,
              figures.found, figures.larger, figures.none, figures.elsewhere);
}

TEST(WholeExplanations, OfInternalTextsHaveWhatTheyShow) {
  Whole wizard("psx_wizard", "1.0");
  wizard.set({{"SMON_OT", "0"}});
  for (char const* const name : {"PSX_PMCX_CONFIG", "PSX_PMCX_CONFIG_INTERNAL", "CPM_CONFIG_INTERNAL"}) {
    const auto place = wizard.configuration.find(name).value();
    const Record record = explain_whole(wizard.configuration, wizard.configuration, place);
    EXPECT_EQ(text_at(record, "value"), wizard.value(name));
    EXPECT_NE(text_at(record, "backup"), "") << name << (name == std::string("CPM_CONFIG") ? "" : " shows something");
  }
}

TEST(WholeNames, LeadToOnePlace) {
  Whole wizard("psx_wizard", "1.0"), alone("xram", "1.0");
  for (Configuration* const one : wizard.configuration.all_of_it())
    for (std::uint32_t i = 0; i < one->core().parameters().size(); ++i) {
      const auto found = wizard.configuration.find(wizard.configuration.name_of({one, i}));
      ASSERT_TRUE(found);
      EXPECT_TRUE(found->configuration == one && found->number == i) << wizard.configuration.name_of({one, i});
    }
  EXPECT_EQ(wizard.configuration.find("cpm5n_0.CONFIG.CPM_PCIE0_MODES")->configuration,
            wizard.configuration.sub_core("cpm5n_0"));
  for (char const* const name :
       {".", "cpm5n_0.", ".CPM_PCIE0_MODES", "cpm5n_0.NONE", "none.CPM_PCIE0_MODES", "cpm5n_0"})
    EXPECT_FALSE(wizard.configuration.find(name)) << name;
  EXPECT_FALSE(alone.configuration.find("xram.XRAM_SIZE_MB"));
}

// What wizard and block share is taken back from both.
TEST(WholeNames, TakenBackIsWhatIsShared) {
  Whole wizard("tavrel_cips", "3.4");
  wizard.set({{"CPM_PCIE1_MODES", "DMA"}, {"SMON_OT", "0"}});
  EXPECT_EQ(wizard.value("CPM_CONFIG"), "CPM_PCIE1_MODES DMA");
  wizard.configuration.take_back({wizard.configuration.find("CPM_PCIE1_MODES").value()});
  EXPECT_EQ(wizard.value("CPM_CONFIG") + wizard.value("CPM_PCIE1_MODES"), "None");
  EXPECT_EQ(wizard.value("SMON_OT"), "0");
  wizard.configuration.take_back({wizard.configuration.find("CPM_CONFIG").value()});  // a text has members to take back
  EXPECT_EQ(wizard.value("SMON_OT"), "0");
}

TEST(WholeTrials, TellValuesBehindSkip) {
  Whole core("xram", "1.0"), other("xram", "1.0");
  const Values hidden = {{"XRAM_ECC_SCRUB_PERIOD_MS", "7"}};
  core.set({{"XRAM_ECC_SCRUB_PERIOD_MS", "6"}});
  other.set(hidden);
  for (Record const& entry :
       {try_values(core.configuration, hidden).find("moves")->items().at(0),
        compare_whole(core.configuration, other.configuration).find("differences")->items().at(0)}) {
    EXPECT_EQ(text_at(entry, "parameter"), "XRAM_ECC_SCRUB_PERIOD_MS");
    EXPECT_EQ(entry.find("value"), nullptr);
    ASSERT_NE(entry.find("backup"), nullptr);
    EXPECT_EQ(entry.find("backup")->items().at(0).text() + entry.find("backup")->items().at(1).text(), "67");
  }
  // What shows is told by the value alone.
  core.set({{"XRAM_ECC_SCRUB_ENABLE", "1"}, {"XRAM_ECC_ENABLE", "1"}});
  EXPECT_EQ(try_values(core.configuration, hidden).find("moves")->items().at(0).find("backup"), nullptr);
}

}  // namespace
