// What changes would do, found on a copy.
#include <algorithm>
#include <iterator>

#include "kdi/cores/Explain.h"
#include "platform/cores/why/differences.h"

namespace kdi::cores {

Shown shown(Instance const& instance, std::uint32_t parameter) {
  return {instance.value(parameter), instance.backup(parameter), instance.is_enabled(parameter),
          instance.range(parameter), instance.origin(parameter)};
}

void tell_messages(std::vector<Due> go, std::vector<Due> come, Trial& trial) {
  for (Due& due : go) {
    // A rule may have several faults; each is told by its text.
    const auto again = std::find_if(come.begin(), come.end(), [&](Due const& other) {
      return other.parameter == due.parameter && other.name == due.name && (due.name != "rule" || due == other);
    });
    if (again == come.end()) {
      trial.go.push_back(std::move(due));
    } else {
      if (again->text != due.text) trial.reworded.emplace_back(std::move(due), std::move(*again));
      come.erase(again);
    }
  }
  trial.come = std::move(come);
}

Trial try_changes(Instance const& instance, std::vector<Change> const& changes) {
  Instance before = instance;
  before.compute();
  Instance after = before;
  Trial trial;
  for (const std::uint32_t parameter : make_changes(after, changes)) {
    Trial::Move move{parameter, shown(before, parameter), shown(after, parameter)};
    if (!(move.before == move.after)) trial.moves.push_back(std::move(move));
  }
  tell_messages(before.messages(), after.messages(), trial);
  return trial;
}

Record record_of(Core const& core, Due const& due) {
  Record record = Record::dictionary();
  record.set("parameter", due.parameter == Due::kNoParameter ? "" : core.parameters()[due.parameter].name);
  record.set("message", due.name);
  record.set("severity", std::string(name_of(due.severity)));
  record.set("text", due.text);
  return record;
}

void add_differences(Shown const& first, Shown const& second, char const* one, char const* other, Record& record) {
  const auto pair = [&](char const* key, Record a, Record b) {
    if (a == b) return;
    Record both = Record::dictionary();
    both.set(one, std::move(a)).set(other, std::move(b));
    record.set(key, std::move(both));
  };
  pair("value", first.value, second.value);
  if (first.value != first.backup || second.value != second.backup) pair("backup", first.backup, second.backup);
  pair("enabled", Record::truth(first.is_enabled), Record::truth(second.is_enabled));
  pair("range", Record::list(first.range), Record::list(second.range));
  pair("origin", std::string(word_of(first.origin)), std::string(word_of(second.origin)));
}

Record record_of(Core const& core, Trial const& trial) {
  Record moves = Record::list(), come = Record::list(), go = Record::list(), reworded = Record::list();
  for (Trial::Move const& move : trial.moves) {
    Record one = Record::dictionary();
    one.set("parameter", core.parameters()[move.parameter].name);
    add_differences(move.before, move.after, "before", "after", one);
    moves.add(std::move(one));
  }
  for (Due const& due : trial.come) come.add(record_of(core, due));
  for (Due const& due : trial.go) go.add(record_of(core, due));
  for (auto const& [before, after] : trial.reworded) reworded.add(record_of(core, after));
  Record record = Record::dictionary();
  record.set("moves", std::move(moves));
  record.set("come", std::move(come));
  record.set("go", std::move(go));
  record.set("reworded", std::move(reworded));
  return record;
}

}  // namespace kdi::cores
