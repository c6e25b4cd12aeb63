// What the commands that write files do alike.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "kdi/common/HPAParamMgr.h"
#include "kdi/common/HUTFile.h"
#include "kdi/common/KdiTypes.h"
#include "kdi/hdf/HHDFHwDefFileTypes.h"

namespace hardip {

inline constexpr char const* kInstanceName = "instance_name";
inline constexpr char const* kCoreName = "ps_core_name";
inline constexpr char const* kPowerFile = "power_data.json";
inline constexpr char const* kIoFile = "io_data.json";
inline constexpr char const* kPowerKind = "pss_power";
inline constexpr char const* kIoKind = "pss_io";
inline constexpr char const* kBootProgram = "tavrel_plm";  ///< its folder below the path

using Kind = HHDFHwDefFileTypes::HWHFileType;
using FileList = std::vector<std::pair<std::string, Kind>>;

/// Empty for a key that is not there.
inline std::string value_of(ParamMap const& map, std::string const& key) {
  const auto place = map.find(key);
  return place == map.end() ? std::string() : place->second;
}

inline std::string below(std::string const& path, std::string const& name) {
  return path + HUTFile::getDirSeparator() + name;
}

inline std::string cannot_write(std::string const& path) { return "cannot write " + path; }

/// Said of an empty path: what is put below it would be put below the root of all files.
inline constexpr char const* kNoDirectory = "no directory is given: -path is empty";

/// The place of a hardware definition, its directory made. False, and an error, if it cannot be.
inline bool make_definition_place(std::string const& path, std::string const& instance, std::string& place,
                                  StrVec& errors) {
  if (path.empty()) {
    errors.emplace_back(kNoDirectory);
    return false;
  }
  const std::string directory = below(path, "hdl");
  place = below(directory, instance + ".hwdef");
  if (HUTFile::mkDirRecursive(directory)) return true;
  errors.push_back("cannot create directory " + directory);
  return false;
}

/// Tool parameters. A parameter that a site does not declare is false where it is said so.
inline bool is_on(char const* name) { return HPAParamMgr::getParamMgr().getValueAsBool(name); }
inline bool is_declared_and_on(char const* name) {
  return HPAParamMgr::getParamMgr().getValueIfExistAsBool(name, false);
}
/// Whether the names of files have that of the instance in front.
inline bool named_files() { return is_on("cips.genHumanReadableCDO"); }
inline bool with_power_and_io() { return is_declared_and_on("project.enableHwDefRegeneration"); }
inline bool with_boot_program() { return is_declared_and_on("project.enableWDIFromHwdef"); }

}  // namespace hardip
