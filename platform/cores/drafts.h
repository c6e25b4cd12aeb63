// What the readers of all sections of a core's description share: places that are filled, and types.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "kdi/common/KdiJson.h"
#include "kdi/common/KdiPattern.h"
#include "kdi/cores/Value.h"

namespace kdi::cores {

constexpr std::size_t kMostParameters = 100'000;  ///< of a core, patterns written out

/// `text`, which stands at `value`, with each ${name} replaced; refuses a place that `places` lacks. What stands for a
/// place of a part may itself have places, those of `each`.
std::string filled(JsonValue value, std::string_view text, PlaceValues const& places);
/// The text or texts that stand at `value`, filled.
std::string text(JsonValue value, PlaceValues const& places);
std::vector<std::string> texts(JsonValue list, PlaceValues const& places);

/// All ways to fill the places of `each`, in the order of their names, with those of `known` beside them; that alone if
/// there is no `each`.
std::vector<PlaceValues> written_out(std::optional<JsonValue> each, PlaceValues const& known);

/// truth, integer, decimal or text.
Type scalar_type(JsonValue value);

}  // namespace kdi::cores
