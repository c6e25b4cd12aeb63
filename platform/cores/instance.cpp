#include "kdi/cores/Instance.h"

#include <algorithm>
#include <functional>
#include <iterator>

#include "kdi/common/KdiText.h"

namespace kdi::cores {
namespace {

bool is_less(Value const& a, Value const& b) { return order(a.cell(), b.cell()) == std::strong_ordering::less; }

// What stands for a value that a fault kept from being computed.
Value zero_of(Type type) {
  switch (type.kind()) {
    case Kind::truth:
      return Value(false);
    case Kind::integer:
      return Value(0);
    case Kind::decimal:
      return Value(Decimal());
    case Kind::text:
      return Value("");
    case Kind::dictionary:
      return Value::dictionary({});
    default:
      return Value::list({});
  }
}

// `true` and `false` are 1 and 0 whichever way they come, unless they are words of the parameter's own.
std::string kept_text(Parameter const& parameter, std::string const& text) {
  if (text != "true" && text != "false") return text;
  if (std::find(parameter.values.begin(), parameter.values.end(), text) != parameter.values.end()) return text;
  return text == "true" ? "1" : "0";
}

}  // namespace

std::string_view word_of(Origin origin) {
  constexpr std::string_view kWords[] = {"default", "user", "preset", "board", "rule", "search"};
  return kWords[static_cast<std::size_t>(origin)];
}

Instance::Instance(std::shared_ptr<Core const> core, Facts const& facts) : Instance(std::move(core), facts, nullptr) {}

Instance::Instance(std::shared_ptr<Core const> core, Facts const& facts, After const& after)
    : core_(std::move(core)),
      values_(core_->beginning()),
      cells_(values_.size()),
      ranges_(core_->parameters().size()),
      due_(core_->parameters().size()),
      found_(core_->parameters().size()),
      findings_(core_->searches().size()),
      latest_(core_->searches().size()),
      given_(core_->parameters().size()),
      givers_(core_->parameters().size(), Origin::user),
      faults_(core_->steps().size()),
      is_waiting_(core_->steps().size()) {
  std::transform(values_.begin(), values_.end(), cells_.begin(), [](Value const& value) { return value.cell(); });
  for (std::uint32_t i = 0; i < core_->parameters().size(); ++i)
    if (!core_->parameters()[i].messages.empty()) due_[i].resize(core_->parameters()[i].messages.size());
  for (std::uint32_t i = 0; i < core_->facts().size(); ++i) {
    Fact const& fact = core_->facts()[i];
    const auto told = facts.find(fact.word);
    if (told == facts.end()) continue;
    const auto value = read_value(fact.type, told->second);
    if (!value)
      throw FactError("the device's \"" + fact.word + "\" is \"" + told->second + "\", no value of type " +
                      fact.type.text());
    cells_[core_->fact_slot(i)] = value->cell();
    values_[core_->fact_slot(i)] = *value;
  }
  for (std::uint32_t step = 0; step < core_->steps().size(); ++step) {
    run(step);
    if (after) after(*this, step);
  }
  is_complete_ = true;
  for (std::uint32_t step = 0; step < core_->steps().size(); ++step)
    if (core_->steps()[step].searches)
      first_.push_back({step, findings_[core_->steps()[step].parameter], faults_[step]});
  touched_.clear();
}

bool Instance::store(std::uint32_t slot, Value value) {
  if (values_[slot].cell().kind() != Kind::nothing && values_[slot] == value) return false;
  cells_[slot] = value.cell();
  values_[slot] = std::move(value);
  return true;
}

// What reads the slot is to be computed again; in the first pass over all steps it is still to come.
void Instance::mark(std::uint32_t slot) {
  if (!is_complete_) return;
  for (const std::uint32_t step : core_->readers(slot)) {
    if (is_waiting_[step]) continue;
    is_waiting_[step] = 1;
    waiting_.push_back(step);
    std::push_heap(waiting_.begin(), waiting_.end(), std::greater<>());
  }
}

std::vector<std::uint32_t> Instance::set(std::vector<std::pair<std::uint32_t, std::string>> const& values, Origin from,
                                         Strength strength) {
  for (auto const& [parameter, text] : values) give(parameter, text, from);
  return compute(strength);
}

std::vector<std::uint32_t> Instance::take_back(std::vector<std::uint32_t> const& parameters, Strength strength) {
  for (const std::uint32_t parameter : parameters) give(parameter, std::nullopt, Origin::user);
  return compute(strength);
}

void Instance::give(std::uint32_t parameter, std::optional<std::string> text, Origin from) {
  Parameter const& described = core_->parameters()[parameter];
  if (text) text = kept_text(described, *text);
  if (given_[parameter] == text && (!text || givers_[parameter] == from)) return;
  touched_.push_back(parameter);
  givers_[parameter] = from;
  given_[parameter] = std::move(text);
  const std::optional<Value> read = given_[parameter] ? read_value(described.type, *given_[parameter]) : std::nullopt;
  if (store(Core::slot(parameter, Core::kUser), read.value_or(described.default_value)))
    mark(Core::slot(parameter, Core::kUser));
  // That a text is no value counts as none given: rules see values alone.
  if (store(Core::slot(parameter, Core::kGiven), Value(read.has_value()))) mark(Core::slot(parameter, Core::kGiven));
}

std::vector<std::uint32_t> Instance::compute(Strength strength) {
  ran_.clear();
  if (strength == Strength::ranges) put_searches_back();
  std::vector<std::uint32_t> left;  // searches, for want of strength
  while (strength != Strength::values && !waiting_.empty()) {
    std::pop_heap(waiting_.begin(), waiting_.end(), std::greater<>());
    const std::uint32_t step = waiting_.back();
    waiting_.pop_back();
    if (core_->steps()[step].searches && strength < Strength::searches) {
      left.push_back(step);
      continue;
    }
    is_waiting_[step] = 0;
    ran_.push_back(step);
    run(step);
  }
  for (const std::uint32_t step : left) {
    waiting_.push_back(step);
    std::push_heap(waiting_.begin(), waiting_.end(), std::greater<>());
  }
  return moved();
}

// A search that is not run says what it said of the defaults, whatever it found meanwhile: so what is seen follows from
// what is given, not from how it came about.
void Instance::put_searches_back() {
  for (First const& first : first_) {
    const std::uint32_t search = core_->steps()[first.step].parameter;
    if (findings_[search] == first.findings && faults_[first.step] == first.fault) continue;
    take_findings(search, first.findings);
    faults_[first.step] = first.fault;
    if (std::exchange(is_waiting_[first.step], 1) != 0) continue;
    waiting_.push_back(first.step);
    std::push_heap(waiting_.begin(), waiting_.end(), std::greater<>());
  }
}

// What was touched since it was last asked for.
std::vector<std::uint32_t> Instance::moved() {
  std::vector<std::uint32_t> moved = std::move(touched_);
  touched_.clear();
  std::sort(moved.begin(), moved.end());
  moved.erase(std::unique(moved.begin(), moved.end()), moved.end());
  return moved;
}

// Computes a step anew and passes on what it changed.
void Instance::run(std::uint32_t number) {
  Step const& step = core_->steps()[number];
  std::string fault;
  const bool changed = perform(step, fault) || faults_[number] != fault;
  faults_[number] = std::move(fault);
  const bool is_of_parameter = step.kind != Step::Kind::definition && step.kind != Step::Kind::search;
  if (changed && is_of_parameter) touched_.push_back(step.parameter);
}

void Instance::put(std::uint32_t slot, Value value, bool& changed) {
  changed = store(slot, std::move(value));
  if (changed) mark(slot);
}

// Whether anything changed that can be seen. A fault leaves a value that stands for none.
bool Instance::perform(Step const& step, std::string& fault) {
  const auto evaluated = [&](Rule const& rule, Value instead) {
    try {
      return machine_.run(rule, cells_);
    } catch (RuleFault const& error) {
      fault = error.what();
      return instead;
    }
  };
  bool changed = false;
  if (step.kind == Step::Kind::definition) {
    Rule const& rule = core_->definitions()[step.parameter].rule;
    put(core_->definition_slot(step.parameter), evaluated(rule, zero_of(rule.type())), changed);
    return changed;
  }
  if (step.kind == Step::Kind::search) return run_search(step.parameter, fault);
  Parameter const& parameter = core_->parameters()[step.parameter];
  switch (step.kind) {
    case Step::Kind::enabled:
      put(Core::slot(step.parameter, Core::kEnabled), evaluated(*parameter.enabled, Value(false)), changed);
      break;
    case Step::Kind::range: {
      Value range = evaluated(*parameter.range, Value::list({}));
      Value& known = ranges_[step.parameter];
      changed = known.cell().kind() == Kind::nothing || !(known == range);
      known = std::move(range);
      if (changed) mark(core_->slot_count() + step.parameter);
      break;
    }
    case Step::Kind::message: {
      const bool due = evaluated(parameter.messages[step.message].when, Value(false)).cell().truth();
      char& known = due_[step.parameter][step.message];
      changed = due || known != 0;  // its text may be another one although it was due before
      known = due ? 1 : 0;
      break;
    }
    default: {
      Value plain = value_without_rule(step.parameter);
      put(Core::slot(step.parameter, Core::kValue),
          parameter.derived ? evaluated(*parameter.derived, std::move(plain)) : std::move(plain), changed);
      break;
    }
  }
  return changed;
}

// What a search says of it; else the plain value.
Value Instance::value_without_rule(std::uint32_t parameter) const {
  switch (found_[parameter].from) {
    case Found::From::search:
      return found_[parameter].value;
    case Found::From::nothing:
      return in_range(parameter, core_->parameters()[parameter].default_value);
    default:
      return plain_value(parameter);
  }
}

// Runs a search. One that has a fault finds nothing.
bool Instance::run_search(std::uint32_t number, std::string& fault) {
  SearchSection const& search = *core_->searches()[number];
  std::shared_ptr<Findings const> next;
  try {
    next = search.run({machine_, cells_,
                       [this](std::uint32_t parameter, Value const& value) { return permits(parameter, value); },
                       [this](std::uint32_t parameter) { return plain_value(parameter); }, latest_[number]});
  } catch (RuleFault const& error) {
    fault = error.what();
    auto nothing = std::make_shared<Findings>();
    nothing->values.assign(search.writes.size(), {Found::From::nothing, {}});
    next = std::move(nothing);
  }
  latest_[number] = next;
  return take_findings(number, std::move(next));
}

// Passes on what they move.
bool Instance::take_findings(std::uint32_t number, std::shared_ptr<Findings const> next) {
  SearchSection const& search = *core_->searches()[number];
  std::shared_ptr<Findings const>& findings = findings_[number];
  bool changed = false;
  for (std::size_t i = 0; i < search.writes.size(); ++i) {
    Found& known = found_[search.writes[i]];
    if (known == next->values[i]) continue;
    changed = true;
    known = next->values[i];
    mark(core_->search_slot(search.writes[i]));
    touched_.push_back(search.writes[i]);  // at the least, where it comes from
  }
  const std::vector<Finding> before = findings ? findings->messages : std::vector<Finding>();
  const auto touch_new = [&](std::vector<Finding> const& list, std::vector<Finding> const& known) {
    for (Finding const& finding : list)
      if (std::find(known.begin(), known.end(), finding) == known.end()) {
        changed = true;
        touched_.push_back(finding.parameter);
      }
  };
  touch_new(before, next->messages);
  touch_new(next->messages, before);
  findings = std::move(next);
  return changed;
}

// The user's value if the range permits it, else the default, brought into the range.
Value Instance::plain_value(std::uint32_t parameter) const {
  Value const& user = values_[Core::slot(parameter, Core::kUser)];
  return permits(parameter, user) ? user : in_range(parameter, core_->parameters()[parameter].default_value);
}

// ----------------------------------------------------------------------------------------------------------- ranges

bool Instance::has_limits(std::uint32_t parameter) const {
  Parameter const& described = core_->parameters()[parameter];
  if (described.limits) return true;
  return described.range && described.widget == Widget::edit && described.type.is_number();
}

// Permitted values, or the two limits; none where anything goes.
std::vector<Value> Instance::permitted(std::uint32_t parameter) const {
  Parameter const& described = core_->parameters()[parameter];
  std::vector<Value> all;
  if (described.range) {
    for (const Cell cell : ranges_[parameter].cell().elements()) all.push_back(Value::share(cell));
  } else if (described.limits) {
    all = {described.limits->first, described.limits->second};
  } else {
    for (std::string const& text : described.values) all.push_back(*read_value(described.type, text));
  }
  return all;
}

bool Instance::permits(std::uint32_t parameter, Value const& value) const {
  Parameter const& described = core_->parameters()[parameter];
  const auto is_between = [&](Cell least, Cell most) {
    return order(value.cell(), least) >= 0 && order(most, value.cell()) >= 0;
  };
  if (described.range) {
    const std::span<Cell const> range = ranges_[parameter].cell().elements();
    if (range.empty()) return true;
    if (has_limits(parameter)) return is_between(range.front(), range.back());
    return std::find(range.begin(), range.end(), value.cell()) != range.end();
  }
  if (described.limits) return is_between(described.limits->first.cell(), described.limits->second.cell());
  if (described.values.empty()) return true;
  if (described.type == Type(Kind::text))
    return std::find(described.values.begin(), described.values.end(), value.cell().text()) != described.values.end();
  return std::any_of(described.values.begin(), described.values.end(),
                     [&](std::string const& text) { return *read_value(described.type, text) == value; });
}

// Whether that is to be told.
bool Instance::is_out_of_range(std::uint32_t parameter) const {
  if (!is_enabled(parameter)) return false;
  const std::optional<Value> read = read_value(core_->parameters()[parameter].type, backup(parameter));
  return !read || !permits(parameter, *read);
}

Value Instance::in_range(std::uint32_t parameter, Value const& value) const {
  if (permits(parameter, value)) return value;
  const std::vector<Value> range = permitted(parameter);
  return has_limits(parameter) && is_less(range.back(), value) ? range.back() : range.front();
}

// -------------------------------------------------------------------------------------------------------- questions

std::string Instance::backup(std::uint32_t parameter) const {
  if (is_left_to_user(parameter) && given_[parameter]) return *given_[parameter];
  return value_text(values_[Core::slot(parameter, Core::kValue)]);
}

// Neither a rule nor a search gives the value.
bool Instance::is_left_to_user(std::uint32_t parameter) const {
  return !core_->parameters()[parameter].derived && found_[parameter].from == Found::From::user;
}

std::string Instance::value(std::uint32_t parameter) const {
  return core_->parameters()[parameter].skips && !is_enabled(parameter) ? "SKIP" : backup(parameter);
}

bool Instance::is_enabled(std::uint32_t parameter) const {
  return cells_[Core::slot(parameter, Core::kEnabled)].truth();
}

std::vector<std::string> Instance::range(std::uint32_t parameter) const {
  std::vector<std::string> texts;
  for (Value const& value : permitted(parameter)) texts.push_back(value_text(value));
  return texts;
}

Origin Instance::origin(std::uint32_t parameter) const {
  if (core_->parameters()[parameter].derived) return Origin::rule;
  if (found_[parameter].from == Found::From::search) return Origin::search;
  return is_left_to_user(parameter) && given_[parameter] ? givers_[parameter] : Origin::default_value;
}

std::vector<Due> Instance::messages() {
  std::vector<Due> due;
  std::vector<std::vector<Due>> own(core_->parameters().size());
  for (std::uint32_t i = 0; i < faults_.size(); ++i) {
    if (faults_[i].empty()) continue;
    Step const& step = core_->steps()[i];
    if (step.kind == Step::Kind::definition)
      due.push_back(
          {Due::kNoParameter, "rule", Severity::error, core_->definitions()[step.parameter].name + ": " + faults_[i]});
    else if (step.kind == Step::Kind::search)
      due.push_back({Due::kNoParameter, "rule", Severity::error,
                     std::string(core_->searches()[step.parameter]->name()) + ": " + faults_[i]});
    else
      own[step.parameter].push_back(
          {step.parameter, "rule", Severity::error, core_->parameters()[step.parameter].name + ": " + faults_[i]});
  }
  for (std::uint32_t i = 0; i < own.size(); ++i) {
    Parameter const& parameter = core_->parameters()[i];
    std::move(own[i].begin(), own[i].end(), std::back_inserter(due));
    if (is_out_of_range(i))
      due.push_back(
          {i, "range", Severity::error, core_->out_of_range(parameter.name, backup(i), text::joined(range(i), ","))});
    add_findings(i, due);
    for (std::uint32_t m = 0; m < parameter.messages.size(); ++m)
      if (due_[i][m] != 0)
        due.push_back({i, parameter.messages[m].name, parameter.messages[m].severity,
                       text_of(parameter.messages[m].text, parameter)});
  }
  return due;
}

// What searches say of a parameter.
void Instance::add_findings(std::uint32_t parameter, std::vector<Due>& due) const {
  for (std::uint32_t i = 0; i < findings_.size(); ++i)
    for (Finding const& finding : findings_[i]->messages)
      if (finding.parameter == parameter)
        due.push_back({parameter, std::string(core_->searches()[i]->message()),
                       finding.is_error ? Severity::error : Severity::warning, finding.text});
}

// A message is told although its text has a fault.
std::string Instance::text_of(Rule const& rule, Parameter const& parameter) {
  try {
    return machine_.run(rule, cells_).text();
  } catch (RuleFault const& error) {
    return parameter.name + ": " + error.what();
  }
}

}  // namespace kdi::cores
