// The made-up model as C++ that one would write by hand: what every parameter is, for what a user gave.
#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>
#include <vector>

namespace made_up {

struct Answer {
  bool enabled = true;
  std::int64_t value = 0;
  std::vector<std::int64_t> range;  ///< the least and the greatest; empty: none
};

using Given = std::vector<std::optional<std::int64_t>>;  ///< by parameter
using Answers = std::vector<Answer>;

/// The value given, or the default; one out of range is none.
inline std::int64_t taken(std::optional<std::int64_t> given, std::int64_t otherwise) {
  return given.value_or(otherwise);
}
inline std::int64_t taken(std::optional<std::int64_t> given, std::int64_t otherwise,
                          std::vector<std::int64_t> const& range) {
  const std::int64_t value = given.value_or(otherwise);
  return value >= range[0] && value <= range[1] ? value : std::clamp(otherwise, range[0], range[1]);
}

/// Of the model of kWrittenParameters; `answers` has as many.
constexpr int kWrittenParameters = 1000;
void evaluate(Given const& given, Answers& answers);

}  // namespace made_up
