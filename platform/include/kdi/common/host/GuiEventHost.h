// The host's side of GUI events: who listens.
//
// Listeners are called in the order of their subscription, on the thread that fires, with no lock held: what a listener
// keeps it guards itself, and it may fire, subscribe and unsubscribe.
#pragma once

#include <functional>
#include <typeindex>
#include <typeinfo>
#include <utility>

#include "kdi/common/HUTGuiEvent.h"
#include "kdi/common/KdiDoor.h"

namespace gui_event_host {

/// Adds a listener of every event of a type, given as the address of the event.
KDI_DOOR int subscribe_to(std::type_index type, std::function<void(void const*)> listener);

/// Adds a listener of the events of type E. Returns a number for unsubscribe.
template <class E>
int subscribe(std::function<void(E const&)> listener) {
  return subscribe_to(typeid(E),
                      [listener = std::move(listener)](void const* event) { listener(*static_cast<E const*>(event)); });
}

/// Removes the listener of that number, if there is one. When this returns, it is not called any more, from no thread:
/// calls on other threads are waited for. A listener may remove itself.
KDI_DOOR void unsubscribe(int number);

}  // namespace gui_event_host
