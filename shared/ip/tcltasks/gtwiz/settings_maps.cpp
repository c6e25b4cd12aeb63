#include "tcltasks/gtwiz/settings_maps.h"

#include <tcl.h>

#include <algorithm>
#include <optional>
#include <set>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "kdi/common/KdiText.h"
#include "kdi/tcl/values.h"
#include "tcltasks/gtwiz/gtwiz_utils.h"

namespace kelvane_gtwiz_utils::gtwiz_utils {
namespace {

constexpr char const* kEnd = "END";

// ----------------------------------------------------------------------------------------------------- flat texts

/// A regular expression in Tcl's hands, whose texts are bytes here: \d are the ten digits.
class Expression {
 public:
  explicit Expression(std::string const& expression)
      : object_(tcl::new_text("^(?:" + with_digits(expression) + ")$")),
        compiled_(Tcl_GetRegExpFromObj(nullptr, object_.get(), TCL_REG_ADVANCED)) {
    if (compiled_ == nullptr) throw std::invalid_argument("no regular expression: " + kdi::text::shown(expression));
  }

  bool matches(std::string const& word) const {
    const tcl::ObjRef object(tcl::new_text(word));
    return Tcl_RegExpExecObj(nullptr, compiled_, object.get(), 0, 0, 0) == 1;
  }

 private:
  static std::string with_digits(std::string expression) {
    find_and_replace(expression, "\\d", "[0-9]");
    return expression;
  }

  tcl::ObjRef object_;  // what was compiled lives in it
  Tcl_RegExp compiled_;
};

// What means something in an expression means itself.
std::string escaped(std::string_view text) {
  std::string all;
  for (const char c : text) {
    if (!kdi::text::is_letter_or_digit(c) && c != '_' && static_cast<unsigned char>(c) < 0x80) all += '\\';
    all += c;
  }
  return all;
}

bool holds(std::string const& word, std::string const& marker) {
  const bool ends_in_digit = !marker.empty() && kdi::text::is_digit(marker.back());
  for (std::size_t at = word.find(marker); at != std::string::npos; at = word.find(marker, at + 1)) {
    const std::size_t behind = at + marker.size();
    if (!ends_in_digit || behind == word.size() || !kdi::text::is_digit(word[behind])) return true;
  }
  return false;
}

StrVec without_empty(StrVec words) {
  std::erase_if(words, [](std::string const& word) { return word.empty(); });
  return words;
}

// Calls take(start word, words) for each section <prefix><i><tail>.
template <class Take>
void for_each_section(int count, std::string const& prefix, std::string const& tail, std::string const& end,
                      StrVec const& words, Take take) {
  if (count > 0 && static_cast<std::size_t>(count) > kMostSteps / (words.size() + 1))
    throw std::string("Ip_gtwiz : too many sections in settings text.\n");
  const auto marker = [&](int i) { return prefix + intToStr(i) + tail; };
  for (int i = 0; i < count; ++i) {
    std::string start_word;
    StrVec section = getSubSet(marker(i), i + 1 < count ? marker(i + 1) : end, words, start_word);
    if (!start_word.empty()) take(std::move(start_word), std::move(section));
  }
}

GtMap2 pair_sections(int count, std::string const& prefix, std::string const& tail, std::string const& end,
                     StrVec const& words) {
  GtMap2 map;
  for_each_section(count, prefix, tail, end, words, [&](std::string word, StrVec section) {
    map.insert_or_assign(std::move(word), strVector2StrStrMap(without_empty(std::move(section))));
  });
  return map;
}

// How many numbers stand between the prefix and an underscore at the begin of words.
int distinct_numbers(StrVec const& words, std::string_view prefix) {
  std::set<std::string, std::less<>> numbers;
  for (std::string_view word : words) {
    if (!word.starts_with(prefix)) continue;
    word.remove_prefix(prefix.size());
    const std::size_t end = word.find_first_not_of("0123456789");
    if (end == 0 || end == std::string_view::npos || word[end] != '_') continue;
    const std::string_view digits = word.substr(0, end);
    const std::size_t first = std::min(digits.find_first_not_of('0'), digits.size() - 1);
    numbers.emplace(digits.substr(first));
  }
  return static_cast<int>(numbers.size());
}

// -------------------------------------------------------------------------------------------------- texts in braces

constexpr std::string_view kOpen = "{", kClose = "}";

/// The tokens of a text: braces, and words between braces and blanks; each opening brace knows its closing one.
class Tokens {
 public:
  explicit Tokens(std::string_view text) {
    constexpr std::string_view kSeparators = " \t\n\v\f\r";
    tokens_.reserve(text.size() / 8 + 8);
    std::vector<std::size_t> open;
    std::size_t at = 0;
    while (at < text.size()) {
      const char c = text[at];
      if (c == '{' || c == '}') {
        if (c == '{') {
          open.push_back(tokens_.size());
        } else {
          if (open.empty()) refuse();
          tokens_[open.back()].partner = tokens_.size();
          open.pop_back();
        }
        tokens_.push_back({text.substr(at++, 1), 0});
      } else if (kSeparators.find(c) != std::string_view::npos) {
        ++at;
      } else {
        std::size_t end = at + 1;
        while (end < text.size() && !is_bound(text[end])) ++end;
        tokens_.push_back({text.substr(at, end - at), 0});
        at = end;
      }
    }
    if (!open.empty()) refuse();
  }

  struct Run {
    std::size_t begin, end;
    bool is_empty() const { return begin == end; }
  };
  Run all() const { return {0, tokens_.size()}; }

  /// What the run begins with: a word, or a group with its braces. The run is left with what stands behind it.
  Run take(Run& run) const {
    const Run first{run.begin, is_group(run) ? tokens_[run.begin].partner + 1 : run.begin + 1};
    run.begin = first.end;
    return first;
  }
  bool is_group(Run run) const { return tokens_[run.begin].text.data()[0] == '{'; }
  static Run content(Run group) { return {group.begin + 1, group.end - 1}; }
  /// Without the braces around all of it.
  Run unwrapped(Run run) const {
    while (!run.is_empty() && is_group(run) && tokens_[run.begin].partner + 1 == run.end) run = content(run);
    return run;
  }

  /// A word, or what stands in a group: single blanks between its words and groups.
  std::string text_of(Run item) const {
    if (!is_group(item)) return std::string(tokens_[item.begin].text);
    const Run inner = content(item);
    std::string text;
    bool is_behind_open = true;
    for (std::size_t i = inner.begin; i < inner.end; ++i) {
      const std::string_view token = tokens_[i].text;
      if (!is_behind_open && token != kClose) text += ' ';
      text += token;
      is_behind_open = token == kOpen;
    }
    return text;
  }

 private:
  struct Token {
    std::string_view text;
    std::size_t partner;
  };
  static bool is_bound(char c) { return c == '{' || c == '}' || c == ' ' || (c >= '\t' && c <= '\r'); }
  [[noreturn]] static void refuse() { throw std::string("Ip_gtwiz : unbalanced braces in settings text.\n"); }

  std::vector<Token> tokens_;
};

// What a map of each depth makes of an entry's value: a group, a word, or nothing.
void assign(Tokens const& tokens, std::optional<Tokens::Run> value, std::string& leaf) {
  leaf = value ? tokens.text_of(*value) : std::string();
}

void assign(Tokens const& tokens, std::optional<Tokens::Run> value, StrVec& leaf) {
  leaf.clear();
  if (!value) return;
  if (!tokens.is_group(*value)) return leaf.push_back(tokens.text_of(*value));
  for (Tokens::Run rest = Tokens::content(*value); !rest.is_empty();) leaf.push_back(tokens.text_of(tokens.take(rest)));
}

template <class Value>
void fill(Tokens const& tokens, Tokens::Run entries, std::map<std::string, Value>& map);

template <class Value>
void assign(Tokens const& tokens, std::optional<Tokens::Run> value, std::map<std::string, Value>& map) {
  map.clear();
  if (!value) return;
  if (tokens.is_group(*value))
    fill(tokens, tokens.unwrapped(*value), map);
  else
    assign(tokens, value, map[std::string()]);  // not lost, and not taken for a named entry
}

template <class Value>
void fill(Tokens const& tokens, Tokens::Run entries, std::map<std::string, Value>& map) {
  while (!entries.is_empty()) {
    std::string key = tokens.text_of(tokens.take(entries));
    const auto value = entries.is_empty() ? std::nullopt : std::optional(tokens.take(entries));
    // Most keys come in their order.
    assign(tokens, value, map.try_emplace(map.end(), std::move(key))->second);
  }
}

template <class Map>
void add_entries(std::string const& text, Map& map) {
  const Tokens tokens(text);
  fill(tokens, tokens.unwrapped(tokens.all()), map);
}

}  // namespace

StrVec getSettingsVec(std::string const& text) {
  StrVec words(1);
  bool is_behind_blank = false;
  for (const char c : text) {
    if (c == '{' || c == '}') continue;
    if (c == ' ') {
      if (!is_behind_blank) words.emplace_back();
    } else {
      words.back() += c;
    }
    is_behind_blank = c == ' ';
  }
  return words;
}

StrVec getBraceList(std::string text) {
  find_and_replace(text, " { ", "{");
  find_and_replace(text, " } ", "}");
  StrVec tokens;
  for (const std::string_view word : kdi::text::words(text, " ")) tokens.emplace_back(word);
  if (tokens.empty() || tokens.front() == kOpen) return tokens;
  tokens.insert(tokens.begin(), std::string(kOpen));
  tokens.emplace_back(kClose);
  return tokens;
}

int getExprCnt(std::string const& expression, StrVec const& words) {
  const Expression compiled(expression);
  int count = 0;
  for (std::string const& word : words) count += compiled.matches(word) ? 1 : 0;
  return count;
}

StrVec getSubSet(std::string const& start, std::string const& end, StrVec const& words, std::string& startWord) {
  StrVec inside;
  bool is_inside = false;
  for (std::string const& word : words) {
    is_inside = is_inside && !holds(word, end);
    if (is_inside) inside.push_back(word);
    if (holds(word, start)) {
      startWord = word;
      is_inside = true;
    }
  }
  return inside;
}

ParamMap strVector2StrStrMap(StrVec const& words) {
  ParamMap map;
  for (std::size_t i = 0; i < words.size(); i += 2)
    map.insert_or_assign(words[i], i + 1 < words.size() ? words[i + 1] : std::string());
  return map;
}

GtMap2 getSettingsMap(int count, std::string const& prefix, StrVec const& words) {
  return pair_sections(count, prefix, "_SETTINGS", kEnd, words);
}

GtMap2 getTXRXSettingsMap(int count, std::string const& prefix, std::string const& end, StrVec const& words) {
  return pair_sections(count, prefix, "_SETTINGS", end, words);
}

GtMap3 getLRSettingsMap(std::string const& prefix, std::string const& tx, std::string const& rx, StrVec const& words) {
  GtMap3 map;
  const int count = getExprCnt("^LR(\\d+)_SETTINGS", words);
  for_each_section(count, prefix, "_", kEnd, words, [&](std::string start_word, StrVec const& section) {
    std::map<std::string, StrVec> parts;
    std::string part = "SETTINGS";
    for (std::string const& word : section) {
      if (word == tx || word == rx)
        part = word;
      else if (!word.empty())
        parts[part].push_back(word);
    }
    for (auto const& [name, pairs] : parts) map[start_word].insert_or_assign(name, strVector2StrStrMap(pairs));
  });
  return map;
}

GtMap2 getQuadUsageData(int count, StrVec const& words, std::string const& prefix, std::string const& end) {
  return pair_sections(count, prefix, "_", end, words);
}

VectorMap getLaneUsageMap(int count, StrVec const& words, std::string const& prefix) {
  VectorMap map;
  for_each_section(count, prefix, "", kEnd, words, [&](std::string start_word, StrVec section) {
    map.insert_or_assign(std::move(start_word), std::move(section));
  });
  return map;
}

GtMap2 tcl2cpp3LevelMap(std::string const& text, std::string const& prefix) {
  const StrVec words = getSettingsVec(text);
  return getSettingsMap(getExprCnt("^" + escaped(prefix) + "(\\d+)_SETTINGS", words), prefix, words);
}

GtMap3 tcl2cppQuadUsage(std::string const& text) {
  const StrVec words = getSettingsVec(text);
  GtMap3 map;
  map["TX_QUAD_CH"] = getQuadUsageData(distinct_numbers(words, "TXQuad_"), words, "TXQuad_", "RX_QUAD_CH");
  map["RX_QUAD_CH"] = getQuadUsageData(distinct_numbers(words, "RXQuad_"), words, "RXQuad_", kEnd);
  return map;
}

VectorMap tcl2LaneUsageMap(std::string const& text) {
  const StrVec words = getSettingsVec(text);
  const int count = getExprCnt("^PROT(\\d+)", words);
  return count > 0 ? getLaneUsageMap(count, words, "PROT") : VectorMap();
}

void constructMultiMapFromTCLDict(std::string const& text, GtMap2& map) { add_entries(text, map); }
void constructMultiMapFromTCLDict(std::string const& text, GtMap3& map) { add_entries(text, map); }
void constructMultiMapFromTCLDict(std::string const& text, VectorMap& map) { add_entries(text, map); }
void constructMultiMapFromTCLDict(std::string const& text, VectorMap2& map) { add_entries(text, map); }

}  // namespace kelvane_gtwiz_utils::gtwiz_utils
