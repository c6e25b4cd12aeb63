// The task commands.
#include "kdi/tcl/command.h"
#include "tcltasks/hardip/call.h"
#include "tcltasks/hardip/hardip.h"

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

// Order is the registration order. Words are looked after by the reading of the options.
constexpr tcl::Row kCommands[] = {
    {"Ip_config_hardip_tcltasks_ip_init", ip_init, tcl::kAnyWords},
    {"Ip_config_hardip_tcltasks_ip_uninit", ip_uninit, tcl::kAnyWords},
};

}  // namespace

void init(Tcl_Interp* interp) { tcl::register_all<kCommands>(interp); }
void uninit() {}

}  // namespace hardip_config::hardip_tcltasks
