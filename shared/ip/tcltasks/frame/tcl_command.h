// How a command meets Tcl: references, results, registration.
//
// A handler has the Tcl object-command signature. It checks its words, converts them, calls the logic, and sets the
// result with succeed or fail. It is registered behind a boundary that lets no exception reach Tcl's C frames.
#pragma once

#include <tcl.h>

#include <string>
#include <string_view>
#include <utility>

namespace tcl {

/// One counted reference to a Tcl object.
class ObjRef {
 public:
  explicit ObjRef(Tcl_Obj* obj) : obj_(obj) { Tcl_IncrRefCount(obj_); }
  ObjRef(ObjRef const& other) : ObjRef(other.obj_) {}
  ObjRef& operator=(ObjRef other) noexcept {
    std::swap(obj_, other.obj_);
    return *this;
  }
  ~ObjRef() { Tcl_DecrRefCount(obj_); }

  Tcl_Obj* get() const { return obj_; }  // borrowed

 private:
  Tcl_Obj* obj_;  // never null
};

/// A new string object; `text` may hold any bytes but a zero.
inline Tcl_Obj* new_string(std::string_view text) {
  return Tcl_NewStringObj(text.data(), static_cast<int>(text.size()));
}

/// Sets the result and returns TCL_OK or TCL_ERROR. The text reaches the script as it is.
inline int succeed(Tcl_Interp* interp, Tcl_Obj* result) {
  Tcl_SetObjResult(interp, result);
  return TCL_OK;
}
inline int fail(Tcl_Interp* interp, std::string_view text) {
  Tcl_SetObjResult(interp, new_string(text));
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
