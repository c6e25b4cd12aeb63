// What an instance of a memory controller is, behind the doors.
#pragma once

#include <mutex>

#include "kdi/coregen/Controller.h"
#include "kdi/device/Device.h"

namespace kdi::coregen {

struct Controller::State {
  std::mutex mutex;                    ///< held by each operation
  device::Part const* part = nullptr;  ///< never null once loaded; lives as long as the process
  OptionMap options;                   ///< what the user said of the controller, `-instance_name` and `-part` apart
};

}  // namespace kdi::coregen
