// What an instance of a memory controller is, behind the doors.
#pragma once

#include <memory>
#include <mutex>

#include "kdi/coregen/Controller.h"
#include "kdi/device/Device.h"
#include "platform/coregen/pin_plan.h"

namespace kdi::coregen {

struct Controller::State {
  std::mutex mutex;                    ///< held by each operation
  device::Part const* part = nullptr;  ///< never null once loaded; lives as long as the process
  OptionMap options;                   ///< what the user said of the controller, `-instance_name` and `-part` apart

  std::unique_ptr<Seat> seat;     ///< not null once loaded, and good without the lock
  std::unique_ptr<PinPlan> pins;  ///< null until it is needed: pins_of()
  OptionMap pins_for;             ///< the options that `pins` were made for
};

}  // namespace kdi::coregen
