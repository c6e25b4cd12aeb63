// Entry point of the package and its exit handler.
#include <tcl.h>

#include <atomic>

#include "tcltasks/entry/families.h"
#include "tcltasks/entry/imports.h"

namespace {

std::atomic_flag exit_handler_registered;  // interpreters may load the package in several threads

// An engine that nothing called has nothing to release: going down opens none.
void iptasks_exit_handler(ClientData /*unused*/) {
  frame::set_going_down(true);
  frame::StopOrder::run();
}

}  // namespace

/// Found by Tcl's `load`. Registers every command in `interp`; a second call, for this or another interpreter, does so
/// again. No Tcl package is provided.
extern "C" int Kdi_iptasks_Init(Tcl_Interp* interp) {
  if (!exit_handler_registered.test_and_set()) Tcl_CreateExitHandler(iptasks_exit_handler, nullptr);
  frame::set_going_down(false);  // Tcl may be finalized, and be used again
  frame::StartOrder::run(interp);
  return TCL_OK;
}
