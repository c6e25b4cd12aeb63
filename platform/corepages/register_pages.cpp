#include "platform/corepages/register_pages.h"

#include <algorithm>
#include <set>

#include "kdi/common/KdiNumber.h"
#include "kdi/common/KdiText.h"
#include "kdi/cores/PadSection.h"

namespace kdi::corepages {
namespace {

using cores::Core;
using cores::Register;
using cores::RegisterField;
using cores::RegisterMap;
using cores::RegisterSequence;
using cores::RegisterStep;
using cores::Rule;

std::string hex(std::uint32_t word) { return code("0x" + number::hexadecimal(word, 8)); }

// `UART0 CONTROL`: a heading without the point, which links leave out.
std::string heading(RegisterMap const& map, std::uint32_t number) {
  Register const& reg = map.registers()[number];
  return map.blocks()[reg.block].name + " " + reg.name;
}

std::string bits(RegisterField const& field) {
  const std::string low = std::to_string(field.low);
  return field.width == 1 ? low : std::to_string(field.low + field.width - 1) + ":" + low;
}

// The entries of the registers of one core.
class Entries {
 public:
  Entries(Core const& core, RegisterMap const& map, NameLinks const& parameters)
      : core_(core), map_(map), parameters_(parameters) {}

  std::string entry(std::uint32_t number) const {
    Register const& reg = map_.registers()[number];
    std::string text = "### " + heading(map_, number) + "\n\n" + code(map_.name(number)) + " at " + hex(reg.address) +
                       ", " + hex(reg.reset) + " after a reset: " + plain(reg.meaning) +
                       "\n\n| Bits | Field | Reset | Meaning | What it holds |\n|---|---|---|---|---|\n";
    for (RegisterField const& field : reg.fields)
      text += "| " + bits(field) + " | " + code(field.name) + " | " + std::to_string(field.reset) + " | " +
              plain(field.meaning) + " | " + held(field) + " |\n";
    return text + "\n";
  }

  std::string rule(Rule const& rule) const {
    const bool is_truth = rule.type() == cores::Type(cores::Kind::truth);
    return (is_truth ? "1 while " : "") +
           parameters_.linked(rule.in_words(is_truth ? Rule::Said::condition : Rule::Said::value));
  }
  std::string condition(std::optional<Rule> const& rule) const {
    return rule ? ", while " + parameters_.linked(rule->in_words(Rule::Said::condition)) : std::string();
  }
  std::string parameter(std::uint32_t number) const { return parameters_.link(number); }

 private:
  std::string held(RegisterField const& field) const {
    if (field.pad) return "who sits on " + plain(core_.pads()->pad_name(field.pad->second));
    return field.value ? rule(*field.value) : "what steps say, else as after a reset";
  }

  Core const& core_;
  RegisterMap const& map_;
  NameLinks const& parameters_;
};

}  // namespace

struct RegisterPages::Version {
  explicit Version(std::shared_ptr<Core const> described) : core(std::move(described)), map(RegisterMap::of(core)) {}

  std::shared_ptr<Core const> core;
  std::shared_ptr<RegisterMap const> map;
  NameLinks::Home home;                  // where each register is told, by its heading
  std::vector<std::uint32_t> otherwise;  // registers that are told here; of the newest all
};

RegisterPages::RegisterPages(std::vector<std::shared_ptr<Core const>> const& versions) {
  for (auto const& core : versions) versions_.push_back(std::make_unique<Version>(core));
  Version const& newest = *versions_.back();
  static const NameLinks::Home nowhere;
  const NameLinks theirs(*newest.core, nowhere, "");
  const Entries newest_entries(*newest.core, *newest.map, theirs);
  for (auto const& one : versions_) {
    const NameLinks ours(*one->core, nowhere, "");
    const Entries entries(*one->core, *one->map, ours);
    for (std::uint32_t number = 0; number < one->map->registers().size(); ++number) {
      const auto there = newest.map->find(one->map->name(number));
      const bool is_same = one != versions_.back() && there && newest_entries.entry(*there) == entries.entry(number);
      if (!is_same) one->otherwise.push_back(number);
      one->home[heading(*one->map, number)] = registers_page_of(is_same ? *newest.core : *one->core);
    }
  }
}

RegisterPages::~RegisterPages() = default;

RegisterPages::Version const& RegisterPages::version(Core const& core) const {
  return **std::find_if(versions_.begin(), versions_.end(), [&](auto const& one) { return one->core.get() == &core; });
}

std::size_t RegisterPages::count() const { return versions_.back()->map->registers().size(); }

RegisterLinks RegisterPages::links(Core const& core) const {
  Version const& one = version(core);
  const NameLinks registers(core, one.home, page_of(core));
  RegisterLinks links;
  for (std::uint32_t number = 0; number < one.map->registers().size(); ++number) {
    std::map<std::uint32_t, std::string> fields;
    for (RegisterField const& field : one.map->registers()[number].fields)
      for (const std::uint32_t parameter : field.parameters)
        fields[parameter] += (fields[parameter].empty() ? "" : ", ") + code(field.name);
    for (auto const& [parameter, names] : fields) {
      std::string& line = links[core.parameters()[parameter].name];
      line += (line.empty() ? "" : "; ") + registers.link(heading(*one.map, number)) + " " + names;
    }
  }
  return links;
}

namespace {

// The rest of a page, which is told of each version: it is short.
class Lists {
 public:
  Lists(Core const& core, RegisterMap const& map, Entries const& entries, NameLinks const& registers)
      : core_(core), map_(map), entries_(entries), registers_(registers) {}

  std::string blocks() const {
    std::string text = "## Blocks\n\n| Block | Address | Meaning |\n|---|---|---|\n";
    for (std::uint32_t b = 0; b < map_.blocks().size(); ++b) {
      auto const& block = map_.blocks()[b];
      text += "| " + plain(block.name) + " | " + hex(block.base) + " | " + plain(block.meaning);
      for (cores::RegisterLock const& lock : map_.locks())
        if (lock.block == b)
          text +=
              " It ignores writes unless " + registers_.link(heading(map_, lock.reg)) + " holds " + hex(lock.key) + ".";
      text += " |\n";
    }
    return text + "\n";
  }

  std::string pads() const {
    if (map_.pad_functions().empty()) return "";
    std::vector<std::pair<std::uint32_t, std::string>> by_number;
    for (auto const& [name, number] : map_.pad_functions()) by_number.emplace_back(number, name);
    std::sort(by_number.begin(), by_number.end());
    std::string text = "## Who sits on a pad\n\n| Value | Function | Set by |\n|---|---|---|\n| 0 | nobody | |\n";
    for (auto const& [number, name] : by_number)
      text += "| " + std::to_string(number) + " | " + plain(name) + " | " + parameters_of(name) + " |\n";
    return text + "\n";
  }

  std::string order() const {
    std::string text, output;
    for (RegisterSequence const& sequence : map_.sequences()) {
      if (sequence.output != output)
        text += std::string(text.empty() ? "" : "\n") + "## Output " + plain(sequence.output) + "\n\n";
      output = sequence.output;
      text += "- " + plain(sequence.section) + entries_.condition(sequence.when) + ": " + steps(sequence) + "\n";
    }
    return text.empty() ? text : text + "\n";
  }

  std::string elsewhere() const {
    if (map_.elsewhere().empty()) return "";
    std::string text = "## Parameters without a field\n\n| Parameter | Where it is, or why nowhere |\n|---|---|\n";
    for (auto const& [parameter, where] : map_.elsewhere())
      text +=
          "| " + entries_.parameter(parameter) + " | " + plain(where.file.empty() ? where.reason : where.file) + " |\n";
    return text + "\n";
  }

 private:
  std::string parameters_of(std::string const& function) const {
    std::string text;
    for (cores::DescribedFunction const& one : core_.pads()->functions)
      if (one.name == function)
        for (auto const& parameter : {one.enabler, one.parameter})
          if (parameter) text += (text.empty() ? "" : ", ") + entries_.parameter(*parameter);
    return text;
  }

  std::string steps(RegisterSequence const& sequence) const {
    constexpr std::string_view kSets = "sets ";
    std::string text, before;
    for (RegisterStep const& step : sequence.steps) {
      const std::string one = step_text(step);
      const bool goes_on = one.starts_with(kSets) && before.starts_with(kSets);
      text += goes_on ? ", " + one.substr(kSets.size()) : (text.empty() ? "" : "; ") + one;
      before = one;
    }
    return text;
  }

  std::string step_text(RegisterStep const& step) const {
    if (step.kind == RegisterStep::Kind::delay)
      return "waits " + std::to_string(step.microseconds) + " us" + entries_.condition(step.when);
    const std::string reg = registers_.link(heading(map_, step.reg));
    std::string text;
    switch (step.kind) {
      case RegisterStep::Kind::poll:
        text = "polls " + reg + fields_text(step) + " for " + std::to_string(step.microseconds) + " us";
        break;
      case RegisterStep::Kind::block:
        text = "writes " + std::to_string(step.count) + " registers from " + reg;
        break;
      case RegisterStep::Kind::set:
        text = "sets " + reg + fields_text(step);
        break;
      default:
        text = "writes " + reg;
    }
    return text + entries_.condition(step.when);
  }

  // What the step itself says of fields.
  std::string fields_text(RegisterStep const& step) const {
    std::string text;
    for (cores::FieldValue const& field : step.fields)
      if (field.value)
        text += (text.empty() ? " (" : ", ") + code(map_.registers()[step.reg].fields[field.field].name) + " " +
                entries_.rule(*field.value);
    return text.empty() ? text : text + ")";
  }

  Core const& core_;
  RegisterMap const& map_;
  Entries const& entries_;
  NameLinks const& registers_;
};

}  // namespace

std::string RegisterPages::page(Core const& core, NameLinks::Home const& parameters) const {
  Version const& one = version(core);
  Version const& newest = *versions_.back();
  const std::string own_page = registers_page_of(core);
  const NameLinks parameter_links(core, parameters, own_page), register_links(core, one.home, own_page);
  const Entries entries(core, *one.map, parameter_links);
  const Lists lists(core, *one.map, entries, register_links);

  std::string text = "# Registers of " + core.name() + " " + core.version() + "\n\n" +
                     std::to_string(one.map->registers().size()) + " registers, whose names are `BLOCK.REGISTER`. ";
  if (&one != &newest)
    text += "They are as those of [" + newest.core->name() + " " + plain(newest.core->version()) + "](" +
            registers_page_of(*newest.core) + ") but for what stands here. ";
  text += "[Parameters](" + page_of(core) + ") [All cores](README.md)\n\n";
  if (&one != &newest) {
    std::string missing;
    for (std::uint32_t number = 0; number < newest.map->registers().size(); ++number)
      if (!one.map->find(newest.map->name(number)))
        missing += "- " + NameLinks(core, newest.home, own_page).link(heading(*newest.map, number)) + "\n";
    if (!missing.empty()) text += "## Not there yet\n\n" + missing + "\n";
  }
  text += lists.blocks() + lists.pads() + lists.order() + lists.elsewhere();
  std::optional<std::uint32_t> block;
  for (const std::uint32_t number : one.otherwise) {
    const std::uint32_t its = one.map->registers()[number].block;
    if (its != block)
      text += "## " + plain(one.map->blocks()[its].name) + "\n\n" + plain(one.map->blocks()[its].meaning) + "\n\n";
    block = its;
    text += entries.entry(number);
  }
  return text;
}

}  // namespace kdi::corepages
