// The section `clocks` of a core's description.
#pragma once

#include <memory>
#include <optional>

#include "kdi/cores/ClockSection.h"
#include "platform/cores/reading/drafts.h"
#include "platform/cores/reading/sections.h"

namespace kdi::cores {

/// The section as descriptions and parts give it, one after the other.
class ClockDraft {
 public:
  void add(JsonValue section, Places const& places);
  /// Null if there are no clocks.
  std::shared_ptr<ClockSection> finished(SectionContext const& context) const;

 private:
  SectionEntries references_, plls_, outputs_;
  std::optional<SectionEntry> manual_;
  std::string place_;
};

}  // namespace kdi::cores
