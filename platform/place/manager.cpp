#include <utility>

#include "kdi/common/KdiInstances.h"
#include "kdi/common/KdiText.h"
#include "kdi/device/parts.h"
#include "platform/place/remove_directory.h"
#include "platform/place/state.h"

namespace kelvane_io::kelvane_io_v1 {
namespace {

/// More than any design has, and few enough for the memory of a small machine.
constexpr std::size_t kMostInstances = 4096;
constexpr std::size_t kMostDirectories = 64;

using Interfaces = kdi::Instances<std::string, HIPKelvaneIoInstance>;

Interfaces& interfaces() {
  static Interfaces* const all =
      new Interfaces(kMostInstances, [](HIPKelvaneIoInstance const&) { return false; });  // never destroyed
  return *all;
}

constexpr char const* kName = "-instance_name";
constexpr char const* kPart = "-part";
constexpr char const* kOwn[] = {kName, kPart};  // of a load, beside settings

std::string const& required(OptionMap const& options, char const* key) {
  const auto option = options.find(key);
  if (option == options.end() || option->second.empty()) throw std::string("option ") + key + " is missing or empty";
  return option->second;
}

}  // namespace

void HIPKelvaneIoInstance::State::remember(ParamMap const& params) {
  const std::lock_guard lock(mutex);
  for (char const* const key : {"SW_DIR_PATH", "MEM_DIR_PATH"}) {
    const auto given = params.find(key);
    if (given == params.end()) continue;
    const std::string directory = kdi::place::real_directory(given->second);
    if (directory.empty() || directories.contains(directory)) continue;
    if (directories.size() == kMostDirectories) throw std::string("an interface has at most 64 directories");
    directories.insert(directory);
  }
}

HIPKelvaneIoInstance::HIPKelvaneIoInstance(std::unique_ptr<State> state) : state_(std::move(state)) {}
HIPKelvaneIoInstance::~HIPKelvaneIoInstance() = default;

bool HIPKelvaneIoInstance::removeDir(std::string const& directory) {
  const std::lock_guard lock(state_->mutex);
  return kdi::place::remove_directory(directory, state_->directories, kMarkerFile);
}

void HIPKelvaneIPMgr::loadMigPkgData(OptionMap const& options) {
  std::string const& name = required(options, kName);
  std::string const& part = required(options, kPart);
  auto state = std::make_unique<HIPKelvaneIoInstance::State>();
  state->part = kdi::device::find_part(part);
  if (state->part == nullptr) throw kdi::device::unknown_part(part);
  state->settings = kdi::place::settings_of_options(options, kOwn);
  state->seat = std::make_unique<kdi::planning::Seat>(*state->part);
  if (HIPKelvaneIoInstance* const before = interfaces().find(name)) before->state().seat->leave();
  if (!interfaces().put(name, std::make_shared<HIPKelvaneIoInstance>(std::move(state))))
    throw "instance " + kdi::text::shown(name) + " is one too many: there are " + std::to_string(kMostInstances);
}

void HIPKelvaneIPMgr::releasePkgData(OptionMap const& options) {
  const bool are_known = kdi::place::has_known_options(options, kOwn);
  // An instance may be lent still: its pads are free from now on.
  if (const auto name = options.find(kName); name != options.end()) {
    if (HIPKelvaneIoInstance* const released = interfaces().find(name->second)) released->state().seat->leave();
    interfaces().erase(name->second);
  } else if (are_known) {  // a name that is misspelt is not the end of all
    interfaces().clear([](HIPKelvaneIoInstance& released) { released.state().seat->leave(); });
  }
}

HIPKelvaneIoInstance* HIPKelvaneIPMgr::getIPInstance(std::string name) { return interfaces().find(name); }

}  // namespace kelvane_io::kelvane_io_v1
