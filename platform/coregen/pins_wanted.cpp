// What is to be placed, as the options of a controller say.
#include "kdi/common/KdiNumber.h"
#include "kdi/common/KdiText.h"
#include "platform/coregen/pins.h"

namespace kdi::coregen {
namespace {

std::string option(OptionMap const& options, char const* key) {
  const auto at = options.find(key);
  return at == options.end() ? std::string() : at->second;
}

template <class Number>
Number number_of(OptionMap const& options, char const* key, Number unless) {
  const std::string word = option(options, key);
  if (word.empty()) return unless;
  const auto value = number::whole<Number>(word);
  if (!value || !(*value > 0)) throw std::string("option ") + key + " is " + text::shown(word) + ": a number above 0";
  return *value;
}

}  // namespace

PinsWanted pins_wanted(Controller::State const& state) {
  PinsWanted wanted;
  wanted.part = state.part;
  wanted.instance = "another controller";
  const std::string type = option(state.options, "-controllertype");
  wanted.interface.kind = planning::find_memory(type);
  if (wanted.interface.kind == nullptr) throw "memory type " + text::shown(type) + " is not known";
  const std::string name = option(state.options, "-memorypart");
  const auto part = wanted.interface.kind->part(name);
  if (!part) throw "memory part " + text::shown(name) + " of " + type + " is not known";
  wanted.interface.part = *part;
  wanted.interface.width = number_of(state.options, "-datawidth", part->width);
  wanted.interface.ranks = number_of(state.options, "-ranks", part->ranks);
  wanted.interface.slots = number_of(state.options, "-slots", 1);
  wanted.interface.data_mask = option(state.options, "-datamask") != "false";
  wanted.voltage = option(state.options, "-memoryvoltage");
  wanted.internal_reference = option(state.options, "-internalvref") == "true";
  wanted.period_ps = number_of(state.options, "-timeperiod", static_cast<double>(part->period_min_ps()));
  wanted.input_period_ps = number_of(state.options, "-inputclockperiod", 0.0);
  return wanted;
}

}  // namespace kdi::coregen
