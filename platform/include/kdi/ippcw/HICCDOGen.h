// Configuration data of a core as C sources, from its registers.
#pragma once

#include <memory>
#include <string>

#include "kdi/common/KdiDoor.h"
#include "kdi/common/KdiTypes.h"

class KDI_DOOR HICCDOGen {
 public:
  explicit HICCDOGen(std::string& coreName);
  ~HICCDOGen();
  HICCDOGen(HICCDOGen const&) = delete;
  HICCDOGen& operator=(HICCDOGen const&) = delete;

  /// Takes the registers' values from the parameters, the multiplexed pads and the system monitor's registers.
  void readRegisters(ParamMap& values, ParamMap& mio, ParamMap& sysmon);
  /// Writes the masks of the fields, once for a run.
  void writeMaskDefinitonsFile();  // sic
  /// Writes the C source of one directory of register descriptions below `outputPath`.
  void writeCDOinCFiles(ParamMap& values, std::string& specDir, std::string coreName, std::string& outputPath,
                        int flag);

 private:
  struct State;
  std::unique_ptr<State> state_;
};
