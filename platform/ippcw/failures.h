// What could not be done is told here.
#pragma once

#include <string>

#include "kdi/ippcw/Failures.h"

namespace hardip_eng {

/// Sends the text as a message, and keeps it for who waits for failures.
void tell_failure(std::string const& text);
/// The second alone, of what has been told.
void note_failure(std::string const& text);

}  // namespace hardip_eng
