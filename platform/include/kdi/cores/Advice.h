// What would have to change: a smallest set of values that enables a parameter, permits the value that it was given, or
// clears a message.
//
// An advice is verified on a copy before it is given: after its changes the wish is fulfilled, no message of severity
// error is due that was not due before, and every parameter that it changes is enabled. It is proven smallest among all
// sets of at most three changes, each to one of the parameter's candidates: values that its description permits, limits
// and elements of its present range, the constants and present values that it is compared with, with their neighbours,
// and, if rules ask for that, nothing given any more (docs/explain.md). Of sets that change the
// same parameters the one is meant whose values come first: numbers nearest to the present ones, others in the order of
// the description. Of sets of equally many changes the one is named after which the fewest parameters have anything
// changed, then the first in the order of the description.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "kdi/common/KdiDoor.h"
#include "kdi/cores/Changes.h"
#include "kdi/cores/Instance.h"
#include "kdi/cores/Record.h"

namespace kdi::cores {

struct Wish {
  enum class Kind : std::uint8_t {
    enabled,    ///< that the parameter is enabled
    permitted,  ///< that its range permits the value that it shows or hides; the value itself stays as it is
    cleared,    ///< that its message `message` is not due: one of the description's, of a search, `range` or `rule`
  };
  Kind kind;
  std::uint32_t parameter;
  std::string message = {};
};

struct Advice {
  enum class Outcome : std::uint8_t {
    fulfilled,  ///< there is nothing to be done
    found,
    none,        ///< no set of the candidates does it
    not_within,  ///< none was found within the effort
  };
  Outcome outcome;
  std::vector<Change> changes;       ///< by parameter
  std::vector<std::uint32_t> moves;  ///< parameters of which anything changes with them
  bool is_smallest = true;           ///< whether all sets of fewer changes were looked at
  bool is_first = false;             ///< whether all sets of this number were looked at for the one to name
  std::uint64_t trials = 0;          ///< sets that were tried
};

struct Effort {
  /// Counted in rules evaluated, a search as 10,000, so that the same question has the same answer on every machine.
  std::uint64_t most_rules = 20'000'000;
  std::uint32_t most_changes = 3;
  /// For those who wait for the answer; 0 for no bound, since an answer that time cut short may be another one next
  /// time.
  double most_seconds = 0;
};

class Terms;

/// The rules of a core taken apart, as advice and explanations need them: each when it is first asked for, so that
/// those with many questions do that once. The core outlives it. For one thread at a time.
class KDI_DOOR RuleParts {
 public:
  explicit RuleParts(Core const& core);
  RuleParts(RuleParts const&) = delete;
  RuleParts& operator=(RuleParts const&) = delete;
  ~RuleParts();
  Terms& terms() const { return *terms_; }

 private:
  std::unique_ptr<Terms> terms_;
};

/// Throws std::invalid_argument if the parameter has no such message.
KDI_DOOR Advice advise(Instance const& instance, Wish const& wish, Effort effort = {});
/// The same, with parts of the instance's core.
KDI_DOOR Advice advise(Instance const& instance, Wish const& wish, Effort effort, RuleParts const& parts);

/// `wish` (`enabled`, `permitted` or `cleared`), `outcome` (`fulfilled`, `found`, `none`, `not within`), `changes`,
/// `verified`, `smallest`, `first`, `trials`, `moves`.
KDI_DOOR Record record_of(Core const& core, Wish const& wish, Advice const& advice);

}  // namespace kdi::cores
