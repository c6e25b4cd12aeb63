// How a command meets Tcl: results and registration.
//
// A handler has the Tcl object-command signature. It checks its words, converts them, calls the logic, and sets the
// result with succeed or fail. It is registered behind a boundary that lets no exception reach Tcl's C frames.
#pragma once

#include <tcl.h>

#include <string_view>

#include "kdi/tcl/values.h"

namespace tcl {

/// Sets the result, of any type that new_value takes, and returns TCL_OK or TCL_ERROR. A text reaches the script as it
/// is.
template <class Value>
int succeed(Tcl_Interp* interp, Value const& result) {
  Tcl_SetObjResult(interp, new_value(result));
  return TCL_OK;
}
template <class Value>
int fail(Tcl_Interp* interp, Value const& reason) {
  Tcl_SetObjResult(interp, new_value(reason));
  return TCL_ERROR;
}

/// Turns the exception in flight into TCL_ERROR with its text as the result. For use in a catch clause only.
int fail_with_current_exception(Tcl_Interp* interp);

using Handler = int (*)(ClientData, Tcl_Interp*, int, Tcl_Obj* const[]);

/// The registered procedure of a handler. An exception that the handler lets through would abort the process in Tcl's
/// C frames; here it becomes an error of the command.
template <Handler handler>
int boundary(ClientData data, Tcl_Interp* interp, int objc, Tcl_Obj* const objv[]) {
  try {
    return handler(data, interp, objc, objv);
  } catch (...) {
    return fail_with_current_exception(interp);
  }
}

/// Registers `handler` under `name`: no client data, no delete procedure. A name with :: creates its namespace.
template <Handler handler>
void register_command(Tcl_Interp* interp, char const* name) {
  Tcl_CreateObjCommand(interp, name, boundary<handler>, nullptr, nullptr);
}

}  // namespace tcl
