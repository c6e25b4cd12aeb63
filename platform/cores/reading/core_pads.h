// The section `pads` of a core's description.
#pragma once

#include <memory>

#include "kdi/cores/PadSection.h"
#include "platform/cores/reading/drafts.h"
#include "platform/cores/reading/sections.h"

namespace kdi::cores {

/// The section as descriptions and parts give it, one after the other.
class PadDraft {
 public:
  void add(JsonValue section, Places const& places);
  /// Null if there are no functions.
  std::shared_ptr<PadSection> finished(SectionContext const& context) const;

 private:
  SectionEntries banks_, functions_;
  std::string place_;
};

}  // namespace kdi::cores
