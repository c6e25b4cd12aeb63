#include "tcltasks/psmodels/driver.h"

#include <cstdio>
#include <memory>
#include <string_view>
#include <utility>

#include "kdi/common/HUTEnv.h"
#include "kdi/common/HUTFile.h"
#include "kdi/common/KdiFile.h"
#include "kdi/common/KdiText.h"
#include "kdi/ippcw/HICCDOGen.h"
#include "kdi/ippcw/HICInst.h"
#include "kdi/ippcw/HICInstOutputUtils.h"
#include "kdi/ippcw/HICJsonReader.h"
#include "kdi/ippcw/HardIP.h"
#include "tcltasks/psmodels/HACGCPSXLCustomDRCModel.h"

namespace {

using OutMap = HACGCCustomDRCModel::OutMap;

constexpr char const* kFamily = "tavrel";
constexpr char const* kCoreName = "ps_core_name";
constexpr int kStrength = 10;

constexpr std::pair<char const*, char const*> kContext[] = {
    {"device", "brvn3716"}, {"part", "brvn3716-die-2LHP-e-S-es1"},
    {kCoreName, "psxl"},    {"ps_core_ver", "1.0"},
    {"family", kFamily},    {"language", "VERILOG"},
    {"package", "die"},     {"speedgrade", "-2LHP"}};

bool is_context_key(std::string_view key) {
  for (auto const& [name, value] : kContext)
    if (key == name) return true;
  return false;
}

struct Input {
  std::string core = "psxl";
  ParamMap context, parameters;
};

// One entry a line: what stands before the first comma, and all behind it; a line without one is both.
Input read_input(std::string const& text) {
  Input input;
  for (const std::string_view line : kdi::text::lines(text)) {
    const std::size_t comma = line.find(',');
    const std::string key(line.substr(0, comma));
    const std::string value(comma == std::string_view::npos ? line : line.substr(comma + 1));
    (is_context_key(key) ? input.context : input.parameters)[key] = value;
    if (key == kCoreName) input.core = value;
  }
  return input;
}

// Of a core that the data know, the path of what it has there; of another one the data's own.
std::string data_path(std::string const& core, std::string const& name) {
  std::string root = HUTEnv::getKDIDataDir(kFamily);
  std::string const& separator = HUTFile::getDirSeparator();
  if (core != "psxl" && core != "pmcps" && core != "ps11") return root;
  return root + separator + kFamily + separator + core + separator + "hiw" + separator + name;
}

void print(std::string const& text) {
  std::fputs(text.c_str(), stdout);
  std::fflush(stdout);
}

// All there is of the parameters' values; one without gets an empty one.
ParamMap values_of(OutMap& parameters) {
  ParamMap values;
  for (auto& [name, properties] : parameters) values[name] = properties[HACGCCustomDRCModel::XGUI_VALUE];
  return values;
}

// What the model makes of the input. Kept to the end of the process, as the core that it configures is.
OutMap configured(ParamMap& initial, Input& input) {
  static auto& model = *new HACGCPSXLCustomDRCModel;
  OutMap parameters;
  StrVec errors;
  ParamMap scratch;
  model.init_params(initial, parameters, input.context, errors, kStrength);
  if (model.updateAll(input.parameters, scratch, parameters, input.context)) return parameters;
  for (auto const& [parameter, text] : model.getParametersWithErrors())
    print("observed error for param: " + parameter + " with error message '" + text + "'\n");
  throw "internal error occurred while creating the IP";
}

struct ReadBack {
  ParamMap mio, monitor;
};

// Writes the state and reads it back. `is_read` is left as it was where there is no core to ask.
ReadBack through_state_file(Input const& input, ParamMap& values, HICJsonReader& reader, bool& is_read) {
  ReadBack back;
  std::string path = input.core + "_state.json";
  StrVec errors;
  auto* const instance =
      hardip_eng::HardIPManager::getInstance(input.context)->getOrCreateInstance(input.context, errors);
  const std::shared_ptr<HICInst> inst = instance == nullptr ? nullptr : instance->getHICInst();
  if (inst == nullptr) return back;
  HICInstOutputUtils::generatePSXLStateJson(path, values);
  HICInstOutputUtils::writeMioParams(path, inst, input.core);
  is_read = reader.parseMioParams(path, back.mio);
  StrPairs registers;
  inst->getSysmonRegData(registers);
  for (auto const& [name, word] : registers) back.monitor[name] = word;
  return back;
}

void write_sources(HICCDOGen& generator, std::string const& core, ParamMap& values, std::string& output) {
  const std::string specifications = data_path(core, "cdospec");
  if (!HUTFile(specifications).isDir()) throw std::string(specifications + "should be a directory");  // sic
  generator.writeMaskDefinitonsFile();
  const std::unique_ptr<HUTFileIter> at(HUTFile(specifications).createFileIter());
  for (; !at->atEnd(); at->next()) {
    const HUTFile entry = at->current();
    std::string path;
    if (!entry.isDir() || !entry.getFullPath(path)) continue;
    if (path.ends_with("pmc_data_slr") || path.ends_with("noc_clock")) continue;
    generator.writeCDOinCFiles(values, path, core, output, 0);
  }
}

}  // namespace

void createContextMap(std::string&, ParamMap& context) {
  for (auto const& [key, value] : kContext) context.emplace(key, value);
}

// What it throws ends the process. NOLINTNEXTLINE(bugprone-exception-escape)
int main(int, char** argv) {
  Input input;
  try {
    input = read_input(kdi::read_input(argv[1]));
  } catch (kdi::FileError const&) {
    print("Error, could not open file.\n");
    return -1;
  }
  std::string output = argv[2];

  static auto& reader = *new HICJsonReader;
  ParamMap initial;
  bool is_read = reader.parseStateJson(data_path(input.core, "pspmc_init.json"), initial);
  createContextMap(input.core, input.context);
  input.context.emplace("datapath",
                        HUTEnv::getKDIDataDir(kFamily) + HUTFile::getDirSeparator() + input.core + "_v1_0/");
  input.context.emplace("instance_name", input.core + "_0");

  OutMap parameters = configured(initial, input);
  HICCDOGen generator(input.core);
  ParamMap values = values_of(parameters);
  ReadBack back = through_state_file(input, values, reader, is_read);
  if (!is_read) throw "error generating the params list";
  generator.readRegisters(values, back.mio, back.monitor);
  write_sources(generator, input.core, values, output);
  return 0;
}
