// The two FEC families as the package's frame sees them.
#pragma once

struct Tcl_Interp;

namespace sd_fec {
void init(Tcl_Interp* interp);  ///< registers the commands
void uninit();                  ///< nothing to release
}  // namespace sd_fec

namespace ldpc {
void init(Tcl_Interp* interp);
void uninit();
}  // namespace ldpc
