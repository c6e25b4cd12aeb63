// The command reference in docs/commands, made from the command table.
#pragma once

#include <string>

#include "command_table.h"

namespace kdish {

/// The page of a family. `has_notes` tells whether a page `<family>.notes.md` stands beside it, to be linked.
std::string reference_page(Family const& family, bool has_notes);

/// The page that lists all families and commands.
std::string reference_index(Table const& table);

}  // namespace kdish
