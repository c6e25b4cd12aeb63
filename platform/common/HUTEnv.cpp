#include "kdi/common/HUTEnv.h"

#include "platform/common/data_directory.h"

std::string HUTEnv::getKDIDataDir(std::string const& family) { return kdi::find_data_root(family); }
