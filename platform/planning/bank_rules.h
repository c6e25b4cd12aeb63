// What a bank must be for the pins of an interface, as a whole.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "kdi/planning/Placement.h"

namespace kdi::planning {

/// The standards that an interface has in banks of a kind; null if it has none there.
StandardSet const* standards_for(PlacementRequest const& request, std::string const& bank_kind);

struct BankNeeds {
  bool controlled = false;      ///< some standard is measured by the impedance pads
  std::string input_reference;  ///< of an input of the interface; empty: none
};
BankNeeds needs_of(PlacementRequest const& request, StandardSet const& standards);

struct BankFault {
  std::string rule;
  std::string text;
  std::vector<int> pads;
};
/// Why no pin of the interface may be in the bank; an empty rule if it may. `taken` are the pads that others have in
/// it.
BankFault bank_fault(PlacementRequest const& request, int bank, std::vector<TakenPad const*> const& taken);

/// Whether the pad of a bank that fits is for no signal at all; the rule that says so, or empty.
std::string pad_fault(PlacedPad const& pad, BankNeeds const& needs, bool internal_reference);

/// What pins that are to come into a bank want of it.
struct BankWish {
  std::string vcco_v;
  std::string reference;  ///< of their inputs; empty: none
  BankNeeds const& needs;
  bool internal_reference;
};
/// Why they cannot be there beside the pads that others have; an empty rule if they can. `bank` is called so.
BankFault taken_fault(Layout const& layout, std::string const& bank, BankWish const& wish,
                      std::vector<TakenPad const*> const& taken);

/// A rule that signals break, told with some of them by their names and pads.
Violation violation_of(std::string rule, std::vector<int> signals, std::string const& what, Layout const& layout,
                       std::vector<int> const& pads, std::function<std::string(int)> const& name_of);

}  // namespace kdi::planning
