// Texts, byte by byte and the same under every locale.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <clocale>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "kdi/common/HSTStringUtils.h"
#include "kdi/common/KdiText.h"
#include "tests/support/foreign_locale.h"

namespace {

using namespace kdi;
using Views = std::vector<std::string_view>;

std::string kept(bool (*is_kind)(char)) {
  std::string all;
  for (int byte = 0; byte < 256; ++byte)
    if (is_kind(static_cast<char>(byte))) all += static_cast<char>(byte);
  return all;
}

const std::string kUpper = "ABCDEFGHIJKLMNOPQRSTUVWXYZ";
const std::string kLower = "abcdefghijklmnopqrstuvwxyz";
const std::string kDigits = "0123456789";

void expect_ascii_letters() {
  EXPECT_EQ(kept(text::is_upper), kUpper);
  EXPECT_EQ(kept(text::is_lower), kLower);
  EXPECT_EQ(kept(text::is_letter), kUpper + kLower);
  EXPECT_EQ(kept(text::is_digit), kDigits);
  EXPECT_EQ(kept(text::is_letter_or_digit), kDigits + kUpper + kLower);
  EXPECT_EQ(kept(text::is_blank), "\t\n\v\f\r ");
  EXPECT_EQ(text::lowered(kUpper), kLower);
  EXPECT_EQ(text::uppered(kLower), kUpper);
  EXPECT_TRUE(text::same_but_case("HIGH", "high"));

  std::string word = "ID\xC4\xB0";
  HSTStringUtils::to_lower(word);
  EXPECT_EQ(word, "id\xC4\xB0");
}

TEST(Text, LettersAreThoseOfAscii) { expect_ascii_letters(); }

// In which `i` has no `I` and `I` no `i`.
TEST(Text, LettersAreTheSameInTurkish) {
  const ForeignLocale turkish("tr_TR", "ISO-8859-9");
  expect_ascii_letters();
}

// In which 0xE4 is a letter to the C library, and has a capital.
TEST(Text, BytesAboveAsciiHaveNoCase) {
  const ForeignLocale german("de_DE", "ISO-8859-1");
  expect_ascii_letters();
  EXPECT_EQ(text::uppered("\xE4"), "\xE4");
  EXPECT_FALSE(text::is_letter('\xE4'));
}

// Both languages are there where their locales can be made (libc-l10n).
TEST(Text, FaultsHaveOneLanguage) {
  for (auto const& [language, charset] : {std::pair{"tr_TR", "ISO-8859-9"}, {"de_DE", "UTF-8"}}) {
    const ForeignLocale abroad(language, charset);
    ASSERT_STRNE(std::strerror(ENOENT), "No such file or directory") << language;
    EXPECT_EQ(text::system_reason(ENOENT), "No such file or directory");
    EXPECT_EQ(text::system_reason(123456), "error 123456");
    EXPECT_EQ(::dlopen("./no_such_library.so", RTLD_NOW), nullptr);
    EXPECT_EQ(text::loader_reason(), "./no_such_library.so: cannot open shared object file: No such file or directory");
    EXPECT_EQ(text::loader_reason(), "");
    EXPECT_STRNE(std::strerror(ENOENT), "No such file or directory") << "the thread has its locale back";
  }
}

TEST(Text, ComparesNames) {
  for (std::string_view const one : {"", "a", "b", "ab", "ac", "abc"})
    for (std::string_view const other : {"", "a", "b", "ab", "ac", "abc"})
      EXPECT_EQ(text::same_name(one, other), one == other) << one << " " << other;
}

TEST(Text, KnowsControlCharacters) {
  EXPECT_EQ(kept(text::is_control).size(), 33U);
  EXPECT_TRUE(text::is_control('\0'));
  EXPECT_TRUE(text::is_control('\x1F'));
  EXPECT_TRUE(text::is_control('\x7F'));
  EXPECT_FALSE(text::is_control(' '));
  EXPECT_FALSE(text::is_control('\x80'));
}

TEST(Text, ComparesWithoutCase) {
  EXPECT_TRUE(text::same_but_case("", ""));
  EXPECT_TRUE(text::same_but_case("Qpll0", "QPLL0"));
  EXPECT_FALSE(text::same_but_case("QPLL", "QPLL0"));
  EXPECT_FALSE(text::same_but_case("[", "{"));  // 0x20 apart, like a letter and its capital
  EXPECT_TRUE(text::starts_with_but_case("64b66b_ASYNC", "64B66B"));
  EXPECT_TRUE(text::starts_with_but_case("x", ""));
  EXPECT_FALSE(text::starts_with_but_case("64b", "64b66b"));
}

TEST(Text, Trims) {
  EXPECT_EQ(text::trimmed(" \t a b\n"), "a b");
  EXPECT_EQ(text::trimmed("a"), "a");
  EXPECT_EQ(text::trimmed(" \n"), "");
  EXPECT_EQ(text::trimmed(""), "");
  EXPECT_EQ(text::trimmed("//a/", "/"), "a");
}

TEST(Text, SplitsAtEverySeparator) {
  EXPECT_EQ(text::split("a,,b", ','), (Views{"a", "", "b"}));
  EXPECT_EQ(text::split(",", ','), (Views{"", ""}));
  EXPECT_EQ(text::split("", ','), (Views{""}));
}

TEST(Text, WordsAreNeverEmpty) {
  EXPECT_EQ(text::words("  a\tb \n"), (Views{"a", "b"}));
  EXPECT_EQ(text::words(",a,, b", ", "), (Views{"a", "b"}));
  EXPECT_EQ(text::words(""), Views{});
  EXPECT_EQ(text::words(" "), Views{});
}

TEST(Text, LinesEndButTheLastNeedNot) {
  EXPECT_EQ(text::lines("a\nb\n"), (Views{"a", "b"}));
  EXPECT_EQ(text::lines("a\nb"), (Views{"a", "b"}));
  EXPECT_EQ(text::lines("\n\na"), (Views{"", "", "a"}));
  EXPECT_EQ(text::lines("\n"), Views{""});
  EXPECT_EQ(text::lines(""), Views{});
  EXPECT_EQ(text::lines("a,,b,", ','), (Views{"a", "", "b"}));
}

TEST(Text, CountsEdits) {
  EXPECT_EQ(text::edit_distance("", ""), 0U);
  EXPECT_EQ(text::edit_distance("", "abc"), 3U);
  EXPECT_EQ(text::edit_distance("abc", ""), 3U);
  EXPECT_EQ(text::edit_distance("kitten", "sitting"), 3U);
  EXPECT_EQ(text::edit_distance("ab", "ba"), 2U);
  EXPECT_EQ(text::edit_distance("abc", "abc"), 0U);
}

TEST(Text, JoinsWhatASplitParted) {
  for (char const* one : {"", ",", "a", "a,b", ",a,,b,"}) EXPECT_EQ(text::joined(text::split(one, ','), ","), one);
  EXPECT_EQ(text::joined(std::vector<std::string>{}, ", "), "");
  EXPECT_EQ(text::joined(std::array{"a", "b"}, ", "), "a, b");
}

TEST(Text, AppendsWords) {
  std::string list;
  text::append_word(list, "a");
  text::append_word(list, "b");
  EXPECT_EQ(list, "a b");
}

TEST(Text, Quotes) { EXPECT_EQ(text::quoted("a \"b"), "\"a \"b\""); }

TEST(Text, ForATerminalHasNothingThatItWouldObey) {
  using kdi::text::printable;
  EXPECT_EQ(printable("plain \xC3\xA4 \t\n"), "plain \xC3\xA4 \t\n");
  EXPECT_EQ(printable("\x1B[31mred\x07\x7F\r\n"), "\\u001b[31mred\\u0007\\u007f\\u000d\n");
  EXPECT_EQ(printable("\xC2\x9B"
                      "2J"),
            "\\u009b2J")
      << "as long in UTF-8";
  EXPECT_EQ(printable("\xC2\xA0\xC2"), "\xC2\xA0\xC2");
  EXPECT_EQ(printable(std::string_view("\0", 1)), "\\u0000");
}

TEST(Text, IsShortenedBetweenCharacters) {
  using kdi::text::shortened;
  using kdi::text::shortened_in_the_middle;
  EXPECT_EQ(shortened("abcd", 4), "abcd");
  EXPECT_EQ(shortened("abcde", 4), "abcd...");
  EXPECT_EQ(shortened("abc\xC3\xA4", 4), "abc...");
  EXPECT_EQ(shortened("\x80\x80\x80", 2), "...");
  EXPECT_EQ(shortened_in_the_middle("abcdef", 6), "abcdef");
  EXPECT_EQ(shortened_in_the_middle("abcdefg", 4), "ab...fg");
  EXPECT_EQ(shortened_in_the_middle("a\xC3\xA4"
                                    "cd\xC3\xA4g",
                                    4),
            "a...g");
  EXPECT_EQ(shortened(std::string(1000, 'x')).size(), kdi::text::kMostShown + 3);
}

}  // namespace
