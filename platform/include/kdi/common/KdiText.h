// Texts, byte by byte and the same under every locale: kinds of characters, case, pieces.
//
// For everything from the platform's libraries to the shell. Letters are those of ASCII; bytes above 0x7F are letters
// of no case and of no kind. The character functions of the C library follow the process's locale, under which `i` may
// have no `I`, and are used nowhere.
#pragma once

#include <algorithm>
#include <numeric>
#include <string>
#include <string_view>
#include <vector>

#include "kdi/common/KdiDoor.h"

namespace kdi::text {

/// What separates words: the blanks of the C locale.
inline constexpr std::string_view kBlanks = " \t\n\v\f\r";

constexpr bool is_digit(char c) { return c >= '0' && c <= '9'; }
constexpr bool is_upper(char c) { return c >= 'A' && c <= 'Z'; }
constexpr bool is_lower(char c) { return c >= 'a' && c <= 'z'; }
constexpr bool is_letter(char c) { return is_upper(c) || is_lower(c); }
constexpr bool is_letter_or_digit(char c) { return is_letter(c) || is_digit(c); }
constexpr bool is_blank(char c) { return kBlanks.find(c) != std::string_view::npos; }
/// 0x00 to 0x1F and 0x7F.
constexpr bool is_control(char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; }

constexpr char to_lower(char c) { return is_upper(c) ? static_cast<char>(c - 'A' + 'a') : c; }
constexpr char to_upper(char c) { return is_lower(c) ? static_cast<char>(c - 'a' + 'A') : c; }

/// A copy in lower or in upper case.
inline std::string lowered(std::string_view text) {
  std::string copy(text);
  std::transform(copy.begin(), copy.end(), copy.begin(), to_lower);
  return copy;
}
inline std::string uppered(std::string_view text) {
  std::string copy(text);
  std::transform(copy.begin(), copy.end(), copy.begin(), to_upper);
  return copy;
}

/// Whether the names are the same, for lists of names that are walked: few are as long as the one that is looked for
/// and begin alike, so that hardly any is compared byte by byte.
constexpr bool same_name(std::string_view a, std::string_view b) {
  return a.size() == b.size() && (a.empty() || (a[0] == b[0] && a == b));
}

/// Whether the texts are the same, and whether `text` begins with `start`, but for the case of letters.
constexpr bool same_but_case(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) { return to_lower(x) == to_lower(y); });
}
constexpr bool starts_with_but_case(std::string_view text, std::string_view start) {
  return same_but_case(text.substr(0, start.size()), start);
}

/// `text` without what stands of `characters` at its ends. Borrows from `text`, as split and words do.
constexpr std::string_view trimmed(std::string_view text, std::string_view characters = kBlanks) {
  const std::size_t first = text.find_first_not_of(characters);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(characters) - first + 1);
}

/// The pieces between separators, empty ones too: one more than there are separators.
inline std::vector<std::string_view> split(std::string_view text, char separator) {
  std::vector<std::string_view> pieces;
  for (;;) {
    const std::size_t end = text.find(separator);
    pieces.push_back(text.substr(0, end));
    if (end == std::string_view::npos) return pieces;
    text.remove_prefix(end + 1);
  }
}

/// The pieces that are not empty, each character of `separators` being one.
inline std::vector<std::string_view> words(std::string_view text, std::string_view separators = kBlanks) {
  std::vector<std::string_view> words;
  for (std::size_t begin = text.find_first_not_of(separators); begin != std::string_view::npos;) {
    const std::size_t end = std::min(text.find_first_of(separators, begin), text.size());
    words.push_back(text.substr(begin, end - begin));
    begin = text.find_first_not_of(separators, end);
  }
  return words;
}

/// The pieces that `end` ends, without it; the last piece may lack it. An empty text has none.
inline std::vector<std::string_view> lines(std::string_view text, char end = '\n') {
  if (text.empty()) return {};
  if (text.ends_with(end)) text.remove_suffix(1);
  return split(text, end);
}

/// The members of a range of texts, the separator between them.
template <class Texts>
std::string joined(Texts const& texts, std::string_view separator) {
  std::string all;
  bool is_first = true;
  for (auto const& one : texts) {
    if (!is_first) all += separator;
    is_first = false;
    all += one;
  }
  return all;
}

/// Adds a word behind those of `list`, a blank between them.
inline void append_word(std::string& list, std::string_view word) {
  if (!list.empty()) list += ' ';
  list += word;
}

/// The text for a terminal, which would obey control characters: but for tabs and line ends they are written as
/// `\u001b`, those that UTF-8 has two bytes for included.
KDI_DOOR std::string printable(std::string_view text);

/// The most that an error repeats of a text that it was given, in bytes.
inline constexpr std::size_t kMostShown = 200;

/// The text for an error: of one that is longer than `most` bytes the begin, to a whole character of UTF-8, and dots.
KDI_DOOR std::string shortened(std::string_view text, std::size_t most = kMostShown);
/// The same, with the dots in the middle, for a text whose end tells as much as its begin.
KDI_DOOR std::string shortened_in_the_middle(std::string_view text, std::size_t most = kMostShown);

/// The text between double quotes, as messages show words that people gave.
inline std::string quoted(std::string_view text) {
  std::string all = "\"";
  return all.append(text).append("\"");
}

/// The same of a word of any length.
inline std::string shown(std::string_view text) { return text::quoted(shortened(text)); }

/// What the system says of an error number, in English: strerror and what is made of it (std::error_code::message,
/// what() of a std::system_error) speak the language of the process's locale, in the bytes of another encoding.
KDI_DOOR std::string system_reason(int number);
/// Why the last call of dlopen or dlsym failed, in English as well; empty if it did not.
KDI_DOOR std::string loader_reason();

/// Changes, additions and removals of characters that lead from one text to the other (V. I. Levenshtein, "Binary codes
/// capable of correcting deletions, insertions, and reversals", Soviet Physics Doklady 10, 1966), row by row.
inline std::size_t edit_distance(std::string_view from, std::string_view to) {
  std::vector<std::size_t> row(to.size() + 1);
  std::iota(row.begin(), row.end(), std::size_t{0});
  for (std::size_t i = 0; i < from.size(); ++i) {
    std::size_t diagonal = row[0]++;
    for (std::size_t j = 0; j < to.size(); ++j) {
      const std::size_t above = row[j + 1];
      row[j + 1] = std::min({diagonal + (from[i] != to[j] ? 1 : 0), above + 1, row[j] + 1});
      diagonal = above;
    }
  }
  return row.back();
}

}  // namespace kdi::text
