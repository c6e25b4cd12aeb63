#include "kdi/cores/Whole.h"

#include <algorithm>
#include <array>
#include <map>
#include <optional>
#include <set>
#include <stdexcept>

#include "kdi/common/KdiText.h"
#include "platform/cores/why/carry_parts.h"
#include "platform/cores/why/differences.h"

namespace kdi::cores {
namespace {

// A core, or a sub-core of it, with the way to it.
template <class Configuration>
struct Part {
  std::string path;
  Configuration* configuration;
};

template <class Configuration>
std::vector<Part<Configuration>> parts_of(Configuration& whole) {
  std::vector<Part<Configuration>> parts{{"", &whole}};
  for (std::size_t i = 0; i < parts.size(); ++i) {
    const Part<Configuration> part = parts[i];
    for (SubCore const& sub : part.configuration->core().sub_cores())
      if (auto* const there = part.configuration->sub_core(sub.name))
        parts.push_back({part.path.empty() ? sub.name : part.path + "." + sub.name, there});
  }
  return parts;
}

template <class Configuration>
Configuration* part_at(std::vector<Part<Configuration>> const& parts, std::string const& path) {
  for (Part<Configuration> const& part : parts)
    if (part.path == path) return part.configuration;
  return nullptr;
}

// Lists of entries, gathered from the records of parts.
template <std::size_t N>
class Lists {
 public:
  explicit Lists(std::array<char const*, N> keys) : keys_(keys) { lists_.fill(Record::list()); }

  void add(Record const& record, std::string const& path) {
    for (std::size_t i = 0; i < N; ++i)
      for (Record entry : record.find(keys_[i])->items()) {
        if (!path.empty()) entry.set("sub_core", path);
        lists_[i].add(std::move(entry));
      }
  }
  void set(Record& whole) && {
    for (std::size_t i = 0; i < N; ++i) whole.set(keys_[i], std::move(lists_[i]));
  }

 private:
  std::array<char const*, N> keys_;
  std::array<Record, N> lists_;
};

// A composite's texts are not the instance's own.
Shown shown_of(Configuration const& configuration, std::uint32_t parameter) {
  Shown all = shown(configuration.instance(), parameter);
  if (!configuration.is_composite(parameter)) return all;
  all.value = configuration.value(parameter);
  all.backup = configuration.backup(parameter);
  return all;
}

Trial trial_of(Configuration& before, Configuration& after) {
  Trial trial;
  for (std::uint32_t i = 0; i < before.core().parameters().size(); ++i) {
    Trial::Move move{i, shown_of(before, i), shown_of(after, i)};
    if (!(move.before == move.after)) trial.moves.push_back(std::move(move));
  }
  tell_messages(before.own_messages(), after.own_messages(), trial);
  return trial;
}

std::string called(Configuration const* configuration) {
  return configuration == nullptr ? "" : configuration->core().name() + " " + configuration->core().version();
}

}  // namespace

Record try_values(Configuration const& configuration, std::vector<std::pair<std::string, std::string>> const& values) {
  const auto before = configuration.copy();
  before->set({});
  const auto after = before->copy();
  std::vector<std::pair<Configuration::Place, std::string>> placed;
  for (auto const& [name, value] : values) {
    const auto place = after->find(name);
    if (!place) throw std::invalid_argument(called(&configuration) + " has no parameter " + text::shown(name));
    placed.emplace_back(*place, value);
  }
  after->set(placed);
  const auto parts_before = parts_of(*before), parts_after = parts_of(*after);
  Lists<4> lists({"moves", "come", "go", "reworded"});
  for (std::size_t i = 0; i < parts_before.size(); ++i) {
    Configuration& part = *parts_before[i].configuration;
    lists.add(record_of(part.core(), trial_of(part, *parts_after[i].configuration)), parts_before[i].path);
  }
  Record record = Record::dictionary();
  std::move(lists).set(record);
  return record;
}

namespace {

// The members of which an internal text shows something else, or that one of the two alone shows.
std::vector<Reason> other_members(std::map<std::string, std::string> first, std::map<std::string, std::string> second) {
  std::set<std::string> keys;
  for (auto const* const shown : {&first, &second})
    for (auto const& [key, value] : *shown) keys.insert(key);
  std::vector<Reason> reasons;
  for (std::string const& key : keys)
    if (first.count(key) != second.count(key) || first[key] != second[key])
      reasons.push_back({Reason::Kind::member, key, first[key], second[key]});
  return reasons;
}

// Messages about composite texts, which instances do not have.
std::vector<Due> messages_of_texts(Configuration const& configuration) {
  const auto copy = configuration.copy();
  std::vector<Due> all = copy->own_messages();
  all.erase(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(copy->instance().messages().size()));
  return all;
}

// Of these each is the same that says the same.
void tell_texts_apart(Configuration const& first, Configuration const& second, Comparison& comparison) {
  std::vector<Due> of_first = messages_of_texts(first);
  for (Due& due : messages_of_texts(second)) {
    const auto same = std::find_if(of_first.begin(), of_first.end(),
                                   [&](Due const& one) { return one.name == due.name && one.text == due.text; });
    if (same == of_first.end())
      comparison.only_second.push_back(std::move(due));
    else
      of_first.erase(same);
  }
  for (Due& due : of_first) comparison.only_first.push_back(std::move(due));
}

// What the two alone say, with the texts that their instances do not have.
Comparison compared(Configuration const& first, Configuration const& second) {
  Comparison comparison = compare(first.instance(), second.instance());
  std::vector<Difference>& differences = comparison.differences;
  for (Composite const& composite : first.core().composites()) {
    if (!composite.internal) continue;
    const std::uint32_t own = *composite.internal;
    const auto other = match(second.core(), first.core().parameters()[own]);
    if (!other || !second.is_composite(*other)) continue;
    Difference text{own, *other, shown_of(first, own), shown_of(second, *other),
                    other_members(first.shown_members(own), second.shown_members(*other))};
    const auto place = std::find_if(differences.begin(), differences.end(),
                                    [&](Difference const& one) { return !one.second || *one.second >= *other; });
    const bool is_told = place != differences.end() && place->second == text.second;
    if (is_told) text.reasons.insert(text.reasons.begin(), place->reasons.begin(), place->reasons.end());
    if (is_told)
      *place = std::move(text);
    else if (!(*text.before == *text.after))
      differences.insert(place, std::move(text));
  }
  for (Difference& one : differences) {
    if (!one.second) one.before = shown_of(first, *one.first);
    if (!one.first) one.after = shown_of(second, *one.second);
  }
  tell_texts_apart(first, second, comparison);
  return comparison;
}

}  // namespace

Record compare_whole(Configuration const& first, Configuration const& second) {
  const auto of_first = parts_of(first), of_second = parts_of(second);
  Lists<3> lists({"differences", "only_first", "only_second"});
  Record record = Record::dictionary(), sub_cores = Record::list();
  const auto tell_other = [&](std::string const& path, Configuration const* one, Configuration const* other) {
    if (called(one) == called(other) || path.empty()) return;
    Record both = Record::dictionary();
    both.set("sub_core", path).set("first", called(one)).set("second", called(other));
    sub_cores.add(std::move(both));
  };
  for (auto const& [path, part] : of_second) {
    Configuration const* const partner = part_at(of_first, path);
    tell_other(path, partner, part);
    if (partner == nullptr) continue;
    const Record own = record_of(partner->core(), part->core(), compared(*partner, *part));
    if (path.empty()) record.set("first", *own.find("first")).set("second", *own.find("second"));
    lists.add(own, path);
  }
  for (auto const& [path, part] : of_first)
    if (part_at(of_second, path) == nullptr) tell_other(path, part, nullptr);
  std::move(lists).set(record);
  if (!sub_cores.items().empty()) record.set("sub_cores", std::move(sub_cores));
  return record;
}

// ---------------------------------------------------------------------------------------------------------- carrying

namespace {

struct Carrying {
  Part<Configuration const> from;
  std::uint32_t number;
  std::optional<Part<Configuration>> to;
  std::uint32_t target;
  Change change;
};

class Carrier {
 public:
  Carrier(Configuration const& from, Configuration& to) : from_(parts_of(from)), to_(parts_of(to)), whole_(to) {}

  CarriedWhole carry() {
    for (auto const& part : from_)
      for (std::uint32_t i = 0; i < part.configuration->core().parameters().size(); ++i) take(part, i);
    std::vector<std::string> moved = whole_.take_all_back(Strength::values);
    for (const Origin from : {Origin::user, Origin::preset, Origin::board}) {
      std::vector<std::pair<Configuration::Place, std::string>> values;
      for (Carrying const& one : all_)
        if (one.to && one.change.from == from)
          values.emplace_back(Configuration::Place{one.to->configuration, one.target}, *one.change.text);
      add(whole_.set(values, from, Strength::values), moved);
    }
    add(whole_.set({}), moved);
    Record notes = Record::list(), record = Record::dictionary();
    for (Carrying const& one : all_) notes.add(note_of(one));
    for (Record& note : beside_) notes.add(std::move(note));
    record.set("notes", std::move(notes));
    record.set("comparison", compare_whole(*from_[0].configuration, whole_));
    return {std::move(record), std::move(moved)};
  }

 private:
  static void add(std::vector<std::string> names, std::vector<std::string>& moved) {
    for (std::string& name : names) moved.push_back(std::move(name));
  }

  void take(Part<Configuration const> const& part, std::uint32_t number) {
    if (part.configuration->is_composite(number)) {
      for (auto const& [key, value] : part.configuration->beside(number)) {
        Record note = Record::dictionary();
        note.set("fate", std::string(word_of(Carried::Note::Fate::retired))).set("parameter", key).set("value", value);
        if (!part.path.empty()) note.set("sub_core", part.path);
        beside_.push_back(std::move(note));
      }
      return;
    }
    Change change = given_to(part.configuration->instance(), number);
    if (!change.text) return;
    Carrying one{part, number, std::nullopt, 0, std::move(change)};
    find_target(part.configuration->core().parameters()[number], one);
    all_.push_back(std::move(one));
  }

  // In the part of the same name, else in the first that has it. Where two become one, the first stays.
  void find_target(Parameter const& described, Carrying& one) {
    const auto try_part = [&](Part<Configuration> const& part) {
      const auto number = match(part.configuration->core(), described);
      if (!number || part.configuration->is_composite(*number)) return false;
      if (taken_.emplace(part.configuration, *number).second) {
        one.to = part;
        one.target = *number;
      }
      return true;
    };
    for (auto const& part : to_)
      if (part.path == one.from.path && try_part(part)) return;
    for (auto const& part : to_)
      if (try_part(part)) return;
  }

  static Record note_of(Carrying const& one) {
    Instance const& was = one.from.configuration->instance();
    Record note = Record::dictionary();
    const auto fate =
        one.to ? fate_of(was, one.to->configuration->instance(), one.number, one.target) : Carried::Note::Fate::retired;
    note.set("fate", std::string(word_of(fate)));
    note.set("parameter", was.core().parameters()[one.number].name);
    if (one.to) note.set("now", one.to->configuration->core().parameters()[one.target].name);
    note.set("value", *one.change.text);
    if (fate == Carried::Note::Fate::refused)
      note.set("range", Record::list(one.to->configuration->instance().range(one.target)));
    if (!one.from.path.empty()) note.set("sub_core", one.from.path);
    if (one.to && one.to->path != one.from.path) note.set("now_in", one.to->path);
    return note;
  }

  const std::vector<Part<Configuration const>> from_;
  const std::vector<Part<Configuration>> to_;
  Configuration& whole_;
  std::vector<Carrying> all_;
  std::vector<Record> beside_;
  std::set<std::pair<Configuration*, std::uint32_t>> taken_;
};

}  // namespace

CarriedWhole carry_whole(Configuration const& from, Configuration& to) { return Carrier(from, to).carry(); }

}  // namespace kdi::cores
