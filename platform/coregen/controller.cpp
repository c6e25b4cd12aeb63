#include "platform/coregen/state.h"

namespace kdi::coregen {

Controller::Controller(std::unique_ptr<State> state) : state_(std::move(state)) {}
Controller::~Controller() = default;

}  // namespace kdi::coregen
