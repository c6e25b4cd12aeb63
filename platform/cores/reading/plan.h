// What instances of a core compute, step by step: what Core::steps() says, with all that it takes in a row in memory.
#pragma once

#include <cstdint>
#include <vector>

#include "kdi/cores/Core.h"
#include "platform/cores/rules/code.h"

namespace kdi::cores {

struct PlannedStep {
  Code const* code = nullptr;  ///< null: nothing is to be evaluated but `slot`, if that is one
  std::uint32_t slot = Core::kNoStep;
  std::uint32_t parameter = 0;  ///< or definition, or search
  std::uint32_t writes = 0;     ///< a slot; the number of a message among all of the core
  Step::Kind kind = Step::Kind::value;
  bool has_rule = false;
  bool has_range_rule = false;  ///< of the parameter
  bool has_limits = false;      ///< its range is the least and the greatest value
  bool has_search = false;
};

struct Plan {
  std::vector<PlannedStep> steps;
  std::uint32_t messages = 0;
};

}  // namespace kdi::cores
