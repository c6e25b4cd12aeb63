// What a parameter of a controller can be, and whether all that is told fits together.
#include <array>

#include "kdi/common/KdiNumber.h"
#include "kdi/common/KdiText.h"
#include "platform/coregen/instances.h"
#include "platform/coregen/state.h"

namespace kdi::coregen {
namespace {

constexpr char const* kParameter = "-parameter";

// A parameter by its option, with the dash or without, or by the name that it has in a design: C0.DDR4_TimePeriod.
Parameter const& parameter_of(std::string const& given) {
  std::string key = text::lowered(given);
  if (key.starts_with("c0.")) key.erase(0, key.find_last_of("._") + 1);
  if (!key.starts_with('-')) key.insert(0, "-");
  if (Parameter const* const found = find_parameter(key)) return *found;
  throw "no parameter of a memory controller is called " + text::shown(given) + "; the nearest is " +
      (nearest_parameter(key).key + 1);
}

std::vector<std::string> texts(Permitted const& permitted) {
  if (!permitted.is_range) return permitted.values;
  return {number::plain(permitted.min) + ":" + number::plain(permitted.max)};
}

MigEnabledRange about(Controller::State const& state, OptionMap const& options, Parameter const& parameter) {
  const Permitted permitted = parameter.permitted(resolve_before(state.surroundings(), options, parameter));
  return {permitted.is_open(), texts(permitted)};
}

// All of them: the findings, or the options are the controller's from now on.
MigEnabledRange check(Controller::State& state, OptionMap const& options) {
  const std::vector<std::string> findings = resolve(state.surroundings(), options).findings;
  if (findings.empty()) state.options = options;
  return {findings.empty(), findings};
}

}  // namespace

MigEnabledRange Manager::doCustomize(Model model, std::string const& instance, OptionMap const& given) {
  Controller* const controller = getIPInstance(model, instance);
  if (controller == nullptr) throw "there is no instance " + text::shown(instance);
  OptionMap asked = given;
  Parameter const* parameter = nullptr;
  if (const auto name = asked.find(kParameter); name != asked.end()) parameter = &parameter_of(name->second);
  keep_known(asked, std::array{kParameter});  // not under the lock: who hears of a warning may ask again
  asked.erase(kParameter);
  return controller->state().ask([&](Controller::State& state) {
    asked.insert(state.options.begin(), state.options.end());
    return parameter == nullptr ? check(state, asked) : about(state, asked, *parameter);
  });
}

}  // namespace kdi::coregen
