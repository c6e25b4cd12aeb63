// Parameter values that hold a dictionary of their own. They pass as they are; only who wants their parts takes them
// apart.
#pragma once

#include <string>
#include <vector>

namespace kelvane_config::util {

/// Whether `text` holds a brace group, so that its parts may be had from parseParamValueDictWithBraces.
bool isCombinedParam(std::string const& text);

/// Index of the brace that closes the one at `start`; -1 if there is none or `start` is behind the end.
int getClosingBraceIndex(std::string const& text, int start);

/// Appends the words of `text` to `tokens`: separated by blanks and line feeds, a brace group with its braces being one
/// word. A group is appended as soon as it closes, before the word whose letters stand around it: `ab{c}d e` gives
/// `{c}`, `abd`, `e`. An opening brace that is never closed is dropped.
void parseParamValueDictWithBraces(std::string const& text, std::vector<std::string>& tokens);

}  // namespace kelvane_config::util
