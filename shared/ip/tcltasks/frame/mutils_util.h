// Marshalling of the memory commands. Other than in kelvane_config::util and zorvan::util, a script gets even a single
// value as a list of one element, and words are read straight from the command's argument array, which the handler has
// stripped of the command word.
#pragma once

#include <tcl.h>

#include <string>
#include <vector>

#include "kdi/common/KdiTypes.h"

namespace mutils::util {

/// Sets the bare text and returns TCL_ERROR.
int set_tcl_error(Tcl_Interp* interp, std::string const& message);

/// Each sets a list and returns TCL_OK: one element (a text, a decimal number, "true" or "false"), the names and values
/// of a map, or the members of a vector.
int set_tcl_result(Tcl_Interp* interp, std::string text);
int set_tcl_result(Tcl_Interp* interp, int number);
int set_tcl_result(Tcl_Interp* interp, bool truth);
int set_tcl_result(Tcl_Interp* interp, ParamMap const& params);
int set_tcl_result(Tcl_Interp* interp, StrList const& texts);

/// Sets one single flat list: a key, its values, the next key. Scripts know the keys and tell the values apart by them.
int set_tcl_result(Tcl_Interp* interp, PinMap const& values);

/// A bare character pointer would turn into the boolean.
int set_tcl_result(Tcl_Interp* interp, char const* text) = delete;

/// The text of `obj`. Both names do the same.
std::string tcl2cpp(Tcl_Obj* obj);
std::string tcl2cppString(Tcl_Obj* obj);

/// The words as pairs of a name and a value, later ones replacing earlier ones; a name without a value at the end is
/// dropped. The first two take names without regard to case and store them in lower case.
ParamMap tcl2cpp(int objc, Tcl_Obj* const* objv);
ParamMap tcl2cppString(int objc, Tcl_Obj* const* objv);
ParamMap tcl2cppWithExactKey(int objc, Tcl_Obj* const* objv);

/// All words; `count` goes up by one for each.
std::vector<std::string> tcl2cpp(int& count, int objc, Tcl_Obj* const* objv);

/// A pin table: each pin name (a word that holds "DQ[", "Address/Ctrl-", "D[", "Q[" or "Q-") takes the next two words;
/// the third word in a row that is no name ends the table. `count` goes up by one for each word looked at, the one that
/// ended the table included.
PinMap tcl2cpp(int objc, Tcl_Obj* const* objv, int& count);

/// The words as pairs of a name and a map. The value of a scalar name (there are fourteen) is its map's only entry,
/// under the name itself; the value of another holds a map's keys and values, with blanks between them and braces as
/// plain characters. `{Clk Fwd}` and `{Input Clock}` count as one word each, `ClkFwd` and `InputClock`. A later name
/// replaces an earlier one; what lacks its value at the end is dropped.
MultiMap tcl2cppMultiLevelMap(int objc, Tcl_Obj* const* objv);

/// Adds the entries of `in` to `out` under the keys of options: in lower case, and a dash for each prefix that a
/// controller has: `C0.DDR4_TimePeriod` and `c0.timeperiod` are both `-timeperiod`. Where keys become one, the later
/// one of `in` wins.
void uniquifyMapFormat(ParamMap const& in, ParamMap& out);

/// The value of the option "-needle". Throws a std::string if it was not given.
std::string get(ParamMap const& params, char const* needle);

std::string intToStr(int number);

/// Replaces every `search` by `replace`, going on behind what was inserted. An empty `search` replaces nothing.
void ReplaceStringInPlace(std::string& subject, std::string const& search, std::string const& replace);

}  // namespace mutils::util
