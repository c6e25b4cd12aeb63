// Plans of interfaces for people: read back from what operations gave, and why there is none. For hosts and tests.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "kdi/common/KdiDoor.h"
#include "kdi/device/Device.h"
#include "kdi/planning/Layout.h"

namespace kdi::place {

/// Ports on pads of a layout.
struct PlanOnPads {
  std::map<std::string, int> pads;                          ///< by port
  std::map<std::string, std::vector<std::string>> strobes;  ///< by strobe port: nibbles, `700_3`
};

/// All of these throw a std::string, in words for the user.

/// Of a dictionary of places, as PORT_LOCS is or a default plan; `strobes` is what a map of strobes answers, or empty.
KDI_DOOR PlanOnPads read_plan(std::string const& ports, std::string const& strobes, planning::Layout const& layout);
/// Of parameters, as maps of parameters answer.
KDI_DOOR PlanOnPads read_parameter_plan(std::string const& parameters, planning::Layout const& layout);
/// Both as dictionaries: places by port, and nibbles by strobe.
KDI_DOOR std::pair<std::string, std::string> written(PlanOnPads const& plan, planning::Layout const& layout);
/// `700_3`
KDI_DOOR std::string nibble_of_pad(planning::Layout const& layout, int pad);

/// What a memory file has.
struct MemoryFileContent {
  struct Part {
    std::uint64_t address = 0, bytes = 0, size = 0;
  };
  std::string interface, settings, ports;  ///< the last two as dictionaries
  bool has_image = false;
  std::uint64_t entry = 0;
  std::vector<Part> parts;
};
KDI_DOOR MemoryFileContent read_memory_file_content(std::string const& path);

/// Why an interface has no plan, and what has one.
struct WhyNot {
  bool is_possible = false;
  std::vector<std::pair<std::string, std::string>> obstacles;  ///< rule, and in words; of a controller in silicon one
  bool is_smallest = false;                                    ///< every smaller set was tried
  std::vector<std::pair<std::string, std::string>> nearest;    ///< change, and in words
};

/// What is asked.
struct WhyQuestion {
  std::string use;       ///< soft_DDR4, hard_DDR4, hard_DDR5 or xphy_io of memories; of buses adcDac, advwiz,
                         ///< x5io_wizard or x5phio
  std::string settings;  ///< what XGUI_CONFIG has
  std::string ports;     ///< what PORT_LOCS has
  std::string instance;  ///< of I/O planning, whose pads are none of others'; empty: none
};

/// Beside the pads that controllers of memories and interfaces of the process have on the part.
KDI_DOOR WhyNot why_not(device::Part const& part, WhyQuestion const& question);

}  // namespace kdi::place
