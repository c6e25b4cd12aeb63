#include "kdi/corepages/Reference.h"

#include <algorithm>
#include <set>
#include <string_view>

#include "kdi/common/KdiText.h"
#include "kdi/cores/ClockSection.h"
#include "kdi/cores/Explain.h"
#include "kdi/cores/PadSection.h"
#include "kdi/cores/RuleWords.h"
#include "platform/corepages/markdown.h"
#include "platform/corepages/register_pages.h"

namespace kdi::corepages {
namespace {

using cores::Core;
using cores::Parameter;
using cores::Rule;

// The entries of one core, with links on the names in rules.
class Entries : public NameLinks {
 public:
  /// `held` is where registers hold a parameter, by its name.
  Entries(Core const& core, Home const& home, RegisterLinks const& held)
      : NameLinks(core, home, page_of(core)), held_(held) {}

  std::string entry(Parameter const& one) const {
    std::string text = "### " + one.name + "\n\n";
    if (!one.display_name().empty())
      text += "**" + plain(one.display_name()) + "**" + (one.description().empty() ? "\n\n" : ": ");
    if (!one.description().empty()) text += plain(one.description()) + "\n\n";
    text += "- Type " + one.type.text() + ", default " + code(cores::value_text(one.default_value));
    if (one.skips) text += "; reads `SKIP` while disabled";
    text += "\n";
    if (!one.values().empty()) text += "- Permitted: " + codes(one.values()) + "\n";
    if (one.limits())
      text += "- Permitted: " + code(cores::value_text(one.limits()->first)) + " to " +
              code(cores::value_text(one.limits()->second)) + "\n";
    if (one.enabled) text += rule("Enabled while", *one.enabled, Rule::Said::condition);
    if (one.range)
      text += rule("Range", *one.range, one.widget == cores::Widget::edit ? Rule::Said::limits : Rule::Said::value);
    if (one.derived) text += rule("Value", *one.derived, Rule::Said::value);
    if (one.search)
      text += "- Value: found by the search of " + std::string(core_.searches()[*one.search]->name()) + "\n";
    if (!one.user_names().empty()) text += "- Also called " + codes(one.user_names()) + "\n";
    for (cores::Message const& message : one.messages())
      text += "- Message " + code(message.name) + " (" + severity(message.severity) + "), " +
              linked(message.when.in_words(Rule::Said::condition)) + ": " + linked(cores::message_words(message.text)) +
              "  \n  " + code(message.when.written()) + "\n";
    if (const auto held = held_.find(one.name); held != held_.end()) text += "- Registers: " + held->second + "\n";
    return text + "\n";
  }

  bool has_registers() const { return !held_.empty(); }

 private:
  static std::string severity(cores::Severity severity) {
    std::string name(cores::name_of(severity));
    std::replace(name.begin(), name.end(), '_', ' ');
    return name;
  }
  std::string rule(std::string const& what, Rule const& rule, Rule::Said said) const {
    return "- " + what + ": " + linked(rule.in_words(said)) + "  \n  " + code(rule.written()) + "\n";
  }

  RegisterLinks const& held_;
};

class Page {
 public:
  Page(Core const& core, Entries::Home const& home, RegisterLinks const& held)
      : core_(core), entries_(core, home, held) {}

  std::string whole(std::vector<std::shared_ptr<Core const>> const& earlier) const {
    std::string text = "# " + core_.name() + " " + core_.version() + "\n\n" +
                       std::to_string(core_.parameters().size()) + " parameters. " + registers_link() +
                       "[All cores](README.md)\n\n";
    if (!earlier.empty()) {
      text += "Earlier versions:";
      for (auto const& one : earlier) text += " [" + plain(one->version()) + "](" + page_of(*one) + ")";
      text += "\n\n";
    }
    text += sub_cores() + composites() + presets() + clocks() + pads() + definitions();
    return text + parameters();
  }

  std::string differences(Core const& newest) const {
    std::string text = "# " + core_.name() + " " + core_.version() + "\n\n" +
                       std::to_string(core_.parameters().size()) + " parameters. It is as [" + newest.name() + " " +
                       plain(newest.version()) + "](" + page_of(newest) + ") but for what stands here. " +
                       registers_link() + "[All cores](README.md)\n\n";
    std::string missing;
    for (Parameter const& one : newest.parameters())
      if (!core_.find(one.name)) missing += "- " + entries_.link(one.name) + "\n";
    if (!missing.empty()) text += "## Not there yet\n\n" + missing + "\n";
    const Entries theirs(newest, none(), unheld());
    const Entries ours(core_, none(), unheld());
    std::string other;
    for (Parameter const& one : core_.parameters()) {
      const auto number = newest.find(one.name);
      if (!number || theirs.entry(newest.parameters()[*number]) != ours.entry(one)) other += entries_.entry(one);
    }
    if (!other.empty()) text += "## Otherwise, or gone since\n\n" + other;
    return text;
  }

  /// The parameters that differences() tells of.
  static std::vector<std::string> told(Core const& core, Core const& newest) {
    const Entries theirs(newest, none(), unheld()), ours(core, none(), unheld());
    std::vector<std::string> names;
    for (Parameter const& one : core.parameters()) {
      const auto number = newest.find(one.name);
      if (!number || theirs.entry(newest.parameters()[*number]) != ours.entry(one)) names.push_back(one.name);
    }
    return names;
  }

 private:
  static Entries::Home const& none() {
    static const Entries::Home empty;
    return empty;
  }

  // Where registers hold them does not tell versions apart: their own pages do.
  static RegisterLinks const& unheld() {
    static const RegisterLinks empty;
    return empty;
  }

  std::string registers_link() const {
    return entries_.has_registers() ? "[Registers](" + registers_page_of(core_) + ") " : std::string();
  }

  std::string parameters() const {
    std::vector<std::string> groups;
    for (Parameter const& one : core_.parameters())
      if (std::find(groups.begin(), groups.end(), one.group()) == groups.end()) groups.push_back(one.group());
    std::string text;
    for (std::string const& group : groups) {
      text += "## " + plain(group.empty() ? "Parameters" : group) + "\n\n";
      for (Parameter const& one : core_.parameters())
        if (one.group() == group) text += entries_.entry(one);
    }
    return text;
  }

  std::string sub_cores() const {
    if (core_.sub_cores().empty()) return "";
    std::string text = "## Cores within\n\n| Name | Core |\n|---|---|\n";
    for (cores::SubCore const& one : core_.sub_cores()) {
      std::string links;
      for (cores::SubCore::Described const& may_be : kinds_of(one))
        links += (links.empty() ? "[" : ", or [") + plain(may_be.core) + " " + plain(may_be.version) + "](" +
                 may_be.core + "-" + may_be.version + ".md)";
      text += "| " + plain(one.name) + " | " + links + " |\n";
    }
    return text + "\n";
  }

  std::string composites() const {
    if (core_.composites().empty()) return "";
    std::string text = "## Texts that hold parameters\n\n| Text | All values | Members |\n|---|---|---|\n";
    for (cores::Composite const& one : core_.composites())
      text +=
          "| " + entries_.link(one.parameter) + " | " + entries_.link(one.internal) + " | " + members_of(one) + " |\n";
    return text + "\n";
  }

  static std::string members_of(cores::Composite const& one) {
    std::string own = std::to_string(one.members.size()) + " parameters";
    if (one.sub_core.empty()) return own;
    return (one.members.empty() ? "" : own + ", and ") + "all of " + plain(one.sub_core);
  }

  // What it may be, by device.
  static std::vector<cores::SubCore::Described> kinds_of(cores::SubCore const& one) {
    return one.first_of.empty() ? std::vector<cores::SubCore::Described>{{one.core, one.version}} : one.first_of;
  }

  std::string settings(std::vector<cores::PresetValue> const& all) const {
    std::string text;
    for (cores::PresetValue const& one : all)
      text += (text.empty() ? "" : ", ") + entries_.link(one.parameter) + " " + code(one.text);
    return text;
  }

  std::string presets() const {
    std::string text;
    const auto table = [&](std::string const& title, std::vector<cores::Preset> const& all) {
      if (all.empty()) return;
      text += "## " + title + "\n\n| Name | What it is | Settings |\n|---|---|---|\n";
      for (cores::Preset const& one : all)
        text += "| " + plain(one.name) + " | " + plain(one.description) + " | " + settings(one.settings) + " |\n";
      text += "\n";
    };
    table("Presets", core_.presets().presets);
    table("Boards", core_.presets().boards);
    for (cores::SubPreset const& one : core_.presets().sub_presets) table("Choices of " + one.name, one.choices);
    return text;
  }

  std::string clocks() const {
    const auto section = core_.clocks();
    if (section == nullptr) return "";
    std::string text = "## How clocks are made\n\n| Reference | MHz |\n|---|---|\n";
    for (auto const& one : section->references)
      text += "| " + plain(one.name) + " | " + entries_.linked(one.mhz.in_words(Rule::Said::value)) + " |\n";
    text += "\n| PLL | From | Oscillator, MHz | Shown by |\n|---|---|---|---|\n";
    for (auto const& one : section->plls)
      text += "| " + plain(one.name) + " | " + names(one.references) + " | " +
              entries_.linked(one.vco_least.in_words(Rule::Said::value)) + " to " +
              entries_.linked(one.vco_most.in_words(Rule::Said::value)) + " | " +
              entries_.link(one.feedback.parameter) + " |\n";
    text += "\n| Clock | Requested | From | Actual |\n|---|---|---|---|\n";
    for (auto const& one : section->clocks)
      text += "| " + plain(one.name) + " | " + entries_.linked(one.requested.in_words(Rule::Said::value)) + " | " +
              names(one.sources) + " | " + entries_.link(one.actual) + " |\n";
    return text + "\n";
  }

  static std::string names(std::vector<cores::NamedChoice> const& all) {
    std::string text;
    for (cores::NamedChoice const& one : all) text += (text.empty() ? "" : ", ") + plain(one.name);
    return text;
  }

  std::string pads() const {
    const auto section = core_.pads();
    if (section == nullptr) return "";
    std::string text = "## Who sits on which pads\n\n| Function | Set by | Seats |\n|---|---|---|\n";
    for (cores::DescribedFunction const& one : section->functions) {
      std::string seats;
      for (cores::PadGroup const& group : one.groups) seats += (seats.empty() ? "" : ", ") + code(group.text);
      text += "| " + plain(one.name) + " | " + entries_.link(one.parameter) + " | " + seats + " |\n";
    }
    return text + "\n";
  }

  std::string definitions() const {
    if (core_.definitions().empty()) return "";
    std::string text = "## Names that rules share\n\n";
    for (cores::Definition const& one : core_.definitions())
      text += "- " + code(one.name) + ": " +
              entries_.linked(one.rule.in_words(
                  one.rule.type() == cores::Type(cores::Kind::truth) ? Rule::Said::condition : Rule::Said::value)) +
              "  \n  " + code(one.rule.written()) + "\n";
    return text + "\n";
  }

  Core const& core_;
  Entries entries_;
};

}  // namespace

std::map<std::string, std::string> reference_pages(std::vector<std::shared_ptr<Core const>> const& cores) {
  std::map<std::string, std::vector<std::shared_ptr<Core const>>> by_name;  // oldest first, as they come
  for (auto const& core : cores) by_name[core->name()].push_back(core);
  std::map<std::string, std::string> pages;
  std::string list =
      "# Cores\n\nAll that the descriptions of cores say, with rules in words. The newest version of each is told "
      "whole, an earlier one by what is otherwise.\n\n| Core | Versions | Parameters | Registers "
      "|\n|---|---|---|---|\n";
  for (auto const& [name, versions] : by_name) {
    Core const& newest = *versions.back();
    NameLinks::Home home;
    for (Parameter const& one : newest.parameters()) home[one.name] = page_of(newest);
    const RegisterPages registers(versions);
    std::string links;
    for (auto const& one : versions) {
      links += (links.empty() ? "[" : ", [") + plain(one->version()) + "](" + page_of(*one) + ")";
      NameLinks::Home own = home;
      if (one != versions.back())
        for (std::string const& told : Page::told(*one, newest)) own[told] = page_of(*one);
      const RegisterLinks held = registers.links(*one);
      const Page page(*one, own, held);
      pages[page_of(*one)] =
          one == versions.back() ? page.whole({versions.begin(), versions.end() - 1}) : page.differences(newest);
      if (!held.empty()) pages[registers_page_of(*one)] = registers.page(*one, own);
    }
    const std::size_t count = registers.count();
    list += "| " + plain(name) + " | " + links + " | " + std::to_string(newest.parameters().size()) + " | " +
            (count == 0 ? "" : "[" + std::to_string(count) + "](" + registers_page_of(newest) + ")") + " |\n";
  }
  pages["README.md"] = list;
  return pages;
}

}  // namespace kdi::corepages
