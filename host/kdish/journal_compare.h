// What two journals have differently.
#pragma once

#include <string>

namespace kdish {

/// The commands that only one of the journals has, and those that ended differently, in order and each with its line in
/// both, as text of lines; empty if both tell the same. Of many differences the first thousand are looked for. Throws
/// as read_journal does.
std::string journal_differences(std::string const& first, std::string const& second);

}  // namespace kdish
