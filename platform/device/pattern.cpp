#include "platform/device/pattern.h"

#include <charconv>
#include <utility>

namespace kdi::device {
namespace {

constexpr std::string_view kRowLetters = "ABCDEFGHJKLMNPRTUVWY";
constexpr int kLetters = static_cast<int>(kRowLetters.size());
constexpr int kMostColumns = 256;

// The whole of `text` as a number from 0, or -1.
int number_of(std::string_view text) {
  int value = -1;
  const auto [end, fault] = std::from_chars(text.data(), text.data() + text.size(), value);
  const bool whole = fault == std::errc() && end == text.data() + text.size();
  return whole && value >= 0 && text.front() != '-' ? value : -1;
}

std::vector<std::string> numbers(std::string_view first_text, std::string_view last_text, std::size_t most) {
  const int first = number_of(first_text);
  const int last = number_of(last_text);
  if (first < 0 || last < first) throw PatternError("a range such as {4..7} of numbers that ascend");
  if (static_cast<std::size_t>(last - first) >= most)
    throw PatternError("a pattern of at most " + std::to_string(most) + " names");
  std::vector<std::string> words;
  for (int number = first; number < last; ++number) words.push_back(std::to_string(number));
  words.push_back(std::to_string(last));
  return words;
}

// What the text between two braces stands for.
std::vector<std::string> alternatives(std::string_view inside, std::size_t most) {
  if (const std::size_t dots = inside.find(".."); dots != std::string_view::npos)
    return numbers(inside.substr(0, dots), inside.substr(dots + 2), most);
  std::vector<std::string> words;
  for (;;) {
    const std::size_t comma = inside.find(',');
    words.emplace_back(inside.substr(0, comma));
    if (words.back().empty()) throw PatternError("a range or words between braces, such as {4..7} or {P,N}");
    if (comma == std::string_view::npos) return words;
    inside.remove_prefix(comma + 1);
  }
}

// Calls `plain` for text outside of braces and `braced` for what stands between two.
template <class Plain, class Braced>
void split(std::string_view text, Plain plain, Braced braced) {
  while (!text.empty()) {
    const std::size_t open = text.find_first_of("{}");
    plain(text.substr(0, open));
    if (open == std::string_view::npos) return;
    const std::size_t close = text.find_first_of("{}", open + 1);
    if (text[open] == '}' || close == std::string_view::npos || text[close] == '{')
      throw PatternError("braces in pairs that do not nest");
    braced(text.substr(open + 1, close - open - 1));
    text.remove_prefix(close + 1);
  }
}

Ball ball(std::string_view text) {
  const std::size_t letters = text.find_first_of("0123456789");
  const int column = letters == std::string_view::npos ? -1 : number_of(text.substr(letters));
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

std::vector<std::string> expand(std::string_view pattern, std::size_t most) {
  std::vector<std::string> names{""};
  const auto append = [&](std::vector<std::string> const& words) {
    if (words.size() > most / names.size())
      throw PatternError("a pattern of at most " + std::to_string(most) + " names");
    std::vector<std::string> longer;
    longer.reserve(names.size() * words.size());
    for (std::string const& name : names)
      for (std::string const& word : words) longer.push_back(name + word);
    names = std::move(longer);
  };
  split(
      pattern,
      [&](std::string_view plain) {
        for (std::string& name : names) name += plain;
      },
      [&](std::string_view inside) { append(alternatives(inside, most)); });
  return names;
}

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

std::string fill(std::string_view text, PlaceValues const& values) {
  std::string filled;
  split(
      text, [&](std::string_view plain) { filled += plain; },
      [&](std::string_view name) {
        const auto value = values.find(name);
        if (value == values.end()) {
          std::string known;
          for (auto const& entry : values) known += (known.empty() ? "{" : ", {") + entry.first + "}";
          throw PatternError("only places of the names " + known);
        }
        filled += value->second;
      });
  return filled;
}

}  // namespace kdi::device
