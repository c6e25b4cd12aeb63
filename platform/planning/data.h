// What the readers of data/io and data/memory do alike.
#pragma once

#include <string>
#include <vector>

#include "kdi/common/KdiJson.h"
#include "kdi/common/KdiNumber.h"

namespace kdi::planning::data {

/// A voltage as a decimal.
inline std::string volts(JsonValue value) {
  const auto read = number::whole<double>(value.text());
  if (!read || !(*read > 0 && *read <= 5)) value.refuse("a voltage above 0 and up to 5 as a text");
  return value.text();
}

/// False where it is missing.
inline bool flag(JsonValue object, char const* name) {
  const auto value = object.find(name);
  return value && value->boolean();
}

/// Empty where it is missing.
inline std::string text(JsonValue object, char const* name) {
  const auto value = object.find(name);
  return value ? value->text() : std::string();
}

inline std::vector<std::string> texts(JsonValue object, char const* name) {
  std::vector<std::string> all;
  if (const auto list = object.find(name))
    for (const JsonValue value : list->items()) all.push_back(value.text());
  return all;
}

inline int whole(JsonValue value, int least, int most) { return static_cast<int>(value.integer(least, most)); }

}  // namespace kdi::planning::data
