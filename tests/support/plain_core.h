// What an instance of a core should be: everything computed from the user's values anew, by asking for what each rule
// needs and reading that rule plainly. Shares with the library the description that was read, and the parser.
//
// Searches are asked through the engine's own, from scratch, with what they declare that they read and nothing else.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "kdi/cores/ClockSection.h"
#include "kdi/cores/Instance.h"
#include "kdi/cores/PadSection.h"
#include "platform/cores/rules/memory_functions.h"
#include "tests/support/random_rules.h"

namespace plain_rules {

/// Calls `use(name, rule)` for the rules of the core's clocks and pads.
template <class Use>
void for_each_rule_of_searches(Core const& core, Use use) {
  const auto use_divider = [&](std::string const& name, DescribedDivider const& divider) {
    use(name + " divider", divider.values);
  };
  if (const auto clocks = core.clocks()) {
    use("clocks manual", clocks->manual);
    for (DescribedReference const& one : clocks->references) use("reference " + one.name, one.mhz);
    for (DescribedPll const& one : clocks->plls) {
      use("pll " + one.name + " enabled", one.enabled);
      use("pll " + one.name + " most", one.most);
      use("pll " + one.name + " least of the oscillator", one.vco_least);
      use("pll " + one.name + " most of the oscillator", one.vco_most);
      use_divider("pll " + one.name + " feedback", one.feedback);
      if (one.divider) use_divider("pll " + one.name, *one.divider);
      if (one.crossing) use("pll " + one.name + " crossing most", one.crossing->most);
    }
    for (DescribedClock const& one : clocks->clocks) {
      use("clock " + one.name + " enabled", one.enabled);
      use("clock " + one.name + " requested", one.requested);
      use("clock " + one.name + " most", one.most);
      for (DescribedDivider const& divider : one.dividers) use_divider("clock " + one.name, divider);
    }
  }
  if (const auto pads = core.pads()) {
    for (PadBank const& one : pads->banks) use("bank " + one.name + " enabled", one.enabled);
    for (DescribedFunction const& one : pads->functions) use("pads of " + one.name + " enabled", one.enabled);
  }
}

/// The rules of a core as they are parsed, and what was seen of them.
class PlainRules {
 public:
  /// What a name in a rule stands for.
  struct Named {
    enum class What : std::uint8_t { nothing, value, user, given, enabled, definition, fact };
    What what = What::nothing;
    std::uint32_t number = 0;
  };
  struct Parsed {
    Syntax syntax;
    std::vector<Named> names;  ///< by place of the tree
    SeenTruths seen;
    std::optional<Item> first;  ///< value that was seen
    bool varies = false;        ///< another one was seen as well
  };

  explicit PlainRules(std::shared_ptr<Core const> core) : core_(std::move(core)) {
    for (std::uint32_t i = 0; i < core_->definitions().size(); ++i) definitions_[core_->definitions()[i].name] = i;
  }

  Core const& core() const { return *core_; }
  std::shared_ptr<Core const> const& shared() const { return core_; }

  Parsed& parsed(Rule const& rule) {
    const auto [known, is_new] = parsed_.try_emplace(&rule);
    Parsed& parsed = known->second;
    if (!is_new) return parsed;
    parsed.syntax = parse(rule.written());  // a message is written as the call that it stands for
    parsed.seen.resize(parsed.syntax.nodes.size());
    for (Expression const& node : parsed.syntax.nodes) parsed.names.push_back(named(parsed.syntax, node));
    return parsed;
  }

  /// What a search was asked and found the last time: asked the same, it need not run again.
  struct Asked {
    std::vector<Value> inputs;
    std::shared_ptr<Findings const> findings;
    std::string fault;
  };
  Asked& asked(std::uint32_t search) { return asked_[search]; }

  /// What a place of the tree stands for; within rows, in those at hand.
  Named named(Syntax const& syntax, Expression const& node, Reader::Rows const& rows = {}) const {
    using What = Named::What;
    if (node.form == Form::name) {
      const std::string name = Reader::in_rows(node.word, rows);
      if (const auto number = parameter(name)) return {What::value, *number};
      const auto definition = definitions_.find(name);
      return definition == definitions_.end() ? Named() : Named{What::definition, definition->second};
    }
    if (node.form != Form::call) return {};
    if (node.word == "device")
      return {What::fact, core_->find_fact(syntax.at(node.parts[0]).value.cell().text()).value()};
    for (auto const& [word, what] : {std::pair("user", What::user), {"given", What::given}, {"enabled", What::enabled}})
      if (node.word == word) {
        const auto number = parameter(Reader::in_rows(syntax.at(node.parts[0]).word, rows));
        return number ? Named{what, *number} : Named();  // none: within rows, as they are written
      }
    return {};
  }

 private:
  // Parts and older versions go on with the names that parameters had.
  std::optional<std::uint32_t> parameter(std::string const& name) const {
    const auto number = core_->find(name);
    return number ? number : core_->find_user_name(name);
  }

  std::shared_ptr<Core const> core_;
  std::map<std::string, std::uint32_t> definitions_;
  std::unordered_map<Rule const*, Parsed> parsed_;
  std::map<std::uint32_t, Asked> asked_;
};

class PlainCore {
 public:
  PlainCore(PlainRules& rules, std::vector<std::optional<std::string>> given, Facts facts = {})
      : rules_(rules),
        core_(rules.core()),
        facts_(std::move(facts)),
        given_(std::move(given)),
        users_(given_.size()),
        values_(given_.size()),
        enabled_(given_.size()),
        ranges_(given_.size()),
        definitions_(core_.definitions().size()),
        found_(given_.size()),
        faults_(given_.size()) {
    for (std::uint32_t i = 0; i < given_.size(); ++i) {
      if (!given_[i]) continue;
      std::vector<std::string> const& words = core_.parameters()[i].values();
      if ((given_[i] == "true" || given_[i] == "false") &&
          std::find(words.begin(), words.end(), *given_[i]) == words.end())
        given_[i] = given_[i] == "true" ? "1" : "0";
      users_[i] = typed(core_.parameters()[i].type, *given_[i]);
    }
  }

  bool is_enabled(std::uint32_t i) {
    if (!enabled_[i]) {
      Parameter const& parameter = core_.parameters()[i];
      enabled_[i] =
          parameter.enabled ? std::get<bool>(computed(*parameter.enabled, i, [] { return Item(false); })) : true;
    }
    return *enabled_[i];
  }

  std::string backup(std::uint32_t i) {
    if (is_left_to_user(i) && given_[i]) return *given_[i];
    return text(value_of(i));
  }
  std::string value(std::uint32_t i) { return core_.parameters()[i].skips && !is_enabled(i) ? "SKIP" : backup(i); }
  std::vector<std::string> range(std::uint32_t i) {
    std::vector<std::string> texts;
    for (Item const& item : permitted(i)) texts.push_back(text(item));
    return texts;
  }
  /// Where the value comes from; `user` for all that is given.
  Origin origin(std::uint32_t i) {
    if (core_.parameters()[i].derived) return Origin::rule;
    if (found(i).from == Found::From::search) return Origin::search;
    return is_left_to_user(i) && given_[i] ? Origin::user : Origin::default_value;
  }

  struct Said {
    std::string name;
    Severity severity;
    std::string text;  ///< empty for what the engine says itself
    friend bool operator==(Said const&, Said const&) = default;
  };
  /// The messages of a parameter that are due.
  std::vector<Said> messages(std::uint32_t i) {
    Parameter const& parameter = core_.parameters()[i];
    std::vector<Said> due;
    is_enabled(i);
    permitted(i);
    value_of(i);
    std::vector<bool> holds;
    for (Message const& message : parameter.messages())
      holds.push_back(std::get<bool>(computed(message.when, i, [] { return Item(false); })));
    for (int f = 0; f < faults_[i]; ++f) due.push_back({"rule", Severity::error, ""});
    const auto shown = typed(parameter.type, backup(i));
    if (is_enabled(i) && (!shown || !permits(i, *shown))) due.push_back({"range", Severity::error, ""});
    for (std::uint32_t s = 0; s < core_.searches().size(); ++s)
      for (Finding const& finding : searched(s).messages)
        if (finding.parameter == i)
          due.push_back({std::string(core_.searches()[s]->message()),
                         finding.is_error ? Severity::error : Severity::warning, finding.text});
    for (std::size_t m = 0; m < parameter.messages().size(); ++m)
      if (holds[m]) {
        const auto words = read(parameter.messages()[m].text);
        due.push_back({parameter.messages()[m].name, parameter.messages()[m].severity,
                       words ? std::get<std::string>(*words) : "(fault)"});
      }
    return due;
  }

  /// How many definitions and searches have a fault.
  int other_faults() {
    for (std::uint32_t i = 0; i < definitions_.size(); ++i) definition(i);
    for (std::uint32_t s = 0; s < core_.searches().size(); ++s) searched(s);
    return other_faults_;
  }

  /// Reads the rules of the searches, for what is seen of them.
  void look_at_searches() {
    const auto look = [&](auto const& rule) {
      if constexpr (std::is_same_v<std::decay_t<decltype(rule)>, Rule>)
        read(rule);
      else if (rule)
        read(*rule);
    };
    for_each_rule_of_searches(core_, [&](std::string const&, auto const& rule) { look(rule); });
  }

  /// Reads a rule of the core for what it comes to; nothing for a fault.
  std::optional<Item> read(Rule const& rule) {
    PlainRules::Parsed& parsed = rules_.parsed(rule);
    const auto outside = [&](std::uint32_t place, Reader::Rows const& rows) {
      return named(rows.empty() ? parsed.names[place] : rules_.named(parsed.syntax, parsed.syntax.at(place), rows));
    };
    try {
      const Item item = Reader(parsed.syntax, outside, &parsed.seen, asked_of_tables).whole();
      if (!parsed.first)
        parsed.first = item;
      else if (!parsed.varies)
        parsed.varies = compared(*parsed.first, item) != 0;
      return item;
    } catch (Fault const&) {
      return std::nullopt;
    }
  }

 private:
  // Figures of memories come from their tables, as those of the device do.
  static std::optional<Item> asked_of_tables(std::string const& word, List const& arguments) {
    Function const* const function = memory_function(word);
    if (function == nullptr) return std::nullopt;
    std::vector<Value> values;
    std::vector<Cell> cells;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
      values.push_back(value_as(arguments[i], function->parameters[i]));
      cells.push_back(values.back().cell());
    }
    try {
      return item_of(function->call(nullptr, cells).cell());
    } catch (RuleFault const& fault) {
      throw Fault(fault.what());
    } catch (std::overflow_error const& fault) {
      throw Fault(fault.what());
    }
  }

  static std::optional<Item> typed(Type type, std::string const& text) {
    if (type.kind() == Kind::truth) {
      if (text == "1" || text == "true") return Item(true);
      return text == "0" || text == "false" ? std::optional(Item(false)) : std::nullopt;
    }
    if (type.kind() == Kind::text) return Item(text);
    const auto number = read_number(text);
    if (!number) return std::nullopt;
    if (type.kind() == Kind::decimal) return Item(*number);
    if (boost::multiprecision::denominator(*number) != 1) return std::nullopt;
    return Item(boost::multiprecision::numerator(*number));
  }

  static std::string text(Item const& item) {
    return item.index() == 0 ? (std::get<bool>(item) ? "1" : "0") : shown(item);
  }

  // --- what rules name

  std::optional<Item> named(PlainRules::Named const& name) {
    using What = PlainRules::Named::What;
    switch (name.what) {
      case What::value:
        return value_of(name.number);
      case What::user:
        return user_of(name.number);
      case What::given:
        return users_[name.number].has_value();
      case What::enabled:
        return is_enabled(name.number);
      case What::definition:
        return definition(name.number);
      case What::fact:
        return fact(name.number);
      default:
        return std::nullopt;
    }
  }

  Item user_of(std::uint32_t i) const {
    return users_[i] ? *users_[i] : item_of(core_.parameters()[i].default_value.cell());
  }

  Item fact(std::uint32_t i) const {
    Fact const& fact = core_.facts()[i];
    const auto told = facts_.find(fact.word);
    return told == facts_.end() ? item_of(fact.without.cell()) : typed(fact.type, told->second).value();
  }

  Item definition(std::uint32_t i) {
    if (!definitions_[i]) {
      Rule const& rule = core_.definitions()[i].rule;
      definitions_[i] = read(rule);
      if (!definitions_[i]) {
        ++other_faults_;
        definitions_[i] = nothing_of(rule.type());
      }
    }
    return *definitions_[i];
  }

  // What stands for a definition that has a fault.
  static Item nothing_of(Type type) {
    switch (type.kind()) {
      case Kind::truth:
        return false;
      case Kind::integer:
        return Integer(0);
      case Kind::decimal:
        return Fraction(0);
      case Kind::text:
        return std::string();
      case Kind::dictionary:
        return std::make_shared<Map>();
      default:
        return std::make_shared<List>();
    }
  }

  Item value_of(std::uint32_t i) {
    if (!values_[i]) {
      Parameter const& parameter = core_.parameters()[i];
      values_[i] =
          parameter.derived ? computed(*parameter.derived, i, [&] { return without_rule(i); }) : without_rule(i);
    }
    return *values_[i];
  }

  Item without_rule(std::uint32_t i) {
    const Found said = found(i);
    if (said.from == Found::From::search) return item_of(said.value.cell());
    return said.from == Found::From::nothing ? in_range(i, preset(i)) : plain(i);
  }

  Item preset(std::uint32_t i) const { return item_of(core_.parameters()[i].default_value.cell()); }
  Item plain(std::uint32_t i) {
    const Item user = user_of(i);
    return permits(i, user) ? user : in_range(i, preset(i));
  }
  bool is_left_to_user(std::uint32_t i) { return !core_.parameters()[i].derived && found(i).from == Found::From::user; }

  // A fault of a parameter's rule is told there.
  template <class Instead>
  Item computed(Rule const& rule, std::uint32_t i, Instead instead) {
    const auto item = read(rule);
    if (!item) ++faults_[i];
    return item ? *item : instead();
  }

  // --- ranges

  bool has_limits(std::uint32_t i) const {
    Parameter const& parameter = core_.parameters()[i];
    return parameter.limits() || (parameter.range && parameter.widget == Widget::edit && parameter.type.is_number());
  }

  List const& permitted(std::uint32_t i) {
    if (ranges_[i]) return *ranges_[i];
    Parameter const& parameter = core_.parameters()[i];
    auto all = std::make_shared<List>();
    if (parameter.range) {
      all = std::get<4>(computed(*parameter.range, i, [] { return Item(std::make_shared<List>()); }));
    } else if (parameter.limits()) {
      *all = {item_of(parameter.limits()->first.cell()), item_of(parameter.limits()->second.cell())};
    } else {
      for (std::string const& text : parameter.values()) all->push_back(*typed(parameter.type, text));
    }
    return *(ranges_[i] = all);
  }

  bool permits(std::uint32_t i, Item const& item) {
    List const& range = permitted(i);
    if (range.empty()) return true;
    if (has_limits(i)) return compared(range.front(), item) <= 0 && compared(item, range.back()) <= 0;
    for (Item const& one : range)
      if (compared(one, item) == 0) return true;
    return false;
  }

  Item in_range(std::uint32_t i, Item const& item) {
    if (permits(i, item)) return item;
    List const& range = permitted(i);
    return has_limits(i) && compared(item, range.back()) > 0 ? range.back() : range.front();
  }

  // --- searches

  Found const& found(std::uint32_t i) {
    const auto search = core_.parameters()[i].search;
    if (search) searched(*search);
    return found_[i];
  }

  Findings const& searched(std::uint32_t number) {
    auto const& known = findings_.find(number);
    if (known != findings_.end()) return *known->second;
    SearchSection const& search = *core_.searches()[number];
    // What it declares to read, and nothing behind that.
    std::vector<Value> slots(core_.slot_count()), inputs;
    std::vector<Cell> cells(core_.slot_count());
    const std::set<std::uint32_t> reads(search.reads.begin(), search.reads.end());
    for (const std::uint32_t slot : reads) {
      if (slot < core_.slot_count()) {
        slots[slot] = slot_value(slot);
        cells[slot] = slots[slot].cell();
        inputs.push_back(slots[slot]);
      } else {
        const std::uint32_t parameter = slot - core_.slot_count();
        inputs.push_back(
            value_as(std::make_shared<List>(permitted(parameter)), *Type::list_of(core_.parameters()[parameter].type)));
      }
    }
    PlainRules::Asked& asked = rules_.asked(number);
    if (!asked.findings || asked.inputs != inputs) {
      const auto is_declared = [&](std::uint32_t parameter, bool user) {
        const bool has_range = !core_.parameters()[parameter].range || reads.contains(core_.range_slot(parameter));
        if (!has_range || (user && !reads.contains(Core::slot(parameter, Core::kUser))))
          throw std::logic_error("a search reads of " + core_.parameters()[parameter].name +
                                 " what it does not declare");
      };
      Machine machine;
      asked.fault.clear();
      try {
        asked.findings = search.run({machine, cells,
                                     [&](std::uint32_t parameter, Value const& value) {
                                       is_declared(parameter, false);
                                       return permits(parameter, item_of(value.cell()));
                                     },
                                     [&](std::uint32_t parameter) {
                                       is_declared(parameter, true);
                                       return value_as(plain(parameter), core_.parameters()[parameter].type);
                                     },
                                     nullptr});
      } catch (RuleFault const& fault) {
        auto nothing = std::make_shared<Findings>();
        nothing->values.assign(search.writes.size(), {Found::From::nothing, {}});
        asked = {{}, nothing, fault.what()};
      }
      asked.inputs = inputs;
    }
    if (!asked.fault.empty()) ++other_faults_;
    for (std::size_t w = 0; w < search.writes.size(); ++w) found_[search.writes[w]] = asked.findings->values.at(w);
    return *findings_.emplace(number, asked.findings).first->second;
  }

  Value slot_value(std::uint32_t slot) {
    if (slot >= core_.definition_slot(0)) {
      const std::uint32_t number = slot - core_.definition_slot(0);
      return value_as(definition(number), core_.definitions()[number].rule.type());
    }
    if (slot >= core_.fact_slot(0))
      return value_as(fact(slot - core_.fact_slot(0)), core_.facts()[slot - core_.fact_slot(0)].type);
    const std::uint32_t i = slot / Core::kSlots;
    const Type type = core_.parameters()[i].type;
    switch (slot % Core::kSlots) {
      case Core::kValue:
        return value_as(value_of(i), type);
      case Core::kUser:
        return value_as(user_of(i), type);
      case Core::kGiven:
        return Value(users_[i].has_value());
      default:
        return Value(is_enabled(i));
    }
  }

  static Value value_as(Item const& item, Type type) {
    switch (type.kind()) {
      case Kind::truth:
        return Value(std::get<bool>(item));
      case Kind::integer:
        return Value(static_cast<std::int64_t>(std::get<Integer>(item)));
      case Kind::decimal:
        return Value(*Decimal::read(shown(item)));
      case Kind::text:
        return Value(std::get<std::string>(item));
      case Kind::dictionary: {
        std::map<std::string, Value> entries;
        for (auto const& [key, value] : *std::get<5>(item)) entries.emplace(key, value_as(value, type.element()));
        return Value::dictionary(entries);
      }
      default: {
        std::vector<Value> elements;
        for (Item const& element : *std::get<4>(item)) elements.push_back(value_as(element, type.element()));
        return Value::list(elements);
      }
    }
  }

  PlainRules& rules_;
  Core const& core_;
  Facts facts_;
  std::vector<std::optional<std::string>> given_;
  std::vector<std::optional<Item>> users_;  ///< what was given, where it is a value
  std::vector<std::optional<Item>> values_;
  std::vector<std::optional<bool>> enabled_;
  std::vector<std::shared_ptr<List>> ranges_;
  std::vector<std::optional<Item>> definitions_;
  std::vector<Found> found_;
  std::map<std::uint32_t, std::shared_ptr<Findings const>> findings_;
  std::vector<int> faults_;
  int other_faults_ = 0;
};

}  // namespace plain_rules
