// Between Tcl objects and standard containers: what the three marshalling utilities share.
//
// kelvane_config::util, zorvan::util and mutils::util stay three (each header tells what its own scripts see). What the
// first two do alike is declared here and brought into both; helpers of all three are in marshalling::lists.
//
// Text from Tcl is copied up to its terminating zero. No reference to an object is kept and no count is touched: an
// object handed out is valid for the duration of the command. A function with an int result returns TCL_OK or
// TCL_ERROR.
#pragma once

#include <tcl.h>

#include <set>
#include <string>
#include <vector>

#include "kdi/common/KdiTypes.h"
#include "kdi/tcl/command.h"

namespace marshalling {

/// Takes the words behind the command word as pairs of a name and a value, in any order: each name is mandatory and
/// occurs once, and nothing else may stand there. On any fault the result is the two-element list of `usage` and the
/// words of the command. Slots are emptied first; on a fault, those of the pairs before it may be filled.
int check_args(Tcl_Interp* interp, int objc, Tcl_Obj* const objv[], char const* usage, char const* name1,
               Tcl_Obj*& value1);
int check_args(Tcl_Interp* interp, int objc, Tcl_Obj* const objv[], char const* usage, char const* name1,
               Tcl_Obj*& value1, char const* name2, Tcl_Obj*& value2);
int check_args(Tcl_Interp* interp, int objc, Tcl_Obj* const objv[], char const* usage, char const* name1,
               Tcl_Obj*& value1, char const* name2, Tcl_Obj*& value2, char const* name3, Tcl_Obj*& value3);

/// Sets the two-element list {message {words of the command}}; several messages make the first element a list.
int set_tcl_error(Tcl_Interp* interp, int objc, Tcl_Obj* const objv[], char const* message);
int set_tcl_error(Tcl_Interp* interp, int objc, Tcl_Obj* const objv[], std::vector<std::string> const& messages);

/// Sets the bare text.
int set_tcl_error(Tcl_Interp* interp, char const* message);

/// Sets the flat list `Errors {name message ...} key {rows} ...`; "Errors" comes first, also when it is empty.
int set_tcl_error(Tcl_Interp* interp, RawResult const& results, ParamMap const& errors);

/// Sets the bare text.
int set_tcl_result(Tcl_Interp* interp, std::string const& text);
int set_tcl_result(Tcl_Interp* interp, char const* text);

/// Sets a list of lists.
int set_tcl_result(Tcl_Interp* interp, std::vector<std::vector<std::string>> const& rows);

/// Sets the flat list `key {rows} key {rows} ...`, keys in byte order.
int set_tcl_result(Tcl_Interp* interp, RawResult const& results);

/// The text of `obj`.
void tcl2cpp(Tcl_Interp* interp, Tcl_Obj* obj, std::string& text);

/// The elements of a list; of what is no list, none, with Tcl's own text left in the result.
void tcl2cpp(Tcl_Interp* interp, Tcl_Obj* obj, std::set<std::string>& elements);

/// The pairs of a flat list `name value name value ...`; a later value replaces an earlier one, and a name without a
/// value at the end is dropped. Of what is no list, none.
void tcl2cpp(Tcl_Interp* interp, Tcl_Obj* obj, ParamMap& params);

// Building blocks for the utilities themselves.
namespace lists {

struct NamedSlot {
  char const* name;
  Tcl_Obj** value;
};

/// check_args for any number of pairs.
int check_args(Tcl_Interp* interp, int objc, Tcl_Obj* const objv[], char const* usage,
               std::vector<NamedSlot> const& slots);

Tcl_Obj* new_text(std::string const& text);

/// A flat list of the members of a container of texts, or of the names and values of a parameter map.
template <class Texts>
Tcl_Obj* new_list(Texts const& texts) {
  return tcl::new_list(texts, new_text);
}
Tcl_Obj* new_list(ParamMap const& params);

}  // namespace lists
}  // namespace marshalling
