// UTF-8 to UTF-16 units.
#include <gtest/gtest.h>

#include <string_view>

#include "kdi/common/HI18N.h"

namespace {

std::wstring wide(std::string_view text) {
  std::wstring units = L"before";
  HI18N::convert(std::string(text), units);
  return units;
}

// The encoding by its definition: bits from the lowest, six to a byte.
std::string utf8(std::uint32_t character) {
  if (character < 0x80) return {static_cast<char>(character)};
  std::string bytes;
  std::uint32_t room = 0x20;  // what a lead byte before one, two and three others holds: 5, 4 and 3 bits
  std::uint32_t mark = 0xC0;
  do {
    bytes.insert(bytes.begin(), static_cast<char>(0x80U | (character & 0x3FU)));
    character >>= 6U;
    if (character < room) break;
    room >>= 1U;
    mark = (mark >> 1U | 0x80U) & 0xFFU;
  } while (true);
  bytes.insert(bytes.begin(), static_cast<char>(mark | character));
  return bytes;
}

TEST(WideText, HoldsEveryCharacterOfUnicode) {
  for (std::uint32_t character = 0; character <= 0x10FFFF; ++character) {
    const std::wstring units = wide("<" + utf8(character) + ">");
    ASSERT_EQ(units.front(), L'<');
    ASSERT_EQ(units.back(), L'>');
    for (const wchar_t unit : units) ASSERT_LE(static_cast<std::uint32_t>(unit), 0xFFFFU);
    if (units.size() == 3) {
      ASSERT_EQ(static_cast<std::uint32_t>(units[1]), character);
    } else {
      ASSERT_EQ(units.size(), 4U) << character;
      const auto high = static_cast<std::uint32_t>(units[1]);
      const auto low = static_cast<std::uint32_t>(units[2]);
      ASSERT_TRUE(high >= 0xD800 && high <= 0xDBFF && low >= 0xDC00 && low <= 0xDFFF) << character;
      ASSERT_EQ(0x10000 + ((high - 0xD800) * 0x400) + (low - 0xDC00), character);
    }
  }
}

TEST(WideText, TakesTheTextsOfATclInterpreter) {
  EXPECT_EQ(wide(std::string_view("a\0b", 3)), std::wstring(L"a\0b", 3));
  EXPECT_EQ(wide("a\xC0\x80z"), std::wstring(L"a\0z", 3));
  // a pair of surrogates, three bytes each
  EXPECT_EQ(wide("\xED\xA0\xBD\xED\xB8\x80"), (std::wstring{wchar_t{0xD83D}, wchar_t{0xDE00}}));
  EXPECT_EQ(wide("\xF0\x9F\x98\x80"), (std::wstring{wchar_t{0xD83D}, wchar_t{0xDE00}}));
  EXPECT_EQ(wide(""), L"");
}

TEST(WideText, ReplacesWhatIsNoCharacter) {
  // the example of the Unicode Standard, table 3-8
  EXPECT_EQ(wide("\x61\xF1\x80\x80\xE1\x80\xC2\x62\x80\x63\x80\xBF\x64"), L"a\uFFFD\uFFFD\uFFFDb\uFFFDc\uFFFD\uFFFDd");
  EXPECT_EQ(wide("\xC1\xBF"), L"\uFFFD\uFFFD");                      // an overlong form
  EXPECT_EQ(wide("\xE0\x9F\xBF"), L"\uFFFD\uFFFD\uFFFD");            // another
  EXPECT_EQ(wide("\xF4\x90\x80\x80"), L"\uFFFD\uFFFD\uFFFD\uFFFD");  // behind the last character
  EXPECT_EQ(wide("\xF8\xFF"), L"\uFFFD\uFFFD");
  for (char const* cut : {"\xC3", "\xE2\x82", "\xF0\x9F\x98"}) EXPECT_EQ(wide(cut), L"\uFFFD");
  EXPECT_EQ(wide("\xC0x"), L"\uFFFDx");
}

}  // namespace
