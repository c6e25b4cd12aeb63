// Pads for buses between serialisers and a board: the best placement in nibbles, or the proof that there is none.
//
//   BusRequest request;
//   request.layout = &layout;
//   request.nibbles = &map;
//   request.buses = {{.name = "rx", .direction = BusDirection::receive, .width = 16, .standard = "LVDS15", ...}};
//   const BusInterface wanted = bus_interface_of(request);
//   const BusResult result = place_buses(request, wanted);
//
// What may be where, by rules with an identifier each, and what best means says docs/placement-rules.md.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "kdi/common/KdiDoor.h"
#include "kdi/planning/Nibbles.h"
#include "kdi/planning/Placement.h"

namespace kdi::planning {

inline constexpr int kMostBuses = 12;
inline constexpr int kMostBusWidth = 128;

enum class BusDirection { receive, transmit, bidirectional };
/// What goes with the data: a strobe that comes with them and captures them, a clock that is sent with them, or nothing
/// (what is received so is captured by the system clock).
enum class BusClock { none, strobe, forwarded };

/// Signals of one kind that go together. Each nibble that has one of them has signals of no other bus.
struct Bus {
  std::string name;  ///< of its ports: rx_p[0], rx_n[0], rx_strobe_p, rx_strobe_n; rx[0], rx_clk
  BusDirection direction = BusDirection::receive;
  int width = 1;         ///< data signals, a pair counting as one
  std::string standard;  ///< of the data; a differential one makes pairs
  BusClock clock = BusClock::none;
  std::string clock_standard;  ///< of the strobe or clock
  int rate_mbps = 0;           ///< of a data signal
  int ratio = 1;               ///< bits of the data signal in a word of the fabric
  std::string bias;            ///< level of the DC bias, which a bank has one of; empty: none
  std::string termination;     ///< empty: none

  bool operator==(Bus const&) const = default;
};

struct BusRequest {
  Layout const* layout = nullptr;      ///< never null
  NibbleMap const* nibbles = nullptr;  ///< of the layout; never null
  std::vector<Bus> buses;              ///< 1 to kMostBuses
  SystemClock system_clock = SystemClock::none;
  std::string system_clock_standard;
  std::string grade;  ///< speed grade of the device; empty: the fastest
  std::vector<TakenPad> taken;
  std::vector<int> banks;  ///< numbers of those that may be used; none: all
  int most_banks = 0;      ///< 0: any number
  int most_banks_of_triplet = kBanksOfTriplet;
  bool internal_reference = false;
  std::vector<int> pad_of_signal;  ///< asked for by the user, -1 where free; may be empty
};

struct BusSignal {
  enum class Role { data, strobe, forwarded_clock, system_clock };
  std::string name;  ///< rx_p[3]
  std::string port;  ///< rx_p
  int index = -1;    ///< of a vector
  int bus = -1;      ///< -1: the system clock
  Role role = Role::data;
  std::string direction;  ///< in, out, inout
  std::string standard;
  int partner = -1;  ///< the other signal of a pair
  bool negative = false;
};

struct KDI_DOOR BusInterface {
  /// Bus by bus: strobe or clock, then the data; the system clock last. A pair is positive, then negative.
  std::vector<BusSignal> signals;
  /// -1 if there is none.
  int signal(std::string_view name) const;
};

/// Throws a std::string, in words for the user, for a bus that cannot be: its width, ratio, rate or standard.
KDI_DOOR BusInterface bus_interface_of(BusRequest const& request);

/// Lower is better, from the first to the last.
struct BusObjective {
  int banks = 0;       ///< that have a signal
  int crossings = 0;   ///< hops of the strobes to the nibbles that they capture, all together
  int lanes = 0;       ///< from the first to the last
  int off_centre = 0;  ///< twice the distance of the system clock's lane from the middle of these
  bool operator==(BusObjective const&) const = default;
  auto operator<=>(BusObjective const&) const = default;
};

struct BusPlan {
  std::vector<int> pad_of_signal;
  BusObjective objective;
};

/// Why buses have no place: for each part of the device that could have them, which buses fit into which bank together,
/// and for each pad of the system clock which then fit into the bank of that. No choice of banks has all.
struct BusRefutation {
  /// The sets of buses (a bit each) that fit into a bank and into no larger set that does.
  struct BankFits {
    int bank = 0;  ///< of the layout
    std::vector<unsigned> most;
  };
  struct Clock {
    int pad = -1;   ///< the positive one
    BankFits bank;  ///< beside it; in all other banks it changes nothing
  };
  struct Part {
    int column = 0;
    int slr = 0;
    std::vector<BankFits> banks;
    std::vector<Clock> clocks;  ///< none where there is no system clock, or nothing holds it
  };
  std::string pinned;  ///< not empty: a wish that a rule forbids, in words; then there is nothing else
  std::vector<Part> parts;
};

struct BusResult {
  std::optional<BusPlan> plan;
  std::optional<BusRefutation> refutation;  ///< exactly one of the two
};

/// The most data signals of a bus of the request, by its index, that one of the banks has pads for, whoever has these
/// now; 0 if none can have the bus for another reason. With a strobe or clock there are fewer still.
KDI_DOOR int most_data_in_bank(BusRequest const& request, int bus);

/// `wanted` is the request's. Throws nothing of its own.
KDI_DOOR BusResult place_buses(BusRequest const& request, BusInterface const& wanted);

/// What a plan, which may be in part, breaks.
KDI_DOOR std::vector<Violation> bus_violations(BusRequest const& request, BusInterface const& wanted,
                                               std::vector<int> const& pad_of_signal);
/// Of a plan that is whole.
KDI_DOOR BusObjective bus_objective_of(BusRequest const& request, BusInterface const& wanted,
                                       std::vector<int> const& pad_of_signal);

/// The reason in a sentence for the user.
KDI_DOOR std::string reason_of(BusRequest const& request, BusRefutation const& refutation);

/// A nibble that a strobe captures.
struct CapturedNibble {
  int nibble = 0;    ///< of the map
  int hops = 0;      ///< from the strobe's
  int bit_slip = 0;  ///< bits by which its words come later than those of the strobe's nibble
};
/// By strobe signal (the positive one) the nibbles with data of its bus, by hops, then by index.
KDI_DOOR std::vector<std::pair<int, std::vector<CapturedNibble>>> captures_of(BusRequest const& request,
                                                                              BusInterface const& wanted,
                                                                              std::vector<int> const& pad_of_signal);

}  // namespace kdi::planning
