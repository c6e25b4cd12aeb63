// The names of parts, as people write them.
#pragma once

#include <exception>
#include <functional>
#include <string>
#include <vector>

namespace kdish {

/// All parts, by device. Of a device whose file is broken, `tell` hears; the others are there all the same.
std::vector<std::string> all_parts(std::function<void(std::exception const&)> const& tell);

/// What somebody who wrote `name` may have meant: three at most, the nearest first.
std::vector<std::string> parts_close_to(std::string const& name);

}  // namespace kdish
