// The block memory family: ten commands that pass their words to the placement functions of bmg/blk_mem_gen.h and
// return the integer that these give. A command's name is that of its function; a handler's, that of its function with
// _tcl.
#pragma once

struct Tcl_Interp;

namespace bmg_init::bmg_kdi_tcltasks {
void init(Tcl_Interp* interp);
void uninit();
}  // namespace bmg_init::bmg_kdi_tcltasks
