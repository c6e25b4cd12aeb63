#include "platform/cores/reading/core_presets.h"

#include <algorithm>
#include <set>

#include "platform/cores/reading/drafts.h"

namespace kdi::cores {
namespace {

constexpr std::size_t kMostPresets = 1000;  // of a sort

std::uint32_t settable(JsonValue at, std::string const& name, Core const& core) {
  auto number = core.find(name);
  if (!number) number = core.find_user_name(name);
  if (!number || !core.is_settable(*number)) at.refuse("the name of a parameter that users may set");
  return *number;
}

// Values that the parameters could have, whatever other values they have at the time.
std::vector<PresetValue> settings(JsonValue object, Places const& places, Core const& core) {
  std::vector<PresetValue> all;
  std::set<std::uint32_t> seen;
  for (const JsonValue value : object.members()) {
    const std::uint32_t number = settable(value, filled(value, value.name(), places), core);
    if (!seen.insert(number).second) value.refuse("a parameter that is not set yet");
    Parameter const& parameter = core.parameters()[number];
    PresetValue setting{number, text(value, places)};
    const auto read = read_value(parameter.type, setting.text);
    if (!read) value.refuse("a value of type " + parameter.type.text());
    auto const& values = parameter.values();
    if (!values.empty() && std::find(values.begin(), values.end(), value_text(*read)) == values.end())
      value.refuse("one of the values of " + parameter.name);
    all.push_back(std::move(setting));
  }
  if (all.empty()) object.refuse("at least one parameter with its value");
  return all;
}

template <class Named>
void put(JsonValue entry, std::vector<Named>& all, Named added) {
  const auto known = std::find_if(all.begin(), all.end(), [&](Named const& one) { return one.name == added.name; });
  if (known != all.end()) {
    *known = std::move(added);
    return;
  }
  if (all.size() == kMostPresets) entry.refuse("at most 1000 of them");
  all.push_back(std::move(added));
}

SubPreset sub_preset(JsonValue entry, Places const& places, Core const& core) {
  entry.allow_only({"parameter", "choices"});
  const JsonValue name = entry.member("parameter");
  const auto number = core.find(text(name, places));
  if (!number || core.parameters()[*number].values().empty()) name.refuse("the name of a parameter with values");
  auto const& values = core.parameters()[*number].values();
  SubPreset preset{core.parameters()[*number].name, *number, {}, {}};
  std::set<std::uint32_t> members;
  for (const JsonValue choice : entry.member("choices").items()) {
    choice.allow_only({"value", "info", "settings"});
    const JsonValue value = choice.member("value");
    Preset one{text(value, places), text(choice.member("info"), places), {}};
    const bool is_new = std::none_of(preset.choices.begin(), preset.choices.end(),
                                     [&](Preset const& other) { return other.name == one.name; });
    if (!is_new || std::find(values.begin(), values.end(), one.name) == values.end())
      value.refuse("a value of " + preset.name + " that is no choice yet");
    one.settings = settings(choice.member("settings"), places, core);
    for (PresetValue const& setting : one.settings) members.insert(setting.parameter);
    preset.choices.push_back(std::move(one));
  }
  preset.members.assign(members.begin(), members.end());
  return preset;
}

void add_measurements(JsonValue section, Places const& known, Core const& core, Measurements& measurements) {
  section.allow_only({"each", "enabled", "parameters", "dictionaries"});
  for (Places const& places : written_out(section.find("each"), known)) {
    const JsonValue enabled = section.member("enabled");
    Measurement one{settable(enabled, text(enabled, places), core), {}};
    if (core.parameters()[one.enabled].type != Type(Kind::truth)) enabled.refuse("the name of a truth");
    for (const JsonValue name : section.member("parameters").items())
      one.parameters.push_back(settable(name, text(name, places), core));
    if (measurements.all.size() == kMostEntries) section.refuse("at most 10000 measurements");
    measurements.all.push_back(std::move(one));
  }
  for (const JsonValue name : section.member("dictionaries").items())
    measurements.dictionaries.push_back(settable(name, text(name, known), core));
}

}  // namespace

void PresetDrafts::add(JsonValue root, Places const& places) {
  const std::pair<char const*, std::vector<Draft>*> kSections[] = {
      {"presets", &presets_}, {"boards", &boards_}, {"sub_presets", &sub_presets_}, {"measurements", &measurements_}};
  for (auto const& [name, drafts] : kSections)
    if (const auto section = root.find(name)) drafts->push_back({*section, places});
}

Presets PresetDrafts::finished(Core const& core) const {
  Presets presets;
  const auto named = [&](std::vector<Draft> const& drafts, std::vector<Preset>& all) {
    for (Draft const& draft : drafts)
      for (const JsonValue entry : draft.value.items()) {
        entry.allow_only({"name", "description", "settings"});
        put(entry, all,
            Preset{text(entry.member("name"), draft.places), text(entry.member("description"), draft.places),
                   settings(entry.member("settings"), draft.places, core)});
      }
  };
  named(presets_, presets.presets);
  named(boards_, presets.boards);
  for (Draft const& draft : sub_presets_)
    for (const JsonValue entry : draft.value.items())
      put(entry, presets.sub_presets, sub_preset(entry, draft.places, core));
  for (Draft const& draft : measurements_) add_measurements(draft.value, draft.places, core, presets.measurements);
  return presets;
}

}  // namespace kdi::cores
