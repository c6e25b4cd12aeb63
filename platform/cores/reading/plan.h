// What instances of a core compute, step by step: what Core::steps() says, with all that it takes in a row in memory.
#pragma once

#include <cstdint>
#include <vector>

#include "kdi/cores/Core.h"
#include "platform/cores/rules/code.h"

namespace kdi::cores {

struct PlannedStep {
  static constexpr std::uint32_t kNoBody = ~0U;

  std::uint32_t body = kNoBody;  ///< of the rule, in Plan::bodies; none: nothing is to be evaluated but `slot`, if any
  union {
    std::uint32_t slot = Core::kNoStep;  ///< that the rule is; of a value without a rule: the number of its range
    std::uint32_t reads;                 ///< of a body: where its slots begin in Plan::reads
  };
  std::uint32_t parameter = 0;  ///< or definition, or search
  std::uint32_t writes = 0;     ///< a slot; the number of a range, or of a message, among all of the core
  Step::Kind kind = Step::Kind::value;
  bool has_rule : 1 = false;
  bool has_range_rule : 1 = false;  ///< of the parameter
  bool has_limits : 1 = false;      ///< its range is the least and the greatest value
  bool has_search : 1 = false;
};
static_assert(sizeof(PlannedStep) <= 20);  // a large model has as many as a million

struct Plan {
  boost::intrusive_ptr<CodeStore> store;  ///< keeps the bodies, and the texts of the core
  std::vector<PlannedStep> steps;
  std::vector<CodeBody const*> bodies;  ///< of all rules of the core; most steps share few
  std::vector<std::uint32_t> reads;     ///< slots, in the order of the steps
  std::uint32_t messages = 0, ranges = 0;
};

}  // namespace kdi::cores
