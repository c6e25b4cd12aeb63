// The command reference, pages in Markdown, made from the command table.
#pragma once

#include <map>
#include <string>

#include "host/kdish/command_table.h"

namespace kdish {

/// All pages by the names of their files: README.md, which lists all families and commands, and one for each page of
/// the table, with one above them where a family has several. Links lead from a folder docs/commands.
std::map<std::string, std::string> reference_pages(Table const& table);

/// Writes the pages into `folder`, one whole page after the other, and removes what other pages are there. Throws
/// kdi::FileError or std::filesystem::filesystem_error.
void write_reference(Table const& table, std::string const& folder);

}  // namespace kdish
