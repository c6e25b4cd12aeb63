// A speed table: a line of names and a line of values, both separated by commas.
#pragma once

#include <string>
#include <vector>

namespace vcualgorithm_init {

/// The items of a line; a comma at its end adds no empty item.
std::vector<std::string> split_items(std::string const& line);

/// "name0@value0#name1@value1..." for as many items as there are names. There must be at least one, and a value for
/// each.
std::string join_items(std::vector<std::string> const& names, std::vector<std::string> const& values);

}  // namespace vcualgorithm_init
