#include "platform/rule_engine/texts.h"

#include "kdi/device/parts.h"

namespace kdi::gt {

std::shared_ptr<Kind const> required_kind(std::string const& kind, std::string const& part) {
  auto known = find_kind(kind);
  if (!known) refuse("the transceiver kind " + text::shown(kind) + " is none of " + text::joined(kind_names(), ", "));
  if (part.empty()) return known;
  device::Part const* const named = device::find_part(part);
  if (named == nullptr) refuse(device::unknown_part(part));
  auto own = find_kind(kind, *named);
  if (!own) refuse("the part " + text::shown(part) + " has no " + kind);
  return own;
}

}  // namespace kdi::gt
