// The commands that look after one tool parameter, as a plain Tcl shell and a host's own shell register them. What they
// throw becomes an error of the command.
#pragma once

#include <string>

#include "kdi/common/host/ParamHost.h"
#include "kdi/tcl/command.h"

namespace param_host {

/// name -> its value
inline std::string get_command(tcl::Words words) { return get(tcl::text_of(words[0])).value; }

/// name value -> the value as it is stored
inline std::string set_command(tcl::Words words) {
  set(tcl::text_of(words[0]), tcl::text_of(words[1]));
  return get_command(words);
}

/// name -> the value that holds again
inline std::string unset_command(tcl::Words words) {
  unset(tcl::text_of(words[0]));
  return get_command(words);
}

}  // namespace param_host
