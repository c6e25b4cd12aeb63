#include "tcltasks/frame/kelvane_config_util.h"

#include "kdi/common/KdiNumber.h"

namespace kelvane_config::util {

int check_args(Tcl_Interp* interp, int objc, Tcl_Obj* const objv[], char const* usage, char const* name1,
               Tcl_Obj*& value1, char const* name2, Tcl_Obj*& value2, char const* name3, Tcl_Obj*& value3,
               char const* name4, Tcl_Obj*& value4) {
  return marshalling::lists::check_args(interp, objc, objv, usage,
                                        {{name1, &value1}, {name2, &value2}, {name3, &value3}, {name4, &value4}});
}

int set_tcl_result(Tcl_Interp* interp, std::list<std::string> const& texts) {
  return tcl::succeed(interp, marshalling::lists::new_list(texts));
}

void tcl2cpp(Tcl_Interp* /*interp*/, Tcl_Obj* obj, int& number) {
  number = static_cast<int>(kdi::number::leading_long(Tcl_GetString(obj)));
}

}  // namespace kelvane_config::util
