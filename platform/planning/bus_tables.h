// What fits into one bank: a bus into which nibbles, and which buses together.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <tuple>
#include <unordered_map>
#include <utility>
#include <vector>

#include "platform/planning/bus_facts.h"

namespace kdi::planning {

/// Nibbles of a bank, a bit each.
using NibbleSet = unsigned;
/// Kinds of buses, a bit each.
using KindSet = unsigned;
/// Hops of strobes in a bank.
using Hops = std::uint16_t;
inline constexpr Hops kNoWay = 0xFFFF;

/// Buses that differ in nothing but their names, and that nobody has asked to be anywhere.
struct BusKind {
  std::vector<int> buses;
  int step = 0;  ///< of a count of them in a Selection
};

/// So many buses of each kind, as one number: the sum of count and step.
using Selection = int;

/// One way to put a bus into a bank.
struct BusPlacing {
  NibbleSet nibbles = 0;  ///< that have a signal of it
  Hops hops = 0;
  std::vector<int> pads;  ///< in the order of its signals
};

/// The selections that fit into a bank, each with the fewest hops.
using Fits = std::vector<std::pair<Selection, Hops>>;

/// Fits by all that they depend on: banks that are alike are looked at once, and those of requests that differ
/// elsewhere.
using KnownFits = std::unordered_map<std::string, Fits>;

/// A request made ready.
class BusProblem {
 public:
  /// `known` are fits of other requests on any layout, to which those of this one come; it outlives the problem. Null:
  /// nothing is known.
  BusProblem(BusRequest const& request, BusInterface const& wanted, KnownFits* known = nullptr);
  BusProblem(BusProblem const&) = delete;
  BusProblem& operator=(BusProblem const&) = delete;

  BusRequest const& request() const { return request_; }
  NibbleMap const& map() const { return *request_.nibbles; }
  Layout const& layout() const { return *request_.layout; }

  std::vector<BusKind> const& kinds() const { return kinds_; }
  int kind_of(int bus) const { return kind_of_[static_cast<std::size_t>(bus)]; }
  /// One more than the selection of all buses.
  int selections() const { return static_cast<int>(packed_.size()); }
  int count(Selection selection, int kind) const;
  /// Whether `more` beside `some` is no more than `all`, of which `some` is no more.
  bool adds(Selection some, Selection more, Selection all) const {
    return ((((packed_[static_cast<std::size_t>(all)] | guards_) - packed_[static_cast<std::size_t>(some)]) -
             packed_[static_cast<std::size_t>(more)]) &
            guards_) == guards_;
  }
  /// Kinds that can be in a bank with the kind, and with the system clock.
  KindSet beside(int kind) const { return beside_[static_cast<std::size_t>(kind)]; }
  KindSet beside_clock() const { return beside_clock_; }

  /// Pads for the system clock in a bank of the map, the positive ones.
  std::vector<int> clock_pads(int bank) const;
  /// Of the lane of a nibble, in its column.
  int lane_position(int bank, int nibble) const;

  /// The selections that fit into the nibbles `open` of a bank, but for the one of none, each with the fewest hops.
  /// Beside the system clock at `clock_pad` (of this bank, or -1), and of no other kinds than `kinds`.
  Fits const& fits(int bank, NibbleSet open, int clock_pad, KindSet kinds) const;

  /// All ways to put a bus into the nibbles `open`, with at most so many hops, each with its least pads.
  void each_placing(int bus, int bank, NibbleSet open, int clock_pad, int most_hops,
                    std::function<void(BusPlacing&&)> const& take) const;

 private:
  struct Site {  // of a strobe or clock
    int pad = -1;
    unsigned mask = 0;  // of pads in its nibble
  };
  struct View {  // of a bus in a bank, beside the system clock
    bool is_barred = false;
    std::vector<unsigned> open;             // by nibble: pads that it can have
    std::vector<std::vector<Site>> clocks;  // by nibble
    std::vector<int> pinned_data;           // by nibble
    NibbleSet pinned = 0;                   // with any signal that is asked for
    int to_place = 0;                       // data signals
    bool is_pair = false;
    bool has_clock = false;
  };

  void sort_kinds();
  void take_wishes();
  void read_banks();
  std::string text_of_buses() const;
  std::string state_of(int bank) const;
  Fits found_fits(int bank, NibbleSet open, int clock_pad, KindSet kinds) const;
  unsigned bit_of(int pad) const;
  int nibble_of(int pad) const { return map().nibble_of_pad[static_cast<std::size_t>(pad)]; }
  unsigned clock_mask(int clock_pad) const;
  View view(int bus, int bank, int clock_pad) const;
  int room(View const& view, unsigned open, int nibble) const;
  std::vector<Hops> const& way_costs(int bus, int bank, int clock_pad) const;
  std::vector<std::pair<NibbleSet, Hops>> const& least_ways(int kind, int bank, int clock_pad) const;
  bool reaches(Bus const& bus, NibbleBank const& bank, int hops) const;
  bool fill(View const& view, int bus, int bank, NibbleSet nibbles, Site const& clock, int clock_nibble,
            BusPlacing& placing) const;

  BusRequest const& request_;
  BusInterface const& wanted_;
  BankNeeds needs_;
  std::vector<BusKind> kinds_;
  std::vector<int> kind_of_;
  std::vector<std::uint64_t> packed_;  // by selection: five bits a kind
  std::uint64_t guards_ = 0;
  std::vector<KindSet> beside_;
  KindSet beside_clock_ = 0;
  std::vector<int> first_signal_;          // of a bus
  std::vector<int> wish_;                  // by signal
  std::vector<unsigned> usable_;           // by nibble of the map, but for what is asked for
  std::vector<std::vector<bool>> barred_;  // by bank of the map: bus, the system clock last
  std::vector<bool> owned_;                // by nibble: another interface's
  std::vector<std::string> states_;        // by bank of the map: what fits depend on, but for a clock and what is open
  KnownFits own_;
  KnownFits& known_;
  mutable std::map<std::tuple<int, NibbleSet, int, KindSet>, Fits const*> fits_;
  mutable std::map<std::tuple<int, int, int>, std::vector<Hops>> costs_;
  mutable std::map<std::tuple<int, int, int>, std::vector<std::pair<NibbleSet, Hops>>> ways_;
};

}  // namespace kdi::planning
