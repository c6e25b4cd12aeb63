// The command of the video scaler family.
#pragma once

#include <tcl.h>

/// generate_lancoz_coefficients h_phases v_phases h_taps v_taps max_phases use_chroma use_vertical chroma
/// coefficient_sets ?path? -> name of the file written
int Ip_v_scaler_v8_1_generate_lancoz_coefficients_tcl(ClientData, Tcl_Interp* interp, int objc, Tcl_Obj* const objv[]);

namespace v_scaler_init::v_scaler_kdi_tcltasks {
void init(Tcl_Interp* interp);
void uninit();
}  // namespace v_scaler_init::v_scaler_kdi_tcltasks
