#include "kdi/ippcw/HICInstOutputUtils.h"

#include <filesystem>
#include <functional>
#include <map>
#include <string_view>
#include <utility>
#include <vector>

#include "kdi/common/KdiFile.h"
#include "kdi/common/KdiJson.h"
#include "kdi/common/KdiJsonText.h"
#include "kdi/common/KdiNumber.h"
#include "kdi/hdf/HHDFHwDefUtils.h"
#include "kdi/ippcw/HICInst.h"
#include "platform/ippcw/failures.h"

namespace {

using Kind = HHDFHwDefFileTypes::HWHFileType;
using kdi::text::json_text;

// Does `write`; what fails is told, and added to `errors` if there are some.
void told_if_failed(std::function<void()> const& write, StrVec* errors = nullptr) {
  std::string fault;
  try {
    write();
  } catch (kdi::FileError const& error) {
    fault = error.what();
  } catch (kdi::JsonError const& error) {
    fault = error.what();
  }
  if (fault.empty()) return;
  if (errors != nullptr) errors->push_back(fault);
  hardip_eng::tell_failure(fault);
}

std::string json_object(ParamMap const& pairs) {
  constexpr std::size_t kUsualRow = 64;
  std::string text = "{";
  text.reserve(pairs.size() * kUsualRow);
  for (auto const& [name, value] : pairs) {
    text += text.size() == 1 ? "\n    " : ",\n    ";
    kdi::text::append_json_text(text, name);
    text += ": ";
    kdi::text::append_json_text(text, value);
  }
  return text += pairs.empty() ? "}" : "\n  }";
}

// `parameters` are an object already.
std::string state_text(std::string const& core, std::string const& parameters, ParamMap const& mio) {
  return "{\n  \"format\": 1,\n  \"core\": " + json_text(core) + ",\n  \"parameters\": " + parameters +
         ",\n  \"mio\": " + json_object(mio) + "\n}\n";
}

// The state file that this thread wrote last, and its parameters as an object. Pads are added to a state file right
// after it has been made: as long as it has this text, it need not be read.
struct LastState {
  std::string text, parameters;
};
LastState& last_state() {
  thread_local LastState last;
  return last;
}

// The object of the parameters of a state file, which is read if need be.
std::string parameters_of(std::string const& path) {
  std::string text = kdi::read_file(path);
  LastState last = std::exchange(last_state(), {});
  if (text == last.text) return std::move(last.parameters);
  ParamMap parameters;
  const kdi::JsonFile file(std::string_view(text), path);
  file.root().allow_only({"format", "core", "parameters", "mio"});
  for (const kdi::JsonValue value : file.root().member("parameters").members())
    parameters.insert_or_assign(std::string(value.name()), std::string(value.text()));
  return json_object(parameters);
}

void add_pads(kdi::JsonValue core, ParamMap& mio) {
  for (const kdi::JsonValue pad : core.member("pads").items())
    mio.insert_or_assign(std::string(pad.member("pad").text()), std::string(pad.member("function").text()));
}

// Who sits on which pad; of a wizard the pads of all its cores.
ParamMap pads_of(HICInst& inst) {
  ParamMap mio;
  std::string text;
  inst.GetExportedData("IOPAD_DATA", text);
  if (text.empty()) return mio;
  const kdi::JsonFile file(text, "IOPAD_DATA");
  if (!file.root().is_list()) add_pads(file.root(), mio);
  if (file.root().is_list())
    for (const kdi::JsonValue core : file.root().items()) add_pads(core, mio);
  return mio;
}

// The text `name` of the instance as the file `path`/`file`.
void write_report(std::string const& name, std::string const& path, char const* file, StrVec& errors,
                  std::shared_ptr<HICInst> const& inst) {
  if (inst == nullptr) return;
  std::string text;
  inst->GetExportedData(name, text);
  if (!text.empty()) told_if_failed([&] { kdi::write_file(path + "/" + file, text); }, &errors);
}

// Where files are listed: <folder>/<stem>_pmc_data.cdo and others of its kind. Both are empty without that one.
struct Place {
  std::string folder, stem;
};
template <class Value>
Place place_of(std::map<std::string, Value> const& listed) {
  constexpr std::string_view kController = "_pmc_data.cdo";
  for (auto const& [path, about] : listed) {
    if (!path.ends_with(kController)) continue;
    const std::filesystem::path file = path.substr(0, path.size() - kController.size());
    return {file.parent_path().string(), file.filename().string()};
  }
  return {};
}

// Which dies files of commands are for, as attributes: that of the controller, which a file of its own names unless it
// is the first, and of the network's clock all.
AttrMap dies_of(ParamMap const& listed, int dies) {
  constexpr std::string_view kOther = "_pmc_data_slr_", kCommands = ".cdo", kNetwork = "_noc_clock.cdo";
  std::string own = "0", all = "0";
  for (int die = 1; die < dies; ++die) all += "," + std::to_string(die);
  for (auto const& [path, kind] : listed)
    if (const std::size_t at = path.rfind(kOther); at != std::string::npos && path.ends_with(kCommands))
      own = path.substr(at + kOther.size(), path.size() - at - kOther.size() - kCommands.size());
  AttrMap attributes;
  for (auto const& [path, kind] : listed)
    if (path.ends_with(kCommands)) attributes[path]["slrId"] = path.ends_with(kNetwork) ? all : own;
  return attributes;
}

}  // namespace

void HICInstOutputUtils::generatePSXLStateJson(std::string& path, ParamMap& values) {
  told_if_failed([&] {
    std::string parameters = json_object(values), text = state_text("", parameters, {});
    kdi::write_file(path, text);
    last_state() = {std::move(text), std::move(parameters)};
  });
}

void HICInstOutputUtils::writeMioParams(std::string& path, std::shared_ptr<HICInst> inst, std::string coreName) {
  if (inst == nullptr) return;
  told_if_failed([&] {
    const std::string parameters = parameters_of(path);
    kdi::write_file(path, state_text(coreName, parameters, pads_of(*inst)));
  });
}

void HICInstOutputUtils::generateIOPadReport(ParamMap const&, std::string& path, StrVec& errors,
                                             std::shared_ptr<HICInst> inst) {
  write_report("IOPAD_DATA", path, "iopad_report.json", errors, inst);
}

void HICInstOutputUtils::generatePowerJsonReport(ParamMap const&, std::string& path, StrVec& errors,
                                                 std::shared_ptr<HICInst> inst) {
  write_report("POWER_DATA", path, "power_report.json", errors, inst);
}

// Whoever asks for a definition asks for the files in it afterwards. They are made here, since a definition holds what
// is there.
void HICInstOutputUtils::generateHDFForPSXL(std::string& path, std::string const& hwhPath, ParamMap& attributes,
                                            ParamMap& fileAttributes, std::shared_ptr<HICInst> inst) {
  const Place place = place_of(fileAttributes);
  if (inst != nullptr && !place.stem.empty()) inst->write_files(place.folder, place.stem);
  const std::string handoff =
      inst == nullptr ? hwhPath : inst->write_handoff(hwhPath, std::filesystem::path(hwhPath).stem().string());
  std::vector<std::pair<std::string, Kind>> files;
  if (!handoff.empty()) files.emplace_back(handoff, HHDFHwDefFileTypes::HWH_HANDOFF);
  for (auto const& [file, kind] : fileAttributes)
    files.emplace_back(file, static_cast<Kind>(kdi::number::whole<int>(kind).value_or(HHDFHwDefFileTypes::CDO)));
  const bool is_written = HHDFHwDefUtils::writeHDF(
      path, std::move(files), true, dies_of(fileAttributes, inst == nullptr ? 1 : inst->getSlrCount()), attributes);
  if (!is_written) hardip_eng::note_failure("cannot write " + path);
}

void HICInstOutputUtils::generateCDO(ParamMap&, std::string& outputPath, std::string&, std::string,
                                     AttrMap fileAttributes, ParamMap&, std::shared_ptr<HICInst> inst) {
  if (inst != nullptr) inst->write_files_unless_just_written(outputPath, place_of(fileAttributes).stem);
}
