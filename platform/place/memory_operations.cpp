// What is asked of interfaces to memories: controllers in silicon, DDR4 of logic, and the physical layer alone.
#include <algorithm>

#include "kdi/common/KdiFile.h"
#include "kdi/common/KdiText.h"
#include "platform/place/bus_plan.h"
#include "platform/place/memory_file.h"
#include "platform/place/memory_plan.h"
#include "platform/place/words.h"

namespace kelvane_io::kelvane_io_v1 {

using I = HIPKelvaneIoInstance;

namespace {

using namespace kdi::place;

constexpr char const* kKinds[] = {"soft", "hard4", "hard5", "phy"};  // of plans, by use

// The plain physical layer has buses as well, where any are told.
bool has_buses(MemoryUse use, Asked const& what) { return use == MemoryUse::phy && !what.settings.buses().empty(); }

// Plans, keeps what came out for the operations that ask for the last plan, and answers from it.
template <class Answer>
auto plan(I::State& state, MemoryUse use, Asked const& what, Answer answer) {
  if (has_buses(use, what)) return plan_of_buses(state, SiteGroup::nibble, what, answer);
  return plan_beside_others(
      state, kKinds[static_cast<int>(use)], what,
      [&](Asked const& asked, std::vector<kdi::planning::TakenPad> const& taken) {
        return memory_plan(*state.part, use, asked.settings, asked.locations, taken);
      },
      answer);
}

constexpr auto kLocations = [](auto const& made) { return locations(made); };
constexpr auto kGrouping = [](auto const& made) { return grouping(made); };
constexpr auto kStrobes = [](auto const& made) { return strobes(made); };
constexpr auto kParameters = [](auto const& made) { return parameters(made); };
constexpr auto kConstraints = [](auto const& made) { return constraints(made); };
constexpr auto kPinData = [](auto const& made) { return pin_data(made); };
constexpr auto kBanks = [](auto const& made) { return banks(made); };
constexpr auto kClockInMaster = [](auto const& made) { return clock_in_master(made); };

template <class Answer>
auto answer(I::State& state, MemoryUse use, ParamMap const& params, Answer ask) {
  state.remember(params);
  return state.ask([&](I::State& self) { return plan(self, use, asked(self, params), ask); });
}
template <class Answer>
auto answer_by_options(I::State& state, OptionMap const& options, Answer ask) {
  return state.ask(
      [&](I::State& self) { return plan(self, MemoryUse::soft_ddr4, asked_by_options(self, options), ask); });
}

OptionMap configuration(I::State& state, MemoryUse use, ParamMap const& params) {
  state.remember(params);
  return state.ask([&](I::State& self) {
    const Asked what = asked(self, params);
    const MemorySetup setup = memory_setup(*self.part, use, what.settings);
    try {
      const Asked again = standing(self, kKinds[static_cast<int>(use)], what);
      return configuration_of(
          memory_plan(*self.part, use, again.settings, again.locations, self.seat->others().taken)->setup());
    } catch (std::string const&) {
      return configuration_of(setup);  // what others have on its pads is no matter of its widths and rates
    }
  });
}

// ------------------------------------------------------------------------------------------------------ buses

// By the strobes of buses the nibbles that they clock, in the words of the outside. Of n strobes and m data bits of a
// bus each strobe clocks the n-th part.
OptionMap strobes_of_buses(I::State const& state, ParamMap const& params) {
  const Buses buses = read_buses("BUS_CONFIG_DATA", value_of(params, "BUS_CONFIG_DATA"));
  const auto outside = read_translation("TRANSLATED_PORTS", value_of(params, "TRANSLATED_PORTS"));
  const std::shared_ptr<kdi::planning::Layout const> layout = layout_of(*state.part);
  const PortPads pads = pads_of(read_locations("PORT_LOCS", value_of(params, "PORT_LOCS")), *layout, "PORT_LOCS");
  const std::vector<BusPort> ports = ports_of(buses);
  const auto name_of = [&](BusPort const& port) {
    const auto name = outside.find(port.name);
    return name == outside.end() ? port.name : name->second;
  };
  const auto pad_of = [&](BusPort const& port) {
    const std::string name = name_of(port);
    const auto pad = pads.find(name);
    if (pad == pads.end()) throw "PORT_LOCS: " + name + " has no place";
    return pad->second;
  };
  OptionMap map;
  for (BusPort const& strobe : ports) {
    Bus const& of = buses[static_cast<std::size_t>(strobe.bus)];
    if (of.role == BusRole::data || strobe.negative) continue;
    const int from = pad_of(strobe);
    std::vector<int> clocked;
    for (BusPort const& port : ports) {
      Bus const& bus = buses[static_cast<std::size_t>(port.bus)];
      if (bus.strobe != of.name || port.index * of.width / bus.width != strobe.index) continue;
      clocked.push_back(pad_of(port));
      if (layout->bank_of_pad(clocked.back()) != layout->bank_of_pad(from))
        throw "strobe-reach: " + name_of(port) + " is in another bank than " + name_of(strobe);
    }
    if (!clocked.empty()) map[name_of(strobe)] = kdi::text::joined(nibbles_by_hops(*layout, from, clocked), " ");
  }
  return map;
}

// ------------------------------------------------------------------------------------------------------ memory files

std::string inside(std::string const& directory, std::string const& name) {
  if (directory.empty()) return name;
  return directory + (directory.ends_with('/') ? "" : "/") + name;
}

// The image of an ELF file in the directory of software, unless the name has a way.
ProgramImage image_of(ParamMap const& params) {
  std::string const& name = value_of(params, "ELF_NAME");
  if (name.empty()) throw std::string("ELF_NAME: there is none");
  return program_image(name.find('/') == std::string::npos ? inside(value_of(params, "SW_DIR_PATH"), name) : name);
}

std::string write_memory_file(I::State& state, ParamMap const& params, bool with_image) {
  state.remember(params);
  return state.ask([&](I::State const& self) {
    const std::string name = word_of("IP_NAME", value_of(params, "IP_NAME"));
    if (!self.last_plan) throw std::string("no plan of the interface has been made yet");
    LastPlan const& last = *self.last_plan;
    if (!last.interface.empty() && last.interface != name)
      throw "IP_NAME: the last plan is of " + kdi::text::shown(last.interface);
    if (value_of(params, "MEM_DIR_PATH").empty()) throw std::string("MEM_DIR_PATH: there is none");
    MemoryFile file{
        name, read_dictionary(last.settings.written(), "settings"), Pairs(last.ports.begin(), last.ports.end()), {}};
    if (with_image) file.image = image_of(params);
    std::string path = inside(value_of(params, "MEM_DIR_PATH"), name + ".mem");
    kdi::write_file(path, written(file));
    return path;
  });
}

}  // namespace

OptionMap I::soft_DDR4_defaultIOPlanning(OptionMap const& options) {
  return answer_by_options(*state_, options, kLocations);
}
PinMap I::soft_DDR4_nibbleGrouping(OptionMap const& options) { return answer_by_options(*state_, options, kGrouping); }
OptionMap I::soft_DDR4_generateXDCMap(ParamMap const& params) {
  return answer(*state_, MemoryUse::soft_ddr4, params, kConstraints);
}
OptionMap I::soft_DDR4_getStrobeToDataNibbles(ParamMap const& params) {
  return answer(*state_, MemoryUse::soft_ddr4, params, kStrobes);
}
std::string I::soft_DDR4_generateMemFile(ParamMap const& params) { return write_memory_file(*state_, params, false); }

OptionMap I::hard_DDR4_defaultIOPlanning(ParamMap const& params) {
  return answer(*state_, MemoryUse::hard_ddr4, params, kLocations);
}
PinMap I::hard_DDR4_nibbleGrouping(ParamMap const& params) {
  return answer(*state_, MemoryUse::hard_ddr4, params, kGrouping);
}
OptionMap I::hard_DDR4_generateMapParams(ParamMap const& params) {
  return answer(*state_, MemoryUse::hard_ddr4, params, kParameters);
}
OptionMap I::hard_DDR4_getStrobeToDataNibbles(ParamMap const& params) {
  return answer(*state_, MemoryUse::hard_ddr4, params, kStrobes);
}
OptionMap I::hard_DDR4_getConfigurationInfo(ParamMap const& params) {
  return configuration(*state_, MemoryUse::hard_ddr4, params);
}
std::string I::hard_DDR4_generateMemFile(ParamMap const& params) { return write_memory_file(*state_, params, false); }

OptionMap I::hard_DDR5_defaultIOPlanning(ParamMap const& params) {
  return answer(*state_, MemoryUse::hard_ddr5, params, kLocations);
}
PinMap I::hard_DDR5_nibbleGrouping(ParamMap const& params) {
  return answer(*state_, MemoryUse::hard_ddr5, params, kGrouping);
}
OptionMap I::hard_DDR5_generateMapParams(ParamMap const& params) {
  return answer(*state_, MemoryUse::hard_ddr5, params, kParameters);
}
OptionMap I::hard_DDR5_getStrobeToDataNibbles(ParamMap const& params) {
  return answer(*state_, MemoryUse::hard_ddr5, params, kStrobes);
}
OptionMap I::hard_DDR5_getConfigurationInfo(ParamMap const& params) {
  return configuration(*state_, MemoryUse::hard_ddr5, params);
}
OptionMap I::hard_DDR5_getPinDataDict(ParamMap const& params) {
  return answer(*state_, MemoryUse::hard_ddr5, params, kPinData);
}
std::string I::hard_DDR5_generateMemFile(ParamMap const& params) { return write_memory_file(*state_, params, true); }

OptionMap I::hardmcDqsVsDataNibbles(ParamMap const& params) {
  state_->remember(params);
  return state_->ask([&](State const& self) { return strobes_of_buses(self, params); });
}

std::string I::IntfInfoDict(ParamMap const& params) {
  state_->remember(params);
  return state_->ask([&](State const& self) {
    Settings settings;
    settings.take("DDRMC5_CONTROLLERTYPE", "MEMORY_TYPE", value_of(params, "DDRMC5_CONTROLLERTYPE"));
    settings.fill_from(self.settings);
    return write_interfaces(interfaces_of(memory_setup(*self.part, MemoryUse::hard_ddr5, settings)));
  });
}

OptionMap I::xphy_io_defaultIOPlanning(ParamMap const& params) {
  return answer(*state_, MemoryUse::phy, params, kLocations);
}
OptionMap I::xphy_io_getStrobeToDataNibbles(ParamMap const& params) {
  return answer(*state_, MemoryUse::phy, params, kStrobes);
}
OptionMap I::xphy_io_generateXDCMap(ParamMap const& params) {
  return answer(*state_, MemoryUse::phy, params, kConstraints);
}
OptionMap I::xphyio_getNumBanks(ParamMap const& params) { return answer(*state_, MemoryUse::phy, params, kBanks); }
OptionMap I::xphy_io_isSysClkInMasterBank(ParamMap const& params) {
  return answer(*state_, MemoryUse::phy, params, kClockInMaster);
}

}  // namespace kelvane_io::kelvane_io_v1
