// The tool's Tcl interpreter, for code that has none at hand.
#pragma once

#include "kdi/common/KdiDoor.h"

struct Tcl_Interp;

struct KDI_DOOR HTCTclInterp {
  /// The interpreter that the host named for this thread (common/host/TclHost.h) as long as it lives, else a private
  /// one of this thread, made at first use and kept until Tcl ends the thread (Tcl_FinalizeThread). Never null.
  static Tcl_Interp* getDefaultInterp();
};
