// Instances that an engine's manager makes by name and lends as pointers, to several threads at once.
//
// A command asks the manager for the instance of a name, works with the pointer, and forgets it. In the meantime
// another thread may end, rename or replace the instance, or the process may be going down: so whoever was lent an
// instance owns a part of it until it is certainly done.
#pragma once

#include <algorithm>
#include <cstddef>
#include <map>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include "kdi/common/KdiDoor.h"

namespace kdi {

/// How many instances a thread has at once. A command works with one; one that a message's receiver runs meanwhile
/// works with another.
inline constexpr std::size_t kLentAtOnce = 8;

/// Keeps the object for the calling thread, until the thread has been lent kLentAtOnce others or ends.
KDI_DOOR void lend(std::shared_ptr<void const> object);

/// The instances of a manager, by key. All operations may be called from several threads. No lock is held while an
/// instance is destroyed.
///
/// An instance that holds nothing yet is not worth keeping: it is like the one that would be made in its place. Many
/// such are dropped, so that asking about names that nobody uses costs no memory.
template <class Key, class Instance>
class Instances {
 public:
  using HoldsNothing = bool (*)(Instance const&);

  /// At most `most` instances hold anything.
  Instances(std::size_t most, HoldsNothing holds_nothing) : most_(most), holds_nothing_(holds_nothing) {}
  Instances(Instances const&) = delete;
  Instances& operator=(Instances const&) = delete;

  /// Lends the instance of the key, which `make()` makes as a shared pointer if there is none. Null if there are too
  /// many. The pointer is good as long as kdi::lend says, whatever becomes of the key.
  template <class Make>
  Instance* get(Key const& key, Make make) {
    std::vector<std::shared_ptr<Instance>> dropped;  // outlives the lock
    std::shared_ptr<Instance> found;
    {
      const std::lock_guard lock(mutex_);
      auto place = instances_.find(key);
      if (place == instances_.end()) {
        if (instances_.size() >= look_through_at_) look_through(dropped);
        if (instances_.size() >= look_through_at_) return nullptr;
        place = instances_.emplace(key, make()).first;
      }
      found = place->second;
    }
    Instance* const lent = found.get();
    lend(std::move(found));
    return lent;
  }

  /// Lends the instance of the key; null if there is none.
  Instance* find(Key const& key) const {
    std::shared_ptr<Instance> found;
    {
      const std::lock_guard lock(mutex_);
      const auto place = instances_.find(key);
      if (place == instances_.end()) return nullptr;
      found = place->second;
    }
    Instance* const lent = found.get();
    lend(std::move(found));
    return lent;
  }

  /// Gives the key an instance, in place of the one that it has. False if there are too many.
  bool put(Key const& key, std::shared_ptr<Instance> instance) {
    const std::lock_guard lock(mutex_);
    const auto place = instances_.find(key);
    if (place != instances_.end())
      place->second.swap(instance);  // the replaced one outlives the lock, as the caller's argument
    else if (instances_.size() >= most_)
      return false;
    else
      instances_.emplace(key, std::move(instance));
    return true;
  }

  enum class Renamed { done, no_such_key, taken };
  /// Gives the instance another key, unless that has one: then nothing changes. Its own key is free.
  Renamed rename_to_free(Key const& from, Key const& to) {
    const std::lock_guard lock(mutex_);
    if (!instances_.contains(from)) return Renamed::no_such_key;
    if (from == to) return Renamed::done;
    if (instances_.contains(to)) return Renamed::taken;
    auto renamed = instances_.extract(from);
    renamed.key() = to;
    instances_.insert(std::move(renamed));
    return Renamed::done;
  }

  /// A key without an instance has no effect, here and below.
  void erase(Key const& key) {
    typename Map::node_type erased;  // outlives the lock
    const std::lock_guard lock(mutex_);
    erased = instances_.extract(key);
  }

  /// Replaces the instance of the new key, if there is one.
  void rename(Key const& from, Key const& to) {
    typename Map::node_type replaced;  // outlives the lock
    const std::lock_guard lock(mutex_);
    auto renamed = instances_.extract(from);
    if (renamed.empty()) return;
    replaced = instances_.extract(to);
    renamed.key() = to;
    instances_.insert(std::move(renamed));
  }

  void clear() {
    clear([](Instance&) {});
  }
  /// The same; each instance is handed to `use` on its way, when no key leads to it any more and no lock is held.
  template <class Use>
  void clear(Use use) {
    Map cleared;
    {
      const std::lock_guard lock(mutex_);
      cleared.swap(instances_);
    }
    for (auto const& [key, instance] : cleared) use(*instance);
  }

  std::size_t size() const {
    const std::lock_guard lock(mutex_);
    return instances_.size();
  }

 private:
  using Map = std::map<Key, std::shared_ptr<Instance>>;
  static constexpr std::size_t kFewIdle = 256;

  // Drops what holds nothing and is lent to nobody. What is not lent cannot be used meanwhile: lending takes the lock.
  void look_through(std::vector<std::shared_ptr<Instance>>& dropped) {
    for (auto place = instances_.begin(); place != instances_.end();)
      if (place->second.use_count() == 1 && holds_nothing_(*place->second)) {
        dropped.push_back(std::move(place->second));
        place = instances_.erase(place);
      } else {
        ++place;
      }
    look_through_at_ = std::min(most_, std::max(kFewIdle, 2 * instances_.size()));
  }

  mutable std::mutex mutex_;
  Map instances_;
  std::size_t most_;
  std::size_t look_through_at_ = kFewIdle;
  HoldsNothing holds_nothing_;
};

}  // namespace kdi
