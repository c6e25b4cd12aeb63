// A configuration carried to another version of its core, another core, or the same for another device.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "kdi/common/KdiDoor.h"
#include "kdi/cores/Compare.h"
#include "kdi/cores/Instance.h"
#include "kdi/cores/Record.h"

namespace kdi::cores {

struct Carried {
  /// What became of a text that was given.
  struct Note {
    enum class Fate : std::uint8_t {
      kept,
      renamed,   ///< kept under another name
      retired,   ///< there is no such parameter any more
      refused,   ///< there is, and its range no longer permits the text, or its type
      disabled,  ///< there is, and it is disabled, which it was not
    };
    Fate fate;
    std::uint32_t from;               ///< number where it was
    std::optional<std::uint32_t> to;  ///< number where it is
    std::string text;
  };
  std::vector<Note> notes;  ///< by the order of the description that was left
  Comparison comparison;    ///< of where it was and where it is
};

/// Gives `to` what `from` was given, with its origins, and takes back whatever else `to` had been given.
KDI_DOOR Carried carry(Instance const& from, Instance& to);

/// `notes`: list of `fate` (`kept`, `renamed`, `retired`, `refused`, `disabled`), `parameter`, `now` (its name, unless
/// it is retired), `value`, and of a refused one the `range` that it has now; `comparison` as in Compare.h.
KDI_DOOR Record record_of(Instance const& from, Instance const& to, Carried const& carried);

}  // namespace kdi::cores
