#include "kdi/common/HUTGuiEvent.h"

#include <cxxabi.h>

#include <algorithm>
#include <cstdlib>
#include <exception>
#include <memory>
#include <mutex>
#include <vector>

#include "kdi/common/ComMsgMgr.h"
#include "kdi/common/host/GuiEventHost.h"

namespace {

struct Listener {
  int number;
  std::type_index type;
  std::function<void(void const*)> call;
};

// State of the process. Never destroyed: models may fire while the process ends.
struct Listeners {
  std::mutex mutex;
  std::vector<std::shared_ptr<Listener const>> all;
  int next_number = 1;

  std::vector<std::shared_ptr<Listener const>> of(std::type_index type) {
    const std::lock_guard lock(mutex);
    std::vector<std::shared_ptr<Listener const>> found;
    for (auto const& one : all)
      if (one->type == type) found.push_back(one);
    return found;
  }
  bool still_has(int number) {
    const std::lock_guard lock(mutex);
    for (auto const& one : all)
      if (one->number == number) return true;
    return false;
  }
};

Listeners& the_listeners() {
  static Listeners& instance = *new Listeners;
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
  Listeners& known = the_listeners();
  for (auto const& one : known.of(type)) {
    if (!known.still_has(one->number)) continue;
    try {
      one->call(event);
    } catch (std::exception const& error) {
      report(type, error.what());
    } catch (...) {
      report(type, "an exception of an unknown kind");
    }
  }
}

namespace gui_event_host {

int subscribe_to(std::type_index type, std::function<void(void const*)> call) {
  Listeners& known = the_listeners();
  const std::lock_guard lock(known.mutex);
  known.all.push_back(std::make_shared<Listener const>(Listener{known.next_number, type, std::move(call)}));
  return known.next_number++;
}

void unsubscribe(int number) {
  Listeners& known = the_listeners();
  std::shared_ptr<Listener const> removed;  // outlives the lock: a listener's own clean-up may come back here
  const std::lock_guard lock(known.mutex);
  const auto found =
      std::find_if(known.all.begin(), known.all.end(), [number](auto const& one) { return one->number == number; });
  if (found == known.all.end()) return;
  removed = std::move(*found);
  known.all.erase(found);
}

}  // namespace gui_event_host
