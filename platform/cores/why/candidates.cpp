#include <algorithm>
#include <cmath>

#include "platform/cores/why/advice_parts.h"

namespace kdi::cores {
namespace {

constexpr std::size_t kMostCollected = 4096;  // before those that are not permitted are taken out

double size_of(Value const& value) {
  const Cell cell = value.cell();
  if (cell.kind() == Kind::integer) return static_cast<double>(cell.integer());
  return static_cast<double>(cell.decimal().mantissa()) * std::pow(10.0, -cell.decimal().places());
}

// The value as one of the parameter's type; nothing if it is none.
std::optional<Value> typed(Type type, Value const& value) {
  if (value.cell().kind() == type.kind()) return value;
  const bool is_number = value.cell().kind() == Kind::integer || value.cell().kind() == Kind::decimal;
  return is_number && type.is_number() ? read_value(type, value.text()) : std::nullopt;
}

// A number with those just below and above it: a comparison turns at one of them.
void add_with_neighbours(Value const& value, std::vector<Value>& values) {
  values.push_back(value);
  const Cell cell = value.cell();
  try {
    const auto add = [&](Decimal number) {
      values.push_back(cell.kind() == Kind::integer ? Value(number.mantissa()) : Value(number));
    };
    if (cell.kind() != Kind::integer && cell.kind() != Kind::decimal) return;
    const Decimal number = cell.kind() == Kind::integer ? Decimal(cell.integer()) : cell.decimal();
    const Decimal unit = Decimal::of(1, number.places());
    add(number - unit);
    add(number + unit);
  } catch (std::overflow_error const&) {
    return;  // at the end of all numbers there is no neighbour
  }
}

bool is_permitted_always(Parameter const& parameter, Value const& value) {
  if (parameter.limits())
    return order(parameter.limits()->first.cell(), value.cell()) <= 0 &&
           order(value.cell(), parameter.limits()->second.cell()) <= 0;
  std::vector<std::string> const& values = parameter.values();
  return parameter.range || values.empty() ||
         std::find(values.begin(), values.end(), value_text(value)) != values.end();
}

}  // namespace

Term const& Terms::of(Rule const& rule) {
  const auto found = terms_.find(&rule);
  return found != terms_.end() ? found->second : terms_.emplace(&rule, terms_of(rule, scope_)).first->second;
}

std::vector<Candidate> const& Candidates::of(std::uint32_t number) {
  if (const auto known = known_.find(number); known != known_.end()) return known->second;
  if (shared_.of_first)
    if (auto const* const first = shared_.of_first(number)) return known_[number] = typed_as(number, *first);
  std::vector<Candidate>& all = known_[number];
  if (number == excluded_) return all;
  Parameter const& parameter = insight_.core().parameters()[number];
  std::vector<Value> values;
  // What shows the same as now is no change, and to take back is to set the default, unless rules ask what was given.
  bool counts = collect(number, values);
  if (shared_.add_others) {
    std::vector<Value> others;
    counts |= shared_.add_others(number, others);
    for (Value const& value : others)
      if (const auto fitting = typed(parameter.type, value)) values.push_back(*fitting);
  }
  const bool is_given = insight_.instance().given(number).has_value();
  const Value present = insight_.value(Core::slot(number, Core::kUser));
  if (parameter.type.is_number() && parameter.values().empty())
    std::stable_sort(values.begin(), values.end(), [&](Value const& a, Value const& b) {
      const double to_a = std::abs(size_of(a) - size_of(present)), to_b = std::abs(size_of(b) - size_of(present));
      return to_a != to_b ? to_a < to_b : order(a.cell(), b.cell()) < 0;
    });
  for (Value const& value : values) {
    if (!is_permitted_always(parameter, value) || (value == present && (is_given || !counts))) continue;
    const auto is_same = [&](Candidate const& known) { return known.text && known.value == value; };
    if (all.size() < kMost && std::none_of(all.begin(), all.end(), is_same)) all.push_back({value_text(value), value});
  }
  if (is_given && counts) all.push_back({std::nullopt, parameter.default_value});
  return all;
}

// The same texts, as this parameter reads them; what it cannot read leaves it as if nothing were given.
std::vector<Candidate> Candidates::typed_as(std::uint32_t number, std::vector<Candidate> all) const {
  Parameter const& parameter = insight_.core().parameters()[number];
  for (Candidate& one : all) {
    const auto value = one.text ? read_value(parameter.type, *one.text) : std::nullopt;
    one.value = value ? *value : parameter.default_value;
  }
  return all;
}

bool Candidates::collect(std::uint32_t number, std::vector<Value>& values) {
  Core const& core = insight_.core();
  Parameter const& parameter = core.parameters()[number];
  std::vector<Value> found;
  if (parameter.type == Type(Kind::truth)) found = {Value(false), Value(true)};
  if (parameter.values().size() <= kMost)
    for (std::string const& text : parameter.values()) found.push_back(*read_value(parameter.type, text));
  for (Value const& value : insight_.permitted(number))
    if (found.size() < kMostCollected) found.push_back(value);
  found.push_back(parameter.default_value);
  for (const auto which : {Core::kValue, Core::kUser})
    for (const std::uint32_t step : core.readers(Core::slot(number, which)))
      if (Rule const* const rule = rule_of(core, core.steps()[step])) collect_compared(number, terms_.of(*rule), found);
  if (parameter.range) collect_constants(terms_.of(*parameter.range), insight_, found);
  for (Value const& wished : wished_) found.push_back(wished);
  for (Value const& value : found)
    if (const auto fitting = typed(parameter.type, value)) values.push_back(*fitting);
  return core.readers(Core::slot(number, Core::kGiven)).size() > 1;
}

// What the parameter is compared with in the term.
void Candidates::collect_compared(std::uint32_t number, Term const& term, std::vector<Value>& values) {
  if (values.size() > kMostCollected) return;
  const auto is_parameter = [&](Term const& side) {
    return side.slot() == Core::slot(number, Core::kValue) || side.slot() == Core::slot(number, Core::kUser);
  };
  const auto add = [&](Term const& side) {
    const std::optional<Value> value = insight_.evaluated(side.rule());
    if (!value) return;
    if (value->cell().kind() == Kind::list)
      for (const Cell element : value->cell().elements()) values.push_back(Value::share(element));
    else if (value->cell().kind() != Kind::dictionary)
      add_with_neighbours(*value, values);
  };
  const bool compares = (term.form() == Form::compare || term.form() == Form::within) && !term.parts().empty();
  if (compares && is_parameter(term.parts()[0])) add(term.parts()[1]);
  if (compares && is_parameter(term.parts()[1])) add(term.parts()[0]);
  for (Term const& part : term.parts()) collect_compared(number, part, values);
}

void Candidates::collect_constants(Term const& term, Insight& insight, std::vector<Value>& values) {
  if (values.size() > kMostCollected) return;
  if (term.form() == Form::literal && term.is_constant()) values.push_back(*insight.evaluated(term.rule()));
  for (Term const& part : term.parts()) collect_constants(part, insight, values);
}

}  // namespace kdi::cores
