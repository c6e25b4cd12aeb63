// The Ip_Clocking_... commands.
#pragma once

#include <tcl.h>

namespace Ip_Clocking {
namespace clocking_utils {

int init_Clkwiz(ClientData, Tcl_Interp* interp, int objc, Tcl_Obj* const objv[]);
int unInit_Clkwiz(ClientData, Tcl_Interp* interp, int objc, Tcl_Obj* const objv[]);
int getClosestSolution(ClientData, Tcl_Interp* interp, int objc, Tcl_Obj* const objv[]);
int GetPeakToPeakJitter(ClientData, Tcl_Interp* interp, int objc, Tcl_Obj* const objv[]);
int GetPhaseError(ClientData, Tcl_Interp* interp, int objc, Tcl_Obj* const objv[]);
int mmcmCalculateActualPhase(ClientData, Tcl_Interp* interp, int objc, Tcl_Obj* const objv[]);
int mmcmCalculateActualDutyCycle(ClientData, Tcl_Interp* interp, int objc, Tcl_Obj* const objv[]);
int getSpeedFileProperty(ClientData, Tcl_Interp* interp, int objc, Tcl_Obj* const objv[]);
int getInputClockFrequencies(ClientData, Tcl_Interp* interp, int objc, Tcl_Obj* const objv[]);
int getInputClkFrequencies(ClientData, Tcl_Interp* interp, int objc, Tcl_Obj* const objv[]);
int getOutputClkFrequencies(ClientData, Tcl_Interp* interp, int objc, Tcl_Obj* const objv[]);
int getClkInstances(ClientData, Tcl_Interp* interp, int objc, Tcl_Obj* const objv[]);

}  // namespace clocking_utils

void init(Tcl_Interp* interp);
/// Releases the clocking manager, whether or not a command made one.
void uninit();

}  // namespace Ip_Clocking
