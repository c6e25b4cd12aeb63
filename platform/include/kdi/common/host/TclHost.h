// The host's side of the Tcl services: which interpreter is the tool's, and what is journalled.
#pragma once

#include <functional>
#include <string>

#include "kdi/common/KdiDoor.h"

struct Tcl_Interp;

namespace tcl_host {

/// Names the default interpreter of this thread, which `interp` belongs to as well. When it is deleted, or for null,
/// the thread's private one takes its place.
KDI_DOOR void set_default_interp(Tcl_Interp* interp);

/// Sets what hears of every command to record, before it is evaluated, on the thread that evaluates it and with no lock
/// held; an empty function switches the journal off, as it is at the start. A journal that throws is passed over: the
/// command is evaluated all the same. When this returns, the journal before is not called any more, from no thread.
KDI_DOOR void set_journal(std::function<void(std::string const& command)> journal);

}  // namespace tcl_host
