// The reference descriptions of cores: the names that others rely on, every message raised, and no parameter without
// consequence.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <random>
#include <set>

#include "kdi/common/KdiFile.h"
#include "kdi/common/KdiJson.h"
#include "kdi/common/KdiPattern.h"
#include "kdi/common/KdiText.h"
#include "kdi/cores/Configuration.h"
#include "kdi/cores/Instance.h"
#include "tests/support/places.h"
#include "tests/support/random.h"
#include "tests/support/sanitized.h"

namespace {

using namespace kdi::cores;
using Settings = std::vector<std::pair<std::string, std::string>>;

std::shared_ptr<Core const> core_of(std::string const& name, std::string const& version) {
  static std::map<std::string, std::shared_ptr<Core const>> read;
  std::shared_ptr<Core const>& core = read[name + "/" + version];
  if (!core) core = Core::read(places::data("cores"), name, version);
  return core;
}

struct Version {
  char const* core;
  char const* version;
};
void PrintTo(Version const& version, std::ostream* out) { *out << version.core << " " << version.version; }

// ------------------------------------------------------------------------------------------------------------- names

std::set<std::string> keys_of(std::string_view type) {
  std::set<std::string> keys;
  const std::string text = kdi::read_file(places::data("psmodels/names.csv"));
  for (std::string_view line : kdi::text::words(text, "\n")) {
    const std::vector<std::string_view> fields = kdi::text::split(line, ',');
    if (fields.at(0) == type) keys.emplace(fields.at(2));
  }
  return keys;
}

// What hardware definitions say of a processing system, by the parameters that it is read from.
constexpr char const* kRead =
    "SEM_CONFIG_MEM_SCAN SEM_CONFIG_NPI_SCAN SEM_NPI_GOLDEN_CHECKSUM_SW PMC_CDO_LOAD_STAGE "
    "FPD_CDO_LOAD_STAGE LPD_CDO_LOAD_STAGE PS_LPD_PL_INTERFACE_ENABLE "
    "PS_FPD_PL_INTERFACE_ENABLE PMC_PMC_PL_INTERFACE_ENABLE PS_NUM_FABRIC_RESETS "
    "PS_USE_PMCPL_CLK0 PS_USE_PMCPL_CLK1 PS_USE_PMCPL_CLK2 PS_USE_PMCPL_CLK3 "
    "PMC_SMAP_PERIPHERAL_IO CPM_PCIE0_PL_INTERFACE_ENABLE CPM_PCIE1_PL_INTERFACE_ENABLE "
    "CPM_REQ_AGENTS_0_ENABLE CPM_REQ_AGENTS_1_ENABLE";
constexpr char const* kReadOfLarger =
    "SEM_CONFIG_MEM_SCAN PMCX_CDO_LOAD_STAGE FPD_CDO_LOAD_STAGE LPD_CDO_LOAD_STAGE "
    "PSX_LPD_PL_INTERFACE_ENABLE PSX_FPD_PL_INTERFACE_ENABLE PMCX_PMCX_PL_INTERFACE_ENABLE "
    "PSX_NUM_FABRIC_RESETS PSX_USE_PMCPL_CLK0 PSX_USE_PMCPL_CLK1 PSX_USE_PMCPL_CLK2 "
    "PSX_USE_PMCPL_CLK3 PMCX_SMAP_PERIPHERAL_IO PSX_HSDP_MODE PSX_HSDP_INGRESS_TRAFFIC "
    "PSX_HSDP_EGRESS_TRAFFIC PSX_HSDP_AURORA_LINE_RATE PSX_HSDP_REFCLK_FREQMHZ PSX_HSDP0_REFCLK "
    "PSX_HSDP1_REFCLK PSX_CRL_CPM_TOPSW_REF_CTRL_SRCSEL PSX_CRL_CPM_TOPSW_REF_CTRL_FREQMHZ "
    "PSX_CRL_CPM_TOPSW_REF_CTRL_DIVISOR0 PSX_CRL_CPM_TOPSW_REF_CTRL_ACT_FREQMHZ PSX_PCIE_RESET "
    "PMCX_CRP_NPI_REF_CTRL_FREQMHZ PMCX_PRESET_MIO_0 PMCX_PRESET_MIO_51 PSX_PRESET_MIO_0 "
    "PSX_PRESET_MIO_25 PSX_USE_PCIE_AXI_NOC0 PSX_USE_PCIE_AXI_NOC1 PSX_USE_PCIE_AXI_NOC2 "
    "PSX_USE_PCIE_AXI_NOC3 PSX_USE_NOC_AXI_PCIE0 CPM_TANDEM_MODE CPM_PCIE0_MODES CPM_PCIE1_MODES "
    "CPM_PCIE2_MODES CPM_PCIE3_MODES CPM_PCIE0_PORT_TYPE CPM_PCIE1_PORT_TYPE CPM_PCIE2_PORT_TYPE "
    "CPM_PCIE3_PORT_TYPE";
// What the models spell themselves of the system monitor.
constexpr char const* kMonitor =
    "SMON_OT SMON_PMBUS_ADDRESS SMON_PMBUS_UNRESTRICTED SMON_ENABLE_TEMP_AVERAGING "
    "SMON_USER_TEMP SMON_ENABLE_INT_VOLTAGE_MONITORING SMON_VOLTAGE_AVERAGING_SAMPLES "
    "SMON_ALARMS SMON_REFERENCE_SOURCE SMON_MEASUREMENT_LIST SMON_MEASUREMENT_COUNT "
    "SMON_HI_PERF_MODE SMON_INT_MEASUREMENT_ENABLE SMON_INT_MEASUREMENT_MODE "
    "SMON_INT_MEASUREMENT_TH_LOW SMON_INT_MEASUREMENT_TH_HIGH "
    "SMON_INT_MEASUREMENT_ALARM_ENABLE SMON_INT_MEASUREMENT_AVG_ENABLE "
    "DEVICE_INTEGRITY_MODE";

// Every key of the class, so many, and what others spell themselves.
void expect_names(Core const& core, std::string_view type, std::size_t count, char const* others) {
  const std::set<std::string> keys = keys_of(type);
  EXPECT_EQ(keys.size(), count);
  for (std::string const& key : keys) EXPECT_TRUE(core.find(key)) << key;
  for (char const* const names : {others, kMonitor})
    for (std::string_view name : kdi::text::words(names, " ")) EXPECT_TRUE(core.find(name)) << name;
}

class PlatformControllers : public ::testing::TestWithParam<Version> {};

TEST_P(PlatformControllers, HaveAllNames) {
  expect_names(*core_of(GetParam().core, GetParam().version), "PSPMCParameters", 421, kRead);
}

class LargerSystems : public ::testing::TestWithParam<Version> {};

TEST_P(LargerSystems, HaveAllNames) {
  expect_names(*core_of(GetParam().core, GetParam().version), "PSXLParameters", 593, kReadOfLarger);
}

class CardSystems : public ::testing::TestWithParam<Version> {};

TEST_P(CardSystems, HaveAllNames) {
  expect_names(*core_of(GetParam().core, GetParam().version), "PSParameters", 565, kRead);
}

constexpr Version kCardSystems[] = {{"pmcps", "1.0"}, {"ps11", "1.0"}};
INSTANTIATE_TEST_SUITE_P(Cores, CardSystems, ::testing::ValuesIn(kCardSystems));

constexpr Version kLargerSystems[] = {{"psxl", "1.0"}};
constexpr Version kLargerWizards[] = {{"psxl_wizard", "1.0"},
                                      {"psx_wizard", "1.0"},
                                      {"psx_wizard", "9.99.z"},
                                      {"ps_wizard", "1.0"},
                                      {"ps_wizard", "99.0"}};
INSTANTIATE_TEST_SUITE_P(Cores, LargerSystems, ::testing::ValuesIn(kLargerSystems));

constexpr Version kPlatformControllers[] = {
    {"pspmc", "1.0"},  {"pspmc", "1.1"},       {"pspmc", "1.2"},       {"pspmc", "1.3"},       {"pspmc", "1.4"},
    {"pspmcx", "1.0"}, {"tavrel_cips", "3.1"}, {"tavrel_cips", "3.2"}, {"tavrel_cips", "3.3"}, {"tavrel_cips", "3.4"}};
INSTANTIATE_TEST_SUITE_P(Cores, PlatformControllers, ::testing::ValuesIn(kPlatformControllers));

class Family : public ::testing::TestWithParam<Version> {};

TEST_P(Family, IsTold) {
  const auto core = core_of(GetParam().core, GetParam().version);
  for (Parameter const& parameter : core->parameters()) {
    EXPECT_FALSE(parameter.group().empty()) << parameter.name;
    EXPECT_FALSE(parameter.display_name().empty()) << parameter.name;
    EXPECT_TRUE(parameter.description().ends_with('.')) << parameter.name << ": " << parameter.description();
  }
}

TEST_P(Family, BeginsWithoutMessages) {
  Instance fresh(core_of(GetParam().core, GetParam().version));
  for (Due const& due : fresh.messages()) ADD_FAILURE() << due.name << ": " << due.text;
}

constexpr Version kEarlier[] = {
    {"ps_pmc", "1.0"}, {"tavrel_cips", "1.0"}, {"tavrel_cips", "2.0"}, {"tavrel_cips", "2.1"}};
INSTANTIATE_TEST_SUITE_P(Cores, Family, ::testing::ValuesIn(kPlatformControllers));
INSTANTIATE_TEST_SUITE_P(LargerCores, Family, ::testing::ValuesIn(kLargerSystems));
INSTANTIATE_TEST_SUITE_P(LargerWizards, Family, ::testing::ValuesIn(kLargerWizards));
INSTANTIATE_TEST_SUITE_P(CardCores, Family, ::testing::ValuesIn(kCardSystems));
INSTANTIATE_TEST_SUITE_P(EarlierCores, Family, ::testing::ValuesIn(kEarlier));

constexpr Version kBlocks[] = {{"xram", "1.0"}, {"cpm", "1.0"},         {"cpm4", "1.0"},        {"cpm4_tavrel", "1.0"},
                               {"cpm5", "1.0"}, {"cpm5_tavrel", "1.0"}, {"cpm5n", "1.0"},       {"ai_engine", "1.0"},
                               {"mmi", "1.0"},  {"visp", "1.0"},        {"hnicx_wizard", "1.0"}};
INSTANTIATE_TEST_SUITE_P(Blocks, Family, ::testing::ValuesIn(kBlocks));

constexpr Version kSmallSystems[] = {{"ps7", "1.4"}, {"psu", "1.0"}};
INSTANTIATE_TEST_SUITE_P(SmallSystems, Family, ::testing::ValuesIn(kSmallSystems));

// ---------------------------------------------------------------------------------------------------------- messages

struct Row {
  std::string table, core, version, parameter, message, text;
  Settings settings;
};

std::vector<std::string> files_below(std::string const& folder, std::string_view end) {
  std::vector<std::string> files;
  for (auto const& entry : std::filesystem::recursive_directory_iterator(folder))
    if (entry.path().string().ends_with(end)) files.push_back(entry.path().string());
  std::sort(files.begin(), files.end());
  return files;
}

// Rows are of their table's core and version unless they say otherwise.
void read_rows(std::string const& path, std::vector<Row>& read) {
  const kdi::JsonFile file(path);
  for (const kdi::JsonValue row : file.root().member("rows").items()) {
    row.allow_only({"core", "version", "parameter", "message", "settings", "text"});
    const auto word = [&](char const* field) {
      const auto found = row.find(field);
      return std::string(found ? found->text() : file.root().member(field).text());
    };
    read.push_back({std::filesystem::path(path).stem(),
                    word("core"),
                    word("version"),
                    std::string(row.member("parameter").text()),
                    std::string(row.member("message").text()),
                    std::string(row.member("text").text()),
                    {}});
    for (const kdi::JsonValue setting : row.member("settings").members())
      read.back().settings.emplace_back(setting.name(), setting.text());
  }
}

// Of all families: each has a table.
std::vector<Row> const& rows() {
  static const std::vector<Row> all = [] {
    std::vector<Row> read;
    for (std::string const& path : files_below(places::source("tests/cores"), "_messages.json")) read_rows(path, read);
    return read;
  }();
  return all;
}

// By the engine's name, or one that users have.
std::optional<std::uint32_t> known(Core const& core, std::string_view name) {
  const auto number = core.find(name);
  return number ? number : core.find_user_name(name);
}

void give(Instance& instance, Settings const& settings, Strength strength = Strength::searches) {
  std::vector<std::pair<std::uint32_t, std::string>> values;
  for (auto const& [name, value] : settings) {
    const auto number = known(instance.core(), name);
    ASSERT_TRUE(number) << name;
    values.emplace_back(*number, value);
  }
  instance.set(values, Origin::user, strength);
}

void take_back(Instance& instance, Settings const& settings, Strength strength = Strength::searches) {
  std::vector<std::uint32_t> numbers;
  for (auto const& [name, value] : settings) numbers.push_back(known(instance.core(), name).value());
  instance.take_back(numbers, strength);
}

TEST(CoreMessages, AreRaisedAndClearedAsTold) {
  std::map<std::string, Instance> instances;
  int count = 0;
  for (Row const& row : rows()) {
    if (count++ % 8 != 0 && test_support::kSanitized) continue;
    Instance& instance =
        instances.try_emplace(row.core + "/" + row.version, core_of(row.core, row.version)).first->second;
    const auto number = instance.core().find(row.parameter);
    ASSERT_TRUE(number) << row.parameter;
    const auto text_now = [&]() -> std::string {
      for (Due const& due : instance.messages())
        if (due.parameter == *number && due.name == row.message) return due.text;
      return "(none)";
    };
    EXPECT_EQ(text_now(), "(none)") << row.parameter;
    give(instance, row.settings);
    EXPECT_EQ(text_now(), row.text) << row.parameter;
    for (Due const& due : instance.messages()) EXPECT_NE(due.name, "rule") << due.text;
    take_back(instance, row.settings);
    EXPECT_EQ(text_now(), "(none)") << row.parameter;
  }
}

// Whether `name` is one that `form` stands for, each `${place}` in it being any text.
bool is_of(std::string_view name, std::string_view form) {
  for (;;) {
    const std::size_t place = form.find("${");
    if (place == std::string_view::npos) return name.ends_with(form);
    if (!name.starts_with(form.substr(0, place))) return false;
    name.remove_prefix(place + 1 < name.size() ? place + 1 : name.size());
    form.remove_prefix(form.find('}', place) + 1);
    const std::string_view next = form.substr(0, form.find("${"));
    const std::size_t at = next.size() == form.size() ? name.rfind(next) : name.find(next);
    if (at == std::string_view::npos) return false;
    name.remove_prefix(at);
  }
}

// An entry with a pattern is one message, however many parameters it stands for.
TEST(CoreMessages, AreManyAndAllInATable) {
  std::map<std::string, std::size_t> counts;  // by table
  for (std::string const& path : files_below(places::data("cores"), ".json")) {
    const kdi::JsonFile file(path);
    for (char const* list : {"parameters", "changed"}) {
      const auto entries = file.root().find(list);
      if (!entries) continue;
      for (const kdi::JsonValue entry : entries->items()) {
        const auto messages = entry.find("messages");
        if (!messages) continue;
        for (const kdi::JsonValue message : messages->items()) {
          std::set<std::string> tables;
          for (Row const& row : rows())
            if (row.message == message.member("name").text() && is_of(row.parameter, entry.member("name").text()))
              tables.insert(row.table);
          EXPECT_FALSE(tables.empty()) << message.place();
          for (std::string const& table : tables) ++counts[table];
        }
      }
    }
  }
  for (char const* const table : {"pspmc_messages", "psxl_messages"}) EXPECT_GE(counts[table], 100U) << table;
}

// ------------------------------------------------------------------------------------------------------ consequences

// What others see of a parameter.
using Face = std::tuple<std::string, std::string, bool, std::vector<std::string>>;
Face face(Instance const& instance, std::uint32_t parameter) {
  return {instance.value(parameter), instance.backup(parameter), instance.is_enabled(parameter),
          instance.range(parameter)};
}

std::vector<std::string> candidates(Instance const& instance, std::uint32_t parameter) {
  Parameter const& described = instance.core().parameters()[parameter];
  if (described.type == Type(Kind::truth)) return {instance.backup(parameter) == "1" ? "0" : "1"};
  std::vector<std::string> some = instance.range(parameter);
  if (some.empty()) some = {"VCCINT 1", "1"};
  if (some.size() > 8) some.resize(8);
  return some;
}

// Of everything but what is said of the parameter's own range.
std::vector<Due> said_but(std::uint32_t parameter, std::vector<Due> due) {
  due.erase(std::remove_if(due.begin(), due.end(),
                           [&](Due const& one) { return one.parameter == parameter && one.name == "range"; }),
            due.end());
  return due;
}

class Consequences {
 public:
  explicit Consequences(std::shared_ptr<Core const> core)
      : core_(core), instance_(std::move(core)), has_(core_->parameters().size()), moves_(core_->parameters().size()) {
    for (std::uint32_t i = 0; i < has_.size(); ++i) {
      order_.push_back(i);
      defaults_.push_back(face(instance_, i));
    }
  }

  // Tries every parameter that has none yet and is enabled, with these settings around it.
  void try_with(Settings const& around, Strength strength) {
    give(instance_, around, Strength::ranges);
    if (std::any_of(order_.begin(), order_.end(), [&](std::uint32_t i) { return is_open(i); })) {
      instance_.compute(strength);
      try_all(strength);
    }
    take_back(instance_, around, Strength::ranges);
  }

  // Parameters whose changes change nothing else; of those that a rule or a search gives, the ones that nothing
  // changes.
  std::set<std::string> none() const {
    std::set<std::string> names;
    for (std::uint32_t i = 0; i < has_.size(); ++i)
      if (!has_[i] && !(is_result(i) && moves_[i])) names.insert(core_->parameters()[i].name);
    return names;
  }

 private:
  bool is_result(std::uint32_t parameter) const {
    return core_->parameters()[parameter].derived || core_->parameters()[parameter].search;
  }

  // Whether it is to be tried in the present state.
  bool is_open(std::uint32_t i) const {
    return !has_[i] && !(is_result(i) && moves_[i]) && has_reader(i) && instance_.is_enabled(i);
  }

  void try_all(Strength strength) {
    before_.clear();
    for (const std::uint32_t i : order_) {
      before_.push_back(face(instance_, i));
      if (before_.back() != defaults_[i]) moves_[i] = true;
    }
    const std::vector<Due> all_said = instance_.messages();
    for (const std::uint32_t i : order_) {
      if (!is_open(i)) continue;
      said_ = said_but(i, all_said);
      for (std::string const& value : candidates(instance_, i))
        if (!has_[i]) change(i, value, strength);
    }
  }

  // Whether any step but its own reads the parameter at all.
  bool has_reader(std::uint32_t parameter) const {
    if (core_->parameters()[parameter].derived) return false;
    for (std::uint32_t slot = 0; slot < Core::kSlots; ++slot)
      for (const std::uint32_t step : core_->readers(Core::slot(parameter, static_cast<Core::Slot>(slot))))
        if (core_->steps()[step].parameter != parameter || core_->steps()[step].kind == Step::Kind::message ||
            core_->steps()[step].kind == Step::Kind::definition)
          return true;
    return false;
  }

  // Gives the parameter the value, looks at what moved, and takes it back. What a search gives is put back by the next
  // change: `before` is how all was.
  void change(std::uint32_t parameter, std::string const& value, Strength strength) {
    const std::optional<std::string> given = instance_.given(parameter);
    for (const std::uint32_t other : instance_.set({{parameter, value}}, Origin::user, strength))
      if (other != parameter && face(instance_, other) != before_[other]) has_[parameter] = moves_[other] = true;
    if (!has_[parameter] && said_but(parameter, instance_.messages()) != said_) has_[parameter] = true;
    if (given)
      instance_.set({{parameter, *given}}, Origin::user, Strength::ranges);
    else
      instance_.take_back({parameter}, Strength::ranges);
  }

  std::vector<Face> defaults_, before_;
  std::vector<Due> said_;
  std::shared_ptr<Core const> core_;
  Instance instance_;
  std::vector<std::uint32_t> order_;  // the numbers of all parameters
  std::vector<bool> has_, moves_;
};

// The same of another row of a pattern: UART0 becomes UART1, where there is one.
Settings shifted(Core const& core, Settings settings, char digit) {
  for (auto& [name, value] : settings)
    for (std::size_t at = name.find('0'); at != std::string::npos; at = name.find('0', at + 1)) {
      std::string other = name;
      other[at] = digit;
      if (!known(core, other)) continue;
      name = other;
      break;
    }
  return settings;
}

struct Silent {
  std::set<std::string> information, bound;
};

void read_silent(std::string const& core, Silent& silent) {
  const kdi::JsonFile file(places::data("cores/" + core + "/silent.json"));
  if (const auto base = file.root().find("extends")) read_silent(std::string(base->text()), silent);
  const auto read = [&](char const* field, std::set<std::string>& names) {
    for (const kdi::JsonValue reason : file.root().member(field).members()) {
      EXPECT_FALSE(reason.text().empty());
      for (std::string const& name : kdi::expand(reason.name(), 1000)) EXPECT_TRUE(names.insert(name).second) << name;
    }
  };
  read("information_only", silent.information);
  read("bound_by_outputs", silent.bound);
}

class Newest : public ::testing::TestWithParam<Version> {};

TEST_P(Newest, HaveConsequencesOrAreListed) {
  const auto core = core_of(GetParam().core, GetParam().version);
  std::vector<Settings> around(2);
  for (Parameter const& parameter : core->parameters())
    if (parameter.type == Type(Kind::truth) && !parameter.derived) around[1].emplace_back(parameter.name, "1");
  around.push_back(around[1]);
  for (auto& [name, value] : around[2])
    if (name.ends_with("_MANUAL_CLOCK_ENABLE")) value = "0";
  for (Row const& row : rows()) {
    if (!std::all_of(row.settings.begin(), row.settings.end(),
                     [&](auto const& setting) { return known(*core, setting.first).has_value(); }))
      continue;
    around.push_back(row.settings);
    for (char const digit : {'1', '2', '3'})
      if (Settings others = shifted(*core, row.settings, digit); others != row.settings) around.push_back(others);
  }
  Consequences consequences(core);
  // Most is seen without a search, which costs time.
  for (Settings const& settings : around) consequences.try_with(settings, Strength::ranges);
  // With all on, pads are in demand; but then the clocks are the user's own, since they would take their time.
  consequences.try_with(around[1], Strength::searches);
  std::reverse(around.begin(), around.end());
  for (Settings const& settings : around) consequences.try_with(settings, Strength::searches);

  Silent silent;
  read_silent(GetParam().core, silent);
  std::erase_if(silent.information, [&](std::string const& name) { return !core->find(name); });
  std::set<std::string> listed;
  for (auto const* const names : {&silent.information, &silent.bound})
    for (std::string const& name : *names) {
      if (!core->find(name)) continue;
      EXPECT_TRUE(listed.insert(name).second) << name << " is listed twice";
    }
  std::set<std::string> none = consequences.none();
  // What a block within has under the same name is given to it, and moves that.
  for (SubCore const& sub : core->sub_cores())
    std::erase_if(none,
                  [&](std::string const& name) { return core_of(sub.core, sub.version)->find(name).has_value(); });
  for (std::string const& name : none) EXPECT_TRUE(listed.contains(name)) << name << " moves nothing";
  for (std::string const& name : listed) EXPECT_TRUE(none.contains(name)) << name << " moves something";
  EXPECT_LE(silent.information.size() * 20, core->parameters().size());
}

// Of older versions, and of cores that another one is made from, in the long form alone (real_cores_test).
std::vector<Version> newest() {
  if (test_support::kSanitized) return {};
  std::vector<Version> all = {
      {"psxl", "1.0"}, {"ps11", "1.0"}, {"pspmcx", "1.0"}, {"tavrel_cips", "3.4"}, {"ps_pmc", "1.0"}};
  if (std::getenv("IPTASKS_CORE_CHANGES") != nullptr) {
    all.push_back({"pmcps", "1.0"});
    for (char const* const version : {"1.0", "1.1", "1.2", "1.3", "1.4"}) all.push_back({"pspmc", version});
    for (char const* const version : {"1.0", "2.0", "2.1", "3.1", "3.2", "3.3"})
      all.push_back({"tavrel_cips", version});
  }
  return all;
}
std::string name_of(::testing::TestParamInfo<Version> const& one) {
  return one.param.core + ("_" + std::to_string(one.index));
}
INSTANTIATE_TEST_SUITE_P(Cores, Newest, ::testing::ValuesIn(newest()), name_of);
INSTANTIATE_TEST_SUITE_P(Blocks, Newest, ::testing::ValuesIn(kBlocks), name_of);
INSTANTIATE_TEST_SUITE_P(SmallSystems, Newest, ::testing::ValuesIn(kSmallSystems), name_of);

class AnySettings : public ::testing::TestWithParam<Version> {};

// Whatever is set, no rule faults, and the state does not tell in which order it was set.
TEST_P(AnySettings, AreUnderstood) {
  const auto core = core_of(GetParam().core, GetParam().version);
  test_support::Seeded<std::mt19937> random(1);
  const auto below = [&](std::size_t count) { return static_cast<std::size_t>(random() % count); };
  Instance instance(core);
  std::map<std::uint32_t, std::string> given;
  for (int change = 1; change <= 1500; ++change) {
    const auto number = static_cast<std::uint32_t>(below(core->parameters().size()));
    if (!core->is_settable(number)) continue;
    std::vector<std::string> some = candidates(instance, number);
    some.push_back("7");
    given[number] = some[below(some.size())];
    instance.set({{number, given[number]}}, Origin::user, Strength::ranges);
    for (Due const& due : instance.messages())
      ASSERT_NE(due.name, "rule") << core->parameters()[due.parameter].name << ": " << due.text;
    if (change % 50 != 0) continue;
    Instance fresh(core);
    fresh.set({given.begin(), given.end()}, Origin::user, Strength::ranges);
    for (std::uint32_t i = 0; i < core->parameters().size(); ++i)
      ASSERT_EQ(face(instance, i), face(fresh, i)) << core->parameters()[i].name;
    ASSERT_EQ(instance.messages(), fresh.messages());
  }
}

INSTANTIATE_TEST_SUITE_P(Blocks, AnySettings, ::testing::ValuesIn(kBlocks), name_of);
INSTANTIATE_TEST_SUITE_P(SmallSystems, AnySettings, ::testing::ValuesIn(kSmallSystems), name_of);

// -------------------------------------------------------------------------------------------------------- composites

TEST(Wizards, HoldTheirCoresInTwoTexts) {
  for (char const* const version : {"1.0", "2.1", "3.1", "3.4"}) {
    const auto core = core_of("tavrel_cips", version);
    std::set<std::uint32_t> held;
    for (Composite const& composite : core->composites()) {
      if (core->parameters()[composite.parameter].name.ends_with("_CONFIG"))
        for (Composite::Member const& member : composite.members) EXPECT_TRUE(held.insert(member.parameter).second);
      else
        held.insert(composite.parameter);  // within one of the two
    }
    std::set<std::string> outside;
    for (std::uint32_t i = 0; i < core->parameters().size(); ++i)
      if (core->is_settable(i) && !held.contains(i)) outside.insert(core->parameters()[i].name);
    for (char const* const own : {"PS_PMC_CONFIG", "PS_PMC_CONFIG_INTERNAL", "CPM_CONFIG", "CPM_CONFIG_INTERNAL"})
      EXPECT_EQ(outside.erase(own), 1U) << own;
    // Of the wizard itself.
    outside.erase("PS_PL_CONNECTIVITY_MODE");
    outside.erase("DEBUG_MODE");
    EXPECT_EQ(outside, (std::set<std::string>{"PS_PMC_CONFIG_APPLIED"})) << version;
  }
}

struct Wizard {
  Version version;
  char const* type;  // whose names it has
};
void PrintTo(Wizard const& wizard, std::ostream* out) { PrintTo(wizard.version, out); }

class LargerWizards : public ::testing::TestWithParam<Wizard> {
 protected:
  Configuration wizard_{core_of(GetParam().version.core, GetParam().version.version), {}, core_of};
};

TEST_P(LargerWizards, HaveTheNamesOfTheirCores) {
  for (std::string const& key : keys_of(GetParam().type)) EXPECT_TRUE(wizard_.find(key)) << key;
}

TEST_P(LargerWizards, HoldEachCoreInAText) {
  for (Composite const& composite : wizard_.core().composites()) {
    SCOPED_TRACE(wizard_.core().parameters()[composite.parameter].name);
    Configuration* const core = wizard_.sub_core(composite.sub_core);
    ASSERT_NE(core, nullptr);
    for (Due const& due : core->instance().messages()) ADD_FAILURE() << due.text;
    // Some truth that users set, from the text and from its own side.
    std::vector<Parameter> const& all = core->core().parameters();
    const auto found = std::find_if(all.begin(), all.end(), [](Parameter const& one) {
      return one.type == Type(Kind::truth) && !one.derived && !one.enabled && one.name.ends_with("_ENABLE");
    });
    ASSERT_NE(found, all.end());
    const auto number = static_cast<std::uint32_t>(found - all.begin());
    const Configuration::Place text{&wizard_, composite.parameter}, member{core, number};
    const std::string kept = core->value(number);
    const std::string other = kept == "1" ? "0" : "1";
    wizard_.set({{text, found->name + " " + other}}, Origin::user, Strength::ranges);
    EXPECT_EQ(core->value(number), other);
    wizard_.set({{member, kept}}, Origin::user, Strength::ranges);
    EXPECT_EQ(wizard_.value(composite.parameter), found->name + " " + kept);
    ASSERT_TRUE(composite.internal);
    EXPECT_NE(wizard_.value(*composite.internal).find(found->name + " " + kept), std::string::npos);
  }
}

INSTANTIATE_TEST_SUITE_P(Cores, LargerWizards,
                         ::testing::Values(Wizard{{"psxl_wizard", "1.0"}, "PSXLParameters"},
                                           Wizard{{"psx_wizard", "1.0"}, "PSXLParameters"},
                                           Wizard{{"psx_wizard", "9.99.z"}, "PSXLParameters"},
                                           Wizard{{"ps_wizard", "1.0"}, "PSParameters"},
                                           Wizard{{"ps_wizard", "99.0"}, "PSParameters"}));

TEST(Wizards, AnotherVersionMayHaveOtherCores) {
  for (auto const& [version, has] : {std::pair("1.0", false), {"99.0", true}}) {
    Configuration wizard(core_of("ps_wizard", version), {}, core_of);
    EXPECT_EQ(wizard.find("PS_USB1_PERIPHERAL_ENABLE").has_value(), has) << version;
  }
}

TEST(Wizards, TextAndMembersAreOneState) {
  Configuration wizard(core_of("tavrel_cips", "3.4"), {}, core_of);
  const auto give_one = [&](char const* name, char const* value) {
    wizard.set({{wizard.find(name).value(), value}}, Origin::user, Strength::ranges);
  };
  const auto value = [&](char const* name) { return wizard.value(wizard.find(name).value().number); };
  give_one("PS_PMC_CONFIG", "PS_UART0_PERIPHERAL_ENABLE 1 PS_UART0_PERIPHERAL_IO {PMC_MIO 0 .. 1}");
  EXPECT_EQ(value("PS_UART0_PERIPHERAL_IO"), "PMC_MIO 0 .. 1");
  give_one("PS_UART0_BAUD_RATE", "9600");
  give_one("CPM_PCIE0_MODES", "DMA");
  EXPECT_EQ(value("PS_PMC_CONFIG"),
            "PS_UART0_BAUD_RATE 9600 PS_UART0_PERIPHERAL_ENABLE 1 PS_UART0_PERIPHERAL_IO {PMC_MIO 0 .. 1}");
  EXPECT_EQ(value("CPM_CONFIG"), "CPM_PCIE0_MODES DMA");
}

// ---------------------------------------------------------------------------------------------------------- versions

struct Change {
  Version from, to;
  char const* differences;  // names: + new, - retired, old>new renamed
};
void PrintTo(Change const& step, std::ostream* out) { PrintTo(step.to, out); }

constexpr Change kSteps[] = {
    {{"psx_wizard", "1.0"}, {"psx_wizard", "9.99.z"}, "+PSX_PMCX_CONFIG_APPLIED"},
    {{"ps_wizard", "1.0"}, {"ps_wizard", "99.0"}, ""},
    {{"tavrel_cips", "1.0"},
     {"tavrel_cips", "2.0"},
     "+PMC_GLITCH_{DEPTH_SENSITIVITY,MIN_PULSE_WIDTH,TYPE,VCC_PMC_VALUE} +PMC_OT_CHECK_{DELAY,ENABLE} "
     "+PMC_SYSMON_I2C_PERIPHERAL_IO +PMC_TAMPER_SOURCES +PMC_TAMPER_EXTMIO_IO "
     "+PMC_TAMPER_{EXTMIO,GLITCHDETECT,JTAGDETECT,TEMPERATURE,TRIGGER,VCCIO_DIOB}_{ENABLE,ERASE_BBRAM,RESPONSE} "
     "+PMC_TAMPER_SUP_{0_31,32_63,64_95,96_127,128_151}_{ENABLE,ERASE_BBRAM,RESPONSE} "
     "+SMON_{ALARMS,HI_PERF_MODE,INTERFACE_TO_USE,OT,REFERENCE_SOURCE,SCAN_US,USER_TEMP} "
     "+SMON_DEVICE_{OVER_TEMP,TEMP}_{LOWER,UPPER} +SMON_ENABLE_{INT_VOLTAGE_MONITORING,TEMP_AVERAGING} "
     "+SMON_INT_MEASUREMENT_{ALARM_ENABLE,AVG_ENABLE,ENABLE,MODE,TH_HIGH,TH_LOW} +SMON_MEASUREMENT_{COUNT,LIST} "
     "+SMON_INT_MEAS{0..15}_{ALARM_ENABLE,AVG_ENABLE,ENABLE,MODE,TH_HIGH,TH_LOW} "
     "+SMON_MEAS{0..15} +SMON_MEAS{0..15}_{ALARM_ENABLE,AVG_ENABLE,ENABLE,MODE,SUPPLY_NUM,TH_HIGH,TH_LOW} "
     "+SMON_PMBUS_{ADDRESS,UNRESTRICTED} +SMON_TEMP_{ALARM_TYPE,AVERAGING_SAMPLES} +SMON_VOLTAGE_AVERAGING_SAMPLES"},
    {{"tavrel_cips", "2.0"},
     {"tavrel_cips", "2.1"},
     "+AURORA_LINE_RATE_GPBS +BOOT_SECONDARY_MODE +GT_REFCLK_MHZ +PMC_MIO_EN_FOR_PL_PCIE "
     "+PS_CRL_PSM_REF_CTRL_{ACT_FREQMHZ,DIVISOR0,FREQMHZ,SRCSEL} +PS_GEN_IPI{0..6}_{ENABLE,MASTER} "
     "+PS_GEN_IPI_{PMC,PMC_NOBUF,PSM}_{ENABLE,MASTER} +PS_HSDP{0..1}_REFCLK "
     "+PS_HSDP_{EGRESS_TRAFFIC,INGRESS_TRAFFIC,MODE} +PS_PCIE{1..2}_PERIPHERAL_ENABLE +PS_PCIE_EP_RESET{1..2}_IO "
     "+PS_PCIE_{LANES,RESET_ENABLE} +PS_PCIE_ROOT_RESET{1..2}_IO +PS_PCIE_ROOT_RESET{1..2}_IO_DIR "
     "+quad_usage_q{0..3}l{0..3}"},
    {{"tavrel_cips", "2.1"},
     {"tavrel_cips", "3.1"},
     "+BOOT_FALLBACK_ENABLE +PS_CAN{0..1}_FD_ENABLE PS_WWDT0_WINDOW_MS>PS_WWDT0_OPEN_WINDOW_MS "
     "PS_WWDT1_WINDOW_MS>PS_WWDT1_OPEN_WINDOW_MS"},
    {{"pspmc", "1.0"},
     {"pspmc", "1.1"},
     "+PS_CAN{0..1}_FD_ENABLE +BOOT_FALLBACK_ENABLE PS_WWDT0_WINDOW_MS>PS_WWDT0_OPEN_WINDOW_MS "
     "PS_WWDT1_WINDOW_MS>PS_WWDT1_OPEN_WINDOW_MS"},
    {{"pspmc", "1.1"},
     {"pspmc", "1.2"},
     "+PS_ENET{0..1}_EEE_ENABLE +PS_{FPD,LPD}_ACTIVITY +PMC_ACTIVITY -PS_SWITCHING_ESTIMATE"},
    {{"pspmc", "1.2"},
     {"pspmc", "1.3"},
     "+PMC_OSPI_DQS_ENABLE PMC_SD0_CARD_MHZ>PMC_SD0_CARD_FREQMHZ "
     "PMC_SD1_CARD_MHZ>PMC_SD1_CARD_FREQMHZ"},
    {{"pspmc", "1.3"}, {"pspmc", "1.4"}, "+PS_LPDMA{0..7}_COHERENCY +PS_A72_LOCKSTEP_ENABLE"},
    {{"pspmc", "1.4"},
     {"pspmcx", "1.0"},
     "+PS_USB1_PERIPHERAL_{ENABLE,IO} +PS_USB1_{ROLE,SUSPEND_ENABLE} "
     "+PS_CRL_USB1_BUS_REF_CTRL_{SRCSEL,FREQMHZ,DIVISOR0,ACT_FREQMHZ} +PS_A72_CLUSTERS"},
    {{"tavrel_cips", "3.1"},
     {"tavrel_cips", "3.2"},
     "+PS_ENET{0..1}_EEE_ENABLE +PS_{FPD,LPD}_ACTIVITY +PMC_ACTIVITY -PS_SWITCHING_ESTIMATE "
     "+PS_PL_CONNECTIVITY_MODE"},
    {{"tavrel_cips", "3.2"},
     {"tavrel_cips", "3.3"},
     "+PMC_OSPI_DQS_ENABLE PMC_SD0_CARD_MHZ>PMC_SD0_CARD_FREQMHZ "
     "PMC_SD1_CARD_MHZ>PMC_SD1_CARD_FREQMHZ +DEBUG_MODE"},
    {{"tavrel_cips", "3.3"},
     {"tavrel_cips", "3.4"},
     "+PS_LPDMA{0..7}_COHERENCY +PS_A72_LOCKSTEP_ENABLE +CPM_PCIE{0..1}_DEGRADE_ENABLE"}};

class Versions : public ::testing::TestWithParam<Change> {};

TEST_P(Versions, DifferAsListed) {
  const auto old = core_of(GetParam().from.core, GetParam().from.version);
  const auto core = core_of(GetParam().to.core, GetParam().to.version);
  std::set<std::string> differences, renamed;
  for (Parameter const& parameter : old->parameters()) {
    if (core->find(parameter.name)) continue;
    const auto now = core->find_user_name(parameter.name);
    differences.insert(now ? parameter.name + ">" + core->parameters()[*now].name : "-" + parameter.name);
    if (now) renamed.insert(core->parameters()[*now].name);
  }
  for (Parameter const& parameter : core->parameters())
    if (!old->find(parameter.name) && !renamed.contains(parameter.name)) differences.insert("+" + parameter.name);
  std::set<std::string> listed;
  for (std::string_view word : kdi::text::words(GetParam().differences, " "))
    for (std::string& name : kdi::expand(word, 1000)) listed.insert(std::move(name));
  EXPECT_EQ(differences, listed);
}

// What users set in one version they have in the next, but for what is retired.
TEST_P(Versions, TakeConfigurationsAcross) {
  const auto old = core_of(GetParam().from.core, GetParam().from.version);
  const auto core = core_of(GetParam().to.core, GetParam().to.version);
  Instance before(old), after(core);
  for (Row const& row : rows()) {
    Settings settings = row.settings;
    settings.erase(std::remove_if(settings.begin(), settings.end(),
                                  [&](auto const& setting) { return !known(*old, setting.first).has_value(); }),
                   settings.end());
    give(before, settings, Strength::ranges);
    give(after, settings, Strength::ranges);
    for (auto const& [name, value] : settings)
      EXPECT_EQ(after.backup(*known(*core, name)), before.backup(*known(*old, name))) << name;
    take_back(before, settings, Strength::ranges);
    take_back(after, settings, Strength::ranges);
  }
}

INSTANTIATE_TEST_SUITE_P(Cores, Versions, ::testing::ValuesIn(kSteps));

}  // namespace
