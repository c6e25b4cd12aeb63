// Values between scripts and the transceiver wizard: words as texts, numbers and maps, and answers as results. The
// readers of its settings stand in settings_maps.h.
#pragma once

#include <tcl.h>

#include <set>
#include <string>
#include <vector>

#include "kdi/common/KdiTypes.h"

namespace kelvane_gtwiz_utils::gtwiz_utils {

std::string tcl2CppStr(Tcl_Obj* obj);
/// The elements of a list; none if it is no list.
StrVec tcl2CppStrVec(Tcl_Obj* obj);
std::set<std::string> tcl2CppStrSet(Tcl_Obj* obj);
/// The words as pairs of a name, in lower case, and a value; a last name without one has the empty text.
ParamMap tcl2CppStrMap(int objc, Tcl_Obj* const* objv);
/// The same with names as they are.
ParamMap tcl2CppStrMapWithExactKey(int objc, Tcl_Obj* const* objv);

/// A whole word as a number. Throws the std::string of the commands if it is none: blanks around it, infinity and what
/// is no number at all.
double stringToDouble(std::string const& word);
float stringToFloat(std::string const& word);
/// true, 1, yes, on and their opposites in letters of either case; the empty text is false. Throws likewise.
bool stringToBool(std::string const& word);

std::string intToStr(int number);
/// Replaces every `search`, going on behind what was put in. An empty `search` replaces nothing.
void find_and_replace(std::string& text, std::string const& search, std::string const& replacement);
StrVec reverseVector(StrVec words);

/// Each sets the result and returns TCL_OK: a text, `true` or `false`, a number, a list, the names and values of a map.
int set_tcl_result(Tcl_Interp* interp, std::string const& text);
int set_tcl_result(Tcl_Interp* interp, bool truth);
int set_tcl_result(Tcl_Interp* interp, int number);
int set_tcl_result(Tcl_Interp* interp, double number);
int set_tcl_result(Tcl_Interp* interp, StrVec const& texts);
int set_tcl_result(Tcl_Interp* interp, std::set<double> const& numbers);
int set_tcl_result(Tcl_Interp* interp, ParamMap const& map);
/// A bare character pointer would turn into the truth value.
int set_tcl_result(Tcl_Interp* interp, char const* text) = delete;
/// Sets the text and returns TCL_ERROR.
int set_tcl_error(Tcl_Interp* interp, std::string const& text);

}  // namespace kelvane_gtwiz_utils::gtwiz_utils
