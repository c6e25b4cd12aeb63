// The files that a boot loader of the earlier processing systems starts with: what brings the hardware to where a
// configuration wants it, as C and as Tcl, and a page that tells every register that is written. Both programs carry
// out the same commands (kdi/cores/Registers.h). docs/boot-loader-files.md tells what they ask of those who use them.
#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "kdi/cores/Instance.h"

namespace hardip_eng {

struct InitFiles {
  std::string c, h;          ///< under the licence of this project
  std::string gpl_c, gpl_h;  ///< the same program under the GPL
  std::string html, tcl;
  std::size_t commands;  ///< in all
};

/// `core` is that of the instance. Throws kdi::cores::RegisterError for a configuration that the registers cannot hold,
/// and what the reader of registers throws.
InitFiles init_files(std::shared_ptr<kdi::cores::Core const> const& core, kdi::cores::Instance const& instance);

}  // namespace hardip_eng
