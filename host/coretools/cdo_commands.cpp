// The commands about registers, and about files of configuration commands.
#include <tcl.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "host/coretools/session.h"
#include "host/named_cores.h"
#include "host/register_export.h"
#include "kdi/cdo/Cdo.h"
#include "kdi/common/KdiFile.h"
#include "kdi/common/KdiText.h"
#include "kdi/cores/CommandReading.h"
#include "kdi/cores/Outputs.h"
#include "kdi/cores/RegisterMemory.h"
#include "kdi/cores/Store.h"
#include "kdi/tcl/command.h"

namespace coretools {
namespace {

namespace cdo = kdi::cdo;
using kdi::cores::CommandSubject;
using kdi::cores::Configuration;
using kdi::cores::Record;
using kdi::cores::RegisterCommand;
using kdi::cores::RegisterImage;
using kdi::cores::RegisterMap;
using tcl::handler;
using tcl::usage;
using Words = tcl::Words;

cdo::Commands read_commands(Tcl_Obj* path) {
  const std::string file = tcl::required_native_path(path);
  return cdo::from_any(kdi::read_file(file, cdo::kLargestFile), file);
}

// A customisation that is open, or a core by its name.
CommandSubject subject_of(Session& session, Words words, std::size_t at) {
  if (words.size() <= at) return {};
  const std::string name = tcl::text_of(words[at]);
  const auto place = session.cores.find(name);
  if (place == session.cores.end()) return CommandSubject(kdi::cores::described_core(name));
  CommandSubject found;
  const auto open = place->second;
  open->core.look(
      [&](std::vector<Configuration*> const& all) { found = CommandSubject(all.front()->instance().shared_core()); });
  return found;
}

// Of all cores within, each with its own name.
// The registers of an open core whose names match, with what its configuration has there.
Record registers_of(Session& session, Tcl_Obj* name, std::string const& pattern) {
  const auto open = opened(session, name);
  Record all = Record::list();
  open->core.look([&](std::vector<Configuration*> const& configurations) {
    for (Configuration const* const one : configurations) {
      const CommandSubject subject(one->instance().shared_core());
      const RegisterImage image(*subject.map, one->instance());
      const Record records = register_records(subject, &image);
      for (Record const& reg : records.items()) {
        if (Tcl_StringMatch(reg.find("register")->text().c_str(), pattern.c_str()) == 0) continue;
        Record record = reg;
        all.add(std::move(record.set("core", one->core().name())));
      }
    }
  });
  return all;
}

Tcl_Obj* registers(Session& session, Words words) {
  return object_of(registers_of(session, words[0], words.size() > 1 ? tcl::text_of(words[1]) : "*"));
}

// name form ?pattern?
std::string export_registers(Session& session, Words words) {
  const Record records = registers_of(session, words[0], words.size() > 2 ? tcl::text_of(words[2]) : "*");
  std::vector<register_export::Configured> registers;
  for (Record const& record : records.items()) {
    const auto text = [&](char const* key) { return record.find(key)->text(); };
    registers.push_back(
        {text("core"), text("register"), text("meaning"), text("address"), text("reset"), text("value")});
  }
  const std::string form = tcl::text_of(words[1]);
  if (form == "csv") return register_export::csv_of(registers);
  if (form == "c") return register_export::header_of(registers, "registers");
  throw std::invalid_argument("no form " + kdi::text::shown(form) + ": use csv or c");
}

// --- files of an open core

struct Output {
  cdo::Commands commands;
  std::vector<std::string> remarks;
};

// What is to stand in the named files of a core, or all of it.
void add_commands(host::NamedCore const& core, std::vector<std::string> const& names, Output& output) {
  const RegisterImage image(*core.map, core.configuration->instance());
  std::vector<std::string> order;
  for (auto const& [file, outputs] : outputs_by_file(core.configuration->core(), *core.map, false))
    if (names.empty() || std::find(names.begin(), names.end(), file) != names.end())
      order.insert(order.end(), outputs.begin(), outputs.end());
  const std::vector<RegisterCommand> commands = image.commands(order);
  if (commands.empty()) return;
  // Of several cores each has a section of its own: those of other regions have the same addresses.
  if (!core.name.empty()) {
    output.commands.push_back(cdo::Section{core.name});
    output.remarks.emplace_back();
  }
  for (RegisterCommand const& command : commands) {
    output.commands.push_back(command.command);
    output.remarks.push_back(words_of(*core.map, command));
  }
}

void require_known(std::vector<host::NamedCore> const& cores, std::vector<std::string> const& names) {
  std::vector<std::string> known;
  for (host::NamedCore const& core : cores)
    for (auto const& [file, outputs] : outputs_by_file(core.configuration->core(), *core.map, false))
      if (std::find(known.begin(), known.end(), file) == known.end()) known.push_back(file);
  for (std::string const& name : names)
    if (std::find(known.begin(), known.end(), name) == known.end())
      throw std::invalid_argument("no output " + kdi::text::shown(name) + "; there are " +
                                  kdi::text::joined(known, ", "));
}

// What brings a device to the configuration, of a wizard that of all its cores.
Output commands_of(std::vector<Configuration*> const& all, std::vector<std::string> const& names) {
  const std::vector<host::NamedCore> cores = host::named_cores(all);
  require_known(cores, names);
  Output output;
  for (host::NamedCore const& core : cores) add_commands(core, names, output);
  return output;
}

std::string content_of(std::string_view form, std::string const& function, cdo::Commands const& commands,
                       cdo::Remark const& remark) {
  if (form == "text") return cdo::to_text(commands, remark);
  if (form == "binary") return cdo::to_binary(commands);
  if (form == "c") return cdo::to_c(commands, function, remark);
  throw std::invalid_argument("no form " + kdi::text::shown(form) + ": use text, binary or c");
}

void write(Session& session, Words words) {
  const auto open = opened(session, words[0]);
  std::vector<std::string> names;
  for (Tcl_Obj* const word : words.subspan(3)) names.push_back(tcl::text_of(word));
  std::string content;
  open->core.look([&](std::vector<Configuration*> const& all) {
    const Output output = commands_of(all, names);
    content = content_of(tcl::text_view(words[1]), all.front()->core().name(), output.commands,
                         [&](std::size_t i) { return output.remarks[i]; });
  });
  kdi::write_file(tcl::required_native_path(words[2]), content);
}

// --- any files

Tcl_Obj* read(Session& session, Words words) {
  const CommandSubject subject = subject_of(session, words, 1);
  return object_of(command_records(subject, read_commands(words[0])));
}

std::string text(Session& session, Words words) {
  const CommandSubject subject = subject_of(session, words, 1);
  return disassembled(subject, read_commands(words[0]));
}

void convert(Words words) {
  const std::string content = content_of(tcl::text_view(words[1]), "cdo", read_commands(words[0]), {});
  kdi::write_file(tcl::required_native_path(words[2]), content);
}

Tcl_Obj* compare(Session& session, Words words) {
  const CommandSubject subject = subject_of(session, words, 2);
  return object_of(compare_commands(subject, read_commands(words[0]), read_commands(words[1])));
}

Tcl_Obj* check(Session& session, Words words) {
  const cdo::Commands commands = read_commands(words[1]);
  const auto place = session.cores.find(tcl::text_of(words[0]));
  if (place == session.cores.end()) return object_of(check_commands(subject_of(session, words, 0), commands));
  Record faults;
  const auto open = place->second;
  open->core.look([&](std::vector<Configuration*> const& all) { faults = host::check(all, commands); });
  return object_of(faults);
}

// Files one behind the other, over registers that behave; those that are not as after a reset then.
Tcl_Obj* run(Session& session, Words words) {
  const CommandSubject subject = subject_of(session, words, 0);
  kdi::cores::RegisterMemory memory(*subject.map);
  for (Tcl_Obj* const file : words.subspan(1)) memory.run(read_commands(file));
  Tcl_Obj* const dict = Tcl_NewDictObj();
  for (std::uint32_t i = 0; i < memory.words().size(); ++i)
    if (memory.words()[i] != subject.map->registers()[i].reset)
      tcl::put(dict, subject.map->name(i), static_cast<Tcl_WideInt>(memory.words()[i]));
  return dict;
}

constexpr tcl::Row kCommands[] = {
    {"coretools::registers", handler<registers>, tcl::between(1, 2, usage("name ?pattern?"))},
    {"coretools::export_registers", handler<export_registers>, tcl::between(2, 3, usage("name form ?pattern?"))},
    {"coretools::cdo_write", handler<write>, tcl::at_least(3, usage("name form file ?output ...?"))},
    {"coretools::cdo_read", handler<read>, tcl::between(1, 2, usage("file ?core?"))},
    {"coretools::cdo_text", handler<text>, tcl::between(1, 2, usage("file ?core?"))},
    {"coretools::cdo_convert", handler<convert>, tcl::exactly(3, usage("file form target"))},
    {"coretools::cdo_compare", handler<compare>, tcl::between(2, 3, usage("file other ?core?"))},
    {"coretools::cdo_check", handler<check>, tcl::exactly(2, usage("core file"))},
    {"coretools::cdo_run", handler<run>, tcl::at_least(2, usage("core file ..."))},
};

}  // namespace

void register_cdo_commands(Session& session) { tcl::register_all<kCommands>(session.interp, &session); }

}  // namespace coretools
