#include <algorithm>
#include <array>
#include <stdexcept>

#include "kdi/common/KdiFile.h"
#include "kdi/common/KdiText.h"
#include "kdi/place/host/InterfacePlans.h"
#include "kdi/planning/BusDiagnosis.h"
#include "kdi/planning/Diagnosis.h"
#include "platform/place/bus_plan.h"
#include "platform/place/memory_file.h"
#include "platform/place/memory_plan.h"
#include "platform/place/words.h"

namespace kdi::place {
namespace {

template <class Body>
auto asked(Body body) {
  try {
    return body();
  } catch (std::runtime_error const& fault) {
    throw std::string(fault.what());
  }
}

OptionMap map_of(std::string const& key, std::string const& dictionary) {
  const Pairs pairs = read_dictionary(dictionary, key);
  return {pairs.begin(), pairs.end()};
}

// The first four are of memories, then come two each of nibbles and of octads.
constexpr std::array<char const*, 8> kUses = {"soft_DDR4", "hard_DDR4", "hard_DDR5",   "xphy_io",
                                              "adcDac",    "advwiz",    "x5io_wizard", "x5phio"};
constexpr int kMemoryUses = 4, kFirstOfOctads = 6;

// The pads that others have: all but those of the instance that is asked about.
std::vector<planning::TakenPad> taken_by_others(device::Part const& part, std::string const& instance) {
  if (instance.empty()) return planning::Seat(part).others().taken;
  auto* const own = kelvane_io::kelvane_io_v1::HIPKelvaneIPMgr::getIPInstance(instance);
  if (own == nullptr) throw "there is no instance " + text::shown(instance);
  if (own->state().part != &part)
    throw "instance " + text::shown(instance) + " is of the part " + own->state().part->name;
  return own->state().seat->others().taken;
}

planning::Wanted wanted_of(device::Part const& part, MemorySetup const& setup, planning::Layout const& layout,
                           PortPads const& asked) {
  planning::Wanted wanted;
  wanted.layout = &layout;
  wanted.interface = setup.interface_request();
  wanted.standards = setup.standards();
  wanted.rate_mbps = std::min(setup.rate_mbps(), setup.memory.rate_mbps);
  wanted.grade = part.speed->name;
  wanted.internal_reference = setup.internal_reference;
  wanted.banks = setup.banks;
  wanted.pad_of_signal = asked;
  return wanted;
}

template <class Diagnosis, class Near>
void tell(WhyNot& why, Diagnosis const& found, std::vector<Near> const& nearest) {
  why.is_possible = found.is_possible;
  why.is_smallest = found.is_smallest;
  for (planning::Obstacle const& one : found.obstacles) why.obstacles.emplace_back(one.rule, one.text);
  for (Near const& one : nearest) why.nearest.emplace_back(one.change, one.text);
}

WhyNot why_no_buses(device::Part const& part, SiteGroup group, Asked const& what,
                    std::vector<planning::TakenPad> taken) {
  const BusSetup setup = bus_setup(part, group, what, std::move(taken));
  const planning::BusDiagnosis found = planning::diagnose_buses(setup.request, setup.other_banks);
  WhyNot why;
  tell(why, found, found.nearest);
  return why;
}

WhyNot why_no_memory(device::Part const& part, MemoryUse use, Asked const& what,
                     std::vector<planning::TakenPad> taken) {
  const MemorySetup setup = memory_setup(part, use, what.settings);
  WhyNot why;
  if (setup.hard != nullptr) {  // its pads are where they are: there is nothing to be changed
    try {
      memory_plan(part, use, what.settings, what.locations, taken);
      why.is_possible = true;
    } catch (std::string const& fault) {
      why.obstacles.emplace_back("fixed-pads", fault);
      why.is_smallest = true;
    }
    return why;
  }
  const auto layout = layout_of(part);
  planning::Wanted wanted = wanted_of(part, setup, *layout, pads_of(what.locations, *layout, what.key));
  wanted.taken = std::move(taken);
  const planning::Asked asked(wanted);
  for (auto const& [port, place] : what.locations)
    if (asked.interface().signal(port) < 0) throw what.key + ": there is no port " + text::shown(port);
  const planning::Diagnosis found = planning::diagnose(asked.request());
  tell(why, found, found.is_possible ? std::vector<planning::NearPlan>() : planning::nearest_plans(wanted));
  return why;
}

}  // namespace

PlanOnPads read_plan(std::string const& ports, std::string const& strobes, planning::Layout const& layout) {
  return {pads_of(read_locations("ports", ports), layout, "ports"),
          read_strobe_map("strobes", map_of("strobes", strobes))};
}

PlanOnPads read_parameter_plan(std::string const& parameters, planning::Layout const& layout) {
  PlanWords words = read_parameters(map_of("parameters", parameters), layout, "parameters");
  return {std::move(words.pads), std::move(words.strobes)};
}

std::pair<std::string, std::string> written(PlanOnPads const& plan, planning::Layout const& layout) {
  const OptionMap ports = write_locations(plan.pads, layout, [](std::string const&) { return std::string(); });
  Pairs strobes;
  for (auto const& [strobe, nibbles] : plan.strobes) strobes.emplace_back(strobe, text::joined(nibbles, " "));
  return {write_dictionary(Pairs(ports.begin(), ports.end())), write_dictionary(strobes)};
}

std::string nibble_of_pad(planning::Layout const& layout, int pad) { return nibble_name(layout, pad); }

MemoryFileContent read_memory_file_content(std::string const& path) {
  return asked([&] {
    const MemoryFile file = read_memory_file(read_file(path), path);
    MemoryFileContent content{
        file.interface, write_dictionary(file.settings), write_dictionary(file.ports), file.image.has_value(), 0, {}};
    if (file.image) {
      content.entry = file.image->entry;
      for (Segment const& one : file.image->segments)
        content.parts.push_back({one.address, one.bytes.size(), one.size});
    }
    return content;
  });
}

WhyNot why_not(device::Part const& part, WhyQuestion const& question) {
  return asked([&] {
    const int use = static_cast<int>(choice_of("use", question.use, kUses));
    const place::Asked what{
        {}, settings_of_dictionary("settings", question.settings), read_locations("ports", question.ports), "ports"};
    std::vector<planning::TakenPad> taken = taken_by_others(part, question.instance);
    // The physical layer alone has buses where any are told.
    const bool has_buses =
        use >= kMemoryUses || (static_cast<MemoryUse>(use) == MemoryUse::phy && !what.settings.buses().empty());
    if (!has_buses) return why_no_memory(part, static_cast<MemoryUse>(use), what, std::move(taken));
    return why_no_buses(part, use < kFirstOfOctads ? SiteGroup::nibble : SiteGroup::octad, what, std::move(taken));
  });
}

}  // namespace kdi::place
