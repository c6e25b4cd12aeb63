// The transceiver wizard: 19 commands.
#pragma once

struct Tcl_Interp;

namespace kelvane_gtwiz_init::kelvane_gtwiz_kdi_tcltasks {
void init(Tcl_Interp* interp);
void uninit();
}  // namespace kelvane_gtwiz_init::kelvane_gtwiz_kdi_tcltasks
