// Memory controllers: the commands of the elder model in two versions, and those of the newer one with the plans of
// plain serial interfaces.
#pragma once

struct Tcl_Interp;

namespace mig_init::mig_v7_1_kdi_tcltasks {
void init(Tcl_Interp* interp);
void uninit();
}  // namespace mig_init::mig_v7_1_kdi_tcltasks

namespace mig_init::mig_v7_0_kdi_tcltasks {
void init(Tcl_Interp* interp);
void uninit();
}  // namespace mig_init::mig_v7_0_kdi_tcltasks

namespace memory_init::memory_v1_kdi_tcltasks {
void init(Tcl_Interp* interp);
void uninit();
}  // namespace memory_init::memory_v1_kdi_tcltasks
