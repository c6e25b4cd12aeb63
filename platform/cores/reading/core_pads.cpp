#include "platform/cores/reading/core_pads.h"

#include <algorithm>
#include <map>
#include <numeric>

#include "kdi/common/KdiNumber.h"
#include "kdi/common/KdiText.h"

namespace kdi::cores {
namespace {

constexpr std::uint32_t kMostPads = 256;
constexpr std::string_view kTo = " .. ";

class PadReader {
 public:
  PadReader(SectionContext const& context, PadSection& section) : reader_(context, section), section_(section) {}

  void add_bank(SectionEntry const& entry) {
    entry.value.allow_only({"name", "each", "pads", "enabled", "shows"});
    const JsonValue pads = entry.member("pads");
    if (pads.items().size() != 2) pads.refuse("the first and the last number");
    PadBank bank{entry.name, 0, 0, count_, std::nullopt, {}};
    bank.first = static_cast<std::uint32_t>(pads.items()[0].integer(0, kMostPads - 1));
    bank.last = static_cast<std::uint32_t>(pads.items()[1].integer(bank.first, kMostPads - 1));
    count_ += bank.last - bank.first + 1;
    if (count_ > kMostPads) pads.refuse("at most 256 pads in all banks");
    bank.enabled = reader_.optional_rule(entry, "enabled", Kind::truth);
    if (const auto shows = entry.find("shows"))
      for (std::uint32_t pad = bank.first; pad <= bank.last; ++pad) {
        SectionEntry one = entry;
        one.places.put("pad", std::to_string(pad));
        bank.showing.push_back(reader_.given(one, *shows, Kind::text));
      }
    section_.banks.push_back(std::move(bank));
  }

  void add_function(SectionEntry const& entry) {
    entry.value.allow_only({"name", "each", "peripheral", "enabled", "parameter", "groups", "fabric"});
    DescribedFunction function{entry.name, entry.name, std::nullopt, std::nullopt, std::nullopt, 0, {}};
    if (const auto peripheral = entry.find("peripheral")) function.peripheral = text(*peripheral, entry.places);
    function.enabled = reader_.optional_rule(entry, "enabled", Kind::truth);
    if (function.enabled) function.enabler = enabler(entry, *function.enabled);
    if (const auto parameter = entry.find("parameter")) {
      function.parameter = reader_.parameter(entry, *parameter, Kind::text);
      reader_.read(Core::slot(*function.parameter, Core::kValue));
      if (reader_.core().parameters()[*function.parameter].range)
        reader_.read(reader_.core().range_slot(*function.parameter));
    }
    function.told_at = told_at(entry, function);
    for (const JsonValue value : entry.member("groups").items()) add_group(entry, value, function);
    if (const auto fabric = entry.find("fabric")) add(*fabric, function, {text(*fabric, entry.places), {}});
    if (function.groups.empty()) entry.member("groups").refuse("one group or more");
    if (!function.parameter && function.groups.size() > 1)
      entry.member("groups").refuse("one group, or a parameter that says which");
    section_.functions.push_back(std::move(function));
  }

 private:
  // The parameter that the rule consists of.
  std::optional<std::uint32_t> enabler(SectionEntry const& entry, Rule const& rule) const {
    if (rule.reads().size() != 1) return std::nullopt;
    const auto named = reader_.core().find(text(entry.member("enabled"), entry.places));
    return named ? named : reader_.core().find(rule.written());  // the canonical text takes longer
  }

  // A parameter of the function.
  std::uint32_t told_at(SectionEntry const& entry, DescribedFunction const& function) const {
    if (function.parameter) return *function.parameter;
    if (function.enabled)
      for (const std::uint32_t slot : function.enabled->reads())
        if (slot < reader_.core().fact_slot(0)) return slot / Core::kSlots;
    entry.value.refuse("a parameter, or an enabled rule that reads one");
  }

  // A text that names its pads, or an object of a text and the pads.
  void add_group(SectionEntry const& entry, JsonValue value, DescribedFunction& function) {
    if (!value.is_object()) {
      const std::string shown = text(value, entry.places);
      add(value, function, {shown, pads(value, shown)});
      return;
    }
    value.allow_only({"text", "pads"});
    PadGroup group{text(value.member("text"), entry.places), {}};
    for (const JsonValue item : value.member("pads").items()) {
      const std::vector<std::uint32_t> some = pads(item, text(item, entry.places));
      group.pads.insert(group.pads.end(), some.begin(), some.end());
    }
    std::sort(group.pads.begin(), group.pads.end());
    if (std::adjacent_find(group.pads.begin(), group.pads.end()) != group.pads.end()) value.refuse("each pad once");
    add(value, function, std::move(group));
  }

  void add(JsonValue value, DescribedFunction& function, PadGroup group) const {
    for (PadGroup const& other : function.groups)
      if (other.text == group.text) value.refuse("each text once");
    reader_.check_text(value, function.parameter, group.text);
    function.groups.push_back(std::move(group));
  }

  // `BANK 3` or `BANK 0 .. 5`.
  std::vector<std::uint32_t> pads(JsonValue value, std::string_view words) const {
    const std::size_t blank = words.find(' ');
    const std::string_view name = words.substr(0, blank);
    const auto bank = std::find_if(section_.banks.begin(), section_.banks.end(),
                                   [&](PadBank const& other) { return other.name == name; });
    if (blank == std::string::npos || bank == section_.banks.end())
      value.refuse("pads of a bank, such as " + (section_.banks.empty() ? "MIO" : section_.banks.front().name) +
                   " 0 .. 1");
    const std::string_view numbers = words.substr(blank + 1);
    const std::size_t to = numbers.find(kTo);
    const std::uint32_t first = number(value, *bank, numbers.substr(0, to));
    const std::uint32_t last = to == std::string::npos ? first : number(value, *bank, numbers.substr(to + kTo.size()));
    if (last < first) value.refuse("the lower number first");
    std::vector<std::uint32_t> all(last - first + 1);
    std::iota(all.begin(), all.end(), bank->offset + first - bank->first);
    return all;
  }

  static std::uint32_t number(JsonValue value, PadBank const& bank, std::string_view digits) {
    const std::optional<Decimal> read = Decimal::read(digits);
    if (!read || !read->is_whole() || read->mantissa() < bank.first || read->mantissa() > bank.last)
      value.refuse("numbers from " + std::to_string(bank.first) + " to " + std::to_string(bank.last) + " of " +
                   bank.name);
    return static_cast<std::uint32_t>(read->mantissa());
  }

  SectionReader reader_;
  PadSection& section_;
  std::uint32_t count_ = 0;
};

}  // namespace

void PadDraft::add(JsonValue section, Places const& places) {
  section.allow_only({"retired", "banks", "functions"});
  if (place_.empty()) place_ = section.place();
  if (const auto retired = section.find("retired"))
    for (SectionEntries* const entries : {&banks_, &functions_}) entries->retire(*retired, places);
  if (const auto list = section.find("banks")) banks_.add(*list, places);
  if (const auto list = section.find("functions")) functions_.add(*list, places);
}

std::shared_ptr<PadSection> PadDraft::finished(SectionContext const& context) const {
  if (functions_.empty()) return nullptr;
  auto section = std::make_shared<PadSection>();
  section->place = place_;
  PadReader reader(context, *section);
  for (SectionEntry const& entry : banks_.all()) reader.add_bank(entry);
  for (SectionEntry const& entry : functions_.all()) reader.add_function(entry);
  return section;
}

// ----------------------------------------------------------------------------------------------------------- the step

namespace {

class PadRun {
 public:
  PadRun(PadSection const& section, SearchInput const& input) : section_(section), input_(input) {}

  std::shared_ptr<Findings const> result() {
    for (PadBank const& bank : section_.banks) {
      const bool is_there = !bank.enabled || holds(*bank.enabled);
      for (std::uint32_t pad = bank.first; pad <= bank.last; ++pad) is_there_.push_back(is_there ? 1 : 0);
      found_->banks.push_back(is_there ? 1 : 0);
    }
    for (std::size_t i = 0; i < section_.functions.size(); ++i) {
      DescribedFunction const& function = section_.functions[i];
      if (!function.enabled || holds(*function.enabled)) add(i, function);
    }
    found_->conflicts = conflicts(found_->functions);
    seat();
    tell();
    show();
    return std::move(found_);
  }

 private:
  bool holds(Rule const& rule) const { return input_.machine.run(rule, input_.cells).cell().truth(); }

  // A text that is none of the groups' is a seat without pads.
  void add(std::size_t number, DescribedFunction const& described) {
    PadFunction function{described.name, described.peripheral, described.groups, 0};
    if (described.parameter) {
      std::string const& shown = input_.cells[Core::slot(*described.parameter, Core::kValue)].text();
      function.present = place_of(function.groups, shown);
    }
    found_->functions.push_back(std::move(function));
    found_->described.push_back(number);
  }

  static std::size_t place_of(std::vector<PadGroup>& groups, std::string const& text) {
    const auto place = std::find_if(groups.begin(), groups.end(), [&](PadGroup const& o) { return o.text == text; });
    if (place != groups.end()) return static_cast<std::size_t>(place - groups.begin());
    groups.push_back({text, {}});
    return groups.size() - 1;
  }

  bool are_there(PadGroup const& group) const {
    return std::all_of(group.pads.begin(), group.pads.end(), [&](std::uint32_t pad) { return is_there_[pad]; });
  }

  // Functions with one parameter sit where that says, all of them.
  void seat() {
    std::map<std::uint32_t, std::vector<std::size_t>> together;
    for (std::size_t f = 0; f < found_->functions.size(); ++f) {
      const auto parameter = section_.functions[found_->described[f]].parameter;
      if (!parameter)
        add_seat(std::nullopt, {f});
      else
        together[*parameter].push_back(f);
    }
    for (auto const& [parameter, functions] : together) add_seat(parameter, functions);
  }

  void add_seat(std::optional<std::uint32_t> parameter, std::vector<std::size_t> const& functions) {
    PadFunction const& first = found_->functions[functions.front()];
    PadFunction seat{first.name, first.peripheral, {}, 0};
    for (std::size_t g = 0; g < first.groups.size(); ++g) {
      PadGroup group{first.groups[g].text, {}};
      const bool is_present = g == first.present;
      bool is_offered = is_present || input_.permits(*parameter, Value(group.text));
      for (const std::size_t f : functions) {
        PadGroup const* const own = group_of(found_->functions[f], group.text);
        is_offered = is_offered && (own != nullptr || is_present);
        if (own == nullptr) continue;
        group.closed = group.closed || !are_there(*own) || have_common(group.pads, own->pads);
        group.pads.insert(group.pads.end(), own->pads.begin(), own->pads.end());
      }
      if (is_present) seat.present = seat.groups.size();
      if (is_offered) seat.groups.push_back(std::move(group));
    }
    found_->seats.push_back(std::move(seat));
    found_->parameters.push_back(parameter);
  }

  static bool have_common(std::vector<std::uint32_t> const& a, std::vector<std::uint32_t> const& b) {
    return std::any_of(a.begin(), a.end(),
                       [&](std::uint32_t pad) { return std::find(b.begin(), b.end(), pad) != b.end(); });
  }

  static PadGroup const* group_of(PadFunction const& function, std::string const& text) {
    for (PadGroup const& group : function.groups)
      if (group.text == text) return &group;
    return nullptr;
  }

  void tell() {
    for (PadConflict const& conflict : found_->conflicts) {
      DescribedFunction const& first = section_.functions[found_->described[conflict.first]];
      DescribedFunction const& second = section_.functions[found_->described[conflict.second]];
      found_->messages.push_back(
          {first.told_at, true, first.name + " and " + second.name + " both use " + section_.pad_names(conflict.pads)});
    }
    for (std::size_t f = 0; f < found_->functions.size(); ++f) {
      PadFunction const& function = found_->functions[f];
      PadGroup const& group = function.groups[function.present];
      if (!are_there(group))
        found_->messages.push_back(
            {section_.functions[found_->described[f]].told_at, true,
             function.name + " uses " + section_.pad_names(group.pads) + ", which are not there"});
    }
  }

  // Who sits on each pad.
  void show() {
    std::map<std::uint32_t, std::string> shown;
    for (PadFunction const& function : found_->functions)
      for (const std::uint32_t pad : function.groups[function.present].pads) {
        std::string& names = shown[pad];
        names += (names.empty() ? "" : ", ") + function.name;
      }
    for (PadBank const& bank : section_.banks)
      for (std::uint32_t i = 0; i < bank.showing.size(); ++i) {
        const auto name = shown.find(bank.offset + i);
        found_->values.push_back(name == shown.end() ? Found{Found::From::nothing, {}}
                                                     : Found{Found::From::search, Value(name->second)});
      }
  }

  PadSection const& section_;
  SearchInput const& input_;
  std::shared_ptr<PadFindings> found_ = std::make_shared<PadFindings>();
  std::vector<char> is_there_;  // by pad
};

PadAdvice advice(PadSection const& section, PadFindings const& findings, PadPlan const& plan) {
  PadAdvice advice;
  advice.moved = plan.moved;
  advice.doubt = text_of(plan);
  for (std::size_t s = 0; s < findings.seats.size(); ++s)
    if (plan.groups[s] && *plan.groups[s] != findings.seats[s].present)
      advice.moves.emplace_back(*findings.parameters[s], findings.seats[s].groups[*plan.groups[s]].text);
  for (std::string const& name : plan.given_up) {
    std::optional<std::uint32_t> enabler;
    for (const std::size_t number : findings.described)
      if (section.functions[number].peripheral == name && section.functions[number].enabler && !enabler)
        enabler = section.functions[number].enabler;
    advice.given_up.emplace_back(name, enabler);
  }
  return advice;
}

}  // namespace

std::shared_ptr<Findings const> PadSection::run(SearchInput const& input) const {
  try {
    return PadRun(*this, input).result();
  } catch (PadError const& error) {
    throw RuleFault(error.what());
  }
}

std::string PadSection::pad_name(std::uint32_t pad) const {
  for (PadBank const& bank : banks)
    if (pad >= bank.offset && pad <= bank.offset + bank.last - bank.first)
      return bank.name + " " + std::to_string(pad - bank.offset + bank.first);
  return {};
}

std::string PadSection::pad_names(std::vector<std::uint32_t> const& pads) const {
  std::vector<std::string> runs;
  for (std::size_t i = 0; i < pads.size();) {
    const auto is_bank_first = [&](std::uint32_t pad) {
      return std::any_of(banks.begin(), banks.end(), [&](PadBank const& bank) { return bank.offset == pad; });
    };
    std::size_t end = i + 1;
    while (end < pads.size() && pads[end] == pads[end - 1] + 1 && !is_bank_first(pads[end])) ++end;
    const std::string first = pad_name(pads[i]), last = pad_name(pads[end - 1]);
    runs.push_back(end == i + 1 ? first : first + std::string(kTo) + last.substr(last.rfind(' ') + 1));
    i = end;
  }
  std::string names;
  for (std::size_t i = 0; i < runs.size(); ++i)
    names += (i == 0 ? "" : i + 1 == runs.size() ? " and " : ", ") + runs[i];
  return names;
}

std::optional<PadAdvice> free_assignment(PadSection const& section, PadFindings const& findings) {
  const std::optional<PadPlan> plan = free_assignment(findings.seats);
  return plan ? std::optional(advice(section, findings, *plan)) : std::nullopt;
}

PadAdvice nearest_repair(PadSection const& section, PadFindings const& findings, PadRepair repair) {
  return advice(section, findings, nearest_repair(findings.seats, repair));
}

}  // namespace kdi::cores
