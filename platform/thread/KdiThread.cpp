#include "kdi/thread/KdiThread.h"

#include <boost/smart_ptr/make_shared.hpp>
#include <boost/thread/thread.hpp>
#include <utility>

boost::shared_ptr<boost::thread> kdi::start_thread(std::function<void()> body) {
  return boost::make_shared<boost::thread>(std::move(body));
}

void kdi::join(boost::shared_ptr<boost::thread> const& thread) {
  if (thread != nullptr && thread->joinable()) thread->join();
}
