// An interface to a memory, as its settings describe it: which controller and memory, how wide and how fast.
#pragma once

#include <string>
#include <vector>

#include "kdi/device/Device.h"
#include "kdi/planning/HardController.h"
#include "kdi/planning/Interface.h"
#include "kdi/planning/Placement.h"
#include "platform/place/settings.h"

namespace kdi::place {

/// What drives the memory, by which operations are called.
enum class MemoryUse { soft_ddr4, hard_ddr4, hard_ddr5, phy };

struct MemorySetup {
  device::MemoryController const* controller = nullptr;  ///< null for the physical layer alone
  device::ControllerSite const* site = nullptr;          ///< of a controller in silicon
  planning::HardController const* hard = nullptr;        ///< likewise
  planning::MemoryKind const* kind = nullptr;            ///< never null
  planning::MemoryPart memory;
  int data_width = 0;  ///< without the checksum
  bool ecc = false;
  int ranks = 1;  ///< in each slot
  int slots = 1;
  bool data_mask = true;
  planning::SystemClock system_clock = planning::SystemClock::differential;
  double period_ps = 0;
  int clock_ratio = 4;         ///< periods of the memory's clock in one of the user's
  double input_period_ps = 0;  ///< 0: not told
  bool internal_reference = true;
  std::vector<int> banks;  ///< numbers; none: all
  std::vector<std::string> bank_kinds;

  int width() const { return data_width + (ecc ? 8 : 0); }
  int rate_mbps() const;
  planning::InterfaceRequest interface_request() const;
  /// Standards in the kinds of banks that there are for it.
  std::vector<planning::StandardSet> standards() const;
};

/// Types of memory that a use has, of those that are known: of controllers in silicon DDR4 and LPDDR4, or DDR5 and
/// LPDDR5.
std::vector<std::string> types_of(MemoryUse use);

/// Throws a std::string that begins with a setting for one that does not fit.
MemorySetup memory_setup(device::Part const& part, MemoryUse use, Settings const& settings);

/// Sites of a controller all of whose banks have pins in the part's package; one of a processing system has none.
std::vector<device::ControllerSite const*> sites_in_package(device::Part const& part,
                                                            device::MemoryController const& controller);

}  // namespace kdi::place
