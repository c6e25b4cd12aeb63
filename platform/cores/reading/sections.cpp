#include "platform/cores/reading/sections.h"

#include <algorithm>

#include "kdi/cores/SearchSection.h"

namespace kdi::cores {

std::vector<std::uint32_t> SearchSection::reads_of(Core const&, Findings const&, std::uint32_t) const { return reads; }

void SectionEntries::add(JsonValue list, Places const& places) {
  for (const JsonValue value : list.items())
    for (Places const& filling : written_out(value.find("each"), places)) {
      SectionEntry entry{text(value.member("name"), filling), value, filling};
      if (!names_.insert(entry.name).second) {
        const auto same = [&](SectionEntry const& other) { return other.name == entry.name; };
        *std::find_if(entries_.begin(), entries_.end(), same) = std::move(entry);
        continue;
      }
      if (entries_.size() == kMostEntries) value.refuse("at most 10000 entries");
      entries_.push_back(std::move(entry));
    }
}

void SectionEntries::retire(JsonValue list, Places const& places) {
  for (const JsonValue value : list.items()) {
    const std::string name = text(value, places);
    if (names_.erase(name) != 0) std::erase_if(entries_, [&](SectionEntry const& entry) { return entry.name == name; });
  }
}

Rule SectionReader::rule(SectionEntry const& entry, JsonValue value, Type wanted) {
  Rule rule = context_.rule(value, entry.places, wanted);
  search_.reads.insert(search_.reads.end(), rule.reads().begin(), rule.reads().end());
  return rule;
}

std::optional<Rule> SectionReader::optional_rule(SectionEntry const& entry, std::string_view field, Type wanted) {
  const auto value = entry.find(field);
  return value ? std::optional(rule(entry, *value, wanted)) : std::nullopt;
}

std::uint32_t SectionReader::parameter(SectionEntry const& entry, JsonValue value, Type type) const {
  const std::string name = text(value, entry.places);
  const auto number = core().find(name);
  if (!number) value.refuse("a parameter of this core");
  if (core().parameters()[*number].type != type) value.refuse("a parameter of type " + type.text());
  return *number;
}

std::uint32_t SectionReader::given(SectionEntry const& entry, JsonValue value, Type type) {
  const std::uint32_t number = parameter(entry, value, type);
  if (core().parameters()[number].derived) value.refuse("a parameter without a derived rule");
  if (std::find(search_.writes.begin(), search_.writes.end(), number) != search_.writes.end() ||
      core().parameters()[number].search)
    value.refuse("a parameter that no other search or entry gives");
  search_.writes.push_back(number);
  read(Core::slot(number, Core::kUser));
  if (core().parameters()[number].range) read(core().range_slot(number));
  return number;
}

std::optional<std::uint32_t> SectionReader::optional_given(SectionEntry const& entry, std::string_view field,
                                                           Type type) {
  const auto value = entry.find(field);
  return value ? std::optional(given(entry, *value, type)) : std::nullopt;
}

void SectionReader::check_text(JsonValue value, std::optional<std::uint32_t> parameter, std::string const& text) const {
  if (!parameter) return;
  std::vector<std::string> const& values = core().parameters()[*parameter].values();
  if (!values.empty() && std::find(values.begin(), values.end(), text) == values.end())
    value.refuse("a text that " + core().parameters()[*parameter].name + " permits");
}

}  // namespace kdi::cores
