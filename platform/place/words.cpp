#include "platform/place/words.h"

#include <algorithm>
#include <bit>

#include "kdi/common/KdiNumber.h"
#include "kdi/common/KdiText.h"

namespace kdi::place {

int whole_of(std::string const& place, std::string const& word, int least, int most) {
  const auto value = number::whole<int>(word);
  if (!value || *value < least || *value > most)
    throw place + ": " + text::shown(word) + " is no whole number from " + std::to_string(least) + " to " +
        std::to_string(most);
  return *value;
}

double decimal_of(std::string const& place, std::string const& word, double least, double most) {
  const auto value = number::whole<double>(word);
  if (!value || !(*value >= least && *value <= most))
    throw place + ": " + text::shown(word) + " is no number from " + number::plain(least) + " to " +
        number::plain(most);
  return *value;
}

bool truth_of(std::string const& place, std::string const& word) {
  for (char const* const yes : {"true", "1", "yes", "on"})
    if (text::same_but_case(word, yes)) return true;
  for (char const* const no : {"false", "0", "no", "off"})
    if (text::same_but_case(word, no)) return false;
  throw place + ": " + text::shown(word) + " is neither true nor false";
}

std::size_t choice_of(std::string const& place, std::string const& word, std::span<char const* const> choices) {
  const auto at = std::find_if(choices.begin(), choices.end(), [&](char const* choice) { return word == choice; });
  if (at == choices.end()) throw place + ": " + text::shown(word) + " is none of " + text::joined(choices, ", ");
  return static_cast<std::size_t>(at - choices.begin());
}

int ratio_of(std::string const& place, std::string const& word) {
  if (word.ends_with(":1")) {
    const auto value = number::whole<unsigned>(std::string_view(word).substr(0, word.size() - 2));
    if (value && std::has_single_bit(*value) && *value <= static_cast<unsigned>(kMostRatio))
      return static_cast<int>(*value);
  }
  throw place + ": " + text::shown(word) + " is no ratio like 8:1, of a power of two up to " +
      std::to_string(kMostRatio);
}

std::string word_of(std::string const& place, std::string const& word) {
  const bool is_word = !word.empty() && std::all_of(word.begin(), word.end(), [](char c) {
    return text::is_letter_or_digit(c) || std::string_view("_-+.").find(c) != std::string_view::npos;
  });
  if (!is_word) throw place + ": " + text::shown(word) + " is no word of letters, digits and _-+.";
  return word;
}

bool is_name(std::string_view name) {
  return !name.empty() && !text::is_digit(name[0]) &&
         std::all_of(name.begin(), name.end(), [](char c) { return text::is_letter_or_digit(c) || c == '_'; });
}

std::string unbraced(std::string_view word) {
  if (word.size() >= 2 && word.starts_with('{') && word.ends_with('}')) word = word.substr(1, word.size() - 2);
  return std::string(word);
}

}  // namespace kdi::place
