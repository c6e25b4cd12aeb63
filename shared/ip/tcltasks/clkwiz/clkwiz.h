// The commands of the clock wizard.
#pragma once

#include <string>

struct Tcl_Interp;

namespace Ip_Clkwiz {

class HIPClkwizImp;

/// The one way in which a command reaches a solver; may be null.
HIPClkwizImp* GetClkwizImp(std::string& part, std::string& instance);

void init(Tcl_Interp* interp);
void uninit();  ///< nothing: a solver ends with UnInit_Clkwiz, or with the process

}  // namespace Ip_Clkwiz
