// Cheapest tilings by trying everything, to hold the tiler against. Neither search knows the tiler's properties.
//
// Both work in units of the shallowest shape: a primitive that holds rows of some units can be moved up to the first of
// them, and any cut between two units can be moved to the next one, without a primitive more.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <map>
#include <tuple>
#include <utility>
#include <vector>

namespace truth {

using Cost = std::uint64_t;
constexpr Cost kNone = std::numeric_limits<Cost>::max() / 4;

struct Shape {
  int units;  ///< depth
  int width;
  Cost for_tile, for_row;
};

/// All tilings that a sequence of straight cuts makes: each rectangle is one primitive, or is cut across its bits or
/// its rows at any place into two that are searched alike. Rows cost nothing here.
class CutSearch {
 public:
  CutSearch(std::vector<Shape> const& shapes, int most_width, int most_units)
      : most_units_(most_units), cost_(static_cast<std::size_t>((most_width + 1) * (most_units + 1)), kNone) {
    for (int w = 1; w <= most_width; ++w)
      for (int n = 1; n <= most_units; ++n) {
        Cost best = kNone;
        for (Shape const& one : shapes)
          if (one.width >= w && one.units >= n) best = std::min(best, one.for_tile);
        for (int a = 1; 2 * a <= w; ++a) best = std::min(best, cost(a, n) + cost(w - a, n));
        for (int a = 1; 2 * a <= n; ++a) best = std::min(best, cost(w, a) + cost(w, n - a));
        cost_[at(w, n)] = best;
      }
  }

  Cost cost(int width, int units) const { return cost_[at(width, units)]; }

 private:
  std::size_t at(int width, int units) const { return static_cast<std::size_t>(width * (most_units_ + 1) + units); }

  int most_units_;
  std::vector<Cost> cost_;
};

/// The same for tilings in which a primitive holds the rows from a multiple of its depth on, as many as it or the
/// memory has, with costs of rows. The memory has `units` of `unit_rows`, the last of them `last_rows`. Of equal costs
/// the fewest primitives over a bit: of two side by side the more, of two over each other both together.
class BlockSearch {
 public:
  BlockSearch(std::vector<Shape> const& shapes, int most_width, int units, int unit_rows, int last_rows)
      : units_(units), cost_(static_cast<std::size_t>((most_width + 1) * (units + 1) * (units + 1)), kNone) {
    inputs_.resize(cost_.size(), 0);
    for (int w = 1; w <= most_width; ++w)
      for (int n = 1; n <= units; ++n)
        for (int first = 0, end = n; end <= units; ++first, ++end) {
          const auto rows = static_cast<Cost>(n * unit_rows - (end == units ? unit_rows - last_rows : 0));
          std::pair<Cost, int> best(kNone, 0);
          for (Shape const& one : shapes)
            if (one.width >= w && first % one.units == 0 && end == std::min(units, first + one.units))
              best = std::min(best, {one.for_tile + rows * one.for_row, 1});
          for (int a = 1; 2 * a <= w; ++a)
            best = std::min(best, {cost_[at(a, first, end)] + cost_[at(w - a, first, end)],
                                   std::max(inputs_[at(a, first, end)], inputs_[at(w - a, first, end)])});
          for (int cut = first + 1; cut < end; ++cut)
            best = std::min(best, {cost_[at(w, first, cut)] + cost_[at(w, cut, end)],
                                   inputs_[at(w, first, cut)] + inputs_[at(w, cut, end)]});
          std::tie(cost_[at(w, first, end)], inputs_[at(w, first, end)]) = best;
        }
  }

  Cost cost(int width) const { return cost_[at(width, 0, units_)]; }
  int inputs(int width) const { return inputs_[at(width, 0, units_)]; }

 private:
  std::size_t at(int width, int first, int end) const {
    return static_cast<std::size_t>((width * (units_ + 1) + first) * (units_ + 1) + end);
  }

  int units_;
  std::vector<Cost> cost_;
  std::vector<int> inputs_;
};

/// A bound below every tiling, straight cuts or not, and below every other arrangement in which a primitive holds
/// consecutive rows: all ways to have, for each unit of rows, primitives of enough width that hold it. Rows cost
/// nothing here.
inline Cost cheapest_cover(std::vector<Shape> const& shapes, int width, int units) {
  // Front: for each amount of width that is already there in the coming units, the least cost. A primitive that is not
  // needed in a unit may as well begin in the next, so as few as do are added to each unit.
  using cover = std::vector<int>;
  std::map<cover, Cost> front{{cover(static_cast<std::size_t>(units), 0), 0}};
  std::vector<Shape> by_width = shapes;
  std::sort(by_width.begin(), by_width.end(), [](Shape const& a, Shape const& b) { return a.width > b.width; });
  for (int unit = 0; unit < units; ++unit) {
    std::map<cover, Cost> next;
    const auto add = [&](auto const& self, cover& have, Cost cost, std::size_t from) -> void {
      if (have[0] >= width) {
        const auto [entry, is_new] = next.emplace(cover(have.begin() + 1, have.end()), cost);
        if (!is_new) entry->second = std::min(entry->second, cost);
        return;
      }
      for (std::size_t i = from; i < by_width.size(); ++i) {
        cover more = have;
        for (std::size_t u = 0; u < std::min(more.size(), static_cast<std::size_t>(by_width[i].units)); ++u)
          more[u] = std::min(width, more[u] + by_width[i].width);
        self(self, more, cost + by_width[i].for_tile, i);
      }
    };
    for (auto const& [have, cost] : front) {
      cover start = have;
      add(add, start, cost, 0);
    }
    front = std::move(next);
  }
  return front.begin()->second;
}

}  // namespace truth
