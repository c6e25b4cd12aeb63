// Files of configuration commands: as text, as binary words, and as a C source. docs/cdo.md fixes the forms for those
// who write readers.
//
// The forms hold the same: what one reader gives, the other writers take. Writers refuse commands that no reader
// would take; readers refuse everything that a writer does not write, with the line or the byte at which it stands.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "kdi/cdo/Commands.h"
#include "kdi/common/KdiDoor.h"

namespace kdi::cdo {

/// Commands that cannot be written, or a content that cannot be read:
/// "<name>:<line>: <what is wrong>", "<name>: byte <offset>: <what is wrong>", or "command <number>: <what is wrong>".
class KDI_DOOR CdoError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// What is wrong with a command by itself, such as an address that is no multiple of 4; empty: nothing.
KDI_DOOR std::string fault_of(Command const& command);

/// What people read beside a command; one line, without control characters.
using Remark = std::function<std::string(std::size_t command)>;

/// Throws CdoError.
KDI_DOOR std::string to_text(Commands const& commands, Remark const& remark = {});
/// Throws CdoError; `name` is what it calls the text.
KDI_DOOR Commands from_text(std::string_view text, std::string const& name);

/// Throws CdoError.
KDI_DOOR std::string to_binary(Commands const& commands);
/// Throws CdoError. A binary of which a byte was changed, added or lost is refused.
KDI_DOOR Commands from_binary(std::string_view bytes, std::string const& name);

/// A C source that stands alone: the function `<name>_configure`, which carries the commands out over four functions
/// that the caller gives. `name` is a C name. Throws CdoError.
KDI_DOOR std::string to_c(Commands const& commands, std::string const& name, Remark const& remark = {});

struct Source {
  std::string name;
  Commands commands;

  bool operator==(Source const&) const = default;
};
/// What `to_c` was given; no other C is read. Throws CdoError, as from_text: also for a source of which anything but
/// the remarks was changed, unless it is what `to_c` makes of other commands.
KDI_DOOR Source from_c(std::string_view text, std::string const& name);

/// Any of the forms, by how the content begins.
KDI_DOOR Commands from_any(std::string_view content, std::string const& name);

/// The command as its line of the text form.
KDI_DOOR std::string line_of(Command const& command);

}  // namespace kdi::cdo
