// The configuration commands.
#include <list>
#include <string>

#include "kdi/common/ComMsgMgr.h"
#include "kdi/common/HPAParamMgr.h"
#include "kdi/tcl/command.h"
#include "tcltasks/frame/cpu_time.h"
#include "tcltasks/frame/exceptions.h"
#include "tcltasks/hardip/call.h"
#include "tcltasks/hardip/hardip.h"
#include "tcltasks/hardip/output_commands.h"

namespace kelvane_config::kdi_tcltasks {
namespace {

using hardip::Call;
using hardip_eng::HardIPInterface;
using hardip_eng::HardIPManager;
using hardip_eng::HardIPOp;

// The live core of a context; null without.
HardIPInterface* live_core(ParamMap const& context) {
  StrVec errors;
  return HardIPManager::getInstance()->findInstance(context, errors);
}

int ip_init(Call const& call) {
  const frame::CpuTime time;
  return hardip::ip_init(call, [&] { time.print_init(); });
}

int ip_uninit(Call const& call) {
  Tcl_Obj* context = nullptr;
  if (!call.has_options(hardip::kContextUsage, "-context", context)) return TCL_ERROR;
  StrVec errors;
  if (!HPAParamMgr::getParamMgr().getValueAsBool("cips.EnableBDC"))
    HardIPManager::getInstance()->deleteInstance(call.map(context), errors);
  return call.status(true);
}

int is_ip_instance(Call const& call) {
  Tcl_Obj* context = nullptr;
  if (!call.has_options(hardip::kContextUsage, "-context", context)) return TCL_ERROR;
  return call.status(live_core(call.map(context)) != nullptr);
}

int is_default_ip_instance(Call const& call) {
  Tcl_Obj* context = nullptr;
  if (!call.has_options(hardip::kContextUsage, "-context", context)) return TCL_ERROR;
  HardIPInterface* const core = live_core(call.map(context));
  return call.status(core != nullptr && core->isDefaultInstance());
}

int get_device_info(Call const& call) {
  Tcl_Obj *context = nullptr, *info = nullptr;
  if (!call.has_options(hardip::kInfoUsage, "-context", context, "-info", info)) return TCL_ERROR;
  HardIPInterface* const core = live_core(call.map(context));
  if (core == nullptr) return call.fail("instance not found");
  std::string text;
  if (core->implements(HardIPOp::getDeviceInfo)) core->getDeviceInfo(call.read<std::string>(info), text);
  return util::set_tcl_result(call.interp, text);
}

int get_user_param_list(Call const& call) {
  const frame::CpuTime time;
  Tcl_Obj* context = nullptr;
  if (!call.has_options(hardip::kOneBlankUsage, "-context", context)) return TCL_ERROR;
  return call.with_core(call.map(context), [&](HardIPInterface& core) {
    std::list<std::string> names;
    core.getUserParamList(names);
    time.print_init();
    return util::set_tcl_result(call.interp, names);
  });
}

// Messages of the engine make the answer an error, which has the ranges all the same.
int tell_ranges(Call const& call, frame::CpuTime const& time, RawResult const& raw, ParamMap const& messages) {
  time.print_range();
  return messages.empty() ? util::set_tcl_result(call.interp, raw) : util::set_tcl_error(call.interp, raw, messages);
}

int get_range(Call const& call) {
  const frame::CpuTime time;
  Tcl_Obj *params = nullptr, *context = nullptr;
  if (!call.has_options(hardip::kRangeUsage, "-params", params, "-context", context)) return TCL_ERROR;
  return call.with_core(call.map(context), [&](HardIPInterface& core) {
    RawResult raw;
    ParamMap messages;
    core.getRanges(call.map(params), raw, messages, frame::kFullStrength);
    return tell_ranges(call, time, raw, messages);
  });
}

int get_ranges(Call const& call) {
  const frame::CpuTime time;
  Tcl_Obj *context = nullptr, *params = nullptr, *userparams = nullptr;
  if (!call.has_options(hardip::kRangesUsage, "-context", context, "-params", params, "-userparams", userparams))
    return TCL_ERROR;
  RawResult raw;
  ParamMap messages;
  StrVec errors;
  if (!frame::get_ranges(call.map(context), call.map(userparams), call.map(params), frame::Offer::taken_for_granted,
                         raw, messages, errors))
    return call.fail(errors);
  return tell_ranges(call, time, raw, messages);
}

using Generate = void (HardIPInterface::*)(ParamMap const&, std::string&, StrVec&);

// The text comes back to the script, which writes the file.
template <class Ask>
int generate(Call const& call, Tcl_Obj* context, Tcl_Obj* params, Ask ask) {
  return call.with_core(call.map(context), [&](HardIPInterface& core) {
    std::string text;
    StrVec errors;
    ask(core, call.map(params), text, errors);
    return errors.empty() ? util::set_tcl_result(call.interp, text) : call.fail(errors);
  });
}

// `-path` must be given, and is not used.
template <class Ask>
int generate_for_path(Call const& call, Ask ask) {
  Tcl_Obj *context = nullptr, *params = nullptr, *path = nullptr;
  if (!call.has_options(hardip::kGenerateUsage, "-context", context, "-params", params, "-path", path))
    return TCL_ERROR;
  return generate(call, context, params, ask);
}

template <Generate operation>
void ask(HardIPInterface& core, ParamMap const& params, std::string& text, StrVec& errors) {
  (core.*operation)(params, text, errors);
}

int xdc_generate(Call const& call) {
  Tcl_Obj *context = nullptr, *params = nullptr;
  if (!call.has_options(hardip::kGenerateUsage, "-context", context, "-params", params)) return TCL_ERROR;
  return generate(call, context, params, ask<&HardIPInterface::generateXdc>);
}

int power_generate(Call const& call) { return generate_for_path(call, ask<&HardIPInterface::generatePowerData>); }

int iopad_report_generate(Call const& call) {
  return generate_for_path(call, ask<&HardIPInterface::generateIOPadData>);
}

int sysmon_npidata_generate(Call const& call) {
  ComMsgMgr::sendScopedMsg::eval(0, __FILE__, __LINE__, frame::kMessageCategory, "sysmon.generate.hip",
                                 ComMsgMgr::MSG_DEBUG3, "%s", "\t sysmon_npidata_generate- Enter\n");
  return generate_for_path(call, [](HardIPInterface& core, ParamMap const& params, std::string& text, StrVec& errors) {
    if (core.implements(HardIPOp::generateSysmonNpiData)) core.generateSysmonNpiData(params, text, errors);
  });
}

template <int (*command)(Call const&)>
int handle(ClientData, Tcl_Interp* interp, int objc, Tcl_Obj* const objv[]) {
  return command({interp, objc, objv});
}

// Order is the registration order. Words are looked after by the reading of the options.
constexpr tcl::Row kCommands[] = {
    {"Ip_config_kdi_tcltasks_ip_init", handle<ip_init>, tcl::kAnyWords},
    {"Ip_config_kdi_tcltasks_ip_uninit", handle<ip_uninit>, tcl::kAnyWords},
    {"Ip_config_kdi_tcltasks_is_ip_instance", handle<is_ip_instance>, tcl::kAnyWords},
    {"Ip_config_kdi_tcltasks_is_default_ip_instance", handle<is_default_ip_instance>, tcl::kAnyWords},
    {"Ip_config_kdi_tcltasks_get_device_info", handle<get_device_info>, tcl::kAnyWords},
    {"Ip_config_kdi_tcltasks_get_user_param_list", handle<get_user_param_list>, tcl::kAnyWords},
    {"Ip_config_kdi_tcltasks_get_range", handle<get_range>, tcl::kAnyWords},
    {"Ip_config_kdi_tcltasks_get_ranges", handle<get_ranges>, tcl::kAnyWords},
    {"Ip_config_kdi_tcltasks_xdc_generate", handle<xdc_generate>, tcl::kAnyWords},
    {"Ip_config_kdi_tcltasks_power_generate", handle<power_generate>, tcl::kAnyWords},
    {"Ip_config_kdi_tcltasks_iopad_report_generate", handle<iopad_report_generate>, tcl::kAnyWords},
    {"Ip_config_kdi_tcltasks_sysmon_npidata_generate", handle<sysmon_npidata_generate>, tcl::kAnyWords},
    {"Ip_config_kdi_tcltasks_GenerateTarget", handle<GenerateTarget>, tcl::kAnyWords},
    {"Ip_config_kdi_tcltasks_generateSDKSpecificFiles", handle<generateSDKSpecificFiles>, tcl::kAnyWords},
    {"Ip_config_kdi_tcltasks_convert_component_xml_to_json", handle<convert_component_xml_to_json>, tcl::kAnyWords},
};

}  // namespace

bool isCPM5(std::string const& name) { return name == "cpm5" || name == "cpm5n"; }

void init(Tcl_Interp* interp) { tcl::register_all<kCommands>(interp); }
void uninit() {}

}  // namespace kelvane_config::kdi_tcltasks
