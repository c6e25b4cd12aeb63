#include "tests/support/recording_output.h"

#include "kdi/common/KdiText.h"
#include "kdi/hdf/HHDFHwDefUtils.h"
#include "kdi/hdf/SWParamWriter.h"
#include "kdi/hsm/HHSMSwManager.h"
#include "kdi/ippcw/HICComponentXMltoJsonConverter.h"
#include "kdi/ippcw/HICInst.h"
#include "kdi/ippcw/HICInstOutputUtils.h"
#include "kdi/ippcw/HardIP.h"
#include "tests/support/recording_core.h"

namespace recording_output {
Answers answers;
}

namespace {

using recording_core::add_call;
using recording_output::answers;

std::string shown(ParamMap const& map) {
  StrVec pairs;
  for (auto const& [name, value] : map) pairs.push_back(name + "=" + value);
  return "{" + kdi::text::joined(pairs, " ") + "}";
}
std::string shown(AttrMap const& map) {
  StrVec all;
  for (auto const& [name, attributes] : map) all.push_back(name + shown(attributes));
  return "{" + kdi::text::joined(all, " ") + "}";
}
// Instances record under their names as well.
std::string shown(std::shared_ptr<HICInst> const& inst) { return inst == nullptr ? "null" : "inst"; }

}  // namespace

std::string hardip_eng::HardIPManager::generateHWH(HardIPInterface*, std::string path) {
  add_call("generateHWH " + path);
  return answers.handoff;
}

bool HHDFHwDefUtils::writeHDF(std::string& path,
                              std::vector<std::pair<std::string, HHDFHwDefFileTypes::HWHFileType>> files,
                              bool overwrite, AttrMap of_files, ParamMap attributes) {
  StrVec all;
  for (auto const& [file, kind] : files) all.push_back(file + ":" + std::to_string(kind));
  add_call("writeHDF " + path + " {" + kdi::text::joined(all, " ") + "} " + (overwrite ? "over" : "new") + " " +
           shown(of_files) + " " + shown(attributes));
  return answers.is_written;
}

bool SWParamWriter::writeParamInfo(std::string const& path, std::string instance, std::string const& kind,
                                   std::string const& text) {
  add_call("writeParamInfo " + path + " " + instance + " " + kind + " '" + text + "'");
  return answers.is_written;
}

HHSMSwManager* HHSMSwManager::getHsmSwManager() {
  add_call("getHsmSwManager");
  static HHSMSwManager manager;
  return answers.has_software ? &manager : nullptr;
}
bool HHSMSwManager::generateAppForPMC(hsi::hsi_ps_interface* hsi, std::string part, std::string processor,
                                      std::string instance, std::string path, std::string application,
                                      std::string ipName, bool build) {
  add_call("generateAppForPMC " + kdi::text::joined(StrVec{hsi == nullptr ? "null" : "hsi", part, processor, instance,
                                                           path, application, ipName, build ? "build" : "lay out"},
                                                    " "));
  return answers.is_written;
}
hsi::hsi_ps_interface::hsi_ps_interface(hardip_eng::HardIPInterface* instance) : instance_(instance) {
  add_call("hsi_ps_interface");
}
hsi::hsi_ps_interface::~hsi_ps_interface() { add_call("~hsi_ps_interface"); }
void hsi::hsi_ps_interface::finish() { add_call("finish"); }

void HICInstOutputUtils::generatePSXLStateJson(std::string& path, ParamMap& values) {
  add_call("generatePSXLStateJson " + path + " " + shown(values));
}
void HICInstOutputUtils::writeMioParams(std::string& path, std::shared_ptr<HICInst> inst, std::string coreName) {
  add_call("writeMioParams " + path + " " + shown(inst) + " " + coreName);
}
void HICInstOutputUtils::generateIOPadReport(ParamMap const& params, std::string& path, StrVec& errors,
                                             std::shared_ptr<HICInst> inst) {
  add_call("generateIOPadReport " + shown(params) + " " + path + " " + shown(inst));
  errors.insert(errors.end(), recording_core::answers.errors.begin(), recording_core::answers.errors.end());
}
void HICInstOutputUtils::generatePowerJsonReport(ParamMap const& params, std::string& path, StrVec&,
                                                 std::shared_ptr<HICInst> inst) {
  add_call("generatePowerJsonReport " + shown(params) + " " + path + " " + shown(inst));
}
void HICInstOutputUtils::generateHDFForPSXL(std::string& path, std::string const& hwhPath, ParamMap& attributes,
                                            ParamMap& fileAttributes, std::shared_ptr<HICInst> inst) {
  add_call("generateHDFForPSXL " + path + " " + hwhPath + " " + shown(attributes) + " " + shown(fileAttributes) + " " +
           shown(inst));
}
void HICInstOutputUtils::generateCDO(ParamMap& values, std::string& outputPath, std::string& stateFile,
                                     std::string coreName, AttrMap fileAttributes, ParamMap& context,
                                     std::shared_ptr<HICInst> inst) {
  add_call("generateCDO " + shown(values) + " " + outputPath + " " + stateFile + " " + coreName + " " +
           shown(fileAttributes) + " " + shown(context) + " " + shown(inst));
}

void HICComponentXMltoJsonConverter(std::string input, std::string& output) {
  add_call("HICComponentXMltoJsonConverter " + input + " " + output);
}
