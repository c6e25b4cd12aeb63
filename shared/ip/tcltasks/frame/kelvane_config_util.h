// Marshalling of the newer processing-system and hard-IP commands: the shared functions, a fourth pair of arguments,
// flat lists, integers, and parameter values that hold a dictionary of their own.
#pragma once

#include <list>
#include <string>
#include <vector>

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

/// Whether `text` holds a brace group, so that its parts may be had from parseParamValueDictWithBraces.
bool isCombinedParam(std::string const& text);

/// Index of the brace that closes the one at `start`; -1 if there is none or `start` is behind the end.
int getClosingBraceIndex(std::string const& text, int start);

/// Appends the words of `text` to `tokens`: separated by blanks and line feeds, a brace group with its braces being one
/// word. A group is appended as soon as it closes, before the word whose letters stand around it: `ab{c}d e` gives
/// `{c}`, `abd`, `e`. An opening brace that is never closed is dropped.
void parseParamValueDictWithBraces(std::string const& text, std::vector<std::string>& tokens);

}  // namespace kelvane_config::util
