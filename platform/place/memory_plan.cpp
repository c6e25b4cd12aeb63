#include "platform/place/memory_plan.h"

#include <algorithm>
#include <cstdlib>
#include <mutex>
#include <set>

#include "kdi/common/KdiNumber.h"
#include "kdi/common/KdiText.h"
#include "kdi/planning/Joint.h"
#include "kdi/planning/Standards.h"
#include "platform/place/dictionary.h"

namespace kdi::place {
namespace {

using planning::Signal;
using planning::SignalClass;

planning::PlacementRequest request_for(device::Part const& part, MemorySetup const& setup,
                                       planning::Layout const& layout, planning::Interface const& interface) {
  planning::PlacementRequest request;
  request.layout = &layout;
  request.interface = &interface;
  request.standards = setup.standards();
  request.rate_mbps = std::min(setup.rate_mbps(), setup.memory.rate_mbps);  // periods are rounded down
  request.grade = part.speed->name;
  request.internal_reference = setup.internal_reference;
  request.banks = setup.site != nullptr ? setup.site->banks : setup.banks;
  return request;
}

int ranks_of(MemorySetup const& setup) { return setup.ranks * setup.slots; }

int count_of(planning::Interface const& interface, SignalClass what) {
  return static_cast<int>(std::count_if(interface.signals.begin(), interface.signals.end(), [&](Signal const& one) {
    return one.what == what && !one.negative && one.unit != Signal::kSystem;
  }));
}

}  // namespace

std::shared_ptr<planning::Layout const> layout_of(device::Part const& part) {
  static std::mutex mutex;
  static auto* const all = new std::map<device::Part const*, std::weak_ptr<planning::Layout const>>;  // never destroyed
  const std::lock_guard lock(mutex);
  std::weak_ptr<planning::Layout const>& known = (*all)[&part];
  std::shared_ptr<planning::Layout const> layout = known.lock();
  if (layout == nullptr) known = layout = std::make_shared<planning::Layout const>(planning::layout_of(part));
  return layout;
}

std::string role_of(Signal const& signal) {
  if (signal.unit == Signal::kSystem) return "InputClock";
  switch (signal.what) {
    case SignalClass::data:
    case SignalClass::mask:
      return "Data";
    case SignalClass::strobe:
      return "Strobe";
    case SignalClass::clock:
      return "ClkFwd";
    case SignalClass::address:
      return "Address";
    default:
      return "Control";
  }
}

MemoryPlan::MemoryPlan(device::Part const& part, MemorySetup setup, Locations const& told,
                       std::vector<planning::TakenPad> taken)
    : setup_(std::move(setup)),
      layout_(layout_of(part)),
      interface_(planning::interface_of(setup_.interface_request())),
      request_(request_for(part, setup_, *layout_, interface_)),
      pads_(interface_.signals.size(), -1) {
  request_.taken = std::move(taken);
  take(told);
  if (setup_.hard != nullptr) {
    const std::vector<int> fixed =
        setup_.hard->pads({layout_.get(), &interface_, setup_.kind, setup_.site, setup_.ecc});
    for (std::size_t signal = 0; signal < fixed.size(); ++signal)
      if (pads_[signal] >= 0 && pads_[signal] != fixed[signal])
        throw "PORT_LOCS: " + interface_.signals[signal].name + ": a " + setup_.controller->name + " has it on " +
            layout_->pads[static_cast<std::size_t>(fixed[signal])].name;
    pads_ = fixed;
  } else if (!planning::is_whole(pads_)) {
    request_.pad_of_signal = pads_;
    check();
    planning::PlacementResult result = planning::place(request_);
    if (!result.plan) throw planning::reason_of(*result.refutation, *layout_, interface_);
    pads_ = std::move(result.plan->pad_of_signal);
  }
  check();
}

// Each standard that is told has to be the port's own.
void MemoryPlan::take(Locations const& told) {
  for (auto const& [port, pad] : pads_of(told, *layout_, "PORT_LOCS")) {
    const int signal = interface_.signal(port);
    if (signal < 0) throw "PORT_LOCS: there is no port " + text::shown(port);
    pads_[static_cast<std::size_t>(signal)] = pad;
    std::string const& standard = told.at(port).standard;
    const std::string own = planning::standard_of(request_, signal, layout_->bank_of_pad(pad));
    if (!standard.empty() && standard != own)
      throw "PORT_LOCS: " + port + ": the standard is " + text::shown(own) + " and not " + text::shown(standard);
  }
  for (auto const& [port, at] : told)
    if (interface_.signal(port) < 0) throw "PORT_LOCS: there is no port " + text::shown(port);
}

void MemoryPlan::check() const {
  const std::vector<planning::Violation> broken = planning::violations(request_, pads_);
  if (!broken.empty()) throw broken.front().text;
}

std::vector<planning::TakenPad> MemoryPlan::claims() const {
  return planning::taken_by_plan(request_, pads_, "another interface");
}

std::unique_ptr<MemoryPlan const> memory_plan(device::Part const& part, MemoryUse use, Settings const& settings,
                                              Locations const& told, std::vector<planning::TakenPad> const& taken) {
  const MemorySetup first = memory_setup(part, use, settings);
  if (first.hard == nullptr || !settings.text("CONTROLLER").empty())
    return std::make_unique<MemoryPlan const>(part, first, told, taken);
  std::string fault;
  for (device::ControllerSite const* const site : sites_in_package(part, *first.controller)) {
    MemorySetup setup = first;
    setup.site = site;
    try {
      return std::make_unique<MemoryPlan const>(part, std::move(setup), told, taken);
    } catch (std::string const& why) {
      if (fault.empty()) fault = why;
    }
  }
  throw fault;
}

PortPads MemoryPlan::port_pads() const {
  PortPads pads;
  for (std::size_t signal = 0; signal < pads_.size(); ++signal)
    pads.emplace(interface_.signals[signal].name, pads_[signal]);
  return pads;
}

std::string MemoryPlan::standard(std::string const& port) const {
  const int signal = interface_.signal(port);
  return planning::standard_of(request_, signal, bank_of(signal));
}

std::vector<std::string> nibbles_by_hops(planning::Layout const& layout, int from, std::vector<int> const& pads) {
  const int own = nibble_of(layout, from);
  std::map<std::pair<int, int>, std::string> by_hops;  // distance, then number
  for (const int pad : pads) {
    const int nibble = nibble_of(layout, pad);
    by_hops.emplace(std::pair(std::abs(nibble - own), nibble), nibble_name(layout, pad));
  }
  std::vector<std::string> names;
  for (auto& [hops, name] : by_hops) names.push_back(std::move(name));
  return names;
}

std::map<std::string, std::vector<std::string>> MemoryPlan::strobes() const {
  std::map<std::string, std::vector<std::string>> strobes;
  for (planning::Unit const& unit : interface_.units)
    for (planning::Cell const& cell : unit.cells) {
      if (cell.positive < 0 || !cell.strobe_site) continue;  // a clock that is sent along captures nothing here
      std::vector<int> clocked;
      // Its own cell, and those of the set that have no strobe.
      for (planning::Unit const& other : interface_.units)
        for (planning::Cell const& one : other.cells) {
          if (&one != &cell && (other.set != unit.set || one.positive >= 0)) continue;
          for (const int signal : one.singles)
            if (interface_.signals[static_cast<std::size_t>(signal)].direction != "out") clocked.push_back(pad(signal));
        }
      strobes.emplace(interface_.signals[static_cast<std::size_t>(cell.positive)].name,
                      nibbles_by_hops(*layout_, pad(cell.positive), clocked));
    }
  return strobes;
}

PlanWords MemoryPlan::words() const {
  PlanWords words{port_pads(), {}, strobes()};
  for (auto const& [port, pad] : words.pads) words.standards.emplace(port, standard(port));
  return words;
}

std::map<std::string, PinInfo> MemoryPlan::pin_info() const {
  std::map<std::string, PinInfo> info;
  for (std::size_t i = 0; i < pads_.size(); ++i) {
    Signal const& signal = interface_.signals[i];
    planning::PlacedPad const& at = layout_->pads[static_cast<std::size_t>(pads_[i])];
    info[signal.name] = {role_of(signal), signal.direction, at.ball, at.name, at.site, standard(signal.name)};
  }
  return info;
}

OptionMap MemoryPlan::constraints() const {
  OptionMap ports;
  for (std::size_t i = 0; i < pads_.size(); ++i) {
    Signal const& signal = interface_.signals[i];
    Pairs properties{{"PACKAGE_PIN", layout_->pads[static_cast<std::size_t>(pads_[i])].ball}};
    if (planning::IoStandard const* const standard = planning::find_standard(this->standard(signal.name))) {
      properties.emplace_back("IOSTANDARD", standard->name);
      if (signal.direction != "in" && !standard->output_impedance.empty())
        properties.emplace_back("OUTPUT_IMPEDANCE", standard->output_impedance[0]);
      if (signal.direction != "out" && !standard->termination.empty())
        properties.emplace_back("ODT", standard->termination[0]);
    }
    ports[signal.name] = write_dictionary(properties);
  }
  return ports;
}

std::vector<int> MemoryPlan::banks() const {
  std::set<int> numbers;
  for (const int pad : pads_)
    numbers.insert(layout_->banks[static_cast<std::size_t>(layout_->bank_of_pad(pad))].number);
  return {numbers.begin(), numbers.end()};
}

int MemoryPlan::master_bank() const {
  std::vector<int> pads;
  for (const int signal : interface_.address) pads.push_back(pad(signal));
  std::sort(pads.begin(), pads.end());
  planning::PlacedBank const& middle =
      layout_->banks[static_cast<std::size_t>(layout_->bank_of_pad(pads[pads.size() / 2]))];
  for (planning::PlacedBank const& bank : layout_->banks)
    if (bank.master && bank.triplet == middle.triplet) return bank.number;
  return middle.number;
}

int MemoryPlan::system_clock_bank() const {
  return interface_.system_clock.empty()
             ? -1
             : layout_->banks[static_cast<std::size_t>(bank_of(interface_.system_clock[0]))].number;
}

std::vector<CoreInterface> interfaces_of(MemorySetup const& setup) {
  const planning::Interface interface = planning::interface_of(setup.interface_request());
  CoreInterface memory{setup.kind->prefix, {}}, clock{"sys_clk", {}};
  for (Signal const& signal : interface.signals) {
    std::vector<InterfacePort>& ports = signal.unit == Signal::kSystem ? clock.ports : memory.ports;
    const auto known =
        std::find_if(ports.begin(), ports.end(), [&](InterfacePort const& one) { return one.name == signal.port; });
    if (known == ports.end())
      ports.push_back({signal.port, signal.direction, 1, role_of(signal)});
    else
      known->width += 1;
  }
  std::vector<CoreInterface> all{std::move(memory)};
  if (!clock.ports.empty()) all.push_back(std::move(clock));
  return all;
}

OptionMap configuration_of(MemorySetup const& setup) {
  const planning::Interface interface = planning::interface_of(setup.interface_request());
  const auto whole = [](int value) { return std::to_string(value); };
  std::vector<std::string> banks;
  if (setup.site != nullptr)
    for (const int bank : setup.site->banks) banks.push_back(whole(bank));
  return {{"CONTROLLER", setup.site == nullptr ? "" : setup.site->name},
          {"CONTROLLERTYPE", setup.controller == nullptr ? "" : setup.controller->name},
          {"SLR", setup.site == nullptr ? "" : whole(setup.site->slr)},
          {"BANKS", text::joined(banks, ",")},
          {"MEMORY_TYPE", setup.kind->type},
          {"MEMORY_PART", setup.memory.name},
          {"DEVICE_WIDTH", whole(setup.memory.width)},
          {"NUM_DEVICES", whole(setup.width() / setup.memory.width * ranks_of(setup))},
          {"DATA_WIDTH", whole(setup.data_width)},
          {"ECC_WIDTH", whole(setup.width() - setup.data_width)},
          {"DQ_WIDTH", whole(count_of(interface, SignalClass::data))},
          {"DQS_WIDTH", whole(count_of(interface, SignalClass::strobe))},
          {"DM_WIDTH", whole(count_of(interface, SignalClass::mask))},
          {"CK_WIDTH", whole(count_of(interface, SignalClass::clock))},
          {"ADDRESS_WIDTH", whole(count_of(interface, SignalClass::address))},
          {"RANKS", whole(setup.ranks)},
          {"SLOTS", whole(setup.slots)},
          {"TOTAL_RANKS", whole(ranks_of(setup))},
          {"TIME_PERIOD", number::plain(setup.period_ps)},
          {"DATA_RATE", whole(std::min(setup.rate_mbps(), setup.memory.rate_mbps))},
          {"RATIO", whole(setup.clock_ratio) + ":1"},
          {"UI_CLOCK", number::fixed(1e12 / (setup.period_ps * setup.clock_ratio), 0)},
          {"BURST_LENGTH", whole(setup.kind->burst)}};
}

}  // namespace kdi::place
