// What became of texts that were carried, for a core alone and for one with its sub-cores.
#pragma once

#include <string_view>

#include "kdi/cores/Carry.h"

namespace kdi::cores {

/// Of the text that parameter `was` of `from` had been given, and `is` of `to` has been given.
Carried::Note::Fate fate_of(Instance const& from, Instance const& to, std::uint32_t was, std::uint32_t is);

/// `kept`, `renamed`, `retired`, `refused`, `disabled`.
std::string_view word_of(Carried::Note::Fate fate);

}  // namespace kdi::cores
