// The texts behind message references.
#pragma once

#include <map>
#include <string>
#include <utility>

namespace kdi {

/// (group, number) to text with the places %1 to %9.
using MessageCatalogue = std::map<std::pair<int, int>, std::string>;

/// Reads a catalogue file. Throws FileError or JsonError (common/KdiJson.h).
MessageCatalogue read_message_catalogue(std::string const& path);

}  // namespace kdi
