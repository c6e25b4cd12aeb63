// A request without some of what stands in its way, made by changing copies of what it points to: the planner itself
// knows no exceptions.
#pragma once

#include <string>
#include <vector>

#include "kdi/planning/Diagnosis.h"
#include "platform/planning/hitting_sets.h"

namespace kdi::planning {

enum class Waiver {
  wish,       ///< where the user wants a group, the addresses or the system clock
  selection,  ///< the banks that the user selected
  pads,       ///< pads that somebody has in a bank
  owners,     ///< lanes are their controllers' alone
  reference,
  voltage,
  kind,
  configuration_pad,
  impedance_pad,
  reference_pad,
  bonded,
  strobe_site,
  strobe_pair,
  strobe_reach,
  clock_pair,
  clock_site,
  clock_near,
  address_adjacent,
  one_slr,
  one_column,
};

struct Element {
  Waiver waiver;
  Obstacle obstacle;
  int unit = 0;    ///< of a wish: also Signal::kAddress and kSystem
  std::string by;  ///< of pads
  int bank = -1;
  int parts = 1;  ///< of the address block, where its lanes need not follow each other
};

/// What the request could be planned without, what people can change most easily first.
std::vector<Element> elements_of(PlacementRequest const& request);

/// The request without a set of elements.
class Relaxed {
 public:
  Relaxed(PlacementRequest const& request, std::vector<Element> const& elements, ElementSet without);
  Relaxed(Relaxed const&) = delete;
  Relaxed& operator=(Relaxed const&) = delete;

  PlacementRequest const& request() const { return request_; }

 private:
  void waive(Element const& element, PlacementRequest const& asked);
  void waive_in_layout(Waiver waiver);
  void waive_in_interface(Waiver waiver);
  void free_wish(int unit);
  void level_voltages();
  void one_kind();
  void join_columns(PlacementRequest const& asked);
  void split_address(Interface const& asked, int parts);
  void part_pairs(bool of_strobes);
  void drop_system_clock();

  Layout layout_;
  Interface interface_;
  PlacementRequest request_;
};

}  // namespace kdi::planning
