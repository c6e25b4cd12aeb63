// Entry point of the package and its exit handler.
#include <tcl.h>

#include "tcltasks/entry/families.h"
#include "tcltasks/entry/imports.h"

namespace {

bool exit_handler_registered = false;

// An engine that nothing called has nothing to release: going down opens none.
void iptasks_exit_handler(ClientData /*unused*/) {
  const frame::EnginesStayOut going_down;
  frame::StopOrder::run();
}

}  // namespace

/// Found by Tcl's `load`. Registers every command in `interp`; a second call, for this or another interpreter, does so
/// again. No Tcl package is provided.
extern "C" int Kdi_iptasks_Init(Tcl_Interp* interp) {
  if (!exit_handler_registered) {
    Tcl_CreateExitHandler(iptasks_exit_handler, nullptr);
    exit_handler_registered = true;
  }
  frame::StartOrder::run(interp);
  return TCL_OK;
}
