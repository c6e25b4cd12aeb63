// Lists of numbers in the words of scripts. No locale has a say.
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

}  // namespace kdi::clocking
