#include "platform/planning/hitting_sets.h"

namespace kdi::planning {

bool is_before(ElementSet a, ElementSet b) {
  const unsigned long long differ = (a ^ b).to_ullong();
  return differ != 0 && (a.to_ullong() & differ & (~differ + 1)) != 0;
}

std::optional<ElementSet> HittingSets::smallest(std::size_t most, long& steps) const {
  const ElementSet all = ~ElementSet();
  std::size_t size = 0;
  while (size <= most && steps >= 0 && !exists({}, all, size, steps)) ++size;
  if (size > most || steps < 0) return std::nullopt;
  // Element by element: those before the next one are ruled out.
  ElementSet chosen, allowed = all;
  for (std::size_t i = 0; i < kMostElements && chosen.count() < size; ++i) {
    allowed.reset(i);
    ElementSet with = chosen;
    with.set(i);
    if (exists(with, allowed, size - with.count(), steps)) chosen = with;
  }
  if (steps < 0) return std::nullopt;
  return chosen;
}

bool HittingSets::exists(ElementSet chosen, ElementSet allowed, std::size_t left, long& steps) const {
  if (--steps < 0) return false;
  // The group that leaves the fewest choices.
  ElementSet choices;
  std::size_t fewest = kMostElements + 1;
  for (ElementSet const& group : groups_) {
    if ((group & chosen).any()) continue;
    const ElementSet open = group & allowed;
    if (open.count() >= fewest) continue;
    fewest = open.count();
    choices = open;
  }
  if (fewest > kMostElements) return true;
  if (left == 0) return false;
  for (std::size_t i = 0; i < kMostElements; ++i) {
    if (!choices[i]) continue;
    allowed.reset(i);
    ElementSet with = chosen;
    if (exists(with.set(i), allowed, left - 1, steps)) return true;
  }
  return false;
}

}  // namespace kdi::planning
