// Readers from Tcl dictionaries to the records of the FEC subsystem.
//
// A reader that fails returns 1 with the reason in `err`; 0 is success, as with TCL_OK and TCL_ERROR. The interpreter's
// result is left alone.
#pragma once

#include <tcl.h>

#include <string>
#include <vector>

#include "tcltasks/fec/core_config.h"
#include "tcltasks/fec/records.h"

namespace fec {

/// Reads one integer from 0 to 4294967295; any number of that value will do, "3.0" and "3e2" among them.
/// A key that is absent leaves `out` as it is, and is an error if `required`.
unsigned dict_to_uint(Tcl_Interp* interp, Tcl_Obj* dict, std::string const& key, unsigned& out, std::string& err,
                      bool required);

/// Reads one boolean, in any form that Tcl takes, and stores 0 or 1. A value that is no dictionary passes in silence.
unsigned dict_to_bool(Tcl_Interp* interp, Tcl_Obj* dict, std::string const& key, unsigned& out, std::string& err,
                      bool required);

/// Reads the options of a core. All keys are optional; width codes above 2 count as 2.
template <class Variant>
unsigned dict_to_core_config(Tcl_Interp* interp, Tcl_Obj* dict, core_config_t<Variant>& out, std::string& err);

/// Reads the Turbo parameters: "algorithm" 0 or 1, "scale" 0 to 15; any other value counts as the default. Returns 0.
unsigned dict_to_turbo_config(Tcl_Interp* interp, Tcl_Obj* dict, turbo_config_t& out);

/// Reads one code. `out` is not to be used after a failure.
template <class Variant>
unsigned dict_to_ldpc_spec(Tcl_Interp* interp, Tcl_Obj* dict, ldpc_code_spec_t<Variant>& out, std::string& err);

/// Reads a dictionary of codes by name, in its order, or, if it has a key "sm_array", one code without a name, and
/// appends them to `out`. Codes read before a failure stay in `out`.
template <class Variant>
unsigned dict_to_ldpc_specs(Tcl_Interp* interp, Tcl_Obj* dict, std::vector<ldpc_spec_t<Variant>>& out,
                            std::string& err);

}  // namespace fec
