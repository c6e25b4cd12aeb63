// A call of a command whose words are options, each with a value: what commands of hard-IP cores have in common.
#pragma once

#include <tcl.h>

#include <string>

#include "kdi/common/KdiTypes.h"
#include "tcltasks/frame/marshalling.h"

namespace frame {

/// What is said of words that are not those of a command. Blanks and options differ from what a command takes (sic:
/// scripts and logs have them so).
inline constexpr char const* kContextUsage = "wrong arguments:  -context { ctxpar val ... }";
inline constexpr char const* kOneBlankUsage = "wrong arguments: -context { ctxpar val ... }";
inline constexpr char const* kRangeUsage = "wrong arguments:  -params { param param ... } -context { ctxpar val ... }";
inline constexpr char const* kRangesUsage =
    "wrong arguments:  -context { ctxpar val ... }, -params { param param ... }, -userparams { param param ... }";
inline constexpr char const* kGenerateUsage =
    "wrong arguments:  -context { ctxpar val ... }, -params { param param ... }";

/// A call, as Tcl makes it.
struct OptionCall {
  Tcl_Interp* interp;
  int objc;
  Tcl_Obj* const* objv;

  OptionCall(Tcl_Interp* called, int count, Tcl_Obj* const words[]) : interp(called), objc(count), objv(words) {}

  ParamMap map(Tcl_Obj* word) const {
    ParamMap params;
    marshalling::tcl2cpp(interp, word, params);
    return params;
  }

  template <class Messages>
  int fail(Messages const& messages) const {
    return marshalling::set_tcl_error(interp, objc, objv, messages);
  }
  /// For a command that answers by its status alone: whatever Tcl said of a list that is none does not stay.
  int status(bool is_well) const {
    Tcl_ResetResult(interp);
    return is_well ? TCL_OK : TCL_ERROR;
  }
};

}  // namespace frame
