// Memories as data: what signals an interface to each type has, and the parts. data/memory, whose README tells the
// form, on the timing of data/ddr.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "kdi/common/KdiDoor.h"

namespace kdi::planning {

enum class SignalClass { data, mask, strobe, address, clock, control, system_clock };
inline constexpr std::size_t kSignalClasses = 7;

/// I/O standards of an interface in banks of some kinds, at one voltage.
struct StandardSet {
  std::vector<std::string> bank_kinds;
  std::string voltage_v;               ///< as a decimal: 1.2
  std::vector<std::string> standards;  ///< by SignalClass

  std::string const& of(SignalClass what) const { return standards[static_cast<std::size_t>(what)]; }
};

/// A value for each width of a memory device.
using ByWidth = std::vector<std::pair<int, int>>;

/// A family of groups that take a byte lane each.
struct LaneKind {
  std::string group;  ///< of names like DQ[0-7]
  int bits = 8;
  std::string data;
  std::string direction;
  std::string mask;  ///< empty: none
  std::string mask_direction;
  bool mask_needed = false;
  ByWidth mask_bits;                           ///< data bits of one mask; none: those of the lane
  std::pair<std::string, std::string> strobe;  ///< positive and negative
  bool forwarded = false;                      ///< the strobe is an output, on any differential pair
  ByWidth strobe_bits;                         ///< data bits of one strobe
};

/// Signals of the address block.
struct AddressPort {
  std::string port;  ///< or the positive one of a pair
  std::string negative;
  std::string count;  ///< a number, the word for one that follows from part and configuration, or a product of these
  std::string direction;
  SignalClass what = SignalClass::address;
};

struct Geometry {
  std::int64_t density_mbit = 0;
  int width = 0;
  int rows = 0;
  int columns = 0;
  int bank_bits = 0;
  int group_bits = 0;
};

/// A memory device, or a module of such.
struct MemoryPart {
  std::string name;
  std::string type;
  std::string bin;  ///< of data/ddr; empty for reference parts
  int rate_mbps = 0;
  std::int64_t density_mbit = 0;  ///< 0 for reference parts
  int width = 0;                  ///< of a device
  std::string module;             ///< udimm, ...; empty for components
  int ranks = 1;                  ///< of a module
  int stack = 1;                  ///< dies in a device
  int address_bits = 0;           ///< rows
  int columns = 0;
  int bank_bits = 0;
  int group_bits = 0;

  /// The shortest period of its clock, in ps: of two transfers, rounded down as data sheets do.
  int period_min_ps() const { return 2000000 / rate_mbps; }
};

struct KDI_DOOR MemoryKind {
  std::string type;
  std::string source;
  std::string prefix;  ///< of port names
  std::string timing;  ///< in data/ddr; empty: none
  int period_max_ps = 0;
  int burst = 0;
  std::vector<int> devices;  ///< widths
  int channel_bits = 0;      ///< data bits of a channel, which has addresses of its own; 0: all of them
  std::vector<std::string> modules;
  int ranks_max = 1;
  std::vector<int> stack_heights;
  std::vector<StandardSet> standards;
  std::vector<LaneKind> lanes;
  std::vector<AddressPort> address;
  int address_bits_min = 0;
  std::vector<Geometry> geometry;
  std::vector<MemoryPart> reference_parts;

  /// By name: `DDR4-2400R-8Gb-x8`, of modules with `-rdimm-2r`, of stacked devices with `-2h` behind it.
  std::optional<MemoryPart> part(std::string_view name) const;
  /// All of them.
  std::vector<std::string> part_names() const;
};

/// The types, in byte order. This and the next throw kdi::FileError and kdi::JsonError for data that cannot be read;
/// what was read once stays, in any thread.
KDI_DOOR std::vector<std::string> memory_types();
/// Null for a name that is none.
KDI_DOOR MemoryKind const* find_memory(std::string_view type);

/// The value of a width; nothing for another width.
KDI_DOOR std::optional<int> by_width(ByWidth const& values, int width);

}  // namespace kdi::planning
