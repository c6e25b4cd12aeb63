// Tcl lists and dictionaries as texts, without an interpreter.
//
//   for (auto const& [name, value] : read_dictionary(text, "PORT_LOCS")) ...
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kdi::place {

using Pairs = std::vector<std::pair<std::string, std::string>>;

/// The elements that Tcl finds in the text. Throws a std::string that begins with `what` and a colon where it finds
/// none.
std::vector<std::string> read_list(std::string_view text, std::string const& what);
/// A text of which Tcl makes these elements.
std::string write_list(std::vector<std::string> const& elements);
/// Adds one, with a blank before it if the list has any.
void append_element(std::string& list, std::string_view element);

/// Names and values in their order. A name without a value, or twice, throws a std::string that begins with `what`.
Pairs read_dictionary(std::string_view text, std::string const& what);
std::string write_dictionary(Pairs const& pairs);

}  // namespace kdi::place
