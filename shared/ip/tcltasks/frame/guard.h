// The two ways in which families that catch exceptions do so.
#pragma once

#include <tcl.h>

#include <exception>
#include <string>

#include "kdi/common/ComMsgMgr.h"
#include "kdi/common/HEXAll.h"

namespace frame {

inline constexpr char const* kMessageCategory = "tcltasks";

/// Runs `body`, the whole of a handler. An exception goes to the message manager and the command fails; the
/// interpreter's result stays as it was (sic: Tcl sees the error code alone, and scripts do not look for a text).
template <class Body>
int report_to_message_manager(Body body) {
  const auto send = [](auto const& message) {
    ComMsgMgr::sendMessage(*message);
    return TCL_ERROR;
  };
  try {
    return body();
  } catch (HEXAll const& exception) {
    if (exception.message) ComMsgMgr::sendMessage(*exception.message);
    return TCL_ERROR;
  } catch (std::exception const& exception) {
    return send(ComMsgMgrInstance::createInstance::eval(1, __FILE__, __LINE__, kMessageCategory, ComMsgMgr::MSG_ERROR,
                                                        "@80-2@%s", exception.what()));
  } catch (...) {
    return send(ComMsgMgrInstance::createInstance::eval(1, __FILE__, __LINE__, kMessageCategory, ComMsgMgr::MSG_ERROR,
                                                        "@80-1@"));
  }
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
