// The sections `presets`, `boards`, `sub_presets` and `measurements` of a core's description: settings by name, and
// what the system monitor measures.
#pragma once

#include <vector>

#include "kdi/common/KdiJson.h"
#include "kdi/common/KdiPattern.h"
#include "kdi/cores/Core.h"
#include "platform/cores/reading/drafts.h"

namespace kdi::cores {

/// The sections as descriptions and parts give them, until the parameters are known.
class PresetDrafts {
 public:
  /// Takes the sections that `root` has.
  void add(JsonValue root, Places const& places);
  /// What they mean for the parameters of `core`; of two with one name the later counts.
  Presets finished(Core const& core) const;

 private:
  struct Draft {
    JsonValue value;
    Places places;
  };
  std::vector<Draft> presets_, boards_, sub_presets_, measurements_;
};

}  // namespace kdi::cores
