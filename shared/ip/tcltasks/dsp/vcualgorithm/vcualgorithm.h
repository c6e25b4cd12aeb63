// Speed table reader for the scripts of a video codec unit.
#pragma once

#include <tcl.h>

#include "tcltasks/dsp/radix2_transform.h"

namespace vcualgorithm_init {

/// The same transform under this family's name; no command reaches it.
class VCUAlgorithmImp : public dsp::Radix2Transform {};

/// VCUAPI::read_csv file extra -> list of one text, name0@value0#name1@value1...
int read_csv_file(ClientData, Tcl_Interp* interp, int objc, Tcl_Obj* const objv[]);

void init(Tcl_Interp* interp);
void uninit();

}  // namespace vcualgorithm_init
