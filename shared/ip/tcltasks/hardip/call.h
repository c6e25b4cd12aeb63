// What the commands of both families do alike: their words, the core that they are about, and their answers.
#pragma once

#include <tcl.h>

#include <string>

#include "kdi/common/KdiTypes.h"
#include "kdi/ippcw/HardIP.h"
#include "tcltasks/frame/hard_ip.h"
#include "tcltasks/frame/kelvane_config_util.h"
#include "tcltasks/frame/option_call.h"

namespace hardip {

namespace util = kelvane_config::util;

using frame::kContextUsage, frame::kGenerateUsage, frame::kOneBlankUsage, frame::kRangesUsage, frame::kRangeUsage;
inline constexpr char const* kInfoUsage = "wrong arguments:  -context { ctxpar val ... }, -info ";

/// A call of a command, as Tcl makes it.
struct Call : frame::OptionCall {
  using OptionCall::OptionCall;

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
