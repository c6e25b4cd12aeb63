// Where the ports of a memory interface are: planned, of a controller in silicon, or as a user tells it.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "kdi/planning/Placement.h"
#include "platform/place/locations.h"
#include "platform/place/memory_setup.h"
#include "platform/place/parameters.h"

namespace kdi::place {

class MemoryPlan {
 public:
  /// The best plan with ports where `told` has them, which may be none or all. Throws a std::string for ports that
  /// there are not, for places that break a rule, naming it, and where there is no plan, saying why.
  /// `taken` are the pads of others.
  MemoryPlan(device::Part const& part, MemorySetup setup, Locations const& told,
             std::vector<planning::TakenPad> taken = {});
  MemoryPlan(MemoryPlan const&) = delete;
  MemoryPlan& operator=(MemoryPlan const&) = delete;

  MemorySetup const& setup() const { return setup_; }
  planning::Layout const& layout() const { return *layout_; }
  planning::Interface const& interface() const { return interface_; }
  planning::PlacementRequest const& request() const { return request_; }
  std::vector<int> const& pads() const { return pads_; }

  /// Its pads, as others have to know them.
  std::vector<planning::TakenPad> claims() const;
  PortPads port_pads() const;
  std::string standard(std::string const& port) const;
  /// By strobe port, the positive one, the nibbles that it clocks, in the order of hops from its own.
  std::map<std::string, std::vector<std::string>> strobes() const;
  PlanWords words() const;
  std::map<std::string, PinInfo> pin_info() const;
  OptionMap constraints() const;
  /// Numbers of the banks that have a port, ascending.
  std::vector<int> banks() const;
  /// The bank that has the middle of the address block; where the device has triplets, the master of its triplet.
  int master_bank() const;
  /// -1 without a system clock.
  int system_clock_bank() const;

 private:
  int pad(int signal) const { return pads_[static_cast<std::size_t>(signal)]; }
  int bank_of(int signal) const { return layout_->bank_of_pad(pad(signal)); }
  void take(Locations const& told);
  void check() const;

  MemorySetup setup_;
  std::shared_ptr<planning::Layout const> layout_;
  planning::Interface interface_;
  planning::PlacementRequest request_;
  std::vector<int> pads_;
};

/// Of a controller in silicon that the settings do not name it is the first whose pads are free, and where `told` says.
std::unique_ptr<MemoryPlan const> memory_plan(device::Part const& part, MemoryUse use, Settings const& settings,
                                              Locations const& told, std::vector<planning::TakenPad> const& taken);

/// Layouts never change: one for each part that is asked for.
std::shared_ptr<planning::Layout const> layout_of(device::Part const& part);

/// The nibbles of pads that a strobe in `from` clocks: its own first, then by the number of nibbles between them. All
/// of one bank.
std::vector<std::string> nibbles_by_hops(planning::Layout const& layout, int from, std::vector<int> const& pads);

/// Ports of an interface to a memory: vectors as one.
std::vector<CoreInterface> interfaces_of(MemorySetup const& setup);
/// Derived widths, rates and ranks.
OptionMap configuration_of(MemorySetup const& setup);

/// What is said of a signal: Data, Strobe, Address, Control or InputClock.
std::string role_of(planning::Signal const& signal);

}  // namespace kdi::place
