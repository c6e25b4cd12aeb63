// The other peer of the load benchmark: an extension that does nothing but register as many commands as the package,
// under the same names. What the package costs beyond it is the package's own.
#include <tcl.h>

namespace {

int nothing(ClientData, Tcl_Interp*, int, Tcl_Obj* const*) { return TCL_OK; }

}  // namespace

extern "C" int Bare_Init(Tcl_Interp* interp) {
#define COMMAND(name) Tcl_CreateObjCommand(interp, name, nothing, nullptr, nullptr);
#include "contract_commands.inc"
#undef COMMAND
  return TCL_OK;
}
