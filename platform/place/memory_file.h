// Memory files: an interface with its plan, and the program image that its controller starts with. Text, which memories
// of simulators and tools read as bytes by address; everything else stands behind `//`.
//
//   // memory file 1
//   // interface my_ddr
//   // setting DATA_WIDTH 64
//   // port c0_ddr5_dq[0] 700,B0,0,L1P,A10,POD11
//   // entry 00010000
//   // segment 00010000 2C00 3000
//   @00010000
//   7F 45 ...
//   // end 5A17B2C4
//
// A segment has its address, the bytes that it has in the file and in memory (those behind are zero). The last line has
// the checksum of all before it (CRC-32 as in IEEE 802.3), so that half a file is none.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/place/dictionary.h"

namespace kdi::place {

struct Segment {
  std::uint64_t address = 0;  ///< where it is loaded
  std::string bytes;
  std::uint64_t size = 0;  ///< in memory: not less than its bytes

  bool operator==(Segment const&) const = default;
};

struct ProgramImage {
  std::uint64_t entry = 0;
  std::vector<Segment> segments;  ///< by address; none overlaps another

  bool operator==(ProgramImage const&) const = default;
};

struct MemoryFile {
  std::string interface;
  Pairs settings;
  Pairs ports;  ///< `bank,lane,nibble,site,ball,standard`
  std::optional<ProgramImage> image;

  bool operator==(MemoryFile const&) const = default;
};

std::string written(MemoryFile const& file);
/// Throws a std::string with `path` and line for what is none.
MemoryFile read_memory_file(std::string_view text, std::string const& path);

/// The loadable parts of an ELF file, of 32 or 64 bits and any byte order. Throws a std::string for what is no such
/// file, has none, or has parts that overlap, and kdi::FileError.
ProgramImage program_image(std::string const& path);

}  // namespace kdi::place
