// Settings and lists as texts that scripts read: Tcl dictionaries and lists.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "platform/ip/clock_faces/questions.h"

namespace kdi::clocking {

/// Appends "key value"; a value that is not a single word is braced.
void put(std::string& dict, char const* key, std::string const& value);
std::string braced(std::string const& text);

/// Frequencies in MHz.
std::string mhz_list(std::vector<Rational> const& frequencies_hz);

/// The setting as a dictionary, whose form docs/commands/clocking.notes.md states. `indices` are the numbers of the
/// outputs to the one who asked.
std::string solution_dict(Solved const& solved, std::vector<std::size_t> const& indices);
/// The same where these are the solver's.
std::string solution_dict(Solved const& solved);

}  // namespace kdi::clocking
