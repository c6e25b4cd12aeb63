// Applications in the data folder software/: what they are made of, and how (data/software/README.md).
#pragma once

#include <string>
#include <vector>

#include "kdi/common/KdiTypes.h"

namespace kdi::hsm {

/// Flags of the compilers whose program is called so.
struct CompilerKind {
  std::string names;  ///< the last component of the name has it: `gcc` for arm-none-eabi-gcc
  StrVec flags;
};

struct Application {
  std::string folder;  ///< absolute
  StrVec processors;
  StrVec sources, headers;
  std::string linker_script;
  std::vector<CompilerKind> compilers;
  StrVec flags;
};

/// The folder `software` of the data roots; empty without one. Throws kdi::FileError.
StrVec software_folders();

/// The application `name`, of the first root that has one. Throws JsonError, with file, line and field, and FileError
/// where there is none or it cannot be read.
Application read_application(std::string const& name);

}  // namespace kdi::hsm
