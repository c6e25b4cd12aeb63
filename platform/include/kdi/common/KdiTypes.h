// Types that the package and the platform exchange.
#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "kdi/common/HSTVector.h"

/// Parameter name to value text, in byte order of the names.
using ParamMap = std::map<std::string, std::string>;

/// Options of a command: keys are lower case and keep their leading dash.
using OptionMap = ParamMap;

/// A key to rows of texts; for a parameter usually its value, range, state and widget.
using RawResult = std::map<std::string, std::vector<std::vector<std::string>>>;

/// A key to named attributes.
using AttrMap = std::map<std::string, ParamMap>;
using MultiMap = AttrMap;

using StrVec = std::vector<std::string>;
using StrPairs = std::vector<std::pair<std::string, std::string>>;
using StrList = HSTVector<std::string>;

/// A key to its pins.
using PinMap = std::map<std::string, StrList>;

/// Settings of a transceiver: dictionaries, nested as deep as the name says.
using GtMap2 = std::map<std::string, ParamMap>;
using GtMap3 = std::map<std::string, GtMap2>;
using GtSettings = std::map<std::string, GtMap3>;
