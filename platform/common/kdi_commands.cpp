// What a plain Tcl shell gets that loads this library: it becomes the tool's interpreter, and has commands to look
// after parameters and messages.
#include <tcl.h>

#include <exception>
#include <string>

#include "kdi/common/host/MessageHost.h"
#include "kdi/common/host/ParamHost.h"
#include "kdi/common/host/TclHost.h"
#include "kdi/tcl/command.h"

namespace {

using tcl::text_of;

// The handlers have their words counted already; what they throw becomes the command's error.

int get_param(Tcl_Interp* interp, int /*objc*/, Tcl_Obj* const objv[]) {
  return tcl::succeed(interp, param_host::get(text_of(objv[1])).value);
}

int set_param(Tcl_Interp* interp, int /*objc*/, Tcl_Obj* const objv[]) {
  param_host::set(text_of(objv[1]), text_of(objv[2]));
  return get_param(interp, 2, objv);
}

int unset_param(Tcl_Interp* interp, int /*objc*/, Tcl_Obj* const objv[]) {
  param_host::unset(text_of(objv[1]));
  return get_param(interp, 2, objv);
}

int list_params(Tcl_Interp* interp, int objc, Tcl_Obj* const objv[]) {
  Tcl_Obj* const list = tcl::new_list({});
  for (param_host::Parameter const& parameter : param_host::list()) {
    if (objc > 1 && Tcl_StringMatch(parameter.name.c_str(), Tcl_GetString(objv[1])) == 0) continue;
    tcl::append(list, tcl::new_dict({{"name", parameter.name},
                                     {"type", name_of(parameter.type)},
                                     {"default", parameter.default_value},
                                     {"value", parameter.value},
                                     {"origin", name_of(parameter.origin)},
                                     {"place", parameter.place},
                                     {"documentation", parameter.documentation},
                                     {"effect", parameter.effect}}));
  }
  return tcl::succeed(interp, list);
}

int load_params(Tcl_Interp* /*interp*/, int /*objc*/, Tcl_Obj* const objv[]) {
  param_host::load_file(text_of(objv[1]));
  return TCL_OK;
}

int save_params(Tcl_Interp* /*interp*/, int /*objc*/, Tcl_Obj* const objv[]) {
  param_host::save_file(text_of(objv[1]));
  return TCL_OK;
}

int message_channel(Tcl_Interp* interp, int /*objc*/, Tcl_Obj* const objv[]) {
  const auto level = tcl::int_of(objv[2], interp);
  if (!level) return TCL_ERROR;
  message_host::set_channel(text_of(objv[1]), *level);
  return TCL_OK;
}

int message_log(Tcl_Interp* /*interp*/, int /*objc*/, Tcl_Obj* const objv[]) {
  message_host::add_sink(message_host::file_sink(text_of(objv[1])));
  return TCL_OK;
}

struct Command {
  char const* name;
  int (*handler)(Tcl_Interp* interp, int objc, Tcl_Obj* const objv[]);
  int least_words, most_words;  // the command's own name included
  char const* usage;
};

constexpr Command kCommands[] = {
    {"kdi::get_param", get_param, 2, 2, "name"},                       // its value
    {"kdi::set_param", set_param, 3, 3, "name value"},                 // the value as it is stored
    {"kdi::unset_param", unset_param, 2, 2, "name"},                   // the value that holds again
    {"kdi::list_params", list_params, 1, 2, "?pattern?"},              // a list of dicts, one for each parameter
    {"kdi::load_params", load_params, 2, 2, "file"},                   //
    {"kdi::save_params", save_params, 2, 2, "file"},                   //
    {"kdi::message_channel", message_channel, 3, 3, "channel level"},  // lets debug messages up to the level pass
    {"kdi::message_log", message_log, 2, 2, "file"},  // sends messages to the file, not to standard error
};

// Client data is the command's row, which is constant.
int dispatch(ClientData data, Tcl_Interp* interp, int objc, Tcl_Obj* const objv[]) {
  Command const& called = *static_cast<Command const*>(data);
  if (objc < called.least_words || objc > called.most_words) {
    Tcl_WrongNumArgs(interp, 1, objv, called.usage);
    return TCL_ERROR;
  }
  try {
    return called.handler(interp, objc, objv);
  } catch (std::exception const& error) {
    return tcl::fail(interp, error.what());
  }
}

}  // namespace

/// Found by Tcl's `load`. Makes `interp` the tool's interpreter and registers the commands in it.
extern "C" int Kdi_common_Init(Tcl_Interp* interp) {
  tcl_host::set_default_interp(interp);
  for (Command const& row : kCommands)
    Tcl_CreateObjCommand(interp, row.name, dispatch, const_cast<Command*>(&row), nullptr);
  return TCL_OK;
}
