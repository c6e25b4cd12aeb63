#include "common/HUTEnv.h"

#include "data_directory.h"

std::string HUTEnv::getKDIDataDir(std::string const& family) { return kdi::find_data_root(family); }
