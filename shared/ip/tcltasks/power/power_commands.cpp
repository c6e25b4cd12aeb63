#include "kdi/common/KdiText.h"
#include "kdi/tcl/command.h"
#include "tcltasks/power/part.h"
#include "tcltasks/power/power_est.h"

namespace power_est_init::power_est_kdi_tcltasks {
namespace {

// Ip_power_est_get_power_estimation params ?kind?
int get_power_estimation(ClientData, Tcl_Interp* interp, int objc, Tcl_Obj* const objv[]) {
  const auto elements = tcl::elements_of(objv[1]);
  if (!elements) return tcl::fail(interp, "Invalid input list provided.");
  const ParamMap params = tcl::pairs_of(*elements);
  if (elements->size() % 2 != 0)
    return tcl::fail(interp, std::string(kCommand) + " : no value for \"" + tcl::text_of(elements->back()) + "\"");

  const std::string kind = objc == 3 ? Tcl_GetString(objv[2]) : "MIG";
  if (!kdi::text::same_but_case(kind, "GT") && !kdi::text::same_but_case(kind, "MIG"))
    return tcl::fail(interp, "Power estimation is not provided for any other IP except MIG or GT.");
  return tcl::succeed(interp, estimate(params, kind));
}

constexpr tcl::Row kCommands[] = {
    {kCommand, get_power_estimation, tcl::between(1, 2, "Invalid input provided.")},
};

}  // namespace

void init(Tcl_Interp* interp) { tcl::register_all<kCommands>(interp); }

void uninit() {}

}  // namespace power_est_init::power_est_kdi_tcltasks
