// Commands with the registers that they are about.
#include <optional>

#include "kdi/cdo/Cdo.h"
#include "kdi/common/KdiText.h"
#include "kdi/cores/CommandReading.h"
#include "platform/cores/registers/command_words.h"

namespace kdi::cores {
namespace {

// The command itself, in the words of the text form.
struct CommandRecord {
  Record operator()(cdo::Section const& section) const { return named("section").set("name", section.name); }
  Record operator()(cdo::Write const& write) const {
    return at("write", write.address).set("value", hex_word(write.value));
  }
  Record operator()(cdo::MaskedWrite const& write) const {
    return at("mask_write", write.address).set("mask", hex_word(write.mask)).set("value", hex_word(write.value));
  }
  Record operator()(cdo::Poll const& poll) const {
    return at("poll", poll.address)
        .set("mask", hex_word(poll.mask))
        .set("value", hex_word(poll.value))
        .set("timeout_us", std::to_string(poll.timeout_us));
  }
  Record operator()(cdo::Delay const& delay) const {
    return named("delay").set("microseconds", std::to_string(delay.microseconds));
  }
  Record operator()(cdo::BlockWrite const& block) const {
    Record values = Record::list();
    for (const std::uint32_t word : block.words) values.add(hex_word(word));
    return at("block_write", block.address).set("values", std::move(values));
  }

 private:
  static Record named(char const* command) { return Record::dictionary().set("command", command); }
  static Record at(char const* command, std::uint32_t address) {
    return named(command).set("address", hex_word(address));
  }
};

Record field_record(CommandSubject const& subject, RegisterField const& field, std::uint32_t value) {
  Record record = Record::dictionary();
  record.set("field", field.name).set("bits", bits_text(field)).set("value", std::to_string(value));
  if (const std::string function = function_name(subject, field, value); !function.empty())
    record.set("function", function);
  return record.set("parameters", Record::list(deciding_parameters(subject, field, value)));
}

Record register_record(CommandSubject const& subject, std::uint32_t number, Touched const& touched) {
  Register const& reg = subject.map->registers()[number];
  Record fields = Record::list();
  for (RegisterField const& field : reg.fields)
    if ((field.mask() & touched.mask) != 0) fields.add(field_record(subject, field, value_of(field, touched.value)));
  return Record::dictionary()
      .set("register", subject.map->name(number))
      .set("address", hex_word(reg.address))
      .set("fields", std::move(fields));
}

std::optional<std::uint32_t> register_at(CommandSubject const& subject, std::uint32_t address) {
  return subject.map == nullptr ? std::nullopt : subject.map->find(address);
}

// --- remarks

constexpr std::size_t kMostNames = 6;

std::string names_text(std::vector<std::string> names) {
  const std::size_t more = names.size() > kMostNames ? names.size() - kMostNames : 0;
  names.resize(names.size() - more);
  return text::joined(names, ", ") + (more == 0 ? "" : " and " + std::to_string(more) + " more");
}

// Within a remark nothing may end its line.
std::string remark_line(std::string line) {
  for (char& c : line)
    if (text::is_control(c)) c = ' ';
  return "#   " + line + "\n";
}

std::string remarks_of(CommandSubject const& subject, Touched const& touched) {
  const auto number = register_at(subject, touched.address);
  if (!number) return subject.map == nullptr ? "" : remark_line("no register of " + subject.core->name());
  Register const& reg = subject.map->registers()[*number];
  std::string text = remark_line(subject.map->name(*number) + ": " + reg.meaning);
  for (RegisterField const& field : reg.fields) {
    if ((field.mask() & touched.mask) == 0) continue;
    const std::uint32_t value = value_of(field, touched.value);
    std::string line = "  " + bits_text(field) + " " + field.name + " = " + std::to_string(value);
    if (const std::string function = function_name(subject, field, value); !function.empty()) line += ", " + function;
    line += "; " + field.meaning;
    if (const auto names = deciding_parameters(subject, field, value); !names.empty())
      line += " (" + names_text(names) + ")";
    text += remark_line(line);
  }
  return text;
}

}  // namespace

Record command_records(CommandSubject const& subject, cdo::Commands const& commands) {
  Record all = Record::list();
  for (cdo::Command const& command : commands) {
    Record record = std::visit(CommandRecord(), command);
    Record registers = Record::list();
    for (Touched const& touched : touched_by(command))
      if (const auto number = register_at(subject, touched.address))
        registers.add(register_record(subject, *number, touched));
    record.set("registers", std::move(registers));
    all.add(std::move(record));
  }
  return all;
}

std::string disassembled(CommandSubject const& subject, cdo::Commands const& commands) {
  std::string text = "cdo 1\n";
  for (cdo::Command const& command : commands) {
    text += cdo::line_of(command) + "\n";
    for (Touched const& touched : touched_by(command)) text += remarks_of(subject, touched);
    if (text.size() > cdo::kLargestFile) throw cdo::CdoError("the text would have more than 64 MiB");
  }
  return text + "end " + std::to_string(commands.size()) + "\n";
}

Record register_records(CommandSubject const& subject, RegisterImage const* image) {
  Record all = Record::list();
  for (std::uint32_t number = 0; subject.map != nullptr && number < subject.map->registers().size(); ++number) {
    Register const& reg = subject.map->registers()[number];
    Record record = Record::dictionary();
    record.set("register", subject.map->name(number))
        .set("address", hex_word(reg.address))
        .set("meaning", reg.meaning)
        .set("reset", hex_word(reg.reset));
    if (image != nullptr) record.set("value", hex_word(image->word(number)));
    Record fields = Record::list();
    for (std::uint32_t f = 0; f < reg.fields.size(); ++f) {
      RegisterField const& field = reg.fields[f];
      const std::uint32_t value = image == nullptr ? field.reset : image->field(number, f);
      Record row = Record::dictionary();
      row.set("field", field.name)
          .set("bits", bits_text(field))
          .set("meaning", field.meaning)
          .set("reset", std::to_string(field.reset));
      if (image != nullptr) row.set("value", std::to_string(value));
      if (const std::string function = function_name(subject, field, value); !function.empty())
        row.set("function", function);
      row.set("rule", field.value ? field.value->written() : std::string());
      row.set("parameters", Record::list(deciding_parameters(subject, field, value)));
      fields.add(std::move(row));
    }
    all.add(std::move(record.set("fields", std::move(fields))));
  }
  return all;
}

}  // namespace kdi::cores
