// How names are found in tables.
#pragma once

#include <cstddef>
#include <functional>
#include <string_view>

namespace kdi {

/// For tables by name, with std::equal_to<>: they are asked with any text, none is copied for it. It is used whatever
/// the size of the table; with std::hash the library walks one of up to twenty names, which is slow where all are as
/// long and begin alike, as parts of a device do.
struct NameHash {
  using is_transparent = void;
  std::size_t operator()(std::string_view name) const { return std::hash<std::string_view>()(name); }
};

}  // namespace kdi
