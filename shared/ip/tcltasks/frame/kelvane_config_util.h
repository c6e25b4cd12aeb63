// Marshalling of the newer processing-system and hard-IP commands: the shared functions, a fourth pair of arguments,
// flat lists, integers, and parameter values that hold a dictionary of their own.
#pragma once

#include <list>

#include "tcltasks/frame/brace_words.h"
#include "tcltasks/frame/marshalling.h"

namespace kelvane_config::util {

#include "tcltasks/frame/shared_util_names.inc"

int check_args(Tcl_Interp* interp, int objc, Tcl_Obj* const objv[], char const* usage, char const* name1,
               Tcl_Obj*& value1, char const* name2, Tcl_Obj*& value2, char const* name3, Tcl_Obj*& value3,
               char const* name4, Tcl_Obj*& value4);

/// Sets a flat list.
int set_tcl_result(Tcl_Interp* interp, std::list<std::string> const& texts);

/// The leading decimal number of the text, cut to the width of an int; 0 if there is none.
void tcl2cpp(Tcl_Interp* interp, Tcl_Obj* obj, int& number);

}  // namespace kelvane_config::util
