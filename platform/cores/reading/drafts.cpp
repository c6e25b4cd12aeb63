#include "platform/cores/reading/drafts.h"

#include "platform/cores/rules/syntax.h"

namespace kdi::cores {
namespace {

constexpr int kMostFills = 4;  // of a place whose text has places

// What a filling takes beside its texts, about.
constexpr std::size_t kFillBytes = 64;

// Adds `text` with its places filled.
void fill(JsonValue value, std::string_view text, Places const& places, int depth, std::string& whole) {
  if (depth > kMostFills) value.refuse("places that do not stand for themselves");
  for (std::size_t at = 0;;) {
    const std::size_t begin = text.find("${", at);
    whole.append(text, at, begin - at);
    if (whole.size() > kLongestFill) value.refuse("a text of at most 1 MiB with its places filled");
    if (begin == std::string_view::npos) return;
    const std::size_t end = text.find('}', begin);
    const auto place = places.find(text.substr(begin + 2, end == std::string_view::npos ? 0 : end - begin - 2));
    if (place == places.end()) value.refuse("only places that each tells, such as ${n}");
    fill(value, place->second, places, depth + 1, whole);
    at = end + 1;
  }
}

}  // namespace

void Extent::add_text(JsonValue at, std::size_t bytes) {
  texts_ += bytes;
  if (texts_ > kMostTexts) at.refuse("texts of at most 64 MiB in all, patterns written out");
}

void Extent::add_rule(JsonValue at, std::size_t bytes) {
  rules_ += bytes;
  if (rules_ > kMostRules) at.refuse("rules that take at most 512 MiB in all, patterns written out");
}

std::string filled(JsonValue value, std::string_view text, Places const& places) {
  std::string whole;
  if (text.find('$') == std::string_view::npos) {  // as most of them
    if (text.size() > kLongestFill) value.refuse("a text of at most 1 MiB with its places filled");
    whole = text;
  } else {
    whole.reserve(text.size());
    fill(value, text, places, 0, whole);
  }
  places.extent->add_text(value, whole.size());
  return whole;
}

std::string text(JsonValue value, Places const& places) { return filled(value, value.text(), places); }

std::vector<std::string> texts(JsonValue list, Places const& places) {
  std::vector<std::string> all;
  for (const JsonValue item : list.items()) all.push_back(text(item, places));
  return all;
}

std::vector<Places> written_out(std::optional<JsonValue> each, Places const& known) {
  std::vector<Places> all;
  all.push_back(known);
  if (!each) return all;
  for (const JsonValue place : each->members()) {
    if (!is_name(place.name())) place.refuse("a place with a name of letters and digits");
    if (known.contains(place.name())) place.refuse("a place that the part does not have");
    std::vector<std::string> words;
    try {
      words = expand(text(place, known), kMostParameters);
    } catch (PatternError const& error) {
      place.refuse(error.what());
    }
    if (words.size() > kMostParameters / all.size()) place.refuse("patterns for at most 100000 parameters");
    std::size_t bytes = all.front().size() * kFillBytes;
    for (auto const& [name, value] : all.front()) bytes += value.size();
    known.extent->add_text(place, bytes * all.size() * words.size());
    std::vector<Places> longer;
    for (Places const& values : all)
      for (std::string const& word : words) {
        longer.push_back(values);
        longer.back().put(place.name(), word);
      }
    all = std::move(longer);
  }
  return all;
}

Type scalar_type(JsonValue value) {
  return static_cast<Kind>(value.choice({"truth", "integer", "decimal", "text"}) +
                           static_cast<std::size_t>(Kind::truth));
}

}  // namespace kdi::cores
