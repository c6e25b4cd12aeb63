// Runs a compiler.
#pragma once

#include <stdexcept>
#include <string>

#include "kdi/common/KdiTypes.h"

namespace kdi::hsm {

/// The program is not there, or may not be started.
class NoProgram : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct Run {
  bool is_well = false;  ///< ended by itself, with status 0
  std::string told;      ///< what it wrote, the begin of much
};

/// Runs the program `words[0]`, looked for in PATH, with the other words as they are: no shell takes them apart. Its
/// outputs go to the new file `log`; it reads nothing. It is ended after `most_seconds`. Throws NoProgram, and
/// FileError where the log cannot be kept.
Run run(StrVec const& words, std::string const& log, int most_seconds);

}  // namespace kdi::hsm
