// Numbers in the texts that the clock engines exchange with scripts. No locale has a say.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kdi::clocking {

/// The parts of a text between blanks and commas.
std::vector<std::string> split_words(std::string_view text);

/// The whole text as a finite number.
std::optional<double> read_number(std::string_view text);

/// All parts of the text as finite numbers; none if one of them is not.
std::optional<std::vector<double>> read_numbers(std::string_view text);

/// The shortest text that reads back as the value.
std::string number_text(double value);

/// The value with that many decimals.
std::string fixed_text(double value, int decimals);

/// Appends `part` with a blank in between: the form of a Tcl list whose parts need no quoting.
void append_word(std::string& list, std::string const& part);

}  // namespace kdi::clocking
