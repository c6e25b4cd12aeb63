#include "kdi/cores/Explain.h"

#include <algorithm>
#include <stdexcept>

#include "kdi/common/KdiText.h"
#include "platform/cores/state/insight.h"
#include "platform/cores/why/advice_parts.h"
#include "platform/cores/why/explain_parts.h"

namespace kdi::cores {
namespace {

// Whether a part had its say in the value of the whole: of a conjunction that fails those that fail, of one that holds
// all; of a choice the condition and the side that it chose.
std::vector<bool> deciding(Term const& term, std::vector<std::optional<Value>> const& values,
                           std::optional<Value> const& whole) {
  std::vector<bool> decides(term.parts().size(), true);
  if (!whole) {
    // What kept the whole from having a value: the parts that have none, if there are any.
    const bool has_one = std::any_of(values.begin(), values.end(), [](auto const& value) { return !value; });
    for (std::size_t i = 0; has_one && i < decides.size(); ++i) decides[i] = !values[i];
    return decides;
  }
  if (term.form() == Form::and_ || term.form() == Form::or_) {
    const bool open = term.form() == Form::and_;  // what goes on to the next part
    if (whole->cell().truth() == open) return decides;
    for (std::size_t i = 0; i < decides.size(); ++i) decides[i] = values[i] && values[i]->cell().truth() != open;
  } else if (term.form() == Form::conditional && values[0]) {
    decides[values[0]->cell().truth() ? 2 : 1] = false;
  }
  return decides;
}

class Explainer {
 public:
  Explainer(Instance const& instance, RuleParts const& parts, Adviser adviser)
      : insight_(instance), instance_(instance), core_(instance.core()), parts_(parts), adviser_(std::move(adviser)) {}

  Record parameter(std::uint32_t number, Shows const& shows) {
    Parameter const& described = core_.parameters()[number];
    Record record = Record::dictionary();
    record.set("parameter", described.name);
    record.set("user_names", Record::list(described.user_names()));
    record.set("display_name", described.display_name());
    record.set("description", described.description());
    record.set("type", described.type.text());
    record.set("value", shows ? shows->first : instance_.value(number));
    record.set("backup", shows ? shows->second : instance_.backup(number));
    record.set("default", value_text(described.default_value));
    record.set("origin", std::string(word_of(instance_.origin(number))));
    if (instance_.given(number)) record.set("given", *instance_.given(number));
    record.set("rule", rule(Core::slot(number, Core::kValue)));
    Record enabled = Record::dictionary();
    enabled.set("state", Record::truth(instance_.is_enabled(number)));
    enabled.set("rule", rule(Core::slot(number, Core::kEnabled)));
    record.set("enabled", std::move(enabled));
    record.set("range", range(number));
    record.set("depends_on", depends_on(number));
    record.set("dependants", dependants(number));
    Record due = Record::list();
    for (Due const& message : insight_.messages(number)) due.add(this->message(message));
    record.set("messages", std::move(due));
    Record advice = Record::list();
    if (!instance_.is_enabled(number)) add_advice({Wish::Kind::enabled, number}, advice);
    if (!insight_.is_permitted(number)) add_advice({Wish::Kind::permitted, number}, advice);
    record.set("advice", std::move(advice));
    return record;
  }

  Record message(std::uint32_t number, std::string_view name) {
    for (Due const& due : insight_.messages(number))
      if (due.name == name) return message(due);
    const auto described = find(number, name);
    if (!described && name != "range" && name != "rule" && search_that_says(name) == nullptr)
      throw std::invalid_argument(core_.parameters()[number].name + " has no message " + text::quoted(name));
    const Severity severity = described ? core_.parameters()[number].messages()[*described].severity : Severity::error;
    return message({number, std::string(name), severity, ""});
  }

 private:
  std::optional<std::uint32_t> find(std::uint32_t number, std::string_view name) const {
    std::vector<Message> const& messages = core_.parameters()[number].messages();
    for (std::uint32_t m = 0; m < messages.size(); ++m)
      if (messages[m].name == name) return m;
    return std::nullopt;
  }

  // One without text is not due.
  Record message(Due const& due) {
    Record record = Record::dictionary();
    record.set("parameter", core_.parameters()[due.parameter].name);
    record.set("message", due.name);
    record.set("severity", std::string(name_of(due.severity)));
    const std::optional<std::uint32_t> described = find(due.parameter, due.name);
    const bool is_due = described ? insight_.holds(due.parameter, *described) : !due.text.empty();
    record.set("due", Record::truth(is_due));
    record.set("text", due.text);
    if (described)
      record.set("condition", written(core_.parameters()[due.parameter].messages()[*described].when));
    else
      record.set("condition", own_condition(due));
    Record advice = Record::list();
    if (is_due) add_advice({Wish::Kind::cleared, due.parameter, due.name}, advice);
    record.set("advice", std::move(advice));
    return record;
  }

  SearchSection const* search_that_says(std::string_view message) const {
    for (auto const& search : core_.searches())
      if (search->message() == message) return search.get();
    return nullptr;
  }
  Record condition_of(SearchSection const& search) {
    Record record = Record::dictionary();
    record.set("search", std::string(search.name()));
    record.set("place", search.place);
    record.set("terms", read(search.reads));
    return record;
  }

  void add_advice(Wish const& wish, Record& list) const {
    if (adviser_) list.add(adviser_(wish));
  }

  // What the engine's own messages are about: the range, or the rules that have a fault.
  Record own_condition(Due const& due) {
    if (due.name == "range") return range(due.parameter);
    if (SearchSection const* const search = search_that_says(due.name)) return condition_of(*search);
    Record faults = Record::list();
    for (std::uint32_t step = 0; step < core_.steps().size(); ++step) {
      Step const& each = core_.steps()[step];
      if (insight_.fault(step).empty() || !is_of(each, due.parameter)) continue;
      Record fault = Record::dictionary();
      fault.set("of", std::string(step_name(each)));
      fault.set("fault", insight_.fault(step));
      if (Rule const* const faulty = rule_of(core_, each)) fault.set("rule", written(*faulty));
      faults.add(std::move(fault));
    }
    return faults;
  }

  // The rule behind a slot; an empty dictionary if there is none.
  Record rule(std::uint32_t slot) {
    const std::uint32_t step = core_.writer(slot);
    Rule const* const rule = step == Core::kNoStep ? nullptr : rule_of(core_, core_.steps()[step]);
    return rule != nullptr ? written(*rule) : Record::dictionary();
  }

  Record written(Rule const& rule) {
    Record record = Record::dictionary();
    record.set("text", rule.written());
    record.set("place", rule.place());
    record.set("terms", term(parts_.terms().of(rule), true));
    return record;
  }

  // A part with its value and, unless it is one, the parts that it has; literals say nothing beyond themselves.
  Record term(Term const& term, bool decides) {
    const std::optional<Value> value = insight_.evaluated(term.rule());
    Record record = Record::dictionary();
    record.set("term", term.text());
    record.set("value", value ? value_text(*value) : "(none)");
    record.set("decides", Record::truth(decides));
    std::vector<std::optional<Value>> values;
    for (Term const& part : term.parts()) values.push_back(insight_.evaluated(part.rule()));
    const std::vector<bool> have_say = deciding(term, values, value);
    Record parts = Record::list();
    for (std::size_t i = 0; i < term.parts().size(); ++i)
      if (!term.parts()[i].is_constant() || is_truth(term, i))
        parts.add(this->term(term.parts()[i], decides && have_say[i]));
    if (term.form() == Form::loop) parts = read(term.rule().reads());
    if (!parts.items().empty()) record.set("terms", std::move(parts));
    return record;
  }

  // A constant truth may be what decides; any other constant is told by the text of the whole.
  static bool is_truth(Term const& term, std::size_t part) {
    return term.form() == Form::and_ || term.form() == Form::or_ || (term.form() == Form::conditional && part == 0);
  }

  // Slots with their values. A search reads ranges as well, which are no values.
  template <class Slots>
  Record read(Slots const& slots) {
    Record all = Record::list();
    for (const std::uint32_t slot : slots) {
      if (slot >= core_.slot_count()) continue;
      Record one = Record::dictionary();
      one.set("term", slot_name(core_, slot));
      one.set("value", value_text(insight_.value(slot)));
      all.add(std::move(one));
    }
    return all;
  }

  Record range(std::uint32_t number) {
    Record record = Record::dictionary();
    const std::vector<std::string> texts = instance_.range(number);
    record.set("kind", texts.empty() ? "any" : insight_.has_limits(number) ? "limits" : "values");
    record.set("values", Record::list(texts));
    record.set("permits", Record::truth(insight_.is_permitted(number)));
    record.set("rule", rule(core_.range_slot(number)));
    return record;
  }

  // What the rules of value, state and range read, and the search that gives the value, each once.
  Record depends_on(std::uint32_t number) {
    std::vector<std::uint32_t> slots;
    for (const std::uint32_t slot : {Core::slot(number, Core::kValue), Core::slot(number, Core::kEnabled),
                                     core_.range_slot(number), core_.search_slot(number)}) {
      const std::uint32_t step = core_.writer(slot);
      if (step == Core::kNoStep) continue;
      for (const std::uint32_t read : core_.reads(step))
        if (read / Core::kSlots != number) slots.push_back(read);
    }
    std::sort(slots.begin(), slots.end());
    slots.erase(std::unique(slots.begin(), slots.end()), slots.end());
    return read(slots);
  }

  // What reads the parameter in one of its aspects.
  Record dependants(std::uint32_t number) {
    std::vector<std::uint32_t> steps;
    for (std::uint32_t aspect = 0; aspect < Core::kSlots; ++aspect)
      for (const std::uint32_t step : core_.readers(Core::slot(number, static_cast<Core::Slot>(aspect))))
        if (!(is_of(core_.steps()[step], number) && core_.steps()[step].kind == Step::Kind::value))
          steps.push_back(step);
    std::sort(steps.begin(), steps.end());
    steps.erase(std::unique(steps.begin(), steps.end()), steps.end());
    Record all = Record::list();
    for (const std::uint32_t step : steps) all.add(dependant(core_.steps()[step]));
    return all;
  }

  Record dependant(Step const& step) const {
    Record record = Record::dictionary();
    record.set("name", owner_of(step));
    record.set("of", std::string(step_name(step)));
    if (step.kind == Step::Kind::message)
      record.set("message", core_.parameters()[step.parameter].messages()[step.message].name);
    return record;
  }

  std::string owner_of(Step const& step) const {
    if (step.kind == Step::Kind::definition) return core_.definitions()[step.parameter].name;
    if (step.kind == Step::Kind::search) return std::string(core_.searches()[step.parameter]->name());
    return core_.parameters()[step.parameter].name;
  }

  Insight insight_;
  Instance const& instance_;
  Core const& core_;
  RuleParts const& parts_;
  Adviser adviser_;
};

// For a core alone.
Adviser adviser_of(Instance const& instance, Effort effort, RuleParts const& parts) {
  if (effort.most_changes == 0) return {};
  return [&instance, effort, &parts](Wish const& wish) {
    return record_of(instance.core(), wish, advise(instance, wish, effort, parts));
  };
}

}  // namespace

Record explain_with(Instance const& instance, std::uint32_t parameter, RuleParts const& parts, Shows const& shows,
                    Adviser adviser) {
  return Explainer(instance, parts, std::move(adviser)).parameter(parameter, shows);
}

Record explain_with(Instance const& instance, std::uint32_t parameter, std::string_view message, RuleParts const& parts,
                    Adviser adviser) {
  return Explainer(instance, parts, std::move(adviser)).message(parameter, message);
}

Record explain(Instance const& instance, std::uint32_t parameter, Effort effort) {
  return explain(instance, parameter, effort, RuleParts(instance.core()));
}

Record explain(Instance const& instance, std::uint32_t parameter, Effort effort, RuleParts const& parts) {
  return explain_with(instance, parameter, parts, {}, adviser_of(instance, effort, parts));
}

Record explain(Instance const& instance, std::uint32_t parameter, std::string_view message, Effort effort) {
  return explain(instance, parameter, message, effort, RuleParts(instance.core()));
}

Record explain(Instance const& instance, std::uint32_t parameter, std::string_view message, Effort effort,
               RuleParts const& parts) {
  return explain_with(instance, parameter, message, parts, adviser_of(instance, effort, parts));
}

std::string_view name_of(Severity severity) {
  constexpr std::string_view kNames[] = {"info", "warning", "critical_warning", "error"};
  return kNames[static_cast<std::size_t>(severity)];
}

}  // namespace kdi::cores
