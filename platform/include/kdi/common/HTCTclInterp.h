// The tool's Tcl interpreter, for code that has none at hand.
#pragma once

struct Tcl_Interp;

struct HTCTclInterp {
  /// The interpreter that the host named (common/host/TclHost.h) as long as it lives, else a private one, made at first
  /// use and kept. Null only if Tcl cannot make one. As every interpreter, it belongs to the thread that made it.
  static Tcl_Interp* getDefaultInterp();
};
