// Files that a core of the larger processing systems leaves behind.
#pragma once

#include <memory>
#include <string>

#include "kdi/common/KdiDoor.h"
#include "kdi/common/KdiTypes.h"

class HICInst;

/// Each writes its file whole or leaves what was there; what fails is told to the message manager, and in `errors`
/// where there are some. An instance may be null.
struct KDI_DOOR HICInstOutputUtils {
  /// The state file: the values of the parameters.
  static void generatePSXLStateJson(std::string& path, ParamMap& values);
  /// Adds the parameters of multiplexed pads to it.
  static void writeMioParams(std::string& path, std::shared_ptr<HICInst> inst, std::string coreName);
  static void generateIOPadReport(ParamMap const& params, std::string& path, StrVec& errors,
                                  std::shared_ptr<HICInst> inst);
  static void generatePowerJsonReport(ParamMap const& params, std::string& path, StrVec& errors,
                                      std::shared_ptr<HICInst> inst);
  /// The hardware definition `path` (docs/hardware-definition.md), with the handoff `hwhPath` first.
  /// \param fileAttributes  path of a file to its kind in decimal digits
  static void generateHDFForPSXL(std::string& path, std::string const& hwhPath, ParamMap& attributes,
                                 ParamMap& fileAttributes, std::shared_ptr<HICInst> inst);
  /// The configuration data. `fileAttributes`: path of a file to attributes of it, `kind` among them.
  static void generateCDO(ParamMap& values, std::string& outputPath, std::string& stateFile, std::string coreName,
                          AttrMap fileAttributes, ParamMap& context, std::shared_ptr<HICInst> inst);
};
