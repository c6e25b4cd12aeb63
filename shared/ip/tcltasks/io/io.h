// I/O planning: the commands of hard and soft memory controllers' pins, of buses, converters and wizards.
#pragma once

struct Tcl_Interp;

namespace kelvane_io_init::kelvane_io_v1_kdi_tcltasks {
void init(Tcl_Interp* interp);
void uninit();
}  // namespace kelvane_io_init::kelvane_io_v1_kdi_tcltasks
