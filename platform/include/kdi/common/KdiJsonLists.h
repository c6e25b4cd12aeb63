// Numbers and lists of numbers as data files have them, for every reader of JSON that checks them alike.
#pragma once

#include <utility>
#include <vector>

#include "kdi/common/KdiJson.h"

namespace kdi {

/// A whole number from `least` to `most`.
inline int whole(JsonValue value, int least, int most) { return static_cast<int>(value.integer(least, most)); }

/// A list of whole numbers from 1 to `most` that ascend; not empty.
inline std::vector<int> ascending(JsonValue list, int most) {
  std::vector<int> all;
  for (const JsonValue value : list.items()) {
    all.push_back(whole(value, 1, most));
    if (all.size() > 1 && all[all.size() - 2] >= all.back()) value.refuse("a number above the one before it");
  }
  if (all.empty()) list.refuse("at least one number");
  return all;
}

/// The ends of a range: a list of two values, which `read` makes of them, the lowest and the highest.
template <class Read>
auto ends(JsonValue list, Read read) {
  const JsonRange values = list.items();
  if (values.size() != 2) list.refuse("the lowest and the highest value");
  const auto lowest = read(values[0]), highest = read(values[1]);
  if (highest < lowest) list.refuse("the lowest value before the highest");
  return std::pair(lowest, highest);
}

}  // namespace kdi
