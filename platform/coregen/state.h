// What an instance of a memory controller is, behind the doors.
#pragma once

#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <utility>

#include "kdi/common/KdiLocked.h"
#include "kdi/coregen/Controller.h"
#include "kdi/device/Device.h"
#include "platform/coregen/custom_parts.h"
#include "platform/coregen/pin_plan.h"
#include "platform/coregen/serial_plan.h"
#include "platform/coregen/setup.h"

namespace kdi::coregen {

struct Controller::State {
  std::mutex mutex;                    ///< held by each operation
  device::Part const* part = nullptr;  ///< never null once loaded; lives as long as the process
  OptionMap options;                   ///< what the user said of the controller, `-instance_name` and `-part` apart
  CustomParts custom_parts{};          ///< that were loaded

  std::unique_ptr<planning::Seat> seat;  ///< not null once loaded, and good without the lock
  std::unique_ptr<PinPlan> pins;         ///< null until it is needed: pins_of()
  OptionMap pins_for;                    ///< the options that `pins` were made for

  std::unique_ptr<planning::Seat> serial_seat;  ///< of a plain serial interface; as `seat`
  std::unique_ptr<SerialPlan> serial;           ///< null until it is needed
  OptionMap serial_options;                     ///< that it was made for

  /// Gives up the pads; good without the lock.
  void leave() {
    seat->leave();
    serial_seat->leave();
  }

  Surroundings surroundings() const { return {*part, custom_parts}; }

  /// The controller as it is, with `asked` in the place of what it was told. Throws the first finding.
  Setup setup(OptionMap const& asked = {}) const { return required_setup(surroundings(), options, asked); }

  /// The same with `key` as `value`, which has to fit. What else does not fit then counts as not told: the part of
  /// another type, say.
  Setup asked_setup(char const* key, std::string const& value, OptionMap asked = {}) const {
    asked.insert(options.begin(), options.end());
    return setup_with(surroundings(), std::move(asked), key, value);
  }

  /// Does something under the lock, for what a door promises: faults of files come as std::string.
  template <class Body>
  auto ask(Body body) {
    return kdi::ask_locked(*this, body);
  }
};

}  // namespace kdi::coregen
