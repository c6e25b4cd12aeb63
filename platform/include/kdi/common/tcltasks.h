// Evaluating Tcl from C++.
//
// A command is evaluated at top level, whatever procedure is running, and reaches the host's journal before that
// (common/host/TclHost.h). Statuses are Tcl's: 0 is TCL_OK, 1 TCL_ERROR. Nothing here throws anything but
// std::bad_alloc. For the thread of the interpreter alone.
#pragma once

#include <string>

#include "kdi/common/KdiDoor.h"

struct Tcl_Interp;

namespace hdi::tcltasks {

class KDI_DOOR task_manager {
 public:
  /// Whether the host's journal records a command.
  enum record_mode { record_command, dont_record_command };

  /// Evaluates `script`; a null interpreter is the default one. The interpreter's result holds the answer or the error,
  /// and tcl_get_result keeps it. An error is the caller's to report.
  static int eval_in_tcl(std::string const& script, Tcl_Interp* interp, bool record);

  /// The result, or text of the error, of the last eval_in_tcl on this thread; empty before the first.
  static std::string tcl_get_result();
};

/// Evaluates `command`, whose answer or error is the interpreter's result; a null interpreter is the default one. An
/// error is sent as an error message as well, unless `quiet`.
KDI_DOOR int tclcmdobj(Tcl_Interp* interp, std::string const& command, task_manager::record_mode record, bool quiet);

}  // namespace hdi::tcltasks
