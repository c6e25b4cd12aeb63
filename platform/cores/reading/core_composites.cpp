#include "platform/cores/reading/core_composites.h"

#include <algorithm>
#include <set>

#include "platform/cores/reading/drafts.h"
#include "platform/cores/rules/syntax.h"

namespace kdi::cores {
namespace {

constexpr int kMostRegions = 100;
constexpr std::size_t kMostComposites = 100;
constexpr std::size_t kMostSubCores = 100;
constexpr std::size_t kMostKinds = 100;   // that a sub-core may be one of
constexpr std::size_t kMostBegins = 100;  // of the names of members

std::string name_of(CompositeDraft const& draft) { return text(draft.entry.member("name"), draft.places); }

// A parameter that can hold the text of others: nothing else decides its value.
std::uint32_t text_parameter(JsonValue name, Places const& places, Core const& core) {
  const auto number = core.find(text(name, places));
  if (!number) name.refuse("the name of a parameter");
  Parameter const& parameter = core.parameters()[*number];
  const bool is_plain = parameter.type == Type(Kind::text) && parameter.values().empty() && !parameter.range &&
                        !parameter.derived && value_text(parameter.default_value).empty();
  if (!is_plain) name.refuse("a parameter of type text with an empty default, without values, range and derived rule");
  return *number;
}

// The parameters that a composite may not hold: those that hold others.
std::set<std::uint32_t> holders_of(std::vector<CompositeDraft> const& drafts, Core const& core) {
  std::set<std::uint32_t> holders;
  for (CompositeDraft const& draft : drafts)
    for (char const* const field : {"name", "internal"})
      if (const auto name = draft.entry.find(field))
        if (!holders.insert(text_parameter(*name, draft.places, core)).second)
          name->refuse("a parameter that holds the members of one composite");
  return holders;
}

void add_listed(JsonValue entry, Places const& known, Core const& core, std::set<std::uint32_t> const& holders,
                Composite& composite) {
  entry.allow_only({"each", "parameter", "key", "key_word"});
  for (Places const& places : written_out(entry.find("each"), known)) {
    const JsonValue name = entry.member("parameter");
    const auto number = core.find(text(name, places));
    if (!number || holders.contains(*number)) name.refuse("the name of a parameter that is no composite");
    Composite::Member member{*number, core.parameters()[*number].name, {}};
    if (const auto key = entry.find("key")) member.key = text(*key, places);
    if (const auto word = entry.find("key_word")) member.key_word = text(*word, places);
    if (!member.key_word.empty() && !entry.find("key")) member.key.clear();
    if (composite.members.size() == kMostEntries) entry.refuse("at most 10000 members");
    composite.members.push_back(std::move(member));
  }
}

void add_by_name(JsonValue starts, Places const& places, Core const& core, std::set<std::uint32_t> const& holders,
                 Composite& composite) {
  if (starts.items().size() > kMostBegins) starts.refuse("at most 100 beginnings");
  const std::vector<std::string> begins = texts(starts, places);
  for (std::uint32_t i = 0; i < core.parameters().size(); ++i) {
    const KeptText name = core.parameters()[i].name;
    if (holders.contains(i) || !core.is_settable(i)) continue;
    if (std::any_of(begins.begin(), begins.end(), [&](std::string const& begin) { return name.starts_with(begin); }))
      composite.members.push_back({i, name, {}});
  }
  if (composite.members.empty()) starts.refuse("the beginnings of names of parameters");
}

Composite composite_of(CompositeDraft const& draft, Core const& core, std::set<std::uint32_t> const& holders) {
  JsonValue const& entry = draft.entry;
  Composite composite;
  composite.parameter = text_parameter(entry.member("name"), draft.places, core);
  if (const auto internal = entry.find("internal")) composite.internal = text_parameter(*internal, draft.places, core);
  const auto sub_core = entry.find("sub_core");
  const auto starts = entry.find("starts_with");
  const auto members = entry.find("members");
  if ((sub_core && members) || (starts && members) || (!sub_core && !starts && !members))
    entry.refuse("members, or starts_with and sub_core");
  if (sub_core) {
    composite.sub_core = text(*sub_core, draft.places);
    auto const& all = core.sub_cores();
    if (std::none_of(all.begin(), all.end(), [&](SubCore const& sub) { return sub.name == composite.sub_core; }))
      sub_core->refuse("the name of a sub-core");
  }
  if (starts) add_by_name(*starts, draft.places, core, holders, composite);
  if (members)
    for (const JsonValue member : members->items()) add_listed(member, draft.places, core, holders, composite);
  std::stable_sort(composite.members.begin(), composite.members.end(),
                   [](Composite::Member const& a, Composite::Member const& b) { return a.key < b.key; });
  const auto same = [](Composite::Member const& a, Composite::Member const& b) {
    return !a.key.empty() && a.key == b.key;
  };
  if (std::adjacent_find(composite.members.begin(), composite.members.end(), same) != composite.members.end())
    members->refuse("members with keys of their own");
  return composite;
}

// A core that is described, as an entry names it.
SubCore::Described described(JsonValue entry, std::string const& directory) {
  const JsonValue core = entry.member("core"), version = entry.member("version");
  SubCore::Described named{std::string(core.text()), std::string(version.text())};
  if (!is_name(named.core)) core.refuse("the name of a core");
  const bool is_version = !named.version.starts_with('.') && named.version.find('/') == std::string::npos;
  if (!is_version || (!directory.empty() && !is_file(directory + "/" + named.core + "/" + named.version + ".json")))
    version.refuse("a version of " + named.core + " that is there");
  return named;
}

SubCore described_sub_core(JsonValue entry, std::string const& directory) {
  SubCore added;
  added.name = entry.member("name").text();
  const auto first_of = entry.find("first_of");
  if (!first_of) {
    SubCore::Described named = described(entry, directory);
    added.core = std::move(named.core);
    added.version = std::move(named.version);
    return added;
  }
  for (char const* const field : {"core", "version"})
    if (const auto beside = entry.find(field)) beside->refuse("no " + std::string(field) + " beside first_of");
  for (const JsonValue one : first_of->items()) {
    one.allow_only({"core", "version"});
    if (added.first_of.size() == kMostKinds) first_of->refuse("at most 100 cores");
    added.first_of.push_back(described(one, directory));
  }
  if (added.first_of.empty()) first_of->refuse("at least one core");
  added.core = added.first_of.front().core;
  added.version = added.first_of.front().version;
  return added;
}

// One of a name that is there already takes its place.
void add_draft(CompositeDraft added, std::vector<CompositeDraft>& drafts) {
  const auto known = std::find_if(drafts.begin(), drafts.end(),
                                  [&](CompositeDraft const& other) { return name_of(other) == name_of(added); });
  if (known != drafts.end()) {
    *known = std::move(added);
    return;
  }
  if (drafts.size() == kMostComposites) added.entry.refuse("at most 100 composites");
  drafts.push_back(std::move(added));
}

}  // namespace

void add_composites(JsonValue list, Places const& places, std::vector<CompositeDraft>& drafts) {
  for (const JsonValue entry : list.items()) {
    entry.allow_only({"each", "name", "internal", "sub_core", "starts_with", "members"});
    for (Places const& filled : written_out(entry.find("each"), places)) add_draft({entry, filled}, drafts);
  }
}

void add_sub_cores(JsonValue list, std::string const& directory, std::vector<SubCore>& sub_cores) {
  for (const JsonValue entry : list.items()) {
    entry.allow_only({"name", "core", "version", "region", "first_of"});
    SubCore added = described_sub_core(entry, directory);
    if (const auto region = entry.find("region")) added.region = static_cast<int>(region->integer(0, kMostRegions));
    if (!is_name(added.name)) entry.member("name").refuse("a name of letters, digits and _");
    const auto known = std::find_if(sub_cores.begin(), sub_cores.end(),
                                    [&](SubCore const& other) { return other.name == added.name; });
    if (known != sub_cores.end()) {
      *known = std::move(added);
      continue;
    }
    if (sub_cores.size() == kMostSubCores) entry.refuse("at most 100 sub-cores");
    sub_cores.push_back(std::move(added));
  }
}

std::vector<Composite> composites_of(std::vector<CompositeDraft> const& drafts, Core const& core) {
  const std::set<std::uint32_t> holders = holders_of(drafts, core);
  std::vector<Composite> composites;
  for (CompositeDraft const& draft : drafts) composites.push_back(composite_of(draft, core, holders));
  return composites;
}

}  // namespace kdi::cores
