#include "host/kdi_cdo/commands.h"

#include <cstdio>

#include "host/kdi_cdo/configured.h"
#include "host/kdi_cdo/inputs.h"
#include "host/named_cores.h"
#include "kdi/cdo/Cdo.h"
#include "kdi/common/KdiFile.h"
#include "kdi/common/KdiText.h"
#include "kdi/cores/CommandReading.h"
#include "kdi/cores/Outputs.h"
#include "kdi/cores/Store.h"

namespace kdi_cdo {
namespace {

namespace cdo = kdi::cdo;
using kdi::cores::CommandSubject;
using kdi::cores::Configuration;
using kdi::cores::Record;
using kdi::cores::RegisterCommand;
using kdi::cores::RegisterImage;
using kdi::cores::RegisterMap;

constexpr Option kCore{"--core", "NAME[:VERSION]",
                       "the core whose registers the addresses are of; the newest version unless one is named"};
constexpr Option kJson{"--json", nullptr, "prints the answer as JSON"};

void tell(std::string const& line) { std::fprintf(stderr, "kdi_cdo: %s\n", kdi::text::printable(line).c_str()); }

std::string target(Words const& words, std::size_t at) { return words.files.size() > at ? words.files[at] : "-"; }

CommandSubject subject_of(Words const& words) {
  return words.has(kCore.name) ? CommandSubject(kdi::cores::described_core(words.option(kCore.name)))
                               : CommandSubject();
}

// --- generate

struct OutputFile {
  std::string name, content;
};

constexpr std::pair<char const*, char const*> kForms[] = {{"c", ".c"}, {"text", ".cdo"}, {"binary", ".bin"}};

std::string content_of(std::string const& form, std::string const& function, RegisterMap const& map,
                       std::vector<RegisterCommand> const& commands) {
  const cdo::Remark remark = [&](std::size_t i) { return words_of(map, commands[i]); };
  if (form == "c") return cdo::to_c(plain(commands), function, remark);
  return form == "text" ? cdo::to_text(plain(commands), remark) : cdo::to_binary(plain(commands));
}

// Of a core with sub-cores their files are told apart by the sub-cores' names, which are the section that each begins
// with: those of other regions have the same addresses.
void add_files(std::string const& form, std::string const& suffix, host::NamedCore const& one,
               std::vector<OutputFile>& files) {
  const std::string core = one.name.empty() ? one.configuration->core().name() : one.name;
  const std::string prefix = one.name.empty() ? "" : one.name + "_";
  const RegisterImage image(*one.map, one.configuration->instance());
  if (form == "c") files.push_back({core + "_mask_definitions.h", mask_definitions(*one.map, core)});
  for (auto const& [name, outputs] : outputs_by_file(one.configuration->core(), *one.map, false)) {
    std::vector<RegisterCommand> commands = image.commands(outputs);
    if (!one.name.empty() && !commands.empty()) commands.insert(commands.begin(), {cdo::Section{one.name}, {}});
    files.push_back({prefix + name + suffix, content_of(form, core + "_" + name, *one.map, commands)});
  }
}

Status generate(Words const& words) {
  const std::string form = words.has("--form") ? words.option("--form") : "c";
  std::string suffix, names;
  for (auto const& [name, end] : kForms) {
    if (form == name) suffix = end;
    kdi::text::append_word(names, name);
  }
  if (suffix.empty()) throw UsageError("--form takes one of " + names + ", not " + kdi::text::shown(form));
  std::vector<OutputFile> files;
  const Wanted wanted{words.option("--core"), words.option("--version"), words.option("--part")};
  configured(words.files[0], wanted, tell, [&](std::vector<Configuration*> const& all) {
    for (host::NamedCore const& one : host::named_cores(all)) add_files(form, suffix, one, files);
  });
  if (files.empty()) throw InputError("the core has no registers");
  kdi::make_directories(words.files[1]);
  for (OutputFile const& file : files) kdi::write_file(words.files[1] + "/" + file.name, file.content);
  return kDone;
}

// --- forms

Status decode(Words const& words) {
  write(target(words, 1), cdo::to_text(read_commands(words.files[0])));
  return kDone;
}

Status encode(Words const& words) {
  write(target(words, 1), cdo::to_binary(read_commands(words.files[0])));
  return kDone;
}

Status disassemble(Words const& words) {
  const CommandSubject subject = subject_of(words);
  const cdo::Commands commands = read_commands(words.files[0]);
  write(target(words, 1),
        words.has(kJson.name) ? command_records(subject, commands).json() : disassembled(subject, commands));
  return kDone;
}

// --- compare and check

std::string text_at(Record const& record, char const* key) { return record.find(key)->text(); }

std::string parameters_text(Record const& field) {
  std::string names;
  for (Record const& name : field.find("parameters")->items()) kdi::text::append_word(names, name.text());
  return names.empty() ? "" : "  (" + names + ")";
}

std::string or_nothing(std::string const& text) { return text.empty() ? "not written" : text; }

std::string differences_text(Record const& differences) {
  std::string text;
  for (Record const& one : differences.find("registers")->items()) {
    text += text_at(one, "address");
    if (const std::string name = text_at(one, "register"); !name.empty()) text += " " + name;
    text += ": " + or_nothing(text_at(one, "first")) + ", " + or_nothing(text_at(one, "second")) + "\n";
    for (Record const& field : one.find("fields")->items())
      text += "  " + text_at(field, "bits") + " " + text_at(field, "field") + ": " + text_at(field, "first") + ", " +
              text_at(field, "second") + parameters_text(field) + "\n";
  }
  for (Record const& one : differences.find("commands")->items()) {
    const std::string first = text_at(one, "first"), second = text_at(one, "second");
    const std::string sign = first.empty()    ? "+ " + second
                             : second.empty() ? "- " + first
                                              : "~ " + first + " " + second;
    text += sign + ": " + text_at(one, "line") + "\n";
  }
  for (Record const& one : differences.find("faults")->items())
    text += "only the " + text_at(one, "list") + ", " + text_at(one, "command") + ": " + text_at(one, "line") + ": " +
            text_at(one, "fault") + "\n";
  return text;
}

Status compare(Words const& words) {
  const CommandSubject subject = subject_of(words);
  const Record differences = compare_commands(subject, read_commands(words.files[0]), read_commands(words.files[1]));
  write("-", words.has(kJson.name) ? differences.json() : differences_text(differences));
  const bool is_same = differences.find("registers")->items().empty() && differences.find("commands")->items().empty();
  return is_same ? kDone : kNo;
}

std::string faults_text(Record const& faults) {
  std::string text;
  for (Record const& fault : faults.items()) {
    if (const std::string command = text_at(fault, "command"); !command.empty())
      text += command + ": " + text_at(fault, "line") + ": ";
    text += text_at(fault, "fault") + "\n";
  }
  return text;
}

Status check(Words const& words) {
  const cdo::Commands commands = read_commands(words.files[0]);
  Record faults = Record::list();
  if (words.has("--configuration")) {
    const std::string core = words.option(kCore.name);
    const std::size_t colon = core.find(':');
    const Wanted wanted{core.substr(0, colon), colon == std::string::npos ? "" : core.substr(colon + 1),
                        words.option("--part")};
    configured(words.option("--configuration"), wanted, tell,
               [&](std::vector<Configuration*> const& all) { faults = host::check(all, commands); });
  } else if (words.has(kCore.name)) {
    faults = check_commands(subject_of(words), commands);
  }
  write("-", words.has(kJson.name) ? faults.json() : faults_text(faults));
  return faults.items().empty() ? kDone : kNo;
}

}  // namespace

std::vector<CommandRow> const& commands() {
  static const std::vector<CommandRow> rows{
      {"generate",
       "PARAMETERS FOLDER",
       2,
       2,
       {{"--form", "c|text|binary", "what is written: C sources and a header (unless told otherwise), text, or binary"},
        {"--core", "NAME", "the core, in place of what the file says"},
        {"--version", "VERSION", "its version; the newest unless the file says one"},
        {"--part", "PART", "the part that it is on"}},
       "writes what brings a device to a configuration",
       "Configures a core and writes, into FOLDER, a file for each domain. PARAMETERS has a line for each value: a "
       "parameter, a comma, the value. The keys ps_core_name, ps_core_ver and part say which core is meant on which "
       "part "
       "(psxl on brvn3716-die-2LHP-e-S-es1 unless they do). Messages go to standard error; a configuration with errors "
       "writes nothing.",
       "kdi_cdo generate uart.csv out --form text",
       generate},
      {"decode",
       "CDO [TEXT]",
       1,
       2,
       {},
       "writes commands as text",
       "Reads commands in any form and writes the text form, to standard output unless TEXT is named.",
       "kdi_cdo decode pmc_cdo.bin",
       decode},
      {"encode",
       "CDO [BINARY]",
       1,
       2,
       {},
       "writes commands as binary",
       "Reads commands in any form and writes the binary form, to standard output unless BINARY is named.",
       "kdi_cdo encode pmc_data.cdo pmc_cdo.bin",
       encode},
      {"disassemble",
       "CDO [TEXT]",
       1,
       2,
       {kCore, kJson},
       "tells the registers and fields that commands are about",
       "Writes the text form with remarks below each command: the register, and each field with its value, its meaning "
       "and "
       "the parameters that decide it. What is written can be read as a CDO again.",
       "kdi_cdo disassemble pmc_cdo.bin --core pspmc:1.4",
       disassemble},
      {"compare",
       "FIRST SECOND",
       2,
       2,
       {kCore, kJson},
       "tells what differs between two",
       "Registers that are left at other values come first, with the fields that differ. Then commands, by their "
       "numbers, "
       "counted from 0: behind - those of FIRST alone, behind + those of SECOND alone, and behind ~ those that both "
       "have in "
       "another order. Values that are known in part have a mask behind them. With a core, what check tells of one of "
       "them alone comes last: polls that never come true, writes that are ignored or that a PLL does not bear. Exit "
       "status 1 if anything differs.",
       "kdi_cdo compare old.cdo pmc_cdo.bin --core pspmc",
       compare},
      {"check",
       "CDO",
       1,
       1,
       {kCore,
        kJson,
        {"--configuration", "PARAMETERS", "tells registers that do not come to hold this configuration as well"},
        {"--part", "PART", "the part that the configuration is on"}},
       "tells what hardware would not do",
       "Reads the file, which finds damage. With a core, the commands are carried out over registers that behave: told "
       "are "
       "addresses without a register, bits without a field, writes that a locked block or a status register ignores, "
       "and "
       "polls that never come true. Exit status 1 if there is anything to tell.",
       "kdi_cdo check pmc_cdo.bin --core pspmc --configuration uart.csv",
       check},
  };
  return rows;
}

}  // namespace kdi_cdo
