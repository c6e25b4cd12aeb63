// The descriptions of cores by name and version, from the directories `cores` of the data roots.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "kdi/common/KdiDoor.h"
#include "kdi/cores/Core.h"

namespace kdi::cores {

/// Names of the cores that have a description, ascending.
KDI_DOOR std::vector<std::string> core_names();
/// Versions of a core that have one, oldest first; none for an unknown core.
KDI_DOOR std::vector<std::string> core_versions(std::string const& name);

/// The description, read when it is first asked for and kept for the life of the process. Null if there is none. Throws
/// kdi::FileError, kdi::JsonError; what has a fault is read again when it is asked for again. Safe for use from several
/// threads.
KDI_DOOR std::shared_ptr<Core const> core_description(std::string const& name, std::string const& version);

/// The same of a name, or of a name and a version behind a colon; the newest version unless one is named. Throws
/// std::invalid_argument, which tells those that there are, for one that there is not.
KDI_DOOR std::shared_ptr<Core const> described_core(std::string const& words);

}  // namespace kdi::cores
