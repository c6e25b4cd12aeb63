// Block memories of the fabric, and controllers of memories outside.
#pragma once

#include <string>
#include <vector>

#include "kdi/device/Range.h"

namespace kdi::device {

/// One shape of a block memory.
struct Aspect {
  int depth_words = 0;
  int width_bits = 0;

  bool operator==(Aspect const&) const = default;
};

struct BlockMemory {
  std::string name;  ///< unique in the device: 9K, 18K, 36K, ...
  int bits = 0;      ///< with parity
  int count = 0;     ///< in the device, if all of it is used in this size
  std::vector<Aspect> single_port;
  std::vector<Aspect> simple_dual_port;
  std::vector<Aspect> true_dual_port;
  int cascade = 1;  ///< how many join into one deeper memory without fabric logic
  bool ecc = false;
  double clock_max_mhz = 0;
};

/// A kind of memory that a controller drives.
struct MemoryInterface {
  std::string type;               ///< DDR3, DDR4, ...; unique in the controller
  Range rate_mbps;                ///< of one data pin
  std::vector<int> data_widths;   ///< bits without ECC, ascending
  std::vector<int> clock_ratios;  ///< memory clock over user clock, ascending
  int ranks_max = 1;
  bool ecc = false;
  bool modules = false;                 ///< memory modules beside components
  std::vector<std::string> bank_kinds;  ///< of IoBank
};

/// Where a controller in silicon is, and the I/O banks that it drives.
struct ControllerSite {
  std::string name;  ///< unique in the device
  int slr = 0;
  std::vector<int> banks;
};

struct MemoryController {
  std::string name;   ///< unique in the device
  bool hard = false;  ///< in silicon, at its sites; otherwise made of fabric, in any bank of a fitting kind
  std::vector<ControllerSite> sites;
  std::vector<MemoryInterface> interfaces;
};

}  // namespace kdi::device
