#include "tcltasks/zorvan/instance_manager.h"

#include <optional>
#include <utility>

#include "kdi/common/KdiText.h"

namespace zorvan_init::zorvan_kdi_tcltasks {
namespace {

constexpr char const* kName = "instance_name";
constexpr char const* kCore = "ps_core_name";

// A script that makes names up does not have all memory.
constexpr std::size_t kMostInstances = 4096;

std::string value_of(ParamMap const& context, char const* key) {
  const auto place = context.find(key);
  return place == context.end() ? std::string() : place->second;
}

// The name of the context's instance. An empty one is a name like others; none is an error.
std::optional<std::string> name_of(ParamMap const& context, StrVec& errors) {
  const auto place = context.find(kName);
  if (place != context.end()) return place->second;
  errors.push_back(std::string("Not found : ") + kName);
  return std::nullopt;
}

struct Held {
  std::mutex mutex;
  std::shared_ptr<PS_TCL_Instance_Manager> manager;
};

Held& held() {
  static auto& held = *new Held;  // never destroyed: other threads may be at work while the process ends
  return held;
}

}  // namespace

std::shared_ptr<PS_TCL_Instance_Manager> PS_TCL_Instance_Manager::get() {
  const std::lock_guard lock(held().mutex);
  if (held().manager == nullptr) held().manager = std::make_shared<PS_TCL_Instance_Manager>();
  return held().manager;
}

void PS_TCL_Instance_Manager::end() {
  std::shared_ptr<PS_TCL_Instance_Manager> ended;  // outlives the lock
  const std::lock_guard lock(held().mutex);
  ended.swap(held().manager);
}

PS_TCL_Instance_Manager::~PS_TCL_Instance_Manager() {
  while (!instances_.empty()) instances_.erase(instances_.begin());
}

PS_TCL_Instance_Manager::Instance PS_TCL_Instance_Manager::find_locked(std::string const& name, ParamMap const& context,
                                                                       StrVec& errors) const {
  const auto place = instances_.find(name);
  if (place == instances_.end()) return nullptr;
  if (place->second.core == value_of(context, kCore)) return place->second.instance;
  errors.push_back("instance " + name + " belongs to another core");
  return nullptr;
}

PS_TCL_Instance_Manager::Instance PS_TCL_Instance_Manager::findInstance(ParamMap const& context, StrVec& errors) const {
  const auto name = name_of(context, errors);
  if (!name) return nullptr;
  const std::lock_guard lock(mutex_);
  return find_locked(*name, context, errors);
}

PS_TCL_Instance_Manager::Instance PS_TCL_Instance_Manager::getInstance(ParamMap const& context, StrVec& errors) {
  const std::size_t before = errors.size();
  Instance found = findInstance(context, errors);
  return found != nullptr || errors.size() > before ? found : createPSInstance(context, errors);
}

// Threads that make their instances at the same time may go beyond, by as many as there are of them.
bool PS_TCL_Instance_Manager::has_room(std::string const& name, StrVec& errors) const {
  const std::lock_guard lock(mutex_);
  if (instances_.size() < kMostInstances || instances_.contains(name)) return true;
  errors.push_back("instance " + kdi::text::shown(name) + " is one too many: there are " +
                   std::to_string(kMostInstances));
  return false;
}

PS_TCL_Instance_Manager::Instance PS_TCL_Instance_Manager::createPSInstance(ParamMap const& context, StrVec& errors) {
  const auto name = name_of(context, errors);
  if (!name || !has_room(*name, errors)) return nullptr;
  const std::size_t before = errors.size();
  Instance made(processing_system::PSU_Interface::createInstanceNonStatic(context, errors));
  if (made == nullptr) {
    if (errors.size() == before) errors.emplace_back("instance could not be created");
    return nullptr;
  }
  const std::lock_guard lock(mutex_);
  const bool is_first = instances_.try_emplace(*name, Entry{value_of(context, kCore), made}).second;
  return is_first ? made : find_locked(*name, context, errors);
}

void PS_TCL_Instance_Manager::terminatePSInstance(ParamMap const& context, StrVec& errors) {
  const auto name = name_of(context, errors);
  if (!name) return;
  Instance ended;  // outlives the lock
  const std::lock_guard lock(mutex_);
  ended = find_locked(*name, context, errors);
  if (ended != nullptr) instances_.erase(*name);
}

}  // namespace zorvan_init::zorvan_kdi_tcltasks
