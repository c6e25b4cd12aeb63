// What the commands of both families do alike: their words, the core that they are about, and their answers.
#pragma once

#include <tcl.h>

#include <string>

#include "kdi/common/KdiTypes.h"
#include "kdi/ippcw/HardIP.h"
#include "tcltasks/frame/hard_ip.h"
#include "tcltasks/frame/kelvane_config_util.h"

namespace hardip {

namespace util = kelvane_config::util;

/// What is said of words that are not those of a command. Blanks and options differ from what a command takes (sic:
/// scripts and logs have them so).
inline constexpr char const* kContextUsage = "wrong arguments:  -context { ctxpar val ... }";
inline constexpr char const* kOneBlankUsage = "wrong arguments: -context { ctxpar val ... }";
inline constexpr char const* kInfoUsage = "wrong arguments:  -context { ctxpar val ... }, -info ";
inline constexpr char const* kRangeUsage = "wrong arguments:  -params { param param ... } -context { ctxpar val ... }";
inline constexpr char const* kRangesUsage =
    "wrong arguments:  -context { ctxpar val ... }, -params { param param ... }, -userparams { param param ... }";
inline constexpr char const* kGenerateUsage =
    "wrong arguments:  -context { ctxpar val ... }, -params { param param ... }";

/// A call of a command, as Tcl makes it.
struct Call {
  Tcl_Interp* interp;
  int objc;
  Tcl_Obj* const* objv;

  /// Whether the words are these options, each with a value, which `slots` are the names and places of. If not, the
  /// complaint is the result.
  template <class... Slots>
  bool has_options(char const* usage, Slots&&... slots) const {
    return util::check_args(interp, objc, objv, usage, slots...) == TCL_OK;
  }

  template <class Value>
  Value read(Tcl_Obj* word) const {
    Value value{};
    util::tcl2cpp(interp, word, value);
    return value;
  }
  ParamMap map(Tcl_Obj* word) const { return read<ParamMap>(word); }

  template <class Messages>
  int fail(Messages const& messages) const {
    return util::set_tcl_error(interp, objc, objv, messages);
  }
  /// For a command that answers by its status alone: whatever Tcl said of a list that is none does not stay.
  int status(bool is_well) const {
    Tcl_ResetResult(interp);
    return is_well ? TCL_OK : TCL_ERROR;
  }

  /// Hands the core of the context, made if there is none, to `ask`, whose status is the command's.
  template <class Ask>
  int with_core(ParamMap const& context, Ask ask) const {
    StrVec errors;
    hardip_eng::HardIPInterface* const core = frame::made_core(context, errors);
    return core == nullptr ? fail(errors) : ask(*core);
  }
};

/// -context -params -strength: makes the core of a context and tells all of its parameters. `told` hears of the end of
/// the engine's work.
template <class Told>
int ip_init(Call const& call, Told told) {
  Tcl_Obj *context = nullptr, *params = nullptr, *strength = nullptr;
  if (!call.has_options(kOneBlankUsage, "-context", context, "-params", params, "-strength", strength))
    return TCL_ERROR;
  return call.with_core(call.map(context), [&](hardip_eng::HardIPInterface& core) {
    RawResult dropped, output;
    ParamMap dropped_messages;
    core.getRanges(call.map(params), dropped, dropped_messages, call.read<int>(strength));
    core.getOutputParams(output);
    told();
    return util::set_tcl_result(call.interp, output);
  });
}

}  // namespace hardip
