#include <array>
#include <iterator>
#include <utility>
#include <vector>

#include "kdi/common/KdiInstances.h"
#include "kdi/coregen/memory_v1.h"
#include "kdi/coregen/mig_v7_0.h"
#include "kdi/coregen/mig_v7_1.h"
#include "kdi/device/parts.h"
#include "platform/coregen/instances.h"
#include "platform/coregen/pins.h"
#include "platform/coregen/state.h"

namespace kdi::coregen {
namespace {

/// More than any design has, and few enough for the memory of a small machine.
constexpr std::size_t kMostInstances = 4096;

Instances<std::string, Controller>& instances_of(Model model) {
  using Of = Instances<std::string, Controller>;
  constexpr auto make = [] { return new Of(kMostInstances, [](Controller const&) { return false; }); };
  static std::array<Of*, 3> const all{make(), make(), make()};  // never destroyed
  return *all[static_cast<std::size_t>(model)];
}

std::shared_ptr<Controller> made(Model model, std::unique_ptr<Controller::State> state) {
  switch (model) {
    case Model::mig_v7_0:
      return std::make_shared<mig::mig_v7_0::HIPMigInstance>(std::move(state));
    case Model::mig_v7_1:
      return std::make_shared<mig::mig_v7_1::HIPMigInstance>(std::move(state));
    case Model::memory_v1:
      break;
  }
  return std::make_shared<memory::memory_v1::HIPMigInstance>(std::move(state));
}

device::Part const& part_of(std::string const& name) {
  device::Part const* const part = device::find_part(name);
  if (part == nullptr) throw device::unknown_part(name);
  return *part;
}

// Takes out what no load has, with a warning.
void keep_options_of_loads(OptionMap& options) {
  std::vector<char const*> others(std::begin(kSerialOptions), std::end(kSerialOptions));
  others.insert(others.end(), {kName, kPart});
  keep_known(options, others);
}

}  // namespace

void Manager::loadMigPkgData(Model model, OptionMap const& options) {
  std::string const& name = required(options, kName);
  OptionMap told = options;
  keep_options_of_loads(told);
  for (char const* own : {kName, kPart}) told.erase(own);
  auto state = std::make_unique<Controller::State>();
  for (char const* const key : kSerialOptions)
    if (auto option = told.extract(key)) state->serial_options.insert(std::move(option));
  state->part = &part_of(required(options, kPart));
  bool is_placed = told.contains("-memorypart");
  state->ask([&](Controller::State& made) {
    const Setup setup = required_setup(made.surroundings(), told, {});  // what does not fit together makes no instance
    is_placed = is_placed && !setup.controller->hard;
    made.options = std::move(told);
  });
  state->seat = std::make_unique<planning::Seat>(*state->part);
  state->serial_seat = std::make_unique<planning::Seat>(*state->part);
  // The one that is replaced makes room first; a controller whose memory is told is placed now, in order of loads. No
  // refusal comes any more: the one that made room would stay, on pads that others may have.
  if (Controller* const before = instances_of(model).find(name)) before->state().leave();
  if (is_placed) pins_of(*state);
  if (!instances_of(model).put(name, made(model, std::move(state))))
    throw "instance " + text::shown(name) + " is one too many: there are " + std::to_string(kMostInstances);
}

void Manager::releasePkgData(Model model, OptionMap const& options) {
  OptionMap known = options;
  keep_options_of_loads(known);
  // An instance may be lent still: its pads are free from now on.
  if (std::string const* const name = given(options, kName)) {
    if (Controller* const released = instances_of(model).find(*name)) released->state().leave();
    instances_of(model).erase(*name);
  } else if (known.size() == options.size()) {  // a name that is misspelt is not the end of all
    instances_of(model).clear([](Controller& released) { released.state().leave(); });
  }
}

void Manager::updateInstanceName(Model model, OptionMap const& options) {
  std::string const& from = required(options, kName);
  std::string const& to = required(options, "-new_instance_name");
  using Renamed = Instances<std::string, Controller>::Renamed;
  switch (instances_of(model).rename_to_free(from, to)) {
    case Renamed::done:
      return;
    case Renamed::no_such_key:
      throw "there is no instance " + text::shown(from);
    case Renamed::taken:
      throw "instance " + text::shown(from) + " cannot become " + text::shown(to) + ": there is one of that name";
  }
}

Controller* Manager::getIPInstance(Model model, std::string const& name) { return instances_of(model).find(name); }

Controller* Manager::getIPInstance(Model model, OptionMap const& options) {
  std::string const* const name = given(options, kName);
  return name == nullptr ? nullptr : getIPInstance(model, *name);
}

}  // namespace kdi::coregen
