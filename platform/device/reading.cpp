#include "platform/device/reading.h"

#include <algorithm>
#include <bit>

#include "kdi/common/KdiNumber.h"

namespace kdi::device {
namespace {

constexpr std::size_t kLongestWord = 64;

}  // namespace

Counts::Counts(JsonValue counts) {
  for (const JsonValue entry : counts.members())
    entries_.emplace(entry.name(), Entry{entry, whole(entry, 1, kMostCount), false});
}

int Counts::of(std::string const& name) {
  const auto entry = entries_.find(name);
  if (entry == entries_.end()) return 0;
  entry->second.known = true;
  return entry->second.count;
}

void Counts::require_known() const {
  for (auto const& [name, entry] : entries_)
    if (!entry.known) entry.value.refuse("the name of a clock primitive, a clock buffer or a block memory");
}

void UniqueNames::add(JsonValue value, std::string_view name) {
  if (!names_.emplace(name).second)
    value.refuse("a name that does not occur twice (\"" + std::string(name) + "\" does)");
}

bool is_word(std::string_view text) {
  return !text.empty() && text.size() <= kLongestWord && std::all_of(text.begin(), text.end(), [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' || c == '-' ||
           c == '+' || c == '.';
  });
}

std::string word(JsonValue value) {
  const std::string_view text = value.text();
  if (!is_word(text)) value.refuse("a word of letters, digits and _-+., at most 64 long");
  return std::string(text);
}

std::vector<std::string> words(JsonValue list) {
  std::vector<std::string> all;
  UniqueNames seen;
  for (const JsonValue value : list.items()) {
    all.push_back(word(value));
    seen.add(value, all.back());
  }
  return all;
}

double quantity(JsonValue value, double least) { return value.number(least, kMostValue); }

Range range(JsonValue list, double least) {
  const auto [lowest, highest] = ends(list, [least](JsonValue value) { return quantity(value, least); });
  return {lowest, highest};
}

CounterRange counter(JsonValue object) {
  object.allow_only({"min", "max", "steps_per_unit", "fraction_min"});
  constexpr int kMostCounter = 100'000;
  CounterRange values;
  values.min = whole(object.member("min"), 1, kMostCounter);
  values.max = whole(object.member("max"), values.min, kMostCounter);
  values.fraction_min = values.min;
  if (const auto steps = object.find("steps_per_unit")) {
    // Counters are binary, and the clock solver counts in sixty-fourths: it takes every step exactly or not at all.
    values.steps_per_unit = whole(*steps, 1, 64);
    if (!std::has_single_bit(static_cast<unsigned>(values.steps_per_unit))) steps->refuse("1, 2, 4, 8, 16, 32 or 64");
  }
  if (const auto least = object.find("fraction_min")) values.fraction_min = whole(*least, values.min, values.max);
  return values;
}

Properties properties(std::optional<JsonValue> object) {
  Properties all;
  if (!object) return all;
  if (object->members().size() > kMostProperties)
    object->refuse("at most " + std::to_string(kMostProperties) + " properties");
  for (const JsonValue value : object->members()) {
    if (!is_word(value.name())) value.refuse("a property whose name is a word");
    all.emplace(value.name(), value.text());
  }
  return all;
}

std::map<std::string, double> quantities(JsonValue object) {
  std::map<std::string, double> all;
  for (const JsonValue value : object.members()) all.emplace(value.name(), quantity(value));
  return all;
}

std::vector<std::string> expand_names(JsonValue list) {
  std::vector<std::string> all;
  UniqueNames seen;
  for (const JsonValue value : list.items()) {
    for (std::string& name : with_pattern(value, [&] { return expand(value.text(), kMostNames); })) {
      if (!is_word(name)) value.refuse("a pattern of words");
      seen.add(value, name);
      all.push_back(std::move(name));
    }
    if (all.size() > kMostNames) list.refuse("at most " + std::to_string(kMostNames) + " names");
  }
  if (all.empty()) list.refuse("at least one pattern");
  return all;
}

std::vector<int> expand_numbers(JsonValue list) {
  std::vector<int> all;
  for (std::string const& name : expand_names(list)) {
    const bool digits = name.size() <= 5 && name.find_first_not_of("0123456789") == std::string::npos;
    if (!digits || (name.size() > 1 && name.front() == '0'))
      list.refuse("patterns of numbers from 0 to " + std::to_string(kMostNumber));
    all.push_back(*number::whole<int>(name));
  }
  return all;
}

int read_slr(JsonValue value, Device const& device) {
  return whole(value, 0, static_cast<int>(device.slrs.size()) - 1);
}

}  // namespace kdi::device
