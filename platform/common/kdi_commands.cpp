// What a plain Tcl shell gets that loads this library: it becomes the tool's interpreter, and has commands to look
// after parameters and messages.
#include <tcl.h>

#include <string>

#include "kdi/common/KdiDoor.h"
#include "kdi/common/host/MessageHost.h"
#include "kdi/common/host/TclHost.h"
#include "kdi/common/host/param_commands.h"
#include "kdi/tcl/command.h"

namespace {

using tcl::text_of;
using tcl::Words;

// What a handler throws becomes the command's error.

Tcl_Obj* list_params(Words words) {
  Tcl_Obj* const list = tcl::new_list({});
  for (param_host::Parameter const& parameter : param_host::list()) {
    if (!words.empty() && Tcl_StringMatch(parameter.name.c_str(), Tcl_GetString(words[0])) == 0) continue;
    tcl::append(list, tcl::new_dict({{"name", parameter.name},
                                     {"type", name_of(parameter.type)},
                                     {"default", parameter.default_value},
                                     {"value", parameter.value},
                                     {"origin", name_of(parameter.origin)},
                                     {"place", parameter.place},
                                     {"documentation", parameter.documentation},
                                     {"effect", parameter.effect}}));
  }
  return list;
}

void load_params(Words words) { param_host::load_file(tcl::required_native_path(words[0])); }

void save_params(Words words) { param_host::save_file(tcl::required_native_path(words[0])); }

int message_channel(Tcl_Interp* interp, Words words) {
  const auto level = tcl::int_of(words[1], interp);
  if (!level) return TCL_ERROR;
  message_host::set_channel(text_of(words[0]), *level);
  return TCL_OK;
}

void message_log(Words words) { message_host::add_sink(message_host::file_sink(tcl::required_native_path(words[0]))); }

using tcl::between;
using tcl::exactly;
using tcl::handler;
using tcl::usage;

constexpr tcl::Row kCommands[] = {
    {"kdi::get_param", handler<param_host::get_command>, exactly(1, usage("name"))},        // its value
    {"kdi::set_param", handler<param_host::set_command>, exactly(2, usage("name value"))},  // the value as it is stored
    {"kdi::unset_param", handler<param_host::unset_command>, exactly(1, usage("name"))},  // the value that holds again
    {"kdi::list_params", handler<list_params>, between(0, 1, usage("?pattern?"))},        // a dict for each parameter
    {"kdi::load_params", handler<load_params>, exactly(1, usage("file"))},                //
    {"kdi::save_params", handler<save_params>, exactly(1, usage("file"))},                //
    // lets debug messages up to the level pass
    {"kdi::message_channel", handler<message_channel>, exactly(2, usage("channel level"))},
    // sends messages to the file, not to standard error
    {"kdi::message_log", handler<message_log>, exactly(1, usage("file"))},
};

}  // namespace

/// Found by Tcl's `load`. Makes `interp` the tool's interpreter and registers the commands in it.
extern "C" KDI_DOOR int Kdi_common_Init(Tcl_Interp* interp) {
  tcl_host::set_default_interp(interp);
  tcl::register_all<kCommands>(interp);
  return TCL_OK;
}
