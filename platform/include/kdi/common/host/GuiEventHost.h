// The host's side of GUI events: who listens.
#pragma once

#include <functional>
#include <typeindex>
#include <typeinfo>
#include <utility>

#include "kdi/common/HUTGuiEvent.h"

namespace gui_event_host {

/// Adds a listener of every event of a type, given as the address of the event.
int subscribe_to(std::type_index type, std::function<void(void const*)> listener);

/// Adds a listener of the events of type E. Returns a number for unsubscribe.
template <class E>
int subscribe(std::function<void(E const&)> listener) {
  return subscribe_to(typeid(E),
                      [listener = std::move(listener)](void const* event) { listener(*static_cast<E const*>(event)); });
}

/// Removes the listener of that number, if there is one.
void unsubscribe(int number);

}  // namespace gui_event_host
