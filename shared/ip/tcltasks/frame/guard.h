// The two ways in which families that catch exceptions do so.
#pragma once

#include <tcl.h>

#include <string>

#include "tcltasks/frame/exceptions.h"

namespace frame {

/// Runs `body`, the whole of a handler. An exception goes to the message manager and the command fails; the
/// interpreter's result stays as it was (sic: Tcl sees the error code alone, and scripts do not look for a text).
template <class Body>
int report_to_message_manager(Body body) {
  return report_exceptions(TCL_ERROR, body);
}

/// Runs `body`, the whole of a handler. A std::string that it throws is given to `set_error(interp, text)`, which sets
/// the result and returns the command's code. Exceptions of other types pass through, to the boundary of the command.
template <class Body, class SetError>
int report_thrown_text(Tcl_Interp* interp, SetError set_error, Body body) {
  try {
    return body();
  } catch (std::string const& text) {
    return set_error(interp, text);
  }
}

}  // namespace frame
