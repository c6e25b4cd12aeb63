// Descriptions of components (IP-XACT, IEEE 1685) as JSON.
#pragma once

#include <string>

#include "kdi/common/KdiDoor.h"

/// Writes the XML file `input` as the JSON file `output`, with the same tree (docs/component-json.md). What is wrong
/// with the input is told to the message manager with file and line; the output is written whole or stays as it was.
KDI_DOOR void HICComponentXMltoJsonConverter(std::string input, std::string& output);
