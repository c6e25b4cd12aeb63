// What an instance of a core should be: everything computed from the user's values anew, by asking for what each rule
// needs and reading that rule plainly. Shares with the library the description that was read, and the parser.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "kdi/cores/Instance.h"
#include "tests/support/random_rules.h"

namespace plain_rules {

class PlainCore {
 public:
  PlainCore(Core const& core, std::vector<std::optional<std::string>> given, Facts facts = {})
      : core_(core), given_(std::move(given)), facts_(std::move(facts)) {}

  bool is_enabled(std::uint32_t i) { return std::get<bool>(aspect("enabled", i)); }

  std::string backup(std::uint32_t i) {
    if (!core_.parameters()[i].derived && given_[i]) return *given_[i];
    return text(of(core_.parameters()[i].name));
  }
  std::string value(std::uint32_t i) { return core_.parameters()[i].skips && !is_enabled(i) ? "SKIP" : backup(i); }
  std::vector<std::string> range(std::uint32_t i) {
    std::vector<std::string> texts;
    for (Item const& item : permitted(i)) texts.push_back(text(item));
    return texts;
  }

  /// Names of the messages that are due, with their texts.
  std::vector<std::pair<std::string, std::string>> messages(std::uint32_t i) {
    Parameter const& parameter = core_.parameters()[i];
    std::vector<std::pair<std::string, std::string>> due;
    is_enabled(i);
    permitted(i);
    of(parameter.name);
    std::vector<bool> holds;
    int faults = faults_[i];
    for (Message const& message : parameter.messages) {
      const auto condition = read(message.when);
      holds.push_back(condition && std::get<bool>(*condition));
      faults += !condition;
    }
    for (int f = 0; f < faults; ++f) due.emplace_back("rule", "");
    const auto shown = typed(parameter.type, backup(i));
    if (is_enabled(i) && (!shown || !permits(i, *shown))) due.emplace_back("range", "");
    for (std::size_t m = 0; m < parameter.messages.size(); ++m)
      if (holds[m]) {
        const auto words = read_template(parameter.messages[m].text);
        due.emplace_back(parameter.messages[m].name, words ? std::get<std::string>(*words) : "(fault)");
      }
    return due;
  }

 private:
  static std::optional<Item> typed(Type type, std::string const& text) {
    const auto value = read_value(type, text);
    return value ? std::optional(item_of(value->cell())) : std::nullopt;
  }

  static std::string text(Item const& item) {
    return item.index() == 0 ? (std::get<bool>(item) ? "1" : "0") : shown(item);
  }

  // --- what rules name

  Item aspect(std::string const& which, std::uint32_t i) {
    Parameter const& parameter = core_.parameters()[i];
    const auto user = given_[i] ? typed(parameter.type, *given_[i]) : std::nullopt;
    if (which == "given") return user.has_value();
    if (which == "user") return user ? *user : item_of(parameter.default_value.cell());
    if (!parameter.enabled) return true;
    return remembered("enabled(" + parameter.name + ")", i, *parameter.enabled, [] { return Item(false); });
  }

  Item of(std::string const& name) {
    const auto number = core_.find(name);
    if (!number) {
      for (Definition const& definition : core_.definitions())
        if (definition.name == name) return *read(definition.rule);  // made so that they have no faults
      throw std::logic_error("no such name: " + name);
    }
    Parameter const& parameter = core_.parameters()[*number];
    const auto plain = [&] {
      const Item user = aspect("user", *number);
      return permits(*number, user) ? user : in_range(*number, item_of(parameter.default_value.cell()));
    };
    return parameter.derived ? remembered(name, *number, *parameter.derived, plain) : plain();
  }

  template <class Instead>
  Item remembered(std::string const& name, std::uint32_t i, Rule const& rule, Instead instead) {
    if (const auto known = known_.find(name); known != known_.end()) return known->second;
    const auto computed = read(rule);
    if (!computed) ++faults_[i];
    return known_.emplace(name, computed ? *computed : instead()).first->second;
  }

  std::optional<Item> read(Rule const& rule) { return read(parse(rule.written())); }
  // A template is written as the call that it stands for.
  std::optional<Item> read_template(Rule const& rule) { return read(parse(rule.written())); }

  std::optional<Item> read(Syntax const& syntax) {
    std::map<std::string, Item> names;
    for (Expression const& node : syntax.nodes) {
      const bool is_aspect = node.form == Form::call && node.parts.size() == 1 &&
                             syntax.at(node.parts[0]).form == Form::name &&
                             (node.word == "user" || node.word == "given" || node.word == "enabled");
      if (is_aspect) {
        std::string const& name = syntax.at(node.parts[0]).word;
        names.emplace(node.word + "(" + name + ")", aspect(node.word, *core_.find(name)));
      }
    }
    for (Expression const& node : syntax.nodes)
      if (node.form == Form::call && node.word == "device") {
        std::string const& word = syntax.at(node.parts[0]).value.cell().text();
        const auto told = facts_.find(word);
        Fact const& fact = core_.facts()[*core_.find_fact(word)];
        names.emplace("device(" + word + ")",
                      told == facts_.end() ? item_of(fact.without.cell()) : *typed(fact.type, told->second));
      }
    // Names within aspects are not read for their value, which may be what is being computed.
    std::vector<bool> within(syntax.nodes.size());
    for (Expression const& node : syntax.nodes)
      if (node.form == Form::call && (node.word == "user" || node.word == "given" || node.word == "enabled"))
        within[node.parts[0]] = true;
    for (std::size_t n = 0; n < syntax.nodes.size(); ++n) {
      Expression const& node = syntax.nodes[n];
      if (node.form != Form::name || within[n] || !is_known(node.word)) continue;
      names.emplace(node.word, of(node.word));
    }
    try {
      return Reader(syntax, names).whole();
    } catch (Fault const&) {
      return std::nullopt;
    }
  }

  bool is_known(std::string const& name) const {
    if (core_.find(name)) return true;
    for (Definition const& definition : core_.definitions())
      if (definition.name == name) return true;
    return false;
  }

  // --- ranges

  bool has_limits(std::uint32_t i) const {
    Parameter const& parameter = core_.parameters()[i];
    return parameter.limits || (parameter.range && parameter.widget == Widget::edit && parameter.type.is_number());
  }

  List permitted(std::uint32_t i) {
    Parameter const& parameter = core_.parameters()[i];
    List all;
    if (parameter.range) {
      const Item range =
          remembered("range of " + parameter.name, i, *parameter.range, [] { return Item(std::make_shared<List>()); });
      return *std::get<4>(range);
    }
    if (parameter.limits) return {item_of(parameter.limits->first.cell()), item_of(parameter.limits->second.cell())};
    for (std::string const& text : parameter.values) all.push_back(*typed(parameter.type, text));
    return all;
  }

  bool permits(std::uint32_t i, Item const& item) {
    const List range = permitted(i);
    if (range.empty()) return true;
    if (has_limits(i)) return compared(range.front(), item) <= 0 && compared(item, range.back()) <= 0;
    for (Item const& one : range)
      if (compared(one, item) == 0) return true;
    return false;
  }

  Item in_range(std::uint32_t i, Item const& item) {
    if (permits(i, item)) return item;
    const List range = permitted(i);
    return has_limits(i) && compared(item, range.back()) > 0 ? range.back() : range.front();
  }

  Core const& core_;
  std::vector<std::optional<std::string>> given_;
  Facts facts_;
  std::map<std::string, Item> known_;
  std::map<std::uint32_t, int> faults_;
};

}  // namespace plain_rules
