// Pads for the signals of an interface: the best placement, or the proof that there is none.
//
// What may be where, by rules with an identifier each, and what best means says docs/placement-rules.md.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "kdi/common/KdiDoor.h"
#include "kdi/planning/Interface.h"
#include "kdi/planning/Layout.h"

namespace kdi::planning {

/// Banks of one controller lie in so many rows that follow each other.
inline constexpr int kMostRows = 5;

/// A pad that another has.
struct TakenPad {
  int pad = 0;
  std::string by;          ///< for messages
  std::string standard;    ///< empty: unknown, it binds nothing but the pad
  bool is_input = false;   ///< its standard's reference voltage counts
  bool owns_lane = false;  ///< its lane is for no other controller of a memory, and for no buses
  bool of_bus = false;     ///< with `owns_lane`: for buses its nibble alone is none
};

struct PlacementRequest {
  Layout const* layout = nullptr;        ///< never null
  Interface const* interface = nullptr;  ///< never null
  std::vector<StandardSet> standards;    ///< that the interface may have, by kind of bank: the first that has the kind
  int rate_mbps = 0;
  std::string grade;  ///< speed grade of the device; empty: the fastest
  bool internal_reference = false;
  std::vector<TakenPad> taken;
  std::vector<int> banks;          ///< numbers of those that may be used; none: all
  std::vector<int> lane_of_unit;   ///< asked for by the user, -1 where free; may be empty
  std::vector<int> pad_of_signal;  ///< likewise
};

/// Lower is better, from the first to the last.
struct Objective {
  int banks = 0;
  int lanes = 0;       ///< from the first to the last
  int off_centre = 0;  ///< twice the distance of the address block's centre from the centre of the lanes
  bool operator==(Objective const&) const = default;
};

struct Plan {
  std::vector<int> pad_of_signal;  ///< -1: not placed
  Objective objective;
};

/// Why there is no placement: a tree in which each node is a question that every placement answers, with a branch for
/// each answer, and each leaf something that cannot be.
struct Refutation {
  enum class Kind {
    window,         ///< question: in which rows of a column; `first` and `last` are banks of the layout
    address,        ///< question: in which lanes is the address block; branches hold for more lanes as well
    system_clock,   ///< question: on which pad is the system clock (its positive one)
    sets,           ///< question: in which bank is a set of units that one strobe clocks
    near,           ///< question: which unit (`first`) is in which lane (`last`) near the system clock
    overfull,       ///< leaf: `units` have no other lanes than `lanes`, which are fewer
    empty,          ///< leaf: nothing holds what is asked for: there are no answers to a question
    bank_overfull,  ///< leaf: the sets of `units` do not fit into one bank together
    far_clock,      ///< leaf: the system clock has none of the controller's signals in its bank or a neighbour
    pinned,         ///< leaf: a signal or group is asked for where a rule forbids it; `what` says
  };
  struct Branch;

  Kind kind = Kind::empty;
  std::string what;  ///< of a leaf: what it is that nothing holds, in a word or, of wishes, in words
  std::vector<int> units;
  std::vector<int> lanes;
  int set = -1;
  std::vector<Branch> branches;
};

struct Refutation::Branch {
  int first = -1;  ///< banks, lanes, a pad, or a bank, as the question is
  int last = -1;
  Refutation why;
};

struct PlacementResult {
  std::optional<Plan> plan;
  std::optional<Refutation> refutation;  ///< exactly one of the two
};

/// Throws nothing of its own.
KDI_DOOR PlacementResult place(PlacementRequest const& request);
/// Whether there is a placement at all, which takes a small part of the time that the best one takes.
KDI_DOOR bool can_place(PlacementRequest const& request);

/// In words for the user.
KDI_DOOR std::string reason_of(Refutation const& refutation, Layout const& layout, Interface const& interface);

/// One breach of a rule.
struct Violation {
  std::string rule;
  std::vector<int> signals;
  std::vector<int> pads;
  std::string text;
};

/// What a plan, which may be in part, breaks. Ask of a whole plan whether it is one by `is_whole`.
KDI_DOOR std::vector<Violation> violations(PlacementRequest const& request, std::vector<int> const& pad_of_signal);
KDI_DOOR bool is_whole(std::vector<int> const& pad_of_signal);
/// Of a plan that is whole.
KDI_DOOR Objective objective_of(PlacementRequest const& request, std::vector<int> const& pad_of_signal);

/// The least pads for the signals of a unit in a lane, or of the address block in lanes of which each gets one at
/// least, beside signals that are placed (`pads`, without those of the unit or block). Nothing if there is no room.
KDI_DOOR std::optional<std::vector<int>> fill_unit(PlacementRequest const& request, std::vector<int> pads, int unit,
                                                   int lane);
KDI_DOOR std::optional<std::vector<int>> fill_address(PlacementRequest const& request, std::vector<int> pads,
                                                      std::vector<int> const& lanes);

/// The pads on which a signal, with the other one of its pair beside it, breaks no rule with all others where they are,
/// by rank.
KDI_DOOR std::vector<int> pads_for(PlacementRequest const& request, std::vector<int> const& pads, int signal);

/// What a bank is good for.
struct BankUse {
  std::string rule;        ///< that bars the bank; empty: none
  std::string reason;      ///< in words
  int free_lanes = 0;      ///< into which some unit fits
  std::vector<int> units;  ///< that fit into a lane of it
  bool address = false;    ///< there is room for a signal of the address block
};
/// By bank of the layout, beside signals that are placed.
KDI_DOOR std::vector<BankUse> bank_uses(PlacementRequest const& request, std::vector<int> const& pads);

/// The standard of a signal in a bank; empty if the interface has none there.
KDI_DOOR std::string standard_of(PlacementRequest const& request, int signal, int bank);

}  // namespace kdi::planning
