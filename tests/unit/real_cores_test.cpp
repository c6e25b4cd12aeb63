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

#include "tests/support/places.h"
#include "tests/support/sanitized.h"
#include "tests/support/seen_core.h"

namespace {

using namespace kdi::cores;
using plain_rules::computed_anew;
using plain_rules::difference;
using plain_rules::given;
using plain_rules::PlainRules;
using plain_rules::seen;
using plain_rules::SeenCore;

struct Version {
  std::string core, version;
};
void PrintTo(Version const& version, std::ostream* out) { *out << version.core << " " << version.version; }

// Whatever stands in the folder of cores.
std::vector<Version> versions() {
  std::vector<Version> all;
  for (auto const& entry : std::filesystem::recursive_directory_iterator(places::data("cores"))) {
    const std::string core = entry.path().parent_path().filename(), file = entry.path().filename();
    if (core != "parts" && entry.path().extension() == ".json" && file != "silent.json")
      all.push_back({core, entry.path().stem()});
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

// How many changes of each core; few unless more are asked for.
int changes_of_each() {
  if (char const* const all = std::getenv("IPTASKS_CORE_CHANGES"))
    return std::max(1, std::stoi(all) / static_cast<int>(versions().size()));
  return test_support::kSanitized ? 2 : 12;
}
bool is_long() { return std::getenv("IPTASKS_CORE_CHANGES") != nullptr; }

class Walk {
 public:
  Walk(PlainRules& rules, std::uint64_t seed) : rules_(rules), random_(seed) {}

  // So many changes of one instance, that begins with some.
  void run(int changes) {
    const Facts facts = some_facts();
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
      }
      before = after;
      ++changes_;
    }
  }

  int changes() const { return changes_; }
  int valid() const { return valid_; }

 private:
  using Settings = std::vector<std::pair<std::uint32_t, std::string>>;
  // New texts, or that they are taken back; each parameter once.
  using Batch = std::vector<std::pair<std::uint32_t, std::optional<std::string>>>;

  std::uint64_t below(std::uint64_t bound) { return random_() % bound; }
  template <class List>
  auto const& one_of(List const& list) {
    return list[below(list.size())];
  }

  // About what there is without a device.
  Facts some_facts() {
    Facts facts;
    for (Fact const& fact : rules_.core().facts()) {
      if (below(2) == 0) continue;
      const Cell without = fact.without.cell();
      switch (fact.type.kind()) {
        case Kind::truth:
          facts[fact.word] = std::to_string(below(2));
          break;
        case Kind::integer:
          facts[fact.word] = std::to_string(below(2) == 0 ? below(17) : without.integer() * below(3) / 2);
          break;
        case Kind::decimal:
          facts[fact.word] = (without.decimal() * Decimal::of(static_cast<std::int64_t>(5 + below(11)), 1)).text();
          break;
        default:
          facts[fact.word] = below(2) == 0 ? "" : "2";
      }
    }
    return facts;
  }

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
    Parameter const& parameter = rules_.core().parameters()[i];
    const std::vector<std::string> range = instance.range(i);
    const bool has_limits =
        parameter.limits || (parameter.range && parameter.widget == Widget::edit && parameter.type.is_number());
    if (parameter.type == Type(Kind::truth) && range.empty())
      return one_of(std::vector<std::string>{"0", "1", "true", "false"});
    if (range.empty()) {
      static const std::vector<std::string> kNumbers = {"0", "1", "2", "3", "7", "8", "33", "100", "4096"},
                                            kTexts = {"", "a", "0", "1", "0x10", "VCC_SAT 1", "0 1 2 3", "PMC_MIO 12"};
      return one_of(parameter.type.is_number() ? kNumbers : kTexts);
    }
    if (!has_limits) return one_of(range);
    const auto least = *Decimal::read(range.front()), most = *Decimal::read(range.back());
    // Mostly near the ends, and somewhere between.
    const std::uint64_t sort = below(4);
    const Decimal steps = static_cast<std::int64_t>(below(sort == 3 ? 1000 : 3));
    const Decimal value = sort == 0 ? most - steps : least + steps;
    return value < least || most < value ? range.front() : value.text();
  }

  std::string invalid_text(Instance const& instance) {
    static const std::vector<std::string> kTexts = {"x", "", "-1", "99999999999", "1.5", "1e40", "0 1", "TRUE", "2"};
    // Often what another parameter might have.
    if (below(3) == 0) return valid_text(instance, some_parameter(instance));
    return one_of(kTexts);
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
  int changes_ = 0, valid_ = 0;
};

class RealCores : public testing::TestWithParam<Version> {};

TEST_P(RealCores, AreWhatComputingAnewGives) {
  constexpr int kOfOne = 40;
  const auto begin = std::chrono::steady_clock::now();
  PlainRules rules(Core::read(places::data("cores"), GetParam().core, GetParam().version));
  const int changes = changes_of_each();
  int made = 0, valid = 0;
  for (std::uint64_t seed = 1; made < changes; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    Walk walk(rules, seed);
    walk.run(std::min(kOfOne, changes - made));
    if (HasFatalFailure()) return;
    made += walk.changes();
    valid += walk.valid();
  }
  if (is_long())
    std::printf("%s %s: %d changes, %d of them valid, %.1f s\n", GetParam().core.c_str(), GetParam().version.c_str(),
                made, valid, std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count());
}

INSTANTIATE_TEST_SUITE_P(All, RealCores, testing::ValuesIn(versions()), name_of);

}  // namespace
