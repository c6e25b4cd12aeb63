// The pins of a controller behind the doors: made when its memory is told or it is first asked for one.
#pragma once

#include <memory>

#include "platform/coregen/pin_plan.h"
#include "platform/coregen/state.h"

namespace kdi::coregen {

/// The plan of an instance as its options are now. Whoever calls has its lock. Throws a std::string if there is nothing
/// to be planned.
PinPlan& pins_of(Controller::State& state);

/// What there is to be placed by the options.
PinsWanted pins_wanted(Controller::State const& state);

/// Does something with the plan under the instance's lock.
template <class Body>
auto ask_pins(Controller& controller, Body body) {
  return controller.state().ask([&](Controller::State& state) { return body(pins_of(state)); });
}

}  // namespace kdi::coregen
