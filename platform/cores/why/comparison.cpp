#include <algorithm>
#include <map>
#include <set>
#include <utility>

#include "kdi/cores/Compare.h"
#include "platform/cores/state/insight.h"
#include "platform/cores/why/differences.h"

namespace kdi::cores {
namespace {

// One of the two, with names for what its rules read.
class Side {
 public:
  explicit Side(Instance const& instance) : insight_(instance), core_(instance.core()) {}

  Core const& core() const { return core_; }
  Instance const& instance() const { return insight_.instance(); }
  Insight const& insight() const { return insight_; }

  std::string given(std::uint32_t parameter) const {
    const Change change = given_to(instance(), parameter);
    if (!change.text) return "";
    return change.from == Origin::user ? *change.text : *change.text + " (" + std::string(word_of(change.from)) + ")";
  }

  // The rule behind a slot as it reads; what is fixed in its place.
  std::string rule(std::uint32_t slot) const {
    const std::uint32_t step = core_.writer(slot);
    Rule const* const rule = step == Core::kNoStep ? nullptr : rule_of(core_, core_.steps()[step]);
    return rule == nullptr ? "" : rule->written();
  }
  std::string fixed_range(std::uint32_t parameter) const {
    Parameter const& described = core_.parameters()[parameter];
    if (described.range) return "";
    std::string all;
    for (std::string const& text : instance().range(parameter)) all += (all.empty() ? "" : ", ") + text;
    return all;
  }

 private:
  Insight insight_;
  Core const& core_;
};

class Comparer {
 public:
  Comparer(Instance const& first, Instance const& second)
      : first_(first), second_(second), known_(all_slots(second.core())) {
    for (std::uint32_t i = 0; i < first.core().parameters().size(); ++i)
      if (const auto other = match(second.core(), first.core().parameters()[i]))
        if (partners_.emplace(*other, i).second) matched_.insert(i);
    for (std::uint32_t i = 0; i < first.core().definitions().size(); ++i)
      definitions_.emplace(first.core().definitions()[i].name, i);
  }

  Comparison whole() {
    Comparison comparison;
    for (std::uint32_t i = 0; i < second_.core().parameters().size(); ++i) add(i, comparison.differences);
    for (std::uint32_t i = 0; i < first_.core().parameters().size(); ++i)
      if (!matched_.contains(i))
        comparison.differences.push_back({i,
                                          std::nullopt,
                                          shown(first_.instance(), i),
                                          std::nullopt,
                                          {{Reason::Kind::absent, first_.core().parameters()[i].name, "", ""}}});
    compare_messages(comparison);
    return comparison;
  }

 private:
  void add(std::uint32_t number, std::vector<Difference>& differences) {
    const auto partner = partners_.find(number);
    if (partner == partners_.end()) {
      differences.push_back({std::nullopt,
                             number,
                             std::nullopt,
                             shown(second_.instance(), number),
                             {{Reason::Kind::absent, second_.core().parameters()[number].name, "", ""}}});
      return;
    }
    Difference difference{
        partner->second, number, shown(first_.instance(), partner->second), shown(second_.instance(), number), {}};
    if (*difference.before == *difference.after) return;
    difference.reasons = reasons(number);
    differences.push_back(std::move(difference));
  }

  // All that has a part in the parameter's value, state and range and is another itself; nearest first.
  std::vector<Reason> reasons(std::uint32_t number) {
    Core const& core = second_.core();
    std::vector<Reason> found;
    std::vector<std::uint32_t> open{Core::slot(number, Core::kValue), Core::slot(number, Core::kEnabled),
                                    core.range_slot(number)};
    std::vector<char> seen(all_slots(core));
    for (std::size_t i = 0; i < open.size(); ++i) {
      for (Reason const& reason : own(open[i]))
        if (std::find(found.begin(), found.end(), reason) == found.end()) found.push_back(reason);
      const std::uint32_t step = core.writer(open[i]);
      if (step == Core::kNoStep) continue;
      for (const std::uint32_t read : core.reads(step))
        if (std::exchange(seen[read], 1) == 0) open.push_back(read);
    }
    return found;
  }

  // Reasons that lie in the slot itself, remembered.
  std::vector<Reason> const& own(std::uint32_t slot) {
    std::optional<std::vector<Reason>>& known = known_[slot];
    if (!known) known = find_own(slot);
    return *known;
  }

  std::vector<Reason> find_own(std::uint32_t slot) const {
    Core const& core = second_.core();
    if (slot >= core.search_slot(0)) return {};  // a search is what it reads
    if (slot >= core.slot_count()) return of_range(slot - core.slot_count());
    if (slot >= core.definition_slot(0)) return of_definition(core.definitions()[slot - core.definition_slot(0)]);
    if (slot >= core.fact_slot(0)) return of_fact(core.facts()[slot - core.fact_slot(0)], slot);
    return of_parameter(slot / Core::kSlots, static_cast<Core::Slot>(slot % Core::kSlots));
  }

  std::vector<Reason> of_parameter(std::uint32_t number, Core::Slot which) const {
    std::vector<Reason> found;
    const KeptText name = second_.core().parameters()[number].name;
    const auto partner = partners_.find(number);
    if (partner == partners_.end()) return {{Reason::Kind::absent, name, "", ""}};
    const auto differ = [&](Reason::Kind kind, std::string const& first, std::string const& second) {
      if (first != second) found.push_back({kind, name, first, second});
    };
    const std::uint32_t other = partner->second;
    if (which == Core::kUser || which == Core::kGiven) {
      differ(Reason::Kind::given, first_.given(other), second_.given(number));
      differ(Reason::Kind::default_value, value_text(first_.core().parameters()[other].default_value),
             value_text(second_.core().parameters()[number].default_value));
    } else {
      differ(Reason::Kind::rule, first_.rule(Core::slot(other, which)), second_.rule(Core::slot(number, which)));
    }
    if (which == Core::kValue) differ(Reason::Kind::rule, first_.fixed_range(other), second_.fixed_range(number));
    return found;
  }

  std::vector<Reason> of_range(std::uint32_t number) const {
    const auto partner = partners_.find(number);
    if (partner == partners_.end()) return {};
    const std::string first = first_.rule(first_.core().range_slot(partner->second));
    const std::string second = second_.rule(second_.core().range_slot(number));
    if (first == second) return {};
    return {{Reason::Kind::rule, second_.core().parameters()[number].name, first, second}};
  }

  std::vector<Reason> of_definition(Definition const& definition) const {
    const auto found = definitions_.find(definition.name);
    const std::string second = definition.rule.written();
    if (found == definitions_.end()) return {{Reason::Kind::rule, definition.name, "", second}};
    const std::string first = first_.core().definitions()[found->second].rule.written();
    if (first == second) return {};
    return {{Reason::Kind::rule, definition.name, first, second}};
  }

  std::vector<Reason> of_fact(Fact const& fact, std::uint32_t slot) const {
    const auto other = first_.core().find_fact(fact.word);
    const std::string second = value_text(second_.insight().value(slot));
    if (!other) return {{Reason::Kind::device, fact.word, "", second}};
    const std::string first = value_text(first_.insight().value(first_.core().fact_slot(*other)));
    if (first == second) return {};
    return {{Reason::Kind::device, fact.word, first, second}};
  }

  // A message is the same if it is the same one of the same parameter, whatever it says.
  void compare_messages(Comparison& comparison) const {
    Instance first = first_.instance(), second = second_.instance();
    comparison.only_first = first.messages();
    comparison.only_second = second.messages();
    std::erase_if(comparison.only_second, [&](Due const& due) {
      const auto same = std::find_if(comparison.only_first.begin(), comparison.only_first.end(), [&](Due const& other) {
        return other.name == due.name && other.parameter == partner_of(due.parameter);
      });
      if (same == comparison.only_first.end()) return false;
      comparison.only_first.erase(same);
      return true;
    });
  }
  std::uint32_t partner_of(std::uint32_t second) const {
    const auto found = partners_.find(second);
    return found == partners_.end() ? Due::kNoParameter : found->second;
  }

  Side first_, second_;
  std::map<std::uint32_t, std::uint32_t> partners_;  // numbers in the first by those in the second
  std::set<std::uint32_t> matched_;
  std::map<std::string, std::uint32_t> definitions_;       // of the first
  std::vector<std::optional<std::vector<Reason>>> known_;  // by slot of the second
};

Record both(Core const& core) {
  Record record = Record::dictionary();
  record.set("core", core.name());
  record.set("version", core.version());
  return record;
}

Record record_of(Reason const& reason) {
  constexpr std::string_view kKinds[] = {"given", "default", "rule", "device", "absent", "member"};
  Record record = Record::dictionary();
  record.set("kind", std::string(kKinds[static_cast<std::size_t>(reason.kind)]));
  record.set("name", reason.name);
  record.set("first", reason.first);
  record.set("second", reason.second);
  return record;
}

Record record_of(Core const& first, Core const& second, Difference const& difference) {
  Record record = Record::dictionary();
  std::string const& name =
      difference.second ? second.parameters()[*difference.second].name : first.parameters()[*difference.first].name;
  record.set("parameter", name);
  if (difference.first && first.parameters()[*difference.first].name != name)
    record.set("was", first.parameters()[*difference.first].name);
  record.set("in", !difference.first ? "second" : !difference.second ? "first" : "both");
  if (difference.first && difference.second)
    add_differences(*difference.before, *difference.after, "first", "second", record);
  else
    record.set("value", (difference.first ? difference.before : difference.after)->value);
  Record reasons = Record::list();
  for (Reason const& reason : difference.reasons) reasons.add(record_of(reason));
  record.set("reasons", std::move(reasons));
  return record;
}

}  // namespace

Comparison compare(Instance const& first, Instance const& second) { return Comparer(first, second).whole(); }

std::optional<std::uint32_t> match(Core const& core, Parameter const& other) {
  if (const auto same = core.find(other.name)) return same;
  if (const auto renamed = core.find_user_name(other.name)) return renamed;
  for (std::string const& name : other.user_names())
    if (const auto former = core.find(name)) return former;
  return std::nullopt;
}

Record record_of(Core const& first, Core const& second, Comparison const& comparison) {
  Record record = Record::dictionary();
  record.set("first", both(first));
  record.set("second", both(second));
  Record differences = Record::list(), only_first = Record::list(), only_second = Record::list();
  for (Difference const& difference : comparison.differences) differences.add(record_of(first, second, difference));
  for (Due const& due : comparison.only_first) only_first.add(record_of(first, due));
  for (Due const& due : comparison.only_second) only_second.add(record_of(second, due));
  record.set("differences", std::move(differences));
  record.set("only_first", std::move(only_first));
  record.set("only_second", std::move(only_second));
  return record;
}

}  // namespace kdi::cores
