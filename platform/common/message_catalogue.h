// The texts behind message references.
#pragma once

#include <map>
#include <string>
#include <utility>

namespace kdi {

/// (group, number) to text with the places %1 to %9.
using message_catalogue = std::map<std::pair<int, int>, std::string>;

/// Reads a catalogue file. Throws file_error or json_error (common/KdiJson.h).
message_catalogue read_message_catalogue(std::string const& path);

}  // namespace kdi
