// GenerateTarget of the task commands: the files of the larger processing systems, which the engine makes.
#include "tcltasks/hardip/task_target.h"

#include <memory>
#include <string>
#include <utility>

#include "kdi/common/KdiNumber.h"
#include "kdi/common/KdiText.h"
#include "kdi/device/HARPartMgr.h"
#include "kdi/hdf/SWParamWriter.h"
#include "kdi/ippcw/Failures.h"
#include "kdi/ippcw/HICInst.h"
#include "kdi/ippcw/HICInstOutputUtils.h"
#include "tcltasks/hardip/attributes.h"
#include "tcltasks/hardip/output_parts.h"

namespace hardip_config::hardip_tcltasks {
namespace {

using hardip_eng::HardIPInterface;
using hardip_eng::HardIPManager;
using Inst = std::shared_ptr<HICInst>;

constexpr char const* kDefaultInstance = "psxl_0";
// Of the controllers of a device of several dies, the one that has the others' common values.
constexpr char const* kSharingCore = "pmcps";
constexpr char const* kMasterFront = "bd";
constexpr char const* kMasterEnd = "pmcps_0_0";

int dies_of(std::string const& part_name) {
  HDARPart const* const part = HARPartMgr::getGlobal()->getPart(part_name);
  const auto dies = part == nullptr ? std::nullopt : kdi::number::whole<int>(part->getProperty("SLR"));
  return dies && *dies > 0 ? *dies : 1;
}

std::string all_dies(int count) {
  StrVec all;
  for (int die = 0; die < count; ++die) all.push_back(std::to_string(die));
  return kdi::text::joined(all, ",");
}

// The files of an output: each with its kind and, for configuration data, the dies that it is for.
AttrMap listed_files(std::string const& prefix, ParamMap const& context) {
  constexpr auto kCdo = HHDFHwDefFileTypes::CDO;
  constexpr auto kMonitor = HHDFHwDefFileTypes::SYSMON_DATA;
  AttrMap files;
  const auto list = [&](std::string const& name, hardip::Kind kind, std::string const& dies) {
    ParamMap& attributes = files[prefix + name];
    attributes["kind"] = std::to_string(kind);
    if (!dies.empty()) attributes["slrId"] = dies;
  };
  const std::string die = hardip::value_of(context, "SLR_ID"), own = die.empty() ? "0" : die;
  for (char const* const name : {"pmc_data.cdo", "fpd_data.cdo", "lpd_data.cdo"}) list(name, kCdo, own);
  list("noc_clock.cdo", kCdo, all_dies(dies_of(hardip::value_of(context, "part"))));
  for (char const* const name : {"sysmon_data.json", "sysmon_satellite.csv"}) list(name, kMonitor, {});
  if (own != "0") list("pmc_data_slr_" + own + ".cdo", kCdo, own);
  return files;
}

// A slave takes over what its master has.
void take_masters_values(ParamMap const& context, ParamMap& params) {
  if (hardip::value_of(context, hardip::kCoreName) != kSharingCore ||
      hardip::value_of(context, hardip::kInstanceName).ends_with(kMasterEnd))
    return;
  for (auto const& [key, instance] : HardIPManager::getInstance(context)->instanceMap()) {
    if (instance == nullptr) continue;
    const std::string name = instance->instanceFileStem();
    if (!name.starts_with(kMasterFront) || !name.ends_with(kMasterEnd)) continue;
    ParamMap masters;
    if (const Inst master = instance->getHICInst()) master->updateSLRParamsFromMasterSubcore(params, masters);
    return;
  }
}

void write_power_and_io(Inst const& inst, ParamMap const& context, std::string const& path, StrVec& errors) {
  const auto name = context.find(hardip::kInstanceName);
  if (inst == nullptr || name == context.end()) return;
  const auto write = [&](char const* data, char const* end, char const* kind) {
    std::string text;
    inst->GetExportedData(data, text);
    const std::string file = path + "/" + name->second + "_" + end;
    if (!SWParamWriter::writeParamInfo(file, name->second, kind, text)) errors.push_back(hardip::cannot_write(file));
  };
  write("POWER_DATA", hardip::kPowerFile, hardip::kPowerKind);
  write("IOPAD_DATA", hardip::kIoFile, hardip::kIoKind);
}

}  // namespace

void writePowerAndIODataFiles(std::shared_ptr<HICInst> inst, ParamMap& context, std::string path) {
  StrVec told;  // as messages
  write_power_and_io(inst, context, path, told);
}

std::string generate_target(ParamMap context, ParamMap params, std::string path, std::string const& data,
                            StrVec& errors) {
  std::string core = hardip::value_of(context, hardip::kCoreName);
  std::string name = hardip::value_of(context, hardip::kInstanceName);
  if (name.empty()) name = kDefaultInstance;
  const std::string handoff = hardip::below(path, name + ".hwh"), prefix = hardip::below(path, name + "_");
  std::string definition;
  if (!hardip::make_definition_place(path, name, definition, errors)) return {};

  const AttrMap files = listed_files(prefix, context);
  HardIPInterface* const instance = HardIPManager::getInstance(context)->getOrCreateInstance(context, errors);
  take_masters_values(context, params);
  Inst inst = instance == nullptr ? nullptr : instance->getHICInst();
  if (inst == nullptr) inst = std::make_shared<HICInst>(name);

  const hardip_eng::Failures failures;
  ParamMap values = std::move(params);  // as they were given, and over them as they are
  if (instance != nullptr) instance->getParamValues(values);
  std::string state = prefix + "state.json";
  HICInstOutputUtils::generatePSXLStateJson(state, values);
  HICInstOutputUtils::writeMioParams(state, inst, core);

  const std::string die = hardip::value_of(context, "SLR_ID");
  const bool is_master = die.empty() || die == "0";
  if (is_master && hardip::is_declared_and_on("psx.generateIOPadJson")) {
    HICInstOutputUtils::generateIOPadReport(values, path, errors, inst);
    HICInstOutputUtils::generatePowerJsonReport(values, path, errors, inst);
    write_power_and_io(inst, context, path, errors);
  }

  ParamMap attributes, kinds;
  fillPsxlHwDefAttributes(values, attributes);
  for (auto const& [file, about] : files) kinds[file] = about.at("kind");
  HICInstOutputUtils::generateHDFForPSXL(definition, handoff, attributes, kinds, inst);
  HICInstOutputUtils::generateCDO(values, path, state, core, files, context, inst);
  if (is_master && hardip::is_declared_and_on("psx.enableSysmon")) inst->generateSysmonDataJson();

  std::string exported;
  inst->GetExportedData(data, exported);
  failures.add_to(errors);
  return exported;
}

}  // namespace hardip_config::hardip_tcltasks
