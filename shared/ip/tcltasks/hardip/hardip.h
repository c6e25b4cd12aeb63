// The commands by which scripts of hard-IP cores reach the engine without a parameter model: the configuration
// commands, Ip_config_kdi_tcltasks_..., and the task commands of the larger processing systems,
// Ip_config_hardip_tcltasks_.... Both find a core by its context, as the models do.
#pragma once

#include <string>

struct Tcl_Interp;

namespace kelvane_config::kdi_tcltasks {
void init(Tcl_Interp* interp);
void uninit();

/// Whether a core of this name is one of the fifth generation of the coherent PCIe blocks.
bool isCPM5(std::string const& name);
}  // namespace kelvane_config::kdi_tcltasks

namespace hardip_config::hardip_tcltasks {
void init(Tcl_Interp* interp);
void uninit();
}  // namespace hardip_config::hardip_tcltasks
