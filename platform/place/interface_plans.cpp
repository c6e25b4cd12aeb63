#include <algorithm>
#include <array>
#include <stdexcept>

#include "kdi/common/KdiFile.h"
#include "kdi/common/KdiText.h"
#include "kdi/place/host/InterfacePlans.h"
#include "kdi/planning/Diagnosis.h"
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

MemoryUse use_of(std::string const& word) {
  constexpr std::array<char const*, 4> kUses = {"soft_DDR4", "hard_DDR4", "hard_DDR5", "xphy_io"};
  return static_cast<MemoryUse>(choice_of("use", word, kUses));
}

planning::Wanted wanted_of(MemorySetup const& setup, planning::Layout const& layout) {
  planning::Wanted wanted;
  wanted.layout = &layout;
  wanted.interface = setup.interface_request();
  wanted.standards = setup.standards();
  wanted.rate_mbps = std::min(setup.rate_mbps(), setup.memory.rate_mbps);
  wanted.internal_reference = setup.internal_reference;
  wanted.banks = setup.banks;
  return wanted;
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

WhyNot why_not(device::Part const& part, std::string const& use, std::string const& settings) {
  return asked([&] {
    const MemorySetup setup = memory_setup(part, use_of(use), settings_of_dictionary("settings", settings));
    const auto layout = layout_of(part);
    WhyNot why;
    if (setup.hard != nullptr) {  // its pads are where they are: there is nothing to be changed
      try {
        const MemoryPlan plan(part, setup, {});
        why.is_possible = true;
      } catch (std::string const& fault) {
        why.obstacles.emplace_back("fixed-pads", fault);
        why.is_smallest = true;
      }
      return why;
    }
    const planning::Wanted wanted = wanted_of(setup, *layout);
    const planning::Diagnosis found = planning::diagnose(planning::Asked(wanted).request());
    why.is_possible = found.is_possible;
    why.is_smallest = found.is_smallest;
    for (planning::Obstacle const& one : found.obstacles) why.obstacles.emplace_back(one.rule, one.text);
    if (!found.is_possible)
      for (planning::NearPlan const& one : planning::nearest_plans(wanted))
        why.nearest.emplace_back(one.change, one.text);
    return why;
  });
}

}  // namespace kdi::place
