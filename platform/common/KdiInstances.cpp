#include "kdi/common/KdiInstances.h"

#include <array>

namespace kdi {
namespace {

// The last that a thread was lent, the latest first.
using Lent = std::array<std::shared_ptr<void const>, kLentAtOnce>;

// Interpreters may end, and run commands while they do, after the thread's own objects are gone. A pointer is still
// there then; what is lent so late stays.
thread_local Lent* lent = nullptr;

struct ThreadEnd {
  ~ThreadEnd() { delete std::exchange(lent, nullptr); }
};

}  // namespace

void lend(std::shared_ptr<void const> object) {
  if (lent == nullptr) {
    static thread_local ThreadEnd end;
    lent = new Lent;
  }
  const auto place = std::find(lent->begin(), lent->end() - 1, object);
  std::rotate(lent->begin(), place, place + 1);
  // What falls out goes last: its end may come back here.
  std::swap(lent->front(), object);
}

}  // namespace kdi
