#include "platform/coregen/pin_plan.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <mutex>
#include <set>

#include "kdi/common/KdiNumber.h"
#include "kdi/common/KdiText.h"
#include "kdi/planning/Standards.h"

namespace kdi::coregen {
namespace {

using planning::Layout;
using planning::PlacementRequest;
using planning::Signal;

constexpr char kAddressGroup[] = "Address/Ctrl-";

std::shared_ptr<NamedLayout const> named_layout(device::Part const& part) {
  auto made = std::make_shared<NamedLayout>();
  made->layout = planning::layout_of(part);
  for (std::size_t pad = 0; pad < made->layout.pads.size(); ++pad) {
    made->pads.emplace(made->layout.pads[pad].name, static_cast<int>(pad));
    if (!made->layout.pads[pad].ball.empty()) made->balls.emplace(made->layout.pads[pad].ball, static_cast<int>(pad));
  }
  return made;
}

// Layouts are large and never change: one for each part that is planned.
std::shared_ptr<NamedLayout const> layout_of(device::Part const& part) {
  static std::mutex mutex;
  static auto* const all = new std::map<device::Part const*, std::weak_ptr<NamedLayout const>>;  // never destroyed
  const std::lock_guard lock(mutex);
  std::weak_ptr<NamedLayout const>& known = (*all)[&part];
  std::shared_ptr<NamedLayout const> layout = known.lock();
  if (layout == nullptr) known = layout = named_layout(part);
  return layout;
}

int found(std::unordered_map<std::string_view, int> const& names, std::string const& name) {
  const auto at = names.find(name);
  return at == names.end() ? -1 : at->second;
}

// Those of a memory at a voltage ("1.2V"; empty: any), in kinds of banks that the controller may use.
std::vector<planning::StandardSet> standards_of(planning::MemoryKind const& kind, std::string voltage,
                                                std::vector<std::string> const& bank_kinds) {
  if (!voltage.empty() && voltage.back() == 'V') voltage.pop_back();
  std::vector<planning::StandardSet> sets;
  for (planning::StandardSet set : kind.standards) {
    if (!voltage.empty() && number::whole<double>(set.voltage_v) != number::whole<double>(voltage)) continue;
    std::erase_if(set.bank_kinds, [&](std::string const& one) {
      return std::find(bank_kinds.begin(), bank_kinds.end(), one) == bank_kinds.end();
    });
    if (!set.bank_kinds.empty()) sets.push_back(std::move(set));
  }
  return sets;
}

// Which lane of the address block a group is; -1 for a group of bytes.
int address_index(std::string const& group) {
  if (!group.starts_with(kAddressGroup)) return -1;
  const auto index = number::whole<int>(std::string_view(group).substr(sizeof kAddressGroup - 1));
  if (!index || *index < 0) throw "no group " + text::shown(group);
  return *index;
}

// Periods of data sheets are rounded down: one in whole ps stands for all rates that come out as it. Of these it is the
// memory's own, or else the least.
int rate_of(double period_ps, int memory_mbps) {
  constexpr double kPsOfTwoTransfers = 2e6;
  const int most = static_cast<int>(std::lround(kPsOfTwoTransfers / period_ps));
  if (period_ps != std::floor(period_ps)) return most;
  const int least = static_cast<int>(std::floor(kPsOfTwoTransfers / (period_ps + 1))) + 1;
  return memory_mbps >= least && memory_mbps <= most ? memory_mbps : std::min(least, most);
}

}  // namespace

PinPlan::PinPlan(PinsWanted wanted, planning::Seat& seat)
    : wanted_(std::move(wanted)),
      layout_(layout_of(*wanted_.part)),
      interface_(planning::interface_of(wanted_.interface)),
      pads_(interface_.signals.size(), -1),
      seat_(seat) {
  for (std::size_t signal = 0; signal < interface_.signals.size(); ++signal)
    signals_.emplace(interface_.signals[signal].name, static_cast<int>(signal));
  base_.layout = &layout();
  base_.interface = &interface_;
  base_.standards = standards_of(*wanted_.interface.kind, wanted_.voltage, wanted_.bank_kinds);
  base_.rate_mbps = rate_of(wanted_.period_ps, wanted_.interface.part.rate_mbps);
  base_.internal_reference = wanted_.internal_reference;
  base_.grade = wanted_.part->speed->name;
  place();
}

PlacementRequest PinPlan::request_beside(std::vector<planning::TakenPad> taken) const {
  PlacementRequest request = base_;
  request.taken = std::move(taken);
  return request;
}

PlacementRequest PinPlan::request() const { return request_beside(seat_.others().taken); }

std::vector<planning::TakenPad> PinPlan::claims(std::vector<int> const& pads) const {
  std::vector<planning::TakenPad> taken;
  for (std::size_t signal = 0; signal < pads.size(); ++signal) {
    if (pads[signal] < 0) continue;
    Signal const& one = interface_.signals[signal];
    taken.push_back({pads[signal], wanted_.instance,
                     planning::standard_of(base_, static_cast<int>(signal), layout().bank_of_pad(pads[signal])),
                     one.direction != "out", one.unit != Signal::kSystem});
  }
  return taken;
}

// Another thread may place a controller on the same part meanwhile; then this one looks again.
template <class Change>
void PinPlan::change(Change change) {
  for (;;) {
    planning::Occupancy::Seen seen = seat_.others();
    std::vector<int> pads = pads_;
    change(request_beside(std::move(seen.taken)), pads);
    if (!seat_.put(claims(pads), seen.version)) continue;
    pads_ = std::move(pads);
    look_at_pads();
    violations_ = {};
    bank_texts_ = {};
    bank_uses_ = {};
    pads_for_ = {};
    return;
  }
}

void PinPlan::place() {
  change([&](PlacementRequest const& request, std::vector<int>& pads) {
    const planning::PlacementResult result = planning::place(request);
    fault_ = result.plan ? std::string() : planning::reason_of(*result.refutation, layout(), interface_);
    if (result.plan) pads = result.plan->pad_of_signal;
  });
}

// ------------------------------------------------------------------------------------------------------------- words

int PinPlan::signal_of(std::string const& name) const {
  const int signal = found(signals_, name);
  if (signal < 0) throw "no signal " + text::shown(name);
  return signal;
}

int PinPlan::pad_of(std::string const& name) const {
  const int pad = found(layout_->pads, name);
  if (pad < 0) throw "no pad " + text::shown(name) + " in the I/O banks of " + wanted_.part->name;
  return pad;
}

int PinPlan::pad_of_ball(std::string const& ball) const {
  const int pad = found(layout_->balls, ball);
  if (pad < 0) throw "no pin " + text::shown(ball) + " in the I/O banks of " + wanted_.part->name;
  return pad;
}

int PinPlan::bank_of(std::string const& number) const {
  const auto value = number::whole<int>(number);
  const int bank = value ? layout().bank_of_number(*value) : -1;
  if (bank < 0) throw "no I/O bank " + text::shown(number) + " in " + wanted_.part->name;
  return bank;
}

int PinPlan::lane_of(std::string const& bank, std::string const& lane) const {
  const int found = layout().lane_of(bank_of(bank), lane);
  if (found < 0) throw "no lane " + text::shown(lane) + " in bank " + bank;
  return found;
}

void PinPlan::check_controller(std::string const& controller) const {
  if (controller != "0" && controller != "-1") throw "no controller " + text::shown(controller) + ": there is 0";
}

std::string PinPlan::ball(int signal) const {
  return pad(signal) < 0 ? std::string() : layout().pads[static_cast<std::size_t>(pad(signal))].ball;
}
std::string PinPlan::bank(int signal) const {
  return pad(signal) < 0
             ? std::string()
             : std::to_string(layout().banks[static_cast<std::size_t>(layout().bank_of_pad(pad(signal)))].number);
}
std::string PinPlan::lane(int signal) const {
  return pad(signal) < 0 ? std::string() : layout().lane_of_pad(pad(signal)).name;
}
std::string PinPlan::standard(int signal) const {
  planning::IoStandard const* const standard = standard_at(signal);
  return standard == nullptr ? std::string() : standard->name;
}

// Looked up once for each move: constraints ask it of all signals.
void PinPlan::look_at_pads() {
  standards_.assign(pads_.size(), nullptr);
  std::vector<bool> used(layout().banks.size());
  int bank = -1;
  std::array<planning::IoStandard const*, planning::kSignalClasses> of_bank{};
  for (std::size_t signal = 0; signal < pads_.size(); ++signal) {
    if (pads_[signal] < 0) continue;
    if (const int here = layout().bank_of_pad(pads_[signal]); here != bank) {
      bank = here;
      used[static_cast<std::size_t>(bank)] = true;
      of_bank.fill(nullptr);
    }
    auto& standard = of_bank[static_cast<std::size_t>(interface_.signals[signal].what)];
    if (standard == nullptr)
      standard = planning::find_standard(planning::standard_of(base_, static_cast<int>(signal), bank));
    standards_[signal] = standard;
  }
  banks_used_ = static_cast<int>(std::count(used.begin(), used.end(), true));
}

int PinPlan::signal_on(int wanted) const {
  const auto at = std::find(pads_.begin(), pads_.end(), wanted);
  return at == pads_.end() ? -1 : static_cast<int>(at - pads_.begin());
}

// ------------------------------------------------------------------------------------------------------------ groups

std::vector<int> PinPlan::address_lanes(std::vector<int> const& pads) const {
  std::set<int> lanes;
  for (const int signal : interface_.address)
    if (const int at = pads[static_cast<std::size_t>(signal)]; at >= 0)
      lanes.insert(layout().pads[static_cast<std::size_t>(at)].lane);
  return {lanes.begin(), lanes.end()};
}

PinPlan::Groups PinPlan::groups_of(std::vector<int> const& pads) const {
  Groups groups;
  for (planning::Unit const& unit : interface_.units) {
    int lane = -1;
    for (const int signal : unit.signals)
      if (const int at = pads[static_cast<std::size_t>(signal)]; at >= 0)
        lane = layout().pads[static_cast<std::size_t>(at)].lane;
    groups.emplace_back(unit.group, lane);
  }
  const std::vector<int> lanes = address_lanes(pads);
  for (std::size_t i = 0; i < std::max<std::size_t>(1, lanes.size()); ++i)
    groups.emplace_back(kAddressGroup + std::to_string(i), lanes.empty() ? -1 : lanes[i]);
  return groups;
}

PinPlan::Groups PinPlan::proposal() const {
  const planning::PlacementResult result = planning::place(request());
  if (!result.plan) throw planning::reason_of(*result.refutation, layout(), interface_);
  return groups_of(result.plan->pad_of_signal);
}

std::vector<int> PinPlan::signals_of(std::string const& group) const {
  const int index = address_index(group);
  if (index < 0) {
    const int unit = interface_.unit(group);
    if (unit < 0) throw "no group " + text::shown(group);
    return interface_.units[static_cast<std::size_t>(unit)].signals;
  }
  const std::vector<int> lanes = address_lanes(pads_);
  if (lanes.empty() && index == 0) return interface_.address;
  if (index >= static_cast<int>(lanes.size())) throw "no group " + text::shown(group);
  std::vector<int> signals;
  for (const int signal : interface_.address)
    if (pad(signal) < 0 ||
        layout().pads[static_cast<std::size_t>(pad(signal))].lane == lanes[static_cast<std::size_t>(index)])
      signals.push_back(signal);
  return signals;
}

namespace {

std::string lane_name(Layout const& layout, int lane) {
  planning::PlacedLane const& one = layout.lanes[static_cast<std::size_t>(lane)];
  return one.name + " of bank " + std::to_string(layout.banks[static_cast<std::size_t>(one.bank)].number);
}

// A signal of a pair moves with the other one.
void take_off(planning::Interface const& interface, std::vector<int>& pads, int signal) {
  pads[static_cast<std::size_t>(signal)] = -1;
  const int partner = interface.signals[static_cast<std::size_t>(signal)].partner;
  if (partner >= 0) pads[static_cast<std::size_t>(partner)] = -1;
}

std::string first_text(std::vector<planning::Violation> const& violations) {
  return violations.empty() ? std::string() : violations.front().text;
}

// The least site of the system clock with which all rules hold.
bool put_system_clock(PlacementRequest const& request, std::vector<int>& pads) {
  std::vector<int> const& clock = request.interface->system_clock;
  if (clock.empty() || pads[static_cast<std::size_t>(clock[0])] >= 0) return true;
  for (std::size_t pad = 0; pad < request.layout->pads.size(); ++pad) {
    planning::PlacedPad const& at = request.layout->pads[pad];
    if (!at.clock || !at.positive || at.partner < 0) continue;
    std::vector<int> trial = pads;
    trial[static_cast<std::size_t>(clock[0])] = static_cast<int>(pad);
    if (clock.size() > 1) trial[static_cast<std::size_t>(clock[1])] = at.partner;
    if (!planning::violations(request, trial).empty()) continue;
    pads = std::move(trial);
    return true;
  }
  return false;
}

}  // namespace

void PinPlan::put_group(PlacementRequest const& request, std::vector<int>& pads, std::string const& group,
                        int lane) const {
  const auto filled = planning::fill_unit(request, pads, interface_.unit(group), lane);
  if (!filled) throw "byte-in-lane: " + group + " does not fit into lane " + lane_name(layout(), lane);
  pads = *filled;
}

void PinPlan::put_groups(Groups const& groups, bool anew, std::vector<std::string>* dropped) {
  change([&](PlacementRequest const& request, std::vector<int>& pads) {
    std::vector<int> block = address_lanes(pads);
    if (anew) {
      std::fill(pads.begin(), pads.end(), -1);
      block.clear();
    }
    bool has_address = false;
    for (auto const& [group, lane] : groups) {
      const int index = address_index(group);
      if (index < 0) {
        const int unit = interface_.unit(group);
        if (unit < 0) {
          if (dropped == nullptr) throw "no group " + text::shown(group);
          dropped->push_back("no group " + text::shown(group));
          continue;
        }
        for (const int signal : interface_.units[static_cast<std::size_t>(unit)].signals)
          take_off(interface_, pads, signal);
        continue;
      }
      if (!has_address)
        for (const int signal : interface_.address) take_off(interface_, pads, signal);
      has_address = true;
      if (index >= static_cast<int>(layout().lanes.size())) throw "no group " + text::shown(group);
      if (static_cast<std::size_t>(index) >= block.size()) block.resize(static_cast<std::size_t>(index) + 1, -1);
      block[static_cast<std::size_t>(index)] = lane;
    }
    // What keeps its pads may stand in the way of nothing but the groups that are asked for.
    const auto put = [&](std::string const& group, auto use) {
      std::vector<int> trial = pads;
      try {
        use(trial);
        const std::string fault = first_text(planning::violations(request, trial));
        if (!fault.empty()) throw fault;
        pads = std::move(trial);
      } catch (std::string const& refusal) {
        if (dropped == nullptr) throw;
        dropped->push_back(group + " is left out: " + refusal);
      }
    };
    for (auto const& [group, lane] : groups) {
      if (address_index(group) >= 0 || interface_.unit(group) < 0 || lane < 0) continue;
      put(group, [&, &name = group, &at = lane](std::vector<int>& trial) { put_group(request, trial, name, at); });
    }
    std::erase(block, -1);
    std::sort(block.begin(), block.end());
    if (has_address && !block.empty())
      put(kAddressGroup, [&](std::vector<int>& trial) {
        const auto filled = planning::fill_address(request, trial, block);
        if (!filled) throw std::string("address-adjacent: the address block does not fill just these lanes");
        trial = *filled;
      });
    if (anew) put_system_clock(request, pads);
  });
  fault_.clear();
}

void PinPlan::put_signal(int signal, int pad) {
  change([&](PlacementRequest const& request, std::vector<int>& pads) {
    take_off(interface_, pads, signal);
    if (pad < 0) return;
    const int partner = interface_.signals[static_cast<std::size_t>(signal)].partner;
    pads[static_cast<std::size_t>(signal)] = pad;
    if (partner >= 0) pads[static_cast<std::size_t>(partner)] = layout().pads[static_cast<std::size_t>(pad)].partner;
    const std::string fault = first_text(planning::violations(request, pads));
    if (!fault.empty()) throw fault;
  });
  fault_.clear();
}

// ------------------------------------------------------------------------------------------------------------ status

std::vector<planning::Violation> const& PinPlan::violations() {
  return violations_.get(seat_, [&](std::vector<planning::TakenPad> taken) {
    return planning::violations(request_beside(std::move(taken)), pads_);
  });
}

int PinPlan::status() {
  if (!violations().empty()) return -1;
  return planning::is_whole(pads_) ? 1 : 0;
}

int PinPlan::status_of(std::string const& group) {
  const std::vector<int> signals = signals_of(group);
  const auto in_group = [&](int signal) { return std::find(signals.begin(), signals.end(), signal) != signals.end(); };
  for (planning::Violation const& one : violations())
    if (std::any_of(one.signals.begin(), one.signals.end(), in_group)) return -1;
  return std::all_of(signals.begin(), signals.end(), [&](int signal) { return pad(signal) >= 0; }) ? 1 : 0;
}

std::vector<planning::BankUse> const& PinPlan::bank_uses() {
  return bank_uses_.get(seat_, [&](std::vector<planning::TakenPad> taken) {
    return planning::bank_uses(request_beside(std::move(taken)), std::vector<int>(pads_.size(), -1));
  });
}

OptionMap const& PinPlan::bank_texts() {
  return bank_texts_.get(seat_, [&](auto const&) {
    std::vector<planning::BankUse> const& uses = bank_uses();
    OptionMap map;
    for (std::size_t bank = 0; bank < uses.size(); ++bank) {
      planning::PlacedBank const& at = layout().banks[bank];
      std::string vcco = "-", groups;
      for (planning::StandardSet const& set : base_.standards)
        if (std::find(set.bank_kinds.begin(), set.bank_kinds.end(), at.kind) != set.bank_kinds.end() && vcco == "-")
          vcco = set.voltage_v + "V";
      for (const int unit : uses[bank].units)
        text::append_word(groups, interface_.units[static_cast<std::size_t>(unit)].group);
      if (uses[bank].address) text::append_word(groups, "Address/Ctrl");
      map[std::to_string(at.number)] = "kind " + at.kind + " vcco " + vcco + " free_lanes " +
                                       std::to_string(uses[bank].free_lanes) + " groups {" + groups + "} reason {" +
                                       uses[bank].reason + "}";
    }
    return map;
  });
}

std::vector<int> const& PinPlan::pads_for(int signal) {
  auto& known = pads_for_.get(seat_, [](auto const&) { return std::map<int, std::vector<int>>(); });
  const auto at = known.find(signal);
  if (at != known.end()) return at->second;
  return known[signal] = planning::pads_for(request(), pads_, signal);
}

}  // namespace kdi::coregen
