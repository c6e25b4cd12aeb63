// Pins of a plain serial interface: buses on nibbles, beside what other controllers of the part have.
//
// Options: `-buses` is a list of buses, each `name,direction,width,standard,clock,clock_standard,rate,ratio,bias` with
// what stands last left out or `-`; docs/memory-controllers.md tells them all.
#pragma once

#include <string>
#include <vector>

#include "kdi/common/KdiTypes.h"
#include "kdi/device/Device.h"
#include "kdi/planning/Buses.h"
#include "kdi/planning/Occupancy.h"

namespace kdi::coregen {

/// Options that tell of a serial interface, beside those of a memory.
inline constexpr char const* kSerialOptions[] = {
    "-buses", "-banks", "-max_banks", "-banks_in_triplet", "-system_clock", "-system_clock_standard"};

class SerialPlan {
 public:
  /// Places the buses. Throws a std::string for words that cannot be read, buses that cannot be, and where there is no
  /// room.
  SerialPlan(device::Part const& part, OptionMap const& options, planning::Seat& seat);
  SerialPlan(SerialPlan const&) = delete;
  SerialPlan& operator=(SerialPlan const&) = delete;

  /// By port `bank,lane,nibble,site,pin,standard`.
  OptionMap places() const;
  /// By nibble, `<bank>_<number>`, the ports in the order of sites, `-` where it is free; of nibbles that have one.
  PinMap nibbles() const;
  /// By strobe the nibbles that it clocks, by hops.
  PinMap captured() const;
  /// The plan as parameters: NUM_BANKS, BANKS, and of each nibble NIBBLE_, STANDARD_ and, where it is clocked by one,
  /// STROBE_.
  OptionMap parameters() const;

 private:
  void read(OptionMap const& options);
  void place(planning::Seat& seat);
  std::string name_of(planning::Nibble const& nibble) const;
  std::vector<std::vector<int>> signals_by_nibble() const;  ///< of each site; -1: free

  planning::Layout layout_;
  planning::NibbleMap map_;
  planning::BusRequest request_;
  planning::BusInterface interface_;
  std::vector<int> pads_;
};

}  // namespace kdi::coregen
