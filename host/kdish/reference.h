// The command reference in docs/commands, made from the command table.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "host/kdish/command_table.h"

namespace kdish {

/// The page of a family. `has_notes` tells whether a page `<family>.notes.md` stands beside it, to be linked.
std::string reference_page(Family const& family, bool has_notes);

/// The page that lists all families and commands.
std::string reference_index(Table const& table);

/// Writes the pages into `folder`, one whole page after the other, or only checks them. What is wrong there: a page
/// that is stale, when it only checks, and a file of no family. Throws kdi::FileError if a page can be neither read
/// nor written.
std::vector<std::string> update_reference(Table const& table, std::filesystem::path const& folder, bool only_checks);

}  // namespace kdish
