// Software for configured cores, built from the sources in the data folder software/.
#pragma once

#include <string>

#include "kdi/common/KdiDoor.h"
#include "kdi/hsm/hsi_ps_interface.h"

class KDI_DOOR HHSMSwManager {
 public:
  /// Null if no data root has software.
  static HHSMSwManager* getHsmSwManager();

  /// Builds the application `application` (a folder of software/) for the processor of a platform controller, as
  /// `path`/`application`/executable.elf, with the compiler that the tool parameter `software.compiler` names
  /// (docs/boot-program.md). Nothing is left of what fails, and a message tells why: no compiler, which says what to
  /// install, sources that it refuses, a program that does not fit.
  ///
  /// \param instance, ipName  for whom it is made; told in messages
  /// \param build             false: the sources are laid out and not built
  bool generateAppForPMC(hsi::hsi_ps_interface* hsi, std::string part, std::string processor, std::string instance,
                         std::string path, std::string application, std::string ipName, bool build);

 private:
  HHSMSwManager() = default;
};
