// The pins of one controller: where its signals are, what the user asks of them, and what stands in the way.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "kdi/common/KdiTypes.h"
#include "kdi/device/Device.h"
#include "kdi/planning/Occupancy.h"
#include "kdi/planning/Placement.h"
#include "kdi/planning/Standards.h"

namespace kdi::coregen {

/// What is to be placed.
struct PinsWanted {
  device::Part const* part = nullptr;  ///< never null
  std::string instance;                ///< for messages
  planning::InterfaceRequest interface;
  std::vector<std::string> bank_kinds;  ///< that the controller may use
  std::string voltage;                  ///< "1.2V"; empty: any that the memory has
  double period_ps = 0;
  double input_period_ps = 0;  ///< of the system clock; 0: not told
  bool internal_reference = false;
};

/// A layout whose pads and balls are found by their names at once.
struct NamedLayout {
  planning::Layout layout;
  std::unordered_map<std::string_view, int> pads, balls;  ///< of names in the layout
};

/// What follows from the pads that a controller and all others of its part have, until one of these moves.
template <class Value>
class Kept {
 public:
  /// Makes it by `make(what others have)` if it is not known as it is now.
  template <class Make>
  Value& get(planning::Seat const& seat, Make make) {
    if (!known_ || version_ != seat.version()) {
      planning::Occupancy::Seen seen = seat.others();
      known_ = make(std::move(seen.taken));
      version_ = seen.version;
    }
    return *known_;
  }

 private:
  std::optional<Value> known_;
  std::uint64_t version_ = 0;
};

class PinPlan {
 public:
  /// Places the interface beside what others have. Where that cannot be, no signal has a pad, and fault() tells why.
  /// Throws a std::string for an interface that the memory does not have.
  PinPlan(PinsWanted wanted, planning::Seat& seat);
  PinPlan(PinPlan const&) = delete;
  PinPlan& operator=(PinPlan const&) = delete;

  PinsWanted const& wanted() const { return wanted_; }
  planning::Layout const& layout() const { return layout_->layout; }
  planning::Interface const& interface() const { return interface_; }
  std::vector<int> const& pads() const { return pads_; }
  int pad(int signal) const { return pads_[static_cast<std::size_t>(signal)]; }
  std::string const& fault() const { return fault_; }

  // Words; each throws a std::string for one that is none.
  int signal_of(std::string const& name) const;
  int pad_of(std::string const& name) const;
  int pad_of_ball(std::string const& ball) const;
  int bank_of(std::string const& number) const;
  int lane_of(std::string const& bank, std::string const& lane) const;
  /// -1 of all, 0 of the one that there is.
  void check_controller(std::string const& controller) const;

  std::string ball(int signal) const;
  std::string bank(int signal) const;
  std::string lane(int signal) const;
  std::string standard(int signal) const;
  /// Null of a signal without a pad.
  planning::IoStandard const* standard_at(int signal) const { return standards_[static_cast<std::size_t>(signal)]; }
  std::vector<planning::IoStandard const*> const& standards() const { return standards_; }
  /// How many banks have a signal.
  int banks_used() const { return banks_used_; }
  /// The signal on a pad; -1 if there is none.
  int signal_on(int pad) const;

  /// Groups with bank and lane: those of bytes, and `Address/Ctrl-<n>` for each lane of the address block.
  using Groups = std::vector<std::pair<std::string, int>>;  ///< lane of the layout; -1: not placed
  Groups groups() const { return groups_of(pads_); }
  /// As if nothing of this controller were placed.
  Groups proposal() const;
  std::vector<int> signals_of(std::string const& group) const;

  /// Puts groups into lanes; others stay, or with `anew` are without pads. Refused with the rule that would be broken;
  /// with `dropped` groups that fit no more are told there and are without pads.
  void put_groups(Groups const& groups, bool anew, std::vector<std::string>* dropped);
  /// A signal on a pad, with the other of its pair; -1 takes it off.
  void put_signal(int signal, int pad);

  /// 1: whole and valid, 0: open, -1: a rule is broken.
  int status();
  int status_of(std::string const& group);

  /// What banks are good for as if nothing of this controller were placed.
  std::vector<planning::BankUse> const& bank_uses();
  /// The same in words, by number of the bank.
  OptionMap const& bank_texts();
  /// Pads for a signal beside all others, by rank.
  std::vector<int> const& pads_for(int signal);

  /// The request with what others have now.
  planning::PlacementRequest request() const;

 private:
  Groups groups_of(std::vector<int> const& pads) const;
  std::vector<int> address_lanes(std::vector<int> const& pads) const;
  void place();
  void look_at_pads();
  std::vector<planning::TakenPad> claims(std::vector<int> const& pads) const;
  planning::PlacementRequest request_beside(std::vector<planning::TakenPad> taken) const;
  /// Changes the pads by `change(request, pads)`, which throws to refuse.
  template <class Change>
  void change(Change change);
  void put_group(planning::PlacementRequest const& request, std::vector<int>& pads, std::string const& group,
                 int lane) const;

  std::vector<planning::Violation> const& violations();

  PinsWanted wanted_;
  std::shared_ptr<NamedLayout const> layout_;
  planning::Interface interface_;
  planning::PlacementRequest base_;
  std::vector<int> pads_;
  std::unordered_map<std::string_view, int> signals_;  ///< by name, of the interface
  std::string fault_;
  planning::Seat& seat_;
  Kept<std::vector<planning::Violation>> violations_;
  std::vector<planning::IoStandard const*> standards_;  ///< by signal
  int banks_used_ = 0;
  Kept<std::vector<planning::BankUse>> bank_uses_;
  Kept<OptionMap> bank_texts_;
  Kept<std::map<int, std::vector<int>>> pads_for_;
};

}  // namespace kdi::coregen
