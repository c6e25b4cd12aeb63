// What is to be placed, as the options of a controller say.
#include "platform/coregen/pins.h"

namespace kdi::coregen {

PinsWanted pins_wanted(Controller::State const& state) {
  const Setup setup = state.setup();
  if (setup.controller->hard)
    throw "the controller " + setup.controller->name + " has pins of its own, which are not to be planned";
  PinsWanted wanted;
  wanted.bank_kinds = setup.interface->bank_kinds;
  wanted.part = state.part;
  wanted.instance = "another controller";
  wanted.interface = setup.interface_request();
  wanted.voltage = setup.voltage;
  wanted.internal_reference = setup.internal_reference;
  wanted.period_ps = setup.period_ps;
  wanted.input_period_ps = setup.input_period_ps;
  return wanted;
}

}  // namespace kdi::coregen
