// The texts and files that a configured core leaves behind. docs/cdo.md, docs/core-outputs.md and
// data/cores/REGISTERS.md tell their forms.
#pragma once

#include <string>
#include <vector>

#include "kdi/cdo/Commands.h"
#include "kdi/cores/Configuration.h"
#include "kdi/cores/Registers.h"
#include "kdi/device/Device.h"

namespace hardip_eng {

/// A core, or one of a wizard's sub-cores, for which something is written.
struct OutputCore {
  kdi::cores::Configuration& configuration;
  kdi::device::Part const* part;  ///< null without one
  std::string instance_name;
  int region = 0;  ///< of the device, in which it is; 0 for the master's
};

/// A file by its name below the output directory.
struct OutputFile {
  std::string name;
  std::string content;
};

/// All throw kdi::cores::RegisterError for a configuration that the hardware cannot hold.
std::string power_text(OutputCore const& core);
std::string pads_text(OutputCore const& core);
std::string constraints_text(OutputCore const& core);
/// Commands for the system monitor, as text (docs/cdo.md); empty for a core without one.
std::string monitor_commands(OutputCore const& core);
std::string monitor_json(OutputCore const& core);
/// Which of the monitor's sensors measures which supply.
std::string satellites_csv(OutputCore const& core);
/// Registers of the monitor and their words, by address.
std::vector<std::pair<std::string, std::string>> monitor_registers(OutputCore const& core);

/// All commands, in the order in which they are carried out.
kdi::cdo::Commands all_commands(OutputCore const& core);

/// How files are called.
struct OutputNames {
  bool with_instance = false;  ///< before each name
  bool merged = false;         ///< what belongs to power domains stands in the file of the platform controller
};
/// As the core and the tool's parameters have it.
OutputNames names_of(kdi::cores::Core const& core);
std::vector<OutputFile> design_files(OutputCore const& core, OutputNames names);
/// The files that the sub-cores of a wizard leave together, named like those of one core, but for blocks with PCIe:
/// what other regions' controllers do stands in `<instance_name>_pmc_data_slr_<n>.cdo`.
std::vector<OutputFile> joint_files(std::vector<OutputCore> const& cores, std::string const& instance_name,
                                    OutputNames names);
/// Texts of several cores as one: JSON becomes a list, lines stand below one another.
std::string joined_texts(std::vector<std::string> const& texts);

}  // namespace hardip_eng
