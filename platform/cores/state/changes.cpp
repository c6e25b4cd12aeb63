#include "kdi/cores/Changes.h"

#include "platform/cores/state/insight.h"

namespace kdi::cores {

Change Insight::given_to(Instance const& instance, std::uint32_t parameter) {
  const auto found = instance.given_.find(parameter);
  if (found == instance.given_.end()) return {parameter, std::nullopt, Origin::user};
  return {parameter, found->second.text, found->second.from};
}

Change given_to(Instance const& instance, std::uint32_t parameter) { return Insight::given_to(instance, parameter); }

std::vector<std::uint32_t> Insight::make_changes(Instance& instance, std::vector<Change> const& changes,
                                                 Strength strength) {
  for (Change const& change : changes) instance.give(change.parameter, change.text, change.from);
  return instance.compute(strength);
}

std::vector<std::uint32_t> make_changes(Instance& instance, std::vector<Change> const& changes, Strength strength) {
  return Insight::make_changes(instance, changes, strength);
}

Record record_of(std::vector<Change> const& changes, std::function<std::string(std::uint32_t)> const& name) {
  Record all = Record::list();
  for (Change const& change : changes) {
    Record one = Record::dictionary();
    one.set("parameter", name(change.parameter));
    one.set("change", change.text ? "set" : "take back");
    if (change.text) one.set("value", *change.text);
    all.add(std::move(one));
  }
  return all;
}

}  // namespace kdi::cores
