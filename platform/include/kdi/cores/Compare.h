// Two configurations side by side: what differs, and why.
//
// They may be of one core, of two versions, or of one core for two devices. Parameters are matched by their engine
// names and by those that they had before.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "kdi/common/KdiDoor.h"
#include "kdi/cores/Changes.h"
#include "kdi/cores/Instance.h"
#include "kdi/cores/Record.h"

namespace kdi::cores {

/// Why something differs.
struct Reason {
  enum class Kind : std::uint8_t {
    given,          ///< `name` was given another text, or the same by someone else, or in one of the two alone
    default_value,  ///< it has another default
    rule,           ///< it has another rule, or other fixed values; `first` and `second` are the rules
    device,         ///< the device says something else of `name`
    absent,         ///< it is in one of the two alone
    member,         ///< an internal text shows another value under the key `name`, or shows it in one alone
  };
  Kind kind;
  std::string name;  ///< of the parameter, the definition or the word of the device
  std::string first, second;

  friend bool operator==(Reason const&, Reason const&) = default;
};

struct Difference {
  std::optional<std::uint32_t> first, second;  ///< numbers; none where it is absent
  std::optional<Shown> before, after;          ///< of the first and the second
  std::vector<Reason> reasons;                 ///< all that have a part in it, its own first
};

struct Comparison {
  std::vector<Difference> differences;       ///< by the order of the second description, then what the first alone has
  std::vector<Due> only_first, only_second;  ///< messages; numbers of parameters are those of each
};

KDI_DOOR Comparison compare(Instance const& first, Instance const& second);

/// `first`, `second`: `core` and `version`; `differences`: list of `parameter`, `was` (its name in the first, if it is
/// another), `in` (`both`, `first`, `second`), of what is another `value`, `enabled`, `range`, `origin`, each as
/// `first` and `second`, and `reasons`: list of `kind` (`given`, `default`, `rule`, `device`, `absent`,
/// `member`), `name`, `first`, `second`; `only_first`, `only_second`: lists of messages.
KDI_DOOR Record record_of(Core const& first, Core const& second, Comparison const& comparison);

/// The number in `core` of the parameter that `other` calls so: by its engine name, else by a name that users have for
/// it here, else by a name that users had for it there.
KDI_DOOR std::optional<std::uint32_t> match(Core const& core, Parameter const& other);

}  // namespace kdi::cores
