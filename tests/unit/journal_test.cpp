// Reading a journal: where commands end, and how they did.
#include "host/kdish/journal.h"

#include <gtest/gtest.h>
#include <tcl.h>

#include <chrono>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/random.h"
#include "tests/support/scratch.h"

namespace {

constexpr char const* kHeader = "# kdish journal 1\n";

using Read = std::vector<std::pair<std::string, kdish::JournalEntry::Ending>>;

// The same by asking Tcl at each line.
Read read_slowly(std::string const& lines) {
  using Ending = kdish::JournalEntry::Ending;
  Read entries;
  std::string script;
  std::istringstream stream(lines);
  for (std::string line; std::getline(stream, line);) {
    const bool is_whole = Tcl_CommandComplete(script.c_str()) != 0;
    const bool ends = line == "#= ok" || line == "#= error" || line == "#= unknown";
    if (is_whole && !script.empty() && ends) {
      entries.emplace_back(script, line == "#= ok" ? Ending::ok : line == "#= error" ? Ending::error : Ending::unknown);
      script.clear();
    } else if (is_whole && script.empty() && (line.empty() || line.starts_with('#'))) {
      continue;
    } else if (is_whole && (line.starts_with("#>") || line.starts_with("#="))) {
      continue;
    } else {
      script += line + "\n";
    }
  }
  if (!script.empty())
    entries.emplace_back(script, Tcl_CommandComplete(script.c_str()) != 0 ? Ending::unknown : Ending::cut);
  return entries;
}

TEST(ReadJournal, SeesCommandsAsTclDoes) {
  constexpr char const* kLines[] = {
      "set x 1",    "set x {",  "}",          "\"",         "puts \"a",  "[",    "]",       "set x {a}b", "\\",
      "# a",        "# a \\",   "",           "#= ok",      "#= error",  "#> a", "#> a \\", "#= o",       "; set y {",
      "}; set z {", "set x \\", "#= unknown", "set y $a(b", "set y $a)", "}b{c", "  # b {", "a\tb;# {",   "\\{"};
  test_support::Random random(7);
  const Scratch folder;
  for (int round = 0; round < 5'000; ++round) {
    std::string lines;
    for (int i = 0; i < 30; ++i) lines += std::string(kLines[random.below(std::size(kLines))]) + "\n";
    Read read;
    for (kdish::JournalEntry const& entry :
         kdish::read_journal(folder.file("j" + std::to_string(round), kHeader + lines)))
      read.emplace_back(entry.script, entry.ending);
    ASSERT_EQ(read, read_slowly(lines)) << lines;
  }
}

TEST(ReadJournal, TakesTimeByItsLength) {
  const Scratch folder;
  std::string command = "set x {\n";
  for (int line = 0; line < 100'000; ++line) command += "a line of a long command\n#= ok\n";
  const std::string journal = folder.file("j", kHeader + command + "}\n#= error\n");
  const auto begun = std::chrono::steady_clock::now();
  const std::vector<kdish::JournalEntry> entries = kdish::read_journal(journal);
  EXPECT_LT(std::chrono::steady_clock::now() - begun, std::chrono::seconds(5)) << "minutes by the square of its length";
  ASSERT_EQ(entries.size(), 1U);
  EXPECT_EQ(entries[0].script, command + "}\n");
}

}  // namespace
