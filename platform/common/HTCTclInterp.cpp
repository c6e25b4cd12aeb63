#include "kdi/common/HTCTclInterp.h"

#include <tcl.h>

#include "kdi/common/host/TclHost.h"

namespace {

Tcl_Interp* named_interp = nullptr;

void forget_named(ClientData /*unused*/, Tcl_Interp* interp) {
  if (named_interp == interp) named_interp = nullptr;
}

Tcl_Interp* private_interp() {
  static Tcl_Interp* const interp = [] {
    Tcl_Interp* const made = Tcl_CreateInterp();
    // In a process that is no Tcl shell nobody has set Tcl's encodings yet. In one that is, doing so again would undo
    // what the shell set since; Tcl can be asked only now, when it has an interpreter.
    if (Tcl_GetNameOfExecutable() == nullptr) Tcl_FindExecutable(nullptr);
    // without Tcl's script library the built-in commands are there all the same
    if (made != nullptr && Tcl_Init(made) != TCL_OK) Tcl_ResetResult(made);
    return made;
  }();
  return interp;
}

}  // namespace

Tcl_Interp* HTCTclInterp::getDefaultInterp() { return named_interp != nullptr ? named_interp : private_interp(); }

void tcl_host::set_default_interp(Tcl_Interp* interp) {
  if (named_interp != nullptr) Tcl_DontCallWhenDeleted(named_interp, forget_named, nullptr);
  named_interp = interp;
  if (interp != nullptr) Tcl_CallWhenDeleted(interp, forget_named, nullptr);
}
