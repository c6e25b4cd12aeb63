// What hosts and tests put in the place of a core's instances, by the name of the core.
#pragma once

#include <exception>
#include <map>
#include <mutex>
#include <new>
#include <string>
#include <utility>

#include "kdi/common/KdiTypes.h"

namespace hardip_eng {

/// For several threads.
template <class Factory>
class Factories {
 public:
  /// In place of the one that there was; an empty one takes it away.
  void set(std::string const& core, Factory factory) {
    const std::lock_guard lock(mutex_);
    if (factory)
      all_[core] = std::move(factory);
    else
      all_.erase(core);
  }

  /// Empty if there is none.
  Factory of(std::string const& core) const {
    const std::lock_guard lock(mutex_);
    const auto own = all_.find(core);
    return own == all_.end() ? Factory() : own->second;
  }

 private:
  mutable std::mutex mutex_;
  std::map<std::string, Factory> all_;
};

/// What `make` gives, a pointer of any kind; what it throws is why it gives none. Memory that runs out is thrown on.
template <class Make>
auto made(std::string const& core, StrVec& errors, Make make) -> decltype(make()) {
  const std::size_t before = errors.size();
  std::string reason = "the core \"" + core + "\" could not be made";
  try {
    if (auto made = make()) return made;
    if (errors.size() > before) return nullptr;
  } catch (std::bad_alloc const&) {
    throw;
  } catch (std::exception const& error) {
    reason = error.what();
  } catch (...) {
  }
  errors.push_back(reason);
  return nullptr;
}

}  // namespace hardip_eng
