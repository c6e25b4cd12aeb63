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

// A customisation that is open, or a core by its name; with what it is configured to in the former case.
void about(Session& session, Tcl_Obj* word,
           std::function<void(CommandSubject const& subject, RegisterImage const* image)> const& use) {
  const std::string name = tcl::text_of(word);
  const auto place = session.cores.find(name);
  if (place == session.cores.end()) return use(CommandSubject(kdi::cores::described_core(name)), nullptr);
  const auto open = place->second;
  open->core.look([&](std::vector<Configuration*> const& all) {
    const CommandSubject subject(all.front()->instance().shared_core());
    const RegisterImage image(*subject.map, all.front()->instance());
    use(subject, &image);
  });
}

CommandSubject subject_of(Session& session, Words words, std::size_t at) {
  CommandSubject found;
  if (words.size() > at)
    about(session, words[at], [&](CommandSubject const& subject, RegisterImage const*) { found = subject; });
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
  std::shared_ptr<RegisterMap const> map;
  std::vector<RegisterCommand> commands;
};

// What brings a device to the configuration: what is to stand in the named files, or all of it.
Output commands_of(Configuration const& configuration, std::vector<std::string> const& names) {
  Output output{RegisterMap::of(configuration.instance().shared_core()), {}};
  const RegisterImage image(*output.map, configuration.instance());
  const auto files = outputs_by_file(configuration.core(), *output.map, false);
  std::vector<std::string> known, order;
  for (auto const& [file, outputs] : files) known.push_back(file);
  for (std::string const& name : names)
    if (std::find(known.begin(), known.end(), name) == known.end())
      throw std::invalid_argument("no output " + kdi::text::shown(name) + "; there are " +
                                  kdi::text::joined(known, ", "));
  for (auto const& [file, outputs] : files)
    if (names.empty() || std::find(names.begin(), names.end(), file) != names.end())
      order.insert(order.end(), outputs.begin(), outputs.end());
  output.commands = image.commands(order);
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
    const Output output = commands_of(*all.front(), names);
    content = content_of(tcl::text_view(words[1]), all.front()->core().name(), plain(output.commands),
                         [&](std::size_t i) { return words_of(*output.map, output.commands[i]); });
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
  Record faults;
  about(session, words[0], [&](CommandSubject const& subject, RegisterImage const* image) {
    faults = check_commands(subject, commands, image);
  });
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
