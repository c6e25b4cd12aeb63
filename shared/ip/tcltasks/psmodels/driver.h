// The stand-alone driver: from a text file of parameters to configuration data as C sources, without a script or a
// user interface. The library exports its `main`; a program without one of its own has it.
#pragma once

#include <string>

#include "kdi/common/KdiTypes.h"

/// Adds what `context` lacks to say which core on which device is meant. `coreName` is not looked at.
void createContextMap(std::string& coreName, ParamMap& context);
