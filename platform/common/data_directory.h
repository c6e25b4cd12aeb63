// Where the platform's data files are.
#pragma once

#include <string>

namespace kdi {

/// The path of the data file `name` ("messages/catalogue.json") in the first data root that has it; empty if none has.
/// Roots are those of KDI_DATA_DIR, separated by colons, then the installed data beside this library, then the source
/// tree that it was built from.
std::string find_data_file(std::string const& name);

}  // namespace kdi
