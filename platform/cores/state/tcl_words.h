// Texts as lists of words, as Tcl writes them: what composite parameters consist of.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kdi::cores {

/// Where a list is broken, and how.
struct ListFault {
  std::size_t at;  ///< where the word begins, from 0
  std::string_view why;
};

/// The words of `list`: separated by blanks, those between braces as they are, those between quotes and bare ones with
/// backslashes resolved. Nothing if braces or quotes do not match or something sticks to a closing one: `fault`, unless
/// it is null, is what is wrong then.
std::optional<std::vector<std::string>> words_of(std::string_view list, ListFault* fault = nullptr);

/// `text` as one word of such a list.
std::string as_word(std::string_view text);

}  // namespace kdi::cores
