#include "platform/ippcw/configured_core.h"

#include <algorithm>
#include <iterator>
#include <map>

#include "kdi/common/KdiText.h"
#include "kdi/device/Device.h"
#include "platform/ippcw/device_facts.h"

namespace hardip_eng {
namespace {

using kdi::cores::Core;
using kdi::cores::Due;
using kdi::cores::Instance;
using kdi::cores::Parameter;
using kdi::cores::Strength;
using kdi::cores::Widget;

constexpr std::string_view kPrefix = "CONFIG.";
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

// A parameter of which users have no say is computed from others alone.
bool is_settable(Core const& core, std::uint32_t number) {
  Parameter const& parameter = core.parameters()[number];
  if (!parameter.derived) return true;
  const auto reads = parameter.derived->reads();
  return std::find(reads.begin(), reads.end(), Core::slot(number, Core::kUser)) != reads.end();
}

}  // namespace

ConfiguredCore::ConfiguredCore(std::shared_ptr<Core const> core, kdi::device::Part const* part,
                               std::string instance_name)
    : core_(std::move(core)),
      part_(part),
      instance_name_(std::move(instance_name)),
      facts_(part == nullptr ? kdi::cores::Facts() : facts_of(*part)),
      instance_(core_, facts_) {}

std::optional<std::uint32_t> ConfiguredCore::find(std::string_view name) const {
  if (const auto found = core_->find(name)) return found;
  if (name.starts_with(kPrefix)) name.remove_prefix(kPrefix.size());
  const auto found = core_->find(name);
  return found ? found : core_->find_user_name(name);
}

// What names parameters, by number; the rest is told. SKIP is what a disabled parameter shows, not a value.
std::vector<std::pair<std::uint32_t, std::string>> ConfiguredCore::known(StrPairs const& pairs,
                                                                         ParamMap& messages) const {
  std::vector<std::pair<std::uint32_t, std::string>> values;
  for (auto const& [name, given] : pairs) {
    const auto number = find(name);
    std::string text = without_braces(given);
    if (!number)
      messages.emplace(
          name, core_->name() + " " + core_->version() + " has no parameter \"" + kdi::text::shortened(name) + "\"");
    else if (!core_->parameters()[*number].skips || !kdi::text::same_but_case(text, kSkip))
      values.emplace_back(*number, std::move(text));
  }
  return values;
}

void ConfiguredCore::start(ParamMap const& params) {
  const std::lock_guard lock(mutex_);
  ParamMap unknown;  // told by the change that follows, if it gives them again
  std::vector<std::uint32_t> others;
  for (std::uint32_t i = 0; i < core_->parameters().size(); ++i)
    if (instance_.given(i)) others.push_back(i);
  instance_.take_back(others, Strength::values);
  instance_.set(known({params.begin(), params.end()}, unknown), kdi::cores::Origin::user, Strength::values);
}

void ConfiguredCore::apply(ParamMap const& params, RawResult& result, ParamMap& messages, int strength) {
  const std::lock_guard lock(mutex_);
  instance_.set(known({params.begin(), params.end()}, messages), kdi::cores::Origin::user, strength_of(strength));
  report(messages);
  list_locked(result);
}

void ConfiguredCore::change(StrPairs const& pairs, StrVec& modified, ParamMap& messages) {
  const std::lock_guard lock(mutex_);
  for (const std::uint32_t moved : instance_.set(known(pairs, messages)))
    if (std::string const& name = core_->parameters()[moved].name;
        std::find(modified.begin(), modified.end(), name) == modified.end())
      modified.push_back(name);
  report(messages);
}

// One text for a parameter, which begins with one tag: of its messages the gravest, in the order of the description.
void ConfiguredCore::report(ParamMap& messages) {
  std::map<std::uint32_t, std::vector<Due>> by_parameter;
  for (Due& due : instance_.messages()) {
    std::vector<Due>& gravest = by_parameter[due.parameter];
    if (!gravest.empty() && gravest.front().severity > due.severity) continue;
    if (!gravest.empty() && gravest.front().severity < due.severity) gravest.clear();
    gravest.push_back(std::move(due));
  }
  for (auto const& [parameter, due] : by_parameter) {
    std::vector<std::string> texts;
    for (Due const& one : due) texts.push_back(one.text);
    const std::string name = parameter == Due::kNoParameter ? core_->name() : core_->parameters()[parameter].name;
    messages.insert_or_assign(name,
                              std::string(kdi::cores::tag_of(due.front().severity)) + kdi::text::joined(texts, "\n"));
  }
}

void ConfiguredCore::list(RawResult& result) const {
  const std::lock_guard lock(mutex_);
  list_locked(result);
}

void ConfiguredCore::list_locked(RawResult& result) const {
  for (std::uint32_t i = 0; i < core_->parameters().size(); ++i) {
    Parameter const& parameter = core_->parameters()[i];
    result.insert_or_assign(parameter.name, RawResult::mapped_type{{instance_.value(i)},
                                                                   instance_.range(i),
                                                                   {instance_.is_enabled(i) ? "ENABLE" : "DISABLE"},
                                                                   {word_of(parameter.widget)},
                                                                   {},
                                                                   {}});
  }
}

bool ConfiguredCore::is_default() const {
  const std::lock_guard lock(mutex_);
  for (std::uint32_t i = 0; i < core_->parameters().size(); ++i)
    if (instance_.given(i)) return false;
  return true;
}

template <class Answer>
Answer ConfiguredCore::of(std::string const& name, Answer (Instance::*question)(std::uint32_t) const) const {
  const auto number = find(name);
  if (!number) return {};
  const std::lock_guard lock(mutex_);
  return (instance_.*question)(*number);
}

std::string ConfiguredCore::value(std::string const& name) const { return of(name, &Instance::value); }
std::string ConfiguredCore::backup(std::string const& name) const { return of(name, &Instance::backup); }
bool ConfiguredCore::is_enabled(std::string const& name) const { return of(name, &Instance::is_enabled); }

void ConfiguredCore::range(std::string const& name, StrVec& range) const {
  const StrVec found = of(name, &Instance::range);
  range.insert(range.end(), found.begin(), found.end());
}

std::string ConfiguredCore::type(std::string const& name) const {
  const auto number = find(name);
  return number ? type_of(core_->parameters()[*number].widget) : "";
}

void ConfiguredCore::translate(ParamMap const& in, ParamMap& out) const {
  for (auto const& [name, value] : in) {
    const auto number = find(name);
    out.insert_or_assign(number ? core_->parameters()[*number].name : name, value);
  }
}

void ConfiguredCore::replace_by_own(RawResult& records) const {
  const std::lock_guard lock(mutex_);
  for (auto& [name, rows] : records) {
    const auto number = find(name);
    if (!number) continue;
    rows.resize(std::max<std::size_t>(rows.size(), 1));
    rows[0] = {instance_.backup(*number)};
  }
}

void ConfiguredCore::user_parameters(std::list<std::string>& names) const {
  for (std::uint32_t i = 0; i < core_->parameters().size(); ++i)
    if (is_settable(*core_, i)) names.push_back(core_->parameters()[i].name);
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
