#include "tcltasks/psmodels/HACGCPSPMCCustomDRCModel.h"

#include <algorithm>
#include <set>

#include "kdi/common/HUTGuiEvent.h"
#include "kdi/common/KdiText.h"
#include "kdi/ip/HPSPMCEvents.h"
#include "kdi/ippcw/cips_top.h"
#include "tcltasks/frame/brace_words.h"
#include "tcltasks/frame/cpu_time.h"
#include "tcltasks/frame/hard_ip.h"
#include "tcltasks/psmodels/configuration_reader.h"
#include "tcltasks/psmodels/modified_params.h"
#include "tcltasks/psmodels/raw_result.h"

using hardip_eng::HardIPInterface;
using hardip_eng::HardIPManager;
using psmodels::kUsualLevel;
using pspmc_config::pspmc_top;

namespace {

constexpr char const* kChannel = psmodels::PspmcTraits::kChannel;
constexpr char const* kCustom = "Custom";
constexpr char const* kIntegrityMode = "DEVICE_INTEGRITY_MODE";
constexpr int kInitStrength = 5;

template <class... Arguments>
void tell(char const* format, Arguments... arguments) {
  psmodels::log(kChannel, kUsualLevel, format, arguments...);
}

void warn(char const* text) {
  ComMsgMgr::sendScopedMsg::eval(kUsualLevel, __FILE__, __LINE__, frame::kMessageCategory, kChannel,
                                 ComMsgMgr::MSG_WARNING, "%s", text);
}

ParamMap translated(pspmc_top& instance, ParamMap const& settings) {
  ParamMap names;
  instance.translateParamNames(settings, names);
  return names;
}

}  // namespace

// What is said if there is no instance, and if it is one of another class.
struct HACGCPSPMCCustomDRCModel::Absence {
  void (*say)(char const* text);
  char const* of_none;
  char const* of_another_class;
};

// The first complaint is made even if the instance can be made then: one that was made by init_params has gone.
pspmc_top* HACGCPSPMCCustomDRCModel::find_instance(Absence const& absence) {
  StrVec errors;
  HardIPInterface* found = HardIPManager::getInstance()->findInstance(ipContext, errors);
  if (found == nullptr) {
    found = frame::made_core(ipContext, errors);
    absence.say(absence.of_none);
  }
  if (found == nullptr) {
    absence.say(absence.of_none);
    return nullptr;
  }
  auto* const instance = dynamic_cast<pspmc_top*>(found);
  if (instance == nullptr) absence.say(absence.of_another_class);
  return instance;
}

pspmc_top* HACGCPSPMCCustomDRCModel::find_instance() {
  constexpr char const* kText = "Unable to find Hard IPInst\n";
  return find_instance({[](char const* text) { tell(text); }, kText, kText});
}

// ------------------------------------------------------------------------------------------- the controller's side

bool HACGCPSPMCCustomDRCModel::init_params(ParamMap& params, OutMap& outParams, ParamMap& context, StrVec& errors,
                                           int strength) {
  tell("Strength = %d \n", strength);
  HardIPInterface* const core = frame::made_core(context, errors);
  ipContext = context;
  inputParams = params;
  userModifiedParams.clear();

  RawResult raw;
  if (core != nullptr) {
    RawResult dropped;
    ParamMap dropped_messages;
    core->storeUserParams(params);
    core->getRanges(params, dropped, dropped_messages, kInitStrength);
    core->getOutputParams(raw);
  }
  for (auto const& [parameter, choices] : subPresetChoices) {
    tell("subPreset param %s\n", parameter.c_str());
    for (std::string const& choice : choices)
      tell("subPreset param choice %s and msg %s\n", choice.c_str(),
           getSubPresetInfoForSubPresetParam(parameter, choice).c_str());
  }
  getOUTParams(raw, outParams);
  if (auto* const instance = dynamic_cast<pspmc_top*>(core)) key_choices_by_engine_names(*instance);
  if (auto* const wizard = dynamic_cast<cips_config::cips_top*>(core)) wizard->guiContextParams = guiContextParams;
  return errors.empty();
}

void HACGCPSPMCCustomDRCModel::key_choices_by_engine_names(pspmc_top& instance) {
  ParamMap names;
  for (auto const& [name, choices] : choiceMappings) names.emplace(name, name);
  std::map<std::string, StrPairs> moved;  // all are taken out before one is put in: a new name may be an old one
  for (auto const& [engine_name, name] : translated(instance, names))
    if (auto entry = choiceMappings.extract(name)) moved.insert_or_assign(engine_name, std::move(entry.mapped()));
  moved.merge(choiceMappings);
  choiceMappings = std::move(moved);
}

bool HACGCPSPMCCustomDRCModel::updateAll(ParamMap& params, ParamMap& userParams, OutMap& outParams, ParamMap& context) {
  return update(params, userParams, outParams, context, [] {});
}

void HACGCPSPMCCustomDRCModel::get_ranges(ParamMap& params, ParamMap& userParams, RawResult& raw, ParamMap& context,
                                          ParamMap& messages) {
  const frame::CpuTime time;
  StrVec errors;
  HardIPInterface* core = HardIPManager::getInstance()->findInstance(context, errors);
  if (core == nullptr) {
    core = frame::made_core(context, errors);
    if (core != nullptr) core->storeUserParams(userParams);
  }
  if (core != nullptr) core->getRanges(params, raw, messages, frame::kFullStrength);
  time.print_if_asked(frame::kRangeTimeVariable, psmodels::kRangeTime);
}

// ------------------------------------------------------------------------------------------- changes by the user

// Applies what the user set. What the engine moved, and what had or has an error.
StrVec HACGCPSPMCCustomDRCModel::change(pspmc_top& instance, StrPairs const& pairs, ParamMap changed) {
  std::set<std::string> affected = marked();
  paramErrors.clear();
  for (auto const& [name, value] : pairs) userModifiedParams[name] = value;
  StrVec modified;
  ParamMap messages;
  instance.guiSetParamOf(pairs, modified, messages);
  RawResult none;  // the engine has judged the values
  validate_if_asked(changed, none, messages);
  reportMessages(changed, none, messages);
  add_marked(std::move(affected), modified);
  return modified;
}

void HACGCPSPMCCustomDRCModel::guiSetParam(std::string name, std::string value) {
  tell("GUI Sets param %s with value %s\n", name.c_str(), value.c_str());
  pspmc_top* const instance = find_instance();
  if (instance == nullptr) return;
  value = psmodels::engine_value(value);
  StrPairs pairs{{name, value}};
  if (!applyingSubPreset) leave_sub_presets(name, pairs);
  StrVec modified = change(*instance, pairs, {{name, value}});
  HUTGuiEvent::fire<HPSPMCUpdateGuiEvent>(&modified);
}

// One change by hand makes the whole sub-preset "Custom", and so what is configured together with it.
void HACGCPSPMCCustomDRCModel::leave_sub_presets(std::string const& name, StrPairs& pairs) {
  const auto tell_of = [&](std::string const& sub_preset) {
    tell("Parameter %s seems to be a part of subpreset %s configuration\n", name.c_str(), sub_preset.c_str());
  };
  if (const auto link = paramToSubPreset.find(name); link != paramToSubPreset.end()) {
    tell_of(link->second);
    pairs.emplace_back(link->second, kCustom);
    paramToSubPreset.clear();
  }
  if (const auto members = subPresetMembers.find(name); members != subPresetMembers.end()) {
    tell_of(paramToSubPreset[name]);  // sic: leaves an entry behind
    for (std::string const& member : members->second) pairs.emplace_back(member, kCustom);
  }
}

void HACGCPSPMCCustomDRCModel::guiSetParams(ParamMap settings) {
  guiSetParams(StrPairs(settings.begin(), settings.end()));
}

void HACGCPSPMCCustomDRCModel::guiSetParams(StrPairs pairs) {
  for (auto const& [name, value] : pairs) tell("GUI Sets param %s with value %s\n", name.c_str(), value.c_str());
  pspmc_top* const instance = find_instance();
  if (instance == nullptr) return;
  ParamMap changed = translated(*instance, ParamMap(pairs.begin(), pairs.end()));
  for (auto& [name, value] : changed) value = psmodels::engine_value(value);
  change(*instance, StrPairs(changed.begin(), changed.end()), changed);
}

// ------------------------------------------------------------------------------------------- sub-presets

// The settings that a choice stands for, as the engine takes them.
ParamMap HACGCPSPMCCustomDRCModel::sub_preset_settings(std::string const& choice) const {
  constexpr std::string_view kPrefix = "CONFIG.";
  ParamMap settings;
  for (auto const& [key, setting] : subPresetConfigs.at(choice)) {
    std::string name = key;
    if (const std::size_t at = name.find(kPrefix); at != std::string::npos) name.erase(at, kPrefix.size());
    const std::string value = "{" + setting + "}";
    tell("Subpreset configuration - Param %s and value %s\n", name.c_str(), value.c_str());
    settings.emplace(name, value);
  }
  return settings;
}

void HACGCPSPMCCustomDRCModel::guiSetSubPresetParam(std::string value) {
  pspmc_top* const instance = find_instance();
  if (instance == nullptr) return;
  if (!subPresetConfigs.contains(value)) {
    tell("Subpreset value %s does not belong to one of the subpresets\n", value.c_str());
    return;
  }
  paramToSubPreset.clear();
  ParamMap settings = sub_preset_settings(value);
  settings.emplace(kIntegrityMode, value);
  const ParamMap by_engine_names = translated(*instance, settings);
  {
    const psmodels::FlagGuard applying(applyingSubPreset, true);
    guiSetParams(by_engine_names);
  }
  StrVec names;
  for (auto const& [name, setting] : by_engine_names) {
    paramToSubPreset.emplace(name, kIntegrityMode);
    names.push_back(name);
  }
  HUTGuiEvent::fire<HPSPMCUpdateGuiEvent>(&names);
}

void HACGCPSPMCCustomDRCModel::loadSubPresetParams(ParamMap params) {
  pspmc_top* const instance = find_instance();
  if (instance == nullptr) return;

  std::map<std::string, std::set<std::string>> by_engine_names;
  for (auto const& [name, members] : subPresetMembers) {
    const auto given = params.find(name);
    if (given == params.end()) continue;
    ParamMap member_names;
    for (std::string const& member : members) member_names.emplace(member, "");
    std::set<std::string> engine_members;
    for (auto const& [member, nothing] : translated(*instance, member_names)) engine_members.insert(member);
    for (auto const& [engine_name, value] : translated(*instance, {*given}))
      by_engine_names[engine_name] = engine_members;
  }
  subPresetMembers = std::move(by_engine_names);
  link_sub_presets(*instance);
}

void HACGCPSPMCCustomDRCModel::link_sub_presets(pspmc_top& instance) {
  for (auto const& [parameter, choices] : subPresetChoices) {
    const StrVec value = value_of(parameter);
    if (value.empty() || value.front() == kCustom || !subPresetConfigs.contains(value.front())) continue;
    for (auto const& [name, setting] : translated(instance, sub_preset_settings(value.front())))
      paramToSubPreset.emplace(name, parameter);
  }
}

void HACGCPSPMCCustomDRCModel::relinkSubPresets() {
  pspmc_top* const instance = find_instance();
  if (instance == nullptr) return;
  paramToSubPreset.clear();
  link_sub_presets(*instance);
}

StrVec HACGCPSPMCCustomDRCModel::getSubPresetParams() {
  StrVec names;
  for (auto const& [name, choices] : subPresetChoices) names.push_back(name);
  return names;
}

StrVec HACGCPSPMCCustomDRCModel::getSubPresetChoicesForSubPresetParam(std::string name) {
  const auto place = subPresetChoices.find(name);
  if (place == subPresetChoices.end()) return {};
  const StrVec value = value_of(name);
  StrVec choices = place->second;
  adjust_choices(value, choices);
  return choices;
}

void HACGCPSPMCCustomDRCModel::adjust_choices(StrVec const& value, StrVec& choices) const {
  if (value.empty()) return;
  if (value.front() == kCustom)
    choices.insert(choices.begin(), kCustom);
  else if (const auto custom = std::ranges::find(choices, kCustom); custom != choices.end())
    choices.erase(custom);
}

std::string HACGCPSPMCCustomDRCModel::getSubPresetInfoForSubPresetParam(std::string name, std::string key) {
  const auto texts = subPresetInfos.find(name);
  return texts == subPresetInfos.end() ? std::string() : psmodels::entry_of(texts->second, key);
}

// ------------------------------------------------------------------------------------------- questions

StrVec HACGCPSPMCCustomDRCModel::value_of(std::string const& name) {
  StrVec value;
  getParamInfo(name, VALUE, value);
  return value;
}

void HACGCPSPMCCustomDRCModel::getParamInfo(std::string name, paramInfo kind, StrVec& answer) {
  pspmc_top* const instance = find_instance();
  if (instance == nullptr) return;
  switch (kind) {
    case VALUE: {
      std::string value = instance->getParamValueOf(name);
      if (value.empty() || kdi::text::same_but_case(value, "SKIP")) value = instance->getBackUpParamValueOf(name);
      tell("Accessing val %s for param %s \n", value.c_str(), name.c_str());
      answer.push_back(value);
      break;
    }
    case TYPE:
      answer.push_back(instance->getParamTypeOf(name));
      break;
    case RANGE:
      instance->getParamRangeOf(name, answer);
      if (subPresetChoices.contains(name)) answer = getSubPresetChoicesForSubPresetParam(name);
      answer.erase(std::unique(answer.begin(), answer.end()), answer.end());
      answer.erase(std::ranges::find(answer, ""), answer.end());
      tell("Accessing range %s for param %s \n", kdi::text::joined(answer, ",").c_str(), name.c_str());
      break;
    case ENABLED:
      answer.emplace_back(instance->isParamEnabledOf(name) ? "true" : "false");
      break;
    case DISPLAY_NAME:
      answer.push_back(psmodels::entry_of(displayNames, name));
      break;
    case DESCRIPTION:
      answer.push_back(psmodels::entry_of(descriptions, name));
      break;
    case ERRMSG:
      answer.push_back(psmodels::entry_of(paramErrors, name));
      break;
    case VISIBLE:  // answered by nobody: user interfaces take that for visible
    case UNKNOWN:
      break;
  }
}

namespace {

// Both without their first and last characters, if both are in braces.
std::pair<std::string, std::string> unwrapped(std::pair<std::string, std::string> pair) {
  const auto is_wrapped = [](std::string const& text) { return text.starts_with('{') && text.size() >= 2; };
  if (is_wrapped(pair.first) && is_wrapped(pair.second))
    for (std::string* const text : {&pair.first, &pair.second}) *text = text->substr(1, text->size() - 2);
  return pair;
}

}  // namespace

StrPairs HACGCPSPMCCustomDRCModel::getParamChoicesMappingList(std::string name) {
  StrVec choices;
  getParamInfo(name, RANGE, choices);
  StrPairs mapping;
  if (const auto place = choiceMappings.find(name); place != choiceMappings.end())
    for (auto const& pair : place->second) mapping.push_back(unwrapped(pair));
  StrPairs answer;
  for (std::string const& choice : choices) {
    const auto mapped =
        std::ranges::find_if(mapping, [&](auto const& pair) { return choice == pair.first || choice == pair.second; });
    answer.push_back(mapped == mapping.end() ? std::pair(choice, choice) : *mapped);
  }
  return answer;
}

std::string HACGCPSPMCCustomDRCModel::getUserModifiedParams() {
  pspmc_top* const instance = find_instance();
  if (instance == nullptr) return {};
  RawResult records = psmodels::records_of(userModifiedParams, [this](std::string const& name) {
    const StrVec value = value_of(name);
    return value.empty() ? std::string() : value.front();
  });
  instance->getUserModifiedOf(records);
  userModifiedParams.clear();
  std::string text = psmodels::settings_text(records, inputParams, [](auto const&, auto const&) {});
  tell(" Final result is %s\n", text.c_str());
  return text;
}

void HACGCPSPMCCustomDRCModel::setUserModifiedParams(std::string settings) {
  StrVec words;
  kelvane_config::util::parseParamValueDictWithBraces(settings, words);
  if (words.size() % 2 != 0) words.emplace_back();
  ParamMap given;
  for (std::size_t i = 0; i < words.size(); i += 2)
    given.insert_or_assign(std::move(words[i]), std::move(words[i + 1]));
  userModifiedParams = std::move(given);
}

void HACGCPSPMCCustomDRCModel::getCurrentConfiguration(std::string name,
                                                       HSTVector<std::pair<std::string, std::string>>& answer) {
  const std::string command = "set x {" + name + "}";
  tell("%s is cmd \n", command.c_str());
  psmodels::read_configuration(command, answer);
}

std::string HACGCPSPMCCustomDRCModel::getSysmonData(std::string a, std::string b) {
  pspmc_top* const instance = find_instance();
  return instance == nullptr ? std::string() : instance->getSysmonDataForInst(a, b);
}

std::string HACGCPSPMCCustomDRCModel::getBootModeOfSDPeripheral(std::string const& peripheral) {
  pspmc_top* const instance =
      find_instance({warn, "\t HACGCPSPMCCustomDRCModel:getBootModeOfSDPeripheral-Unable to find Hard IPInst\n",
                     "\t HACGCPSPMCCustomDRCModel:getBootModeOfSDPeripheral- Unable to find Hard IPInst\n"});
  return instance == nullptr ? std::string() : instance->getBootModeOfSDPeripheral(peripheral);
}

int HACGCPSPMCCustomDRCModel::guiGetStartSupplyID() {
  pspmc_top* const instance =
      find_instance({warn, "\t HACGCPSPMCCustomDRCModel:getStartSupplyId-Unable to find Hard IPInst\n",
                     "\t HACGCPSPMCCustomDRCModel:getStartSupplyId- Unable to find Hard IPInst\n"});
  return instance == nullptr ? -1 : instance->getStartSupplyId();
}
