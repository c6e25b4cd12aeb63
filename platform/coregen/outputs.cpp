// What tools read of a controller's pins: constraints, ports and maps. All of it follows from the plan, and the plan
// from it.
#include <algorithm>
#include <cmath>
#include <iterator>
#include <map>
#include <set>
#include <string_view>

#include "kdi/common/KdiNumber.h"
#include "kdi/common/KdiText.h"
#include "kdi/coregen/Mig.h"
#include "kdi/coregen/memory_v1.h"
#include "kdi/planning/Constraints.h"
#include "platform/coregen/pins.h"

namespace kdi::coregen {
namespace {

using planning::IoStandard;
using planning::Signal;

StrList append(StrList first, StrList second) {
  first.insert(first.end(), std::make_move_iterator(second.begin()), std::make_move_iterator(second.end()));
  return first;
}

enum class Section { all, pins, clocks, standards };

Section section_of(std::string const& word) {
  constexpr char const* kWords[] = {"all", "pins", "clocks", "standards"};
  for (std::size_t i = 0; i < std::size(kWords); ++i)
    if (word == kWords[i]) return static_cast<Section>(i);
  throw "section " + text::shown(word) + ": all, pins, clocks or standards";
}

bool truth_of(std::string const& word) {
  if (word != "true" && word != "false") throw "internal Vref " + text::shown(word) + ": true or false";
  return word == "true";
}

// A component's name stands in commands as it is: what would end a word there, or be carried out, is no part of one.
void check_component(std::string const& name) {
  constexpr std::string_view kActive = " \t\n\v\f\r\"$;[\\]{}";
  if (name.find_first_of(kActive) != std::string::npos)
    throw "component " + text::shown(name) + ": a name without blanks, quotes, brackets, braces, \\, $ and ;";
}

planning::PlacedSignals placed(PinPlan const& plan) {
  return {plan.layout(), plan.interface(), plan.pads(), plan.standards()};
}

StrList clock_lines(PinPlan const& plan, std::string const& component, double input_period_ps) {
  std::vector<int> const& clock = plan.interface().system_clock;
  if (clock.empty() || !(input_period_ps > 0)) return {};
  std::string const& port = plan.interface().signals[static_cast<std::size_t>(clock[0])].name;
  return {"create_clock -name " + component + "_" + port + " -period " + number::plain(input_period_ps / 1000) +
          " [get_ports {" + port + "}]"};
}

StrList constraints(PinPlan const& plan, std::string const& component, Section section, bool internal_reference) {
  check_component(component);
  StrList lines;
  if (section == Section::all || section == Section::pins)
    lines = append(std::move(lines), planning::pin_constraints(placed(plan)));
  if (section == Section::all || section == Section::clocks)
    lines = append(std::move(lines), clock_lines(plan, component, plan.wanted().input_period_ps));
  if (section == Section::all || section == Section::standards) {
    lines = append(std::move(lines), planning::standard_constraints(placed(plan)));
    if (internal_reference) lines = append(std::move(lines), planning::reference_constraints(placed(plan)));
  }
  return lines;
}

// A value of a standard for each signal that `has` says of, as `port value`.
template <class Has>
StrList port_values(PinPlan const& plan, std::vector<std::string> IoStandard::*values, Has has) {
  StrList lines;
  for (std::size_t i = 0; i < plan.interface().signals.size(); ++i) {
    IoStandard const* const standard = plan.standard_at(static_cast<int>(i));
    if (standard != nullptr && has(plan.interface().signals[i]) && !(standard->*values).empty())
      lines.push_back(plan.interface().signals[i].name + " " + (standard->*values)[0]);
  }
  return lines;
}

// Lanes that have a signal, ascending.
std::vector<int> lanes_used(PinPlan const& plan) {
  std::set<int> lanes;
  for (const int pad : plan.pads())
    if (pad >= 0) lanes.insert(plan.layout().pads[static_cast<std::size_t>(pad)].lane);
  return {lanes.begin(), lanes.end()};
}

std::string lane_words(PinPlan const& plan, int lane) {
  planning::PlacedLane const& at = plan.layout().lanes[static_cast<std::size_t>(lane)];
  return std::to_string(plan.layout().banks[static_cast<std::size_t>(at.bank)].number) + " " + at.name;
}

char letter_of(PinPlan const& plan, int pad) {
  const int signal = plan.signal_on(pad);
  if (signal < 0) return '-';
  Signal const& one = plan.interface().signals[static_cast<std::size_t>(signal)];
  if (one.unit == Signal::kSystem) return 'C';
  return one.direction == "in" ? 'I' : one.direction == "out" ? 'O' : 'B';
}

}  // namespace

StrList Controller::getXDCInfo(std::string const& component, std::string const& controller, std::string const& section,
                               std::string const& internalVref, OptionMap const&) {
  return ask_pins(*this, [&](PinPlan& plan) {
    plan.check_controller(controller);
    return constraints(plan, component, section_of(section), truth_of(internalVref));
  });
}

// The example is the interface and nothing else on pins, with references as the controller is set.
StrList Controller::getExampleXDCInfo(std::string const& component, std::string const& controller,
                                      std::string const& section, OptionMap const&) {
  return ask_pins(*this, [&](PinPlan& plan) {
    plan.check_controller(controller);
    return constraints(plan, component, section_of(section), plan.wanted().internal_reference);
  });
}

StrList Controller::getIOStandardConstraints(std::string const&, std::string const& controller,
                                             std::string const& section, OptionMap const&) {
  return ask_pins(*this, [&](PinPlan& plan) {
    plan.check_controller(controller);
    const Section wanted = section_of(section);
    return wanted == Section::all || wanted == Section::standards ? planning::standard_constraints(placed(plan))
                                                                  : StrList();
  });
}

StrList Controller::getOutputImpedencePorts(std::string const&, std::string const& controller, OptionMap const&) {
  return ask_pins(*this, [&](PinPlan& plan) {
    plan.check_controller(controller);
    return port_values(plan, &IoStandard::output_impedance, planning::drives);
  });
}

StrList Controller::getTopLevelPorts(std::string const&) {
  return ask_pins(*this, [&](PinPlan& plan) {
    struct Port {
      std::string_view name, direction;
      int least = 0, most = 0;
    };
    std::vector<Port> ports;  // signals of a port follow each other, but for pairs, whose two ports take turns
    for (Signal const& signal : plan.interface().signals) {
      const auto at =
          std::find_if(ports.rbegin(), ports.rend(), [&](Port const& port) { return port.name == signal.port; });
      if (at == ports.rend())
        ports.push_back({signal.port, signal.direction, signal.index, signal.index});
      else
        at->most = std::max(at->most, signal.index);
    }
    StrList lines;
    for (Port const& port : ports) {
      std::string& line = lines.emplace_back();
      line.reserve(port.name.size() + port.direction.size() + 16);  // one allocation each: there are many
      (line += port.name) += ' ';
      line += port.direction;
      line += port.least < 0 ? " - -" : " " + std::to_string(port.most) + " " + std::to_string(port.least);
    }
    return lines;
  });
}

// Registers of a lane stand 64 apart, those of a bank 1024, from its first lane on the die.
StrList Controller::getRIUMapVector(OptionMap const&) {
  constexpr int kLane = 64, kBank = 1024;
  return ask_pins(*this, [&](PinPlan& plan) {
    StrList lines;
    for (const int lane : lanes_used(plan)) {
      const int bank = plan.layout().lanes[static_cast<std::size_t>(lane)].bank;
      const int address = kBank * bank + kLane * (lane - plan.layout().banks[static_cast<std::size_t>(bank)].first);
      lines.push_back(lane_words(plan, lane) + " " + std::to_string(address));
    }
    return lines;
  });
}

StrList Controller::getIOBMapStr(OptionMap const&) {
  return ask_pins(*this, [&](PinPlan& plan) {
    std::set<int> banks;
    for (const int lane : lanes_used(plan)) banks.insert(plan.layout().lanes[static_cast<std::size_t>(lane)].bank);
    StrList lines;
    for (const int index : banks) {
      planning::PlacedBank const& bank = plan.layout().banks[static_cast<std::size_t>(index)];
      std::string letters;
      for (int lane = bank.first; lane < bank.first + bank.lanes; ++lane) {
        planning::PlacedLane const& at = plan.layout().lanes[static_cast<std::size_t>(lane)];
        for (int pad = at.first; pad < at.first + at.pads; ++pad) letters += letter_of(plan, pad);
      }
      lines.push_back(std::to_string(bank.number) + " " + letters);
    }
    return lines;
  });
}

StrList Controller::getDDRMapStr(OptionMap const&) {
  return ask_pins(*this, [&](PinPlan& plan) {
    StrList lines;
    for (const int lane : lanes_used(plan)) {
      planning::PlacedLane const& at = plan.layout().lanes[static_cast<std::size_t>(lane)];
      std::string line = lane_words(plan, lane);
      for (int pad = at.first; pad < at.first + at.pads; ++pad) line += " " + std::to_string(plan.signal_on(pad));
      lines.push_back(std::move(line));
    }
    return lines;
  });
}

StrList MigController::getPhyParamVector(OptionMap const&) {
  return ask_pins(*this, [&](PinPlan& plan) {
    StrList lines;
    for (const int lane : lanes_used(plan)) {
      planning::PlacedLane const& at = plan.layout().lanes[static_cast<std::size_t>(lane)];
      std::string name = "LANE_" + lane_words(plan, lane), ports;
      std::replace(name.begin(), name.end(), ' ', '_');
      for (int pad = at.first; pad < at.first + at.pads; ++pad) {
        const int signal = plan.signal_on(pad);
        ports += (ports.empty() ? "" : ",") +
                 (signal < 0 ? std::string("-") : plan.interface().signals[static_cast<std::size_t>(signal)].name);
      }
      lines.push_back(name + " " + ports);
    }
    return lines;
  });
}

StrList MigController::getParamVector(OptionMap const&) {
  return ask_pins(*this, [&](PinPlan& plan) {
    planning::InterfaceRequest const& wanted = plan.wanted().interface;
    std::set<std::string> banks;
    for (std::size_t i = 0; i < plan.pads().size(); ++i)
      if (plan.pad(static_cast<int>(i)) >= 0) banks.insert(plan.bank(static_cast<int>(i)));
    StrList lines{"MEMORY_TYPE " + wanted.kind->type,
                  "MEMORY_PART " + wanted.part.name,
                  "TIME_PERIOD_PS " + number::plain(plan.wanted().period_ps),
                  "DATA_WIDTH " + std::to_string(wanted.width),
                  "DEVICE_WIDTH " + std::to_string(wanted.part.width),
                  "RANKS " + std::to_string(wanted.ranks),
                  "SLOTS " + std::to_string(wanted.slots),
                  "BYTE_LANES " + std::to_string(plan.interface().units.size()),
                  "SIGNALS " + std::to_string(plan.interface().signals.size()),
                  "INTERNAL_VREF " + std::string(plan.wanted().internal_reference ? "true" : "false")};
    if (!banks.empty()) lines.push_back("BANKS " + text::joined(banks, ","));
    return lines;
  });
}

}  // namespace kdi::coregen

namespace memory::memory_v1 {

StrList HIPMigInstance::getODTPorts(std::string const&, std::string const& controller, OptionMap const&) {
  return kdi::coregen::ask_pins(*this, [&](kdi::coregen::PinPlan& plan) {
    plan.check_controller(controller);
    return kdi::coregen::port_values(plan, &kdi::planning::IoStandard::termination, kdi::planning::receives);
  });
}

}  // namespace memory::memory_v1
