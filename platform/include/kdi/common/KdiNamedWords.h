// A question of a script as a list of words: name value name value ..., in any order and each name at most once.
//
// A library that takes such questions makes its own faults of what is wrong with one:
//
//   struct Refusals {
//     [[noreturn]] static void refuse(kdi::WordFault fault, std::string const& text);
//   };
//   const kdi::NamedWords<Refusals> words(given, kNames);
#pragma once

#include <algorithm>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "kdi/common/KdiNumber.h"
#include "kdi/common/KdiText.h"

namespace kdi {

enum class WordFault { unknown, repeated, unpaired, missing, bad_value, out_of_range };

/// Borrows the words. Faults repeat no more of a word than kdi::text::shortened leaves.
template <class Refusals>
class NamedWords {
 public:
  /// `names` are those that there are, in the order in which a fault lists them.
  NamedWords(std::span<std::string_view const> words, std::span<std::string_view const> names) {
    for (std::size_t i = 0; i < words.size(); i += 2) {
      const std::string_view name = words[i];
      if (std::find(names.begin(), names.end(), name) == names.end())
        Refusals::refuse(WordFault::unknown, "no word is called " + kdi::text::shown(name) + "; there are " +
                                                 kdi::text::joined(names, ", "));
      if (has(name)) refuse(WordFault::repeated, name, "is given twice");
      if (i + 1 == words.size()) refuse(WordFault::unpaired, name, "has no value");
      values_[name] = words[i + 1];
    }
  }

  /// A fault of the word `name`: "word "depth_a": <what>".
  [[noreturn]] static void refuse(WordFault fault, std::string_view name, std::string const& what) {
    Refusals::refuse(fault, about(name, what));
  }
  static std::string about(std::string_view name, std::string const& what) {
    return "word " + kdi::text::quoted(name) + ": " + what;
  }

  bool has(std::string_view name) const { return values_.contains(name); }

  std::string_view text(std::string_view name) const {
    const auto found = values_.find(name);
    if (found == values_.end()) refuse(WordFault::missing, name, "is missing");
    return found->second;
  }

  /// An integer within the bounds. One beyond what an int holds is beyond them as well.
  int integer(std::string_view name, int least, int most) const {
    const auto value = number::whole_or_nearest<int>(text(name));
    if (!value) refuse(WordFault::bad_value, name, kdi::text::shown(text(name)) + " is no integer");
    if (*value < least || *value > most)
      refuse(WordFault::out_of_range, name,
             kdi::text::shortened(text(name)) + " is outside " + std::to_string(least) + " to " + std::to_string(most));
    return *value;
  }

  /// The index of the value among `names`; 0 if the word is not given.
  std::size_t choice(std::string_view name, std::span<std::string_view const> names) const {
    if (!has(name)) return 0;
    const auto at = std::find(names.begin(), names.end(), text(name));
    if (at == names.end())
      refuse(WordFault::bad_value, name,
             kdi::text::shown(text(name)) + " is none of " + kdi::text::joined(names, ", "));
    return static_cast<std::size_t>(at - names.begin());
  }

 private:
  std::map<std::string_view, std::string_view> values_;
};

}  // namespace kdi
