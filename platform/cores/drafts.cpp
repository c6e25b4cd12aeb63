#include "platform/cores/drafts.h"

#include "platform/cores/syntax.h"

namespace kdi::cores {
namespace {

constexpr int kMostFills = 4;  // of a place whose text has places

std::string filled_so_deep(JsonValue value, std::string_view text, PlaceValues const& places, int depth) {
  if (depth > kMostFills) value.refuse("places that do not stand for themselves");
  std::string whole;
  for (std::size_t at = 0;;) {
    const std::size_t begin = text.find("${", at);
    whole += text.substr(at, begin - at);
    if (begin == std::string_view::npos) return whole;
    const std::size_t end = text.find('}', begin);
    const auto place = places.find(text.substr(begin + 2, end == std::string_view::npos ? 0 : end - begin - 2));
    if (place == places.end()) value.refuse("only places that each tells, such as ${n}");
    whole += filled_so_deep(value, place->second, places, depth + 1);
    at = end + 1;
  }
}

}  // namespace

std::string filled(JsonValue value, std::string_view text, PlaceValues const& places) {
  if (text.find("${") == std::string_view::npos) return std::string(text);
  return filled_so_deep(value, text, places, 0);
}

std::string text(JsonValue value, PlaceValues const& places) { return filled(value, value.text(), places); }

std::vector<std::string> texts(JsonValue list, PlaceValues const& places) {
  std::vector<std::string> all;
  for (const JsonValue item : list.items()) all.push_back(text(item, places));
  return all;
}

std::vector<PlaceValues> written_out(std::optional<JsonValue> each, PlaceValues const& known) {
  std::vector<PlaceValues> all;
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
    std::vector<PlaceValues> longer;
    for (PlaceValues const& values : all)
      for (std::string const& word : words) {
        longer.push_back(values);
        longer.back().emplace(place.name(), word);
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
