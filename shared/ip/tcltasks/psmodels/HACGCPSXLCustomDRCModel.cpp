#include "tcltasks/psmodels/HACGCPSXLCustomDRCModel.h"

#include <algorithm>
#include <functional>

#include "kdi/common/HUTGuiEvent.h"
#include "kdi/common/KdiText.h"
#include "kdi/ippcw/HICHipInstInterface.h"
#include "tcltasks/frame/hard_ip.h"
#include "tcltasks/psmodels/modified_params.h"
#include "tcltasks/psmodels/raw_result.h"
#include "tcltasks/psmodels/wizard.h"

using hardip_eng::HardIPInterface;
using kdi::text::same_but_case;
using psmodels::entry_of;
using psmodels::kUsualLevel;
using psmodels::param_exists_and_is_true;
using psmodels::param_is_true;

namespace {

constexpr char const* kChannel = psmodels::PsxlTraits::kChannel;
constexpr char const* kOutputChannel = psmodels::PsxlTraits::kOutputChannel;
constexpr char const* kNoInstance = "Unable to find Hard IPInst\n";
constexpr char const* kNoInstanceForUser = "\tUnable to find Hard IPInst\n";
constexpr int kStrength = 10;
constexpr int kPresetPins = 52;  // of a bank
constexpr std::string_view kMeasurement = "SMON_MEAS";

template <class... Arguments>
void tell(int level, char const* format, Arguments... arguments) {
  psmodels::log(kChannel, level, format, arguments...);
}
int as_int(std::size_t size) { return static_cast<int>(size); }

void add_new(StrVec const& names, StrVec& all) {
  std::set<std::string> known(all.begin(), all.end());
  for (std::string const& name : names)
    if (known.insert(name).second) all.push_back(name);
}

// "<prefix>0" to "<prefix><last>".
void add_numbered(char const* prefix, int last, StrVec& names) {
  for (int number = 0; number <= last; ++number) names.push_back(prefix + std::to_string(number));
}

}  // namespace

bool HACGCPSXLCustomDRCModel::has_instance(char const* complaint) const {
  if (hicInst == nullptr) tell(kUsualLevel, complaint);
  return hicInst != nullptr;
}
bool HACGCPSXLCustomDRCModel::has_instance() const { return has_instance(kNoInstance); }

// ------------------------------------------------------------------------------------------- the controller's side

bool HACGCPSXLCustomDRCModel::init_params(ParamMap& params, OutMap& outParams, ParamMap& context, StrVec& errors, int) {
  HardIPInterface* const instance = frame::made_core(context, errors);
  coreName = entry_of(context, "ps_core_name");
  const std::string name = entry_of(context, "instance_name");
  if (param_exists_and_is_true("ps.enableSysmonBroadcast") && coreName == "pmcps")
    if (auto* const sub_core = dynamic_cast<HICHipInstInterface*>(instance))
      sub_core->setSubCoreName(psmodels::sub_core_name(name));
  userModifiedParams.clear();
  inputParams = params;
  hicInst = instance != nullptr ? instance->getHICInst() : std::make_shared<HICInst>(name.empty() ? "psxl_0" : name);

  if (has_instance()) {
    RawResult raw;
    ParamMap dropped_messages;
    hicInst->setParam(params, raw, dropped_messages, kStrength);
    getOUTParams(raw, outParams);
  }
  return errors.empty();
}

bool HACGCPSXLCustomDRCModel::updateAll(ParamMap& params, ParamMap& userParams, OutMap& outParams, ParamMap& context) {
  tell(3, "updateAll- inputUserParamValues: %d xciValueMap: %d outputMapPropValues: %d Enter\n", as_int(params.size()),
       as_int(userParams.size()), as_int(outParams.size()));
  if (!has_instance()) return false;

  const std::string core = entry_of(context, "ps_core_name");
  if (param_is_true("psx.enableCrossConfiguration")) copy_cross_configurations(params, outParams);
  if (param_exists_and_is_true("ps.enableSysmonBroadcast") && core.starts_with("ps_wizard"))
    psmodels::broadcast_measurements(params, outParams);
  if (param_is_true("ps.enableBlockAutomation") && same_but_case(core, "ps_wizard"))
    outParams["PS_PMC_CONFIG_APPLIED"][XGUI_VALUE] = "1";
  if (core == "psx_wizard") keep_npi_frequency(params, outParams);

  paramErrors.clear();
  RawResult raw;
  ParamMap messages;
  validate_if_asked(params, messages);
  hicInst->setParam(params, raw, messages, kStrength);
  ParamMap changed = changed_values(raw);
  tell_customiser(changed, HPSPMCParameterChanged::CUSTOMIZER_FLOW_UPDATE_ALL);
  psmodels::merge_measurements(raw);
  const bool is_well = !reportMessages(params, raw, messages);
  getOUTParams(raw, outParams);
  tell(kUsualLevel, "updateAll- return_value: %d outputMapPropValues: %d Exit\n", is_well ? 1 : 0,
       as_int(outParams.size()));
  return is_well;
}

void HACGCPSXLCustomDRCModel::copy_cross_configurations(ParamMap const& params, OutMap& outParams) {
  constexpr char const* kCpmInternal = "CPM_CONFIG_INTERNAL";
  constexpr char const* kPsxInternal = "PSX_PMCX_CONFIG_INTERNAL";
  if (!inputParams.contains(kCpmInternal) || !inputParams.contains(kPsxInternal)) return;

  StrVec of_cpm;
  add_numbered("PSX_USE_PCIE_AXI_NOC", 3, of_cpm);
  of_cpm.insert(of_cpm.end(), {"PSX_USE_NOC_AXI_PCIE0", "CPM_TANDEM_MODE"});
  for (int controller = 0; controller <= 3; ++controller)
    of_cpm.push_back("CPM_PCIE" + std::to_string(controller) + "_MODES");
  for (int controller = 0; controller <= 3; ++controller)
    of_cpm.push_back("CPM_PCIE" + std::to_string(controller) + "_PORT_TYPE");
  copyCrossConfig(inputParams, params, kPsxInternal, "CPM_CONFIG", of_cpm, outParams);

  StrVec of_psx{"PSX_HSDP_MODE",
                "PSX_HSDP_INGRESS_TRAFFIC",
                "PSX_HSDP_EGRESS_TRAFFIC",
                "PSX_HSDP_AURORA_LINE_RATE",
                "PSX_HSDP_REFCLK_FREQMHZ",
                "PSX_HSDP0_REFCLK",
                "PSX_HSDP1_REFCLK",
                "PSX_CRL_CPM_TOPSW_REF_CTRL_SRCSEL",
                "PSX_CRL_CPM_TOPSW_REF_CTRL_FREQMHZ",
                "PSX_CRL_CPM_TOPSW_REF_CTRL_DIVISOR0",
                "PSX_CRL_CPM_TOPSW_REF_CTRL_ACT_FREQMHZ",
                "PSX_PCIE_RESET"};
  for (int reset = 1; reset <= 4; ++reset) of_psx.push_back("PSX_PCIE_ROOT_RESET" + std::to_string(reset) + "_IO");
  copyCrossConfig(inputParams, params, kCpmInternal, "PSX_PMCX_CONFIG", of_psx, outParams);
}

void HACGCPSXLCustomDRCModel::copyCrossConfig(ParamMap const& source, ParamMap const& target,
                                              std::string const& internalName, std::string const& publicName,
                                              StrVec const& list, OutMap& outParams) {
  ParamMap internal = psmodels::read_dict(entry_of(source, internalName));
  const ParamMap given = psmodels::read_dict(entry_of(target.contains(publicName) ? target : source, publicName));
  bool is_changed = false;
  for (std::string const& name : list) {
    const std::string value = entry_of(given, name);
    if (value.empty()) continue;
    internal[name] = value;
    is_changed = true;
  }
  if (!is_changed) return;
  outParams[internalName] = {{XGUI_VALUE, psmodels::write_dict(internal)}, {XGUI_ENABLED, "true"}};
}

// The user may not change this frequency in the wizard; all else in the text goes through.
void HACGCPSXLCustomDRCModel::keep_npi_frequency(ParamMap& params, OutMap& outParams) {
  constexpr char const* kText = "PSX_PMCX_CONFIG";
  constexpr char const* kFrequency = "PMCX_CRP_NPI_REF_CTRL_FREQMHZ";
  const auto text = params.find(kText);
  if (text == params.end()) return;
  ParamMap given = psmodels::read_dict(text->second);
  const ParamMap internal = psmodels::read_dict(entry_of(inputParams, "PSX_PMCX_CONFIG_INTERNAL"));
  const auto now = given.find(kFrequency);
  const auto before = internal.find(kFrequency);
  if (now == given.end() || before == internal.end() || now->second == before->second) return;
  now->second = before->second;
  text->second = psmodels::write_dict(given);
  outParams[kText][XGUI_VALUE] = text->second;
  ComMsgMgr::sendMsg::eval(kUsualLevel, __FILE__, __LINE__, frame::kMessageCategory, ComMsgMgr::MSG_WARNING, "@80-6@");
}

void HACGCPSXLCustomDRCModel::validate_if_asked(ParamMap& params, ParamMap& messages) {
  if (param_is_true("psx.internalSimulation")) return;
  validateParamRanges(params, messages);
  RawResult none;
  if (!messages.empty()) reportMessages(params, none, messages);
}

// What the customiser around the model is told of a full update.
ParamMap HACGCPSXLCustomDRCModel::changed_values(RawResult const& raw) const {
  ParamMap values;
  for (auto const& [name, rows] : raw) {
    if (name == "PS_SLR_ID") continue;
    const std::string value = first_of(rows, psmodels::Row::value);
    values.emplace(name, value.empty() ? "{}" : value);
  }
  return values;
}

// The customiser's own changes come back into the model meanwhile; they are not told again.
void HACGCPSXLCustomDRCModel::tell_customiser(ParamMap& params, HPSPMCParameterChanged::CUSTOMIZER_FLOW flow) {
  if (!eventsEnabled || params.empty() || !param_is_true("ips.syncEventsForPSXWizard")) return;
  const psmodels::FlagGuard telling(eventsEnabled, false);
  HACGCCustomDRCModel* const model = this;
  HUTGuiEvent::fire<HPSPMCParameterChanged>(model, &params, flow);
}

// ------------------------------------------------------------------------------------------- changes by the user

void HACGCPSXLCustomDRCModel::guiSetParams(ParamMap settings) {
  tell(1, "GUISetparams- paramValues_size: %d Enter\n", as_int(settings.size()));
  guiSetParams(StrPairs(settings.begin(), settings.end()));
  tell(kUsualLevel, "GUISetparams- Exit\n");
}

void HACGCPSXLCustomDRCModel::guiSetParams(StrPairs pairs) {
  if (!has_instance(kNoInstanceForUser)) return;
  for (auto const& [name, value] : pairs) tell(2, "\t GUISetparams %s with value %s\n", name.c_str(), value.c_str());
  const ParamMap settings(pairs.begin(), pairs.end());
  change(StrPairs(settings.begin(), settings.end()), marked(), [](auto&, auto&, auto&) {});
}

void HACGCPSXLCustomDRCModel::guiSetParam(std::string name, std::string value) {
  if (!has_instance(kNoInstanceForUser)) return;
  tell(kUsualLevel, "\t GUISetparam %s with value %s\n", name.c_str(), value.c_str());
  std::set<std::string> affected = marked();
  paramErrors.clear();
  change({{name, value}}, std::move(affected), [&](StrPairs& pairs, StrVec& modified, ParamMap& messages) {
    if (broadcasts()) broadcast(name, pairs, modified, messages);
  });
}

// Applies what the user set; `before_own` runs before the model's own instance gets the pairs, and may add to them.
void HACGCPSXLCustomDRCModel::change(StrPairs pairs, std::set<std::string> affected, BeforeOwn const& before_own) {
  for (auto& [name, value] : pairs) {
    value = psmodels::engine_value(value);
    userModifiedParams[name] = value;
  }
  ParamMap settings(pairs.begin(), pairs.end());
  ParamMap messages;
  validate_if_asked(settings, messages);
  StrVec modified, moved;
  before_own(pairs, modified, messages);
  hicInst->guiSetParam(pairs, moved, messages);
  add_new(moved, modified);
  RawResult none;
  reportMessages(settings, none, messages);
  add_marked(std::move(affected), modified);
  HUTGuiEvent::fire<HPSPMCUpdateGuiEvent>(&modified);
  ParamMap changed(pairs.begin(), pairs.end());
  tell_customiser(changed, HPSPMCParameterChanged::CUSTOMIZER_FLOW_GUI);
}

bool HACGCPSXLCustomDRCModel::broadcasts() const {
  return param_exists_and_is_true("ps.enableSysmonBroadcast") && param_is_true("project.allowPSSubCoreSplit") &&
         param_is_true("ps.enableSysmon") && hicInst->getSubCoreName().find("pmcps") != std::string::npos;
}

// The sub-cores share the settings of the system monitor, and each is told the measurements of this one.
void HACGCPSXLCustomDRCModel::broadcast(std::string const& name, StrPairs& pairs, StrVec& modified,
                                        ParamMap& messages) {
  StrPairs measurements;
  hicInst->getSysmonEnabledMeasurements(measurements);
  for (auto const& measurement : measurements) {
    const auto is_same = [&](auto const& pair) { return pair.first == measurement.first; };
    if (std::ranges::none_of(pairs, is_same)) pairs.push_back(measurement);
  }
  if (!psmodels::is_sysmon_ip_param(name)) return;
  for (std::shared_ptr<HICInst> const& other : psmodels::other_monitored_cores(hicInst.get())) {
    StrVec moved;
    ParamMap its_messages;
    StrPairs its_pairs = pairs;
    other->guiSetParam(its_pairs, moved, its_messages);
    add_new(moved, modified);
    messages.merge(its_messages);
  }
}

// ------------------------------------------------------------------------------------------- questions

std::string HACGCPSXLCustomDRCModel::value_of(std::string const& name) {
  std::string value = hicInst->getParamValue(name);
  if (value.empty() || same_but_case(value, "SKIP"))
    value = hicInst->getBackUpParamValue(name);
  else if (psmodels::is_dict_measurement(name) && psmodels::has_tokens())
    value = psmodels::with_tokens(value);
  psmodels::log(kOutputChannel, kUsualLevel, "Accessing val %s for param %s \n", value.c_str(), name.c_str());
  return value;
}

void HACGCPSXLCustomDRCModel::getParamInfo(std::string name, paramInfo kind, StrVec& answer) {
  if (!has_instance()) return;
  switch (kind) {
    case VALUE:
      answer.push_back(value_of(name));
      break;
    case TYPE:
      answer.push_back(hicInst->getParamType(name));
      break;
    case RANGE:
      hicInst->getParamRange(name, answer);
      break;
    case ENABLED:
      answer.emplace_back(hicInst->isParamEnabled(name) ? "true" : "false");
      break;
    case ERRMSG:
      answer.push_back(entry_of(paramErrors, name));
      break;
    case VISIBLE:  // these user interfaces have names and texts of their own
    case DISPLAY_NAME:
    case DESCRIPTION:
    case UNKNOWN:
      break;
  }
}

StrPairs HACGCPSXLCustomDRCModel::getParamChoicesMappingList(std::string name) {
  StrVec choices;
  getParamInfo(name, RANGE, choices);
  StrPairs answer;
  for (std::string const& choice : choices) answer.emplace_back(choice, choice);
  return answer;
}

void HACGCPSXLCustomDRCModel::validateParamRanges(ParamMap& params, ParamMap& messages) {
  if (!has_instance()) return;
  for (auto const& [name, given] : params) {
    if (!hicInst->isParamEnabled(name)) continue;
    const std::string value = psmodels::engine_value(given);
    StrVec range;
    hicInst->getParamRange(name, range);
    if (range.empty() || hicInst->getParamType(name) != "textEdit") continue;
    if (range.size() < 2 || value.empty() || validClkFreqRange(name, value, range)) continue;
    if (!validateFloatString(range[0])) continue;
    messages.emplace(name, "PARAM " + name + "::" + value + " is of invalid format or out of range [" + range[0] + "," +
                               range[1] + "]");
  }
}

bool HACGCPSXLCustomDRCModel::validClkFreqRange(std::string const& name, std::string const& value,
                                                StrVec const& range) {
  if (!validateFloatString(value)) return false;
  if (name.find("FREQMHZ") == std::string::npos) return true;
  double number = 0, min = 0, max = 0;
  if (!validateAndConvertDouble(value, number)) return false;
  // what is no bound binds nothing
  if (range.size() < 2 || !validateAndConvertDouble(range[0], min) || !validateAndConvertDouble(range[1], max))
    return true;
  return min <= number && number <= max;
}

std::string HACGCPSXLCustomDRCModel::getUserModifiedParams() {
  tell(kUsualLevel, "\t\t UserModifiedParams- Enter\n");
  if (!has_instance()) return {};
  RawResult records =
      psmodels::records_of(userModifiedParams, [this](std::string const& name) { return value_of(name); });
  hicInst->getGuiUserModifiedParams(records);
  userModifiedParams.clear();
  if (psmodels::has_tokens())
    for (auto& [name, rows] : records)
      if (psmodels::is_dict_measurement(name) && !rows.empty() && !rows.front().empty())
        rows.front().front() = psmodels::without_tokens(rows.front().front());
  if (coreName == "pmcps" && param_is_true("cips.enableSysmonRedesign")) filter_measurements(records);
  std::string text =
      psmodels::settings_text(records, inputParams, [](std::string const& name, psmodels::Rows const& rows) {
        tell(kUsualLevel, "\t\t\t [%s] value: %s range- (%s)\n", name.c_str(),
             first_of(rows, psmodels::Row::value).c_str(),
             kdi::text::joined(row_of(rows, psmodels::Row::range), ",").c_str());
      });
  tell(kUsualLevel, "\t\t UserModifiedParams- Final_result is %s\n", text.c_str());
  return text;
}

namespace {

bool is_number(std::string_view text) { return !text.empty() && std::ranges::all_of(text, kdi::text::is_digit); }

bool is_measurement(std::string_view name) {
  return name.starts_with(kMeasurement) && is_number(name.substr(kMeasurement.size()));
}

// The number behind the first "SUPPLY_NUM " that has one; empty without.
std::string supply_number(std::string const& text) {
  constexpr std::string_view kWord = "SUPPLY_NUM ";
  for (std::size_t at = text.find(kWord); at != std::string::npos; at = text.find(kWord, at + 1)) {
    const std::size_t begin = at + kWord.size();
    const std::size_t end = std::min(text.find_first_not_of("0123456789", begin), text.size());
    if (end > begin) return text.substr(begin, end - begin);
  }
  return {};
}

}  // namespace

// A measurement goes by the number of its supply, and one that is off not at all. The number stands behind the name of
// its parameter as in a configuration, "SMON_MEAS0_SUPPLY_NUM 5".
void HACGCPSXLCustomDRCModel::filter_measurements(RawResult& records) {
  RawResult kept;
  for (auto const& [name, rows] : records) {
    if (!is_measurement(name)) {
      kept.emplace(name, rows);
      continue;
    }
    if (value_of(name + "_ENABLE") != "1") continue;
    const std::string parameter = name + "_SUPPLY_NUM";
    const std::string supply = supply_number(parameter + " " + value_of(parameter));
    if (!supply.empty()) kept.emplace(std::string(kMeasurement) + supply, rows);
  }
  records = std::move(kept);
}

void HACGCPSXLCustomDRCModel::getMioOccupiedPins(StrVec& answer) {
  if (!has_instance()) return;
  for (char const* const bank : {"PMCX_PRESET_MIO_", "PSX_PRESET_MIO_"})
    for (int pin = 0; pin < kPresetPins; ++pin) {
      const std::string name = bank + std::to_string(pin);
      const std::string value = hicInst->getParamValue(name);
      if (!value.empty()) answer.push_back(name + ":" + value);
    }
}

bool HACGCPSXLCustomDRCModel::isPSBankAvailable() { return has_instance() && hicInst->isPSBankAvailable(); }
int HACGCPSXLCustomDRCModel::guiGetSlrCount() { return has_instance() ? hicInst->getSlrCount() : 0; }
int HACGCPSXLCustomDRCModel::guiGetStartSupplyID() { return has_instance() ? hicInst->getStartSupplyId() : -1; }
std::string HACGCPSXLCustomDRCModel::getSysmonData(std::string a, std::string b) {
  return has_instance() ? hicInst->getSysmonData(a, b) : std::string();
}
