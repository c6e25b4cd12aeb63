// Frequency response for the scripts of a filter compiler.
#pragma once

#include <tcl.h>

#include "tcltasks/dsp/radix2_transform.h"

namespace fftalgorithm_init {

class FFTAlgorithmImp : public dsp::Radix2Transform {};

/// fir_compiler_fftalgorithm::get_frequency_response samples -> list of {frequency magnitude}
int InitFFTAlgorithm(ClientData, Tcl_Interp* interp, int objc, Tcl_Obj* const objv[]);

void init(Tcl_Interp* interp);
void uninit();

}  // namespace fftalgorithm_init
