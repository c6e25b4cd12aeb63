// What a configured core leaves behind: whole outputs beside computing, formatting and writing the same; commands as
// text beside the C library's; how the cost grows with the registers; and the driver beside the engine.
#include <tcl.h>
#include <unistd.h>

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "bench/program.h"
#include "bench/ratio.h"
#include "kdi/cdo/Cdo.h"
#include "kdi/common/KdiFile.h"
#include "kdi/common/KdiText.h"
#include "kdi/cores/Outputs.h"
#include "kdi/cores/Registers.h"
#include "kdi/cores/Store.h"
#include "kdi/ippcw/HardIP.h"
#include "kdi/ippcw/host/CoreAccess.h"
#include "tests/support/places.h"

extern "C" int Kdi_iptasks_Init(Tcl_Interp* interp);

namespace {

namespace fs = std::filesystem;
namespace cdo = kdi::cdo;
using namespace kdi::cores;

constexpr int kPairs = 9, kMorePairs = 31;

fs::path const& folder() {
  // In memory where that can be: a busy disk counts for neither side.
  const fs::path memory = "/dev/shm";
  static const fs::path path = (::access(memory.c_str(), W_OK) == 0 ? memory : fs::temp_directory_path()) /
                               ("output_bench." + std::to_string(::getpid()));
  return path;
}

// Where a file is the same as another tool would leave it: opened, written, closed.
void write_plainly(fs::path const& path, std::string const& content) {
  std::FILE* const file = std::fopen(path.c_str(), "wb");
  if (file == nullptr || std::fwrite(content.data(), 1, content.size(), file) != content.size() ||
      std::fclose(file) != 0)
    throw std::runtime_error("cannot write " + path.string());
}

// ------------------------------------------------------------------------------------------------------ whole outputs

struct Subject {
  char const *core, *version, *part, *command;
  std::vector<std::pair<std::string, std::string>> values;
};

ParamMap context_of(Subject const& subject, std::string const& instance) {
  return {{"ps_core_name", subject.core},
          {"ps_core_ver", subject.version},
          {"part", subject.part},
          {"instance_name", instance}};
}

hardip_eng::HardIPManager& manager() { return *hardip_eng::HardIPManager::getInstance(); }

// One full evaluation: a core of its own with what a user gave it.
void configure(Subject const& subject, ParamMap const& context) {
  StrVec errors;
  if (manager().getOrCreateInstance(context, errors) == nullptr)
    throw std::runtime_error(kdi::text::joined(errors, ";"));
  hardip_eng::access_core(context, [&](hardip_eng::ConfiguredAccess const& access) {
    std::vector<std::pair<Configuration::Place, std::string>> values;
    for (auto const& [name, value] : subject.values) values.emplace_back(access.whole.find(name).value(), value);
    access.whole.set(values);
  });
}

void forget(ParamMap const& context) {
  StrVec ignored;
  manager().deleteInstance(context, ignored);
}

std::map<std::string, std::string> files_below(fs::path const& path) {
  std::map<std::string, std::string> files;
  for (auto const& entry : fs::recursive_directory_iterator(path))
    if (entry.is_regular_file()) files[entry.path().filename()] = kdi::read_file(entry.path());
  return files;
}

// As the handoff has them.
void format_parameters(Configuration const& configuration, fs::path const& path) {
  std::FILE* const file = std::fopen(path.c_str(), "wb");
  std::fputs("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<handoff>\n", file);
  for (std::uint32_t i = 0; i < configuration.core().parameters().size(); ++i)
    std::fprintf(file, "  <parameter name=\"%s\" value=\"%s\" state=\"%s\" />\n",
                 std::string(configuration.core().parameters()[i].name).c_str(), configuration.value(i).c_str(),
                 configuration.instance().is_enabled(i) ? "ENABLE" : "DISABLE");
  std::fputs("</handoff>\n", file);
  std::fclose(file);
}

constexpr std::string_view kState = "_state.json";

void format_state(Configuration const& configuration, fs::path const& path) {
  std::FILE* const file = std::fopen(path.c_str(), "wb");
  std::fputs("{\n  \"parameters\": {", file);
  for (std::uint32_t i = 0; i < configuration.core().parameters().size(); ++i)
    std::fprintf(file, "%s\n    \"%s\": \"%s\"", i == 0 ? "" : ",",
                 std::string(configuration.core().parameters()[i].name).c_str(), configuration.value(i).c_str());
  std::fputs("\n  }\n}\n", file);
  std::fclose(file);
}

// Commands and parameters are formatted; of all other files the bytes that have been seen are written.
void format_and_write(ParamMap const& context, std::map<std::string, std::string> const& files, fs::path const& to) {
  hardip_eng::access_core(context, [&](hardip_eng::ConfiguredAccess const& access) {
    const auto map = RegisterMap::of(access.configuration.instance().shared_core());
    const RegisterImage image(*map, access.configuration.instance());
    for (auto const& [name, outputs] : outputs_by_file(access.configuration.core(), *map, false)) {
      const std::vector<RegisterCommand> commands = image.commands(outputs);
      write_plainly(to / (name + ".cdo"),
                    cdo::to_text(plain(commands), [&](std::size_t i) { return words_of(*map, commands[i]); }));
    }
    format_parameters(access.configuration, to / "handoff.hwh");
    if (std::any_of(files.begin(), files.end(), [](auto const& file) { return file.first.ends_with(kState); }))
      format_state(access.configuration, to / "state.json");
  });
  for (auto const& [name, content] : files)
    if (!name.ends_with(".cdo") && !name.ends_with(".hwh") && !name.ends_with(kState))
      write_plainly(to / name, content);
}

bool measure_target(Tcl_Interp* interp, Subject const& subject) {
  int run = 0;
  std::map<std::string, std::string> files;
  const auto whole = [&] {
    const std::string name = "u" + std::to_string(run++);
    const ParamMap context = context_of(subject, name);
    const fs::path to = folder() / "whole";
    fs::remove_all(to);
    fs::create_directories(to);
    const std::string script = std::string(subject.command) + " -context {instance_name " + name + " ps_core_name " +
                               subject.core + " ps_core_ver {" + subject.version + "} part " + subject.part +
                               "} -params {} -path {" + to.string() + "} -data NONE";
    const double seconds = bench::processor_seconds_of([&] {
      configure(subject, context);
      if (Tcl_Eval(interp, script.c_str()) != TCL_OK) throw std::runtime_error(Tcl_GetStringResult(interp));
    });
    forget(context);
    if (files.empty()) files = files_below(to);
    if (files.size() < 4) throw std::runtime_error(script + ": too few files");
    return seconds;
  };
  const auto plainly = [&] {
    const ParamMap context = context_of(subject, "p" + std::to_string(run++));
    const fs::path to = folder() / "plain";
    fs::remove_all(to);
    fs::create_directories(to);
    const double seconds = bench::processor_seconds_of([&] {
      configure(subject, context);
      format_and_write(context, files, to);
    });
    forget(context);
    return seconds;
  };
  const std::string what = std::string(subject.core) + ": GenerateTarget / evaluating, formatting, writing";
  return bench::print_row(what.c_str(), bench::interleaved(kMorePairs, whole, plainly), 2.0);
}

// ---------------------------------------------------------------------------------------------------------- commands

// A core with so many registers of four fields each, which a sequence writes.
struct Made {
  explicit Made(int registers) {
    core = Core::parse(R"J({"format": 1, "core": "made", "version": "1.0", "parameters": [
{"name": "ON", "type": "truth", "widget": "CHECKBOX", "description": "d", "default": "1"},
{"name": "RATE", "type": "integer", "widget": "EDIT", "description": "d", "default": "9"}]})J",
                       "made.json");
    text = R"J({"format": 1, "blocks": [)J";
    std::string steps;
    for (int begin = 0, block = 0; begin < registers; begin += 100, ++block) {
      const std::string name = "BLOCK" + std::to_string(block),
                        last = std::to_string(std::min(100, registers - begin) - 1);
      text += (block == 0 ? "" : ",") + std::string(R"J({"name": ")J") + name + R"J(", "base": )J" +
              std::to_string(4096 * (block + 1)) + R"J(, "meaning": "m", "registers": [{"each": {"n": "{0..)J" + last +
              R"J(}"}, "name": "CONTROL_${n}", "offset": 0, "step": 4, "meaning": "m", "fields": [
{"name": "ENABLE", "bits": "0", "meaning": "m", "parameter": "ON"},
{"name": "RATE", "bits": "15:8", "meaning": "m", "value": "if ON then RATE + ${n} else 0"},
{"name": "SOURCE", "bits": "19:16", "meaning": "m", "value": "RATE mod 5"},
{"name": "NUMBER", "bits": "31:24", "meaning": "m", "value": "${n}"}]}]})J";
      steps += (block == 0 ? "" : ",") + std::string(R"J({"each": {"n": "{0..)J") + last + R"J(}"}, "set": ")J" + name +
               R"J(.CONTROL_${n}"})J";
    }
    text += R"J(], "sequences": [{"output": "all", "section": "all", "order": 1, "steps": [)J" + steps + "]}]}";
    map = RegisterMap::parse(*core, text, "registers.json");
    instance = std::make_unique<Instance>(core);
  }
  std::shared_ptr<Core const> core;
  std::string text;
  std::shared_ptr<RegisterMap const> map;
  std::unique_ptr<Instance> instance;
};

bool measure_emission() {
  constexpr int kRegisters = 10'000;
  const Made made(kRegisters);
  const RegisterImage image(*made.map, *made.instance);
  const std::vector<RegisterCommand> commands = image.commands("all");
  const cdo::Commands plain_commands = plain(commands);
  const fs::path path = folder() / "emitted.cdo", other = folder() / "printed.cdo";
  const auto emit = [&] {
    return bench::processor_seconds_of([&] {
      write_plainly(path,
                    cdo::to_text(plain_commands, [&](std::size_t i) { return words_of(*made.map, commands[i]); }));
    });
  };
  // The same lines, each by what the C library needs for them.
  const auto print = [&] {
    return bench::processor_seconds_of([&] {
      std::FILE* const file = std::fopen(other.c_str(), "wb");
      std::fputs("cdo 1\n", file);
      for (std::size_t i = 0; i < commands.size(); ++i) {
        if (auto const* const section = std::get_if<cdo::Section>(&plain_commands[i])) {
          std::fprintf(file, "section \"%s\"\n", section->name.c_str());
          continue;
        }
        auto const& write = std::get<cdo::MaskedWrite>(plain_commands[i]);
        Register const& reg = made.map->registers()[commands[i].settings.front().reg];
        std::fprintf(file, "mask_write 0x%08" PRIx32 " 0x%08" PRIx32 " 0x%08" PRIx32 "  # %s.%s", write.address,
                     write.mask, write.value, made.map->blocks()[reg.block].name.c_str(), reg.name.c_str());
        for (RegisterSetting const& setting : commands[i].settings)
          std::fprintf(file, " %s=%" PRIu32, reg.fields[setting.field].name.c_str(), setting.value);
        std::fputc('\n', file);
      }
      std::fprintf(file, "end %zu\n", commands.size());
      std::fclose(file);
    });
  };
  const bool kept = bench::print_row("10,000 registers as text / fprintf of the same lines",
                                     bench::interleaved(kMorePairs, emit, print), 2.0);
  if (kdi::read_file(path) != kdi::read_file(other)) throw std::runtime_error("the lines differ");
  return kept;
}

bool measure_growth() {
  const auto cost = [](Made const& made) {
    return [&made] {
      return bench::processor_seconds_of([&] {
        const RegisterImage image(*made.map, *made.instance);
        const std::vector<RegisterCommand> commands = image.commands("all");
        cdo::to_text(plain(commands), [&](std::size_t i) { return words_of(*made.map, commands[i]); });
        cdo::to_binary(plain(commands));
      });
    };
  };
  const auto reading = [](Made const& made) {
    return [&made] {
      return bench::processor_seconds_of([&] { RegisterMap::parse(*made.core, made.text, "registers.json"); });
    };
  };
  const Made small(500), large(5'000);
  bool kept = bench::print_row("5,000 / 500 registers: image, text, binary",
                               bench::interleaved(kMorePairs, cost(large), cost(small)), 12.0);
  kept &= bench::print_row("5,000 / 500 registers: their description read",
                           bench::interleaved(kPairs, reading(large), reading(small)), 12.0);
  return kept;
}

// --------------------------------------------------------------------------------------------------------- the driver

constexpr char kEvaluates[] = "--evaluate";

Subject larger() {
  return {"psxl",
          "1.0",
          "brvn3716-die-2LHP-e-S-es1",
          "Ip_config_hardip_tcltasks_GenerateTarget",
          {{"PSX_UART0_PERIPHERAL_ENABLE", "1"}, {"PSX_I2C0_PERIPHERAL_ENABLE", "1"}}};
}

// What the driver is for, by the engine alone, in a process of its own: this program once more.
int evaluate(fs::path const& to) {
  const Subject subject = larger();
  const ParamMap context = context_of(subject, "driven_0");
  configure(subject, context);
  hardip_eng::access_core(context, [&](hardip_eng::ConfiguredAccess const& access) {
    const auto map = RegisterMap::of(access.configuration.instance().shared_core());
    const RegisterImage image(*map, access.configuration.instance());
    for (char const* const name : {"pmc_data", "lpd_data", "fpd_data"}) {
      std::vector<std::string> outputs{name};
      if (outputs[0] == "pmc_data") outputs.emplace_back("sysmon_npi");
      const std::vector<RegisterCommand> commands = image.commands(outputs);
      write_plainly(to / (outputs[0] + ".c"), cdo::to_c(plain(commands), "psxl_" + outputs[0],
                                                        [&](std::size_t i) { return words_of(*map, commands[i]); }));
    }
    write_plainly(to / "psxl_mask_definitions.h", mask_definitions(*map, "psxl"));
  });
  return 0;
}

bool measure_driver(std::string const& own) {
  const fs::path input = folder() / "parameters", to = folder() / "evaluated", driven = folder() / "driven";
  const Subject subject = larger();
  std::string lines = "ps_core_name,psxl\npart," + std::string(subject.part) + "\n";
  for (auto const& [name, value] : subject.values) lines += name + "," + value + "\n";
  write_plainly(input, lines);
  fs::create_directories(to);
  fs::current_path(folder());
  const auto drive = [&] {
    return bench::processor_seconds_of_program({places::program("cdo_driver"), input, driven});
  };
  const auto engine = [&] { return bench::processor_seconds_of_program({own, kEvaluates, to}); };
  const bool kept = bench::print_row("the driver / the engine's evaluation and writing",
                                     bench::interleaved(kPairs, drive, engine), 2.0);
  for (char const* const file : {"pmc_data.c", "lpd_data.c", "fpd_data.c"})
    if (kdi::read_file(to / file) != kdi::read_file(driven / file)) throw std::runtime_error("sources differ");
  return kept;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 3 && std::string(argv[1]) == kEvaluates) return evaluate(argv[2]);
  const std::string own = fs::canonical("/proc/self/exe");
  fs::create_directories(folder());
  int status = 1;
  try {
    Tcl_FindExecutable(argv[0]);
    Tcl_Interp* const interp = Tcl_CreateInterp();
    Kdi_iptasks_Init(interp);
    bench::print_heading("Output of cores");
    bool kept = measure_target(interp, larger());
    kept &= measure_target(interp, {"pspmc",
                                    "1.4",
                                    "brvn1102-a625-2LHP-e-S",
                                    "Ip_config_kdi_tcltasks_GenerateTarget",
                                    {{"PS_UART0_PERIPHERAL_ENABLE", "1"}, {"PS_I2C0_PERIPHERAL_ENABLE", "1"}}});
    kept &= measure_emission();
    kept &= measure_growth();
    kept &= measure_driver(own);
    status = kept ? 0 : 1;
  } catch (std::exception const& error) {
    std::fprintf(stderr, "output_bench: %s\n", error.what());
  }
  fs::current_path("/");
  std::error_code ignored;
  fs::remove_all(folder(), ignored);
  return status;
}
