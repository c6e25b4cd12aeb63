// Where the platform's data are.
//
// For the platform's own libraries. Data roots are those of KDI_DATA_DIR, separated by colons, then the data beside
// the library, installed or in a build tree.
#pragma once

#include <string>
#include <vector>

namespace kdi {

/// The directories `name` of all data roots that have one, in the order of the roots, none twice. Throws file_error
/// (common/KdiFile.h) if that cannot be found out.
std::vector<std::string> data_directories(std::string const& name);

}  // namespace kdi
