#include "tcltasks/power/unread_words.h"

#include <algorithm>
#include <numeric>
#include <vector>

#include "kdi/common/ComMsgMgr.h"
#include "kdi/common/KdiNumber.h"
#include "kdi/common/KdiText.h"
#include "tcltasks/frame/exceptions.h"

namespace power_est_init::power_est_kdi_tcltasks {
namespace {

void warn(std::string const& text) {
  ComMsgMgr::sendMsg::eval(1, __FILE__, __LINE__, frame::kMessageCategory, ComMsgMgr::MSG_WARNING, "%s", text.c_str());
}

// The changes that make `word` of some part of `text`: the edit distance where beginning and end of the text are free.
std::size_t distance_within(std::string_view word, std::string_view text) {
  std::vector<std::size_t> row(word.size() + 1);
  std::iota(row.begin(), row.end(), std::size_t{0});
  std::size_t least = row.back();
  for (char const letter : text) {
    std::size_t diagonal = row[0];
    for (std::size_t i = 0; i < word.size(); ++i) {
      const std::size_t above = row[i + 1];
      row[i + 1] = std::min(
          {diagonal + (kdi::text::to_lower(letter) != kdi::text::to_lower(word[i]) ? 1 : 0), above + 1, row[i] + 1});
      diagonal = above;
    }
    least = std::min(least, row.back());
  }
  return least;
}

// What of the text is not part of the number that it begins with; empty if there is no number or nothing behind it.
template <class Number>
std::string_view behind_number(std::string_view text) {
  std::string_view rest = kdi::text::trimmed(text);
  if (!kdi::number::take<Number>(rest)) return {};
  return kdi::text::trimmed(rest);
}

bool is_whole_integer(std::string_view text) {
  const auto value = kdi::number::whole<double>(kdi::text::trimmed(text));
  return value && *value == static_cast<double>(static_cast<long>(std::clamp(*value, -1e15, 1e15)));
}

// The words that a row knows; none for other readings.
std::vector<std::string_view> words_of(Reads reads) {
  switch (reads) {
    case Reads::truth:
      return {"true", "false"};
    case Reads::enable:
      return {"Enable", "Disable"};
    case Reads::phy_ratio:
      return {"4:1", "2:1"};
    case Reads::phy_mode:
      return {"VCO_2X", "VCO", "VCO_HALF"};
    default:
      return {};
  }
}

}  // namespace

void UnreadWords::Nearest::offer(std::string_view word) {
  constexpr std::size_t kLongest = 200;  // no name is longer
  if (key_.size() > kLongest) return;
  const std::size_t distance = distance_within(word, key_);
  if (distance > word.size() / 4) return;  // no slip of the pen
  const bool is_nearer = word_.empty() || distance < distance_ || (distance == distance_ && word.size() > word_.size());
  if (!is_nearer) return;
  word_ = word;
  distance_ = distance;
}

void UnreadWords::tell_key(std::string_view key, std::string_view nearest) {
  tell("nothing reads the key " + kdi::text::shown(key) +
       (nearest.empty() ? "" : "; the nearest that is read is " + kdi::text::quoted(nearest)));
}

void UnreadWords::look_at(std::string_view key, std::string_view value, Reads reads) {
  if (reads == Reads::text || value.empty()) return;
  if (reads == Reads::integer || reads == Reads::real) {
    const std::string_view rest = reads == Reads::real ? behind_number<double>(value) : behind_number<long>(value);
    if (rest.empty() || (reads == Reads::integer && is_whole_integer(value))) return;
    tell("of " + kdi::text::shown(value) + " for " + kdi::text::shown(key) + " only the number is read, not " +
         kdi::text::shown(rest));
    return;
  }
  const std::vector<std::string_view> known = words_of(reads);
  if (std::ranges::find(known, value) != known.end()) return;
  tell(kdi::text::shown(value) + " for " + kdi::text::shown(key) + " is none of " + kdi::text::joined(known, ", "));
}

void UnreadWords::tell(std::string const& text) {
  if (++told_ <= kMost) warn(text);
}

UnreadWords::~UnreadWords() {
  if (told_ > kMost) warn(std::to_string(told_ - kMost) + " further words of the record are not read as they stand");
}

}  // namespace power_est_init::power_est_kdi_tcltasks
