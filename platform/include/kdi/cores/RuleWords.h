// Messages in words, for who reads no rules; a rule tells itself by Rule::in_words.
#pragma once

#include <string>

#include "kdi/common/KdiDoor.h"
#include "kdi/cores/Rule.h"

namespace kdi::cores {

/// The text of a message as its description has it, with values in words: `UART runs at {UART0_RATE} baud`.
KDI_DOOR std::string message_words(Rule const& text);

}  // namespace kdi::cores
