// Hardware handoffs: what the software tools are told of a configured core (docs/hardware-handoff.md).
#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "kdi/common/KdiDoor.h"

namespace hardip_eng {

/// "<file>:<line>: <what is wrong>".
class KDI_DOOR HandoffError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct HandoffParameter {
  std::string name, value;
  bool is_enabled = true;

  bool operator==(HandoffParameter const&) const = default;
};

struct Handoff {
  std::string instance;
  std::string core, version, part;  ///< empty where they are not known
  std::vector<HandoffParameter> parameters;

  bool operator==(Handoff const&) const = default;
};

constexpr std::size_t kMostHandoffBytes = std::size_t{1} << 26;

/// The XML of a handoff. Throws HandoffError, without a line, for a text that XML cannot hold: no UTF-8, or control
/// characters other than tab, line feed and carriage return.
KDI_DOOR std::string handoff_text(Handoff const& handoff);

/// What the text tells; errors call it `name`. Throws HandoffError for what is no handoff: a document type, elements or
/// attributes of other names, a parameter that comes twice.
KDI_DOOR Handoff read_handoff_text(std::string_view text, std::string const& name);

/// The same for a file. Throws FileError (kdi/common/KdiFile.h) as well.
KDI_DOOR Handoff read_handoff(std::string const& path);

}  // namespace hardip_eng
