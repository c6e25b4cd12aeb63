#include "kdi/corepages/Reference.h"

#include <algorithm>
#include <set>
#include <string_view>

#include "kdi/common/KdiText.h"
#include "kdi/cores/ClockSection.h"
#include "kdi/cores/Explain.h"
#include "kdi/cores/PadSection.h"
#include "kdi/cores/RuleWords.h"

namespace kdi::corepages {
namespace {

using cores::Core;
using cores::Parameter;
using cores::Rule;

std::string page_of(Core const& core) { return core.name() + "-" + core.version() + ".md"; }

// As Markdown shows it: signs of its own are escaped.
std::string plain(std::string_view text) {
  constexpr std::string_view kSigns = "\\`*[]<>#|&";
  const auto is_within_word = [&](std::size_t at) {
    return at > 0 && at + 1 < text.size() && text::is_letter_or_digit(text[at - 1]) && text[at + 1] != ' ';
  };
  std::string all;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    const bool is_sign = kSigns.find(c) != std::string_view::npos || (c == '_' && !is_within_word(i));
    if (is_sign) all += '\\';
    all += c == '\n' ? ' ' : c;
  }
  return all;
}

std::string code(std::string_view text) {
  if (text.empty()) return "(empty)";
  const bool has_tick = text.find('`') != std::string_view::npos;
  return (has_tick ? "`` " : "`") + std::string(text) + (has_tick ? " ``" : "`");
}

std::string anchor(std::string_view heading) { return text::lowered(heading); }

std::string codes(std::vector<std::string> const& texts) {
  std::string all;
  for (std::string const& one : texts) all += (all.empty() ? "" : ", ") + code(one);
  return all;
}

// The entries of one core, by the names of their parameters. Names in rules are links that lead by page_of_ each.
class Entries {
 public:
  // `home` is where a parameter is told, by its name.
  using Home = std::map<std::string, std::string, std::less<>>;
  Entries(Core const& core, Home const& home) : core_(core), home_(home), page_(page_of(core)) {}

  std::string entry(Parameter const& one) const {
    std::string text = "### " + one.name + "\n\n";
    if (!one.display_name.empty())
      text += "**" + plain(one.display_name) + "**" + (one.description.empty() ? "\n\n" : ": ");
    if (!one.description.empty()) text += plain(one.description) + "\n\n";
    text += "- Type " + one.type.text() + ", default " + code(cores::value_text(one.default_value));
    if (one.skips) text += "; reads `SKIP` while disabled";
    text += "\n";
    if (!one.values.empty()) text += "- Permitted: " + codes(one.values) + "\n";
    if (one.limits)
      text += "- Permitted: " + code(cores::value_text(one.limits->first)) + " to " +
              code(cores::value_text(one.limits->second)) + "\n";
    if (one.enabled) text += rule("Enabled while", *one.enabled, Rule::Said::condition);
    if (one.range)
      text += rule("Range", *one.range, one.widget == cores::Widget::edit ? Rule::Said::limits : Rule::Said::value);
    if (one.derived) text += rule("Value", *one.derived, Rule::Said::value);
    if (one.search)
      text += "- Value: found by the search of " + std::string(core_.searches()[*one.search]->name()) + "\n";
    if (!one.user_names.empty()) text += "- Also called " + codes(one.user_names) + "\n";
    for (cores::Message const& message : one.messages)
      text += "- Message " + code(message.name) + " (" + severity(message.severity) + "), " +
              linked(message.when.in_words(Rule::Said::condition)) + ": " + linked(cores::message_words(message.text)) +
              "  \n  " + code(message.when.written()) + "\n";
    return text + "\n";
  }

  std::string link(std::string_view name) const {
    const auto home = home_.find(name);
    if (home == home_.end()) return plain(name);
    return "[" + plain(name) + "](" + (home->second == page_ ? "" : home->second) + "#" + anchor(name) + ")";
  }
  std::string link(std::uint32_t number) const { return link(core_.parameters()[number].name); }
  std::string link(std::optional<std::uint32_t> const& number) const { return number ? link(*number) : std::string(); }

  std::string linked(std::string_view words) const {
    std::string all;
    const auto is_word = [](char c) { return text::is_letter_or_digit(c) || c == '_'; };
    for (std::size_t at = 0; at < words.size();) {
      std::size_t end = at;
      while (end < words.size() && is_word(words[end])) ++end;
      const bool is_name = end > at;
      if (!is_name)
        while (end < words.size() && !is_word(words[end])) ++end;
      all += is_name ? link(words.substr(at, end - at)) : plain(words.substr(at, end - at));
      at = end;
    }
    return all;
  }

 private:
  static std::string severity(cores::Severity severity) {
    std::string name(cores::name_of(severity));
    std::replace(name.begin(), name.end(), '_', ' ');
    return name;
  }
  std::string rule(std::string const& what, Rule const& rule, Rule::Said said) const {
    return "- " + what + ": " + linked(rule.in_words(said)) + "  \n  " + code(rule.written()) + "\n";
  }

  Core const& core_;
  Home const& home_;
  std::string page_;
};

class Page {
 public:
  Page(Core const& core, Entries::Home const& home) : core_(core), entries_(core, home) {}

  std::string whole(std::vector<std::shared_ptr<Core const>> const& earlier) const {
    std::string text = "# " + core_.name() + " " + core_.version() + "\n\n" +
                       std::to_string(core_.parameters().size()) + " parameters. [All cores](README.md)\n\n";
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
                       plain(newest.version()) + "](" + page_of(newest) +
                       ") but for what stands here. [All cores](README.md)\n\n";
    std::string missing;
    for (Parameter const& one : newest.parameters())
      if (!core_.find(one.name)) missing += "- " + entries_.link(one.name) + "\n";
    if (!missing.empty()) text += "## Not there yet\n\n" + missing + "\n";
    const Entries theirs(newest, none());
    const Entries ours(core_, none());
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
    const Entries theirs(newest, none()), ours(core, none());
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

  std::string parameters() const {
    std::vector<std::string> groups;
    for (Parameter const& one : core_.parameters())
      if (std::find(groups.begin(), groups.end(), one.group) == groups.end()) groups.push_back(one.group);
    std::string text;
    for (std::string const& group : groups) {
      text += "## " + plain(group.empty() ? "Parameters" : group) + "\n\n";
      for (Parameter const& one : core_.parameters())
        if (one.group == group) text += entries_.entry(one);
    }
    return text;
  }

  std::string sub_cores() const {
    if (core_.sub_cores().empty()) return "";
    std::string text = "## Cores within\n\n| Name | Core |\n|---|---|\n";
    for (cores::SubCore const& one : core_.sub_cores())
      text += "| " + plain(one.name) + " | [" + plain(one.core) + " " + plain(one.version) + "](" + one.core + "-" +
              one.version + ".md) |\n";
    return text + "\n";
  }

  std::string composites() const {
    if (core_.composites().empty()) return "";
    std::string text = "## Texts that hold parameters\n\n| Text | All values | Members |\n|---|---|---|\n";
    for (cores::Composite const& one : core_.composites())
      text += "| " + entries_.link(one.parameter) + " | " + entries_.link(one.internal) + " | " +
              (one.sub_core.empty() ? std::to_string(one.members.size()) + " parameters"
                                    : "all of " + plain(one.sub_core)) +
              " |\n";
    return text + "\n";
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
      "whole, an earlier one by what is otherwise.\n\n| Core | Versions | Parameters |\n|---|---|---|\n";
  for (auto const& [name, versions] : by_name) {
    Core const& newest = *versions.back();
    Entries::Home home;
    for (Parameter const& one : newest.parameters()) home[one.name] = page_of(newest);
    std::string links;
    for (auto const& one : versions) {
      links += (links.empty() ? "[" : ", [") + plain(one->version()) + "](" + page_of(*one) + ")";
      if (one == versions.back()) continue;
      Entries::Home own = home;
      for (std::string const& told : Page::told(*one, newest)) own[told] = page_of(*one);
      pages[page_of(*one)] = Page(*one, own).differences(newest);
    }
    pages[page_of(newest)] = Page(newest, home).whole({versions.begin(), versions.end() - 1});
    list += "| " + plain(name) + " | " + links + " | " + std::to_string(newest.parameters().size()) + " |\n";
  }
  pages["README.md"] = list;
  return pages;
}

}  // namespace kdi::corepages
