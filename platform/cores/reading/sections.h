// What the readers of searched sections share: rules and parameters of the core that they belong to.
#pragma once

#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "kdi/cores/Core.h"
#include "platform/cores/reading/drafts.h"

namespace kdi::cores {

/// How a section reads rules, and gets hold of parameters.
struct SectionContext {
  Core const& core;
  std::function<Rule(JsonValue, Places const&, std::optional<Type>)> rule;
};

/// An entry of a section with the places that are filled in it.
struct SectionEntry {
  std::string name;
  JsonValue value;
  Places places;

  std::optional<JsonValue> find(std::string_view field) const { return value.find(field); }
  JsonValue member(std::string_view field) const { return value.member(field); }
};

/// Entries by name; one of a name that is there already takes its place.
class SectionEntries {
 public:
  void add(JsonValue list, Places const& places);
  void retire(JsonValue list, Places const& places);
  std::vector<SectionEntry> const& all() const { return entries_; }
  bool empty() const { return entries_.empty(); }

 private:
  std::vector<SectionEntry> entries_;
  std::set<std::string> names_;  // of these: thousands are not looked through for each
};

/// Reads fields of entries.
class SectionReader {
 public:
  SectionReader(SectionContext context, SearchSection& search) : context_(std::move(context)), search_(search) {}

  /// A rule that the search reads.
  Rule rule(SectionEntry const& entry, JsonValue value, Type wanted);
  std::optional<Rule> optional_rule(SectionEntry const& entry, std::string_view field, Type wanted);
  /// A parameter of that type that the search gives.
  std::uint32_t given(SectionEntry const& entry, JsonValue value, Type type);
  std::optional<std::uint32_t> optional_given(SectionEntry const& entry, std::string_view field, Type type);
  /// The number of a parameter.
  std::uint32_t parameter(SectionEntry const& entry, JsonValue value, Type type) const;
  /// Refuses a text that the parameter does not permit.
  void check_text(JsonValue value, std::optional<std::uint32_t> parameter, std::string const& text) const;
  void read(std::uint32_t slot) { search_.reads.push_back(slot); }
  Core const& core() const { return context_.core; }

 private:
  SectionContext context_;
  SearchSection& search_;
};

}  // namespace kdi::cores
