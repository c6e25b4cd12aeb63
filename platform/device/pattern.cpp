#include "platform/device/pattern.h"

#include "kdi/common/KdiNumber.h"

namespace kdi::device {
namespace {

constexpr std::string_view kRowLetters = "ABCDEFGHJKLMNPRTUVWY";
constexpr int kLetters = static_cast<int>(kRowLetters.size());
constexpr int kMostColumns = 256;

Ball ball(std::string_view text) {
  const std::size_t letters = text.find_first_of("0123456789");
  const int column = letters == std::string_view::npos ? -1 : number::whole<int>(text.substr(letters)).value_or(-1);
  bool good = letters == 1 || letters == 2;
  int row = 0;
  for (const char letter : text.substr(0, good ? letters : 0)) {
    const std::size_t at = kRowLetters.find(letter);
    good = good && at != std::string_view::npos;
    row = row * kLetters + static_cast<int>(at) + 1;
  }
  if (!good || column < 1 || column > kMostColumns || text[letters] == '0')
    throw PatternError("balls such as B7 or A1:D4");
  return {row - 1, column - 1};
}

}  // namespace

std::size_t BallRectangle::size() const {
  return static_cast<std::size_t>(last.row - first.row + 1) * static_cast<std::size_t>(last.column - first.column + 1);
}

bool BallRectangle::contains(Ball ball) const {
  return ball.row >= first.row && ball.row <= last.row && ball.column >= first.column && ball.column <= last.column;
}

std::vector<Ball> BallRectangle::balls() const {
  std::vector<Ball> all;
  all.reserve(size());
  for (int row = first.row; row <= last.row; ++row)
    for (int column = first.column; column <= last.column; ++column) all.push_back({row, column});
  return all;
}

BallRectangle ball_rectangle(std::string_view text) {
  const std::size_t colon = text.find(':');
  const Ball first = ball(text.substr(0, colon));
  const Ball last = colon == std::string_view::npos ? first : ball(text.substr(colon + 1));
  if (last.row < first.row || last.column < first.column)
    throw PatternError("a rectangle from its first ball to its last, such as A1:D4");
  return {first, last};
}

std::string ball_name(Ball ball) {
  std::string name;
  if (ball.row >= kLetters) name += kRowLetters[static_cast<std::size_t>(ball.row / kLetters - 1)];
  name += kRowLetters[static_cast<std::size_t>(ball.row % kLetters)];
  return name + std::to_string(ball.column + 1);
}

}  // namespace kdi::device
