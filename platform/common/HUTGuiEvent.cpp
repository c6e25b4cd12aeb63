#include "kdi/common/HUTGuiEvent.h"

#include <cxxabi.h>

#include <cstdlib>
#include <exception>
#include <memory>
#include <utility>

#include "kdi/common/ComMsgMgr.h"
#include "kdi/common/host/GuiEventHost.h"
#include "platform/common/callees.h"

namespace {

struct Listener {
  std::type_index type = typeid(void);
  std::function<void(void const*)> call;
};

// State of the process. Never destroyed: models may fire while the process ends.
kdi::Callees<Listener>& the_listeners() {
  static auto& instance = *new kdi::Callees<Listener>;
  return instance;
}

void report(std::type_index type, char const* what) {
  int status = 0;
  const std::unique_ptr<char, void (*)(void*)> readable(abi::__cxa_demangle(type.name(), nullptr, nullptr, &status),
                                                        std::free);
  ComMsgMgr::sendMsg::eval(1, __FILE__, __LINE__, "events", ComMsgMgr::MSG_ERROR,
                           "A listener of the event %s failed: %s", readable ? readable.get() : type.name(), what);
}

}  // namespace

void HUTGuiEvent::deliver(std::type_index type, void const* event) {
  the_listeners().each([&](Listener const& one) {
    if (one.type != type) return;
    try {
      one.call(event);
    } catch (std::exception const& error) {
      report(type, error.what());
    } catch (...) {
      report(type, "an exception of an unknown kind");
    }
  });
}

namespace gui_event_host {

int subscribe_to(std::type_index type, std::function<void(void const*)> call) {
  return the_listeners().add({type, std::move(call)});
}

void unsubscribe(int number) { the_listeners().remove(number); }

}  // namespace gui_event_host
