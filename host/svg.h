// Numbers and texts of pictures.
#pragma once

#include <string>
#include <string_view>

namespace svg {

inline std::string number(int value) { return std::to_string(value); }

/// As it stands between elements, or in an attribute between double quotes.
inline std::string escaped(std::string_view text) {
  std::string all;
  for (const char c : text)
    all += c == '<' ? "&lt;" : c == '>' ? "&gt;" : c == '&' ? "&amp;" : c == '"' ? "&quot;" : std::string(1, c);
  return all;
}

}  // namespace svg
