// The commands of the two earlier processing systems, Ip_zorvan_ps7_v1_4_... and Ip_zorvan_psu_v1_0_....
#pragma once

struct Tcl_Interp;

namespace zorvan_init::zorvan_kdi_tcltasks {

void init(Tcl_Interp* interp);
/// Ends all instances.
void uninit();

}  // namespace zorvan_init::zorvan_kdi_tcltasks
