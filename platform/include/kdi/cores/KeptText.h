// A text that something else keeps: a core those of its parameters, a rule its words.
#pragma once

#include <string>
#include <string_view>
#include <utility>

namespace kdi::cores {

/// Borrowed: good as long as what keeps it. Goes wherever a std::string or a std::string_view is asked for.
class KeptText : public std::string_view {
 public:
  using std::string_view::string_view;
  constexpr KeptText(std::string_view text) : std::string_view(text) {}  // NOLINT: it is one
  operator std::string() const { return std::string(data(), size()); }   // NOLINT: as texts are put together of it
  friend std::string operator+(KeptText one, std::string_view text) { return std::string(one).append(text); }
  friend std::string operator+(KeptText one, KeptText text) { return std::string(one).append(text); }
  friend std::string operator+(KeptText one, char const* text) { return std::string(one).append(text); }
  friend std::string operator+(std::string text, KeptText one) { return std::move(text.append(one)); }
  friend std::string operator+(char const* text, KeptText one) { return std::string(text).append(one); }
};

}  // namespace kdi::cores
