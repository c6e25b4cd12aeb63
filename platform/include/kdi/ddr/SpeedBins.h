// What public standards say of the timing of memory, by type and speed bin: data/ddr, whose README tells the form.
//
//   if (MemoryType const* type = kdi::ddr::find_type("DDR3"))
//     type->figure("1066F", "tRCD_ns")    // "13.125"
//     type->figure_at(400.0, "WL_nCK")    // "5"
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "kdi/common/KdiDoor.h"

namespace kdi::ddr {

/// Figures by name, as decimal numbers: in nanoseconds (`tRCD_ns`) or periods of the memory's clock (`tWTR_nCK`).
using Figures = std::map<std::string, std::string, std::less<>>;

struct SpeedBin {
  std::string name;
  std::int64_t rate_mtps;  ///< the highest, in millions of transfers a second; the clock has half of it
  Figures figures;         ///< of the bin alone
};

/// Latencies, which follow from the clock that there is.
struct Latency {
  double up_to_mhz;
  Figures figures;  ///< `RL_nCK`, the least read latency, and `WL_nCK`
};

class KDI_DOOR MemoryType {
 public:
  MemoryType(std::string name, std::string source) : name_(std::move(name)), source_(std::move(source)) {}

  std::string const& name() const { return name_; }
  /// The standard that the figures are from.
  std::string const& source() const { return source_; }
  /// By rate, ascending.
  std::vector<SpeedBin> const& speed_bins() const { return bins_; }
  /// Of one chip, in Mbit, ascending.
  std::vector<std::int64_t> const& densities_mbit() const { return densities_; }

  /// A figure of a speed bin, its own or one that all bins have; `rate_mtps` is one. Null if there is none.
  std::string const* figure(std::string_view bin, std::string_view name) const;
  /// A latency at a clock. Null if there is none, or the clock is above all.
  std::string const* figure_at(double clock_mhz, std::string_view name) const;

 private:
  friend class TypeReader;
  std::string name_, source_;
  Figures figures_;
  std::vector<SpeedBin> bins_;
  std::vector<std::int64_t> densities_;
  std::vector<Latency> latencies_;
};

/// The types that there are, in byte order. This and the next throw kdi::FileError and kdi::JsonError for data that
/// cannot be read, each time that they are asked; what was read once stays, in any thread.
KDI_DOOR std::vector<std::string> type_names();
/// Null for a name that is none.
KDI_DOOR MemoryType const* find_type(std::string_view name);

}  // namespace kdi::ddr
