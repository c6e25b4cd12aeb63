// The short forms of device files: texts that stand for many names.
#pragma once

#include <cstddef>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace kdi::device {

/// What is wrong with a pattern, as the end of a sentence that begins with "expected".
class PatternError : public std::invalid_argument {
 public:
  using std::invalid_argument::invalid_argument;
};

/// All names of a pattern, in order: `{4..7}` stands for the numbers from 4 to 7, `{P,N}` for each of the words, and
/// what varies last in the text varies fastest: `L{0..1}{P,N}` is L0P L0N L1P L1N. Braces do not nest.
/// Throws PatternError for a pattern of another form or of more than `most` names.
std::vector<std::string> expand(std::string_view pattern, std::size_t most);

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

/// What stands for each name between braces.
using PlaceValues = std::map<std::string, std::string, std::less<>>;

/// `text` with each `{name}` replaced by its value. Throws PatternError for a name that `values` does not have and for
/// a brace without its partner.
std::string fill(std::string_view text, PlaceValues const& values);

}  // namespace kdi::device
