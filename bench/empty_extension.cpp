// The peer of the load benchmark: a Tcl extension in C++ that does nothing but be one.
#include <tcl.h>

#include <string>

extern "C" int Empty_Init(Tcl_Interp* interp) {
  const std::string name = "empty::command";
  Tcl_CreateObjCommand(
      interp, name.c_str(), [](ClientData, Tcl_Interp*, int, Tcl_Obj* const*) { return TCL_OK; }, nullptr, nullptr);
  return TCL_OK;
}
