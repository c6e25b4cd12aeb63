// Threads, for a caller that loads as fast as it can: what they need is opened when the first one is started.
#pragma once

#include <boost/smart_ptr/shared_ptr.hpp>
#include <functional>

#include "kdi/common/KdiDoor.h"

namespace boost {
class thread;
}

namespace kdi {

/// Runs `body`, which must not throw, on a thread of its own. Throws boost::thread_resource_error, whose text begins
/// "boost::thread_resource_error", if the system has none to give.
KDI_DOOR boost::shared_ptr<boost::thread> start_thread(std::function<void()> body);

/// Waits for the thread's end. Returns at once if that was waited for before, and does nothing for null.
KDI_DOOR void join(boost::shared_ptr<boost::thread> const& thread);

}  // namespace kdi
