// Closed ranges, the form of nearly every limit in device data.
#pragma once

namespace kdi::device {

/// All numbers from `min` to `max`, both included; `min` is never above `max`. The unit is part of the owner's name.
struct Range {
  double min = 0;
  double max = 0;

  bool contains(double value) const { return value >= min && value <= max; }
};

}  // namespace kdi::device
