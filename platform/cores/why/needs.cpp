// From a condition that is not met back through the rules to the changes one of which it needs. What is found may be
// too much, never too little: every set of changes after which the condition is met has one of them.
#include <algorithm>

#include "platform/cores/why/advice_parts.h"

namespace kdi::cores {
namespace {

constexpr std::uint64_t kMostLooks = 3000;  // of one question; beyond, rules are told by what they read

std::strong_ordering compared(Cell a, Cell b) {
  const auto widened = [](Cell cell, Cell other) {
    return cell.kind() == Kind::integer && other.kind() == Kind::decimal ? Cell::of(Decimal(cell.integer())) : cell;
  };
  return order(widened(a, b), widened(b, a));
}

bool holds(std::string_view sign, std::strong_ordering order) {
  if (sign == "==") return order == 0;
  if (sign == "!=") return order != 0;
  if (sign == "<") return order < 0;
  if (sign == "<=") return order <= 0;
  return sign == ">" ? order > 0 : order >= 0;
}

bool contains(Cell list, Cell value) {
  const auto elements = list.elements();
  return std::any_of(elements.begin(), elements.end(), [&](Cell one) { return compared(one, value) == 0; });
}

template <class T, class More>
void add(std::vector<T>& all, More const& more) {
  all.insert(all.end(), more.begin(), more.end());
}

template <class T>
void put_in_order(std::vector<T>& all) {
  std::sort(all.begin(), all.end());
  all.erase(std::unique(all.begin(), all.end()), all.end());
}

}  // namespace

// ---------------------------------------------------------------------------------------------------- conditions

Baseline::Baseline(Instance const& start) {
  const Insight insight(start);
  for (std::uint32_t step = 0; step < start.core().steps().size(); ++step) {
    faults_.push_back(insight.fault(step).empty() ? 0 : 1);
    raised_.push_back(raises(insight, step) ? 1 : 0);
  }
  for (std::uint32_t i = 0; i < start.core().parameters().size(); ++i)
    ranges_.push_back(insight.is_out_of_range(i) ? 1 : 0);
  for (std::uint32_t search = 0; search < start.core().searches().size(); ++search)
    for (Finding const& finding : start.findings(search)->messages)
      if (finding.is_error) ++findings_[{finding.parameter, search}];
}

bool Baseline::raises(Insight const& insight, std::uint32_t number) {
  Step const& step = insight.core().steps()[number];
  return step.kind == Step::Kind::message && insight.holds(step.parameter, step.message) &&
         insight.core().parameters()[step.parameter].messages()[step.message].severity == Severity::error;
}

bool Baseline::allows_step(Insight const& insight, std::uint32_t step) const {
  return (faults_[step] != 0 || insight.fault(step).empty()) && (raised_[step] != 0 || !raises(insight, step));
}

bool Baseline::allows_range(Insight const& insight, std::uint32_t parameter) const {
  return ranges_[parameter] != 0 || !insight.is_out_of_range(parameter);
}

bool Baseline::allows_finding(Insight const& insight, std::uint32_t parameter, std::uint32_t search) const {
  if (!insight.has_finding(parameter, search, true)) return true;
  std::vector<Finding> const& all = insight.instance().findings(search)->messages;
  const auto count = std::count_if(all.begin(), all.end(), [&](Finding const& finding) {
    return finding.parameter == parameter && finding.is_error;
  });
  const auto known = findings_.find({parameter, search});
  return known != findings_.end() && count <= known->second;
}

bool is_met(Insight const& insight, Condition const& condition) {
  switch (condition.kind) {
    case Condition::Kind::enabled:
      return insight.instance().is_enabled(condition.subject);
    case Condition::Kind::in_range:
      return !insight.is_out_of_range(condition.subject);
    case Condition::Kind::permitted:
      return insight.is_permitted(condition.subject);
    case Condition::Kind::message:
      return !insight.holds(condition.subject, condition.message);
    case Condition::Kind::no_fault:
      return insight.fault(condition.subject).empty();
    case Condition::Kind::finding:
      return !insight.has_finding(condition.subject, condition.message, false);
  }
  return false;
}

// -------------------------------------------------------------------------------------------------------- questions

std::vector<Choice> Needs::of(Instance const& state, Condition const& condition, std::uint64_t& effort) {
  Insight insight(state);
  insight_ = &insight;
  looks_ = 0;
  const std::uint32_t subject = condition.subject;
  const auto wanted = [](bool truth) { return [truth](Cell cell) { return cell.truth() == truth; }; };
  Choices all;
  switch (condition.kind) {
    case Condition::Kind::enabled:
      all = slot(Core::slot(subject, Core::kEnabled), wanted(true));
      break;
    case Condition::Kind::in_range:
      all = slot(Core::slot(subject, Core::kEnabled), wanted(false));
      add(all, range(subject));
      break;
    case Condition::Kind::permitted:
      all = range(subject);
      break;
    case Condition::Kind::message:
      for (std::uint32_t number = 0; number < core_.steps().size(); ++number) {
        Step const& each = core_.steps()[number];
        if (each.kind == Step::Kind::message && each.parameter == subject && each.message == condition.message)
          add(all, step(number, wanted(false)));
      }
      break;
    case Condition::Kind::no_fault:
      all = anything(core_.reads(subject));
      break;
    case Condition::Kind::finding:
      all = search(condition.message, subject);
      break;
  }
  insight_ = nullptr;
  effort += looks_;
  put_in_order(all);
  return all;
}

// The value that the parameter shows is permitted: another value, or a range that has this one.
Needs::Choices Needs::range(std::uint32_t parameter) {
  Parameter const& described = core_.parameters()[parameter];
  Choices all = user(parameter, {});
  if (described.derived || described.search) add(all, slot(Core::slot(parameter, Core::kValue), {}));
  if (!described.range) return all;
  const std::optional<Value> shown = read_value(described.type, insight_->instance().backup(parameter));
  if (!shown) return all;
  const bool has_limits = insight_->has_limits(parameter);
  add(all, slot(core_.range_slot(parameter), [shown, has_limits](Cell list) {
        const auto elements = list.elements();
        if (elements.empty()) return true;
        if (!has_limits) return contains(list, shown->cell());
        return compared(elements.front(), shown->cell()) <= 0 && compared(shown->cell(), elements.back()) <= 0;
      }));
  return all;
}

// ------------------------------------------------------------------------------------------------------------ terms

// What the part's value, which the test refuses, needs to be another one that passes.
Needs::Choices Needs::term(Term const& term, Test const& test) {
  if (term.is_constant()) return {};
  if (term.slot()) return slot(*term.slot(), test);
  ++looks_;
  const std::optional<Value> value = insight_->evaluated(term.rule());
  const bool is_whole = term.parts().empty();  // a loop, a local name, or what is beyond the most terms
  if (!value || is_whole || looks_ > kMostLooks) return anything(term.rule().reads());
  if (term.form() == Form::let) return this->term(term.parts()[1], test);
  if (term.form() == Form::conditional) return conditional(term, test);
  if (value->cell().kind() != Kind::truth) return parts(term);
  const bool wanted = !value->cell().truth();
  if (test && !test(Cell::of(wanted))) return {};
  switch (term.form()) {
    case Form::and_:
    case Form::or_:
      return chain(term, wanted);
    case Form::not_:
      return this->term(term.parts()[0], [wanted](Cell cell) { return cell.truth() != wanted; });
    case Form::compare:
    case Form::within:
      return comparison(term, wanted);
    default:
      return parts(term);
  }
}

Needs::Choices Needs::parts(Term const& term) {
  Choices all;
  for (Term const& part : term.parts()) add(all, this->term(part, {}));
  return all;
}

// Where all parts have to be so, each that is not is needed: the one with the fewest ways is told. Where one is enough,
// it may be any.
Needs::Choices Needs::chain(Term const& term, bool wanted) {
  const bool is_needed_of_all = (term.form() == Form::and_) == wanted;
  const Test test = [wanted](Cell cell) { return cell.truth() == wanted; };
  std::optional<Choices> fewest;
  Choices all;
  for (Term const& part : term.parts()) {
    const std::optional<Value> value = insight_->evaluated(part.rule());
    if (is_needed_of_all && (!value || test(value->cell()))) continue;
    Choices needed = this->term(part, test);
    put_in_order(needed);
    if (!fewest || needed.size() < fewest->size()) fewest = needed;
    if (!is_needed_of_all) add(all, needed);
  }
  return is_needed_of_all ? fewest.value_or(Choices()) : all;
}

Needs::Choices Needs::comparison(Term const& term, bool wanted) {
  Term const &left = term.parts()[0], &right = term.parts()[1];
  if (term.form() == Form::within) {
    const std::optional<Value> list = right.is_constant() ? insight_->evaluated(right.rule()) : std::nullopt;
    if (!list || list->cell().kind() != Kind::list) return parts(term);
    return this->term(left, [list, wanted](Cell cell) { return contains(list->cell(), cell) == wanted; });
  }
  std::string const& sign = term.word();
  if (right.is_constant())
    if (const auto constant = insight_->evaluated(right.rule()))
      return this->term(left, [constant, sign, wanted](Cell cell) {
        return holds(sign, compared(cell, constant->cell())) == wanted;
      });
  if (left.is_constant())
    if (const auto constant = insight_->evaluated(left.rule()))
      return this->term(right, [constant, sign, wanted](Cell cell) {
        return holds(sign, compared(constant->cell(), cell)) == wanted;
      });
  return parts(term);
}

// The other side, if it can be what is wanted at all, or another value of this one.
Needs::Choices Needs::conditional(Term const& term, Test const& test) {
  const bool condition = insight_->evaluated(term.parts()[0].rule())->cell().truth();
  Term const &chosen = term.parts()[condition ? 1 : 2], &other = term.parts()[condition ? 2 : 1];
  Choices all = this->term(chosen, test);
  if (test && other.is_constant()) {
    const std::optional<Value> value = insight_->evaluated(other.rule());
    if (value && !test(value->cell())) return all;
  }
  add(all, this->term(term.parts()[0], [condition](Cell cell) { return cell.truth() != condition; }));
  return all;
}

// ------------------------------------------------------------------------------------------------------------ slots

Needs::Choices Needs::slot(std::uint32_t slot, Test const& test) {
  const std::uint32_t parameter = slot / Core::kSlots;
  const bool is_parameter = parameter < core_.parameters().size();
  const std::uint32_t aspect = slot % Core::kSlots;
  if (is_parameter && aspect == Core::kUser) return user(parameter, test);
  if (is_parameter && aspect == Core::kGiven) return given(parameter, test);
  const std::uint32_t writer = core_.writer(slot);
  if (writer == Core::kNoStep) return {};  // a fact, or always enabled
  const bool has_rule = !is_parameter || aspect != Core::kValue || core_.parameters()[parameter].derived;
  if (has_rule) return step(writer, test);
  if (core_.parameters()[parameter].search) return searched(parameter);
  // A value that its range does not permit counts as none; as advice, it would be an error, unless it is one already.
  Choices all = user(parameter, baseline_.was_out_of_range(parameter) ? Test() : test);
  if (!core_.parameters()[parameter].range) return all;
  // So does a default, without being one: what is in effect then is another value.
  std::vector<Candidate> const& candidates = candidates_.of(parameter);
  if (!candidates.empty() && !candidates.back().text) all.emplace_back(parameter, candidates.size() - 1);
  add(all, step(core_.writer(core_.range_slot(parameter)), {}));
  return all;
}

Needs::Choices Needs::user(std::uint32_t parameter, Test const& test) {
  Choices all;
  std::vector<Candidate> const& candidates = candidates_.of(parameter);
  looks_ += candidates.size() / 8;
  for (std::uint32_t i = 0; i < candidates.size(); ++i)
    if (!test || test(candidates[i].value.cell())) all.emplace_back(parameter, i);
  return all;
}

Needs::Choices Needs::given(std::uint32_t parameter, Test const& test) {
  Choices all;
  std::vector<Candidate> const& candidates = candidates_.of(parameter);
  for (std::uint32_t i = 0; i < candidates.size(); ++i)
    if (!test || test(Cell::of(candidates[i].text.has_value()))) all.emplace_back(parameter, i);
  return all;
}

// What a search gives, or leaves to the user, who may give it anything.
Needs::Choices Needs::searched(std::uint32_t parameter) {
  Choices all = user(parameter, {});
  if (core_.parameters()[parameter].range) add(all, slot(core_.range_slot(parameter), {}));
  add(all, search(*core_.parameters()[parameter].search, parameter));
  return all;
}

// That a search finds something else for one of its parameters, or says something else of it.
Needs::Choices Needs::search(std::uint32_t number, std::uint32_t parameter) {
  SearchSection const& section = *core_.searches()[number];
  const auto step = std::find_if(core_.steps().begin(), core_.steps().end(), [&](Step const& one) {
    return one.kind == Step::Kind::search && one.parameter == number;
  });
  const auto place = static_cast<std::uint32_t>(step - core_.steps().begin());
  if (baseline_.had_fault(place) || !insight_->fault(place).empty()) return anything(section.reads);
  const std::vector<std::uint32_t> reads = section.reads_of(core_, *insight_->instance().findings(number), parameter);
  if (reads.size() == section.reads.size()) return anything(reads);
  Choices all;
  for (const std::uint32_t read : reads) add(all, slot(read, {}));
  return all;
}

// A rule that has or had a fault may come by its value in ways that its parts do not tell.
Needs::Choices Needs::step(std::uint32_t number, Test const& test) {
  Rule const* const rule = rule_of(core_, core_.steps()[number]);
  if (rule == nullptr || baseline_.had_fault(number) || !insight_->fault(number).empty())
    return anything(core_.reads(number));
  return term(terms_.of(*rule), test);
}

Needs::Choices Needs::anything(std::span<std::uint32_t const> slots) {
  std::vector<std::uint32_t> parameters;
  for (const std::uint32_t slot : slots) add(parameters, influences(slot));
  put_in_order(parameters);
  Choices all;
  for (const std::uint32_t parameter : parameters) add(all, user(parameter, {}));
  return all;
}

// The parameters whose given texts have a part in the slot's value.
std::vector<std::uint32_t> const& Needs::influences(std::uint32_t slot) {
  const auto [place, is_new] = influences_.try_emplace(slot);
  if (!is_new) return place->second;
  std::vector<std::uint32_t> open{slot}, found;
  std::vector<char> seen(all_slots(core_));
  while (!open.empty()) {
    const std::uint32_t at = open.back();
    open.pop_back();
    if (std::exchange(seen[at], 1) != 0) continue;
    ++looks_;
    const bool is_parameter = at / Core::kSlots < core_.parameters().size();
    if (is_parameter && (at % Core::kSlots == Core::kUser || at % Core::kSlots == Core::kGiven))
      found.push_back(at / Core::kSlots);
    if (const std::uint32_t step = core_.writer(at); step != Core::kNoStep) add(open, core_.reads(step));
  }
  put_in_order(found);
  return place->second = std::move(found);
}

}  // namespace kdi::cores
