// The arguments of a message, each formatted by itself.
#pragma once

#include <cstdarg>
#include <string>
#include <vector>

namespace kdi {

/// The texts of the conversions in the printf format `format`, in order, each with its argument taken from `list`:
/// flags, width and precision (also as `*`), every length and every conversion of the C language. What a conversion
/// cannot format stands for itself, as it does behind a conversion that is none, whose argument has an unknown size.
/// `%n` takes its argument, writes nothing and gives an empty text.
///
/// The compiler checks a literal format against its arguments; what it has not seen, nobody can check.
std::vector<std::string> format_each(char const* format, va_list list);

}  // namespace kdi
