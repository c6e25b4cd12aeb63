// Types that the package and the platform exchange.
#pragma once

#include <map>
#include <string>
#include <vector>

/// Parameter name to value text, in byte order of the names.
using ParamMap = std::map<std::string, std::string>;

/// A key to rows of texts; for a parameter usually its value, range, state and widget.
using RawResult = std::map<std::string, std::vector<std::vector<std::string>>>;
