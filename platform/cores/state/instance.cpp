#include "kdi/cores/Instance.h"

#include <algorithm>
#include <functional>
#include <iterator>

#include "platform/cores/reading/plan.h"
#include "platform/cores/state/insight.h"

namespace kdi::cores {
namespace {

bool is_less(Value const& a, Value const& b) { return order(a.cell(), b.cell()) == std::strong_ordering::less; }

bool is_between(Cell least, Cell most, Cell value) {
  if (value.kind() == Kind::integer) return least.integer() <= value.integer() && value.integer() <= most.integer();
  return order(value, least) >= 0 && order(most, value) >= 0;
}

// Whether a range, which is what a rule gave, permits the value. One of nothing permits anything.
bool is_within(Cell range, bool has_limits, Cell value) {
  const std::span<Cell const> elements = range.elements();
  if (elements.empty()) return true;
  if (has_limits) return is_between(elements.front(), elements.back(), value);
  return std::find(elements.begin(), elements.end(), value) != elements.end();
}

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
  if (std::find(parameter.values().begin(), parameter.values().end(), text) != parameter.values().end()) return text;
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
      cells_(core_->beginning()),
      ranges_(core_->plan_->ranges),
      due_(core_->plan_->messages),
      found_(core_->searches().empty() ? 0 : core_->parameters().size()),
      findings_(core_->searches().size()),
      latest_(core_->searches().size()),
      is_waiting_(core_->steps().size()) {
  for (std::uint32_t i = 0; i < core_->facts().size(); ++i) {
    Fact const& fact = core_->facts()[i];
    const auto told = facts.find(fact.word);
    if (told == facts.end()) continue;
    const auto value = read_value(fact.type, told->second);
    if (!value)
      throw FactError("the device's \"" + fact.word + "\" is \"" + told->second + "\", no value of type " +
                      fact.type.text());
    cells_.put(core_->fact_slot(i), value->cell());
  }
  std::vector<PlannedStep> const& steps = core_->plan_->steps;
  for (std::uint32_t step = 0; step < steps.size(); ++step) {
    run(step);
    if (steps[step].kind == Step::Kind::search) first_.push_back({step, findings_[steps[step].parameter], fault(step)});
    if (after) after(*this, step);
  }
  is_complete_ = true;
  touched_.clear();
}

// What reads the slot is to be computed again.
void Instance::mark(std::uint32_t slot) {
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
  const auto known = given_.find(parameter);
  const bool is_known =
      known == given_.end() ? !text : text && known->second.text == text && known->second.from == from;
  if (is_known) return;
  touched_.push_back(parameter);
  const std::optional<Value> read = text ? read_value(described.type, *text) : std::nullopt;
  if (text)
    given_.insert_or_assign(parameter, Given{std::move(text), from});
  else
    given_.erase(known);
  put(Core::slot(parameter, Core::kUser), (read ? *read : described.default_value).cell());
  // That a text is no value counts as none given: rules see values alone.
  put(Core::slot(parameter, Core::kGiven), Cell::of(read.has_value()));
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
    if (findings_[search] == first.findings && fault(first.step) == first.fault) continue;
    take_findings(search, first.findings);
    put_fault(first.step, first.fault);
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

// Returns whether the slot holds another value than before.
inline bool Instance::put(std::uint32_t slot, Cell value) {
  if (!cells_.put(slot, value)) return false;
  if (is_complete_) mark(slot);  // in the first pass over all steps what reads it is still to come
  return true;
}

// What a step has computed, likewise.
[[gnu::always_inline]] inline bool Instance::put(PlannedStep const& step, Cell value) {
  if (step.kind != Step::Kind::range) return put(step.writes, value);
  if (!ranges_.put(step.writes, value)) return false;
  if (is_complete_) mark(core_->range_slot(step.parameter));
  return true;
}

// Computes a step anew and passes on what it changed.
void Instance::run(std::uint32_t number) {
  PlannedStep const& step = core_->plan_->steps[number];
  is_fault_moved_ = false;
  const bool changed = perform(step, number) || is_fault_moved_;
  const bool is_of_parameter = step.kind != Step::Kind::definition && step.kind != Step::Kind::search;
  if (changed && is_of_parameter && is_complete_) touched_.push_back(step.parameter);
}

std::string const& Instance::fault(std::uint32_t step) const {
  static const std::string none;
  const auto found = faults_.find(step);
  return found == faults_.end() ? none : found->second;
}

// Empty: none.
void Instance::put_fault(std::uint32_t step, std::string fault) {
  if (fault.empty()) {
    is_fault_moved_ = !faults_.empty() && faults_.erase(step) != 0;
    return;
  }
  std::string& known = faults_[step];
  is_fault_moved_ = known != fault;
  known = std::move(fault);
}

// Calls use(cell) with the value of the step's rule; returns false for one that has a fault.
template <class Use>
bool Instance::evaluated(PlannedStep const& step, std::uint32_t number, Use use) {
  if (step.body == PlannedStep::kNoBody) {
    use(cells_[step.slot]);
    return true;
  }
  try {
    Plan const& plan = *core_->plan_;
    machine_.with_value(*plan.bodies[step.body], plan.reads.data() + step.reads, cells_, use);
    if (!faults_.empty()) put_fault(number, {});
    return true;
  } catch (RuleFault const& error) {
    put_fault(number, error.what());
    return false;
  }
}

// Whether anything changed that can be seen. A fault leaves a value that stands for none.
bool Instance::perform(PlannedStep const& step, std::uint32_t number) {
  if (step.kind == Step::Kind::search) return run_search(step.parameter, number);
  if (step.kind == Step::Kind::message) return judge(step, number);
  if (step.has_rule && step.body == PlannedStep::kNoBody) return put(step, cells_[step.slot]);
  bool changed = false;
  if (step.has_rule && evaluated(step, number, [&](Cell value) { changed = put(step, value); })) return changed;
  if (step.kind != Step::Kind::value) return put(step, zero_of(core_->plan_->bodies[step.body]->type).cell());
  if (is_plain_permitted(step)) return put(step.writes, cells_[Core::slot(step.parameter, Core::kUser)]);
  return put(step.writes, value_without_rule(step).cell());
}

// Whether a message is due. Its text may be another one although it was due before.
bool Instance::judge(PlannedStep const& step, std::uint32_t number) {
  bool due = false;
  evaluated(step, number, [&](Cell truth) { due = truth.truth(); });
  return std::exchange(due_[step.writes], due ? 1 : 0) != 0 || due;
}

// Whether it is the user's value that counts. Where none is given that is the default, which only a rule forbids.
bool Instance::is_plain_permitted(PlannedStep const& step) const {
  if (step.has_search && found_[step.parameter].from != Found::From::user) return false;
  const Cell user = cells_[Core::slot(step.parameter, Core::kUser)];
  if (step.has_range_rule)
    return is_within(step.has_rule ? range_cell(step.parameter) : ranges_[step.slot], step.has_limits, user);
  return !cells_[Core::slot(step.parameter, Core::kGiven)].truth() || permits(step.parameter, user);
}

// What a search says of it; else the plain value.
Value Instance::value_without_rule(PlannedStep const& step) const {
  if (!step.has_search) return plain_value(step.parameter);
  switch (found_[step.parameter].from) {
    case Found::From::search:
      return found_[step.parameter].value;
    case Found::From::nothing:
      return in_range(step.parameter, core_->parameters()[step.parameter].default_value);
    default:
      return plain_value(step.parameter);
  }
}

// Runs a search. One that has a fault finds nothing.
bool Instance::run_search(std::uint32_t number, std::uint32_t step) {
  SearchSection const& search = *core_->searches()[number];
  std::shared_ptr<Findings const> next;
  std::string fault;
  try {
    next = search.run({machine_, cells_,
                       [this](std::uint32_t parameter, Value const& value) { return permits(parameter, value.cell()); },
                       [this](std::uint32_t parameter) { return plain_value(parameter); }, latest_[number]});
  } catch (RuleFault const& error) {
    fault = error.what();
    auto nothing = std::make_shared<Findings>();
    nothing->values.assign(search.writes.size(), {Found::From::nothing, {}});
    next = std::move(nothing);
  }
  put_fault(step, std::move(fault));
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
    if (is_complete_) mark(core_->search_slot(search.writes[i]));
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
  const Cell user = cells_[Core::slot(parameter, Core::kUser)];
  return permits(parameter, user) ? Value::share(user)
                                  : in_range(parameter, core_->parameters()[parameter].default_value);
}

// ----------------------------------------------------------------------------------------------------------- ranges

// Permitted values, or the two limits; none where anything goes.
std::vector<Value> Instance::permitted(std::uint32_t parameter) const {
  Parameter const& described = core_->parameters()[parameter];
  std::vector<Value> all;
  if (described.range) {
    for (const Cell cell : range_cell(parameter).elements()) all.push_back(Value::share(cell));
  } else if (described.limits()) {
    all = {described.limits()->first, described.limits()->second};
  } else {
    for (std::string const& text : described.values()) all.push_back(*read_value(described.type, text));
  }
  return all;
}

bool Instance::permits(std::uint32_t parameter, Cell value) const {
  Parameter const& described = core_->parameters()[parameter];
  if (described.range) return is_within(range_cell(parameter), described.has_limits(), value);
  if (described.limits()) return is_between(described.limits()->first.cell(), described.limits()->second.cell(), value);
  if (described.values().empty()) return true;
  if (described.type == Type(Kind::text))
    return std::find(described.values().begin(), described.values().end(), value.text()) != described.values().end();
  return std::any_of(described.values().begin(), described.values().end(),
                     [&](std::string const& text) { return read_value(described.type, text)->cell() == value; });
}

// Whether that is to be told.
bool Instance::is_out_of_range(std::uint32_t parameter) const {
  if (!is_enabled(parameter)) return false;
  Parameter const& described = core_->parameters()[parameter];
  const bool is_default = is_left_to_user(parameter) && !given_.contains(parameter);
  if (is_default && !described.range) return false;
  const std::optional<Value> read = read_value(described.type, backup(parameter));
  return !read || !permits(parameter, read->cell());
}

Value Instance::in_range(std::uint32_t parameter, Value const& value) const {
  if (permits(parameter, value.cell())) return value;
  const std::vector<Value> range = permitted(parameter);
  return core_->parameters()[parameter].has_limits() && is_less(range.back(), value) ? range.back() : range.front();
}

// -------------------------------------------------------------------------------------------------------- questions

std::string Instance::backup(std::uint32_t parameter) const {
  if (is_left_to_user(parameter))
    if (auto const& text = given(parameter)) return *text;
  return value_text(Value::share(cells_[Core::slot(parameter, Core::kValue)]));
}

std::optional<std::string> const& Instance::given(std::uint32_t parameter) const {
  static const std::optional<std::string> none;
  const auto found = given_.find(parameter);
  return found == given_.end() ? none : found->second.text;
}

// What searches say of a parameter.
Found const& Instance::found(std::uint32_t parameter) const {
  static const Found none;
  return found_.empty() ? none : found_[parameter];
}

// Neither a rule nor a search gives the value.
bool Instance::is_left_to_user(std::uint32_t parameter) const {
  return !core_->parameters()[parameter].derived && found(parameter).from == Found::From::user;
}

std::string Instance::value(std::uint32_t parameter) const {
  return core_->parameters()[parameter].skips && !is_enabled(parameter) ? "SKIP" : backup(parameter);
}

bool Instance::is_enabled(std::uint32_t parameter) const {
  return cells_[Core::slot(parameter, Core::kEnabled)].truth();
}

std::vector<std::string> Instance::range(std::uint32_t parameter) const {
  Parameter const& described = core_->parameters()[parameter];
  if (!described.range && !described.limits() && described.type == Type(Kind::text)) return described.values();
  std::vector<std::string> texts;
  for (Value const& value : permitted(parameter)) texts.push_back(value_text(value));
  return texts;
}

Origin Instance::origin(std::uint32_t parameter) const {
  if (core_->parameters()[parameter].derived) return Origin::rule;
  if (found(parameter).from == Found::From::search) return Origin::search;
  const auto given = given_.find(parameter);
  return is_left_to_user(parameter) && given != given_.end() ? given->second.from : Origin::default_value;
}

std::vector<Due> Instance::messages() {
  std::vector<Due> due;
  std::map<std::uint32_t, std::vector<Due>> own;
  for (auto const& [number, fault] : faults_) {
    Step const& step = core_->steps()[number];
    if (step.kind == Step::Kind::definition)
      due.push_back(
          {Due::kNoParameter, "rule", Severity::error, core_->definitions()[step.parameter].name + ": " + fault});
    else if (step.kind == Step::Kind::search)
      due.push_back({Due::kNoParameter, "rule", Severity::error,
                     std::string(core_->searches()[step.parameter]->name()) + ": " + fault});
    else
      own[step.parameter].push_back(
          {step.parameter, "rule", Severity::error, core_->parameters()[step.parameter].name + ": " + fault});
  }
  for (std::uint32_t i = 0; i < core_->parameters().size(); ++i) {
    Parameter const& parameter = core_->parameters()[i];
    if (const auto faults = own.find(i); faults != own.end())
      std::move(faults->second.begin(), faults->second.end(), std::back_inserter(due));
    if (is_out_of_range(i)) due.push_back(told_out_of_range(*this, i));
    add_findings(i, due);
    for (std::uint32_t m = 0; m < parameter.messages().size(); ++m)
      if (due_[parameter.first_message + m] != 0)
        due.push_back({i, parameter.messages()[m].name, parameter.messages()[m].severity,
                       text_of(parameter.messages()[m].text, parameter)});
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
