// What is asked of converters, the wizards of buses, and the physical layer of octads.
#include <set>

#include "kdi/common/KdiNumber.h"
#include "platform/place/bus_plan.h"
#include "platform/place/memory_plan.h"
#include "platform/place/words.h"

namespace kelvane_io::kelvane_io_v1 {

using I = HIPKelvaneIoInstance;

namespace {

using namespace kdi::place;

template <class Answer>
auto by_words(I::State& state, SiteGroup group, ParamMap const& params, Answer answer) {
  state.remember(params);
  return state.ask([&](I::State& self) { return plan_of_buses(self, group, asked(self, params), answer); });
}
template <class Answer>
auto by_options(I::State& state, SiteGroup group, OptionMap const& options, Answer answer) {
  return state.ask([&](I::State& self) { return plan_of_buses(self, group, asked_by_options(self, options), answer); });
}
template <class Answer>
auto by_maps(I::State& state, SiteGroup group, MultiMap const& map, Answer answer) {
  return state.ask([&](I::State& self) { return plan_of_buses(self, group, asked_by_maps(self, map), answer); });
}

LastPlan const& last_plan(I::State const& state) {
  if (!state.last_plan) throw std::string("no plan of the interface has been made yet");
  return *state.last_plan;
}

// Banks of the last plan that own pins; the master of a triplet that has none is a shadow.
int count_of_banks(I::State& state) {
  return state.ask([](I::State const& self) {
    std::set<int> banks;
    for (auto const& [port, place] : read_locations("plan", last_plan(self).ports)) banks.insert(place.bank);
    return static_cast<int>(banks.size());
  });
}

// Of pins as getPinDataDict tells them: those of the interface that was planned last.
OptionMap strobes_of_pins(I::State const& state, ParamMap const& pin_info) {
  Asked what;
  what.settings = last_plan(state).settings;
  what.key = "PIN_INFO";
  const auto info = read_pin_info(what.key, pin_info);
  const std::shared_ptr<kdi::planning::Layout const> layout = layout_of(*state.part);
  for (auto const& [port, pad] : pads_of(info, *layout, what.key))
    what.locations[port].word = layout->pads[static_cast<std::size_t>(pad)].name;
  const BusPlan made(*state.part, SiteGroup::octad, what, state.seat->others().taken);
  for (auto const& [port, told] : made.pin_info())
    if (const auto given = info.find(port); given != info.end() && !(given->second == told))
      throw what.key + ": " + port + ": it is " + written(told) + " and not " + written(given->second);
  return strobes(made);
}

constexpr auto kLocations = [](BusPlan const& made) { return locations(made); };
constexpr auto kGrouping = [](BusPlan const& made) { return grouping(made); };
constexpr auto kStrobes = [](BusPlan const& made) { return strobes(made); };
constexpr auto kParameters = [](BusPlan const& made) { return parameters(made); };
constexpr auto kPinData = [](BusPlan const& made) { return pin_data(made); };

}  // namespace

// ------------------------------------------------------------------------------------------------------ converters

OptionMap I::xphy_io_defaultIOPlanning_adcDac(ParamMap const& params) {
  return by_words(*state_, SiteGroup::nibble, params, kLocations);
}

OptionMap I::xphy_io_generateXDCMap_adcDac(ParamMap const& params) {
  return by_words(*state_, SiteGroup::nibble, params, [&](BusPlan const& made) {
    std::string const& told = value_of(params, "NUM_BANKS");
    const std::size_t banks = made.banks().size();
    constexpr int kMost = 1024;
    if (!told.empty() && static_cast<std::size_t>(whole_of("NUM_BANKS", told, 0, kMost)) != banks)
      throw "NUM_BANKS: the plan takes " + std::to_string(banks) + " banks and not " + told;
    return constraints(made);
  });
}

// -------------------------------------------------------------------------------------------------- advanced wizard

OptionMap I::advwiz_defaultIOPlanning(OptionMap const& options) {
  return by_options(*state_, SiteGroup::nibble, options, kLocations);
}
PinMap I::advwiz_nibbleGrouping(OptionMap const& options) {
  return by_options(*state_, SiteGroup::nibble, options, kGrouping);
}
OptionMap I::advwiz_getDqsVsDataNibbles(OptionMap const& options) {
  return by_options(*state_, SiteGroup::nibble, options, kStrobes);
}
OptionMap I::advwiz_generateMapData(MultiMap const& map) {
  return by_maps(*state_, SiteGroup::nibble, map, kParameters);
}
int I::advwiz_getNonShadowBanksCount(OptionMap const&) { return count_of_banks(*state_); }

// -------------------------------------------------------------------------------------------------- wizard of octads

OptionMap I::x5io_wizard_defaultIOPlanning(OptionMap const& options) {
  return by_options(*state_, SiteGroup::octad, options, kLocations);
}
PinMap I::x5io_wizard_octadGrouping(OptionMap const& options) {
  return by_options(*state_, SiteGroup::octad, options, kGrouping);
}
OptionMap I::x5io_wizard_getStrobetoDataOctads(OptionMap const& options) {
  return by_options(*state_, SiteGroup::octad, options, kStrobes);
}
OptionMap I::x5io_wizard_getStrobeToDataOctads(ParamMap const& pin_info) {
  return state_->ask([&](State const& self) { return strobes_of_pins(self, pin_info); });
}
OptionMap I::x5io_wizard_generateMapData(MultiMap const& map) {
  return by_maps(*state_, SiteGroup::octad, map, kParameters);
}
OptionMap I::x5io_wizard_getPinDataDict(MultiMap const& map) {
  return by_maps(*state_, SiteGroup::octad, map, kPinData);
}
// The command glues its own `interface {...}` on, so the key is another one here, and a blank stands behind it.
std::string I::x5io_wizard_IntfInfoDict(OptionMap const& options) {
  return state_->ask([&](State const& self) {
    const std::vector<CoreInterface> buses = interfaces_of_buses(asked_by_options(self, options).settings);
    if (buses.empty()) return std::string();
    const Pairs whole = read_dictionary(write_interfaces(buses), "interface");
    return write_dictionary({{"buses", whole.at(0).second}}) + " ";
  });
}
int I::x5io_wizard_getNonShadowBanksCount(OptionMap const&) { return count_of_banks(*state_); }

// ------------------------------------------------------------------------------------------ physical layer of octads

OptionMap I::x5phio_defaultIOPlanning(ParamMap const& params) {
  return by_words(*state_, SiteGroup::octad, params, kLocations);
}
OptionMap I::x5phio_getStrobeToDataNibbles(ParamMap const& params) {
  return by_words(*state_, SiteGroup::octad, params, kStrobes);
}
OptionMap I::x5phio_getPinDataDict(ParamMap const& params) {
  return by_words(*state_, SiteGroup::octad, params, kPinData);
}

// Of a type of memory its ports; without one those of the buses that the load has told.
std::string I::x5phio_IntfInfoDict(ParamMap const& params) {
  state_->remember(params);
  return state_->ask([&](State const& self) {
    std::string const& type = value_of(params, "CONTROLLERTYPE");
    if (type.empty()) return write_interfaces(interfaces_of_buses(self.settings));
    Settings settings;
    settings.take("CONTROLLERTYPE", "MEMORY_TYPE", type);
    settings.fill_from(self.settings);
    return write_interfaces(interfaces_of(memory_setup(*self.part, MemoryUse::phy, settings)));
  });
}

}  // namespace kelvane_io::kelvane_io_v1
