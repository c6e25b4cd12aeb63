// The short form in which data files give many names at once.
#pragma once

#include <cstddef>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "kdi/common/KdiDoor.h"

namespace kdi {

/// What is wrong with a pattern, as the end of a sentence that begins with "expected".
class PatternError : public std::invalid_argument {
 public:
  using std::invalid_argument::invalid_argument;
};

/// All names of a pattern, in order: `{4..7}` stands for the numbers from 4 to 7, `{P,N}` for each of the words, and
/// what varies last in the text varies fastest: `L{0..1}{P,N}` is L0P L0N L1P L1N. Braces do not nest.
/// Throws PatternError for a pattern of another form or of more than `most` names.
KDI_DOOR std::vector<std::string> expand(std::string_view pattern, std::size_t most);

/// What stands for each name between braces.
using PlaceValues = std::map<std::string, std::string, std::less<>>;

/// `text` with each `{name}` replaced by its value. Throws PatternError for a name that `values` does not have and for
/// a brace without its partner.
KDI_DOOR std::string fill(std::string_view text, PlaceValues const& values);

}  // namespace kdi
