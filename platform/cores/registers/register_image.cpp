// What the registers of a configured core hold, and the commands that bring them there.
#include <algorithm>

#include "kdi/common/KdiText.h"
#include "kdi/cores/PadSection.h"
#include "kdi/cores/Registers.h"
#include "platform/cores/search/pads_found.h"
#include "platform/cores/state/insight.h"

namespace kdi::cores {
namespace {

// The value of a rule for a field. `what` is said when there is none.
std::uint32_t field_value(Insight& insight, Rule const& rule, RegisterField const& field, std::string const& what) {
  const std::optional<Value> value = insight.evaluated(rule);
  if (!value) throw RegisterError(what + ": the rule at " + rule.place() + " has no value");
  const Cell cell = value->cell();
  const std::int64_t number = cell.kind() == Kind::truth ? (cell.truth() ? 1 : 0) : cell.integer();
  if (number < 0 || number > field.mask() >> field.low)
    throw RegisterError(what + ": " + std::to_string(number) + " does not fit into " + std::to_string(field.width) +
                        (field.width == 1 ? " bit" : " bits") + " (the rule at " + rule.place() + ")");
  return static_cast<std::uint32_t>(number);
}

// Which function sits on each pad, by the numbers of pads among all; 0 for none.
std::vector<std::uint32_t> functions_on_pads(RegisterMap const& map, Instance const& instance) {
  PadSection const& section = *instance.core().pads();
  PadFindings const& found = pad_findings(instance);
  std::uint32_t count = 0;
  for (PadBank const& bank : section.banks) count = bank.offset + bank.last - bank.first + 1;
  std::vector<std::uint32_t> on_pads(count, 0);
  for (PadFunction const& function : found.functions)
    for (const std::uint32_t pad : function.groups[function.present].pads) {
      if (on_pads[pad] != 0) throw RegisterError("two functions use " + section.pad_name(pad));
      on_pads[pad] = map.pad_functions().find(function.name)->second;
    }
  return on_pads;
}

}  // namespace

RegisterImage::RegisterImage(RegisterMap const& map, Instance const& instance) : map_(map), instance_(instance) {
  Insight insight(instance);
  std::vector<std::uint32_t> on_pads;
  values_.resize(map.registers().size());
  for (std::uint32_t r = 0; r < values_.size(); ++r)
    for (RegisterField const& field : map.registers()[r].fields) {
      std::uint32_t value = field.reset;
      if (field.value) value = field_value(insight, *field.value, field, map.name(r) + "." + field.name);
      if (field.pad) {
        if (on_pads.empty()) on_pads = functions_on_pads(map, instance);
        value = on_pads[field.pad->second];
      }
      values_[r].push_back(value);
    }
}

std::uint32_t RegisterImage::word(std::uint32_t reg) const {
  std::uint32_t word = 0;
  for (std::size_t f = 0; f < values_[reg].size(); ++f) word |= values_[reg][f] << map_.registers()[reg].fields[f].low;
  return word;
}

// Makes commands of steps.
class RegisterImage::Commander {
 public:
  explicit Commander(RegisterImage const& image) : image_(image), insight_(image.instance_) {}

  std::vector<RegisterCommand> made(std::string_view output) {
    for (RegisterSequence const& sequence : image_.map_.sequences())
      if (sequence.output == output && holds(sequence.when)) add(sequence);
    return std::move(commands_);
  }

 private:
  bool holds(std::optional<Rule> const& rule) {
    if (!rule) return true;
    const std::optional<Value> value = insight_.evaluated(*rule);
    if (!value) throw RegisterError("the rule at " + rule->place() + " has no value");
    return value->cell().truth();
  }

  // A section of which nothing is left is left out.
  void add(RegisterSequence const& sequence) {
    const std::size_t before = commands_.size();
    commands_.emplace_back().command.emplace<cdo::Section>(cdo::Section{sequence.section});
    for (RegisterStep const& step : sequence.steps)
      if (holds(step.when)) add(step);
    if (commands_.size() == before + 1) commands_.pop_back();
  }

  void add(RegisterStep const& step) {
    using Do = RegisterStep::Kind;
    if (step.kind == Do::delay) {
      commands_.emplace_back().command.emplace<cdo::Delay>(cdo::Delay{step.microseconds});
      return;
    }
    RegisterCommand& command = commands_.emplace_back();
    std::uint32_t mask = 0, value = 0;
    if (step.kind == Do::set || step.kind == Do::poll)
      for (FieldValue const& field : step.fields) {
        RegisterField const& described = reg(step.reg).fields[field.field];
        const std::uint32_t held = held_by(step.reg, field);
        mask |= described.mask();
        value |= held << described.low;
        command.settings.push_back({step.reg, field.field, held});
      }
    else
      for (std::uint32_t r = step.reg; r < step.reg + step.count; ++r) add_all(r, command.settings);
    if (step.unless_reset && are_reset(command.settings)) {
      commands_.pop_back();
      return;
    }
    const std::uint32_t address = reg(step.reg).address;
    if (step.kind == Do::poll)
      command.command.emplace<cdo::Poll>(cdo::Poll{address, mask, value, step.microseconds});
    else if (step.kind == Do::set && mask != ~0U)
      command.command.emplace<cdo::MaskedWrite>(cdo::MaskedWrite{address, mask, value});
    else if (step.kind == Do::block)
      command.command.emplace<cdo::BlockWrite>(block(step, address));
    else
      command.command.emplace<cdo::Write>(cdo::Write{address, step.kind == Do::set ? value : image_.word(step.reg)});
  }

  cdo::BlockWrite block(RegisterStep const& step, std::uint32_t address) const {
    cdo::BlockWrite block{address, {}};
    for (std::uint32_t r = step.reg; r < step.reg + step.count; ++r) block.words.push_back(image_.word(r));
    return block;
  }

  void add_all(std::uint32_t number, std::vector<RegisterSetting>& settings) const {
    for (std::uint32_t f = 0; f < reg(number).fields.size(); ++f)
      settings.push_back({number, f, image_.field(number, f)});
  }

  bool are_reset(std::vector<RegisterSetting> const& settings) const {
    return std::all_of(settings.begin(), settings.end(), [&](RegisterSetting const& setting) {
      return setting.value == reg(setting.reg).fields[setting.field].reset;
    });
  }

  std::uint32_t held_by(std::uint32_t number, FieldValue const& field) {
    if (!field.value) return image_.field(number, field.field);
    RegisterField const& described = reg(number).fields[field.field];
    return field_value(insight_, *field.value, described, image_.map_.name(number) + "." + described.name);
  }

  Register const& reg(std::uint32_t number) const { return image_.map_.registers()[number]; }

  RegisterImage const& image_;
  Insight insight_;
  std::vector<RegisterCommand> commands_;
};

std::vector<RegisterCommand> RegisterImage::commands(std::string_view output) const {
  return Commander(*this).made(output);
}

std::vector<RegisterCommand> RegisterImage::commands(std::vector<std::string> const& outputs) const {
  std::vector<RegisterCommand> all;
  for (std::string const& output : outputs)
    for (RegisterCommand& command : commands(output)) all.push_back(std::move(command));
  return all;
}

cdo::Commands plain(std::vector<RegisterCommand> const& commands) {
  cdo::Commands all;
  all.reserve(commands.size());
  for (RegisterCommand const& command : commands) all.push_back(command.command);
  return all;
}

std::string words_of(RegisterMap const& map, RegisterCommand const& command) {
  std::string words;
  std::optional<std::uint32_t> reg;
  for (RegisterSetting const& setting : command.settings) {
    if (reg != setting.reg) text::append_word(words, map.name(setting.reg));
    reg = setting.reg;
    text::append_word(words,
                      map.registers()[setting.reg].fields[setting.field].name + "=" + std::to_string(setting.value));
  }
  return words;
}

}  // namespace kdi::cores
