// The reference descriptions, changed at random, against everything computed anew: by batches in any order, at one
// strength or in steps, and undone. IPTASKS_CORE_CHANGES in the environment asks for so many changes of all cores in
// all, and for what they saw of each core's rules.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <random>
#include <set>

#include "kdi/common/KdiJson.h"
#include "kdi/common/KdiPattern.h"
#include "kdi/cores/Changes.h"
#include "tests/support/core_texts.h"
#include "tests/support/directed_walk.h"
#include "tests/support/places.h"
#include "tests/support/sanitized.h"
#include "tests/support/seen_core.h"
#include "tests/support/seen_rules.h"

namespace {

using namespace kdi::cores;
using plain_rules::computed_anew;
using plain_rules::difference;
using plain_rules::given;
using plain_rules::PlainRules;
using plain_rules::rules_of;
using plain_rules::seen;
using plain_rules::SeenCore;
using plain_rules::Sight;
using plain_rules::sights;
using plain_rules::ways_to;

struct Version {
  std::string core, version;
};
void PrintTo(Version const& version, std::ostream* out) { *out << version.core << " " << version.version; }

// Whatever stands in the folder of cores.
std::vector<Version> versions() {
  std::vector<Version> all;
  for (auto const& folder : std::filesystem::directory_iterator(places::data("cores"))) {
    const std::string core = folder.path().filename();
    if (!folder.is_directory() || core == "parts") continue;
    for (auto const& file : std::filesystem::directory_iterator(folder.path()))
      if (file.path().extension() == ".json" && file.path().filename() != "silent.json")
        all.push_back({core, file.path().stem()});
  }
  std::sort(all.begin(), all.end(), [](Version const& a, Version const& b) {
    return std::tie(a.core, a.version) < std::tie(b.core, b.version);
  });
  return all;
}

std::string name_of(testing::TestParamInfo<Version> const& one) {
  std::string name = one.param.core + "_" + one.param.version;
  std::replace(name.begin(), name.end(), '.', '_');
  return name;
}

// How many changes of each core; few unless more are asked for. Of a core without parameters there is nothing to
// change.
int cores_to_change() {
  const std::vector<Version> all = versions();
  return static_cast<int>(std::count_if(all.begin(), all.end(), [](Version const& one) {
    return !Core::read(places::data("cores"), one.core, one.version)->parameters().empty();
  }));
}
int changes_of_each() {
  char const* const all = std::getenv("IPTASKS_CORE_CHANGES");
  if (all == nullptr) return test_support::kSanitized ? 2 : 12;
  static const int each = std::stoi(all) / cores_to_change() + 1;
  return each;
}
bool is_long() { return std::getenv("IPTASKS_CORE_CHANGES") != nullptr; }

class Walk {
 public:
  Walk(PlainRules& rules, std::uint64_t seed) : rules_(rules), random_(seed) {}

  // So many changes of one instance, that begins with some.
  void run(int changes) {
    const Facts facts = plain_rules::some_facts(random_, rules_.core());
    Instance instance(rules_.shared(), facts);
    instance.set(first_settings(instance));
    SeenCore before = seen(instance);
    ASSERT_EQ(difference(rules_.core(), before, computed_anew(rules_, given(instance), facts)), "")
        << "at the beginning";
    for (int change = 0; change < changes; ++change) {
      Instance other_way = instance, undone = instance;
      const Batch batch = some_batch(instance);
      const std::vector<std::uint32_t> moved = apply(instance, batch, below(2) == 0);
      const SeenCore after = seen(instance);
      const std::string told = words(batch);
      ASSERT_EQ(difference(rules_.core(), after, computed_anew(rules_, given(instance), facts)), "") << told;
      for (std::uint32_t i = 0; i < after.first.size(); ++i)
        ASSERT_TRUE(after.first[i] == before.first[i] || std::binary_search(moved.begin(), moved.end(), i))
            << rules_.core().parameters()[i].name << " moved unsaid" << told;
      if (below(2) == 0) {
        Batch shuffled = batch;
        std::shuffle(shuffled.begin(), shuffled.end(), random_);
        for (auto const& one : shuffled) apply(other_way, {one}, true);
        ASSERT_EQ(difference(rules_.core(), seen(other_way), after), "") << "in another order" << told;
        Batch back;
        for (auto const& [parameter, text] : batch) back.emplace_back(parameter, undone.given(parameter));
        apply(undone, batch, true);
        std::shuffle(back.begin(), back.end(), random_);
        apply(undone, back, below(2) == 0);
        ASSERT_EQ(difference(rules_.core(), seen(undone), before), "") << "undone" << told;
        ++undone_;
      }
      before = after;
      ++changes_;
    }
  }

  int changes() const { return changes_; }
  int valid() const { return valid_; }
  /// Those that were made in another order as well, and undone.
  int undone() const { return undone_; }

 private:
  using Settings = std::vector<std::pair<std::uint32_t, std::string>>;
  // New texts, or that they are taken back; each parameter once.
  using Batch = std::vector<std::pair<std::uint32_t, std::optional<std::string>>>;

  std::uint64_t below(std::uint64_t bound) { return random_() % bound; }
  Settings first_settings(Instance const& instance) {
    Settings settings;
    const std::uint64_t sort = below(4);
    for (std::uint32_t i = 0; i < rules_.core().parameters().size(); ++i) {
      Parameter const& parameter = rules_.core().parameters()[i];
      if (!rules_.core().is_settable(i)) continue;
      if (sort == 1 && below(8) == 0) settings.emplace_back(i, valid_text(instance, i));
      if (sort >= 2 && parameter.type == Type(Kind::truth) && below(sort == 2 ? 2 : 8) == 0)
        settings.emplace_back(i, "1");
    }
    return settings;
  }

  Batch some_batch(Instance const& instance) {
    std::map<std::uint32_t, std::optional<std::string>> batch;
    const bool is_valid = below(2) == 0;
    valid_ += is_valid ? 1 : 0;
    const std::size_t all = rules_.core().parameters().size();
    for (std::size_t count = 1 + below(2) * below(4); batch.size() < std::min(count, all);) {
      std::uint32_t i = some_parameter(instance);
      if (below(5) == 0) {
        for (int tries = 0; tries < 20 && !instance.given(i); ++tries) i = some_parameter(instance);
        batch[i] = std::nullopt;
      } else {
        batch[i] = is_valid ? valid_text(instance, i) : invalid_text(instance);
      }
    }
    return {batch.begin(), batch.end()};
  }

  // Mostly one that users set, and that is enabled.
  std::uint32_t some_parameter(Instance const& instance) {
    for (int tries = 0;; ++tries) {
      const auto i = static_cast<std::uint32_t>(below(rules_.core().parameters().size()));
      const bool is_open = rules_.core().is_settable(i) && instance.is_enabled(i);
      if (is_open || below(4) == 0 || tries == 20) return i;
    }
  }

  std::string valid_text(Instance const& instance, std::uint32_t i) {
    return plain_rules::valid_text(random_, instance, i);
  }

  std::string invalid_text(Instance const& instance) {
    static const std::vector<std::string> kTexts = {"x", "", "-1", "99999999999", "1.5", "1e40", "0 1", "TRUE", "2"};
    // Often what another parameter might have.
    if (below(3) == 0) return valid_text(instance, some_parameter(instance));
    return plain_rules::one_of(random_, kTexts);
  }

  // At once, or by strengths one after the other, which ends at the same.
  static std::vector<std::uint32_t> apply(Instance& instance, Batch const& batch, bool at_once) {
    Settings settings;
    std::vector<std::uint32_t> taken, moved;
    for (auto const& [parameter, text] : batch)
      if (text)
        settings.emplace_back(parameter, *text);
      else
        taken.push_back(parameter);
    const auto add = [&](std::vector<std::uint32_t> const& some) {
      moved.insert(moved.end(), some.begin(), some.end());
    };
    if (at_once) {
      add(instance.take_back(taken, Strength::values));
      add(instance.set(settings));
    } else {
      add(instance.take_back(taken, Strength::values));
      add(instance.set(settings, Origin::user, Strength::values));
      add(instance.compute(Strength::ranges));
      add(instance.compute());
    }
    std::sort(moved.begin(), moved.end());
    return moved;
  }

  std::string words(Batch const& batch) const {
    std::string text;
    for (auto const& [parameter, value] : batch)
      text += "\n" + rules_.core().parameters()[parameter].name + " " + (value ? "\"" + *value + "\"" : "taken back");
    return text;
  }

  PlainRules& rules_;
  std::mt19937_64 random_;
  int changes_ = 0, valid_ = 0, undone_ = 0;
};

// What raises the messages of all cores, by the tables that hold their texts.
std::vector<std::vector<std::pair<std::string, std::string>>> const& table_rows() {
  static const auto rows = [] {
    std::vector<std::vector<std::pair<std::string, std::string>>> all;
    for (auto const& entry : std::filesystem::directory_iterator(places::source("tests/cores"))) {
      if (!entry.path().string().ends_with("_messages.json")) continue;
      const kdi::JsonFile file(entry.path());
      for (const kdi::JsonValue row : file.root().member("rows").items()) {
        auto& settings = all.emplace_back();
        for (const kdi::JsonValue setting : row.member("settings").members())
          settings.emplace_back(setting.name(), setting.text());
      }
    }
    return all;
  }();
  return rows;
}

// Sights that no configuration offers, each with the reason: `<core>: <rule> <what>`, with patterns.
std::map<std::string, std::string> const& never_seen() {
  static const auto all = [] {
    std::map<std::string, std::string> reasons;
    const kdi::JsonFile file(places::source("tests/cores/never_seen.json"));
    for (const kdi::JsonValue reason : file.root().members())
      for (const kdi::JsonValue item : reason.items())
        for (std::string const& name : kdi::expand(item.text(), 10'000)) reasons.emplace(name, reason.name());
    return reasons;
  }();
  return all;
}

class RealCores : public testing::TestWithParam<Version> {
 protected:
  int changes() const { return rules_.core().parameters().empty() ? 0 : changes_of_each(); }

  // What was not seen yet; of an older version, of the rules that the newest does not have as they are.
  std::vector<Sight> open() {
    std::vector<Sight> all = sights(rules_);
    std::erase_if(all, [&](Sight const& one) {
      return one.is_seen || newer_.contains(one.of.name + ": " + one.of.rule->written());
    });
    return all;
  }
  // The rules of the newest version, for an older one that is looked at for long.
  static std::set<std::string> rules_of_newest() {
    std::set<std::string> all;
    if (!is_long() || newest() == GetParam().version) return all;
    const auto core = Core::read(places::data("cores"), GetParam().core, newest());
    for (auto const& one : rules_of(*core)) all.insert(one.name + ": " + one.rule->written());
    return all;
  }

  // With these settings given at once, everything is what computing anew gives.
  void look_at(Instance& instance, std::vector<Change> const& changes, Facts const& facts) {
    make_changes(instance, changes);
    ASSERT_EQ(difference(rules_.core(), seen(instance), computed_anew(rules_, given(instance), facts)), "");
  }

  // Those of UART0 are looked at for the others as well.
  void look_at_tables() {
    for (auto const& row : table_rows())
      for (char const digit : {'0', '1', '2', '3'}) {
        std::vector<Change> changes;
        for (auto const& [name, value] : row)
          if (const auto number = shifted(name, digit)) changes.push_back({*number, value});
        if (changes.size() != row.size()) continue;
        Instance instance(rules_.shared());
        look_at(instance, changes, {});
      }
  }
  std::optional<std::uint32_t> shifted(std::string const& name, char digit) const {
    for (std::size_t at = name.find('0'); at != std::string::npos && digit != '0'; at = name.find('0', at + 1)) {
      std::string other = name;
      other[at] = digit;
      if (const auto number = rules_.core().find(other)) return number;
    }
    return rules_.core().find(name);
  }

  // Goes for what was not seen yet, from a few places and on a few devices.
  void look_for_the_rest() {
    std::vector<Change> all_on;
    for (std::uint32_t i = 0; i < rules_.core().parameters().size(); ++i)
      if (rules_.core().parameters()[i].type == Type(Kind::truth) && rules_.core().is_settable(i))
        all_on.push_back({i, "1"});
    for (std::string const device : {"", "0", "2", "100000"})
      for (auto const& first : {std::vector<Change>(), all_on}) {
        const std::vector<Sight> rest = open();
        if (rest.empty()) return;
        Facts facts;
        for (Fact const& fact : rules_.core().facts())
          if (!device.empty() && fact.type.is_number()) facts[fact.word] = device;
        Instance start(rules_.shared(), facts);
        look_at(start, first, facts);
        const auto goals = plain_rules::goals_of(rules_.core(), rest, places::data("cores"));
        for (auto const& way : ways_to(goals, start, facts)) {
          Instance instance = start;
          look_at(instance, way, facts);
        }
      }
  }

  // Walks at random among what has a part in what was not seen yet, for as long as that finds something.
  void walk_to_the_rest() {
    constexpr int kSteps = 4000, kInVain = 3;
    int in_vain = 0;
    for (unsigned round = 0; in_vain < kInVain; ++round) {
      const std::vector<Sight> rest = open();
      if (rest.empty()) return;
      const auto goals = plain_rules::goals_of(rules_.core(), rest, places::data("cores"));
      for (auto const& way : plain_rules::DirectedWalk(rules_, goals, round).run(kSteps * (1 + in_vain))) {
        Instance instance(rules_.shared(), way.facts);
        look_at(instance, way.changes, way.facts);
      }
      in_vain = open().size() < rest.size() ? 0 : in_vain + 1;
    }
  }

  std::string name_of_sight(Sight const& one) const {
    return rules_.core().name() + ": " + one.of.name + " " + one.what;
  }

  // What is listed as never seen is a sight of the core's, and was not seen.
  void hold_list() {
    std::map<std::string, bool> seen;
    for (Sight const& one : sights(rules_)) seen[name_of_sight(one)] |= one.is_seen;
    for (auto const& [name, reason] : never_seen()) {
      if (!name.starts_with(rules_.core().name() + ": ")) continue;
      ASSERT_TRUE(seen.contains(name)) << name << " is listed and is no rule";
      EXPECT_FALSE(seen[name]) << name << " is listed and is seen";
    }
  }

  static std::string newest() {
    std::string newest;
    for (Version const& version : versions())
      if (version.core == GetParam().core) newest = std::max(newest, version.version);
    return newest;
  }

  const std::set<std::string> newer_ = rules_of_newest();
  PlainRules rules_{Core::read(places::data("cores"), GetParam().core, GetParam().version)};
};

TEST_P(RealCores, AreWhatComputingAnewGives) {
  constexpr int kOfOne = 40;
  const auto begin = std::chrono::steady_clock::now();
  int made = 0, valid = 0, undone = 0;
  for (std::uint64_t seed = 1; made < changes(); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    Walk walk(rules_, seed);
    walk.run(std::min(kOfOne, changes() - made));
    if (HasFatalFailure()) return;
    made += walk.changes();
    valid += walk.valid();
    undone += walk.undone();
  }
  if (newest() == GetParam().version) hold_list();
  if (!is_long()) return;
  const std::size_t all = sights(rules_).size(), behind_changes = open().size();
  look_at_tables();
  const std::size_t behind_tables = open().size();
  walk_to_the_rest();
  const std::size_t behind_walks = open().size();
  look_for_the_rest();
  std::printf(
      "%s %s: %d changes, %d of them valid, %d undone; %zu rules, %zu sights, not seen %zu, behind the tables %zu, "
      "behind directed walks %zu, at last %zu; "
      "%.1f s\n",
      GetParam().core.c_str(), GetParam().version.c_str(), made, valid, undone, rules_of(rules_.core()).size(), all,
      behind_changes, behind_tables, behind_walks, open().size(),
      std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count());
  if (newest() == GetParam().version) hold_list();
  std::set<std::string> names;
  for (Sight const& one : open()) names.insert(name_of_sight(one));
  for (std::string const& name : names) std::printf("never seen: %s\n", name.c_str());
  for (std::string const& name : names) EXPECT_TRUE(never_seen().contains(name)) << name << " is never seen";
}

INSTANTIATE_TEST_SUITE_P(All, RealCores, testing::ValuesIn(versions()), name_of);

}  // namespace
