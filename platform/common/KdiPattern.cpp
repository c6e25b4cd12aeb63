#include "kdi/common/KdiPattern.h"

#include <algorithm>
#include <utility>

#include "kdi/common/KdiNumber.h"
#include "kdi/common/KdiText.h"

namespace kdi {
namespace {

// The whole of `text` as a number from 0, or -1.
int number_of(std::string_view text) {
  const auto value = number::whole<int>(text);
  return value && *value >= 0 && !text.starts_with('-') ? *value : -1;
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
  const std::vector<std::string_view> words = text::split(inside, ',');
  if (std::find(words.begin(), words.end(), "") != words.end())
    throw PatternError("a range or words between braces, such as {4..7} or {P,N}");
  return {words.begin(), words.end()};
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

}  // namespace kdi
