// Where a command ends that comes line by line: as Tcl says of all lines together.
#include "host/kdish/command_end.h"

#include <gtest/gtest.h>
#include <tcl.h>

#include <chrono>

#include "kdi/common/KdiText.h"
#include "tests/support/random.h"

namespace {

using kdish::CommandEnd;

// The first line of the script of which the two say something else; nothing if there is none.
std::string differs(std::string const& script) {
  CommandEnd end;
  std::string so_far;
  for (const std::string_view line : kdi::text::lines(script)) {
    const std::string whole_line = std::string(line) + "\n";
    so_far += whole_line;
    const bool is_whole = Tcl_CommandComplete(so_far.c_str()) != 0;
    if (end.add(whole_line) != is_whole) return so_far;
    if (!is_whole) continue;
    end.clear();
    so_far.clear();
  }
  return {};
}

TEST(CommandEnd, IsWhereTclSaysIt) {
  for (char const* const script : {"a",
                                   "a {\n}\nb",
                                   "a \"\n\" b",
                                   "a [b\nc]",
                                   "a \\\nb",
                                   "# a \\\nb\nc",
                                   "a {*}\nb",
                                   "a {*}{b\n}",
                                   "a {*}{*}x {\n",
                                   "{*}{*} {\n}",
                                   "a {b}c {\nd",
                                   "a \"b\"c {\nd",
                                   "a [b {c}d\ne",
                                   "a ${b\n}",
                                   "a $b(c\nd)",
                                   "a $(\n)",
                                   "a $b:(\nc",
                                   "a $b::(\n)",
                                   "a $b:::c(\n)",
                                   "a b{c\nd",
                                   "a b\"c\nd",
                                   "[# a ]\n]",
                                   "a {\\}\n}",
                                   "a {\\\n}",
                                   "a \"\\\"\n\"",
                                   "a ]\nb",
                                   "a }\nb",
                                   "a; # b {\nc",
                                   "a # b {\n}",
                                   "a [b; c\n]d {\n}",
                                   "a \"[b \"c\nd\" e]\"",
                                   "a $b([c\n])",
                                   "a \"$b(\"\n)\"",
                                   "{\n}\\\n#{\n",
                                   "a\\\\\nb",
                                   "a {b} \\\nc",
                                   "a {b}\\\nc",
                                   "\\\n# a {\nb",
                                   " ;# {\n\n;\n{}\n"})
    EXPECT_EQ(differs(script), "") << script;
}

TEST(CommandEnd, IsWhereTclSaysItForRandomScripts) {
  constexpr std::string_view kPieces[] = {
      "{", "}", "\"", "[", "]",  "(",   ")",   "$",  "\\", "\n", "\\\n", "\n",      " ",
      ";", "#", "a",  ":", "::", "{*}", "$a(", "${", "\t", "*",  "\r",   "\xc3\xa9"};
  test_support::Random random(11);
  for (int i = 0; i < 60000; ++i) {
    std::string script;
    for (unsigned pieces = 1 + random.below(24); pieces > 0; --pieces)
      script += kPieces[random.below(std::size(kPieces))];
    ASSERT_EQ(differs(script + "\n"), "") << "of " << script;
  }
}

TEST(CommandEnd, IsFoundInTimeThatGrowsWithTheLines) {
  using Clock = std::chrono::steady_clock;
  for (std::string const& line : {std::string("{a \"b\"} [c] $d(e)\n"), std::string("\\\n"), std::string("[\"\n")}) {
    CommandEnd end;
    ASSERT_EQ(end.add("set x {\n"), false);
    const Clock::time_point start = Clock::now();
    for (int i = 0; i < 200000; ++i) ASSERT_FALSE(end.add(line));
    // each line anew from the first: hours
    EXPECT_LT(std::chrono::duration<double>(Clock::now() - start).count(), 60);
  }
}

}  // namespace
