// A core that is being configured, with all that can be asked of a configuration (kdi/cores/): why, what would, undo.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "kdi/common/KdiDoor.h"
#include "kdi/common/KdiTypes.h"
#include "kdi/cores/Configuration.h"
#include "kdi/cores/History.h"

namespace hardip_eng {

/// What there is of an instance. Only for as long as the call lasts.
struct ConfiguredAccess {
  kdi::cores::Configuration& configuration;
  /// What the core is a sub-core of, or the core itself: changes go by way of it, so that its texts follow.
  kdi::cores::Configuration& whole;
  /// Of the whole and its sub-cores; begins when it is first asked for. Instances in the order of `configurations`.
  kdi::cores::History& history;
  std::vector<kdi::cores::Configuration*> const& configurations;
  /// Where the data of the system monitor go, setSysmonDataFile; empty if nobody said.
  std::string const& sysmon_data_file;
};

/// Calls `use` with the live instance of the context, which belongs to this thread meanwhile: `use` asks nothing of the
/// manager or the instance itself. False if there is none, or one that is not the engine's own.
KDI_DOOR bool access_core(ParamMap const& context, std::function<void(ConfiguredAccess const&)> const& use);

}  // namespace hardip_eng
