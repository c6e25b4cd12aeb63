// Boards: tables of pins, what of the rules they break, and which swaps would mend it.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "kdi/common/KdiDoor.h"
#include "kdi/planning/Wanted.h"

namespace kdi::planning {

struct PinRow {
  int line = 0;
  std::string signal;    ///< or net
  std::string ball;      ///< in capitals
  std::string standard;  ///< empty: not told
  std::string direction;
  std::string by;  ///< whose pin it is; empty: not told
};

/// A table of pins, or a netlist: comma-separated values (RFC 4180; semicolons or tabs where the heading has these)
/// with a heading that names the columns `signal` (or `net`, `port`, `name`) and `ball` (or `pin`), and may name
/// `standard`, `direction`, `by` and `component` (or `ref`, `refdes`). Other columns are passed over, and so are rows
/// of other components than `component`, if that is not empty. Throws a std::string, `name:line: field: reason`.
KDI_DOOR std::vector<PinRow> read_pin_table(std::string_view text, std::string const& name,
                                            std::string const& component);

/// The rows as pads that others have, in a layout; balls of no I/O bank are passed over.
KDI_DOOR std::vector<TakenPad> taken_by_rows(Layout const& layout, std::vector<PinRow> const& rows);

struct BoardPins {
  std::vector<int> pad_of_signal;  ///< -1: no row
  std::vector<TakenPad> others;    ///< rows of other signals
};
/// Rows by the signals of an interface. Names count without regard to case, to the controller's prefix, and to how an
/// index is written: `c0_ddr4_dq[3]`, `DQ3`, `dq<3>`. Throws a std::string for a signal with two rows or with a ball
/// that is in no I/O bank.
KDI_DOOR BoardPins pins_of_rows(Layout const& layout, Interface const& interface, std::vector<PinRow> const& rows);

/// Two signals of a port that a mirrored rank has the other way around.
struct MirrorPair {
  std::string port;
  int first = 0, second = 0;
};
struct SwapRule {
  std::string what;
  std::vector<std::string> types;        ///< of memory
  std::vector<std::string> not_modules;  ///< kinds of modules for which it does not hold
  std::vector<MirrorPair> pairs;         ///< of `mirror`
  std::string text;
  std::string source;
  bool bound_by_checksum = false;  ///< not where a checksum is made of the bits by their places
};
/// data/board/swaps.json. Throws kdi::FileError and kdi::JsonError.
KDI_DOOR std::vector<SwapRule> const& swap_rules();

/// Things of which any two may change places on a board: for the controller that changes nothing but what a rule says.
struct SwapItem {
  std::string name;
  std::vector<int> signals;  ///< each changes with the one that stands as far on in another item
};
struct SwapClass {
  std::string what;  ///< bit, nibble, byte, rank, mirror
  std::vector<SwapItem> items;
};
/// Items of one class share no signal; bits are within one nibble or byte, or in none.
KDI_DOOR std::vector<SwapClass> permitted_swaps(InterfaceRequest const& request, Interface const& interface,
                                                bool checksum);

struct Swap {
  std::string what, first, second;           ///< of its class
  std::vector<std::pair<int, int>> signals;  ///< each of the first with its counterpart
};
struct Mending {
  std::vector<Swap> swaps;  ///< in this order
  std::vector<int> pads;    ///< after them
  std::vector<Violation> left;
  bool is_fewest = false;  ///< proven: no swaps leave fewer signals in breach, and no fewer swaps leave as few
  int at_least = 0;        ///< swaps of whatever leaves as few signals in breach
};
/// The fewest swaps that leave the fewest signals in breach. Things that have a signal without a pad stay,
/// and nibbles with the other one of their byte.
KDI_DOOR Mending mend(PlacementRequest const& request, std::vector<int> const& pads,
                      std::vector<SwapClass> const& classes);

}  // namespace kdi::planning
