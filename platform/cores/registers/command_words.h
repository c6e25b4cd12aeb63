// Registers and fields in the words of records and remarks.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "kdi/cores/CommandReading.h"

namespace kdi::cores {

/// `0x%08x`.
std::string hex_word(std::uint32_t word);
/// `17:8`, or `3`.
std::string bits_text(RegisterField const& field);
std::uint32_t value_of(RegisterField const& field, std::uint32_t word);
/// The parameters that decide what the field holds: those that its rule reads, or of a pad those of the function on
/// it; of a pad that nobody sits on those of all that could.
std::vector<std::string> deciding_parameters(CommandSubject const& subject, RegisterField const& field,
                                             std::uint32_t value);
/// Of a pad who sits there; else empty.
std::string function_name(CommandSubject const& subject, RegisterField const& field, std::uint32_t value);
/// The bits of all fields.
std::uint32_t described_bits(Register const& reg);

/// Bits of a register that a command is about, and what it says of them.
struct Touched {
  std::uint32_t address, mask, value;
};
/// In the order in which they are written; of a section and a delay none.
std::vector<Touched> touched_by(cdo::Command const& command);

}  // namespace kdi::cores
