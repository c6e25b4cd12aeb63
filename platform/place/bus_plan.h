// Where the ports of buses are: planned, or as a user tells it.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "kdi/device/Device.h"
#include "kdi/planning/Buses.h"
#include "platform/place/answers.h"

namespace kdi::place {

/// Of what sites the banks of an interface are.
enum class SiteGroup { nibble, octad };

/// What is asked for, as the planner takes it.
struct BusSetup {
  std::shared_ptr<planning::Layout const> layout;
  std::shared_ptr<planning::NibbleMap const> nibbles;
  planning::BusRequest request;                     ///< of these two
  planning::BusInterface wanted;                    ///< with the names that the user gives
  std::vector<int> slips;                           ///< by bus of the request: bits that the user asks for
  std::map<std::string, std::string> terminations;  ///< by port, where the user asks for one
  std::vector<int> other_banks;                     ///< numbers of those of the same sites that are not selected
};

/// Throws a std::string for settings and ports that there are not. `taken` are the pads of others.
BusSetup bus_setup(device::Part const& part, SiteGroup group, Asked const& what, std::vector<planning::TakenPad> taken);

class BusPlan {
 public:
  /// The best plan with ports where `what` has them, which may be none or all. Throws a std::string as bus_setup does,
  /// for places that break a rule, naming it, and where there is no plan, saying why.
  BusPlan(device::Part const& part, SiteGroup group, Asked const& what, std::vector<planning::TakenPad> taken);
  BusPlan(BusPlan const&) = delete;
  BusPlan& operator=(BusPlan const&) = delete;

  planning::Layout const& layout() const { return *setup_.layout; }
  planning::BusRequest const& request() const { return setup_.request; }
  planning::BusInterface const& interface() const { return setup_.wanted; }
  std::vector<int> const& pads() const { return pads_; }

  /// Its pads, as others have to know them.
  std::vector<planning::TakenPad> claims() const;
  PortPads port_pads() const;
  std::string const& standard(std::string const& port) const;
  /// By strobe port, the positive one, the nibbles that it captures, in the order of hops.
  std::map<std::string, std::vector<std::string>> strobes() const;
  PlanWords words() const;
  std::map<std::string, PinInfo> pin_info() const;
  OptionMap constraints() const;
  /// Numbers of the banks that have a port, ascending.
  std::vector<int> banks() const;
  /// The master of the triplet with the system clock; without one of that with the first port.
  int master_bank() const;
  /// -1 without a system clock.
  int system_clock_bank() const;

 private:
  int bank_number(int pad) const;

  BusSetup setup_;
  std::vector<int> pads_;
};

/// Plans buses for an instance, beside what others have, and answers from the plan.
template <class Answer>
auto plan_of_buses(State& state, SiteGroup group, Asked const& what, Answer answer) {
  return plan_beside_others(
      state, group == SiteGroup::nibble ? "nibbles" : "octads", what,
      [&](Asked const& asked, std::vector<planning::TakenPad> taken) {
        return std::make_unique<BusPlan const>(*state.part, group, asked, std::move(taken));
      },
      answer);
}

/// Ports of the buses that settings have, vectors as one.
std::vector<CoreInterface> interfaces_of_buses(Settings const& settings);

}  // namespace kdi::place
