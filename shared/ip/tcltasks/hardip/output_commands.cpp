#include "tcltasks/hardip/output_commands.h"

#include <exception>
#include <string>
#include <vector>

#include "kdi/common/ComMsgMgr.h"
#include "kdi/common/KdiFile.h"
#include "kdi/ippcw/Failures.h"
#include "kdi/ippcw/HICComponentXMltoJsonConverter.h"
#include "tcltasks/frame/exceptions.h"
#include "tcltasks/hardip/boot_program.h"
#include "tcltasks/hardip/output_package.h"
#include "tcltasks/hardip/output_parts.h"
#include "tcltasks/hardip/power_io_files.h"

namespace kelvane_config::kdi_tcltasks {
namespace {

using hardip::Call;
using hardip_eng::HardIPInterface;
using hardip_eng::HardIPOp;

template <class... Arguments>
void log(int level, char const* format, Arguments... arguments) {
  ComMsgMgr::sendScopedMsg::eval(level, __FILE__, __LINE__, frame::kMessageCategory, "sysmon.generate.hip",
                                 ComMsgMgr::MSG_DEBUG3, format, arguments...);
}

// A step without which the rest goes on.
template <class Step>
void optional_step(Step step) {
  try {
    step();
  } catch (std::exception const& exception) {
    ComMsgMgr::sendMsg::eval(1, __FILE__, __LINE__, frame::kMessageCategory, ComMsgMgr::MSG_WARNING, "@80-4@%s",
                             exception.what());
  }
}

// Whether `pack` could do its work.
template <class Pack>
bool packed(Pack pack) {
  try {
    pack();
    return true;
  } catch (std::exception const& exception) {
    ComMsgMgr::sendMsg::eval(1, __FILE__, __LINE__, frame::kMessageCategory, ComMsgMgr::MSG_ERROR, "@80-3@%s",
                             exception.what());
    return false;
  }
}

// What is said and done where a core may keep what is there: a directory that cannot be read has no output.
bool keeps_output(HardIPInterface& core, std::string const& path) {
  bool is_kept = false;
  optional_step([&] {
    is_kept = core.implements(HardIPOp::keepsExistingOutput) && core.keepsExistingOutput() &&
              !kdi::list_directory(path, "pmc_data.cdo").empty();
  });
  return is_kept;
}

struct Record {
  char const* name;
  std::string text;
};

// What a core says of itself, which it works out anew for these parameters.
std::vector<Record> described(HardIPInterface& core, ParamMap const& params, StrVec& errors) {
  std::vector<Record> records{{"XDC_DATA", {}}};
  core.generateXdc(params, records.back().text, errors);
  if (core.implements(HardIPOp::generateSysmonNpiData)) {
    records.push_back({"SYSMON_DATA", {}});
    core.generateSysmonNpiData(params, records.back().text, errors);
  }
  records.push_back({"IOPAD_DATA", {}});
  core.generateIOPadData(params, records.back().text, errors);
  records.push_back({"POWER_DATA", {}});
  core.generatePowerData(params, records.back().text, errors);
  return records;
}

void add(StrVec const& more, StrVec& errors) { errors.insert(errors.end(), more.begin(), more.end()); }

// Has the core write all of its files.
void write_output(HardIPInterface& core, ParamMap& context, ParamMap& params, std::string& path, StrVec& errors) {
  log(2, "\t generateExportData- 1 path: %s aParams: %d Enter\n", path.c_str(), static_cast<int>(params.size()));
  core.writeDesignData(path, params);
  described(core, params, errors);  // for what the core remembers of it
  if (hardip::with_power_and_io())
    optional_step([&] {
      (hardip::named_files() ? writePowerAndIODataFilesPrefix : writePowerAndIODataFiles)(&core, context, params, path,
                                                                                          errors);
    });
  if (hardip::with_boot_program()) optional_step([&] { hardip::build_boot_program(core, context, path); });
  log(1, "\t generateExportData- 1 errs_msg: %d Exit\n", static_cast<int>(errors.size()));
}

// The context, with the file in it as the system knows it.
ParamMap context_of(Call const& call, Tcl_Obj* word) {
  ParamMap context = call.map(word);
  if (const auto handoff = context.find("hwh_file"); handoff != context.end())
    handoff->second = tcl::required_native_path(handoff->second);
  return context;
}

}  // namespace

int GenerateTarget(Call const& call) {
  Tcl_Obj *context_word = nullptr, *params_word = nullptr, *path_word = nullptr, *data_word = nullptr;
  if (!call.has_options(hardip::kGenerateUsage, "-context", context_word, "-params", params_word, "-path", path_word,
                        "-data", data_word))
    return TCL_ERROR;
  ParamMap context = context_of(call, context_word), params = call.map(params_word);
  std::string path = tcl::required_native_path(path_word);
  if (path.empty()) return call.fail(StrVec{hardip::kNoDirectory});
  return call.with_core(context, [&](HardIPInterface& core) {
    StrVec errors;
    const hardip_eng::Failures failures;
    if (!keeps_output(core, path)) write_output(core, context, params, path, errors);
    std::string result;
    if (core.implements(HardIPOp::getExportedData)) core.getExportedData(call.read<std::string>(data_word), result);
    if (!packed([&] { add(generateOutputForCore(&core, path, context, params), errors); })) return TCL_ERROR;
    failures.add_to(errors);
    return errors.empty() ? hardip::util::set_tcl_result(call.interp, result) : call.fail(errors);
  });
}

int generateSDKSpecificFiles(Call const& call) {
  Tcl_Obj *context_word = nullptr, *params_word = nullptr, *path_word = nullptr;
  if (!call.has_options(hardip::kGenerateUsage, "-context", context_word, "-params", params_word, "-path", path_word))
    return TCL_ERROR;
  ParamMap context = context_of(call, context_word), params = call.map(params_word);
  std::string path = tcl::required_native_path(path_word);
  if (path.empty()) return call.fail(StrVec{hardip::kNoDirectory});
  StrVec errors;
  bool is_small = false;
  if (!packed([&] { is_small = generate_small_core(path, context, errors); })) return TCL_ERROR;
  if (is_small) return errors.empty() ? call.status(true) : call.fail(errors);
  return call.with_core(context, [&](HardIPInterface& core) {
    const hardip_eng::Failures failures;
    if (hardip::with_power_and_io())
      optional_step([&] { generatePowerAndIODataFiles(&core, context, params, path, errors); });
    core.writeDesignData(path, params);
    if (!packed([&] { add(generateOutputForCore(&core, path, context, params), errors); })) return TCL_ERROR;
    log(0, "%s", "\t generateExportData- Enter\n");
    std::vector<StrVec> rows;
    for (Record& record : described(core, params, errors)) rows.push_back({record.name, std::move(record.text)});
    log(1, "\t generateExportData- errs_msg: %d Exit\n", static_cast<int>(errors.size()));
    failures.add_to(errors);
    return errors.empty() ? hardip::util::set_tcl_result(call.interp, rows) : call.fail(errors);
  });
}

int convert_component_xml_to_json(Call const& call) {
  Tcl_Obj *input = nullptr, *output = nullptr;
  if (!call.has_options(hardip::kOneBlankUsage, "-input", input, "-output", output)) return TCL_ERROR;
  std::string path = tcl::required_native_path(output);
  HICComponentXMltoJsonConverter(tcl::required_native_path(input), path);
  return TCL_OK;
}

}  // namespace kelvane_config::kdi_tcltasks
