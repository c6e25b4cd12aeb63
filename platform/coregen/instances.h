// Options that name an instance and its place.
#pragma once

#include <string>

#include "kdi/common/KdiText.h"
#include "kdi/common/KdiTypes.h"

namespace kdi::coregen {

inline constexpr char const* kName = "-instance_name";
inline constexpr char const* kPart = "-part";

/// Null if it is not given.
inline std::string const* given(OptionMap const& options, char const* key) {
  const auto option = options.find(key);
  return option == options.end() ? nullptr : &option->second;
}

inline std::string const& required(OptionMap const& options, char const* key) {
  std::string const* const value = given(options, key);
  if (value == nullptr || value->empty()) throw std::string("option ") + key + " is missing or empty";
  return *value;
}

}  // namespace kdi::coregen
