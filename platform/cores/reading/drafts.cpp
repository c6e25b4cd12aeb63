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
    const auto* const found = places.find(text.substr(begin + 2, end == std::string_view::npos ? 0 : end - begin - 2));
    if (found == nullptr) value.refuse("only places that each tells, such as ${n}");
    if (depth < kMostFills && found->find('$') == std::string_view::npos)  // as most of them
      whole += *found;
    else
      fill(value, *found, places, depth + 1, whole);
    at = end + 1;
  }
}

// `text` filled, in itself or in the room that the places have for it.
std::string_view borrowed(JsonValue value, std::string_view text, Places const& places) {
  if (text.find('$') == std::string_view::npos) {  // as most of them
    if (text.size() > kLongestFill) value.refuse("a text of at most 1 MiB with its places filled");
  } else {
    std::string& whole = places.extent->room();
    whole.clear();
    fill(value, text, places, 0, whole);
    text = whole;
  }
  places.extent->add_text(value, text.size());
  return text;
}

}  // namespace

// ------------------------------------------------------------------------------------------------------------- places

// A place with its texts.
struct Places::One {
  std::string name, value;
  std::shared_ptr<Place const> before;
  Place place;
};

// What the words of a pattern stand for behind each of those that there were.
struct Places::Row {
  std::vector<std::string> words;
  std::shared_ptr<Place const> before;  // which keep one another
  std::vector<Place> places;
};

Places::Place Places::after(std::string_view name, std::string_view value) const {
  return {last_.get(), name, value, (last_ ? last_->bytes : 0) + kFillBytes + value.size()};
}

void Places::put(std::string_view name, std::string_view value) {
  const auto one = std::make_shared<One>(One{std::string(name), std::string(value), last_, {}});
  one->place = after(one->name, one->value);
  last_ = {one, &one->place};
}

void Places::put(Places const& others) {
  for (Place const* place = others.last_.get(); place != nullptr; place = place->before)
    put(place->name, *others.find(place->name));
}

PlaceValues Places::values() const {
  PlaceValues values;
  for (Place const* place = last_.get(); place != nullptr; place = place->before)
    values.emplace(place->name, place->value);  // the last of a name, unless it is there
  return values;
}

// -------------------------------------------------------------------------------------------------------------- texts

void Extent::add_text(JsonValue at, std::size_t bytes) {
  texts_ += bytes;
  if (texts_ > kMostTexts) at.refuse("texts of at most 64 MiB in all, patterns written out");
}

void Extent::add_rule(JsonValue at, std::size_t bytes) {
  rules_ += bytes;
  if (rules_ > kMostRules) at.refuse("rules that take at most 512 MiB in all, patterns written out");
}

std::string filled(JsonValue value, std::string_view text, Places const& places) {
  return std::string(borrowed(value, text, places));
}

std::string text(JsonValue value, Places const& places) { return filled(value, value.text(), places); }

std::string_view borrowed_text(JsonValue value, Places const& places) { return borrowed(value, value.text(), places); }

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
    const std::size_t bytes = all.front().last_ ? all.front().last_->bytes : 0;
    known.extent->add_text(place, bytes * all.size() * words.size());
    const auto row = std::make_shared<Places::Row>(Places::Row{std::move(words), all.front().last_, {}});
    row->places.reserve(all.size() * row->words.size());
    for (Places const& values : all)
      for (std::string const& word : row->words) row->places.push_back(values.after(place.name(), word));
    all.assign(row->places.size(), known);
    for (std::size_t i = 0; i < all.size(); ++i) all[i].last_ = {row, &row->places[i]};
  }
  return all;
}

Type scalar_type(JsonValue value) {
  return static_cast<Kind>(value.choice({"truth", "integer", "decimal", "text"}) +
                           static_cast<std::size_t>(Kind::truth));
}

}  // namespace kdi::cores
