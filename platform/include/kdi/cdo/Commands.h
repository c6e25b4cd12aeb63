// The commands that configure hardware, in the order in which they are carried out. docs/cdo.md tells what each means
// and how they are written to files; kdi/cdo/Cdo.h writes and reads these.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <variant>
#include <vector>

namespace kdi::cdo {

/// What follows belongs together, for people and for programs that load a part alone.
struct Section {
  std::string name;  ///< 1 to kLongestName printable ASCII characters, no quotation mark and no backslash
  friend bool operator==(Section const&, Section const&) = default;
};

/// All bits of a register. Addresses are those of bytes, and multiples of 4.
struct Write {
  std::uint32_t address, value;
  friend bool operator==(Write const&, Write const&) = default;
};

/// The bits of `mask` alone; `value` has no others.
struct MaskedWrite {
  std::uint32_t address, mask, value;
  friend bool operator==(MaskedWrite const&, MaskedWrite const&) = default;
};

/// Reads until the bits of `mask` are `value`; a fault if they are not after `timeout_us`.
struct Poll {
  std::uint32_t address, mask, value, timeout_us;
  friend bool operator==(Poll const&, Poll const&) = default;
};

struct Delay {
  std::uint32_t microseconds;
  friend bool operator==(Delay const&, Delay const&) = default;
};

/// Registers beside one another, the first at `address`; 1 to kMostWords.
struct BlockWrite {
  std::uint32_t address;
  std::vector<std::uint32_t> words;
  friend bool operator==(BlockWrite const&, BlockWrite const&) = default;
};

/// What a block stands for, register by register.
inline std::vector<Write> writes_of(BlockWrite const& block) {
  std::vector<Write> writes;
  for (const std::uint32_t word : block.words)
    writes.push_back({block.address + 4 * static_cast<std::uint32_t>(writes.size()), word});
  return writes;
}

using Command = std::variant<Section, Write, MaskedWrite, Poll, Delay, BlockWrite>;
using Commands = std::vector<Command>;

constexpr std::size_t kLongestName = 200;
constexpr std::size_t kMostWords = 65'535;  ///< of a block
constexpr std::size_t kMostCommands = 1'000'000;
constexpr std::size_t kLargestFile = 64U << 20;     ///< bytes
constexpr std::uint32_t kLongestTime = 60'000'000;  ///< microseconds that a command may take

}  // namespace kdi::cdo
