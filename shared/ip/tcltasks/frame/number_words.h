// Numbers as the clock commands' words give them and as their results show them, the same under every locale.
#pragma once

#include <string>
#include <string_view>

namespace frame {

/// What strtod makes of the word in the C locale: the number that it begins with; 0 if it begins with none.
double leading_double(char const* word);

/// What strtol makes of the word in base 10, cut to the range of an int.
int leading_int(char const* word);

/// The whole word as a number. Anything else throws boost::bad_lexical_cast, a std::exception whose text reaches the
/// user.
double whole_double(std::string_view word);
int whole_int(std::string_view word);

/// The integer part; the nearest int where that is none, 0 for no number.
int truncated(double value);

/// printf's %.<decimals>f.
std::string fixed(double value, int decimals);

}  // namespace frame
