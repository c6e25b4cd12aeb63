// The lists of the report: messages with their advice, what differs from the defaults, all parameters.
#pragma once

#include <string>
#include <vector>

#include "platform/corepages/subject.h"

namespace kdi::corepages {

std::string message_list(std::vector<Unit> const& units, Bounds const& bounds);
std::string difference_list(std::vector<Unit> const& units);
/// With the fields to search and filter by.
std::string parameter_list(std::vector<Unit> const& units);

/// A title for a core among several; empty for the outermost.
std::string unit_title(Unit const& unit);

}  // namespace kdi::corepages
