// What the platform knows of a device, as plain values.
//
// All of it comes from one data file (data/devices/README.md); nothing of it is written in C++. A Part is immutable and
// shared; pointers into it live as long as it does, for parts of HARPartMgr as long as the process.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "kdi/common/KdiDoor.h"
#include "kdi/device/Clocking.h"
#include "kdi/device/IoBank.h"
#include "kdi/device/Memory.h"
#include "kdi/device/Power.h"
#include "kdi/device/Transceiver.h"

namespace kdi::device {

using Properties = std::map<std::string, std::string>;

/// A super logic region: one die of several in a package.
struct Slr {
  std::string name;
  bool master = false;  ///< exactly one is
};

/// A PLL of a processing system: Fvco = Fref feedback, and its output that divided by one of `output_divides`.
struct SystemPll {
  std::string name;
  CounterRange feedback;
  std::vector<int> output_divides;  ///< ascending
  Range reference_mhz;
  Range vco_mhz;
  double output_max_mhz = 0;
};

/// A kind of divider between a PLL and what it clocks.
struct SystemDivider {
  std::string name;
  CounterRange divide;
};

/// What the system monitor of each SLR measures.
struct SystemMonitor {
  struct Supply {
    std::string name;
    double volts = 0;  ///< nominal
  };
  int first_supply = 0;          ///< number of the first one
  std::vector<Supply> supplies;  ///< numbered from there on; those of the die's I/O banks stand last
  int satellites = 0;            ///< sensors away from the monitor, of each SLR
};

struct ProcessingSystem {
  std::string kind;  ///< generation: ps7, psu, psx, ...
  /// The cores by which it is configured, by name, each with its versions; none stands for all.
  std::map<std::string, std::vector<std::string>> cores;
  int mio_pins = 0;  ///< equal to the pads of the banks of kind MIO
  std::vector<SystemDivider> dividers;
  std::optional<SystemMonitor> monitor;
};

/// A device at one speed grade: everything that depends on speed.
struct SpeedGrade {
  std::string name;  ///< as in part names: "-2LHP"
  double core_v = 0;
  Properties properties;
  std::vector<ClockPrimitive> clock_primitives;
  std::vector<ClockBuffer> clock_buffers;
  std::vector<BlockMemory> block_memories;
  std::vector<Transceiver> transceivers;
  std::vector<MemoryController> memory_controllers;
  std::vector<SystemPll> system_plls;           ///< of the processing system
  std::map<std::string, double> system_clocks;  ///< the fastest that each clock of the processing system may be, in MHz
  /// The limits by key: <primitive>_FIN_MIN and _MAX, _FPFD_, _FVCO_, _FOUT_, _FPHY_ in MHz, <buffer>_PERIOD_ in ns,
  /// and what the file adds.
  std::map<std::string, double> keys;
};

/// A device in one package: which banks and quads lead to pins, and to which.
struct KDI_DOOR Package {
  std::string name;
  Properties properties;
  std::vector<IoBank> banks;                      ///< those that have pins, ascending by number
  std::vector<Quad> quads;                        ///< likewise
  std::unordered_map<std::string, PinSite> pins;  ///< every pin; for an order, walk the banks and quads

  IoBank const* bank(int number) const;
  Quad const* quad(int number) const;
};

/// The clock regions of the die: one for each column and row in which banks lie, X<column>Y<row>. A clock runs from its
/// root along columns and rows to each region.
struct ClockRegions {
  int columns = 0;
  int rows = 0;
  double column_ps = 0;  ///< from a region to the next of its row
  double row_ps = 0;     ///< to the next of its column
  double slr_ps = 0;     ///< more where the next one is on another die
};

struct Device {
  std::string name;
  std::string family;      ///< zorvan, tavrel, ...
  std::string generation;  ///< which of a family's architectures, where it has several
  std::string description;
  Properties properties;
  std::vector<Slr> slrs;
  std::optional<ProcessingSystem> processing_system;
  std::vector<IoBank> banks;  ///< all of the die's, ascending by number, without pins
  std::optional<ClockRegions> clock_regions;
  std::vector<Quad> quads;  ///< likewise
  std::vector<SpeedGrade> speed_grades;
  std::vector<Package> packages;
  Power power;
};

/// A device in a package at a speed grade, with the rest of what a part's name says.
struct KDI_DOOR Part {
  std::string name;
  std::shared_ptr<Device const> device;  ///< holds `package` and `speed`; none of the three is null
  Package const* package = nullptr;
  SpeedGrade const* speed = nullptr;
  Properties properties;

  /// By name; null if the part has no such thing.
  ClockPrimitive const* clock_primitive(std::string const& name) const;
  /// The first of its kind; null if the part has none.
  ClockPrimitive const* clock_primitive(ClockPrimitiveKind kind) const;
  ClockBuffer const* clock_buffer(std::string const& name) const;
  BlockMemory const* block_memory(std::string const& name) const;
  Transceiver const* transceiver(std::string const& type) const;
  MemoryController const* memory_controller(std::string const& name) const;
  std::optional<double> speed_key(std::string const& key) const;
};

}  // namespace kdi::device
