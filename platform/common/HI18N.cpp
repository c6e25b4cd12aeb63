#include "kdi/common/HI18N.h"

#include <algorithm>
#include <cstdint>
#include <string_view>
#include <utility>

namespace {

constexpr std::uint32_t kReplacement = 0xFFFD;
constexpr std::uint32_t kFirstOutsideBasicPlane = 0x10000;

// A lead byte's promise: how many bytes follow, and which values the first of them may have so that the character is in
// its shortest form and in Unicode's range.
struct Lead {
  int following;
  std::uint8_t least;
  std::uint8_t most;
};

Lead lead_of(std::uint8_t byte) {
  if (byte == 0xC0) return {1, 0x80, 0x80};  // Tcl's NUL
  if (byte >= 0xC2 && byte <= 0xDF) return {1, 0x80, 0xBF};
  if (byte == 0xE0) return {2, 0xA0, 0xBF};
  if (byte >= 0xE1 && byte <= 0xEF) return {2, 0x80, 0xBF};
  if (byte == 0xF0) return {3, 0x90, 0xBF};
  if (byte >= 0xF1 && byte <= 0xF3) return {3, 0x80, 0xBF};
  if (byte == 0xF4) return {3, 0x80, 0x8F};
  return {0, 0, 0};
}

// Takes one character, or what stands for one, from the front of `text`.
std::uint32_t take_character(std::string_view& text) {
  const auto take = [&text] {
    const auto byte = static_cast<std::uint8_t>(text.front());
    text.remove_prefix(1);
    return byte;
  };
  const std::uint8_t first = take();
  if (first < 0x80) return first;
  const Lead promise = lead_of(first);
  if (promise.following == 0) return kReplacement;
  // of a lead byte, the bits below its mark of length
  std::uint32_t character = first & (0x3FU >> promise.following);
  std::uint8_t least = promise.least;
  std::uint8_t most = promise.most;
  for (int i = 0; i < promise.following; ++i) {
    if (text.empty()) return kReplacement;
    const auto next = static_cast<std::uint8_t>(text.front());
    if (next < least || next > most) return kReplacement;
    character = character << 6U | (take() & 0x3FU);
    least = 0x80;
    most = 0xBF;
  }
  return character;
}

}  // namespace

void HI18N::convert(std::string const& text, std::wstring& wide) {
  // Most texts are ASCII throughout, and of all others the begin is copied as it stands.
  const auto plain =
      std::find_if(text.begin(), text.end(), [](char c) { return static_cast<std::uint8_t>(c) >= 0x80; });
  std::wstring units(text.begin(), plain);
  if (plain != text.end()) units.reserve(text.size());
  for (std::string_view rest(plain, text.end()); !rest.empty();) {
    const std::uint32_t character = take_character(rest);
    if (character < kFirstOutsideBasicPlane) {
      units += static_cast<wchar_t>(character);
    } else {
      units += static_cast<wchar_t>(0xD800U + ((character - kFirstOutsideBasicPlane) >> 10U));
      units += static_cast<wchar_t>(0xDC00U + (character & 0x3FFU));
    }
  }
  wide = std::move(units);
}
