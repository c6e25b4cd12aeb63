// Changes of what is given to a configured core: made as one batch, or tried without being made.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "kdi/common/KdiDoor.h"
#include "kdi/cores/Instance.h"
#include "kdi/cores/Record.h"

namespace kdi::cores {

/// One parameter's new text, or that its text is taken back.
struct Change {
  std::uint32_t parameter;
  std::optional<std::string> text;
  Origin from = Origin::user;  ///< of the text

  friend bool operator==(Change const&, Change const&) = default;
};

/// What was given to a parameter, as the change that gives it anew.
KDI_DOOR Change given_to(Instance const& instance, std::uint32_t parameter);

/// Makes the changes, all at once. Returns what Instance::set returns.
KDI_DOOR std::vector<std::uint32_t> make_changes(Instance& instance, std::vector<Change> const& changes,
                                                 Strength strength = Strength::searches);

/// What can be seen of a parameter.
struct Shown {
  std::string value, backup;
  bool is_enabled;
  std::vector<std::string> range;
  Origin origin;

  friend bool operator==(Shown const&, Shown const&) = default;
};
KDI_DOOR Shown shown(Instance const& instance, std::uint32_t parameter);

/// What changes would do.
struct Trial {
  struct Move {
    std::uint32_t parameter;
    Shown before, after;
  };
  std::vector<Move> moves;  ///< by parameter
  std::vector<Due> come, go;
  std::vector<std::pair<Due, Due>> reworded;  ///< due before and after, with another text
};

/// Makes the changes to a copy; the instance stays as it is.
KDI_DOOR Trial try_changes(Instance const& instance, std::vector<Change> const& changes);

/// `moves`: list of `parameter`, and of what is another, `value`, `backup` (where that is behind `SKIP`), `enabled`,
/// `range`, `origin`, each as `before` and
/// `after`. `come`, `go`, `reworded`: lists of messages (`parameter`, `message`, `severity`, `text`).
KDI_DOOR Record record_of(Core const& core, Trial const& trial);

/// A list of `parameter`, as `name` says, `change` (`set` or `take back`) and, of one that sets, `value`.
KDI_DOOR Record record_of(std::vector<Change> const& changes, std::function<std::string(std::uint32_t)> const& name);

}  // namespace kdi::cores
