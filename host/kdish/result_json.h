// Results of commands as JSON, by the shape that the command table declares.
#pragma once

#include <tcl.h>

#include <string>

#include "host/kdish/command_table.h"

namespace kdish {

/// `result` as one line of JSON (RFC 8259): a list as an array, a tuple as an object of its elements' names, a dict as
/// an object in the dictionary's order. Throws std::runtime_error, with the place, if the result is not of that shape:
/// nothing is left out or guessed.
std::string to_json(Tcl_Obj* result, Shape const& shape);

/// `text` as a JSON string, quotes included.
std::string json_text(std::string const& text);

}  // namespace kdish
