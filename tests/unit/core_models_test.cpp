// The reference descriptions of cores: the names that others rely on, every message raised, and no parameter without
// consequence.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <set>

#include "kdi/common/KdiFile.h"
#include "kdi/common/KdiJson.h"
#include "kdi/common/KdiPattern.h"
#include "kdi/common/KdiText.h"
#include "kdi/cores/Instance.h"
#include "tests/support/places.h"

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
// What the models spell themselves of the system monitor.
constexpr char const* kMonitor =
    "SMON_OT SMON_PMBUS_ADDRESS SMON_PMBUS_UNRESTRICTED SMON_ENABLE_TEMP_AVERAGING "
    "SMON_USER_TEMP SMON_ENABLE_INT_VOLTAGE_MONITORING SMON_VOLTAGE_AVERAGING_SAMPLES "
    "SMON_ALARMS SMON_REFERENCE_SOURCE SMON_MEASUREMENT_LIST SMON_MEASUREMENT_COUNT "
    "SMON_HI_PERF_MODE SMON_INT_MEASUREMENT_ENABLE SMON_INT_MEASUREMENT_MODE "
    "SMON_INT_MEASUREMENT_TH_LOW SMON_INT_MEASUREMENT_TH_HIGH "
    "SMON_INT_MEASUREMENT_ALARM_ENABLE SMON_INT_MEASUREMENT_AVG_ENABLE "
    "DEVICE_INTEGRITY_MODE";

class PlatformControllers : public ::testing::TestWithParam<Version> {};

TEST_P(PlatformControllers, HaveAllNames) {
  const auto core = core_of(GetParam().core, GetParam().version);
  const std::set<std::string> keys = keys_of("PSPMCParameters");
  EXPECT_EQ(keys.size(), 421U);
  for (std::string const& key : keys) EXPECT_TRUE(core->find(key)) << key;
  for (char const* const names : {kRead, kMonitor})
    for (std::string_view name : kdi::text::words(names, " ")) EXPECT_TRUE(core->find(name)) << name;
}

TEST_P(PlatformControllers, AreTold) {
  const auto core = core_of(GetParam().core, GetParam().version);
  for (Parameter const& parameter : core->parameters()) {
    EXPECT_FALSE(parameter.group.empty()) << parameter.name;
    EXPECT_FALSE(parameter.display_name.empty()) << parameter.name;
    EXPECT_TRUE(parameter.description.ends_with('.')) << parameter.name << ": " << parameter.description;
  }
}

TEST_P(PlatformControllers, BeginWithoutMessages) {
  Instance fresh(core_of(GetParam().core, GetParam().version));
  for (Due const& due : fresh.messages()) ADD_FAILURE() << due.name << ": " << due.text;
}

constexpr Version kPlatformControllers[] = {{"pspmc", "1.0"}};

INSTANTIATE_TEST_SUITE_P(Cores, PlatformControllers, ::testing::ValuesIn(kPlatformControllers));

// ---------------------------------------------------------------------------------------------------------- messages

struct Row {
  std::string core, version, parameter, message, text;
  Settings settings;
};

// Rows are of pspmc 1.0 unless they say otherwise.
std::vector<Row> const& rows() {
  static const std::vector<Row> all = [] {
    std::vector<Row> read;
    const kdi::JsonFile file(places::source("tests/cores/pspmc_messages.json"));
    for (const kdi::JsonValue row : file.root().member("rows").items()) {
      row.allow_only({"core", "version", "parameter", "message", "settings", "text"});
      const auto word = [&](char const* field, char const* otherwise) {
        const auto found = row.find(field);
        return found ? found->text() : std::string(otherwise);
      };
      read.push_back({word("core", "pspmc"),
                      word("version", "1.0"),
                      row.member("parameter").text(),
                      row.member("message").text(),
                      row.member("text").text(),
                      {}});
      for (const kdi::JsonValue setting : row.member("settings").members())
        read.back().settings.emplace_back(setting.name(), setting.text());
    }
    return read;
  }();
  return all;
}

void apply(Instance& instance, Settings const& settings) {
  std::vector<std::pair<std::uint32_t, std::string>> values;
  for (auto const& [name, value] : settings) {
    const auto number = instance.core().find(name);
    ASSERT_TRUE(number) << name;
    values.emplace_back(*number, value);
  }
  instance.set(values);
}

TEST(CoreMessages, AreRaisedAndClearedAsTold) {
  for (Row const& row : rows()) {
    Instance instance(core_of(row.core, row.version));
    const std::uint32_t number = instance.core().find(row.parameter).value();
    const auto text_now = [&]() -> std::string {
      for (Due const& due : instance.messages())
        if (due.parameter == number && due.name == row.message) return due.text;
      return "(none)";
    };
    EXPECT_EQ(text_now(), "(none)") << row.parameter;
    apply(instance, row.settings);
    EXPECT_EQ(text_now(), row.text) << row.parameter;
    for (Due const& due : instance.messages()) EXPECT_NE(due.name, "rule") << due.text;
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

std::vector<std::string> files_of_family() {
  std::vector<std::string> files;
  for (char const* folder : {"parts", "pspmc", "pspmcx", "tavrel_cips"}) {
    const std::string path = places::data(std::string("cores/") + folder);
    if (!std::filesystem::is_directory(path)) continue;
    for (auto const& entry : std::filesystem::directory_iterator(path)) files.push_back(entry.path().string());
  }
  std::sort(files.begin(), files.end());
  return files;
}

// An entry with a pattern is one message, however many parameters it stands for.
TEST(CoreMessages, AreManyAndAllInTheTable) {
  std::size_t count = 0;
  for (std::string const& path : files_of_family()) {
    const kdi::JsonFile file(path);
    for (char const* list : {"parameters", "changed"}) {
      const auto entries = file.root().find(list);
      if (!entries) continue;
      for (const kdi::JsonValue entry : entries->items()) {
        const auto messages = entry.find("messages");
        if (!messages) continue;
        for (const kdi::JsonValue message : messages->items()) {
          ++count;
          EXPECT_TRUE(std::any_of(rows().begin(), rows().end(), [&](Row const& row) {
            return row.message == message.member("name").text() && is_of(row.parameter, entry.member("name").text());
          })) << message.place();
        }
      }
    }
  }
  EXPECT_GE(count, 100U);
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
  if (some.empty()) some = {"VCC_SAT 1", "1"};
  if (some.size() > 8) some.resize(8);
  return some;
}

// Of everything but what is said of the parameter's own range.
std::vector<Due> said(Instance& instance, std::uint32_t but_range_of) {
  std::vector<Due> due = instance.messages();
  due.erase(std::remove_if(due.begin(), due.end(),
                           [&](Due const& one) { return one.parameter == but_range_of && one.name == "range"; }),
            due.end());
  return due;
}

class Consequences {
 public:
  explicit Consequences(std::shared_ptr<Core const> core)
      : core_(std::move(core)), has_(core_->parameters().size()), moves_(core_->parameters().size()) {}

  // Tries every parameter that has none yet and is enabled, with these settings around it.
  void try_with(Settings const& around) {
    Instance instance(core_);
    apply(instance, around);
    for (std::uint32_t i = 0; i < has_.size(); ++i) {
      if (has_[i] || core_->parameters()[i].derived || !instance.is_enabled(i) || !has_reader(i)) continue;
      const std::vector<Due> before_said = said(instance, i);
      for (std::string const& value : candidates(instance, i))
        if (!has_[i]) change(instance, i, value, before_said);
    }
  }

  // Parameters whose changes change nothing else, and derived ones that nothing changes.
  std::set<std::string> none() const {
    std::set<std::string> names;
    for (std::uint32_t i = 0; i < has_.size(); ++i)
      if (!has_[i] && !(core_->parameters()[i].derived && moves_[i])) names.insert(core_->parameters()[i].name);
    return names;
  }

 private:
  // Whether any step but its own reads the parameter at all.
  bool has_reader(std::uint32_t parameter) const {
    for (std::uint32_t slot = 0; slot < Core::kSlots; ++slot)
      for (const std::uint32_t step : core_->readers(Core::slot(parameter, static_cast<Core::Slot>(slot))))
        if (core_->steps()[step].parameter != parameter || core_->steps()[step].kind == Step::Kind::message ||
            core_->steps()[step].kind == Step::Kind::definition)
          return true;
    return false;
  }

  // Gives the parameter the value, looks at what moved, and takes it back.
  void change(Instance& instance, std::uint32_t parameter, std::string const& value, std::vector<Due> const& before) {
    const std::optional<std::string> given = instance.given(parameter);
    std::vector<std::pair<std::uint32_t, Face>> after;
    for (const std::uint32_t other : instance.set({{parameter, value}}))
      if (other != parameter) after.emplace_back(other, face(instance, other));
    if (said(instance, parameter) != before) has_[parameter] = true;
    if (given)
      instance.set({{parameter, *given}});
    else
      instance.take_back({parameter});
    for (auto const& [other, then] : after)
      if (face(instance, other) != then) has_[parameter] = moves_[other] = true;
  }

  std::shared_ptr<Core const> core_;
  std::vector<bool> has_, moves_;
};

// The same of another row of a pattern: UART0 becomes UART1, where there is one.
Settings shifted(Core const& core, Settings settings, char digit) {
  for (auto& [name, value] : settings)
    for (std::size_t at = name.find('0'); at != std::string::npos; at = name.find('0', at + 1)) {
      std::string other = name;
      other[at] = digit;
      if (!core.find(other)) continue;
      name = other;
      break;
    }
  return settings;
}

struct Silent {
  std::set<std::string> information, bound;
};

Silent silent_of(std::string const& core) {
  Silent silent;
  const kdi::JsonFile file(places::data("cores/" + core + "/silent.json"));
  const auto read = [&](char const* field, std::set<std::string>& names) {
    for (const kdi::JsonValue reason : file.root().member(field).members()) {
      EXPECT_FALSE(reason.text().empty());
      for (std::string const& name : kdi::expand(reason.name(), 1000)) EXPECT_TRUE(names.insert(name).second) << name;
    }
  };
  read("information_only", silent.information);
  read("bound_by_outputs", silent.bound);
  return silent;
}

TEST(CoreParameters, HaveConsequencesOrAreListed) {
  const auto core = core_of("pspmc", "1.0");
  Consequences consequences(core);
  consequences.try_with({});
  Settings all_on;
  for (Parameter const& parameter : core->parameters())
    if (parameter.type == Type(Kind::truth) && !parameter.derived) all_on.emplace_back(parameter.name, "1");
  consequences.try_with(all_on);
  for (Row const& row : rows()) {
    if (row.core != "pspmc" || row.version != "1.0") continue;
    consequences.try_with(row.settings);
    for (char const digit : {'1', '2', '3'})
      if (const Settings others = shifted(*core, row.settings, digit); others != row.settings)
        consequences.try_with(others);
  }

  const Silent silent = silent_of("pspmc");
  std::set<std::string> listed = silent.information;
  listed.insert(silent.bound.begin(), silent.bound.end());
  EXPECT_EQ(listed.size(), silent.information.size() + silent.bound.size()) << "listed twice";
  for (std::string const& name : consequences.none()) EXPECT_TRUE(listed.contains(name)) << name << " moves nothing";
  for (std::string const& name : listed) EXPECT_TRUE(consequences.none().contains(name)) << name << " moves something";
  EXPECT_LE(silent.information.size() * 20, core->parameters().size());
}

}  // namespace
