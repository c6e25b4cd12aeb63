// Events that tell a user interface of a change, at once and on the thread that made it.
//
// An event is a type of its own that holds what it tells; whoever wants to hear of it subscribes in
// common/host/GuiEventHost.h. Listeners belong to the process, not to a library: it is the event's type alone that
// brings the two sides together.
#pragma once

#include <typeindex>
#include <typeinfo>

#include "kdi/common/KdiDoor.h"

class KDI_DOOR HUTGuiEvent {
 public:
  /// Makes the event `E{arguments...}` and calls every listener of E with it, in the order of subscription, before it
  /// returns. What a listener throws is reported as an error message, and the next one is called. A listener may fire,
  /// subscribe and unsubscribe: one that joins meanwhile hears of the next event, one that has left hears no more.
  template <class E, class... A>
  static void fire(A... arguments) {
    const E event{arguments...};
    deliver(typeid(E), &event);
  }

 private:
  static void deliver(std::type_index type, void const* event);
};
