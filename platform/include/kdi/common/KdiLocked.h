// What an operation of an engine's door does with the state of an instance.
#pragma once

#include <mutex>
#include <stdexcept>
#include <string>

namespace kdi {

/// Calls `body(state)` under the state's own lock, `state.mutex`. A fault of a file or the like, a std::runtime_error,
/// comes out as a std::string, which is what such doors throw.
template <class State, class Body>
auto ask_locked(State& state, Body body) {
  const std::lock_guard lock(state.mutex);
  try {
    return body(state);
  } catch (std::runtime_error const& fault) {
    throw std::string(fault.what());
  }
}

}  // namespace kdi
