#include "host/coretools/opened_core.h"

#include <algorithm>
#include <atomic>
#include <mutex>
#include <new>
#include <optional>
#include <set>
#include <stdexcept>
#include <utility>

#include "host/coretools/engine_model.h"
#include "kdi/common/HUTGuiEvent.h"
#include "kdi/common/KdiText.h"
#include "kdi/common/host/GuiEventHost.h"
#include "kdi/corepages/Report.h"
#include "kdi/cores/Settings.h"
#include "kdi/cores/Whole.h"
#include "kdi/ip/HPSPMCEvents.h"
#include "kdi/ippcw/HardIP.h"
#include "tcltasks/psmodels/HACGCPSPMCCustomDRCModel.h"
#include "tcltasks/psmodels/HACGCPSXLCustomDRCModel.h"

namespace coretools {
namespace {

using hardip_eng::ConfiguredAccess;
using kdi::cores::Configuration;
using kdi::cores::Instance;
using kdi::cores::Parameter;
using kdi::cores::Record;
using kdi::ip::Customization;

constexpr char kInstanceName[] = "instance_name";
constexpr char kPut[] = "put";  // in front of the settings of a script

// The core that a context or an identifier names: `pspmc` of brenlo:ip:pspmc:1.4.
std::string core_named(std::string const& identifier, ParamMap const& context) {
  const auto given = context.find("ps_core_name");
  if (given != context.end()) return given->second;
  const auto words = kdi::text::split(identifier, ':');
  return words.size() == 4 ? std::string(words[2]) : std::string("core");
}

// A model drives the core of its identifier alone; a context that names another one would get nothing from it.
void expect_same_core(std::string const& identifier, ParamMap const& context) {
  const auto words = kdi::text::split(identifier, ':');
  if (words.size() != 4) return;
  for (auto const& [key, word] : {std::pair("ps_core_name", words[2]), std::pair("ps_core_ver", words[3])}) {
    const auto given = context.find(key);
    if (given != context.end() && given->second != word)
      throw std::invalid_argument(kdi::text::shown(identifier) + " is another core than the " + key + " " +
                                  kdi::text::shown(given->second) + " of the context");
  }
}

// Instances without a name of the user's need one that nobody else has, in any interpreter. It begins with the core, by
// which whoever makes an instance from its name alone knows it.
ParamMap named(std::string const& identifier, ParamMap context) {
  expect_same_core(identifier, context);
  static std::atomic<unsigned> count{0};
  if (!context.contains(kInstanceName))
    context.emplace(kInstanceName, core_named(identifier, context) + "_coretools_" + std::to_string(count++));
  return context;
}

Parameter const& parameter_at(Configuration::Place place) {
  return place.configuration->core().parameters()[place.number];
}

Instance& instance_at(Configuration::Place place) { return place.configuration->instance(); }

char const* type_of(kdi::cores::Widget widget) {
  using kdi::cores::Widget;
  return widget == Widget::combo ? "combo" : widget == Widget::edit ? "textEdit" : "checkBox";
}

// Each once, in the order in which they came.
StrVec each_once(StrVec const& names) {
  StrVec once;
  std::set<std::string> seen;
  for (std::string const& name : names)
    if (seen.insert(name).second) once.push_back(name);
  return once;
}

bool is_composite(Configuration::Place place) { return place.configuration->is_composite(place.number); }

// Closes a batch of changes that were made to instances alone, with the texts that show them.
void close_batch(ConfiguredAccess const& all, StrVec& moved) {
  for (std::string& name : all.whole.set({})) moved.push_back(std::move(name));
  all.history.record();
}

ParamMap given_to(ConfiguredAccess const& all) {
  ParamMap given;
  for (Configuration const* const one : all.configuration.all_of_it())
    for (std::uint32_t i = 0; i < one->core().parameters().size(); ++i)
      if (auto const& text = one->instance().given(i)) given.emplace(one->core().parameters()[i].name, *text);
  return given;
}

struct Kind {
  char const* word;
  HACGCPSPMCCustomDRCModel::paramInfo pspmc;
  HACGCPSXLCustomDRCModel::paramInfo psxl;
};
constexpr Kind kKinds[] = {
    {"value", HACGCPSPMCCustomDRCModel::VALUE, HACGCPSXLCustomDRCModel::VALUE},
    {"type", HACGCPSPMCCustomDRCModel::TYPE, HACGCPSXLCustomDRCModel::TYPE},
    {"range", HACGCPSPMCCustomDRCModel::RANGE, HACGCPSXLCustomDRCModel::RANGE},
    {"enabled", HACGCPSPMCCustomDRCModel::ENABLED, HACGCPSXLCustomDRCModel::ENABLED},
    {"display_name", HACGCPSPMCCustomDRCModel::DISPLAY_NAME, HACGCPSXLCustomDRCModel::DISPLAY_NAME},
    {"description", HACGCPSPMCCustomDRCModel::DESCRIPTION, HACGCPSXLCustomDRCModel::DESCRIPTION},
    {"error", HACGCPSPMCCustomDRCModel::ERRMSG, HACGCPSXLCustomDRCModel::ERRMSG},
};

Kind const& kind_of(std::string const& word) {
  for (Kind const& kind : kKinds)
    if (kind.word == word) return kind;
  throw std::invalid_argument("no kind of information " + kdi::text::shown(word) + "; there are " +
                              kdi::text::joined(OpenedCore::kinds(), ", "));
}

// Of a model that answers no questions: what its core says.
StrVec told_of(Configuration::Place place, ParamMap const& errors, std::string const& word) {
  Parameter const& parameter = parameter_at(place);
  if (word == "value") {
    std::string value = place.configuration->value(place.number);
    return {kdi::text::same_but_case(value, "SKIP") ? place.configuration->backup(place.number) : value};
  }
  if (word == "type") return {type_of(parameter.widget)};
  if (word == "range") return instance_at(place).range(place.number);
  if (word == "enabled") return {instance_at(place).is_enabled(place.number) ? "true" : "false"};
  if (word == "display_name") return {parameter.display_name()};
  if (word == "description") return {parameter.description()};
  const auto error = errors.find(parameter.name);
  return {error == errors.end() ? std::string() : error->second};
}

// ------------------------------------------------------------------------------------------------------------ events

// Who hears of the changes of which customisation: an event is of the one that is at work.
class Listeners {
 public:
  struct Heard {
    std::function<void(StrVec const&)> update;
    std::function<void(std::string const&, ParamMap const&)> change;
  };

  static Listeners& all() {
    static auto& all = *new Listeners;  // never destroyed: asked while the process ends
    return all;
  }
  void add(Customization const& one, Heard heard) {
    const std::lock_guard lock(mutex_);
    heard_.insert_or_assign(&one, std::move(heard));
  }
  void remove(Customization const& one) {
    const std::lock_guard lock(mutex_);
    heard_.erase(&one);
  }
  /// Nothing if nobody hears.
  std::optional<Heard> of(Customization const* one) {
    const std::lock_guard lock(mutex_);
    const auto place = heard_.find(one);
    return place == heard_.end() ? std::nullopt : std::optional(place->second);
  }

 private:
  std::mutex mutex_;
  std::map<Customization const*, Heard> heard_;
};

void listen_once() {
  [[maybe_unused]] static const int updates =
      gui_event_host::subscribe<HPSPMCUpdateGuiEvent>([](HPSPMCUpdateGuiEvent const& event) {
        const auto heard = Listeners::all().of(Customization::at_work());
        if (heard && event.parameters != nullptr) heard->update(*event.parameters);
      });
  [[maybe_unused]] static const int changes =
      gui_event_host::subscribe<HPSPMCParameterChanged>([](HPSPMCParameterChanged const& event) {
        const auto heard = Listeners::all().of(Customization::at_work());
        if (!heard || event.parameters == nullptr) return;
        heard->change(event.flow == HPSPMCParameterChanged::CUSTOMIZER_FLOW_GUI ? "interface" : "update",
                      *event.parameters);
      });
}

}  // namespace

// -------------------------------------------------------------------------------------------------------------- life

OpenedCore::OpenedCore(std::string const& identifier, ParamMap context, Customization::Begin begin)
    : owns_instance_(!context.contains(kInstanceName)),
      customization_(identifier, named(identifier, std::move(context)), std::move(begin),
                     EngineModel::for_core(identifier)),
      model_(customization_),
      pspmc_(model_.pspmc()),
      psxl_(model_.psxl()) {
  listen_once();
  customization_.update({});
  hardip_eng::access_core(customization_.context(), [](Access const&) {});  // what is undone begins here
  Listeners::all().add(customization_, {[this](StrVec const& names) {
                                          moved_.insert(moved_.end(), names.begin(), names.end());
                                          if (on_update) on_update(names);
                                        },
                                        [this](std::string const& flow, ParamMap const& params) {
                                          if (on_change) on_change(flow, params);
                                        }});
}

OpenedCore::~OpenedCore() {
  Listeners::all().remove(customization_);
  if (!owns_instance_) return;
  try {
    StrVec none;
    hardip_eng::HardIPManager::getInstance()->deleteInstance(customization_.context(), none);
  } catch (std::bad_alloc const&) {  // the manager keeps it, under a name that is not given again
  }
}

void OpenedCore::access(std::function<void(Access const&)> const& use) const {
  if (!hardip_eng::access_core(customization_.context(), use))
    throw std::runtime_error("the engine no longer has the core " + kdi::text::shown(customization_.identifier()));
}

OpenedCore::Place OpenedCore::place(Access const& all, std::string const& name) const {
  const auto found = all.configuration.find(name);
  if (!found) {
    kdi::cores::Core const& core = all.configuration.core();
    throw std::invalid_argument(core.name() + " " + core.version() + " has no parameter " + kdi::text::shown(name));
  }
  return *found;
}

std::string OpenedCore::engine_name(std::string const& name) const {
  std::string found;
  access([&](Access const& all) { found = all.configuration.name_of(place(all, name)); });
  return found;
}

// ----------------------------------------------------------------------------------------------------------- changes

// What events tell of the change, which can be undone as a whole.
StrVec OpenedCore::batch(std::function<void()> const& change) {
  StrVec outer = std::exchange(moved_, {});  // of a change that a script made while it heard of it
  change();
  access([](Access const& all) { all.history.record(); });
  StrVec moved = each_once(moved_);
  moved_.insert(moved_.begin(), outer.begin(), outer.end());
  return moved;
}

// As a model does that fires events.
void OpenedCore::tell(StrVec names) {
  customization_.drive([&](HACGCCustomDRCModel&) { HUTGuiEvent::fire<HPSPMCUpdateGuiEvent>(&names); });
}

// What of the outputs is another after the change, for models that fire no events; and what shows SKIP in them, before
// and after, and has another value behind it.
StrVec OpenedCore::moved_outputs(std::function<void()> const& change) {
  const Customization::OutMap before = customization_.outputs();
  const StrPairs values_before = values();
  change();
  StrVec names;
  for (auto const& [name, properties] : customization_.outputs()) {
    const auto old = before.find(name);
    if (old == before.end() || old->second != properties) names.push_back(name);
  }
  const StrPairs values_after = values();
  for (std::size_t i = 0; i < std::min(values_before.size(), values_after.size()); ++i)
    if (values_before[i] != values_after[i]) names.push_back(values_after[i].first);
  return each_once(names);
}

// Of all parameters, those of sub-cores behind the core's own.
StrPairs OpenedCore::values() const {
  StrPairs all;
  access([&](Access const& access) {
    for (Configuration const* const one : access.configurations)
      for (std::uint32_t i = 0; i < one->core().parameters().size(); ++i)
        all.emplace_back(one->core().parameters()[i].name, one->backup(i));
  });
  return all;
}

StrVec OpenedCore::set(StrPairs const& pairs) {
  StrPairs known;
  for (auto const& [name, value] : pairs) known.emplace_back(engine_name(name), value);
  return batch([&] {
    for (auto const& [name, value] : known) {
      if (pspmc_ != nullptr || psxl_ != nullptr) {
        customization_.set(name, value);
        continue;
      }
      tell(moved_outputs([&, &one = name, &its = value] { customization_.update({{one, its}}); }));
    }
  });
}

// One model tells what moved; of the other, and of the engine alone, it is found out.
StrVec OpenedCore::set_together(StrPairs const& pairs) {
  StrPairs known;
  for (auto const& [name, value] : pairs) known.emplace_back(engine_name(name), value);
  return batch([&] {
    if (!model_.is_there()) {
      ParamMap changes;
      for (auto const& [name, value] : known) changes.insert_or_assign(name, value);
      tell(moved_outputs([&] { customization_.update(std::move(changes)); }));
      return;
    }
    const RawResult before = model_.rows();
    model_.set_together(known);
    if (pspmc_ == nullptr) return;
    StrVec names;
    for (auto const& [name, now] : model_.rows()) {
      const auto old = before.find(name);
      if (old == before.end() || old->second != now) names.push_back(name);
    }
    tell(std::move(names));
  });
}

StrVec OpenedCore::drive(std::function<void(HACGCCustomDRCModel&)> const& use) {
  return batch([&] { customization_.drive(use); });
}

int OpenedCore::slr_count() {
  if (psxl_ != nullptr) return model_.slr_count();
  StrVec none;
  auto* const core = hardip_eng::HardIPManager::getInstance()->findInstance(customization_.context(), none);
  return core == nullptr ? 1 : core->slrCount();
}

bool OpenedCore::update(ParamMap const& params) {
  bool is_well = false;
  batch([&] { is_well = customization_.update(params); });
  return is_well;
}

StrVec OpenedCore::engine_change(std::function<StrVec(Access const&)> const& change) {
  StrVec names;
  ParamMap given;
  access([&](Access const& all) {
    names = each_once(change(all));
    given = given_to(all);
  });
  customization_.set_user_params(std::move(given));
  customization_.update({});  // its errors and outputs are those of the core as it is now
  if (pspmc_ != nullptr) customization_.drive([&](HACGCCustomDRCModel&) { pspmc_->relinkSubPresets(); });
  if (!names.empty()) tell(names);
  return names;
}

StrVec OpenedCore::take_back(StrVec const& names) {
  return engine_change([&](Access const& all) {
    std::vector<Place> places;
    for (std::string const& name : names) {
      places.push_back(place(all, name));
      if (is_composite(places.back()))
        throw std::invalid_argument(kdi::text::shown(name) + " holds other parameters: take those back");
    }
    StrVec moved = all.whole.take_back(places);
    close_batch(all, moved);
    return moved;
  });
}

StrVec OpenedCore::step(bool back) {
  return engine_change([&](Access const& all) {
    StrVec moved;
    for (auto const& [instance, parameter] : back ? all.history.undo() : all.history.redo())
      moved.push_back(all.configurations[instance]->core().parameters()[parameter].name);
    return moved;
  });
}

StrVec OpenedCore::undo() { return step(true); }
StrVec OpenedCore::redo() { return step(false); }

// --------------------------------------------------------------------------------------------------------- questions

StrVec OpenedCore::kinds() {
  StrVec words;
  for (Kind const& kind : kKinds) words.emplace_back(kind.word);
  return words;
}

Record OpenedCore::get(std::string const& given_name, std::string const& word) {
  Kind const& kind = kind_of(word);
  const std::string name = engine_name(given_name);
  const ParamMap errors = customization_.errors();
  StrVec answer;
  customization_.drive([&](HACGCCustomDRCModel&) {
    if (pspmc_ != nullptr) pspmc_->getParamInfo(name, kind.pspmc, answer);
    if (psxl_ != nullptr) psxl_->getParamInfo(name, kind.psxl, answer);
  });
  const bool is_answered = pspmc_ != nullptr || (psxl_ != nullptr && word != "display_name" && word != "description");
  if (!is_answered) access([&](Access const& all) { answer = told_of(place(all, name), errors, word); });
  if (word == "range") return Record::list(answer);
  return answer.empty() ? Record() : Record(answer.front());
}

Record OpenedCore::get(std::string const& name) {
  Record all = Record::dictionary();
  for (std::string const& kind : kinds()) all.set(kind, get(name, kind));
  return all;
}

std::string OpenedCore::modified() {
  if (pspmc_ != nullptr) return pspmc_->getUserModifiedParams();
  return psxl_ != nullptr ? psxl_->getUserModifiedParams() : std::string();
}

// ------------------------------------------------------------------------------------------------------- sub-presets

StrVec OpenedCore::sub_presets() { return pspmc_ != nullptr ? pspmc_->getSubPresetParams() : StrVec(); }

Record OpenedCore::sub_preset(std::string const& name) {
  const StrVec all = sub_presets();
  if (std::find(all.begin(), all.end(), name) == all.end())
    throw std::invalid_argument("no sub-preset " + kdi::text::shown(name) +
                                (all.empty() ? std::string() : "; there are " + kdi::text::joined(all, ", ")));
  const StrVec choices = pspmc_->getSubPresetChoicesForSubPresetParam(name);
  Record texts = Record::dictionary();
  for (std::string const& choice : each_once(choices)) {
    const std::string text = pspmc_->getSubPresetInfoForSubPresetParam(name, choice);
    if (!text.empty()) texts.set(choice, text);
  }
  Record record = Record::dictionary();
  record.set("choices", Record::list(choices)).set("info", std::move(texts));
  return record;
}

StrVec OpenedCore::choose(std::string const& choice) {
  if (pspmc_ == nullptr || !pspmc_->subPresetConfigs.contains(choice))
    throw std::invalid_argument("no sub-preset has a choice " + kdi::text::shown(choice) + " with settings");
  return batch([&] { customization_.drive([&](HACGCCustomDRCModel&) { pspmc_->guiSetSubPresetParam(choice); }); });
}

// --------------------------------------------------------------------------------------------------------------- why

void OpenedCore::look(std::function<void(std::vector<Configuration*> const&)> const& look) const {
  access([&](Access const& access) { look(access.configuration.all_of_it()); });
}

StrVec OpenedCore::names() const {
  StrVec all;
  access([&](Access const& access) {
    for (Configuration const* const one : access.configuration.all_of_it())
      for (Parameter const& parameter : one->core().parameters()) all.push_back(parameter.name);
  });
  return each_once(all);
}

Record OpenedCore::explain(std::string const& name) {
  Record record;
  access(
      [&](Access const& all) { record = kdi::cores::explain_whole(all.whole, all.configuration, place(all, name)); });
  return record;
}

Record OpenedCore::explain(std::string const& name, std::string const& message) {
  Record record;
  access([&](Access const& all) {
    record = kdi::cores::explain_whole(all.whole, all.configuration, place(all, name), message);
  });
  return record;
}

Record OpenedCore::try_set(StrPairs const& pairs) {
  Record record;
  access([&](Access const& all) { record = kdi::cores::try_values(all.configuration, pairs); });
  return record;
}

// Two cores are asked one after the other, since each may be asked by other threads meanwhile: a copy stands for one.
std::unique_ptr<Configuration> OpenedCore::copy() const {
  std::unique_ptr<Configuration> copy;
  access([&](Access const& all) { copy = all.configuration.copy(); });
  return copy;
}

Record OpenedCore::compare(OpenedCore& other) {
  const auto mine = copy();
  Record record;
  other.access([&](Access const& all) { record = kdi::cores::compare_whole(*mine, all.configuration); });
  return record;
}

Record OpenedCore::carry_to(OpenedCore& other) {
  if (&other == this) throw std::invalid_argument("a configuration is carried to another core");
  const auto mine = copy();
  Record record;
  other.engine_change([&](Access const& all) {
    kdi::cores::CarriedWhole carried = kdi::cores::carry_whole(*mine, all.configuration);
    record = std::move(carried.record);
    close_batch(all, carried.moved);
    return std::move(carried.moved);
  });
  return record;
}

// ------------------------------------------------------------------------------------------------------------- files

// The context as the caller gave it: a name that was made up here would be another one on each run.
std::string OpenedCore::report() const {
  kdi::corepages::Heading heading;
  for (auto const& [name, value] : customization_.context())
    if (name == "part" || (name == kInstanceName && !owns_instance_)) heading.facts.emplace_back(name, value);
  for (auto& [name, value] : heading.facts) name = name == "part" ? "Part" : "Instance";
  std::string page;
  access([&](Access const& all) { page = kdi::corepages::report(all.configuration, heading); });
  return page;
}

// The texts of composites hold what cores within were given, but not that a preset or a board did, nor what texts
// within those cores name beside their members.
kdi::cores::Settings OpenedCore::settings(Access const& all) const {
  kdi::cores::Settings settings = kdi::cores::settings_of(all.configuration.instance());
  for (Configuration* const inner : all.configuration.all_of_it()) {
    if (inner == &all.configuration) continue;
    for (kdi::cores::Setting& one : kdi::cores::settings_of(inner->instance()).all) {
      const Place there{inner, inner->core().find(one.parameter).value()};
      if (one.from == kdi::cores::Origin::user && inner->beside(there.number).empty()) continue;
      one.parameter = all.configuration.name_of(there);
      settings.all.push_back(std::move(one));
    }
  }
  return settings;
}

std::string OpenedCore::script() const {
  std::string text;
  access([&](Access const& all) { text = kdi::cores::settings_script(settings(all), kPut); });
  return text;
}

std::string OpenedCore::json() const {
  std::string text;
  access([&](Access const& all) { text = kdi::cores::settings_json(settings(all)); });
  return text;
}

StrVec OpenedCore::read_script(std::string const& text, std::string const& file) {
  return restore(kdi::cores::read_settings_script(text, file, kPut));
}

StrVec OpenedCore::read_json(std::string const& text, std::string const& file) {
  return restore(kdi::cores::read_settings_json(text, file));
}

// The text of a composite has all that its members were given, those of sub-cores too. What comes from a preset or a
// board is given behind it, once more, to have its origin.
StrVec OpenedCore::restore(kdi::cores::Settings const& settings) {
  using kdi::cores::Origin;
  return engine_change([&](Access const& all) {
    Configuration& configuration = all.configuration;
    if (settings.core != configuration.core().name())
      throw std::invalid_argument("settings of " + kdi::text::shown(settings.core) + " are not for " +
                                  configuration.core().name());
    kdi::cores::Settings own{settings.core, settings.version, {}};
    for (kdi::cores::Setting const& setting : settings.all)
      if (place(all, setting.parameter).configuration == &configuration) own.all.push_back(setting);
    kdi::cores::changes_for(configuration.instance(), own);  // refuses before anything is given
    StrVec moved = configuration.take_all_back();
    for (const Origin from : {Origin::user, Origin::preset, Origin::board}) {
      std::vector<std::pair<Place, std::string>> values;
      for (kdi::cores::Setting const& setting : settings.all)
        if (setting.from == from) values.emplace_back(place(all, setting.parameter), setting.text);
      if (values.empty()) continue;
      for (std::string& name : all.whole.set(values, from)) moved.push_back(std::move(name));
    }
    all.history.record();
    return moved;
  });
}

}  // namespace coretools
