// Tool parameters for this library's own use.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace kdi {

/// The value of the integer parameter `name`; nothing if none of that type is declared.
std::optional<std::int64_t> integer_parameter(std::string const& name);

/// A number that is another one after each change of a value or a declaration. Reads no file.
std::uint64_t parameters_state();

}  // namespace kdi
