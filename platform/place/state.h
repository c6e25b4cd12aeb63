// What an instance of I/O planning is, behind the doors.
#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>

#include "kdi/common/KdiLocked.h"
#include "kdi/device/Device.h"
#include "kdi/place/kelvane_io_v1.h"
#include "kdi/planning/Occupancy.h"
#include "platform/place/dictionary.h"
#include "platform/place/locations.h"
#include "platform/place/settings.h"

namespace kdi::place {

/// What the last operation that planned has made.
struct LastPlan {
  std::string interface;  ///< its name; empty where none was told
  std::string kind;       ///< of the operation: of which sites or memories its plans are
  Settings settings;
  Locations told;   ///< where the user had ports
  OptionMap ports;  ///< the plan, as operations give it
};

}  // namespace kdi::place

namespace kelvane_io::kelvane_io_v1 {

struct HIPKelvaneIoInstance::State {
  std::mutex mutex;                         ///< held by each operation
  kdi::device::Part const* part = nullptr;  ///< never null once loaded; lives as long as the process
  kdi::place::Settings settings;            ///< what the load said of the interface
  std::optional<kdi::place::LastPlan> last_plan;
  std::unique_ptr<kdi::planning::Seat>
      seat;                           ///< has the pads of the last plan; not null once loaded, good without lock
  std::set<std::string> directories;  ///< that it was given, absolute and without links

  /// Keeps the directories among the values of `SW_DIR_PATH` and `MEM_DIR_PATH`. Throws if it has been given very many.
  void remember(ParamMap const& params);

  /// Does something under the lock, for what a door promises: faults of files come as std::string.
  template <class Body>
  auto ask(Body body) {
    return kdi::ask_locked(*this, body);
  }
};

}  // namespace kelvane_io::kelvane_io_v1
