#include "tcltasks/hardip/power_io_files.h"

#include "kdi/hdf/SWParamWriter.h"
#include "tcltasks/hardip/output_parts.h"

namespace kelvane_config::kdi_tcltasks {
namespace {

using hardip_eng::HardIPInterface;
using hardip_eng::HardIPOp;

std::string exported(HardIPInterface& instance, char const* name) {
  std::string text;
  if (instance.implements(HardIPOp::getExportedData)) instance.getExportedData(name, text);
  return text;
}

void write(std::string const& path, std::string const& instance, char const* kind, std::string const& text,
           StrVec& errors) {
  if (!SWParamWriter::writeParamInfo(path, instance, kind, text)) errors.push_back(hardip::cannot_write(path));
}

void write_exported(HardIPInterface* instance, ParamMap const& context, std::string const& path, bool has_name,
                    StrVec& errors) {
  const auto name = context.find(hardip::kInstanceName);
  if (instance == nullptr || name == context.end()) return;
  const std::string stem = path + "/" + (has_name ? name->second + "_" : "");
  write(stem + hardip::kPowerFile, name->second, hardip::kPowerKind, exported(*instance, "POWER_DATA"), errors);
  write(stem + hardip::kIoFile, name->second, hardip::kIoKind, exported(*instance, "IOPAD_DATA"), errors);
}

}  // namespace

void writePowerAndIODataFiles(HardIPInterface* instance, ParamMap& context, ParamMap&, std::string path,
                              StrVec& errors) {
  write_exported(instance, context, path, false, errors);
}

void writePowerAndIODataFilesPrefix(HardIPInterface* instance, ParamMap& context, ParamMap&, std::string path,
                                    StrVec& errors) {
  write_exported(instance, context, path, true, errors);
}

void generatePowerAndIODataFiles(HardIPInterface* instance, ParamMap& context, ParamMap& params, std::string path,
                                 StrVec& errors) {
  const auto name = context.find(hardip::kInstanceName);
  if (instance == nullptr || name == context.end()) return;
  std::string power, io;
  instance->generatePowerData(params, power, errors);
  instance->generateIOPadData(params, io, errors);
  const std::string stem = hardip::below(path, hardip::named_files() ? name->second + "_" : std::string());
  write(stem + hardip::kPowerFile, name->second, hardip::kPowerKind, power, errors);
  write(stem + hardip::kIoFile, name->second, hardip::kIoKind, io, errors);
}

}  // namespace kelvane_config::kdi_tcltasks
