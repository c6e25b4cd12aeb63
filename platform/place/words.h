// Words of settings and fields as values. Each throws a std::string "<place>: <word> ..." for one that is none.
#pragma once

#include <span>
#include <string>
#include <string_view>

namespace kdi::place {

inline constexpr int kMostBusWidth = 1024;
inline constexpr int kMostRatio = 64;

int whole_of(std::string const& place, std::string const& word, int least, int most);
double decimal_of(std::string const& place, std::string const& word, double least, double most);
/// What Tcl takes for a truth value, whole words.
bool truth_of(std::string const& place, std::string const& word);
/// Its index.
std::size_t choice_of(std::string const& place, std::string const& word, std::span<char const* const> choices);
/// 8 of `8:1`: a power of two, or 1, up to kMostRatio.
int ratio_of(std::string const& place, std::string const& word);
/// Letters, digits and `_-+.`, as names of standards have.
std::string word_of(std::string const& place, std::string const& word);

/// Letters, digits and `_`, not beginning with a digit.
bool is_name(std::string_view name);
/// Without the braces that a list has around a word with brackets: they stay where a text is split at blanks.
std::string unbraced(std::string_view word);

}  // namespace kdi::place
