// Where the platform's libraries and data are.
//
// For the platform's own libraries, and for hosts. Data roots are those of KDI_DATA_DIR, separated by colons, then the
// data beside the library, installed or in a build tree. What was given by a relative name, roots as well as this
// library, is seen from where the process stood then (at the load of this library, or when a later KDI_DATA_DIR is
// first read), so all paths are absolute and stay right when a script goes elsewhere.
#pragma once

#include <string>
#include <vector>

#include "kdi/common/KdiDoor.h"

namespace kdi {

/// The directories `name` of all data roots that have one, in the order of the roots, none twice. Throws FileError
/// (common/KdiFile.h) if that cannot be found out.
KDI_DOOR std::vector<std::string> data_directories(std::string const& name);

/// Warns, once in a process, of what KDI_DATA_DIR names and is no data root: what is not there, and folders that have
/// none of the folders of a root, with the one above or below that does. To be called where data are first asked for,
/// while no lock is held. Never throws.
KDI_DOOR void tell_data_faults() noexcept;

/// The directory of this library, beside which the others are; links are resolved. Empty if it cannot be found out.
KDI_DOOR std::string library_directory();

}  // namespace kdi
