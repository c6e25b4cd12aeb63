// The smallest set that has an element of each of some groups.
#pragma once

#include <bitset>
#include <cstddef>
#include <optional>
#include <vector>

namespace kdi::planning {

inline constexpr std::size_t kMostElements = 64;
using ElementSet = std::bitset<kMostElements>;

/// Whether a set of as many elements is named before another: it has the first of the elements in which they differ.
bool is_before(ElementSet a, ElementSet b);

class HittingSets {
 public:
  void add(ElementSet group) { groups_.push_back(group); }
  std::vector<ElementSet> const& groups() const { return groups_; }

  /// The smallest one, if it has at most so many elements; of several the first by the order of elements. `steps` is
  /// what the search may take, and then has left; nothing is found where it falls below 0.
  std::optional<ElementSet> smallest(std::size_t most, long& steps) const;

 private:
  bool exists(ElementSet chosen, ElementSet allowed, std::size_t left, long& steps) const;

  std::vector<ElementSet> groups_;
};

}  // namespace kdi::planning
