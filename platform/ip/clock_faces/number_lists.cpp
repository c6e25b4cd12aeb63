#include "platform/ip/clock_faces/number_lists.h"

#include <charconv>
#include <cmath>
#include <limits>

namespace kdi::clocking {

std::vector<std::string> split_words(std::string_view text) {
  constexpr std::string_view kSeparators = ", \t\n\r";
  std::vector<std::string> words;
  for (std::size_t begin = text.find_first_not_of(kSeparators); begin != std::string_view::npos;) {
    const std::size_t end = std::min(text.find_first_of(kSeparators, begin), text.size());
    words.emplace_back(text.substr(begin, end - begin));
    begin = text.find_first_not_of(kSeparators, end);
  }
  return words;
}

std::optional<double> read_number(std::string_view text) {
  // from_chars takes no plus sign
  if (text.starts_with('+') && !text.starts_with("+-")) text.remove_prefix(1);
  double value = 0;
  const auto [end, fault] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (fault != std::errc() || end != text.data() + text.size() || !std::isfinite(value)) return std::nullopt;
  return value;
}

std::optional<std::vector<double>> read_numbers(std::string_view text) {
  std::vector<double> values;
  for (std::string const& word : split_words(text)) {
    const auto value = read_number(word);
    if (!value) return std::nullopt;
    values.push_back(*value);
  }
  return values;
}

std::string number_text(double value) {
  char digits[32];
  // Figures of the size that clocks have are shown without an exponent.
  const bool is_plain = value == 0 || (std::abs(value) >= 1e-6 && std::abs(value) < 1e12);
  const auto format = is_plain ? std::chars_format::fixed : std::chars_format::general;
  return {digits, std::to_chars(digits, digits + sizeof digits, value, format).ptr};
}

std::string fixed_text(double value, int decimals) {
  std::string text(std::numeric_limits<double>::max_exponent10 + static_cast<std::size_t>(decimals) + 8, '\0');
  char* const end = text.data() + text.size();
  text.resize(static_cast<std::size_t>(std::to_chars(text.data(), end, value, std::chars_format::fixed, decimals).ptr -
                                       text.data()));
  return text;
}

void append_word(std::string& list, std::string const& part) {
  if (!list.empty()) list += ' ';
  list += part;
}

}  // namespace kdi::clocking
