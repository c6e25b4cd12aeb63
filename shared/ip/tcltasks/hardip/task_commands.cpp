// The task commands.
#include "kdi/tcl/command.h"
#include "tcltasks/hardip/call.h"
#include "tcltasks/hardip/hardip.h"
#include "tcltasks/hardip/task_target.h"

namespace hardip_config::hardip_tcltasks {
namespace {

int ip_init(ClientData, Tcl_Interp* interp, int objc, Tcl_Obj* const objv[]) {
  return hardip::ip_init({interp, objc, objv}, [] {});
}

// The engine itself ends these cores; a script only says that it is done.
int ip_uninit(ClientData, Tcl_Interp* interp, int objc, Tcl_Obj* const objv[]) {
  Tcl_Obj* context = nullptr;
  const hardip::Call call{interp, objc, objv};
  return call.has_options(hardip::kContextUsage, "-context", context) ? TCL_OK : TCL_ERROR;
}

int GenerateTarget(ClientData, Tcl_Interp* interp, int objc, Tcl_Obj* const objv[]) {
  Tcl_Obj *context = nullptr, *params = nullptr, *path = nullptr, *data = nullptr;
  const hardip::Call call{interp, objc, objv};
  if (!call.has_options(hardip::kGenerateUsage, "-context", context, "-params", params, "-path", path, "-data", data))
    return TCL_ERROR;
  StrVec errors;
  const std::string result = generate_target(call.map(context), call.map(params), tcl::required_native_path(path),
                                             call.read<std::string>(data), errors);
  return errors.empty() ? hardip::util::set_tcl_result(interp, result) : call.fail(errors);
}

// Order is the registration order. Words are looked after by the reading of the options.
constexpr tcl::Row kCommands[] = {
    {"Ip_config_hardip_tcltasks_ip_init", ip_init, tcl::kAnyWords},
    {"Ip_config_hardip_tcltasks_ip_uninit", ip_uninit, tcl::kAnyWords},
    {"Ip_config_hardip_tcltasks_GenerateTarget", GenerateTarget, tcl::kAnyWords},
};

}  // namespace

void init(Tcl_Interp* interp) { tcl::register_all<kCommands>(interp); }
void uninit() {}

}  // namespace hardip_config::hardip_tcltasks
