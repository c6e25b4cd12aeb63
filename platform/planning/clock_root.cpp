#include <algorithm>
#include <cmath>
#include <optional>
#include <tuple>

#include "kdi/device/Device.h"
#include "kdi/planning/ClockRoot.h"

namespace kdi::planning {
namespace {

device::ClockRegions regions_of(device::Part const& part, Layout const& layout) {
  if (part.device->clock_regions) return *part.device->clock_regions;
  device::ClockRegions plain{0, 0, 1, 1, 0};
  for (PlacedBank const& bank : layout.banks) {
    plain.columns = std::max(plain.columns, bank.column + 1);
    plain.rows = std::max(plain.rows, bank.row + 1);
  }
  return plain;
}

// The die that a row lies on: that of the nearest bank below, else of the lowest.
int slr_of_row(Layout const& layout, int row) {
  PlacedBank const* nearest = nullptr;
  for (PlacedBank const& bank : layout.banks) {
    const bool below = bank.row <= row;
    const bool better = nearest == nullptr || (below ? nearest->row > row || bank.row > nearest->row
                                                     : nearest->row > row && bank.row < nearest->row);
    if (better) nearest = &bank;
  }
  return nearest == nullptr ? 0 : nearest->slr;
}

double delay(device::ClockRegions const& regions, ClockRegion root, int root_slr, PlacedBank const& bank) {
  return regions.column_ps * std::abs(root.column - bank.column) + regions.row_ps * std::abs(root.row - bank.row) +
         regions.slr_ps * std::abs(root_slr - bank.slr);
}

}  // namespace

double root_delay_ps(device::Part const& part, Layout const& layout, ClockRegion root, int bank) {
  return delay(regions_of(part, layout), root, slr_of_row(layout, root.row),
               layout.banks[static_cast<std::size_t>(bank)]);
}

ClockRegion clock_root(device::Part const& part, Layout const& layout, std::vector<int> const& banks) {
  const device::ClockRegions regions = regions_of(part, layout);
  std::optional<std::tuple<double, double, int, int>> best;
  for (int row = 0; row < regions.rows; ++row) {
    const int slr = slr_of_row(layout, row);
    for (int column = 0; column < regions.columns; ++column) {
      double least = 0, most = 0, first = 0;
      for (std::size_t i = 0; i < banks.size(); ++i) {
        const double way = delay(regions, {column, row}, slr, layout.banks[static_cast<std::size_t>(banks[i])]);
        if (i == 0) first = least = most = way;
        least = std::min(least, way);
        most = std::max(most, way);
      }
      const std::tuple cost(most - least, first, column, row);
      if (!best || cost < *best) best = cost;
    }
  }
  return {std::get<2>(*best), std::get<3>(*best)};
}

}  // namespace kdi::planning
