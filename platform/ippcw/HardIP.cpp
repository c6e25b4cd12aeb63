#include "kdi/ippcw/HardIP.h"

#include <condition_variable>
#include <mutex>
#include <thread>
#include <utility>

#include "kdi/common/KdiInstances.h"
#include "kdi/common/KdiText.h"
#include "kdi/ippcw/host/CoreAccess.h"
#include "kdi/ippcw/host/HardIPFactories.h"
#include "platform/ippcw/factories.h"
#include "platform/ippcw/instances.h"
#include "platform/ippcw/layers.h"

namespace hardip_eng {

namespace {

// A script that makes names up does not have all memory. Sub-cores may go beyond.
constexpr std::size_t kMostInstances = 4096;

struct Shared {
  std::mutex mutex;
  std::condition_variable made;  // an instance, or that it cannot be
  HardIPManager::InstanceMap instances;
  std::map<std::string, std::thread::id> makers;  // of the instances that are null
  Factories<HardIPFactory> factories;
  std::map<std::string, HardIPManager::InstanceMap> sub_instances;  // by the instance that they end with
};

Shared& shared() {
  static auto& shared = *new Shared;  // never destroyed: asked while the process ends
  return shared;
}

// What a context says beside these describes the instance when it is made, and may be other when it is asked for.
// A name may hold any character of a text.
std::string identity(ParamMap const& context) {
  return context_value(context, "instance_name") + '\0' + context_value(context, "ps_core_name") + '\0' +
         context_value(context, "part");
}

// Leaves a null instance behind for nobody, whatever the making ends with.
class Making {
 public:
  explicit Making(std::string key) : key_(std::move(key)) {}
  ~Making() {
    {
      const std::lock_guard lock(shared().mutex);
      shared().makers.erase(key_);
      if (made_)
        shared().instances[key_] = std::move(made_);
      else
        shared().instances.erase(key_);
    }
    shared().made.notify_all();
  }
  void is(std::shared_ptr<HardIPInterface> made) { made_ = std::move(made); }

 private:
  std::string key_;
  std::shared_ptr<HardIPInterface> made_;
};

// The sub-cores of an instance, each unless there is one by its name already.
void add_sub_instances(std::string const& key, HardIPInterface& instance, ParamMap const& context) {
  HardIPManager::InstanceMap added;
  for (SubInstance& sub : sub_instances(instance, context))
    added.emplace(identity(sub.context), std::move(sub.instance));
  if (added.empty()) return;
  std::map<std::string, HardIPManager::InstanceMap> of_it{{key, added}};
  const std::lock_guard lock(shared().mutex);
  shared().sub_instances.merge(of_it);
  shared().instances.merge(added);
}

// By the factory if there is one, else as the engine does.
std::shared_ptr<HardIPInterface> made_by(HardIPFactory const& factory, ParamMap const& context, StrVec& errors) {
  return made(context_value(context, "ps_core_name"), errors,
              [&] { return factory ? factory(context, errors) : make_instance(context, errors); });
}

HardIPInterface* lent(std::shared_ptr<HardIPInterface> instance) {
  HardIPInterface* const pointer = instance.get();
  if (pointer != nullptr) kdi::lend(std::move(instance));
  return pointer;
}

}  // namespace

void set_hard_ip_factory(std::string const& ps_core_name, HardIPFactory factory) {
  shared().factories.set(ps_core_name, std::move(factory));
}

HardIPManager* HardIPManager::getInstance() {
  static auto& manager = *new HardIPManager;
  return &manager;
}

HardIPManager* HardIPManager::getInstance(ParamMap const&) { return getInstance(); }

HardIPInterface* HardIPManager::findInstance(ParamMap const& context, StrVec&) {
  const std::string key = identity(context);
  std::shared_ptr<HardIPInterface> found;
  {
    std::unique_lock lock(shared().mutex);
    // Its own maker would wait for itself: for it there is none yet.
    shared().made.wait(lock, [&] {
      const auto maker = shared().makers.find(key);
      return maker == shared().makers.end() || maker->second == std::this_thread::get_id();
    });
    const auto place = shared().instances.find(key);
    if (place != shared().instances.end()) found = place->second;
  }
  return lent(std::move(found));
}

HardIPInterface* HardIPManager::getOrCreateInstance(ParamMap const& context, StrVec& errors) {
  const std::string key = identity(context);
  const HardIPFactory factory = shared().factories.of(context_value(context, "ps_core_name"));
  for (std::unique_lock lock(shared().mutex);;) {
    const auto maker = shared().makers.find(key);
    if (maker != shared().makers.end()) {
      if (maker->second == std::this_thread::get_id()) {
        errors.push_back("the instance \"" + context_value(context, "instance_name") +
                         "\" is asked for while it is made");
        return nullptr;
      }
      shared().made.wait(lock);
      continue;
    }
    const auto place = shared().instances.find(key);
    if (place != shared().instances.end()) {
      std::shared_ptr<HardIPInterface> found = place->second;
      lock.unlock();
      return lent(std::move(found));
    }
    if (shared().instances.size() >= kMostInstances) {
      errors.push_back("instance " + kdi::text::shown(context_value(context, "instance_name")) +
                       " is one too many: there are " + std::to_string(kMostInstances));
      return nullptr;
    }
    shared().makers[key] = std::this_thread::get_id();
    shared().instances[key] = nullptr;
    break;
  }

  std::shared_ptr<HardIPInterface> made;
  {
    Making making(key);
    made = made_by(factory, context, errors);
    if (made != nullptr) add_sub_instances(key, *made, context);
    making.is(made);
  }
  return lent(std::move(made));
}

// Its sub-cores end with it.
void HardIPManager::deleteInstance(ParamMap const& context, StrVec&) {
  InstanceMap deleted;  // outlives the lock
  std::map<std::string, InstanceMap>::node_type subs;
  const std::lock_guard lock(shared().mutex);
  const auto place = shared().instances.find(identity(context));
  if (place == shared().instances.end() || place->second == nullptr) return;
  subs = shared().sub_instances.extract(place->first);
  deleted.insert(shared().instances.extract(place));
  if (subs.empty()) return;
  for (auto const& [key, instance] : subs.mapped()) {
    const auto sub = shared().instances.find(key);
    if (sub != shared().instances.end() && sub->second == instance) deleted.insert(shared().instances.extract(sub));
  }
}

HardIPManager::InstanceMap HardIPManager::instanceMap() const {
  const std::lock_guard lock(shared().mutex);
  return shared().instances;
}

bool access_core(ParamMap const& context, std::function<void(ConfiguredAccess const&)> const& use) {
  StrVec none;
  auto const* const found = dynamic_cast<WithCore*>(HardIPManager::getInstance()->findInstance(context, none));
  if (found == nullptr) return false;
  found->core()->use(use);
  return true;
}

}  // namespace hardip_eng
