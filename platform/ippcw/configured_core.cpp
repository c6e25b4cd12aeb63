#include "platform/ippcw/configured_core.h"

#include <algorithm>
#include <iterator>
#include <map>

#include "kdi/common/KdiText.h"
#include "kdi/device/Device.h"
#include "platform/ippcw/core_store.h"
#include "platform/ippcw/device_facts.h"

namespace hardip_eng {
namespace {

using kdi::cores::Configuration;
using kdi::cores::Core;
using kdi::cores::Due;
using kdi::cores::Parameter;
using kdi::cores::Strength;
using kdi::cores::Widget;

constexpr std::string_view kSkip = "SKIP";

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

Parameter const& parameter_at(Configuration::Place place) {
  return place.configuration->core().parameters()[place.number];
}

}  // namespace

ConfiguredCore::ConfiguredCore(std::shared_ptr<Core const> core, kdi::device::Part const* part,
                               std::string instance_name)
    : core_(std::move(core)),
      part_(part),
      instance_name_(std::move(instance_name)),
      facts_(part == nullptr ? kdi::cores::Facts() : facts_of(*part)),
      configuration_(core_, facts_, [](std::string const& name, std::string const& version) {
        return core_description(name, version);
      }) {}

// What names parameters, with its place; the rest is told. SKIP is what a disabled parameter shows, not a value.
std::vector<std::pair<Configuration::Place, std::string>> ConfiguredCore::known(StrPairs const& pairs,
                                                                                ParamMap& messages) {
  std::vector<std::pair<Configuration::Place, std::string>> values;
  for (auto const& [name, given] : pairs) {
    const auto place = configuration_.find(name);
    std::string text = without_braces(given);
    if (!place)
      messages.emplace(
          name, core_->name() + " " + core_->version() + " has no parameter \"" + kdi::text::shortened(name) + "\"");
    else if (!parameter_at(*place).skips || !kdi::text::same_but_case(text, kSkip))
      values.emplace_back(*place, std::move(text));
  }
  return values;
}

void ConfiguredCore::start(ParamMap const& params) {
  const std::lock_guard lock(mutex_);
  ParamMap unknown;  // told by the change that follows, if it gives them again
  configuration_.take_all_back(Strength::values);
  configuration_.set(known({params.begin(), params.end()}, unknown), kdi::cores::Origin::user, Strength::values);
}

void ConfiguredCore::apply(ParamMap const& params, RawResult& result, ParamMap& messages, int strength) {
  const std::lock_guard lock(mutex_);
  configuration_.set(known({params.begin(), params.end()}, messages), kdi::cores::Origin::user, strength_of(strength));
  report(messages);
  list_locked(result);
}

void ConfiguredCore::change(StrPairs const& pairs, StrVec& modified, ParamMap& messages) {
  const std::lock_guard lock(mutex_);
  for (std::string& name : configuration_.set(known(pairs, messages)))
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
  for (std::uint32_t i = 0; i < core_->parameters().size(); ++i) {
    Parameter const& parameter = core_->parameters()[i];
    result.insert_or_assign(parameter.name, RawResult::mapped_type{{configuration_.value(i)},
                                                                   instance.range(i),
                                                                   {instance.is_enabled(i) ? "ENABLE" : "DISABLE"},
                                                                   {word_of(parameter.widget)},
                                                                   {},
                                                                   {}});
  }
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
    if (std::string text = configuration_.value(composite.parameter); !text.empty())
      records.emplace(core_->parameters()[composite.parameter].name,
                      RawResult::mapped_type{{std::move(text)}, {}, {}, {}, {}, {}});
}

void ConfiguredCore::user_parameters(std::list<std::string>& names) const {
  for (std::uint32_t i = 0; i < core_->parameters().size(); ++i)
    if (core_->is_settable(i)) names.push_back(core_->parameters()[i].name);
}

void ConfiguredCore::device_info(std::string const& word, std::string& text) const {
  if (const auto fact = facts_.find(word); fact != facts_.end()) text = fact->second;
}

void ConfiguredCore::set_sysmon_data_file(std::string name) {
  const std::lock_guard lock(mutex_);
  sysmon_data_file_ = std::move(name);
}

int ConfiguredCore::slr_count() const { return part_ == nullptr ? 1 : static_cast<int>(part_->device->slrs.size()); }

}  // namespace hardip_eng
