// Registers as files that other tools read: comma-separated values and C headers.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace register_export {

struct Write {
  std::uint64_t address, data;
  std::string comment;
};

/// Comma-separated values by RFC 4180, with a heading and lines that end with CR and LF; numbers in hexadecimal.
std::string csv_of(std::span<Write const> writes);

/// A C header: the writes as a constant array `name` of pairs, and its length. Throws std::invalid_argument for a name
/// that C does not take.
std::string header_of(std::span<Write const> writes, std::string const& name);

/// A register of a core, with what a configuration has there.
struct Configured {
  std::string core, name, meaning;    ///< `name` with its block: UART0.CONTROL
  std::string address, reset, value;  ///< in hexadecimal, with 0x
};

std::string csv_of(std::span<Configured const> registers);

/// A C header: address, reset value and value of each register as macros. Throws std::invalid_argument as above, and
/// where two registers would have one macro.
std::string header_of(std::span<Configured const> registers, std::string const& name);

}  // namespace register_export
