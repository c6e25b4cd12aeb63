// A text in the place of another.
#pragma once

#include <string>
#include <string_view>

namespace kdi::text {

/// Replaces each occurrence of `search`, going on behind what was put there. An empty `search` is nowhere. The time is
/// that of one pass over a text of any size, whatever it holds: what stands behind an occurrence is moved once.
inline void replace_all(std::string& text, std::string_view search, std::string_view replacement) {
  std::size_t found = search.empty() ? std::string::npos : text.find(search);
  if (found == std::string::npos) return;
  std::string all;
  std::size_t from = 0;
  for (; found != std::string::npos; found = text.find(search, from)) {
    all.append(text, from, found - from).append(replacement);
    from = found + search.size();
  }
  text = all.append(text, from);
}

}  // namespace kdi::text
