#include "platform/ippcw/configured_core.h"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <map>
#include <numeric>
#include <set>

#include "kdi/cdo/Cdo.h"
#include "kdi/common/KdiFile.h"
#include "kdi/common/KdiNumber.h"
#include "kdi/common/KdiReplace.h"
#include "kdi/common/KdiText.h"
#include "kdi/cores/History.h"
#include "kdi/cores/Store.h"
#include "kdi/device/Device.h"
#include "platform/ippcw/device_facts.h"
#include "platform/ippcw/failures.h"

namespace hardip_eng {
namespace {

using kdi::cores::Configuration;
using kdi::cores::Core;
using kdi::cores::Due;
using kdi::cores::Parameter;
using kdi::cores::Strength;
using kdi::cores::Widget;

constexpr std::string_view kSkip = "SKIP";
constexpr std::size_t kListed = 6;  // texts, or lists of them, that a script gets of a parameter
constexpr std::string_view kTemporary = "tmp_";

Strength strength_of(int number) {
  if (number >= 10) return Strength::searches;
  return number >= 5 ? Strength::ranges : Strength::values;
}

// A value that a script put between braces as one word stands for what is between them.
std::string without_braces(std::string const& text) {
  if (text.size() < 2 || text.front() != '{' || text.back() != '}') return text;
  int depth = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    depth += text[i] == '{' ? 1 : text[i] == '}' ? -1 : 0;
    if (depth == 0 && i + 1 < text.size()) return text;  // several words, each between braces
  }
  return depth == 0 ? text.substr(1, text.size() - 2) : text;
}

char const* word_of(Widget widget) {
  return widget == Widget::combo ? "COMBO" : widget == Widget::edit ? "EDIT" : "CHECKBOX";
}

char const* type_of(Widget widget) {
  return widget == Widget::combo ? "combo" : widget == Widget::edit ? "textEdit" : "checkBox";
}

// Dictionaries of measurements come from GUIs with words for what would take them apart.
std::string without_tokens(std::string text) {
  constexpr std::pair<std::string_view, std::string_view> kTokens[] = {
      {"<space>", " "}, {"<colon>", ":"}, {"<comma>", ","}, {"<hash>", "#"}, {"<or>", "|"}};
  for (auto const& [token, character] : kTokens) kdi::text::replace_all(text, token, character);
  return text;
}

bool is_dictionary(Configuration::Place place) {
  auto const& all = place.configuration->core().presets().measurements.dictionaries;
  return std::find(all.begin(), all.end(), place.number) != all.end();
}

// The numbers of a core's parameters in the order of their names. Descriptions are kept while the process lives, so
// each is put in order once.
using Order = std::shared_ptr<std::vector<std::uint32_t> const>;
Order order_of(std::shared_ptr<Core const> const& core) {
  static auto& known = *new std::map<std::weak_ptr<Core const>, Order, std::owner_less<>>;
  static auto& mutex = *new std::mutex;
  const std::lock_guard lock(mutex);
  if (const auto place = known.find(core); place != known.end()) return place->second;
  std::vector<Parameter> const& all = core->parameters();
  std::vector<std::uint32_t> order(all.size());
  std::iota(order.begin(), order.end(), 0U);
  std::sort(order.begin(), order.end(),
            [&](std::uint32_t one, std::uint32_t other) { return all[one].name < all[other].name; });
  std::erase_if(known, [](auto const& one) { return one.first.expired(); });
  return known.emplace(core, std::make_shared<std::vector<std::uint32_t> const>(std::move(order))).first->second;
}

Parameter const& parameter_at(Configuration::Place place) {
  return place.configuration->core().parameters()[place.number];
}

// Between braces is a choice or a list, never a number that is typed in: models refuse it there.
bool is_number(Configuration::Place place) {
  Parameter const& parameter = parameter_at(place);
  return parameter.widget == Widget::edit && !(parameter.type == kdi::cores::Type(kdi::cores::Kind::text));
}

// Models take bounds that are whole for those of whole numbers.
void tell_fractions(Parameter const& parameter, StrVec& range) {
  if (!(parameter.type == kdi::cores::Type(kdi::cores::Kind::decimal)) || !parameter.has_limits()) return;
  const bool is_whole = std::all_of(range.begin(), range.end(),
                                    [](std::string const& bound) { return bound.find('.') == std::string::npos; });
  if (is_whole && !range.empty()) range.front() += ".0";
}

}  // namespace

struct ConfiguredCore::Whole {
  Whole(std::shared_ptr<Core const> core, kdi::cores::Facts const& facts)
      : configuration(std::move(core), facts, [](std::string const& name, std::string const& version) {
          return kdi::cores::core_description(name, version);
        }) {}

  void begin_history() {
    configurations = {&configuration};
    for (std::size_t i = 0; i < configurations.size(); ++i)
      for (kdi::cores::SubCore const& sub : configurations[i]->core().sub_cores())
        if (Configuration* const there = configurations[i]->sub_core(sub.name)) configurations.push_back(there);
    std::vector<kdi::cores::Instance*> instances;
    for (Configuration* const one : configurations) instances.push_back(&one->instance());
    history = std::make_unique<kdi::cores::History>(std::move(instances));
  }

  std::mutex mutex;
  Configuration configuration;
  std::vector<Configuration*> configurations;    // its own, and those of sub-cores behind it
  std::unique_ptr<kdi::cores::History> history;  // none until it is asked for
  std::uint64_t changes = 0;                     // how often somebody could change it
};

ConfiguredCore::ConfiguredCore(std::shared_ptr<Core const> core, kdi::device::Part const* part,
                               std::string instance_name)
    : core_(std::move(core)),
      part_(part),
      instance_name_(std::move(instance_name)),
      facts_(part == nullptr ? kdi::cores::Facts() : facts_of(*part)),
      whole_(std::make_shared<Whole>(core_, facts_)),
      mutex_(whole_->mutex),
      configuration_(whole_->configuration) {}

ConfiguredCore::ConfiguredCore(ConfiguredCore const& outer, kdi::cores::SubCore const& sub_core,
                               std::string instance_name)
    : core_(outer.whole_, &outer.configuration_.sub_core(sub_core.name)->core()),
      part_(outer.part_),
      instance_name_(std::move(instance_name)),
      region_(sub_core.region),
      facts_(outer.facts_),
      whole_(outer.whole_),
      mutex_(whole_->mutex),
      configuration_(*outer.configuration_.sub_core(sub_core.name)) {}

ConfiguredCore::~ConfiguredCore() = default;

std::vector<kdi::cores::SubCore> ConfiguredCore::sub_cores() const {
  std::vector<kdi::cores::SubCore> there;
  for (kdi::cores::SubCore const& sub : core_->sub_cores()) {
    Configuration const* const one = configuration_.sub_core(sub.name);
    if (one == nullptr) continue;
    there.push_back(sub);
    there.back().core = one->core().name();
    there.back().version = one->core().version();
  }
  return there;
}

void ConfiguredCore::use(std::function<void(ConfiguredAccess const&)> const& use) {
  const std::lock_guard lock(mutex_);
  if (whole_->history == nullptr) whole_->begin_history();
  ++whole_->changes;
  use({configuration_, whole_->configuration, *whole_->history, whole_->configurations, sysmon_data_file_});
}

void ConfiguredCore::look(
    std::function<void(std::shared_ptr<Core const> const&, kdi::cores::Instance const&)> const& look) const {
  const std::lock_guard lock(mutex_);
  look(core_, configuration_.instance());
}

// What names parameters, with its place; the rest is told. SKIP is what a disabled parameter shows, not a value.
std::vector<std::pair<Configuration::Place, std::string>> ConfiguredCore::known(StrPairs const& pairs,
                                                                                ParamMap& messages) {
  std::vector<std::pair<Configuration::Place, std::string>> values;
  for (auto const& [name, given] : pairs) {
    const auto place = configuration_.find(name);
    std::string text = place && is_number(*place) ? given : without_braces(given);
    if (!place)
      messages.emplace(
          name, core_->name() + " " + core_->version() + " has no parameter \"" + kdi::text::shortened(name) + "\"");
    else if (!parameter_at(*place).skips || !kdi::text::same_but_case(text, kSkip))
      values.emplace_back(*place, is_dictionary(*place) ? without_tokens(std::move(text)) : std::move(text));
  }
  return values;
}

void ConfiguredCore::start(ParamMap const& params) {
  const std::lock_guard lock(mutex_);
  ParamMap unknown;  // told by the change that follows, if it gives them again
  ++whole_->changes;
  configuration_.take_all_back(Strength::values);
  whole_->configuration.set(known({params.begin(), params.end()}, unknown), kdi::cores::Origin::user, Strength::values);
}

void ConfiguredCore::apply(ParamMap const& params, RawResult& result, ParamMap& messages, int strength) {
  const std::lock_guard lock(mutex_);
  ++whole_->changes;
  whole_->configuration.set(known({params.begin(), params.end()}, messages), kdi::cores::Origin::user,
                            strength_of(strength));
  report(messages);
  list_locked(result);
}

void ConfiguredCore::apply_named(kdi::cores::Origin from, std::string const& name, ParamMap const& params,
                                 RawResult& result, ParamMap& messages) {
  const bool is_preset = from == kdi::cores::Origin::preset;
  const std::lock_guard lock(mutex_);
  ++whole_->changes;
  if (!(is_preset ? configuration_.set_preset(name) : configuration_.set_board(name))) {
    StrVec known_names;
    for (kdi::cores::Preset const& one : is_preset ? core_->presets().presets : core_->presets().boards)
      known_names.push_back(one.name);
    char const* const kind = is_preset ? "preset" : "board";
    messages.emplace(kind, std::string("no ") + kind + " \"" + kdi::text::shortened(name) + "\"; there are " +
                               kdi::text::joined(known_names, ", "));
  } else {
    configuration_.set(known({params.begin(), params.end()}, messages));
    report(messages);
  }
  list_locked(result);
}

void ConfiguredCore::change(StrPairs const& pairs, StrVec& modified, ParamMap& messages) {
  const std::lock_guard lock(mutex_);
  ++whole_->changes;
  for (std::string& name : whole_->configuration.set(known(pairs, messages)))
    if (std::find(modified.begin(), modified.end(), name) == modified.end()) modified.push_back(std::move(name));
  report(messages);
}

// One text for a parameter, which begins with one tag: of its messages the gravest, in the order of the description.
void ConfiguredCore::report(ParamMap& messages) {
  std::map<std::string, std::vector<Due>> by_parameter;
  for (Configuration::Told& told : configuration_.messages()) {
    std::vector<Due>& gravest = by_parameter[told.parameter];
    if (!gravest.empty() && gravest.front().severity > told.due.severity) continue;
    if (!gravest.empty() && gravest.front().severity < told.due.severity) gravest.clear();
    gravest.push_back(std::move(told.due));
  }
  for (auto const& [parameter, due] : by_parameter) {
    std::vector<std::string> texts;
    for (Due const& one : due) texts.push_back(one.text);
    messages.insert_or_assign(parameter,
                              std::string(kdi::cores::tag_of(due.front().severity)) + kdi::text::joined(texts, "\n"));
  }
}

void ConfiguredCore::list(RawResult& result) const {
  const std::lock_guard lock(mutex_);
  list_locked(result);
}

void ConfiguredCore::list_locked(RawResult& result) const {
  kdi::cores::Instance const& instance = configuration_.instance();
  const Order order = order_of(instance.shared_core());
  auto place = result.begin();
  for (const std::uint32_t i : *order) {
    Parameter const& parameter = core_->parameters()[i];
    StrVec range = instance.range(i);
    // A check box whose range is empty is told by models as one without a value.
    if (range.empty() && parameter.widget == Widget::checkbox) range = {"0", "1"};
    tell_fractions(parameter, range);
    place = result.try_emplace(place, parameter.name);
    RawResult::mapped_type& row = place->second;  // filled in place, since there are thousands
    row.assign(kListed, StrVec());
    row[0].push_back(configuration_.value(i));
    row[1] = std::move(range);
    row[2].emplace_back(instance.is_enabled(i) ? "ENABLE" : "DISABLE");
    row[3].emplace_back(word_of(parameter.widget));
  }
}

std::vector<ConfiguredCore::Row> ConfiguredCore::rows() const {
  std::vector<Parameter> const& all = core_->parameters();
  const Order order = order_of(configuration_.instance().shared_core());
  std::vector<Row> rows;
  rows.reserve(all.size());
  const std::lock_guard lock(mutex_);
  for (const std::uint32_t i : *order)
    rows.push_back({all[i].name, configuration_.value(i), configuration_.instance().is_enabled(i)});
  return rows;
}

void ConfiguredCore::list_values(ParamMap& values) const {
  const Order order = order_of(configuration_.instance().shared_core());
  auto place = values.begin();
  const std::lock_guard lock(mutex_);
  for (const std::uint32_t i : *order)
    place = values.insert_or_assign(place, core_->parameters()[i].name, configuration_.value(i));
}

bool ConfiguredCore::is_default() const {
  const std::lock_guard lock(mutex_);
  return configuration_.is_default();
}

template <class Answer, class Question>
Answer ConfiguredCore::of(std::string const& name, Question question) const {
  const std::lock_guard lock(mutex_);
  const auto place = configuration_.find(name);
  return place ? question(*place) : Answer();
}

std::string ConfiguredCore::value(std::string const& name) const {
  return of<std::string>(name, [](auto place) { return place.configuration->value(place.number); });
}

std::string ConfiguredCore::backup(std::string const& name) const {
  return of<std::string>(name, [](auto place) { return place.configuration->backup(place.number); });
}

bool ConfiguredCore::is_enabled(std::string const& name) const {
  return of<bool>(name, [](auto place) { return place.configuration->instance().is_enabled(place.number); });
}

std::string ConfiguredCore::type(std::string const& name) const {
  return of<std::string>(name, [](auto place) { return type_of(parameter_at(place).widget); });
}

void ConfiguredCore::range(std::string const& name, StrVec& range) const {
  const StrVec found = of<StrVec>(name, [](auto place) { return place.configuration->instance().range(place.number); });
  range.insert(range.end(), found.begin(), found.end());
}

void ConfiguredCore::translate(ParamMap const& in, ParamMap& out) const {
  for (auto const& [name, value] : in) {
    const std::string own = of<std::string>(name, [](auto place) { return parameter_at(place).name; });
    out.insert_or_assign(own.empty() ? name : own, value);
  }
}

// The texts that hold what was modified are modified with it.
void ConfiguredCore::replace_by_own(RawResult& records) const {
  const std::lock_guard lock(mutex_);
  for (auto& [name, rows] : records)
    if (const auto place = configuration_.find(name)) {
      rows.resize(std::max<std::size_t>(rows.size(), 1));
      rows[0] = {place->configuration->backup(place->number)};
    }
  if (records.empty()) return;
  for (kdi::cores::Composite const& composite : core_->composites())
    if (auto const& text = configuration_.instance().given(composite.parameter))
      records.emplace(core_->parameters()[composite.parameter].name,
                      RawResult::mapped_type{{*text}, {}, {}, {}, {}, {}});
}

void ConfiguredCore::user_parameters(std::list<std::string>& names) const {
  for (std::uint32_t i = 0; i < core_->parameters().size(); ++i)
    if (core_->is_settable(i)) names.push_back(core_->parameters()[i].name);
}

void ConfiguredCore::device_info(std::string const& word, std::string& text) const {
  if (const auto fact = facts_.find(word); fact != facts_.end()) text = fact->second;
}

// ---------------------------------------------------------------------------------------------------- system monitor

void ConfiguredCore::measurements(StrPairs& pairs) const {
  const std::lock_guard lock(mutex_);
  const auto append = [&](std::uint32_t number) {
    pairs.emplace_back(core_->parameters()[number].name, configuration_.backup(number));
  };
  for (kdi::cores::Measurement const& one : core_->presets().measurements.all) {
    if (configuration_.value(one.enabled) != "1") continue;
    append(one.enabled);
    for (const std::uint32_t number : one.parameters) append(number);
  }
}

void ConfiguredCore::measurement_dictionaries(ParamMap& dictionaries, std::string const& sub_core) const {
  const std::lock_guard lock(mutex_);
  const std::string name = sub_core.starts_with(kTemporary) ? sub_core.substr(kTemporary.size()) : sub_core;
  Configuration* of = configuration_.sub_core(name);
  if (of == nullptr) of = configuration_.sub_core(name + "_0");
  if (of == nullptr) of = &configuration_;
  for (const std::uint32_t number : of->core().presets().measurements.dictionaries)
    if (std::string text = of->backup(number); !text.empty())
      dictionaries.insert_or_assign(of->core().parameters()[number].name, std::move(text));
}

// Supplies and satellites are numbered through the regions of a device, each of which has as many.
std::string ConfiguredCore::monitor(std::string const& what, std::string const& which) const {
  std::string text;
  const auto number = kdi::number::whole<int>(which);
  if ((what == "SUPPLY_NAME" || what == "SUPPLY_VOLTS") && number)
    device_info("supply." + std::to_string(*number - supplies_before()) + (what == "SUPPLY_NAME" ? ".name" : ".volts"),
                text);
  if (what == "SUPPLY_COUNT") device_info("supply.count", text);
  if (what == "SATELLITES") device_info(which.empty() ? "monitor.satellites" : "slr." + which + ".satellites", text);
  if (what == "MEASUREMENTS") return measured_supplies();
  if (what != "SUPPLIES" && what != "SUPPLY_NUM") return text;
  if (part_ == nullptr || !part_->device->processing_system || !part_->device->processing_system->monitor) return {};
  int supply_number = first_supply();
  for (kdi::device::SystemMonitor::Supply const& supply : part_->device->processing_system->monitor->supplies) {
    if (what == "SUPPLIES") kdi::text::append_word(text, supply.name);
    if (what == "SUPPLY_NUM" && supply.name == which) return std::to_string(supply_number);
    ++supply_number;
  }
  return text;
}

// Of the regions before the one that the core is of, which its parameter <...>_SLR_ID may say.
int ConfiguredCore::supplies_before() const {
  constexpr std::string_view kRegion = "_SLR_ID";
  auto const& all = core_->parameters();
  const auto found = std::find_if(all.begin(), all.end(),
                                  [&](Parameter const& parameter) { return parameter.name.ends_with(kRegion); });
  std::string count;
  device_info("supply.count", count);
  const int said = found == all.end() ? 0 : kdi::number::whole<int>(value(found->name)).value_or(0);
  const int region = said > 0 ? said : region_;
  return region > 0 && region < slr_count() ? region * kdi::number::whole<int>(count).value_or(0) : 0;
}

// The first parameter of a measurement is the number of the supply that it measures.
std::string ConfiguredCore::measured_supplies() const {
  const std::lock_guard lock(mutex_);
  std::string numbers;
  for (kdi::cores::Measurement const& one : core_->presets().measurements.all)
    if (configuration_.value(one.enabled) == "1" && !one.parameters.empty())
      kdi::text::append_word(numbers, configuration_.value(one.parameters.front()));
  return numbers;
}

int ConfiguredCore::first_supply() const {
  std::string text;
  device_info("supply.first", text);
  const auto first = kdi::number::whole<int>(text);
  return first ? *first + supplies_before() : -1;
}

std::string ConfiguredCore::boot_mode(std::string peripheral) const {
  constexpr std::string_view kSuffix = "_PERIPHERAL";
  if (peripheral.ends_with(kSuffix)) peripheral.resize(peripheral.size() - kSuffix.size());
  const std::string name = "BOOT_MODE_OF_" + peripheral.substr(peripheral.rfind('_') + 1);
  auto const& definitions = core_->definitions();
  const auto found = std::find_if(definitions.begin(), definitions.end(),
                                  [&](kdi::cores::Definition const& definition) { return definition.name == name; });
  if (found == definitions.end()) return {};
  const std::lock_guard lock(mutex_);
  return configuration_.instance().definition(static_cast<std::uint32_t>(found - definitions.begin())).text();
}

ParamMap ConfiguredCore::definitions_behind(std::string_view begin) const {
  ParamMap values;
  const std::lock_guard lock(mutex_);
  for (std::uint32_t i = 0; i < core_->definitions().size(); ++i)
    if (std::string const& name = core_->definitions()[i].name; name.starts_with(begin))
      values.emplace(name.substr(begin.size()), configuration_.instance().definition(i).text());
  return values;
}

void ConfiguredCore::hand_to_slave(ParamMap& params, ParamMap& master) const {
  const std::lock_guard lock(mutex_);
  std::set<std::uint32_t> own;
  for (kdi::cores::Measurement const& one : core_->presets().measurements.all) {
    own.insert(one.enabled);
    own.insert(one.parameters.begin(), one.parameters.end());
  }
  auto const& dictionaries = core_->presets().measurements.dictionaries;
  own.insert(dictionaries.begin(), dictionaries.end());
  for (kdi::cores::Composite const& composite : core_->composites())
    if (own.contains(composite.parameter))
      for (auto const& member : composite.members) own.insert(member.parameter);
  for (auto& [name, value] : params) {
    const auto place = configuration_.find(name);
    if (!place || (place->configuration == &configuration_ && own.contains(place->number))) continue;
    value = place->configuration->backup(place->number);
    master.insert_or_assign(name, value);
  }
}

void ConfiguredCore::set_sysmon_data_file(std::string name) {
  const std::lock_guard lock(mutex_);
  sysmon_data_file_ = std::move(name);
}

std::string ConfiguredCore::sysmon_data_file() const {
  const std::lock_guard lock(mutex_);
  return sysmon_data_file_;
}

std::uint64_t ConfiguredCore::changes() const {
  const std::lock_guard lock(mutex_);
  return whole_->changes;
}

int ConfiguredCore::slr_count() const { return part_ == nullptr ? 1 : static_cast<int>(part_->device->slrs.size()); }

// ------------------------------------------------------------------------------------------------- what is left behind

namespace {

std::string text_named(std::string const& name, OutputCore const& core) {
  if (name == "POWER_DATA") return power_text(core);
  if (name == "IOPAD_DATA") return pads_text(core);
  if (name == "XDC_DATA") return constraints_text(core);
  if (name == "SYSMON_DATA") return monitor_json(core);
  return monitor_commands(core);
}

}  // namespace

// The core and its sub-cores. A wizard that is no processing system itself has nothing besides these.
std::vector<OutputCore> ConfiguredCore::output_cores(std::string const& instance_name) {
  std::vector<OutputCore> cores;
  if (core_->clocks() != nullptr) cores.push_back({configuration_, part_, instance_name, region_});
  for (kdi::cores::SubCore const& sub : sub_cores())
    cores.push_back({*configuration_.sub_core(sub.name), part_, instance_name + "_" + sub.name, sub.region});
  if (cores.empty()) cores.push_back({configuration_, part_, instance_name, region_});
  for (OutputCore const& core : cores) core.configuration.instance().compute();
  return cores;
}

void ConfiguredCore::export_text(ParamMap const& params, std::string const& name, std::string& text, StrVec& errors) {
  constexpr std::string_view kNames[] = {"POWER_DATA", "IOPAD_DATA", "XDC_DATA", "SYSMON_DATA", "SYSMON_NPI"};
  if (std::find(std::begin(kNames), std::end(kNames), name) == std::end(kNames)) return;
  std::string fault;
  try {
    const std::lock_guard lock(mutex_);
    ParamMap unknown;  // told by those that apply them
    if (!params.empty()) ++whole_->changes;
    if (!params.empty()) configuration_.set(known({params.begin(), params.end()}, unknown));
    std::vector<std::string> texts;
    for (OutputCore const& core : output_cores(instance_name_)) texts.push_back(text_named(name, core));
    text = joined_texts(texts);
  } catch (std::bad_alloc const&) {
    throw;
  } catch (std::exception const& error) {
    fault = instance_name_ + ": " + error.what();
  }
  if (fault.empty()) return;
  errors.push_back(fault);
  tell_failure(fault);
}

std::vector<OutputFile> ConfiguredCore::files_for(ParamMap const& params, std::string const& stem, bool joint) {
  const OutputNames names = names_of(*core_);
  const std::lock_guard lock(mutex_);
  ParamMap unknown;
  if (!params.empty()) ++whole_->changes;
  if (!params.empty()) configuration_.set(known({params.begin(), params.end()}, unknown));
  std::vector<OutputFile> all;
  const std::vector<OutputCore> cores = output_cores(stem);
  for (OutputCore const& core : cores)
    for (OutputFile& file : design_files(core, names)) all.push_back(std::move(file));
  if (joint && !sub_cores().empty())
    for (OutputFile& file : joint_files(cores, stem, names)) all.push_back(std::move(file));
  return all;
}

void ConfiguredCore::write_files(ParamMap const& params, std::string const& path) {
  write(path, [&] {
    std::vector<OutputFile> files = files_for(params, instance_name_, false);
    const std::lock_guard lock(mutex_);
    written_.clear();
    for (OutputFile const& file : files) written_.push_back(path + "/" + file.name);
    return files;
  });
}

void ConfiguredCore::add_stages(AttrMap& file_attributes) const {
  const ParamMap stages = definitions_behind("STAGE_OF_");
  const std::lock_guard lock(mutex_);
  for (std::string const& path : written_)
    if (const auto stage = stages.find(std::filesystem::path(path).stem()); stage != stages.end())
      if (!stage->second.empty()) file_attributes[path].insert_or_assign("tandemStage", stage->second);
}

void ConfiguredCore::write_joint_files(std::string const& path, std::string const& stem) {
  write(path, [&] { return files_for({}, stem, true); });
}

void ConfiguredCore::write(std::string const& path, std::function<std::vector<OutputFile>()> const& files) const {
  std::vector<std::string> faults;
  try {
    for (OutputFile const& file : files()) try {
        const std::filesystem::path whole = std::filesystem::path(path) / file.name;
        kdi::make_directories(whole.parent_path().string());
        kdi::write_file(whole.string(), file.content);
      } catch (kdi::FileError const& error) {
        faults.push_back(error.what());
      }
  } catch (std::bad_alloc const&) {
    throw;
  } catch (std::exception const& error) {
    faults.push_back(instance_name_ + ": " + error.what());
  }
  for (std::string const& fault : faults) tell_failure(fault);
}

void ConfiguredCore::emit(CdoBuffer& buffer) {
  std::string fault;
  try {
    std::string bytes;
    {
      const std::lock_guard lock(mutex_);
      kdi::cdo::Commands commands;
      for (OutputCore const& core : output_cores(instance_name_)) {
        // Controllers of several regions have the same addresses, each in its own.
        if (!sub_cores().empty())
          commands.emplace_back(kdi::cdo::Section{"region " + std::to_string(core.region) + " " + core.instance_name});
        for (kdi::cdo::Command& command : all_commands(core)) commands.push_back(std::move(command));
      }
      bytes = kdi::cdo::to_binary(commands);
    }
    if (!buffer.append(bytes))
      fault = instance_name_ + ": the configuration data have " + std::to_string(bytes.size()) +
              " bytes, and there is room for " + std::to_string(buffer.room());
  } catch (std::bad_alloc const&) {
    throw;
  } catch (std::exception const& error) {
    fault = instance_name_ + ": " + error.what();
  }
  if (!fault.empty()) tell_failure(fault);
}

void ConfiguredCore::monitor_registers(StrPairs& registers) {
  std::string fault;
  try {
    const std::lock_guard lock(mutex_);
    for (OutputCore const& core : output_cores(instance_name_))
      for (auto& pair : hardip_eng::monitor_registers(core)) registers.push_back(std::move(pair));
  } catch (kdi::cores::RegisterError const& error) {
    fault = instance_name_ + ": " + error.what();
  }
  if (!fault.empty()) tell_failure(fault);
}

}  // namespace hardip_eng
