// The short forms of device files: texts that stand for many names, and rectangles of balls.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "kdi/common/KdiPattern.h"

namespace kdi::device {

/// A place in a package's grid, both from 0.
struct Ball {
  int row = 0;
  int column = 0;
};

/// A rectangle of balls: `A1:D4`, or `B7` for one ball.
struct BallRectangle {
  Ball first;
  Ball last;

  std::size_t size() const;
  bool contains(Ball ball) const;
  /// Its balls, along the first row, then the second.
  std::vector<Ball> balls() const;
};

/// Throws PatternError for anything but a rectangle whose first corner is not behind its last.
BallRectangle ball_rectangle(std::string_view text);

/// Rows are lettered without I, O, Q, S, X and Z: A to Y, then AA to YY. Columns count from 1.
/// Source of the lettering: JEDEC Publication 95, design guide 4.
std::string ball_name(Ball ball);

}  // namespace kdi::device
