// What the readers of data/io and data/memory do alike.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "kdi/common/KdiJson.h"
#include "kdi/common/KdiNumber.h"
#include "kdi/planning/HardController.h"
#include "kdi/planning/Memory.h"
#include "kdi/planning/Standards.h"

namespace kdi::planning::data {

/// A voltage as a decimal.
inline std::string volts(JsonValue value) {
  const auto read = number::whole<double>(value.text());
  if (!read || !(*read > 0 && *read <= 5)) value.refuse("a voltage above 0 and up to 5 as a text");
  return std::string(value.text());
}

/// False where it is missing.
inline bool flag(JsonValue object, char const* name) {
  const auto value = object.find(name);
  return value && value->boolean();
}

/// Empty where it is missing.
inline std::string text(JsonValue object, char const* name) {
  const auto value = object.find(name);
  return std::string(value ? value->text() : "");
}

inline std::vector<std::string> texts(JsonValue object, char const* name) {
  std::vector<std::string> all;
  if (const auto list = object.find(name))
    for (const JsonValue value : list->items()) all.emplace_back(value.text());
  return all;
}

}  // namespace kdi::planning::data

namespace kdi::planning {

/// A file of data/memory; `stem` is its name without ending.
MemoryKind read_memory(JsonFile const& file, std::string const& stem);
/// A file of data/hard_controllers, likewise.
HardController read_hard_controller(JsonFile const& file, std::string const& stem);
/// Adds what a file of data/io has and `standards` has not.
void read_standards(JsonFile const& file, std::map<std::string, IoStandard, std::less<>>& standards);

}  // namespace kdi::planning

namespace kdi::planning::data {

inline int whole(JsonValue value, int least, int most) { return static_cast<int>(value.integer(least, most)); }

}  // namespace kdi::planning::data
