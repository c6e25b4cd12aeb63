#include "kdi/cores/Carry.h"

#include <set>

#include "platform/cores/state/insight.h"
#include "platform/cores/why/carry_parts.h"

namespace kdi::cores {

Carried::Note::Fate fate_of(Instance const& from, Instance const& to, std::uint32_t was, std::uint32_t is) {
  using Fate = Carried::Note::Fate;
  const auto is_refused = [](Instance const& instance, std::uint32_t number) {
    const auto value = read_value(instance.core().parameters()[number].type, *instance.given(number));
    return !value || !Insight(instance).permits(number, *value);
  };
  if (is_refused(to, is) && !is_refused(from, was)) return Fate::refused;
  if (from.is_enabled(was) && !to.is_enabled(is)) return Fate::disabled;
  return from.core().parameters()[was].name == to.core().parameters()[is].name ? Fate::kept : Fate::renamed;
}

std::string_view word_of(Carried::Note::Fate fate) {
  constexpr std::string_view kFates[] = {"kept", "renamed", "retired", "refused", "disabled"};
  return kFates[static_cast<std::size_t>(fate)];
}

Carried carry(Instance const& from, Instance& to) {
  std::vector<Change> changes;
  std::set<std::uint32_t> taken;
  Carried carried;
  for (std::uint32_t i = 0; i < from.core().parameters().size(); ++i) {
    Change change = given_to(from, i);
    if (!change.text) continue;
    std::optional<std::uint32_t> target = match(to.core(), from.core().parameters()[i]);
    if (target && !taken.insert(*target).second) target.reset();  // two became one: the first stays
    carried.notes.push_back({Carried::Note::Fate::retired, i, target, *change.text});
    if (target) changes.push_back({*target, std::move(change.text), change.from});
  }
  for (std::uint32_t i = 0; i < to.core().parameters().size(); ++i)
    if (to.given(i) && !taken.contains(i)) changes.push_back({i, std::nullopt});
  make_changes(to, changes);
  for (Carried::Note& note : carried.notes)
    if (note.to) note.fate = fate_of(from, to, note.from, *note.to);
  carried.comparison = compare(from, to);
  return carried;
}

Record record_of(Instance const& from, Instance const& to, Carried const& carried) {
  Record notes = Record::list();
  for (Carried::Note const& note : carried.notes) {
    Record one = Record::dictionary();
    one.set("fate", std::string(word_of(note.fate)));
    one.set("parameter", from.core().parameters()[note.from].name);
    if (note.to) one.set("now", to.core().parameters()[*note.to].name);
    one.set("value", note.text);
    if (note.fate == Carried::Note::Fate::refused) one.set("range", Record::list(to.range(*note.to)));
    notes.add(std::move(one));
  }
  Record record = Record::dictionary();
  record.set("notes", std::move(notes));
  record.set("comparison", record_of(from.core(), to.core(), carried.comparison));
  return record;
}

}  // namespace kdi::cores
