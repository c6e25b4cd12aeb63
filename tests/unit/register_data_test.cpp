// The shipped registers: every parameter has a field or is listed, each moves its own fields alone, and hardware that
// carries the commands out comes to hold what the configuration means.
#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <optional>
#include <regex>
#include <set>

#include "kdi/cdo/Cdo.h"
#include "kdi/common/KdiText.h"
#include "kdi/cores/Outputs.h"
#include "kdi/cores/RegisterMemory.h"
#include "kdi/cores/Registers.h"
#include "kdi/cores/Store.h"
#include "tests/support/random.h"

namespace {

using namespace kdi::cores;
namespace cdo = kdi::cdo;

struct Shipped {
  Shipped(std::string const& name, std::string const& version)
      : core(core_description(name, version)), map(RegisterMap::of(core)), instance(core) {}
  std::shared_ptr<Core const> core;
  std::shared_ptr<RegisterMap const> map;
  Instance instance;
};

// All cores with registers; of those with several versions the first and the last.
std::vector<std::pair<std::string, std::string>> cores() {
  std::vector<std::pair<std::string, std::string>> all;
  for (std::string const& name : core_names()) {
    const std::vector<std::string> versions = core_versions(name);
    all.emplace_back(name, versions.front());
    if (versions.size() > 1) all.emplace_back(name, versions.back());
  }
  std::erase_if(all, [](auto const& one) {
    return RegisterMap::of(core_description(one.first, one.second))->registers().empty();
  });
  return all;
}

void collect(Core const& core, Rule const& rule, std::set<std::uint32_t>& parameters) {
  for (const std::uint32_t slot : rule.reads()) {
    if (slot < core.fact_slot(0))
      parameters.insert(slot / Core::kSlots);
    else if (slot >= core.definition_slot(0))
      collect(core, core.definitions()[slot - core.definition_slot(0)].rule, parameters);
  }
}

// A page of registers is read by people: what is there is told by its name and in words.
TEST(RegisterData, HaveNamesThatSaySomething) {
  const std::regex filler("SETTINGS.*|(REGISTER|VALUE|FIELD)[0-9]*"), says_nothing("What is set.*|\\s*");
  for (auto const& [name, version] : cores()) {
    const Shipped shipped(name, version);
    for (RegisterBlock const& block : shipped.map->blocks())
      EXPECT_FALSE(std::regex_match(block.meaning, says_nothing)) << name << " " << version << ": " << block.name;
    for (Register const& reg : shipped.map->registers()) {
      const std::string where = name + " " + version + ": " + shipped.map->blocks()[reg.block].name + "." + reg.name;
      EXPECT_FALSE(std::regex_match(reg.name, filler)) << where;
      EXPECT_FALSE(std::regex_match(reg.meaning, says_nothing)) << where;
      for (RegisterField const& field : reg.fields) {
        EXPECT_FALSE(std::regex_match(field.name, filler)) << where << "." << field.name;
        EXPECT_FALSE(std::regex_match(field.meaning, says_nothing)) << where << "." << field.name;
      }
    }
  }
}

TEST(RegisterData, HoldEveryParameterOrSayWhyNot) {
  for (auto const& [name, version] : cores()) {
    SCOPED_TRACE(name + " " + version);
    const Shipped shipped(name, version);
    std::set<std::uint32_t> bound;
    for (Register const& reg : shipped.map->registers())
      for (RegisterField const& field : reg.fields) bound.insert(field.parameters.begin(), field.parameters.end());
    for (RegisterSequence const& sequence : shipped.map->sequences())
      if (sequence.when) collect(*shipped.core, *sequence.when, bound);
    // Texts that hold other parameters have no place of their own.
    for (Composite const& composite : shipped.core->composites()) {
      bound.insert(composite.parameter);
      if (composite.internal) bound.insert(*composite.internal);
    }
    std::string missing;
    std::size_t without = 0;
    for (std::uint32_t i = 0; i < shipped.core->parameters().size(); ++i) {
      const auto elsewhere = shipped.map->elsewhere().find(i);
      const bool is_listed = elsewhere != shipped.map->elsewhere().end();
      if (is_listed && elsewhere->second.file.empty() && !bound.contains(i)) ++without;
      if (!is_listed && !bound.contains(i)) missing += " " + shipped.core->parameters()[i].name;
    }
    EXPECT_EQ(missing, "");
    EXPECT_LE(without * 100, shipped.core->parameters().size() * 15);
    RecordProperty(name + "_" + version + "_registers", static_cast<int>(shipped.map->registers().size()));
    RecordProperty(name + "_" + version + "_bound", static_cast<int>(bound.size()));
  }
}

bool tells_errors(Instance& instance) {
  const std::vector<Due> due = instance.messages();
  return std::any_of(due.begin(), due.end(), [](Due const& one) { return one.severity == Severity::error; });
}

// What fields hold; nothing for a configuration that they cannot.
std::optional<std::vector<std::vector<std::uint32_t>>> fields_of(Shipped& shipped) {
  try {
    const RegisterImage image(*shipped.map, shipped.instance);
    std::vector<std::vector<std::uint32_t>> values;
    for (std::uint32_t r = 0; r < shipped.map->registers().size(); ++r) {
      values.emplace_back();
      for (std::uint32_t f = 0; f < shipped.map->registers()[r].fields.size(); ++f)
        values.back().push_back(image.field(r, f));
    }
    return values;
  } catch (RegisterError const& error) {
    // Whatever registers cannot hold the core has told of; all else would be a fault of the data.
    EXPECT_TRUE(tells_errors(shipped.instance)) << error.what();
    return std::nullopt;
  }
}

// A value that the parameter may have besides the present one.
std::optional<std::string> other_value(Instance const& instance, std::uint32_t number, test_support::Random& random) {
  Parameter const& parameter = instance.core().parameters()[number];
  const std::string present = instance.backup(number);
  if (parameter.type == Type(Kind::truth)) return present == "1" ? "0" : "1";
  const std::vector<std::string> range = instance.range(number);
  if (range.empty()) return std::nullopt;
  const std::string value = range[random.below(static_cast<unsigned>(range.size()))];
  return value == present ? std::nullopt : std::optional(value);
}

// What can be asked of a parameter.
using State = std::vector<std::pair<std::string, bool>>;
State state_of(Instance const& instance) {
  State state;
  for (std::uint32_t i = 0; i < instance.core().parameters().size(); ++i)
    // What is given is shown while it is out of range, whatever is in effect in its place.
    state.emplace_back(
        instance.value(i) + "\n" + instance.backup(i) + "\n" + kdi::text::joined(instance.range(i), "\n"),
        instance.is_enabled(i));
  return state;
}

TEST(RegisterData, MoveWithTheirParametersAlone) {
  test_support::Random random(test_support::fresh_seed());
  std::size_t changes = 0, moved_fields = 0;
  for (auto const& [name, version] : cores()) {
    SCOPED_TRACE(name + " " + version);
    Shipped shipped(name, version);
    auto before = fields_of(shipped);
    auto state = state_of(shipped.instance);
    const std::uint32_t count = static_cast<std::uint32_t>(shipped.core->parameters().size());
    for (int round = 0; round < 60; ++round) {
      const std::uint32_t number = random.below(count);
      const auto value = other_value(shipped.instance, number, random);
      if (!value || !shipped.core->is_settable(number)) continue;
      shipped.instance.set({{number, *value}});
      const auto after = fields_of(shipped);
      const auto state_after = state_of(shipped.instance);
      if (before && after) {
        ++changes;
        for (std::uint32_t r = 0; r < after->size(); ++r)
          for (std::uint32_t f = 0; f < (*after)[r].size(); ++f) {
            if ((*after)[r][f] == (*before)[r][f]) continue;
            ++moved_fields;
            std::vector<std::uint32_t> const& own = shipped.map->registers()[r].fields[f].parameters;
            EXPECT_TRUE(
                std::any_of(own.begin(), own.end(), [&](std::uint32_t p) { return state[p] != state_after[p]; }))
                << shipped.map->name(r) << " moves with " << shipped.core->parameters()[number].name;
          }
      }
      before = after;
      state = state_after;
    }
  }
  EXPECT_GT(changes, 300U);
  EXPECT_GT(moved_fields, 200U);
}

// A parameter that a field holds by itself is seen there, for each of its values.
TEST(RegisterData, TellValuesOfAParameterApart) {
  std::size_t seen = 0;
  for (auto const& [name, version] : cores()) {
    SCOPED_TRACE(name + " " + version);
    Shipped shipped(name, version);
    for (std::uint32_t r = 0; r < shipped.map->registers().size(); ++r)
      for (RegisterField const& field : shipped.map->registers()[r].fields) {
        if (!field.value || field.parameters.size() != 1) continue;
        Parameter const& parameter = shipped.core->parameters()[field.parameters.front()];
        if (parameter.type == Type(Kind::decimal)) continue;
        // As many values as the parameter has are as many words of the field.
        if (parameter.values().empty() || parameter.enabled || parameter.derived || parameter.search) continue;
        std::set<std::uint32_t> words;
        std::set<std::string> values;
        for (std::string const& value : parameter.values()) {
          shipped.instance.set({{field.parameters.front(), value}}, Origin::user, Strength::ranges);
          if (shipped.instance.value(field.parameters.front()) != value) continue;
          const auto fields = fields_of(shipped);
          if (!fields) continue;
          values.insert(value);
          words.insert((*fields)[r][static_cast<std::size_t>(&field - shipped.map->registers()[r].fields.data())]);
        }
        shipped.instance.take_back({field.parameters.front()});
        EXPECT_EQ(words.size(), values.size()) << shipped.map->name(r) << "." << field.name;
        ++seen;
      }
  }
  EXPECT_GT(seen, 20U);
}

TEST(RegisterData, AreWhatHardwareComesToHold) {
  test_support::Random random(test_support::fresh_seed());
  std::size_t compared = 0;
  for (auto const& [name, version] : cores()) {
    SCOPED_TRACE(name + " " + version);
    Shipped shipped(name, version);
    const std::uint32_t count = static_cast<std::uint32_t>(shipped.core->parameters().size());
    for (int round = 0; round < 4; ++round) {
      std::vector<std::pair<std::uint32_t, std::string>> values;
      for (int i = 0; i < 25; ++i) {
        const std::uint32_t number = random.below(count);
        const auto value = other_value(shipped.instance, number, random);
        if (value && shipped.core->is_settable(number)) values.emplace_back(number, *value);
      }
      shipped.instance.set(values);
      if (!fields_of(shipped)) continue;
      const RegisterImage image(*shipped.map, shipped.instance);
      const std::vector<RegisterCommand> commands = image.commands(shipped.map->outputs());
      kdi::cores::RegisterMemory memory(*shipped.map);
      memory.run(cdo::from_binary(cdo::to_binary(plain(commands)), "binary"));
      std::set<std::pair<std::uint32_t, std::uint32_t>> written;
      for (RegisterCommand const& command : commands)
        for (RegisterSetting const& setting : command.settings) written.emplace(setting.reg, setting.field);
      for (std::uint32_t r = 0; r < shipped.map->registers().size(); ++r)
        for (std::uint32_t f = 0; f < shipped.map->registers()[r].fields.size(); ++f) {
          RegisterField const& field = shipped.map->registers()[r].fields[f];
          const std::uint32_t held = memory.field(shipped.map->name(r), field.name);
          if (!field.value && !field.pad) continue;
          EXPECT_EQ(held, written.contains({r, f}) ? image.field(r, f) : field.reset)
              << shipped.map->name(r) << "." << field.name;
          ++compared;
        }
    }
  }
  EXPECT_GT(compared, 10'000U);
}

TEST(RegisterData, TellConstraintsAndPower) {
  Shipped shipped("pspmc", "1.0");
  const auto set = [&](std::string const& name, std::string const& value) {
    shipped.instance.set({{*shipped.core->find(name), value}});
  };
  EXPECT_TRUE(constraint_lines(*shipped.map, shipped.instance).empty());
  set("PS_USE_PMCPL_CLK1", "1");
  EXPECT_EQ(constraint_lines(*shipped.map, shipped.instance),
            std::vector<std::string>{"create_clock -name clk_pl_1 -period 10 [get_pins -hierarchical *PMCPLCLK1]"});
  const auto sum = [&] {
    Decimal all;
    for (PowerRow const& row : power_rows(*shipped.map, shipped.instance)) all = all + row.milliwatts;
    return all;
  };
  const Decimal before = sum();
  set("PS_UART0_PERIPHERAL_ENABLE", "1");
  EXPECT_GT(sum(), before);
}

}  // namespace
