#include "kdi/common/HTCTclInterp.h"

#include <tcl.h>

#include <mutex>

#include "kdi/common/host/TclHost.h"

namespace {

// An interpreter is for the thread that made it, so each thread has its own two.
thread_local Tcl_Interp* named_interp = nullptr;
thread_local Tcl_Interp* private_interp = nullptr;

void forget(ClientData /*unused*/, Tcl_Interp* interp) {
  if (named_interp == interp) named_interp = nullptr;
  if (private_interp == interp) private_interp = nullptr;
}

void delete_private(ClientData /*unused*/) {
  if (private_interp != nullptr) Tcl_DeleteInterp(private_interp);
}

// In a process that is no Tcl shell nobody has set Tcl's encodings yet. In one that is, doing so again would undo what
// the shell set since; Tcl can be asked only when it has an interpreter.
void set_up_encodings() {
  static std::once_flag& once = *new std::once_flag;
  std::call_once(once, [] {
    if (Tcl_GetNameOfExecutable() == nullptr) Tcl_FindExecutable(nullptr);
  });
}

Tcl_Interp* the_private_interp() {
  if (private_interp != nullptr) return private_interp;
  Tcl_Interp* const made = Tcl_CreateInterp();
  set_up_encodings();
  // without Tcl's script library the built-in commands are there all the same
  if (Tcl_Init(made) != TCL_OK) Tcl_ResetResult(made);
  Tcl_CallWhenDeleted(made, forget, nullptr);  // a script that it evaluates may do that
  Tcl_CreateThreadExitHandler(delete_private, nullptr);
  return private_interp = made;
}

}  // namespace

Tcl_Interp* HTCTclInterp::getDefaultInterp() { return named_interp != nullptr ? named_interp : the_private_interp(); }

void tcl_host::set_default_interp(Tcl_Interp* interp) {
  if (named_interp != nullptr) Tcl_DontCallWhenDeleted(named_interp, forget, nullptr);
  named_interp = interp;
  if (interp != nullptr) Tcl_CallWhenDeleted(interp, forget, nullptr);
}
