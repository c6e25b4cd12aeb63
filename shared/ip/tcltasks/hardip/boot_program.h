// The boot program of a platform controller, which is built where the output is.
#pragma once

#include <string>

#include "kdi/common/KdiTypes.h"
#include "kdi/ippcw/HardIP.h"

namespace hardip {

/// Builds the program of the core of the context below `path`, or takes an older one away where the core has none of
/// its own; nothing without software to build from. What cannot be taken away is a std::exception.
void build_boot_program(hardip_eng::HardIPInterface& instance, ParamMap const& context, std::string const& path);

/// Takes the directory `name` in the directory `path` away, with all in it. Links are taken away and not followed: what
/// they lead to stays, and where `name` is a link itself nothing is done. Nor is anything for an empty path. Throws
/// std::system_error for what cannot be taken away.
void remove_directory_in(std::string const& path, std::string const& name);

}  // namespace hardip
