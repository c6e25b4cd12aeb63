// Where the platform's data are.
//
// For the platform's own libraries. Data roots are those of KDI_DATA_DIR, separated by colons, then the installed data
// beside the library, then the source tree that it was built from.
#pragma once

#include <string>
#include <vector>

namespace kdi {

/// The directories `name` of all data roots that have one, in the order of the roots, none twice.
std::vector<std::string> data_directories(std::string const& name);

}  // namespace kdi
