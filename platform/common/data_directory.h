// Where the platform's data files are.
//
// The data roots are those of the environment variable KDI_DATA_DIR, separated by colons, then the data beside
// this library, installed or in a build tree. The first root that has what is asked for is taken.
#pragma once

#include <string>
#include <vector>

namespace kdi {

/// The path of the data file `name` ("messages/catalogue.json"); empty if no root has it. Throws FileError
/// (common/KdiFile.h) if that cannot be found out.
std::string find_data_file(std::string const& name);

/// The data root that has a folder `name`, without a separator at its end; empty if none has.
std::string find_data_root(std::string const& name);

/// The files in the folder `folder` of each data root that has it whose names end in `suffix`, root by root, in byte
/// order of their names. Throws FileError (common/KdiFile.h) if a folder is there and cannot be listed.
std::vector<std::vector<std::string>> find_data_files(std::string const& folder, std::string const& suffix);

}  // namespace kdi
