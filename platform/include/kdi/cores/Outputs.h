// What a configured core leaves behind besides registers: constraints for the design around it, estimates of its power,
// and who sits on its pads. data/cores/REGISTERS.md tells the form of what it comes from.
#pragma once

#include <string>
#include <vector>

#include "kdi/common/KdiDoor.h"
#include "kdi/cores/Decimal.h"
#include "kdi/cores/Registers.h"

namespace kdi::cores {

struct OutputsOfFile {
  std::string file;
  std::vector<std::string> outputs;
};
/// What stands in which file of commands, by the outputs of the description; files and outputs in the order in which
/// they are carried out. `merged`: what is for the low-power and the full-power domain stands in the platform
/// controller's.
KDI_DOOR std::vector<OutputsOfFile> outputs_by_file(Core const& core, RegisterMap const& map, bool merged);

/// A header in C: addresses of registers, and masks of their fields.
KDI_DOOR std::string mask_definitions(RegisterMap const& map, std::string const& core);

/// Lines of Tcl. Throws RegisterError.
KDI_DOOR std::vector<std::string> constraint_lines(RegisterMap const& map, Instance const& instance);

struct PowerRow {
  std::string item, supply;
  Decimal milliwatts;  ///< with 3 places
  friend bool operator==(PowerRow const&, PowerRow const&) = default;
};
/// What draws power, in the order of the description; nothing of what draws none. Throws RegisterError.
KDI_DOOR std::vector<PowerRow> power_rows(RegisterMap const& map, Instance const& instance);

struct PadInUse {
  std::string bank;
  std::uint32_t number;
  std::string function, peripheral;
  friend bool operator==(PadInUse const&, PadInUse const&) = default;
};
/// By bank and number. Two rows of a pad are a conflict, of which the instance has a message.
KDI_DOOR std::vector<PadInUse> pads_in_use(Instance const& instance);

}  // namespace kdi::cores
