#include "platform/ip/clock_faces/number_lists.h"

#include <cmath>

#include "kdi/common/KdiNumber.h"
#include "kdi/common/KdiText.h"

namespace kdi::clocking {
namespace {

constexpr std::string_view kSeparators = ", \t\n\r";

}  // namespace

std::vector<std::string> split_words(std::string_view text) {
  const std::vector<std::string_view> words = text::words(text, kSeparators);
  return {words.begin(), words.end()};
}

std::optional<double> read_number(std::string_view text) {
  const auto value = number::whole<double>(number::without_plus(text));
  return value && std::isfinite(*value) ? value : std::nullopt;
}

std::optional<std::vector<double>> read_numbers(std::string_view text) {
  std::vector<double> values;
  for (std::string_view const word : text::words(text, kSeparators)) {
    const auto value = read_number(word);
    if (!value) return std::nullopt;
    values.push_back(*value);
  }
  return values;
}

}  // namespace kdi::clocking
