// Reads a device file with the family file that it builds on.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "kdi/common/KdiJson.h"
#include "kdi/device/Device.h"

namespace kdi::device {

constexpr std::size_t kLargestDeviceFile = std::size_t{1} << 24;

/// All parts of the device in `file`. The file's family file is looked for below `families/` in each of `directories`,
/// in order. Throws kdi::JsonError or kdi::FileError naming file, line and field of what is wrong.
std::vector<Part> read_device(JsonFile const& file, std::vector<std::string> const& directories);

}  // namespace kdi::device
