#include "host/kdish/journal_compare.h"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <vector>

#include "host/kdish/journal.h"

namespace kdish {
namespace {

using Entries = std::vector<JournalEntry>;

constexpr std::size_t kMost = 1000;

// Which entries of the one journal are which of the other.
struct Pair {
  std::size_t first, second;
};

// The longest common sequence of commands (E. W. Myers, "An O(ND) difference algorithm and its variations",
// Algorithmica 1, 1986): on each diagonal the farthest place that so many differences lead to, one row of them for each
// number.
class Alignment {
 public:
  Alignment(Entries const& first, Entries const& second) : first_(first), second_(second) {}

  /// In ascending order; nothing if more than kMost commands would have to go or come.
  std::optional<std::vector<Pair>> pairs() {
    for (std::size_t count = 0; count <= std::min(kMost, first_.size() + second_.size()); ++count) {
      if (!reach(count)) continue;
      return walk_back(count);
    }
    return std::nullopt;
  }

 private:
  using Place = std::ptrdiff_t;  // in the first journal; in the second it is this less the diagonal

  Place& at(std::size_t count, Place diagonal) {
    return rows_[count][static_cast<std::size_t>(diagonal + static_cast<Place>(count)) / 2];
  }
  Place size_of_first() const { return static_cast<Place>(first_.size()); }
  Place size_of_second() const { return static_cast<Place>(second_.size()); }

  // Whether the step to the diagonal with the count-th difference comes from a command that the second one has more.
  bool comes_from_above(std::size_t count, Place diagonal) {
    const Place most = static_cast<Place>(count);
    return diagonal == -most || (diagonal != most && at(count - 1, diagonal - 1) < at(count - 1, diagonal + 1));
  }
  Place begin_of(std::size_t count, Place diagonal) {
    if (count == 0) return 0;
    return comes_from_above(count, diagonal) ? at(count - 1, diagonal + 1) : at(count - 1, diagonal - 1) + 1;
  }

  // Fills the row of so many differences; true if both ends are reached.
  bool reach(std::size_t count) {
    rows_.emplace_back(count + 1);
    const Place most = static_cast<Place>(count);
    for (Place diagonal = -most; diagonal <= most; diagonal += 2) {
      Place place = begin_of(count, diagonal);
      while (place < size_of_first() && place - diagonal < size_of_second() && place - diagonal >= 0 &&
             first_[static_cast<std::size_t>(place)].script ==
                 second_[static_cast<std::size_t>(place - diagonal)].script)
        ++place;
      at(count, diagonal) = place;
      if (place >= size_of_first() && place - diagonal >= size_of_second()) return true;
    }
    return false;
  }

  std::vector<Pair> walk_back(std::size_t count) {
    std::vector<Pair> pairs;
    Place place = size_of_first(), diagonal = size_of_first() - size_of_second();
    for (;; --count) {
      for (const Place begin = begin_of(count, diagonal); place > begin; --place)
        pairs.push_back({static_cast<std::size_t>(place - 1), static_cast<std::size_t>(place - 1 - diagonal)});
      if (count == 0) break;
      diagonal += comes_from_above(count, diagonal) ? 1 : -1;
      place = at(count - 1, diagonal);
    }
    std::reverse(pairs.begin(), pairs.end());
    return pairs;
  }

  Entries const& first_;
  Entries const& second_;
  std::vector<std::vector<Place>> rows_;
};

std::string ending_words(JournalEntry::Ending ending) {
  switch (ending) {
    case JournalEntry::Ending::ok:
      return "well";
    case JournalEntry::Ending::error:
      return "with an error";
    case JournalEntry::Ending::unknown:
      return "in a way that is not told";
    case JournalEntry::Ending::cut:
      break;
  }
  return "in the middle of the command, where the journal breaks off";
}

std::string place_of(std::string const& path, JournalEntry const& entry) {
  return path + ":" + std::to_string(entry.line);
}

}  // namespace

std::string journal_differences(std::string const& first, std::string const& second) {
  const Entries ones = read_journal(first), others = read_journal(second);
  const auto pairs = Alignment(ones, others).pairs();
  if (!pairs) return "more than " + std::to_string(kMost) + " commands stand in one of the journals alone\n";
  std::string text;
  std::size_t one = 0, other = 0;
  const auto tell_alone = [&text](std::string const& path, Entries const& entries, std::size_t& from, std::size_t to) {
    for (; from < to; ++from) text += place_of(path, entries[from]) + ": only here: " + entries[from].script;
  };
  const auto tell_up_to = [&](Pair const& pair) {
    tell_alone(first, ones, one, pair.first);
    tell_alone(second, others, other, pair.second);
  };
  for (Pair const& pair : *pairs) {
    tell_up_to(pair);
    JournalEntry const &here = ones[one++], &there = others[other++];
    if (here.ending != there.ending)
      text += place_of(first, here) + ": ended " + ending_words(here.ending) + ", in " + place_of(second, there) + " " +
              ending_words(there.ending) + ": " + here.script;
  }
  tell_up_to({ones.size(), others.size()});
  return text;
}

}  // namespace kdish
