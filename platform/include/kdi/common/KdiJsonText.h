// Texts as JSON has them, for what writes JSON.
#pragma once

#include <string>
#include <string_view>

#include "kdi/common/KdiDoor.h"

namespace kdi::text {

/// Whether the bytes are UTF-8 (RFC 3629).
KDI_DOOR bool is_utf8(std::string_view text);

/// The text with U+FFFD for each byte that is no UTF-8.
KDI_DOOR std::string as_utf8(std::string_view text);

/// The text in quotes, as JSON; bytes that are no UTF-8 become the replacement character.
KDI_DOOR std::string json_text(std::string_view text);

/// The same behind what `json` has.
KDI_DOOR void append_json_text(std::string& json, std::string_view text);

}  // namespace kdi::text
