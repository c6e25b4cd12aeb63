#include "platform/ip/customization/model_maps.h"

#include "kdi/cores/Store.h"

namespace kdi::ip {
namespace {

constexpr char kCustom[] = "Custom";  // models offer it by themselves, while it is the value
constexpr int kDeepestSubCores = 4;

void fill_parameter(HACGCCustomDRCModel& model, cores::Parameter const& parameter) {
  if (!parameter.display_name().empty()) model.displayNames.emplace(parameter.name, parameter.display_name());
  if (!parameter.description().empty()) model.descriptions.emplace(parameter.name, parameter.description());
  if (parameter.values().empty()) return;
  StrPairs choices;
  for (std::string const& value : parameter.values()) choices.emplace_back(value, value);
  model.choiceMappings.emplace(parameter.name, std::move(choices));
}

// A change by hand of what a choice sets makes the sub-preset "Custom": so it is configured together with that.
void fill_sub_preset(HACGCCustomDRCModel& model, cores::Core const& core, cores::SubPreset const& sub_preset) {
  StrVec& choices = model.subPresetChoices[sub_preset.name];
  for (std::string const& value : core.parameters()[sub_preset.parameter].values())
    if (value != kCustom) choices.push_back(value);
  for (cores::Preset const& choice : sub_preset.choices) {
    ParamMap& settings = model.subPresetConfigs[choice.name];
    for (cores::PresetValue const& setting : choice.settings)
      settings.emplace(core.parameters()[setting.parameter].name, setting.text);
    model.subPresetInfos[sub_preset.name].emplace(choice.name, choice.description);
  }
  for (const std::uint32_t member : sub_preset.members)
    model.subPresetMembers[core.parameters()[member].name].insert(sub_preset.name);
}

void fill(HACGCCustomDRCModel& model, cores::Core const& core, int depth) {
  for (cores::Parameter const& parameter : core.parameters()) fill_parameter(model, parameter);
  for (cores::SubPreset const& sub_preset : core.presets().sub_presets)
    if (!model.subPresetChoices.contains(sub_preset.name)) fill_sub_preset(model, core, sub_preset);
  if (depth == kDeepestSubCores) return;  // the engine refuses such a core
  for (cores::SubCore const& sub : core.sub_cores())
    if (const auto description = cores::core_description(sub.core, sub.version)) fill(model, *description, depth + 1);
}

}  // namespace

void fill_maps(HACGCCustomDRCModel& model, cores::Core const& core) { fill(model, core, 0); }

}  // namespace kdi::ip
