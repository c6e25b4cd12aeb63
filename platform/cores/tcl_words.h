// Texts as lists of words, as Tcl writes them: what composite parameters consist of.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kdi::cores {

/// The words of `list`: separated by blanks, those between braces as they are, those between quotes and bare ones with
/// backslashes resolved. Nothing if braces or quotes do not match or something sticks to a closing one.
std::optional<std::vector<std::string>> words_of(std::string_view list);

/// `text` as one word of such a list.
std::string as_word(std::string_view text);

}  // namespace kdi::cores
