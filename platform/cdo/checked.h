// What the writers of all forms share.
#pragma once

#include "kdi/cdo/Cdo.h"

namespace kdi::cdo {

/// Refuses commands that no reader would take.
void check(Commands const& commands);

/// One line of a remark, empty if there is none.
std::string remark_of(Remark const& remark, std::size_t command);

/// `0x%08x`.
std::string hex_word(std::uint32_t word);

}  // namespace kdi::cdo
