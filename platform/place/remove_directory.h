// Removing a directory with all that is in it, and nothing else.
#pragma once

#include <set>
#include <string>

namespace kdi::place {

/// The path of a directory, absolute and without links; empty if there is none.
std::string real_directory(std::string const& path);

/// Removes the directory `path`, if it is below one of `roots` (as real_directory gives them) or holds a regular file
/// named `marker`. False if it is not there. Throws a std::string for what may not be removed, and for what could not
/// be: then what was removed before is gone. Works on open directories, not on paths: what is exchanged meanwhile is
/// not followed.
bool remove_directory(std::string const& path, std::set<std::string> const& roots, char const* marker);

}  // namespace kdi::place
