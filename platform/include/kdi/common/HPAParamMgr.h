// Tool parameters: the switches by which a site or a person changes how the tools behave.
//
// Every parameter is declared in the data folder params/, with its type, default, documentation and effect. Its value
// is what the program set (common/host/ParamHost.h), else what the file named by the environment variable KDI_PARAMS
// says, else the default. docs/parameters.md lists them all. For any thread.
#pragma once

#include <string>

#include "kdi/common/KdiDoor.h"

class KDI_DOOR HPAParamMgr {
 public:
  /// The registry of the process. Costs nothing; the files are read when the first value is asked for. Faults in them
  /// are reported then, once, as error messages; a file of values that has one is left out as a whole.
  static HPAParamMgr& getParamMgr();

  /// The value as a truth: of an integer, whether it is not 0; of a text, whether it is not empty. Throws
  /// std::logic_error if `name` is not declared, which is a mistake of the program; if declarations could not be read,
  /// it answers false instead.
  bool getValueAsBool(std::string const& name) const;

  /// The same, and `fallback` if `name` is not declared. Throws nothing but std::bad_alloc. Where the environment
  /// names no places and nothing is set, the first questions, which are put while libraries are loaded, read no file.
  bool getValueIfExistAsBool(std::string const& name, bool fallback) const;

  /// The value as it is shown; empty if `name` is not declared.
  std::string getValueAsString(std::string const& name) const;

 private:
  HPAParamMgr() = default;
};
