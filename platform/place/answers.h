// What operations are asked, and what they say of a plan of any kind.
#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "kdi/common/KdiText.h"
#include "platform/place/parameters.h"
#include "platform/place/state.h"

namespace kdi::place {

/// Of a key that is not there an empty text.
std::string const& value_of(ParamMap const& params, char const* key);

/// What an operation is asked, from its words and from what was told when the instance was loaded.
struct Asked {
  std::string interface;
  Settings settings;
  Locations locations;
  std::string key = "PORT_LOCS";  ///< of the locations, for messages
};
using State = kelvane_io::kelvane_io_v1::HIPKelvaneIoInstance::State;
Asked asked(State const& state, ParamMap const& params);
Asked asked_by_options(State const& state, OptionMap const& options);
/// Of a map of maps: its single values and what is in `SETTINGS` are settings; it has buses under their roles, and
/// `PORT_LOCS`.
Asked asked_by_maps(State const& state, MultiMap const& map);

OptionMap strobe_map(std::map<std::string, std::vector<std::string>> const& strobes);
/// With commas between them.
std::string numbers(std::vector<int> const& values);

// Answers of a plan.
template <class Plan>
OptionMap locations(Plan const& made) {
  return write_locations(made.port_pads(), made.layout(), [&](std::string const& port) { return made.standard(port); });
}
template <class Plan>
PinMap grouping(Plan const& made) {
  return write_grouping(made.port_pads(), made.layout());
}
template <class Plan>
OptionMap strobes(Plan const& made) {
  return strobe_map(made.strobes());
}
template <class Plan>
OptionMap parameters(Plan const& made) {
  return write_parameters(made.words(), made.layout());
}
template <class Plan>
OptionMap constraints(Plan const& made) {
  return made.constraints();
}
template <class Plan>
OptionMap pin_data(Plan const& made) {
  OptionMap pins;
  for (auto const& [port, info] : made.pin_info()) pins[port] = written(info);
  return pins;
}
template <class Plan>
OptionMap banks(Plan const& made) {
  const std::vector<int> banks = made.banks();
  return {{"NUM_BANKS", std::to_string(banks.size())}, {"BANKS", numbers(banks)}};
}
template <class Plan>
OptionMap clock_in_master(Plan const& made) {
  const int clock = made.system_clock_bank(), master = made.master_bank();
  return {{"RESULT", clock == master ? "true" : "false"},
          {"SYS_CLK_BANK", clock < 0 ? "" : std::to_string(clock)},
          {"MASTER_BANK", std::to_string(master)}};
}

/// What is asked again while its plan stands: the ports are where that has them, whoever has gone meanwhile.
Asked standing(State const& state, std::string const& kind, Asked what);

/// Plans by `make(what, pads of others)`, which gives a pointer, keeps what came out as the instance's, with its pads,
/// and answers from it. Another thread may take pads of the device meanwhile; then it looks again.
template <class Make, class Answer>
auto plan_beside_others(State& state, std::string const& kind, Asked const& what, Make make, Answer answer) {
  for (;;) {
    planning::Occupancy::Seen seen = state.seat->others();
    const auto made = make(standing(state, kind, what), std::move(seen.taken));
    if (!state.seat->put(made->claims(), seen.version)) continue;
    state.last_plan = LastPlan{what.interface, kind, what.settings, what.locations, locations(*made)};
    return answer(*made);
  }
}

}  // namespace kdi::place
