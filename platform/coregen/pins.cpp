// What controllers are asked about their pins: where signals are, and what the user sets.
#include "platform/coregen/pins.h"

#include <algorithm>
#include <set>

#include "kdi/common/ComMsgMgr.h"
#include "kdi/common/KdiText.h"
#include "kdi/coregen/Mig.h"
#include "kdi/planning/ClockRoot.h"

namespace kdi::coregen {

using planning::Signal;

PinPlan& pins_of(Controller::State& state) {
  if (state.pins == nullptr || state.pins_for != state.options) {
    state.pins = std::make_unique<PinPlan>(pins_wanted(state), *state.seat);
    state.pins_for = state.options;
  }
  return *state.pins;
}

namespace {

constexpr char kNone[] = "-";

std::string or_none(std::string const& text) { return text.empty() ? kNone : text; }

PinMap told(PinPlan const& plan, PinPlan::Groups const& groups) {
  PinMap map;
  for (auto const& [group, lane] : groups) {
    if (lane < 0) {
      map[group] = {kNone, kNone};
      continue;
    }
    planning::PlacedLane const& at = plan.layout().lanes[static_cast<std::size_t>(lane)];
    map[group] = {std::to_string(plan.layout().banks[static_cast<std::size_t>(at.bank)].number), at.name};
  }
  return map;
}

// Bank and lane of a group as words: -1 for `-`.
int lane_of(PinPlan const& plan, std::string const& group, StrList const& words) {
  if (words.size() < 2) throw "group " + text::shown(group) + " needs a bank and a lane";
  // A group whose predecessor had one word only holds that as well; its own stand last.
  std::string const& bank = words[words.size() - 2];
  std::string const& lane = words[words.size() - 1];
  return bank == kNone && lane == kNone ? -1 : plan.lane_of(bank, lane);
}

PinPlan::Groups read_groups(PinPlan const& plan, PinMap const& pins) {
  PinPlan::Groups groups;
  for (auto const& [group, words] : pins) groups.emplace_back(group, lane_of(plan, group, words));
  return groups;
}

// `DQ[7:0]` and `DQ[7-0]` of elder scripts, and letters of either case.
std::string present_name(PinPlan const& plan, std::string const& group) {
  const auto plain = [](std::string name) {
    name = text::lowered(name);
    std::replace(name.begin(), name.end(), ':', '-');
    const std::size_t open = name.find('['), dash = name.find('-', open == std::string::npos ? 0 : open);
    if (open == std::string::npos || dash == std::string::npos || name.back() != ']') return name;
    std::string first = name.substr(open + 1, dash - open - 1), last = name.substr(dash + 1, name.size() - dash - 2);
    if (first.size() > last.size() || (first.size() == last.size() && first > last)) std::swap(first, last);
    return name.substr(0, open + 1) + first + "-" + last + "]";
  };
  for (planning::Unit const& unit : plan.interface().units)
    if (plain(unit.group) == plain(group)) return unit.group;
  constexpr char kAddress[] = "Address/Ctrl-";
  if (text::starts_with_but_case(group, kAddress)) return kAddress + group.substr(sizeof kAddress - 1);
  return group;
}

void warn(std::string const& text) {
  ComMsgMgr::sendMsg::eval(1, __FILE__, __LINE__, "coregen", ComMsgMgr::MSG_WARNING, "%s", text.c_str());
}

}  // namespace

// ----------------------------------------------------------------------------------------------------- the user's pins

void Controller::setSelectedBytes_upgrade(PinMap const& pins, OptionMap const&) {
  std::vector<std::string> dropped;
  ask_pins(*this, [&](PinPlan& plan) {
    PinMap present;
    for (auto const& [group, words] : pins) present[present_name(plan, group)] = words;
    PinPlan::Groups groups;
    for (auto const& [group, words] : present) {
      try {
        groups.emplace_back(group, lane_of(plan, group, words));
      } catch (std::string const& fault) {
        dropped.push_back(group + " is left out: " + fault);
      }
    }
    plan.put_groups(groups, true, &dropped);
  });
  for (std::string const& text : dropped) warn(text);
}

void Controller::setSelectedBytes_new(OptionMap const& options) {
  const auto bytes = options.find("-bytes");
  if (bytes == options.end()) throw std::string("option -bytes is missing");
  ask_pins(*this, [&](PinPlan& plan) {
    const std::vector<std::string_view> words = text::words(bytes->second);
    if (words.size() % 3 != 0) throw std::string("option -bytes takes group, bank and lane for each group");
    PinPlan::Groups groups;
    for (std::size_t i = 0; i + 2 < words.size(); i += 3)
      groups.emplace_back(words[i],
                          lane_of(plan, std::string(words[i]), {std::string(words[i + 1]), std::string(words[i + 2])}));
    plan.put_groups(groups, false, nullptr);
  });
}

void MigController::setSelectedBytes(PinMap const& pins, OptionMap const&) {
  ask_pins(*this, [&](PinPlan& plan) { plan.put_groups(read_groups(plan, pins), false, nullptr); });
}

void Controller::setSignal(std::string const& signal, std::string const& pad) {
  ask_pins(*this, [&](PinPlan& plan) { plan.put_signal(plan.signal_of(signal), pad.empty() ? -1 : plan.pad_of(pad)); });
}

void Controller::setSignal(std::string const& signal, std::string const& bank, std::string const& lane,
                           std::string const& pin, std::string const& standard) {
  ask_pins(*this, [&](PinPlan& plan) {
    const int index = plan.signal_of(signal);
    if (bank.empty() && lane.empty() && pin.empty()) return plan.put_signal(index, -1);
    const int pad = plan.pad_of_ball(pin);
    if (plan.layout().pads[static_cast<std::size_t>(pad)].lane != plan.lane_of(bank, lane))
      throw "pin " + text::shown(pin) + " is not in lane " + lane + " of bank " + bank;
    const std::string has = planning::standard_of(plan.request(), index, plan.layout().bank_of_pad(pad));
    if (!standard.empty() && standard != has)
      throw "standard: " + signal + " has " + (has.empty() ? "none" : has) + " in bank " + bank + " and not " +
          text::shown(standard);
    plan.put_signal(index, pad);
  });
}

// What is told of bytes follows from the pins at any time; so there is nothing to be done but to read the word.
void Controller::updateBankBytePropertiesAsPerPins(int, std::string const& bank) {
  ask_pins(*this, [&](PinPlan& plan) {
    if (bank != "all") plan.bank_of(bank);
  });
}

int Controller::CheckIOPlanningCompletion(std::string const& controller, OptionMap const&) {
  return ask_pins(*this, [&](PinPlan& plan) {
    plan.check_controller(controller);
    return plan.status();
  });
}

int Controller::byteSelectionStatus(std::string const& group) {
  return ask_pins(*this, [&](PinPlan& plan) { return plan.status_of(group); });
}

// ---------------------------------------------------------------------------------------------------- where signals
// are

void MigController::getSignalDetails(std::string const& signal, std::string& bank, std::string& byteGroup,
                                     std::string& pin, std::string& ioStandard) {
  ask_pins(*this, [&](PinPlan& plan) {
    const int index = plan.signal_of(signal);
    bank = plan.bank(index);
    byteGroup = plan.lane(index);
    pin = plan.ball(index);
    ioStandard = plan.standard(index);
  });
}

void MigController::getPadDetails(std::string const& pad, std::string& bank, std::string& byteGroup, std::string& pin,
                                  std::string& site) {
  ask_pins(*this, [&](PinPlan& plan) {
    planning::PlacedPad const& at = plan.layout().pads[static_cast<std::size_t>(plan.pad_of(pad))];
    planning::PlacedLane const& lane = plan.layout().lanes[static_cast<std::size_t>(at.lane)];
    bank = std::to_string(plan.layout().banks[static_cast<std::size_t>(lane.bank)].number);
    byteGroup = lane.name;
    pin = at.ball;
    site = at.site;
  });
}

void MigController::getSignal(std::string const& pin, std::string& signal) {
  ask_pins(*this, [&](PinPlan& plan) {
    const int index = plan.signal_on(plan.pad_of_ball(pin));
    signal = index < 0 ? std::string() : plan.interface().signals[static_cast<std::size_t>(index)].name;
  });
}

void MigController::getSignalForPad(std::string const& pad, std::string& signal) {
  ask_pins(*this, [&](PinPlan& plan) {
    const int index = plan.signal_on(plan.pad_of(pad));
    signal = index < 0 ? std::string() : plan.interface().signals[static_cast<std::size_t>(index)].name;
  });
}

void MigController::getPadNameForSignal(std::string const& signal, std::string& pad) {
  ask_pins(*this, [&](PinPlan& plan) {
    const int at = plan.pad(plan.signal_of(signal));
    pad = at < 0 ? std::string() : plan.layout().pads[static_cast<std::size_t>(at)].name;
  });
}

void MigController::getSignalName(std::string const& controller, std::string const& group, std::string const& index,
                                  std::string const& polarity, std::string& signal) {
  ask_pins(*this, [&](PinPlan& plan) {
    plan.check_controller(controller);
    if (polarity != "P" && polarity != "N" && !polarity.empty())
      throw "polarity " + text::shown(polarity) + ": P, N or nothing";
    int count = 0;
    for (const int each : plan.signals_of(group)) {
      Signal const& one = plan.interface().signals[static_cast<std::size_t>(each)];
      const std::string its = one.partner < 0 ? "" : one.negative ? "N" : "P";
      if (its != polarity || std::to_string(count++) != index) continue;
      signal = one.name;
      return;
    }
    throw "no signal " + text::shown(index) + (polarity.empty() ? "" : " of polarity " + polarity) + " in group " +
        group;
  });
}

PinMap MigController::getDefaultbyteSelections(OptionMap const&) {
  return ask_pins(*this, [](PinPlan& plan) { return told(plan, plan.proposal()); });
}

PinMap MigController::getSelectedByteMap(int) {
  return ask_pins(*this, [](PinPlan& plan) { return told(plan, plan.groups()); });
}

PinMap MigController::getAssignedPinDetails(std::string const& controller) {
  return ask_pins(*this, [&](PinPlan& plan) {
    plan.check_controller(controller);
    PinMap map;
    for (std::size_t i = 0; i < plan.interface().signals.size(); ++i) {
      const int signal = static_cast<int>(i);
      const int at = plan.pad(signal);
      map[plan.interface().signals[i].name] = {
          or_none(plan.ball(signal)), at < 0 ? kNone : plan.layout().pads[static_cast<std::size_t>(at)].name,
          or_none(plan.bank(signal)), or_none(plan.lane(signal)), or_none(plan.standard(signal))};
    }
    return map;
  });
}

// ------------------------------------------------------------------------------------------------------------ figures

int MigController::getAsssignedPinCount(OptionMap const&) {
  return ask_pins(*this, [](PinPlan& plan) {
    return static_cast<int>(std::count_if(plan.pads().begin(), plan.pads().end(), [](int pad) { return pad >= 0; }));
  });
}

int MigController::getTotalPinCnt(OptionMap const&) {
  return ask_pins(*this, [](PinPlan& plan) { return static_cast<int>(plan.interface().signals.size()); });
}

int MigController::getTotalPortCnt(OptionMap const&) {
  return ask_pins(*this, [](PinPlan& plan) {
    std::set<std::string> ports;
    for (Signal const& signal : plan.interface().signals) ports.insert(signal.port);
    return static_cast<int>(ports.size());
  });
}

int MigController::getBanksUsed(OptionMap const&) {
  return ask_pins(*this, [](PinPlan& plan) { return plan.banks_used(); });
}

int MigController::getBanksAvailable(OptionMap const&) {
  return ask_pins(*this, [](PinPlan& plan) {
    std::vector<planning::BankUse> const& uses = plan.bank_uses();
    return static_cast<int>(
        std::count_if(uses.begin(), uses.end(), [](planning::BankUse const& use) { return use.free_lanes > 0; }));
  });
}

OptionMap Controller::getBankSelModelParams(std::string const& type, std::string const& part, OptionMap const&) {
  return ask_pins(*this, [&](PinPlan& plan) {
    planning::MemoryKind const& kind = *plan.wanted().interface.kind;
    if (!type.empty() && type != kind.type)
      throw "memory type " + text::shown(type) + ": the controller has " + kind.type;
    if (!part.empty() && part != plan.wanted().interface.part.name)
      throw "memory part " + text::shown(part) + ": the controller has " + plan.wanted().interface.part.name;
    return plan.bank_texts();
  });
}

OptionMap Controller::getLocModelParams(std::string const& signal, OptionMap const&) {
  return ask_pins(*this, [&](PinPlan& plan) {
    std::string names;
    for (const int pad : plan.pads_for(plan.signal_of(signal)))
      text::append_word(names, plan.layout().pads[static_cast<std::size_t>(pad)].name);
    return OptionMap{{signal, names}};
  });
}

std::string MigController::getClockRoot(std::string const& bank, std::string const& clock) {
  return ask_pins(*this, [&](PinPlan& plan) {
    std::vector<int> banks{plan.bank_of(bank)};
    if (clock != "ui_clk" && plan.interface().signal(clock) < 0) throw "no clock " + text::shown(clock);
    std::set<int> used;
    for (const int pad : plan.pads())
      if (pad >= 0) used.insert(plan.layout().bank_of_pad(pad));
    banks.insert(banks.end(), used.begin(), used.end());
    return planning::clock_root(*plan.wanted().part, plan.layout(), banks).name();
  });
}

}  // namespace kdi::coregen
