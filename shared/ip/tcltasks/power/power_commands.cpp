#include "tcltasks/frame/tcl_command.h"
#include "tcltasks/power/part.h"
#include "tcltasks/power/power_est.h"

namespace power_est_init::power_est_kdi_tcltasks {
namespace {

// Ip_power_est_get_power_estimation params ?kind?
int get_power_estimation(ClientData, Tcl_Interp* interp, int objc, Tcl_Obj* const objv[]) {
  if (objc != 2 && objc != 3) return tcl::fail(interp, "Invalid input provided.");
  int count = 0;
  Tcl_Obj** elements = nullptr;
  if (Tcl_ListObjGetElements(nullptr, objv[1], &count, &elements) != TCL_OK)
    return tcl::fail(interp, "Invalid input list provided.");
  ParamMap params;
  for (int i = 0; i + 1 < count; i += 2) params[Tcl_GetString(elements[i])] = Tcl_GetString(elements[i + 1]);
  if (count % 2 != 0)
    return tcl::fail(interp, std::string(kCommand) + " : no value for \"" + Tcl_GetString(elements[count - 1]) + "\"");

  const std::string kind = objc == 3 ? Tcl_GetString(objv[2]) : "MIG";
  if (!is_kind(kind, "GT") && !is_kind(kind, "MIG"))
    return tcl::fail(interp, "Power estimation is not provided for any other IP except MIG or GT.");
  return tcl::succeed(interp, tcl::new_string(estimate(params, kind)));
}

}  // namespace

void init(Tcl_Interp* interp) { tcl::register_command<get_power_estimation>(interp, kCommand); }

void uninit() {}

}  // namespace power_est_init::power_est_kdi_tcltasks
