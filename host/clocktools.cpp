// libkdi_clocktools.so: what a clock primitive can make of an input, in full.
//
//   clocktools::setting name value ?name value ...?     -> dictionary
//   clocktools::trade_offs name value ?name value ...?  -> list of dictionaries
//
// docs/commands/clocktools.md lists the names and the keys of the answers. A question that cannot be asked is an error;
// one that has no solution is not, for why is the answer.
#include <tcl.h>

#include <string>
#include <string_view>
#include <vector>

#include "kdi/ip/host/clock_study.h"
#include "kdi/tcl/command.h"

namespace {

template <std::string (*study)(std::vector<std::string_view> const&)>
int study_cmd(ClientData, Tcl_Interp* interp, int objc, Tcl_Obj* const objv[]) {
  if (objc < 2) {
    Tcl_WrongNumArgs(interp, 1, objv, "name value ?name value ...?");
    return TCL_ERROR;
  }
  std::vector<std::string_view> words;
  for (int i = 1; i < objc; ++i) words.emplace_back(Tcl_GetString(objv[i]));
  return tcl::succeed(interp, study(words));
}

}  // namespace

/// Found by Tcl's `load`.
extern "C" int Kdi_clocktools_Init(Tcl_Interp* interp) {
  tcl::register_command<study_cmd<kdi::clocking::study_setting>>(interp, "clocktools::setting");
  tcl::register_command<study_cmd<kdi::clocking::study_trade_offs>>(interp, "clocktools::trade_offs");
  return TCL_OK;
}
